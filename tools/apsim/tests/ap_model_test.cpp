#include "ap_model.h"

#include <gtest/gtest.h>

#include "bytes.h"
#include "script_controller.h"

using namespace apsim;

namespace {

const Mac mac = {0x02, 0xA9, 0x51, 0x00, 0x00, 0x10};

// One AP of type 1 in layout 4 (unless a test says otherwise), powered on at 0.
class ApTest : public ::testing::Test {
protected:
    explicit ApTest()
    {
        make([](ApOptions&) {});
    }

    template <typename Change> void make(Change change)
    {
        ApOptions options;
        options.mac = mac;
        options.kind = ap_kind(1);
        options.layout = 4;
        change(options);
        sink = {};
        script = {};
        now = 0;
        model = std::make_unique<ApModel>(options, sink);
        model->power_on(0);
    }

    void advance(micros by)
    {
        const micros end = now + by;
        while (model->next_due() <= end) {
            now = std::max(now, model->next_due());
            model->on_tick(now);
        }
        now = end;
    }
    void hear(const Bytes& frame) { model->on_frame(frame, now); }

    // Hands what the AP says to the script and back until both are silent.
    void talk()
    {
        while (!sink.sent.empty()) {
            const std::vector<Bytes> said = std::move(sink.sent);
            sink.sent.clear();
            for (const Bytes& frame : said)
                for (const Bytes& answer : script.on_frame(frame))
                    hear(answer);
        }
    }
    void join()
    {
        advance(0);
        talk();
        ASSERT_EQ(model->state(), ApState::running);
    }
    Bytes request(UINT16 seq, UINT16 msg_type, const Bytes& payload)
    {
        return ScriptController::request(mac, 4, seq, msg_type, payload);
    }
    // The reply with this message to the AP's last request, whose number is `seq`.
    Bytes reply(UINT16 seq, UINT16 msg_type, const Bytes& payload = {}) { return request(seq, msg_type, payload); }

    CaughtSink sink;
    ScriptController script;
    std::unique_ptr<ApModel> model;
    micros now = 0;
};

const Bytes restart_payload = {'1'};

} // namespace

TEST_F(ApTest, discovery_request_byte_for_byte)
{
    advance(0);
    EXPECT_EQ(shown(sink.take()),
              shown(hex("02a951000010 0400 0000 5858 0000 0100 8817 0200 2c000000 036c8c92") + // header
                    hex("6d646c31") + zeros(28) +                                              // "mdl1"
                    hex("01100100 02 00 01 01 0100 0000")));
}

TEST_F(ApTest, configuration_request_byte_for_byte)
{
    advance(0);
    sink.take();
    hear(hex("02a951000010 0400 0000 5858 0000 0100 8817 0300 00000000 00000000"));
    const Bytes frame = sink.take();
    ASSERT_EQ(frame.size(), 28u + 352);
    EXPECT_EQ(shown(ByteView(frame).first(28)),
              shown(hex("02a951000010 0400 0100 5858 0000 0100 8817 0800 60010000 8eb2d204")));
    EXPECT_EQ(shown(ByteView(frame).subspan(28)), shown(encode_report(model->config(), 4)));
}

TEST_F(ApTest, configuration_request_in_layout_3_says_so_in_the_header)
{
    make([](ApOptions& options) { options.layout = 3; });
    advance(0);
    sink.take();
    hear(hex("02a951000010 0300 0000 5858 0000 0100 8817 0300 00000000 00000000"));
    const Bytes frame = sink.take();
    ASSERT_EQ(frame.size(), 28u + 334);
    EXPECT_EQ(shown(ByteView(frame).first(28)),
              shown(hex("02a951000010 0300 0100 5858 0000 0100 8817 0800 4e010000 9e0bc43d")));
}

TEST_F(ApTest, echo_byte_for_byte_30_seconds_after_the_join_and_every_30_seconds)
{
    join();
    advance(30 * second - 1);
    EXPECT_TRUE(sink.sent.empty());
    advance(1);
    EXPECT_EQ(shown(sink.take()), shown(hex("02a951000010 0400 0200 5858 0000 0100 8817 0000 00000000 00000000")));
    hear(hex("02a951000010 0400 0200 5858 0000 0100 8817 0000 00000000 00000000"));
    EXPECT_EQ(model->counters().echoes_answered, 1u);
    advance(30 * second);
    EXPECT_EQ(sink.sent.size(), 1u);
}

TEST_F(ApTest, answer_to_a_setting_byte_for_byte)
{
    join();
    hear(request(0x21, 0x2007, hex("01 02 00 01 03 01 0a 0b 4b 02 05")));
    EXPECT_EQ(shown(sink.take()), shown(hex("02a951000010 0400 2100 5858 0000 0100 8817 0720 01000000 8def02d2 00")));
    EXPECT_EQ(model->config().radios[0].channel, 11);
    EXPECT_EQ(model->counters().applied, 1u);
}

TEST_F(ApTest, a_refusing_ap_answers_with_one_and_applies_nothing)
{
    make([](ApOptions& options) { options.refusing = true; });
    join();
    hear(request(0x21, 0x2007, hex("01 02 00 01 03 01 0a 0b 4b 02 05")));
    EXPECT_EQ(shown(sink.take()), shown(hex("02a951000010 0400 2100 5858 0000 0100 8817 0720 01000000 1bdf05a5 01")));
    EXPECT_EQ(model->config().radios[0].channel, 6);
    hear(request(0x22, 4, restart_payload));
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().refused, 2u);
}

TEST_F(ApTest, discovery_is_repeated_every_5_seconds_with_a_new_number)
{
    advance(0);
    sink.take();
    advance(5 * second - 1);
    EXPECT_TRUE(sink.sent.empty());
    advance(1);
    EXPECT_EQ(sink.take()[8], 1);
    EXPECT_EQ(model->counters().retransmissions, 1u);
}

TEST_F(ApTest, an_answer_to_an_earlier_try_counts_but_tells_no_time)
{
    advance(5 * second);
    hear(reply(0, 3));
    EXPECT_EQ(model->state(), ApState::configuring);
    EXPECT_TRUE(sink.times.empty());
}

TEST_F(ApTest, the_time_of_an_answer_is_told)
{
    advance(0);
    now += 1234;
    hear(reply(0, 3));
    ASSERT_EQ(sink.times.size(), 1u);
    EXPECT_EQ(sink.times[0].first, Exchange::discovery);
    EXPECT_EQ(sink.times[0].second, 1234);
}

TEST_F(ApTest, three_unanswered_configuration_requests_lead_back_to_discovery)
{
    advance(0);
    hear(reply(0, 3));
    sink.sent.clear();
    advance(10 * second);
    EXPECT_EQ(sink.sent.size(), 2u);
    EXPECT_EQ(model->state(), ApState::configuring);
    sink.sent.clear();
    advance(5 * second);
    EXPECT_EQ(model->state(), ApState::discovering);
    ASSERT_EQ(sink.sent.size(), 1u);
    EXPECT_EQ(sink.sent[0][18], 2);
}

TEST_F(ApTest, a_late_acceptance_of_an_earlier_join_is_not_taken_for_this_one)
{
    advance(0);
    hear(reply(0, 3)); // reports 1, 2 and 3 follow
    advance(15 * second);
    ASSERT_EQ(model->state(), ApState::discovering);
    hear(reply(4, 3));
    ASSERT_EQ(model->state(), ApState::configuring);
    hear(reply(3, 8, {0}));
    EXPECT_EQ(model->state(), ApState::configuring);
    hear(reply(5, 8, {0}));
    EXPECT_EQ(model->state(), ApState::running);
}

TEST_F(ApTest, an_answer_to_a_repeated_discovery_makes_a_running_ap_report_again_once)
{
    advance(5 * second); // discoveries 0 and 1
    hear(reply(0, 3));
    hear(reply(2, 8, {0}));
    ASSERT_EQ(model->state(), ApState::running);
    sink.sent.clear();
    hear(reply(0, 3)); // a second copy
    EXPECT_EQ(model->state(), ApState::running);
    hear(reply(1, 3));
    EXPECT_EQ(model->state(), ApState::configuring);
    ASSERT_EQ(sink.sent.size(), 1u);
    EXPECT_EQ(sink.sent[0][18], 8);
    hear(reply(3, 8, {0}));
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().join_restarted, 1u);
    EXPECT_EQ(model->counters().lost, 0u);
    hear(reply(1, 3));
    EXPECT_EQ(model->state(), ApState::running);
}

TEST_F(ApTest, a_refused_report_is_sent_again)
{
    advance(0);
    hear(reply(0, 3));
    sink.sent.clear();
    hear(reply(1, 8, {1}));
    EXPECT_EQ(model->state(), ApState::configuring);
    EXPECT_EQ(model->counters().config_refused, 1u);
    advance(5 * second);
    ASSERT_EQ(sink.sent.size(), 1u);
    EXPECT_EQ(sink.sent[0][18], 8);
}

TEST_F(ApTest, a_type_0_ap_takes_28_zero_bytes_for_its_discovery_reply_and_no_other_does)
{
    advance(0);
    hear(zeros(28));
    EXPECT_EQ(model->state(), ApState::discovering);
    make([](ApOptions& options) { options.kind = ap_kind(0); });
    advance(0);
    hear(zeros(28));
    EXPECT_EQ(model->state(), ApState::configuring);
}

TEST_F(ApTest, a_stored_configuration_is_taken_over_and_reported_at_the_next_join)
{
    ApConfig stored = factory_config(mac, ap_kind(1));
    stored.set_version(3);
    stored.basic.led_status = 0;
    script.stored = encode_report(stored, 4) + zeros(8);
    advance(0);
    talk();
    EXPECT_EQ(model->state(), ApState::discovering);
    EXPECT_EQ(model->counters().config_taken, 1u);
    EXPECT_EQ(model->config().version_number(), 3);
    EXPECT_EQ(model->config().basic.led_status, 0);
    advance(1 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(script.seen[8], 2);
}

TEST_F(ApTest, six_unanswered_echoes_lead_back_to_discovery)
{
    join();
    script.mute = true;
    advance(6 * 30 * second);
    EXPECT_EQ(sink.sent.size(), 6u);
    EXPECT_EQ(model->state(), ApState::running);
    sink.sent.clear();
    advance(30 * second);
    EXPECT_EQ(model->state(), ApState::discovering);
    EXPECT_EQ(model->counters().lost, 1u);
    EXPECT_EQ(model->counters().echoes_missed, 6u);
    ASSERT_FALSE(sink.sent.empty());
    EXPECT_EQ(sink.sent[0][18], 2);
}

TEST_F(ApTest, an_answered_echo_forgives_the_missed_ones)
{
    join();
    advance(5 * 30 * second);
    sink.sent.clear();
    advance(30 * second);
    talk();
    advance(5 * 30 * second);
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().lost, 0u);
}

TEST_F(ApTest, forced_link_down_leads_to_a_new_join)
{
    join();
    hear(hex("02a951000010 0400 0200 5a5a 0000 0100 8817 0001 00000000 00000000"));
    EXPECT_EQ(model->state(), ApState::discovering);
    EXPECT_EQ(model->counters().link_down, 1u);
    EXPECT_EQ(model->counters().lost, 1u);
    advance(1 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().joins, 2u);
}

TEST_F(ApTest, an_ap_turned_away_before_it_runs_waits_as_long_as_between_discoveries)
{
    advance(0);
    hear(reply(0, 3));
    sink.sent.clear();
    hear(hex("02a951000010 0400 0100 5a5a 0000 0100 8817 0001 00000000 8eb2d204"));
    EXPECT_EQ(model->state(), ApState::discovering);
    EXPECT_EQ(model->counters().lost, 0u);
    advance(5 * second - 1);
    EXPECT_TRUE(sink.sent.empty());
    advance(1);
    EXPECT_EQ(sink.sent.size(), 1u);
}

TEST_F(ApTest, link_down_is_taken_with_the_crc_of_the_frame_it_copies)
{
    join();
    hear(hex("02a951000010 0400 0200 5a5a 0000 0100 8817 0001 00000000 8eb2d204"));
    EXPECT_EQ(model->state(), ApState::discovering);
}

TEST_F(ApTest, link_down_with_another_message_number_is_refused)
{
    join();
    hear(hex("02a951000010 0400 0200 5a5a 0000 0100 8817 0000 00000000 00000000"));
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().bad_in, 1u);
}

TEST_F(ApTest, a_controller_that_forgets_its_aps_gets_them_back)
{
    join();
    script.joined.clear();
    advance(30 * second);
    talk();
    advance(1 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
}

TEST_F(ApTest, restart_is_answered_then_the_ap_goes_and_comes_back_with_its_configuration)
{
    join();
    hear(request(5, 0x0210, hex("00 07")));
    sink.sent.clear();
    hear(request(6, 4, restart_payload));
    EXPECT_EQ(shown(sink.take()), shown(hex("02a951000010 0400 0600 5858 0000 0100 8817 0400 01000000 8def02d2 00")));
    EXPECT_EQ(model->state(), ApState::leaving);
    advance(3 * second);
    EXPECT_EQ(model->state(), ApState::off);
    advance(15 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->config().ssids[0].client_number, 7);
    EXPECT_EQ(model->counters().reboots, 1u);
    EXPECT_EQ(model->counters().lost, 0u);
}

TEST_F(ApTest, restart_repeated_while_leaving_is_answered_and_reboots_once)
{
    join();
    hear(request(6, 4, restart_payload));
    hear(request(6, 4, restart_payload));
    hear(request(7, 4, restart_payload));
    EXPECT_EQ(sink.sent.size(), 3u);
    EXPECT_EQ(model->counters().duplicates, 1u);
    EXPECT_EQ(model->counters().repeats, 1u);
    advance(18 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().reboots, 1u);
}

TEST_F(ApTest, restore_brings_the_factory_settings_and_version_0_back)
{
    make([](ApOptions& options) { options.config_version = 4; });
    join();
    hear(request(5, 0x0210, hex("00 07")));
    hear(request(6, 5, restart_payload));
    advance(18 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->config().version_number(), 0);
    EXPECT_EQ(model->config().ssids[0].client_number, 32);
    EXPECT_EQ(model->counters().restores, 1u);
}

TEST_F(ApTest, a_new_address_is_answered_and_leads_to_a_new_join_without_a_reboot)
{
    join();
    hear(request(5, 0x0107, hex("00 c0a80105 ffffff00 c0a80101 00000000 00000000")));
    EXPECT_EQ(sink.take()[28], 0);
    EXPECT_EQ(model->state(), ApState::leaving);
    advance(3 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().reboots, 0u);
    EXPECT_EQ(shown(model->config().basic.ip.ip), "c0a80105");
}

TEST_F(ApTest, a_duplicate_is_answered_again_and_not_applied_again)
{
    join();
    hear(request(5, 0x0210, hex("00 07")));
    model->config().ssids[0].client_number = 99;
    hear(request(5, 0x0210, hex("00 07")));
    EXPECT_EQ(sink.sent.size(), 2u);
    EXPECT_EQ(sink.sent[0], sink.sent[1]);
    EXPECT_EQ(model->config().ssids[0].client_number, 99);
    EXPECT_EQ(model->counters().duplicates, 1u);
}

TEST_F(ApTest, the_same_number_with_another_payload_or_a_minute_later_is_no_duplicate)
{
    join();
    hear(request(5, 0x0210, hex("00 07")));
    hear(request(5, 0x0210, hex("00 08")));
    EXPECT_EQ(model->config().ssids[0].client_number, 8);
    advance(60 * second + 1);
    model->config().ssids[0].client_number = 99;
    hear(request(5, 0x0210, hex("00 08")));
    EXPECT_EQ(model->config().ssids[0].client_number, 8);
    EXPECT_EQ(model->counters().duplicates, 0u);
}

TEST_F(ApTest, an_ap_that_is_not_running_gives_no_answer_to_requests)
{
    advance(0);
    sink.sent.clear();
    hear(request(5, 0x0210, hex("00 07")));
    EXPECT_TRUE(sink.sent.empty());
    EXPECT_EQ(model->counters().stale_in, 1u);
}

TEST_F(ApTest, a_setting_of_unknown_layout_is_accepted_and_kept)
{
    join();
    hear(request(5, 0x1107, hex("aabbcc")));
    EXPECT_EQ(sink.take()[28], 0);
    EXPECT_EQ(model->counters().kept_raw, 1u);
    EXPECT_EQ(shown(model->config().raw.at(0x1107)), "aabbcc");
}

TEST_F(ApTest, frames_with_a_wrong_crc_vendor_mac_or_length_are_dropped)
{
    join();
    const Bytes good = request(5, 0x0210, hex("00 07"));
    Bytes crc = good, vendor = good, other = good, longer = good;
    crc[24] = 1;
    std::swap(vendor[16], vendor[17]);
    other[5]++;
    longer[20]++;
    for (const Bytes& bad : {crc, vendor, other, longer})
        hear(bad);
    for (std::size_t length = 0; length < good.size(); length++)
        hear(Bytes(good.begin(), good.begin() + static_cast<std::ptrdiff_t>(length)));
    EXPECT_TRUE(sink.sent.empty());
    EXPECT_EQ(model->counters().bad_in, 4u + 30);
    EXPECT_EQ(model->config().ssids[0].client_number, 32);
}

TEST_F(ApTest, a_right_crc_is_accepted)
{
    join();
    hear(hex("02a951000010 0400 0500 5858 0000 0100 8817 1001 01000000 8def02d2 00"));
    EXPECT_EQ(sink.sent.size(), 1u);
}

TEST_F(ApTest, a_silent_ap_joins_and_says_nothing_more_after_its_echoes)
{
    make([](ApOptions& options) { options.silent_after = 2; });
    join();
    advance(30 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    advance(30 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::silent);
    advance(1000 * second);
    hear(request(5, 4, restart_payload));
    hear(hex("02a951000010 0400 0200 5a5a 0000 0100 8817 0001 00000000 00000000"));
    model->reboot(now);
    advance(1000 * second);
    EXPECT_TRUE(sink.sent.empty());
    EXPECT_EQ(model->state(), ApState::silent);
}

TEST_F(ApTest, a_power_cut_says_nothing_and_ends_after_the_boot)
{
    join();
    model->reboot(now);
    hear(request(5, 0x0210, hex("00 07")));
    advance(15 * second - 1);
    EXPECT_TRUE(sink.sent.empty());
    advance(1);
    ASSERT_EQ(sink.sent.size(), 1u);
    EXPECT_EQ(sink.sent[0][18], 2);
}

TEST_F(ApTest, an_upgrade_is_accepted_reported_twice_and_ends_in_a_reboot)
{
    join();
    Bytes order = request(9, 6, zeros(68));
    order[10] = order[11] = 0x59;
    hear(order);
    Bytes answer = sink.take();
    ASSERT_EQ(answer.size(), 29u);
    EXPECT_EQ(answer[18], 6);
    EXPECT_EQ(answer[28], '0');
    hear(reply(9, 23));
    EXPECT_EQ(model->state(), ApState::upgrading);

    advance(10 * second);
    answer = sink.take();
    EXPECT_EQ(answer[18], 22);
    EXPECT_EQ(answer[28], 0);
    hear(reply(answer[8], 23));
    advance(20 * second);
    answer = sink.take();
    EXPECT_EQ(answer[18], 22);
    EXPECT_EQ(answer[28], 2);
    hear(reply(answer[8], 23));
    EXPECT_EQ(model->state(), ApState::off);
    EXPECT_EQ(model->counters().upgrades, 1u);
    advance(15 * second);
    talk();
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(std::memcmp(model->config().basic.version.version, "V1.0.1", 7), 0);
}

TEST_F(ApTest, an_upgrade_report_without_an_answer_is_repeated_every_5_seconds)
{
    join();
    hear(request(9, 6, zeros(68)));
    sink.sent.clear();
    advance(15 * second);
    ASSERT_EQ(sink.sent.size(), 2u);
    EXPECT_EQ(sink.sent[1][28], 0);
}

TEST_F(ApTest, a_refusing_ap_refuses_an_upgrade_and_goes_on)
{
    make([](ApOptions& options) { options.refusing = true; });
    join();
    hear(request(9, 6, zeros(68)));
    EXPECT_EQ(sink.take()[28], '1');
    EXPECT_EQ(model->state(), ApState::running);
}

TEST_F(ApTest, one_way_messages_are_taken_without_an_answer)
{
    join();
    hear(request(9, 13, hex("00ca9a3b 0800")));
    hear(request(10, 25, zeros(10)));
    hear(request(11, 42, zeros(6)));
    EXPECT_TRUE(sink.sent.empty());
    EXPECT_EQ(model->counters().other_in, 3u);
    EXPECT_EQ(UINT32{model->config().time.time}, 1000000000u);
}

TEST_F(ApTest, a_changed_controller_address_leads_to_a_new_join)
{
    join();
    hear(request(9, 12, {}));
    EXPECT_EQ(model->state(), ApState::discovering);
}

TEST_F(ApTest, replies_that_nobody_waits_for_change_nothing)
{
    join();
    hear(reply(0, 3));
    hear(reply(1, 8, {0}));
    hear(reply(2, 0));
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().joins, 1u);
    EXPECT_EQ(model->counters().stale_in, 3u);
}

TEST_F(ApTest, a_forgetful_reboot_brings_back_factory_settings)
{
    make([](ApOptions& options) { options.config_version = 3; });
    join();
    model->config().basic.led_status = 9;
    model->reboot(now, false);
    EXPECT_EQ(model->config().version_number(), 3);
    EXPECT_EQ(model->config().basic.led_status, 9);
    advance(15 * second);
    model->reboot(now, true);
    EXPECT_EQ(model->config().version_number(), 0);
    EXPECT_NE(model->config().basic.led_status, 9);
    EXPECT_EQ(model->counters().reboots, 2u);
}

TEST_F(ApTest, an_outage_is_silence_and_ends_with_an_echo)
{
    join();
    model->fall_silent(now, 240 * second);
    EXPECT_EQ(model->state(), ApState::silent);
    hear(request(5, 0x0210, hex("00 07")));
    advance(240 * second - 1);
    EXPECT_TRUE(sink.sent.empty());
    advance(1);
    ASSERT_EQ(sink.sent.size(), 1u);
    EXPECT_EQ(sink.sent[0][18], 0);
    EXPECT_EQ(model->state(), ApState::running);
    EXPECT_EQ(model->counters().outages, 1u);
}

TEST_F(ApTest, being_told_to_join_again_is_a_loss_unless_an_outage_has_just_ended)
{
    const Bytes link_down = hex("02a951000010 0400 0200 5a5a 0000 0100 8817 0001 00000000 00000000");
    join();
    model->fall_silent(now, 240 * second);
    advance(240 * second);
    sink.sent.clear();
    hear(link_down);
    EXPECT_EQ(model->counters().link_down, 1u);
    EXPECT_EQ(model->counters().lost, 0u);
    advance(1 * second);
    talk();
    ASSERT_EQ(model->state(), ApState::running);
    hear(link_down);
    EXPECT_EQ(model->counters().lost, 1u);
}
