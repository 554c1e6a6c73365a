// The configuration exchange from end to end: datagrams in, frames out, and what table and joined list then hold.
#include <cstring>

#include "ac_mib/apconfig_update.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "exchange_kit.h"
#include "platform/ac_clock.h"

class ConfigExchange : public ExchangeWorld {
protected:
    const Mac mac = test_mac(1);

    APCONFIG* record() { return apconfig_find(mac.data()); }

    // A report of AP 1, which the discovery has to precede. What it prints.
    std::string reports(const Bytes& report, UINT16 proto = 4, UINT16 ap_type = 7, UINT16 msg_type = 8)
    {
        sent().clear();
        return printed([&] {
            from_ap(
                {.mac = mac, .msg_type = msg_type, .payload = report, .proto = proto, .seq = 5, .ap_type = ap_type});
        });
    }
    void expect_short_reply(UINT8 byte)
    {
        ASSERT_EQ(sent().size(), 1U);
        EXPECT_EQ(sent()[0].head().msg_type, 8);
        EXPECT_EQ(sent()[0].head().seq_num, 5);
        EXPECT_EQ(sent()[0].head().msg_length, 1U);
        EXPECT_EQ(sent()[0].bytes.back(), byte);
    }
    void expect_running()
    {
        EXPECT_EQ(state_of(mac), AC_RUNNING);
        EXPECT_EQ(ac_load(wtp_online_num_count), 1);
        ASSERT_NE(record(), nullptr);
        EXPECT_EQ(record()->status, AP_LINK_UP);
    }
    void expect_still_waiting()
    {
        EXPECT_EQ(state_of(mac), AC_CONFIG_UPGRADE);
        EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    }
    void join()
    {
        discover(mac);
        EXPECT_EQ(reports(report_two_radios("1")), "");
        expect_running();
        sent().clear();
    }
    // The initial thread's pass over one item, and the answer of AP 1 with that result byte and the frame's message.
    void command(const Work& work)
    {
        queue(work);
        sent().clear();
        acprotocol_signal_handle();
    }
    void answers(UINT8 result)
    {
        const CLOUD_AP_UDP_PKT request = sent().back().head();
        from_ap({.mac = mac, .msg_type = request.msg_type, .payload = {result}, .seq = request.seq_num});
    }
};

// --- joining
// -------------------------------------------------------------------------------------------------------------

TEST_F(ConfigExchange, a_new_ap_reports_gets_a_zero_byte_and_runs)
{
    discover(mac);
    EXPECT_EQ(state_of(mac), AC_CONFIG_UPGRADE);
    EXPECT_EQ(record(), nullptr); // the record is made by the report
    EXPECT_EQ(reports(report_two_radios("9")), "");
    expect_short_reply(0);
    EXPECT_EQ(sent()[0].ip, "127.0.0.1");
    EXPECT_EQ(sent()[0].port, 40000);
    expect_running();
    EXPECT_EQ(version_of(record()), "9");
    EXPECT_EQ(record()->proto_vendor, 4);
    EXPECT_EQ(record()->port, 40000);
}

TEST_F(ConfigExchange, the_first_layout_of_one_radio_is_taken_by_its_own_table)
{
    discover(mac, 6, 3);
    Bytes report = zeros(114 + 880);
    put(report, 0, text("3", 2));
    for (std::size_t id = 0; id < 8; id++) {
        put(report, 114 + 110 * id, {static_cast<UINT8>(id), 2});
        put(report, 114 + 110 * id + 6, text("office", 32) + Bytes{6});
    }
    EXPECT_EQ(reports(report, 3, 6), "");
    expect_short_reply(0);
    expect_running();
    EXPECT_EQ(record()->proto_vendor, 3);
}

TEST_F(ConfigExchange, a_report_goes_back_to_the_frames_source_which_record_and_entry_take_over)
{
    discover(mac);
    sent().clear();
    from_ap({.mac = mac, .msg_type = 8, .payload = report_two_radios("1")}, "10.1.2.3", 7777);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.1.2.3");
    EXPECT_EQ(sent()[0].port, 7777);
    static constexpr UINT8 ip[4] = {10, 1, 2, 3};
    EXPECT_EQ(memcmp(record()->ip, ip, 4), 0);
    EXPECT_EQ(record()->port, 7777);
    ACWTP_JOIN_LIST entry;
    ASSERT_TRUE(acwtp_joined_copy(mac.data(), &entry));
    EXPECT_EQ(memcmp(entry.ap_ip, ip, 4), 0);
    EXPECT_EQ(entry.port, 7777);
}

TEST_F(ConfigExchange, the_echo_timer_starts_with_the_running_state)
{
    join();
    for (int second = 10; second < 180; second += 10) {
        ac_clock_advance(10);
        EXPECT_EQ(printed([] { echo_timer_tick(); }), "");
    }
    EXPECT_EQ(state_of(mac), AC_RUNNING);
    ac_clock_advance(10);
    EXPECT_EQ(printed([] { echo_timer_tick(); }), "! ip:[127.0.0.1] echo time out\n");
    EXPECT_EQ(state_of(mac), -1);
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
}

TEST_F(ConfigExchange, a_reply_that_can_not_be_sent_is_not_noticed_and_the_join_goes_on)
{
    discover(mac);
    fail_sends(true);
    EXPECT_EQ(reports(report_two_radios("1")), "! msg send error.\n");
    expect_running();
}

// --- the election of the version
// -----------------------------------------------------------------------------------------

TEST_F(ConfigExchange, an_ap_with_the_stored_version_is_taken_with_its_configuration)
{
    make_record(mac, 7, AP_LINK_DOWN, "7");
    discover(mac);
    Bytes report = report_two_radios("7");
    put(report, 24, text("from the AP", 32)); // behind version, led and address
    put(report, 56, {11});
    reports(report);
    expect_short_reply(0);
    expect_running();
    EXPECT_STREQ(reinterpret_cast<const char*>(record()->info_basic.apname.ap_name), "from the AP");
}

TEST_F(ConfigExchange, an_ap_with_a_higher_version_wins_over_the_store)
{
    make_record(mac, 7, AP_LINK_DOWN, "7");
    discover(mac);
    reports(report_two_radios("10"));
    expect_short_reply(0);
    expect_running();
    EXPECT_EQ(version_of(record()), "10");
}

TEST_F(ConfigExchange, an_ap_with_a_lower_version_gets_the_stored_record_is_dropped_and_accepted_at_its_next_join)
{
    APCONFIG* stored = make_record(mac, 7, AP_LINK_DOWN, "7");
    memcpy(stored->info_basic.apname.ap_name, "from the store", 14);
    stored->info_basic.apname.ap_name_length = 14;

    discover(mac);
    EXPECT_EQ(reports(report_two_radios("6")), "");
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 8);
    EXPECT_EQ(sent()[0].head().seq_num, 5);
    EXPECT_EQ(sent()[0].head().msg_length, 1488U);
    EXPECT_EQ(sent()[0].head().crc, 0U);
    const Bytes configuration(sent()[0].bytes.begin() + 28, sent()[0].bytes.end());
    EXPECT_EQ(Bytes(configuration.begin(), configuration.begin() + 2), (Bytes{'7', 0}));
    EXPECT_EQ(Bytes(configuration.begin() + 24, configuration.begin() + 56), text("from the store", 32));

    EXPECT_EQ(state_of(mac), -1); // dropped, and the record stays as it is but for the number, which reads 0
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    ASSERT_EQ(record(), stored);
    EXPECT_EQ(stored->AP_config_version[0], 0);
    EXPECT_EQ(stored->status, AP_LINK_DOWN);

    discover(mac);
    EXPECT_EQ(state_of(mac), AC_CONFIG_UPGRADE);
    EXPECT_EQ(reports(configuration), ""); // with the eight bytes behind the records, as it was given
    expect_short_reply(0);
    expect_running();
    EXPECT_EQ(version_of(record()), "7");
    EXPECT_STREQ(reinterpret_cast<const char*>(record()->info_basic.apname.ap_name), "from the store");
}

TEST_F(ConfigExchange, a_frame_of_a_dropped_ap_before_its_next_discovery_gets_the_link_down_reply)
{
    make_record(mac, 7, AP_LINK_DOWN, "7");
    discover(mac);
    reports(report_two_radios("6"));
    EXPECT_EQ(reports(report_two_radios("7")), "! this mac[02:00:00:00:00:01] is not exited in joined list\n");
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().pkt_type, 0x5A5A);
}

TEST_F(ConfigExchange, an_ap_that_missed_a_command_is_given_the_stored_configuration_at_its_next_join)
{
    join();
    EXPECT_EQ(apconfig_mib_update_byte(SET_RESEND_FAILED_AP, mac.data(), 0), AC_RET_OK);
    EXPECT_EQ(record()->status, AP_LINK_DOWN);
    EXPECT_EQ(version_of(record()), "1");
    delete_wtp_listinfo(mac.data());

    discover(mac);
    reports(report_two_radios("0"));
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_length, 1488U);
    EXPECT_EQ(state_of(mac), -1);
}

TEST_F(ConfigExchange, the_full_record_of_an_ap_whose_product_is_not_known_any_more_can_not_be_sent)
{
    make_record(mac, 62, AP_LINK_DOWN, "7");
    discover(mac);
    EXPECT_EQ(reports(report_two_radios("6")), "! config failed.\n");
    EXPECT_TRUE(sent().empty());
    expect_still_waiting();
}

// --- refusals
// ------------------------------------------------------------------------------------------------------------

TEST_F(ConfigExchange, a_refused_report_is_answered_with_1_and_the_ap_may_try_again)
{
    discover(mac);
    Bytes report = report_two_radios("1");
    put(report, 160 + 38, {33}); // longer than an SSID can be
    const std::string lines = reports(report);
    EXPECT_TRUE(lines.ends_with("! config failed.\n")) << lines;
    expect_short_reply(1);
    expect_still_waiting();
    EXPECT_EQ(record(), nullptr);
    EXPECT_EQ(reports(report_two_radios("1")), "");
    expect_short_reply(0);
    expect_running();
}

TEST_F(ConfigExchange, a_report_cut_anywhere_is_refused_whole)
{
    discover(mac);
    const Bytes report = report_two_radios("1");
    output_of([&] {
        for (std::size_t length = 0; length < report.size(); length++) {
            sent().clear();
            from_ap({.mac = mac,
                     .msg_type = 8,
                     .payload = Bytes(report.begin(), report.begin() + static_cast<std::ptrdiff_t>(length)),
                     .seq = 5});
            ASSERT_EQ(sent().size(), 1U) << length;
            ASSERT_EQ(sent()[0].bytes.back(), 1) << length;
        }
    });
    expect_still_waiting();
    EXPECT_EQ(record(), nullptr);
    EXPECT_EQ(reports(report), "");
    expect_running();
}

TEST_F(ConfigExchange, a_frame_of_another_message_is_parsed_all_the_same_and_fails)
{
    discover(mac);
    for (const UINT16 message : {UINT16{0}, UINT16{9}, UINT16{0x0108}}) {
        Bytes report = report_two_radios("1");
        const std::string lines = printed([&] {
            sent().clear();
            from_ap({.mac = mac,
                     .msg_type = message,
                     .payload = report,
                     .seq = 5,
                     .reserve = static_cast<UINT16>(report.size())});
        });
        EXPECT_EQ(lines, "! It's not config request packet.\n! config failed.\n");
        EXPECT_TRUE(sent().empty());
        expect_still_waiting();
    }
    EXPECT_NE(record(), nullptr); // one path: the parsing comes first
}

TEST_F(ConfigExchange, an_echo_before_the_configuration_does_no_harm)
{
    discover(mac);
    const std::string lines = reports({}, 4, 7, 0);
    EXPECT_TRUE(lines.ends_with("! It's not config request packet.\n! config failed.\n")) << lines;
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(record(), nullptr);
    expect_still_waiting();
}

TEST_F(ConfigExchange, a_layout_other_than_3_and_4_is_not_answered)
{
    discover(mac);
    EXPECT_EQ(reports(report_two_radios("1"), 5), "! proto_type:05! config failed.\n");
    EXPECT_EQ(reports(report_two_radios("1"), 0x1234), "! proto_type:1234! config failed.\n");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(record(), nullptr);
    expect_still_waiting();
}

TEST_F(ConfigExchange, memory_that_ends_anywhere_in_the_intake_is_a_refusal_and_the_next_report_is_taken)
{
    discover(mac);
    for (int allocation = 0; allocation < 15; allocation++) { // the record, two radios, twelve SSIDs
        SCOPED_TRACE(allocation);
        ac_alloc_fail_after(allocation);
        testing::internal::CaptureStderr();
        const std::string lines = reports(report_two_radios("1"));
        (void)testing::internal::GetCapturedStderr();
        EXPECT_TRUE(lines.ends_with("! config failed.\n")) << lines;
        expect_short_reply(1);
        expect_still_waiting();
        EXPECT_EQ(record(), nullptr);
    }
    ac_alloc_fail_after(15); // the echo timer: without it the AP runs and can't time out
    EXPECT_EQ(reports(report_two_radios("1")), "");
    expect_running();
    ac_clock_advance(1000);
    output_of([] { echo_timer_tick(); });
    EXPECT_EQ(state_of(mac), AC_RUNNING);
}

// --- commands
// ------------------------------------------------------------------------------------------------------------

TEST_F(ConfigExchange, a_configuration_with_sub_selector_1_goes_out_as_0107_and_its_success_takes_the_ap_offline)
{
    join();
    command({.type = 0x0112, .msg = mac_bytes({1}) + zeros(21)});
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 0x0107);
    answers(0);
    EXPECT_TRUE(outstanding().empty());
    EXPECT_EQ(state_of(mac), -1);
    EXPECT_EQ(record()->status, AP_LINK_DOWN);
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    EXPECT_EQ(alarms(mac), std::vector<int>{HALDE_ALARM_AP_STATUS_LINK_DOWN});
}

TEST_F(ConfigExchange, a_configuration_with_sub_selector_2_goes_out_as_0207_and_its_success_only_ends_the_wait)
{
    join();
    command({.type = 0x0212, .msg = mac_bytes({1}) + zeros(21)});
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 0x0207);
    EXPECT_EQ(outstanding().size(), 1U);
    answers(0);
    EXPECT_TRUE(outstanding().empty());
    expect_running();
    EXPECT_TRUE(waiting().empty());
}

TEST_F(ConfigExchange, a_failure_byte_in_the_answer_to_a_restart_keeps_the_ap_online_and_the_message_outstanding)
{
    join();
    command({.type = SET_AP_REBOOT_REQ, .msg = mac_bytes({1}) + Bytes{0}});
    answers(1);
    EXPECT_EQ(outstanding().size(), 1U);
    expect_running();
    answers(255);
    EXPECT_EQ(outstanding().size(), 1U);
    expect_running();
}

TEST_F(ConfigExchange, what_follows_the_result_byte_is_not_read_and_an_answer_without_one_is_none)
{
    join();
    command({.type = 0x0212, .msg = mac_bytes({1}) + Bytes{7}});
    from_ap({.mac = mac, .msg_type = 0x0207, .payload = {}, .seq = sent().back().head().seq_num});
    EXPECT_EQ(outstanding().size(), 1U);
    from_ap({.mac = mac, .msg_type = 0x0207, .payload = {0, 1, 2, 3}, .seq = sent().back().head().seq_num});
    EXPECT_TRUE(outstanding().empty());
    expect_running();
}

TEST_F(ConfigExchange, a_restarted_ap_keeps_its_policies_at_its_next_join)
{
    join();
    memcpy(record()->p_alarm_name, "night", 5);
    command({.type = SET_AP_REBOOT_REQ, .msg = mac_bytes({1}) + Bytes{0}});
    answers(0);
    EXPECT_EQ(state_of(mac), -1);
    discover(mac);
    reports(report_two_radios("1"));
    expect_short_reply(0);
    expect_running();
    EXPECT_STREQ(reinterpret_cast<const char*>(record()->p_alarm_name), "night");
}

TEST_F(ConfigExchange, a_restored_ap_loses_its_policies_at_its_next_join)
{
    join();
    memcpy(record()->p_alarm_name, "night", 5);
    command({.type = SET_AP_RESTORE_REQ, .msg = mac_bytes({1}) + Bytes{0}});
    answers(0);
    EXPECT_EQ(state_of(mac), -1);
    EXPECT_EQ(record()->restore, 1);
    discover(mac);
    reports(report_two_radios("1"));
    expect_short_reply(0);
    expect_running();
    EXPECT_EQ(record()->p_alarm_name[0], 0);
    EXPECT_EQ(record()->restore, 0);
}

TEST_F(ConfigExchange, work_for_two_aps_of_which_one_is_up_goes_to_that_one_and_is_recorded_for_it_only)
{
    join();
    make_record(test_mac(2), 7, AP_LINK_DOWN);
    output_of([&] { command({.type = 0x0212, .msg = mac_bytes({1, 2}) + Bytes{7}, .ap_num = 2}); });
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes[5], 1);
    EXPECT_NE(sent()[0].head().crc, 0U);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 1);
    EXPECT_EQ(outstanding()[0].macs, std::vector<Mac>{mac});
}

TEST_F(ConfigExchange, an_ap_that_never_answers_is_dropped_and_given_the_stored_configuration_when_it_comes_back)
{
    join();
    record()->AP_config_version[0] = '0';
    queue({.type = 0x0212, .msg = mac_bytes({1}) + Bytes{7}});
    output_of([&] {
        for (int transmission = 1; transmission <= 5; transmission++) {
            acprotocol_signal_handle();
            ac_clock_advance(10);
            echo_timer_tick();
        }
    });
    EXPECT_EQ(sent().size(), 5U);
    EXPECT_EQ(state_of(mac), -1);
    EXPECT_EQ(record()->status, AP_LINK_DOWN);
    EXPECT_EQ(version_of(record()), "1");
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);

    discover(mac);
    reports(report_two_radios("0"));
    EXPECT_EQ(sent()[0].head().msg_length, 1488U);
    discover(mac);
    reports(report_two_radios("1"));
    expect_short_reply(0);
    expect_running();
}
