// What was sent and is not yet answered: records, answers, time-outs and their timers.
#include "acwtp_msg/acwtp_msged.h"

#include <cstring>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "exchange_kit.h"
#include "platform/ac_clock.h"

class AcwtpMsged : public ExchangeWorld {
protected:
    void up(int first, int count)
    {
        for (int i = 0; i < count; i++)
            make_record(test_mac(first + i), 7, AP_LINK_UP);
    }
    AC_RET record(const Work& work, unsigned int seq_num, int flag = MSG_ADD_TAIL)
    {
        const ACWTP_MSG_TABLE item = work.table();
        return acwtp_msged_list_add(&item, seq_num, flag);
    }
    // A record of a message to APs 1 to `count`, all up, that was sent `send_times` times.
    void recorded(int count, int send_times, unsigned int seq_num, UINT16 type = 0x0212)
    {
        ASSERT_EQ(record({.type = type,
                          .msg = mac_run(1, count) + Bytes{7, 8},
                          .ap_num = static_cast<UINT16>(count),
                          .send_times = static_cast<UINT8>(send_times - 1)},
                         seq_num),
                  AC_RET_OK);
    }
    std::string stderr_of(const std::function<void()>& action)
    {
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStderr();
    }
};

static const char REFUSED[] = "! Add new node failed.\n";

// --- recording
// -----------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsged, a_record_counts_this_transmission_and_keeps_the_payload_without_macs)
{
    up(1, 1);
    EXPECT_EQ(record({.type = 0x0412, .msg = mac_bytes({1}) + Bytes{7, 8}}, 17), AC_RET_OK);
    ASSERT_EQ(outstanding().size(), 1U);
    const Outstanding seen = outstanding()[0];
    EXPECT_EQ(seen.send_times, 1);
    EXPECT_EQ(seen.type, 0x0412);
    EXPECT_EQ(seen.ap_num, 1);
    EXPECT_EQ(seen.flags, CGI_MSG);
    EXPECT_EQ(seen.seq_num, 17U);
    EXPECT_EQ(seen.msg, (Bytes{7, 8}));
    EXPECT_EQ(seen.macs, (std::vector<Mac>{test_mac(1)}));
}

TEST_F(AcwtpMsged, a_repeated_item_counts_one_more)
{
    up(1, 1);
    record({.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .send_times = 4}, 0);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].send_times, 5);
}

TEST_F(AcwtpMsged, a_message_of_nothing_but_macs_is_recorded_without_a_payload)
{
    up(1, 2);
    EXPECT_EQ(record({.type = 7, .msg = mac_bytes({1, 2}), .ap_num = 2}, 5), AC_RET_OK);
    ASSERT_NE(acwtp_msged_list_find(5), nullptr);
    EXPECT_EQ(acwtp_msged_list_find(5)->length, 0U);
    EXPECT_EQ(acwtp_msged_list_find(5)->msg, nullptr);
}

TEST_F(AcwtpMsged, the_macs_that_owe_a_reply_are_those_that_are_up_the_last_one_first)
{
    up(1, 1);
    make_record(test_mac(2), 7, AP_LINK_DOWN);
    make_record(test_mac(4), 7, AP_UPGRADING);
    record({.type = 3, .msg = mac_bytes({1, 2, 3, 4}) + Bytes{7}, .ap_num = 4}, 0); // 3 is unknown
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 2);
    EXPECT_EQ(outstanding()[0].macs, (std::vector<Mac>{test_mac(4), test_mac(1)}));
}

TEST_F(AcwtpMsged, a_message_to_aps_that_are_all_down_is_not_recorded_which_is_no_failure)
{
    make_record(test_mac(1), 7, AP_LINK_DOWN);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(record({.type = 3, .msg = mac_bytes({1, 2}) + Bytes{7}, .ap_num = 2}, 0), AC_RET_OK);
              }),
              "! online mac num is zero\n");
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, a_message_to_all_is_owed_by_every_ap_of_the_table_that_is_up)
{
    up(1, 150);
    make_record(test_mac(200), 7, AP_LINK_DOWN);
    EXPECT_EQ(record({.type = 3, .msg = {7, 8, 9}, .ap_num = 1, .num_flag = 1}, 3), AC_RET_OK);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 150);
    EXPECT_EQ(outstanding()[0].macs.size(), 150U);
    EXPECT_EQ(outstanding()[0].msg, (Bytes{7, 8, 9}));
}

TEST_F(AcwtpMsged, a_message_to_all_with_no_ap_up_is_refused_with_a_line_and_255)
{
    make_record(test_mac(1), 7, AP_LINK_DOWN);
    EXPECT_EQ(printed([&] { EXPECT_EQ(record({.type = 3, .msg = {7}, .num_flag = 1}, 0), AC_RET_ERROR); }), REFUSED);
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, no_item_no_bytes_no_ap_or_too_few_bytes_are_refused_with_a_line_and_1001)
{
    up(1, 2);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(acwtp_msged_list_add(nullptr, 0, MSG_ADD_TAIL), AC_RET_NULL_POINTER);
                  EXPECT_EQ(record({.type = 3, .msg = {}}, 0), AC_RET_NULL_POINTER);
                  EXPECT_EQ(record({.type = 3, .msg = mac_bytes({1}), .ap_num = 0}, 0), AC_RET_NULL_POINTER);
                  EXPECT_EQ(record({.type = 3, .msg = mac_bytes({1}), .ap_num = 2}, 0), AC_RET_NULL_POINTER);
              }),
              std::string(REFUSED) + REFUSED + REFUSED + REFUSED);
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, a_message_to_all_without_bytes_or_aps_is_refused_though_it_has_a_buffer)
{
    up(1, 1);
    const Work work{.type = 3, .msg = {7}, .num_flag = 1};
    ACWTP_MSG_TABLE no_bytes = work.table();
    no_bytes.length = 0;
    ACWTP_MSG_TABLE no_aps = work.table();
    no_aps.ap_num = 0;
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(acwtp_msged_list_add(&no_bytes, 0, MSG_ADD_TAIL), AC_RET_NULL_POINTER);
                  EXPECT_EQ(acwtp_msged_list_add(&no_aps, 0, MSG_ADD_TAIL), AC_RET_NULL_POINTER);
              }),
              std::string(REFUSED) + REFUSED);
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, the_recording_of_a_sent_item_passes_a_refusal_on_with_a_line)
{
    up(1, 1);
    const Work work{.type = 3, .msg = mac_bytes({1}) + Bytes{7}};
    const ACWTP_MSG_TABLE item = work.table();
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(list_add_msged_queue(nullptr, 0, MSG_ADD_TAIL), AC_RET_NULL_POINTER);
                  EXPECT_EQ(list_add_msged_queue(&item, 0, MSG_ADD_TAIL), AC_RET_OK);
              }),
              "! Add new node failed.\n! Insert list failed.");
    EXPECT_EQ(outstanding().size(), 1U);
}

TEST_F(AcwtpMsged, flag_zero_records_at_the_head_and_any_other_at_the_tail)
{
    up(1, 1);
    const Work work{.type = 3, .msg = mac_bytes({1}) + Bytes{7}};
    record(work, 1, MSG_ADD_TAIL);
    record(work, 2, 9);
    record(work, 3, MSG_ADD_HEAD);
    ASSERT_EQ(outstanding().size(), 3U);
    EXPECT_EQ(outstanding()[0].seq_num, 3U);
    EXPECT_EQ(outstanding()[1].seq_num, 1U);
    EXPECT_EQ(outstanding()[2].seq_num, 2U);
}

TEST_F(AcwtpMsged, without_memory_at_any_step_nothing_is_recorded_and_the_line_and_255_follow)
{
    up(1, 3);
    const Work some{.type = 3, .msg = mac_bytes({1, 2, 3}) + Bytes{7}, .ap_num = 3};
    const Work all{.type = 3, .msg = {7}, .num_flag = 1};
    for (const Work& work : {some, all}) {
        for (int allocation = 0; allocation < 5; allocation++) { // record, payload, three MACs
            SCOPED_TRACE(allocation);
            ac_alloc_fail_after(allocation);
            const std::string error =
                stderr_of([&] { EXPECT_EQ(printed([&] { EXPECT_EQ(record(work, 0), AC_RET_ERROR); }), REFUSED); });
            EXPECT_EQ(error.starts_with("malloc: "), allocation >= 2);
            EXPECT_TRUE(outstanding().empty());
        }
        ac_alloc_fail_after(5);
        EXPECT_EQ(record(work, 0), AC_RET_OK);
        acwtp_msged_list_del_all();
        ac_alloc_fail_after(-1);
    }
}

TEST_F(AcwtpMsged, of_two_records_with_one_number_the_first_is_found)
{
    up(1, 2);
    record({.type = 3, .msg = mac_bytes({1}) + Bytes{7}}, 5);
    record({.type = 4, .msg = mac_bytes({2}) + Bytes{7}}, 5);
    ASSERT_NE(acwtp_msged_list_find(5), nullptr);
    EXPECT_EQ(acwtp_msged_list_find(5)->type, 3);
    EXPECT_EQ(acwtp_msged_list_find(6), nullptr);
    acwtp_msged_list_del_node(5);
    EXPECT_EQ(acwtp_msged_list_find(5)->type, 4);
}

TEST_F(AcwtpMsged, a_record_is_removed_by_its_number_and_an_unknown_number_is_fine)
{
    up(1, 1);
    recorded(1, 1, 5);
    acwtp_msged_list_del_node(6);
    EXPECT_EQ(outstanding().size(), 1U);
    acwtp_msged_list_del_node(5);
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, emptying_removes_all_records_and_the_walk_for_printing_has_no_output)
{
    up(1, 2);
    recorded(2, 1, 5);
    recorded(1, 1, 6);
    EXPECT_EQ(printed([] { acwtp_msged_list_print(); }), "");
    EXPECT_EQ(outstanding().size(), 2U);
    acwtp_msged_list_del_all();
    EXPECT_TRUE(outstanding().empty());
}

// --- answers
// -------------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsged, an_answer_to_a_number_that_is_not_outstanding_gives_255)
{
    up(1, 1);
    recorded(1, 1, 5);
    EXPECT_EQ(acwtp_msged_list_del_mac(6, test_mac(1).data()), AC_RET_ERROR);
    EXPECT_EQ(outstanding().size(), 1U);
}

TEST_F(AcwtpMsged, an_answer_takes_its_ap_out_and_the_last_one_the_record)
{
    up(1, 2);
    recorded(2, 1, 5);
    EXPECT_EQ(acwtp_msged_list_del_mac(5, test_mac(1).data()), AC_RET_OK);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 1);
    EXPECT_EQ(outstanding()[0].macs, (std::vector<Mac>{test_mac(2)}));
    EXPECT_EQ(acwtp_msged_list_del_mac(5, test_mac(2).data()), AC_RET_OK);
    EXPECT_TRUE(outstanding().empty());
    EXPECT_EQ(acwtp_msged_list_del_mac(5, test_mac(2).data()), AC_RET_ERROR);
}

TEST_F(AcwtpMsged, an_answer_of_an_ap_that_owes_none_changes_nothing)
{
    up(1, 2);
    recorded(1, 1, 5);
    EXPECT_EQ(acwtp_msged_list_del_mac(5, test_mac(2).data()), AC_RET_OK);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 1);
}

TEST_F(AcwtpMsged, an_ap_that_stands_twice_in_a_message_answers_once_for_both)
{
    up(1, 2);
    record({.type = 3, .msg = mac_bytes({1, 2, 1}) + Bytes{7}, .ap_num = 3}, 5);
    EXPECT_EQ(outstanding()[0].ap_num, 3);
    acwtp_msged_list_del_mac(5, test_mac(1).data());
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 1);
    EXPECT_EQ(outstanding()[0].macs, (std::vector<Mac>{test_mac(2)}));
}

// --- back to work
// --------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsged, no_record_or_one_without_bytes_and_aps_can_not_become_work)
{
    ACWTP_MSGED_QUEUE empty = {};
    INIT_LIST_HEAD(&empty.mac);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(acwtp_msged_list_backto_unmsg(nullptr, MSG_ADD_TAIL), AC_RET_NULL_POINTER);
                  EXPECT_EQ(acwtp_msged_list_backto_unmsg(&empty, MSG_ADD_TAIL), AC_RET_NULL_POINTER);
              }),
              std::string(REFUSED) + REFUSED);
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsged, a_record_without_macs_can_not_become_work)
{
    ACWTP_MSGED_QUEUE empty = {};
    empty.ap_num = 1;
    INIT_LIST_HEAD(&empty.mac);
    EXPECT_EQ(printed([&] { EXPECT_EQ(acwtp_msged_list_backto_unmsg(&empty, MSG_ADD_TAIL), AC_RET_NULL_POINTER); }),
              "! mac empty,Add new node failed.\n");
    empty.ap_num = 0;
    empty.length = 1;
    EXPECT_EQ(printed([&] { EXPECT_EQ(acwtp_msged_list_backto_unmsg(&empty, MSG_ADD_TAIL), AC_RET_NULL_POINTER); }),
              "! mac empty,Add new node failed.\n");
}

TEST_F(AcwtpMsged, after_the_first_transmission_the_silent_aps_become_one_item_in_list_order)
{
    up(1, 3);
    recorded(3, 1, 5);
    EXPECT_EQ(acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_TAIL), AC_RET_OK);
    ASSERT_EQ(waiting().size(), 1U);
    const WorkItem item = waiting()[0];
    EXPECT_EQ(item.send_times, 1);
    EXPECT_EQ(item.type, 0x0212);
    EXPECT_EQ(item.flags, CGI_MSG);
    EXPECT_EQ(item.num_flag, 0);
    EXPECT_EQ(item.ap_num, 3);
    EXPECT_EQ(item.msg, mac_bytes({3, 2, 1}) + (Bytes{7, 8}));
    EXPECT_EQ(outstanding().size(), 1U); // the record itself stays until it is deleted
}

TEST_F(AcwtpMsged, the_first_repetition_of_a_message_to_more_than_100_aps_is_not_split)
{
    up(1, 150);
    record({.type = 3, .msg = {7}, .num_flag = 1}, 5);
    EXPECT_EQ(acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_TAIL), AC_RET_OK);
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].ap_num, 150);
    EXPECT_EQ(waiting()[0].num_flag, 0);
    EXPECT_EQ(waiting()[0].msg.size(), 150U * 6 + 1);
}

TEST_F(AcwtpMsged, after_later_transmissions_each_silent_ap_becomes_an_item_of_its_own)
{
    up(1, 2);
    recorded(2, 2, 5);
    EXPECT_EQ(acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_TAIL), AC_RET_OK);
    const auto items = waiting();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].msg, mac_bytes({2}) + (Bytes{7, 8}));
    EXPECT_EQ(items[1].msg, mac_bytes({1}) + (Bytes{7, 8}));
    for (const WorkItem& item : items) {
        EXPECT_EQ(item.send_times, 2);
        EXPECT_EQ(item.type, 0x0212);
        EXPECT_EQ(item.ap_num, 1);
        EXPECT_EQ(item.num_flag, 0);
    }
}

TEST_F(AcwtpMsged, work_that_comes_back_is_queued_by_the_flag)
{
    up(1, 1);
    recorded(1, 1, 5, 0x0112);
    recorded(1, 2, 6, 0x0412);
    queue({.type = 3, .msg = {7}});
    acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_HEAD);
    acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(6), MSG_ADD_HEAD);
    ASSERT_EQ(waiting().size(), 3U);
    EXPECT_EQ(waiting()[0].type, 0x0412);
    EXPECT_EQ(waiting()[1].type, 0x0112);
    EXPECT_EQ(waiting()[2].type, 3);
}

TEST_F(AcwtpMsged, without_memory_for_the_item_or_its_bytes_the_first_repetition_fails_with_a_line_each)
{
    up(1, 2);
    recorded(2, 1, 5);
    ac_alloc_fail_after(0);
    EXPECT_EQ(printed([] {
                  EXPECT_EQ(acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_TAIL), AC_RET_NULL_POINTER);
              }),
              REFUSED);
    ac_alloc_fail_after(1);
    EXPECT_EQ(printed([] {
                  EXPECT_EQ(acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_TAIL), AC_RET_NULL_POINTER);
              }),
              "! malloc errror,Add new node failed.\n");
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsged, memory_that_ends_during_a_later_repetition_ends_the_walk_and_is_no_failure)
{
    up(1, 2);
    recorded(2, 2, 5);
    for (int allocation = 0; allocation < 4; allocation++) { // an item and its bytes, twice
        SCOPED_TRACE(allocation);
        ac_alloc_fail_after(allocation);
        const std::string error = stderr_of([&] {
            EXPECT_EQ(printed([] {
                          EXPECT_EQ(acwtp_msged_list_backto_unmsg(acwtp_msged_list_find(5), MSG_ADD_TAIL), AC_RET_OK);
                      }),
                      "");
        });
        EXPECT_TRUE(error.starts_with("malloc: "));
        EXPECT_EQ(take_items().size(), static_cast<std::size_t>(allocation / 2));
    }
}

// --- time-outs
// -----------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsged, a_time_out_of_a_number_that_is_not_outstanding_has_a_line_and_no_effect)
{
    EXPECT_EQ(printed([] { msged_timeout(5); }), "! seq num is not exited,msg response reved\n");
    EXPECT_TRUE(waiting().empty());
    EXPECT_EQ(posts(), 0);
}

TEST_F(AcwtpMsged, a_time_out_after_fewer_than_five_transmissions_gives_work_back_and_wakes_the_initial_thread)
{
    up(1, 3);
    for (int send_times = 1; send_times <= 4; send_times++) {
        SCOPED_TRACE(send_times);
        recorded(3, send_times, 5);
        EXPECT_EQ(printed([] { msged_timeout(5); }), "! re trasmit........ap_num=[3].......\n");
        EXPECT_EQ(posts(), 1);
        EXPECT_TRUE(outstanding().empty());
        const auto items = take_items();
        ASSERT_EQ(items.size(), send_times == 1 ? 1U : 3U);
        EXPECT_EQ(items[0].send_times, send_times);
    }
}

TEST_F(AcwtpMsged, a_repetition_that_can_not_be_made_wakes_nobody_and_the_record_is_gone)
{
    up(1, 1);
    recorded(1, 1, 5);
    ac_alloc_fail_after(0);
    EXPECT_EQ(printed([] { msged_timeout(5); }), "! re trasmit........ap_num=[1].......\n! Add new node failed.\n");
    EXPECT_EQ(posts(), 0);
    EXPECT_TRUE(outstanding().empty());
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsged, a_time_out_after_five_transmissions_gives_up_on_each_silent_ap)
{
    APCONFIG* ap = make_record(test_mac(1), 7, AP_LINK_UP, "7");
    APCONFIG* not_joined = make_record(test_mac(2), 7, AP_UPGRAD_FAILED, "12");
    join_running(test_mac(1));
    join_running(test_mac(3));
    make_record(test_mac(3), 7, AP_LINK_UP, "7");
    recorded(2, 5, 5);
    take_notes();
    EXPECT_EQ(printed([] { msged_timeout(5); }), "! send MAX times aready,quit.\n");
    for (const APCONFIG* gone : {ap, not_joined}) {
        EXPECT_EQ(gone->status, AP_LINK_DOWN);
        EXPECT_EQ(version_of(gone), "1");
    }
    EXPECT_EQ(alarms(test_mac(1)), std::vector<int>{HALDE_ALARM_CONFIG_FAILED});
    EXPECT_EQ(alarms(test_mac(2)), std::vector<int>{HALDE_ALARM_CONFIG_FAILED});
    EXPECT_EQ(state_of(test_mac(1)), -1);
    EXPECT_EQ(state_of(test_mac(3)), AC_RUNNING);
    EXPECT_EQ(ac_load(wtp_online_num_count), 1); // one less; the AP that wasn't joined is not counted
    EXPECT_EQ(waiting().size(), 2U);             // the alarms
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, giving_up_on_an_ap_whose_record_is_gone_does_nothing_for_it)
{
    up(1, 1);
    join_running(test_mac(1));
    recorded(1, 5, 5);
    apconfig_mib_node_del(test_mac(1).data(), 0);
    EXPECT_EQ(printed([] { msged_timeout(5); }), "! send MAX times aready,quit.\n");
    EXPECT_TRUE(alarms(test_mac(1)).empty());
    EXPECT_EQ(state_of(test_mac(1)), AC_RUNNING);
    EXPECT_EQ(ac_load(wtp_online_num_count), 1);
}

TEST_F(AcwtpMsged, giving_up_on_a_firmware_command_marks_the_upgrade_as_failed_and_no_more)
{
    APCONFIG* ap = make_record(test_mac(1), 7, AP_UPGRAD_RCV_WAIT, "7");
    up(2, 2);
    join_running(test_mac(1));
    recorded(3, 5, 5, 0x0209); // the low byte is the request
    apconfig_mib_node_del(test_mac(2).data(), 0);
    EXPECT_EQ(printed([] { msged_timeout(5); }), "! send MAX times aready,quit.\n");
    EXPECT_EQ(ap->status, AP_UPGRAD_FAILED);
    EXPECT_EQ(apconfig_find(test_mac(3).data())->status, AP_UPGRAD_FAILED);
    EXPECT_EQ(version_of(ap), "7");
    EXPECT_EQ(state_of(test_mac(1)), AC_RUNNING);
    EXPECT_TRUE(waiting().empty());
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsged, an_answer_after_the_last_time_out_changes_nothing)
{
    APCONFIG* ap = make_record(test_mac(1), 7, AP_LINK_UP, "7");
    recorded(1, 5, 5);
    output_of([] { msged_timeout(5); });
    take_items();
    EXPECT_EQ(acwtp_msged_list_del_mac(5, test_mac(1).data()), AC_RET_ERROR);
    EXPECT_EQ(ap->status, AP_LINK_DOWN);
    EXPECT_EQ(version_of(ap), "1");
    EXPECT_TRUE(waiting().empty());
}

// --- alarms
// --------------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsged, an_alarm_is_an_internal_event_of_ten_bytes_at_the_tail)
{
    queue({.type = 3, .msg = {7}});
    posts();
    EXPECT_EQ(trigger_assem_logs(-56, test_mac(0x0102).data()), AC_RET_OK);
    EXPECT_EQ(posts(), 1);
    ASSERT_EQ(waiting().size(), 2U);
    const WorkItem item = waiting()[1];
    EXPECT_EQ(item.send_times, 0);
    EXPECT_EQ(item.type, 11);
    EXPECT_EQ(item.num_flag, 0);
    EXPECT_EQ(item.ap_num, 1);
    EXPECT_EQ(item.flags, 3);
    EXPECT_EQ(item.msg, (Bytes{2, 0, 0, 0, 1, 2, 0xC8, 0xFF, 0xFF, 0xFF}));
}

TEST_F(AcwtpMsged, without_memory_an_alarm_is_lost_with_the_code_of_the_step)
{
    static constexpr int codes[] = {AC_RET_ERROR, AC_RET_NULL_POINTER, AC_RET_ERROR}; // bytes, item, the item's copy
    static const char* const lines[] = {"", "! Add new node failed.\n! Insert list failed.", "! Insert list failed."};
    for (int allocation = 0; allocation < 3; allocation++) {
        SCOPED_TRACE(allocation);
        ac_alloc_fail_after(allocation);
        const std::string error = stderr_of([&] {
            EXPECT_EQ(printed([&] { EXPECT_EQ(trigger_assem_logs(3, test_mac(1).data()), codes[allocation]); }),
                      lines[allocation]);
        });
        EXPECT_EQ(error.starts_with("malloc: "), allocation == 0);
        EXPECT_TRUE(waiting().empty());
        EXPECT_EQ(posts(), 0);
    }
}

TEST_F(AcwtpMsged, giving_up_without_memory_for_the_alarm_marks_and_drops_the_ap_all_the_same)
{
    APCONFIG* ap = make_record(test_mac(1), 7, AP_LINK_UP, "7");
    join_running(test_mac(1));
    recorded(1, 5, 5);
    ac_alloc_fail_after(0);
    stderr_of([] { msged_timeout(5); });
    EXPECT_EQ(ap->status, AP_LINK_DOWN);
    EXPECT_EQ(state_of(test_mac(1)), -1);
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    EXPECT_TRUE(waiting().empty());
}
