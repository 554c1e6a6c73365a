// The life of an AP from first contact to running and back: every transition, driven by frames and ticks.
#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <thread>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msg.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "joining_ap.h"
#include "platform/ac_clock.h"
#include "platform/ac_net.h"

namespace {

using Kinds = std::vector<int>;
using Notes = std::vector<FlashNote>;

int online()
{
    return ac_load(wtp_online_num_count);
}

// A work item of the web side for one AP, worked off by the initial thread's pass.
void command(int request, const Mac& mac, const Bytes& payload)
{
    Bytes bytes = join_bytes({mac.begin(), mac.end()}, payload);
    ACWTP_MSG_TABLE item = {};
    item.type = static_cast<UINT16>(request);
    item.ap_num = 1;
    item.flags = CGI_MSG;
    item.length = static_cast<UINT32>(bytes.size());
    item.msg = reinterpret_cast<char*>(bytes.data());
    ASSERT_EQ(acmsg_to_acprotocol(&item, MSG_ADD_TAIL), AC_RET_OK);
}

// An AP in AC_RUNNING, with nothing left over from its join.
class RunningAp : public TestWorld {
protected:
    void SetUp() override
    {
        TestWorld::SetUp();
        (void)output_of([&] { ap.join(); });
        ASSERT_EQ(ap.state(), AC_RUNNING);
        sent().clear();
        take_notes();
        take_items();
    }

    void to_upgrade() { ASSERT_EQ(update_wtp_jioned_list_status(ap.mac.data(), AC_UPGRADE, UPDATE_CURRENT_STATUS), 0); }

    JoiningAp ap{7};
};

} // namespace

// --- from not joined -------------------------------------------------------------------------------------------------

TEST_F(TestWorld, an_unknown_ap_that_discovers_is_answered_and_waits_for_its_configuration)
{
    JoiningAp ap(7);
    EXPECT_EQ(said(output_of([&] { ap.discover(); })), "the dis_req_pkt data is NULL,aptype:1!\n");
    const Bytes reply = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
        0x04, 0x00, 0x21, 0x00, 0x58, 0x58, // ap_proto_type, seq_num, pkt_type
        0x00, 0x00, 0x01, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
        0x03, 0x00,                         // msg_type
        0,    0,    0,    0,    0,    0,    0, 0,
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    const ACWTP_JOIN_LIST entry = ap.entry();
    EXPECT_EQ(entry.current_status, AC_CONFIG_UPGRADE);
    EXPECT_EQ(entry.ap_status, 1);
    EXPECT_EQ(entry.discover_num, 1);
    EXPECT_EQ(memcmp(entry.ap_ip, ap.ip.data(), 4), 0);
    EXPECT_EQ(entry.port, 5001);
    EXPECT_EQ(online(), 0);
    ac_lock lock(g_echo_timer_mutex);
    ASSERT_NE(echo_callout_list, nullptr);
    EXPECT_EQ(echo_callout_list->c_func, config_timeout);
    EXPECT_EQ(echo_callout_list->c_time.tv_sec, ac_time() + 60);
    EXPECT_EQ(echo_callout_list->c_next, nullptr);
}

TEST_F(TestWorld, any_other_frame_of_an_unknown_ap_gets_the_forced_link_down_byte_for_byte)
{
    JoiningAp ap(7);
    for (const unsigned int msg_type : {0U, 8U, 9U, 16U, 24U, 99U, 0x0102U}) {
        sent().clear();
        const Bytes reply = {
            0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
            0x04, 0x00, 0x21, 0x00, 0x5A, 0x5A, // ap_proto_type, seq_num, pkt_type
            0x00, 0x00, 0x01, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
            0x00, 0x01,                         // msg_type
            0,    0,    0,    0,    0,    0,    0, 0,
        };
        EXPECT_EQ(said(output_of([&] { ap.send(msg_type); })),
                  "this mac[02:00:00:00:00:07] is not exited in joined list\n");
        ASSERT_EQ(sent().size(), 1U);
        EXPECT_EQ(sent()[0].bytes, reply);
        EXPECT_EQ(sent()[0].ip, "192.168.1.77");
        EXPECT_EQ(sent()[0].port, 5001);
        EXPECT_FALSE(ap.joined());
    }
    EXPECT_TRUE(alarms(ap.mac).empty());
}

// --- waiting for the configuration -----------------------------------------------------------------------------------

TEST_F(TestWorld, a_repeated_discovery_is_answered_counted_and_announced_once_at_10)
{
    JoiningAp ap(7);
    (void)output_of([&] {
        for (int i = 1; i <= 9; i++)
            ap.discover();
    });
    EXPECT_EQ(ap.entry().discover_num, 9);
    EXPECT_TRUE(alarms(ap.mac).empty());
    (void)output_of([&] { ap.discover(); });
    EXPECT_EQ(ap.entry().discover_num, 10);
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_DISCOVER_FAILED}));
    (void)output_of([&] {
        ap.discover();
        ap.discover();
    });
    EXPECT_EQ(ap.entry().discover_num, 12);
    EXPECT_EQ(alarms(ap.mac).size(), 1U); // the twelfth raises none
    (void)output_of([&] {
        for (int i = 0; i < 5; i++)
            ap.discover();
    });
    EXPECT_EQ(ap.entry().discover_num, 13);
    EXPECT_EQ(alarms(ap.mac).size(), 1U);
    EXPECT_EQ(sent().size(), 17U);
    for (const SentFrame& frame : sent())
        EXPECT_EQ(frame.head().msg_type, 3);
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
    EXPECT_EQ(online(), 0);
}

TEST_F(TestWorld, an_accepted_configuration_is_stored_answered_with_0_and_brings_the_ap_to_running)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    sent().clear();
    ac_clock_advance(20);
    EXPECT_EQ(output_of([&] { ap.configure(); }), "");
    const Bytes reply = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07,       // ap_mac
        0x04, 0x00, 0x21, 0x00, 0x58, 0x58,       // ap_proto_type, seq_num, pkt_type
        0x00, 0x00, 0x01, 0x00, 0x88, 0x17,       // reserve, ap_type, vendor
        0x08, 0x00,                               // msg_type
        0x01, 0x00, 0x00, 0x00, 0,    0,    0, 0, // msg_length, crc
        0x00,                                     // accepted
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
    EXPECT_EQ(status_of(ap), AP_LINK_UP);
    EXPECT_TRUE(take_notes().empty());
    EXPECT_TRUE(alarms(ap.mac).empty());
    ac_lock lock(g_echo_timer_mutex);
    ASSERT_NE(echo_callout_list, nullptr);
    EXPECT_EQ(echo_callout_list->c_func, echo_timeout);
    EXPECT_EQ(echo_callout_list->c_time.tv_sec, ac_time() + 30);
}

TEST_F(TestWorld, an_ap_whose_version_is_below_the_stored_one_gets_the_stored_configuration_and_must_rejoin)
{
    JoiningAp ap(7);
    make_record(ap.mac, 1, AP_LINK_DOWN, "2");
    (void)output_of([&] { ap.discover(); });
    sent().clear();
    EXPECT_EQ(output_of([&] { ap.configure("1"); }), "");
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 8);
    EXPECT_EQ(sent()[0].head().msg_length, 112U + 28U + 2U * 110U);
    EXPECT_EQ(sent()[0].bytes[28], '2');
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(online(), 0);
    {
        ac_lock lock(g_echo_timer_mutex);
        EXPECT_EQ(echo_callout_list, nullptr);
    }
    (void)output_of([&] { ap.join(); });
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
}

TEST_F(TestWorld, a_refused_configuration_is_answered_with_1_and_changes_nothing)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    sent().clear();
    Bytes report = report_of_type_1();
    report[132] = 12; // ssid_id
    EXPECT_EQ(said(output_of([&] { ap.send(8, report); })),
              "validation[ssid_id]=[12] failed\nconfig wl error\nconfig failed.\n");
    const Bytes reply = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07,       // ap_mac
        0x04, 0x00, 0x21, 0x00, 0x58, 0x58,       // ap_proto_type, seq_num, pkt_type
        0x00, 0x00, 0x01, 0x00, 0x88, 0x17,       // reserve, ap_type, vendor
        0x08, 0x00,                               // msg_type
        0x01, 0x00, 0x00, 0x00, 0,    0,    0, 0, // msg_length, crc
        0x01,                                     // refused
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
    EXPECT_EQ(status_of(ap), -1);
    EXPECT_EQ(online(), 0);
}

TEST_F(TestWorld, another_frame_of_an_ap_that_waits_is_tried_as_its_configuration_and_fails_unanswered)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    sent().clear();
    EXPECT_EQ(said(output_of([&] { ap.echo(); })), "config report too short, len:0,aptype:1\n"
                                                   "It's not config request packet.\nconfig failed.\n");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
    EXPECT_EQ(ap.entry().echo_times, 0);
    EXPECT_EQ(online(), 0);
}

TEST_F(TestWorld, an_ap_that_does_not_configure_is_there_after_59_seconds_and_gone_at_the_tick_of_the_60th)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    sent().clear();
    ac_clock_advance(59);
    EXPECT_EQ(output_of([] { echo_timer_tick(); }), "");
    EXPECT_TRUE(ap.joined());
    ac_clock_advance(1);
    EXPECT_EQ(said(output_of([] { echo_timer_tick(); })), "ip:[192.168.1.77] config time out\n");
    EXPECT_FALSE(ap.joined());
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(alarms(ap.mac).empty());
    EXPECT_TRUE(take_notes().empty());
    EXPECT_EQ(online(), 0);
}

TEST_F(TestWorld, an_ap_whose_60_seconds_end_between_two_ticks_is_dropped_at_the_second)
{
    JoiningAp ap(7);
    ac_clock_advance(1);
    (void)output_of([&] { ap.discover(); });
    ac_clock_advance(-1);
    (void)output_of([] { pass(60); });
    EXPECT_TRUE(ap.joined()); // 59 seconds after its join
    (void)output_of([] { pass(10); });
    EXPECT_FALSE(ap.joined());
}

TEST_F(TestWorld, a_repeated_discovery_does_not_extend_the_60_seconds)
{
    JoiningAp ap(7);
    (void)output_of([&] {
        ap.discover();
        for (int second = 10; second < 60; second += 10) {
            pass(10);
            ap.discover();
        }
    });
    EXPECT_TRUE(ap.joined());
    EXPECT_EQ(said(output_of([] { pass(10); })), "ip:[192.168.1.77] config time out\n");
    EXPECT_FALSE(ap.joined());
}

TEST_F(TestWorld, an_ap_that_was_dropped_learns_it_from_the_link_down_to_its_next_frame)
{
    JoiningAp ap(7);
    (void)output_of([&] {
        ap.discover();
        pass(60);
    });
    sent().clear();
    (void)output_of([&] { ap.configure(); });
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().pkt_type, 0x5A5A);
    EXPECT_EQ(status_of(ap), -1);
}

TEST_F(RunningAp, a_running_ap_is_not_touched_when_the_60_seconds_of_its_join_end)
{
    EXPECT_EQ(output_of([&] { pass(60); }), "");
    EXPECT_EQ(ap.entry().config_timeout, 1);
    EXPECT_EQ(ap.state(), AC_RUNNING);
}

// --- running ---------------------------------------------------------------------------------------------------------

TEST_F(RunningAp, an_echo_is_answered_byte_for_byte_and_clears_the_missed_periods)
{
    (void)output_of([&] { pass(60); });
    ASSERT_EQ(ap.entry().timeout_num, 2);
    EXPECT_EQ(output_of([&] { ap.echo(); }), "");
    const Bytes reply = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
        0x04, 0x00, 0x21, 0x00, 0x58, 0x58, // ap_proto_type, seq_num, pkt_type
        0x00, 0x00, 0x01, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
        0x00, 0x00,                         // msg_type
        0,    0,    0,    0,    0,    0,    0, 0,
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(sent()[0].ip, "192.168.1.77");
    EXPECT_EQ(sent()[0].port, 5001);
    EXPECT_EQ(ap.entry().timeout_num, 0);
    EXPECT_EQ(ap.state(), AC_RUNNING);
}

TEST_F(RunningAp, an_echo_from_a_new_address_is_answered_there)
{
    ap.ip = {10, 9, 8, 7};
    ap.port = 7001;
    (void)output_of([&] { ap.echo(); });
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.9.8.7");
    EXPECT_EQ(sent()[0].port, 7001);
    EXPECT_EQ(ap.entry().port, 7001);
}

TEST_F(RunningAp, the_second_echo_saves_the_record_and_the_third_announces_the_link)
{
    (void)output_of([&] { ap.echo(); });
    EXPECT_TRUE(take_notes().empty());
    (void)output_of([&] { ap.echo(); });
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_ADD_AP, 0, ap.mac}}));
    EXPECT_TRUE(alarms(ap.mac).empty());
    (void)output_of([&] { ap.echo(); });
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_STATUS_LINKUP}));
    (void)output_of([&] {
        ap.echo();
        ap.echo();
    });
    EXPECT_EQ(ap.entry().echo_times, 4);
    EXPECT_TRUE(take_notes().empty());
    EXPECT_EQ(alarms(ap.mac).size(), 1U);
    EXPECT_EQ(sent().size(), 5U);
}

TEST_F(RunningAp, an_ap_that_never_echoes_is_there_at_179_seconds_and_dropped_at_180_with_all_that_goes_with_it)
{
    EXPECT_EQ(output_of([] { pass(170); }), "");
    ac_clock_advance(9);
    EXPECT_EQ(output_of([] { echo_timer_tick(); }), "");
    EXPECT_TRUE(ap.joined());
    EXPECT_EQ(ap.entry().timeout_num, 5);
    ac_clock_advance(1);
    EXPECT_EQ(said(output_of([] { echo_timer_tick(); })), "ip:[192.168.1.77] echo time out\n");
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_STATUS, 0, ap.mac}}));
    EXPECT_EQ(online(), 0);
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_ECHO_FAILED}));
    EXPECT_TRUE(sent().empty());
    ac_lock lock(g_echo_timer_mutex);
    EXPECT_EQ(echo_callout_list, nullptr);
}

// The echo timer runs free: an echo right behind one of its firings is lost 180 seconds later.
TEST_F(RunningAp, an_ap_whose_last_echo_came_right_behind_a_firing_is_dropped_180_seconds_after_it)
{
    (void)output_of([&] {
        pass(30);
        ap.echo();
        pass(170);
    });
    EXPECT_TRUE(ap.joined());
    EXPECT_EQ(said(output_of([] { pass(10); })), "ip:[192.168.1.77] echo time out\n");
    EXPECT_FALSE(ap.joined());
}

TEST_F(RunningAp, an_ap_whose_last_echo_came_right_before_a_firing_is_dropped_150_seconds_after_it)
{
    (void)output_of([&] {
        pass(20);
        ac_clock_advance(10);
        ap.echo();
        echo_timer_tick();
        pass(140);
    });
    EXPECT_TRUE(ap.joined());
    EXPECT_EQ(said(output_of([] { pass(10); })), "ip:[192.168.1.77] echo time out\n");
    EXPECT_FALSE(ap.joined());
}

TEST_F(RunningAp, an_ap_that_joined_between_two_ticks_is_dropped_up_to_one_tick_later)
{
    JoiningAp late(8);
    ac_clock_advance(1);
    (void)output_of([&] { late.join(); });
    ac_clock_advance(-1);
    EXPECT_EQ(said(output_of([] { pass(180); })), "ip:[192.168.1.77] echo time out\n");
    EXPECT_FALSE(ap.joined());
    EXPECT_TRUE(late.joined());
    EXPECT_EQ(said(output_of([] { pass(10); })), "ip:[192.168.1.77] echo time out\n");
    EXPECT_FALSE(late.joined());
}

TEST_F(RunningAp, an_ap_that_echoes_every_30_seconds_stays)
{
    EXPECT_EQ(output_of([&] {
                  for (int i = 0; i < 60; i++) {
                      pass(30);
                      ap.echo();
                  }
              }),
              "");
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
}

TEST_F(RunningAp, an_echo_between_the_sixth_firing_and_the_scan_saves_the_ap_which_then_can_not_time_out)
{
    (void)output_of([] { pass(170); });
    ac_clock_advance(10);
    echo_calltimeout();
    ASSERT_EQ(ap.entry().timeout_num, 6);
    (void)output_of([&] { ap.echo(); });
    EXPECT_EQ(output_of([] { check_joined_list_status(); }), "");
    EXPECT_EQ(ap.entry().timeout_num, 0);
    EXPECT_EQ(output_of([] { pass(600); }), "");
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(ap.entry().timeout_num, 0);
    // A rejoin gives it a timer again.
    (void)output_of([&] { ap.join(); });
    EXPECT_EQ(said(output_of([] { pass(180); })), "ip:[192.168.1.77] echo time out\n");
    EXPECT_FALSE(ap.joined());
}

TEST_F(RunningAp, an_ap_that_reboots_while_running_shows_as_one_link_down_alarm_and_a_fresh_join)
{
    (void)output_of([&] {
        ap.echo();
        pass(50);
    });
    sent().clear();
    ap.port = 5002;
    EXPECT_EQ(said(output_of([&] { ap.discover(); })), "the dis_req_pkt data is NULL,aptype:1!\n");
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_STATUS_LINK_DOWN}));
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_STATUS, 0, ap.mac}}));
    EXPECT_EQ(online(), 0);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 3);
    EXPECT_EQ(sent()[0].port, 5002);
    const ACWTP_JOIN_LIST entry = ap.entry();
    EXPECT_EQ(entry.current_status, AC_CONFIG_UPGRADE);
    EXPECT_EQ(entry.echo_times, 0);
    EXPECT_EQ(entry.timeout_num, 0);
    EXPECT_EQ(entry.discover_num, 1);
    EXPECT_EQ(entry.config_timeout, 0);
    {
        ac_lock lock(g_echo_timer_mutex);
        ASSERT_NE(echo_callout_list, nullptr);
        EXPECT_EQ(echo_callout_list->c_func, config_timeout); // a new one of 60 seconds, and no echo timer
        EXPECT_EQ(echo_callout_list->c_time.tv_sec, ac_time() + 60);
        EXPECT_EQ(echo_callout_list->c_next, nullptr);
    }
    (void)output_of([&] { ap.configure(); });
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
    EXPECT_EQ(alarms(ap.mac).size(), 1U);
}

TEST_F(RunningAp, a_restart_carried_out_takes_the_ap_off_the_network)
{
    EXPECT_EQ(output_of([&] { ap.send(4, {0}); }), "");
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(online(), 0);
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_STATUS_LINK_DOWN}));
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_STATUS, 0, ap.mac}}));
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(apconfig_find(ap.mac.data())->restore, 0);
    ac_lock lock(g_echo_timer_mutex);
    EXPECT_EQ(echo_callout_list, nullptr);
}

TEST_F(RunningAp, a_restore_carried_out_takes_the_ap_off_the_network_and_frees_it_of_its_policies)
{
    EXPECT_EQ(output_of([&] { ap.send(5, {0}); }), "");
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(online(), 0);
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_STATUS_LINK_DOWN}));
    EXPECT_EQ(apconfig_find(ap.mac.data())->restore, 1);
}

TEST_F(RunningAp, a_new_address_carried_out_takes_the_ap_off_the_network_and_another_setting_does_not)
{
    EXPECT_EQ(output_of([&] { ap.send(0x0207, {0}); }), "");
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
    EXPECT_EQ(output_of([&] { ap.send(0x0107, {0}); }), "");
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(online(), 0);
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_STATUS_LINK_DOWN}));
}

TEST_F(RunningAp, a_refusal_of_a_restart_keeps_the_ap)
{
    EXPECT_EQ(output_of([&] { ap.send(4, {1}); }), "");
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
    EXPECT_TRUE(alarms(ap.mac).empty());
}

TEST_F(RunningAp, five_transmissions_without_an_answer_take_the_ap_off_the_network)
{
    command(SET_AP_REBOOT_REQ, ap.mac, {1});
    std::string last;
    for (int transmission = 1; transmission <= 5; transmission++) {
        EXPECT_TRUE(ap.joined()) << transmission;
        (void)output_of([] { acprotocol_signal_handle(); });
        ASSERT_EQ(sent().size(), static_cast<std::size_t>(transmission));
        EXPECT_EQ(sent().back().head().msg_type, 4);
        last = said(output_of([] { pass(10); }));
    }
    EXPECT_EQ(last, "send MAX times aready,quit.\n");
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_CONFIG_FAILED}));
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(online(), 0);
    ac_lock lock(g_echo_timer_mutex);
    EXPECT_EQ(echo_callout_list, nullptr);
}

TEST_F(RunningAp, four_transmissions_and_an_answer_to_the_fifth_keep_the_ap)
{
    command(SET_AP_CLI_LIMIT, ap.mac, {0, 0, 30});
    for (int transmission = 1; transmission <= 5; transmission++) {
        (void)output_of([] { acprotocol_signal_handle(); });
        ASSERT_EQ(sent().size(), static_cast<std::size_t>(transmission));
        if (transmission < 5) (void)output_of([] { pass(10); });
    }
    ap.seq = sent().back().head().seq_num;
    (void)output_of([&] {
        ap.send(16);
        pass(10);
    });
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_TRUE(alarms(ap.mac).empty());
    EXPECT_EQ(online(), 1);
}

TEST_F(RunningAp, a_running_ap_whose_record_is_down_gets_no_answer_and_times_out)
{
    APCONFIG* record = apconfig_find(ap.mac.data());
    ac_store(record->status, static_cast<UINT8>(AP_LINK_DOWN));
    EXPECT_EQ(said(output_of([&] { ap.echo(); })), "status time out\n");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(ap.entry().echo_times, 0);
    const std::string lines = said(output_of([&] {
        for (int i = 0; i < 6; i++) {
            pass(30);
            ap.echo();
        }
    }));
    EXPECT_NE(lines.find("ip:[192.168.1.77] echo time out\n"), std::string::npos) << lines;
    EXPECT_FALSE(ap.joined());
}

// --- upgrading -------------------------------------------------------------------------------------------------------

TEST_F(RunningAp, an_ap_that_is_upgraded_never_shows_more_than_1_missed_echo_at_a_scan_and_is_not_timed_out)
{
    to_upgrade();
    int most = 0;
    EXPECT_EQ(output_of([&] {
                  for (int i = 0; i < 60; i++) {
                      ac_clock_advance(10);
                      echo_calltimeout();
                      most = std::max(most, ap.entry().timeout_num);
                      check_joined_list_status();
                      EXPECT_EQ(ap.entry().timeout_num, 0);
                  }
              }),
              "");
    EXPECT_EQ(most, 1);
    EXPECT_EQ(ap.state(), AC_UPGRADE);
    EXPECT_EQ(online(), 1);
}

TEST_F(RunningAp, an_ap_that_comes_back_from_an_upgrade_can_be_missed_again)
{
    to_upgrade();
    (void)output_of([] { pass(300); });
    update_wtp_jioned_list_status(ap.mac.data(), AC_RUNNING, UPDATE_CURRENT_STATUS);
    EXPECT_EQ(output_of([] { pass(170); }), "");
    EXPECT_EQ(said(output_of([] { pass(10); })), "ip:[192.168.1.77] echo time out\n");
}

TEST_F(RunningAp, an_ap_that_restarts_in_the_middle_of_an_upgrade_is_torn_down_and_joins_afresh)
{
    to_upgrade();
    (void)output_of([&] { ap.discover(); });
    EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_STATUS_LINK_DOWN}));
    EXPECT_EQ(status_of(ap), AP_LINK_DOWN);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_STATUS, 0, ap.mac}}));
    EXPECT_EQ(online(), 0);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 3);
    EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
    EXPECT_EQ(ap.entry().discover_num, 1);
    (void)output_of([&] { ap.configure(); });
    EXPECT_EQ(ap.state(), AC_RUNNING);
    EXPECT_EQ(online(), 1);
}

// --- what stands when the reply goes out -----------------------------------------------------------------------------

namespace {

std::function<void()> g_at_send;

long look_at_send(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    g_at_send();
    return static_cast<long>(datagram.size());
}

} // namespace

// A configuration may arrive before this thread goes on: its search for the entry has to wait until that stands.
TEST_F(TestWorld, the_reply_to_a_new_ap_goes_out_under_the_lock_of_its_insertion)
{
    int other_thread_gets = 0;
    g_at_send = [&other_thread_gets] {
        std::thread([&other_thread_gets] {
            other_thread_gets = pthread_mutex_trylock(&g_apjioned_mutex.m);
            if (other_thread_gets == 0) pthread_mutex_unlock(&g_apjioned_mutex.m);
        }).join();
    };
    ac_net_capture(look_at_send);
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    EXPECT_EQ(other_thread_gets, EBUSY);
    EXPECT_TRUE(ap.joined());
}

TEST_F(RunningAp, an_ap_that_restarts_is_torn_down_before_it_is_answered)
{
    for (const int state : {AC_RUNNING, AC_UPGRADE}) {
        (void)output_of([&] {
            ap.join();
            take_items();
            update_wtp_jioned_list_status(ap.mac.data(), state, UPDATE_CURRENT_STATUS);
        });
        ASSERT_EQ(online(), 1);
        int looks = 0;
        g_at_send = [&] {
            looks++;
            EXPECT_EQ(online(), 0);
            EXPECT_EQ(alarms(ap.mac), (Kinds{HALDE_ALARM_AP_STATUS_LINK_DOWN}));
            ac_lock lock(g_echo_timer_mutex);
            EXPECT_EQ(echo_callout_list, nullptr); // the old entry is gone and the new one not yet made
        };
        ac_net_capture(look_at_send);
        (void)output_of([&] { ap.discover(); });
        EXPECT_EQ(looks, 1);
        g_at_send = [] {};
    }
}

// The alarm is held up, so that what stands before and behind it can be told apart.
TEST_F(RunningAp, an_ap_that_restarts_is_marked_before_its_alarm_and_counted_and_deleted_behind_it)
{
    for (const int state : {AC_RUNNING, AC_UPGRADE}) {
        (void)output_of([&] {
            ap.join();
            update_wtp_jioned_list_status(ap.mac.data(), state, UPDATE_CURRENT_STATUS);
            const APCONFIG* record = apconfig_find(ap.mac.data());
            int seen = -1;
            std::thread discovery;
            {
                ac_lock alarm_waits(acwtp_mutex);
                discovery = std::thread([&] { ap.discover(); });
                const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
                while (ac_load(record->status) != AP_LINK_DOWN && std::chrono::steady_clock::now() < end)
                    std::this_thread::yield();
                EXPECT_EQ(online(), 1);
                std::thread([&] { seen = ap.state(); }).join();
            }
            discovery.join();
            EXPECT_EQ(seen, state);
        });
        EXPECT_EQ(online(), 0);
        EXPECT_EQ(ap.state(), AC_CONFIG_UPGRADE);
    }
}

TEST_F(RunningAp, an_echo_is_noted_before_it_is_answered)
{
    (void)output_of([] { pass(60); });
    ACWTP_JOIN_LIST seen = {};
    g_at_send = [&] { seen = ap.entry(); };
    ac_net_capture(look_at_send);
    ap.echo();
    EXPECT_EQ(seen.current_status, AC_RUNNING);
    EXPECT_EQ(seen.timeout_num, 0);
    EXPECT_EQ(seen.echo_times, 1);
}

TEST_F(TestWorld, a_configuration_is_answered_before_its_ap_runs)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    int seen = 0;
    g_at_send = [&] { seen = ap.state(); };
    ac_net_capture(look_at_send);
    ap.configure();
    EXPECT_EQ(seen, AC_CONFIG_UPGRADE);
    EXPECT_EQ(ap.state(), AC_RUNNING);
}

TEST_F(TestWorld, a_repeated_discovery_is_answered_before_it_is_counted)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    int seen = 0;
    g_at_send = [&] { seen = ap.entry().discover_num; };
    ac_net_capture(look_at_send);
    (void)output_of([&] { ap.discover(); });
    EXPECT_EQ(seen, 1);
    EXPECT_EQ(ap.entry().discover_num, 2);
}

// --- a full list -----------------------------------------------------------------------------------------------------

TEST_F(TestWorld, a_513th_ap_is_answered_every_time_and_never_joined)
{
    (void)output_of([] {
        for (int i = 1; i <= 512; i++)
            JoiningAp(i).discover();
    });
    EXPECT_TRUE(JoiningAp(512).joined());
    sent().clear();
    JoiningAp late(513);
    for (std::size_t i = 1; i <= 3; i++) {
        EXPECT_EQ(said(output_of([&] { late.discover(); })), "the dis_req_pkt data is NULL,aptype:1!\n");
        ASSERT_EQ(sent().size(), i);
        EXPECT_EQ(sent().back().head().msg_type, 3);
        EXPECT_FALSE(late.joined());
    }
    EXPECT_TRUE(alarms(late.mac).empty());
    EXPECT_EQ(said(output_of([&] { late.configure(); })), "this mac[02:00:00:00:02:01] is not exited in joined list\n");
    EXPECT_EQ(sent().back().head().pkt_type, 0x5A5A);
    EXPECT_EQ(sent().back().head().msg_type, 0x0100);

    delete_wtp_listinfo(test_mac(9).data());
    (void)output_of([&] { late.join(); });
    EXPECT_EQ(late.state(), AC_RUNNING);
}
