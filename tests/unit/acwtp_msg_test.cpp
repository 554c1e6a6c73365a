// The queue of work not yet done, and the initial thread's pass over it.
#include "acwtp_msg/acwtp_msg.h"

#include <cstring>

#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "exchange_kit.h"
#include "platform/ac_clock.h"
#include "platform/ac_net.h"

class AcwtpMsg : public ExchangeWorld {};

static const char REFUSED[] = "! Add new node failed.\n";

// --- adding
// ------------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsg, a_queued_item_is_a_copy_and_the_caller_keeps_its_own)
{
    Work work{.type = 0x0203, .msg = mac_bytes({1}) + Bytes{7, 8}};
    EXPECT_EQ(add(work), AC_RET_OK);
    work.msg[6] = 99;
    ASSERT_EQ(waiting().size(), 1U);
    const WorkItem item = waiting()[0];
    EXPECT_EQ(item.type, 0x0203);
    EXPECT_EQ(item.ap_num, 1);
    EXPECT_EQ(item.num_flag, 0);
    EXPECT_EQ(item.flags, CGI_MSG);
    EXPECT_EQ(item.msg, (Bytes{2, 0, 0, 0, 0, 1, 7, 8}));
}

TEST_F(AcwtpMsg, a_queued_item_counts_as_never_sent_whatever_the_callers_says)
{
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .send_times = 3});
    add({.type = 3, .msg = {7}, .num_flag = 1, .send_times = 3});
    ASSERT_EQ(waiting().size(), 2U);
    EXPECT_EQ(waiting()[0].send_times, 0);
    EXPECT_EQ(waiting()[1].send_times, 0);
}

TEST_F(AcwtpMsg, flag_zero_adds_at_the_head_and_any_other_at_the_tail)
{
    add({.type = 1, .msg = {7}}, MSG_ADD_TAIL);
    add({.type = 2, .msg = {7}}, 7);
    add({.type = 3, .msg = {7}}, MSG_ADD_HEAD);
    ASSERT_EQ(waiting().size(), 3U);
    EXPECT_EQ(waiting()[0].type, 3);
    EXPECT_EQ(waiting()[1].type, 1);
    EXPECT_EQ(waiting()[2].type, 2);
}

TEST_F(AcwtpMsg, a_null_item_is_refused_with_a_line_and_1001)
{
    AC_RET result = AC_RET_OK;
    EXPECT_EQ(printed([&] { result = acwtp_msg_list_add(nullptr, MSG_ADD_TAIL); }), REFUSED);
    EXPECT_EQ(result, AC_RET_NULL_POINTER);
}

TEST_F(AcwtpMsg, the_door_passes_a_refusal_on_with_a_line_and_wakes_nobody)
{
    AC_RET result = AC_RET_OK;
    EXPECT_EQ(printed([&] { result = acmsg_to_acprotocol(nullptr, MSG_ADD_TAIL); }),
              "! Add new node failed.\n! Insert list failed.");
    EXPECT_EQ(result, AC_RET_NULL_POINTER);
    EXPECT_EQ(posts(), 0);
}

TEST_F(AcwtpMsg, what_waits_holds_32_mebibytes_at_most)
{
    const Bytes most(32U * 1024 * 1024 - sizeof(ACWTP_MSG_TABLE), 7); // each item's own bytes count, too
    EXPECT_EQ(add({.type = 3, .msg = most + Bytes{7}, .num_flag = 1}), AC_RET_ERROR);
    EXPECT_EQ(add({.type = 3, .msg = most, .num_flag = 1}), AC_RET_OK);
    EXPECT_EQ(add({.type = 3, .msg = {7}, .num_flag = 1}), AC_RET_ERROR);
    EXPECT_EQ(add({.type = 3, .msg = {}, .num_flag = 1}), AC_RET_ERROR);
    EXPECT_EQ(take_items().size(), 1U);
    EXPECT_EQ(add({.type = 3, .msg = {7}, .num_flag = 1}), AC_RET_OK) << "there is room again";
    acwtp_msg_list_del_all();
    EXPECT_EQ(add({.type = 3, .msg = most, .num_flag = 1}), AC_RET_OK) << "there is room again";
    acwtp_msg_list_del_all();
}

TEST_F(AcwtpMsg, a_large_payload_for_many_aps_is_refused_before_its_copies_fill_the_memory)
{
    const Bytes payload(15U * 1024 * 1024, 7);
    AC_RET result = AC_RET_OK;
    EXPECT_EQ(printed([&] { result = queue({.type = 3, .msg = mac_run(1, 1000) + payload, .ap_num = 1000}); }),
              "! Add new node failed.\n! Insert list failed.");
    EXPECT_EQ(result, AC_RET_NULL_POINTER);
    EXPECT_EQ(take_items().size(), 2U) << "the parts made so far stay";
}

TEST_F(AcwtpMsg, the_door_wakes_the_initial_thread_once_also_for_an_item_that_it_split)
{
    EXPECT_EQ(printed([&] { EXPECT_EQ(queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}}), AC_RET_OK); }), "");
    EXPECT_EQ(posts(), 1);
    EXPECT_EQ(queue({.type = 3, .msg = mac_run(1, 250) + Bytes{7}, .ap_num = 250}), AC_RET_OK);
    EXPECT_EQ(posts(), 1);
    EXPECT_EQ(waiting().size(), 4U);
}

TEST_F(AcwtpMsg, the_door_adds_at_the_end_that_its_flag_says)
{
    queue({.type = 1, .msg = {7}}, MSG_ADD_TAIL);
    queue({.type = 2, .msg = {7}}, MSG_ADD_HEAD);
    queue({.type = 3, .msg = {7}}, MSG_ADD_TAIL);
    ASSERT_EQ(waiting().size(), 3U);
    EXPECT_EQ(waiting()[0].type, 2);
    EXPECT_EQ(waiting()[1].type, 1);
    EXPECT_EQ(waiting()[2].type, 3);
}

TEST_F(AcwtpMsg, only_the_protocols_signal_posts)
{
    acwtp_send_signal_semaphore(ACWTP_SIGNAL_SEND_MSG);
    acwtp_send_signal_semaphore(2);
    EXPECT_EQ(posts(), 0);
    acwtp_send_signal_semaphore(ACWTP_SIGNAL_SEND_PROTOCOL);
    EXPECT_EQ(posts(), 1);
}

// --- splitting
// -----------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsg, work_for_100_aps_stays_one_item)
{
    const Bytes msg = mac_run(1, 100) + Bytes{7, 8};
    add({.type = 0x0412, .msg = msg, .ap_num = 100});
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].ap_num, 100);
    EXPECT_EQ(waiting()[0].msg, msg);
}

TEST_F(AcwtpMsg, work_for_101_aps_becomes_items_of_100_and_1_with_the_whole_payload_each)
{
    add({.type = 0x0412, .msg = mac_run(1, 101) + Bytes{7, 8}, .ap_num = 101, .send_times = 2});
    const auto items = waiting();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].ap_num, 100);
    EXPECT_EQ(items[0].msg, mac_run(1, 100) + (Bytes{7, 8}));
    EXPECT_EQ(items[1].ap_num, 1);
    EXPECT_EQ(items[1].msg, mac_bytes({101}) + (Bytes{7, 8}));
    for (const WorkItem& item : items) {
        EXPECT_EQ(item.type, 0x0412);
        EXPECT_EQ(item.flags, CGI_MSG);
        EXPECT_EQ(item.num_flag, 0);
        EXPECT_EQ(item.send_times, 0);
    }
}

TEST_F(AcwtpMsg, a_multiple_of_100_leaves_no_item_for_a_remainder)
{
    add({.type = 3, .msg = mac_run(1, 200) + Bytes{7}, .ap_num = 200});
    ASSERT_EQ(waiting().size(), 2U);
    EXPECT_EQ(waiting()[1].msg, mac_run(101, 100) + Bytes{7});
}

TEST_F(AcwtpMsg, the_largest_count_of_aps_is_split_without_loss)
{
    add({.type = 3, .msg = mac_run(0, 65535) + Bytes{7}, .ap_num = 65535});
    const auto items = waiting();
    ASSERT_EQ(items.size(), 656U);
    EXPECT_EQ(items.back().ap_num, 35);
    EXPECT_EQ(items.back().msg, mac_run(65500, 35) + Bytes{7});
}

TEST_F(AcwtpMsg, a_split_item_added_at_the_head_stands_in_reverse_order)
{
    add({.type = 3, .msg = mac_run(1, 250) + Bytes{7}, .ap_num = 250}, MSG_ADD_HEAD);
    const auto items = waiting();
    ASSERT_EQ(items.size(), 3U);
    EXPECT_EQ(items[0].msg, mac_run(201, 50) + Bytes{7});
    EXPECT_EQ(items[1].msg, mac_run(101, 100) + Bytes{7});
    EXPECT_EQ(items[2].msg, mac_run(1, 100) + Bytes{7});
}

TEST_F(AcwtpMsg, an_item_of_less_than_7_bytes_is_never_split_even_for_more_than_100_aps)
{
    EXPECT_EQ(add({.type = 3, .msg = mac_bytes({1}), .ap_num = 101}), AC_RET_OK);
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].ap_num, 101);
    EXPECT_EQ(waiting()[0].msg, mac_bytes({1}));
}

TEST_F(AcwtpMsg, an_item_of_7_bytes_for_more_aps_than_it_holds_is_refused)
{
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .ap_num = 101}), AC_RET_NULL_POINTER);
              }),
              REFUSED);
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsg, an_item_that_lacks_one_byte_of_its_macs_is_refused_and_one_that_just_holds_them_is_not)
{
    Bytes macs = mac_run(1, 101);
    EXPECT_EQ(add({.type = 3, .msg = macs, .ap_num = 101}), AC_RET_OK);
    ASSERT_EQ(waiting().size(), 2U);
    EXPECT_EQ(waiting()[1].msg, mac_bytes({101}));
    take_items();
    macs.pop_back();
    EXPECT_EQ(printed([&] { EXPECT_EQ(add({.type = 3, .msg = macs, .ap_num = 101}), AC_RET_NULL_POINTER); }), REFUSED);
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsg, an_internal_event_is_never_split)
{
    const Bytes msg = mac_run(1, 150) + Bytes{7};
    add({.type = 10, .msg = msg, .ap_num = 150, .flags = PROTO_MSG});
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].ap_num, 150);
    EXPECT_EQ(waiting()[0].msg, msg);
}

TEST_F(AcwtpMsg, work_for_all_aps_is_never_split)
{
    const Bytes msg = text("a payload that no MACs stand in front of", 700);
    add({.type = 3, .msg = msg, .ap_num = 300, .num_flag = 7});
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].ap_num, 300);
    EXPECT_EQ(waiting()[0].num_flag, 7);
    EXPECT_EQ(waiting()[0].msg, msg);
}

TEST_F(AcwtpMsg, an_item_for_no_ap_or_without_bytes_is_queued_as_one)
{
    EXPECT_EQ(add({.type = 3, .msg = mac_run(1, 3), .ap_num = 0}), AC_RET_OK);
    EXPECT_EQ(add({.type = 4, .msg = {}, .ap_num = 300}), AC_RET_OK);
    const auto items = waiting();
    ASSERT_EQ(items.size(), 2U);
    EXPECT_EQ(items[0].ap_num, 0);
    EXPECT_EQ(items[0].msg, mac_run(1, 3));
    EXPECT_EQ(items[1].ap_num, 300);
    EXPECT_TRUE(items[1].msg.empty());
}

TEST_F(AcwtpMsg, a_length_without_a_buffer_is_queued_without_a_buffer)
{
    ACWTP_MSG_TABLE item = {};
    item.type = 3;
    item.flags = CGI_MSG;
    item.ap_num = 2;
    item.length = 20;
    EXPECT_EQ(acwtp_msg_list_add(&item, MSG_ADD_TAIL), AC_RET_OK);
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_TRUE(waiting()[0].msg.empty());
    EXPECT_EQ(printed([] { acprotocol_signal_handle(); }), "! \n! set ap config error\n");
    EXPECT_TRUE(waiting().empty());
}

// --- shortage
// ------------------------------------------------------------------------------------------------------------

TEST_F(AcwtpMsg, no_memory_for_the_item_gives_the_line_and_1001)
{
    ac_alloc_fail_after(0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(add({.type = 3, .msg = {7}}), AC_RET_NULL_POINTER); }), REFUSED);
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsg, no_memory_for_the_copied_bytes_gives_255_and_no_line)
{
    ac_alloc_fail_after(1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(add({.type = 3, .msg = {7}}), AC_RET_ERROR); }), "");
    EXPECT_TRUE(waiting().empty());
    ac_alloc_fail_after(1);
    EXPECT_EQ(printed([&] { EXPECT_EQ(queue({.type = 3, .msg = {7}}), AC_RET_ERROR); }), "! Insert list failed.");
    EXPECT_EQ(posts(), 0);
}

TEST_F(AcwtpMsg, memory_that_ends_within_a_split_gives_the_line_and_leaves_the_items_made_so_far)
{
    const Work work{.type = 3, .msg = mac_run(1, 250) + Bytes{7}, .ap_num = 250};
    for (int allocation = 0; allocation < 6; allocation++) { // an item and its bytes, three times
        SCOPED_TRACE(allocation);
        ac_alloc_fail_after(allocation);
        EXPECT_EQ(printed([&] { EXPECT_EQ(queue(work), AC_RET_NULL_POINTER); }),
                  "! Add new node failed.\n! Insert list failed.");
        EXPECT_EQ(posts(), 0);
        const auto items = take_items();
        ASSERT_EQ(items.size(), static_cast<std::size_t>(allocation / 2));
        if (!items.empty()) {
            EXPECT_EQ(items[0].msg, mac_run(1, 100) + Bytes{7});
        }
    }
    ac_alloc_fail_after(6);
    EXPECT_EQ(queue(work), AC_RET_OK);
    EXPECT_EQ(waiting().size(), 3U);
}

TEST_F(AcwtpMsg, the_4097th_waiting_event_is_refused_while_requests_are_still_taken)
{
    const Work event{.type = 10, .msg = {7}, .flags = PROTO_MSG};
    for (int i = 0; i < 4096; i++)
        ASSERT_EQ(add(event), AC_RET_OK);
    EXPECT_EQ(printed([&] { EXPECT_EQ(queue(event), AC_RET_ERROR); }), "! Insert list failed.");
    EXPECT_EQ(add({.type = 3, .msg = {7}}), AC_RET_OK);
    EXPECT_EQ(take_items().size(), 4097U);
    EXPECT_EQ(add(event), AC_RET_OK);
}

TEST_F(AcwtpMsg, emptying_the_queue_makes_room_for_events_again)
{
    const Work event{.type = 10, .msg = {7}, .flags = PROTO_MSG};
    for (int i = 0; i < 4096; i++)
        ASSERT_EQ(add(event), AC_RET_OK);
    acwtp_msg_list_del_all();
    EXPECT_TRUE(waiting().empty());
    EXPECT_EQ(add(event), AC_RET_OK);
}

TEST_F(AcwtpMsg, emptying_the_queue_leaves_the_item_that_is_worked_on_to_its_thread)
{
    add({.type = 3, .msg = {7}});
    add({.type = 4, .msg = {7}});
    ACWTP_MSG_TABLE* current = acwtp_msg_first();
    acwtp_msg_list_del_all();
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].type, 3);
    acwtp_msg_done(current);
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsg, the_walk_for_printing_has_no_output)
{
    add({.type = 3, .msg = {7}});
    EXPECT_EQ(printed([] { acwtp_msg_list_print(); }), "");
    EXPECT_EQ(waiting().size(), 1U);
}

// --- the initial thread's pass
// -------------------------------------------------------------------------------------------

TEST_F(AcwtpMsg, a_pass_over_an_empty_queue_gives_255)
{
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), 255); }), "");
}

TEST_F(AcwtpMsg, each_configuration_request_sleeps_a_second_goes_out_and_is_recorded_at_the_tail)
{
    static constexpr int requests[] = {3, 4, 7, 8, 10, 18, 46, 128, 133, 136, 141};
    make_record(test_mac(1), 7, AP_LINK_UP);
    for (const int request : requests)
        add({.type = static_cast<UINT16>(request), .msg = mac_bytes({1}) + Bytes{7}});
    const time_t before = ac_time();
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_OK); }), "");
    EXPECT_EQ(ac_time() - before, 11);
    EXPECT_TRUE(waiting().empty());
    ASSERT_EQ(sent().size(), 11U);
    const auto records = outstanding();
    ASSERT_EQ(records.size(), 11U);
    for (UINT32 i = 0; i < 11; i++) {
        EXPECT_EQ(records[i].type, requests[i]);
        EXPECT_EQ(records[i].seq_num, i);
        EXPECT_EQ(sent()[i].head().seq_num, i);
        EXPECT_EQ(records[i].send_times, 1);
    }
}

static time_t g_sent_at = 0;
static std::size_t g_queued_at_send = 0;

static long note_the_moment(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    g_sent_at = ac_time();
    ac_lock lock(acwtp_mutex);
    g_queued_at_send = 0;
    for (const list_node* link = g_msg_queue.next; link != &g_msg_queue; link = link->next)
        g_queued_at_send++;
    return static_cast<long>(datagram.size());
}

TEST_F(AcwtpMsg, the_pause_of_a_configuration_comes_before_its_frame)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    ac_net_capture(note_the_moment);
    const time_t before = ac_time();
    acprotocol_signal_handle();
    EXPECT_EQ(g_sent_at - before, 1);
}

TEST_F(AcwtpMsg, an_item_stays_in_the_queue_until_it_is_done)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{8}});
    ac_net_capture(note_the_moment);
    acprotocol_signal_handle();
    EXPECT_EQ(g_queued_at_send, 1U); // the last one itself
    EXPECT_TRUE(waiting().empty());
}

TEST_F(AcwtpMsg, a_channel_and_a_client_limit_go_out_without_a_pause_and_are_recorded)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = SET_AP_CLI_LIMIT, .msg = mac_bytes({1}) + Bytes{0, 5}});
    add({.type = SET_AP_CHANNEL, .msg = mac_bytes({1}) + Bytes{0, 0, 6}});
    const time_t before = ac_time();
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_OK); }), "");
    EXPECT_EQ(ac_time(), before);
    EXPECT_EQ(sent().size(), 2U);
    ASSERT_EQ(outstanding().size(), 2U);
    EXPECT_EQ(outstanding()[0].type, 44);
    EXPECT_EQ(outstanding()[1].type, 45);
}

TEST_F(AcwtpMsg, a_configuration_that_can_not_be_sent_is_dropped_with_a_line_and_leaves_no_record_and_no_timer)
{
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_ERROR); }),
              "! this mac is not exited\n! set ap config error\n");
    EXPECT_TRUE(waiting().empty());
    EXPECT_TRUE(outstanding().empty());
    ac_clock_advance(100);
    EXPECT_EQ(printed([] { msged_calltimeout(); }), "");
}

TEST_F(AcwtpMsg, a_simple_configuration_that_can_not_be_sent_is_dropped_without_a_further_line)
{
    add({.type = SET_AP_CHANNEL, .msg = mac_bytes({1}) + Bytes{0, 0, 6}});
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_ERROR); }), "! this mac is not exited\n");
    EXPECT_TRUE(outstanding().empty());
    ac_clock_advance(100);
    EXPECT_EQ(printed([] { msged_calltimeout(); }), "");
}

TEST_F(AcwtpMsg, a_simple_configuration_whose_datagram_is_lost_in_the_system_leaves_no_record)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    fail_sends(true);
    add({.type = SET_AP_CHANNEL, .msg = mac_bytes({1}) + Bytes{0, 0, 6}});
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_ERROR); }), "! msg send error.\n");
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsg, a_configuration_whose_datagram_is_lost_in_the_system_is_recorded_and_sent_again)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    fail_sends(true);
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_OK); }), "! msg send error.\n");
    EXPECT_EQ(outstanding().size(), 1U);
}

// The moment at which the one outstanding message goes back to work, in seconds after it was sent.
static int repeated_after()
{
    for (int second = 0; second <= 20; second++) {
        msged_calltimeout();
        ac_lock lock(acwtp_msged_mutex);
        if (list_empty(&g_msged_queue)) return second;
        ac_clock_advance(1);
    }
    return -1;
}

TEST_F(AcwtpMsg, a_message_for_128_aps_is_repeated_after_3_seconds_and_one_for_129_after_5)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 3, .msg = {7}, .ap_num = 128, .num_flag = 1});
    acprotocol_signal_handle();
    output_of([] { EXPECT_EQ(repeated_after(), 3); });
    take_items();
    add({.type = 3, .msg = {7}, .ap_num = 129, .num_flag = 1});
    acprotocol_signal_handle();
    output_of([] { EXPECT_EQ(repeated_after(), 5); });
}

TEST_F(AcwtpMsg, a_simple_configuration_is_repeated_after_3_seconds_whatever_its_count_says)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = SET_AP_CHANNEL, .msg = mac_bytes({1}) + Bytes{0, 0, 6}, .ap_num = 129, .num_flag = 1});
    acprotocol_signal_handle();
    output_of([] { EXPECT_EQ(repeated_after(), 3); });
}

TEST_F(AcwtpMsg, the_low_byte_of_the_type_chooses_the_action)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 0xFF2D, .msg = mac_bytes({1}) + Bytes{0, 0, 6}}); // SET_AP_CHANNEL below
    acprotocol_signal_handle();
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_type, 0x0110);
}

TEST_F(AcwtpMsg, a_request_without_an_action_is_dropped_with_its_low_byte)
{
    static constexpr int requests[] = {0, 1, 2, 5, 6, 37, 38, 47, 58, 69, 74, 127, 129, 132, 140, 142, 255};
    make_record(test_mac(1), 7, AP_LINK_UP);
    for (const int request : requests) {
        SCOPED_TRACE(request);
        add({.type = static_cast<UINT16>(0x0100 | request), .msg = mac_bytes({1}) + Bytes{7}});
        EXPECT_EQ(printed([] { EXPECT_EQ(acprotocol_signal_handle(), AC_RET_ERROR); }),
                  "! msg_type error msg0:" + std::to_string(request) + "\n");
    }
    EXPECT_TRUE(waiting().empty());
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsg, an_upgrade_item_and_an_item_of_unknown_flags_are_dropped_in_silence)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .flags = CGI_UPGRADE_MSG});
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .flags = 0});
    add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .flags = 4});
    EXPECT_EQ(printed([] { acprotocol_signal_handle(); }), "");
    EXPECT_TRUE(waiting().empty());
    EXPECT_TRUE(sent().empty());
}

TEST_F(AcwtpMsg, an_internal_event_of_an_unknown_number_is_dropped_in_silence)
{
    static constexpr UINT16 numbers[] = {0, 3, 10, 12, 0x010B};
    for (const UINT16 number : numbers)
        add({.type = number, .msg = mac_bytes({1}) + Bytes{7}, .flags = PROTO_MSG});
    EXPECT_EQ(printed([] { acprotocol_signal_handle(); }), "");
    EXPECT_TRUE(waiting().empty());
    EXPECT_TRUE(sent().empty());
}

TEST_F(AcwtpMsg, a_pass_gives_the_result_of_its_last_action)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    output_of([&] {
        add({.type = 37, .msg = {7}});
        add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
        EXPECT_EQ(acprotocol_signal_handle(), AC_RET_OK);
        add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
        add({.type = 37, .msg = {7}});
        EXPECT_EQ(acprotocol_signal_handle(), AC_RET_ERROR);
    });
}

TEST_F(AcwtpMsg, items_are_worked_on_from_the_head)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 7, .msg = mac_bytes({1}) + Bytes{1}}, MSG_ADD_TAIL);
    add({.type = 8, .msg = mac_bytes({1}) + Bytes{2}}, MSG_ADD_HEAD);
    acprotocol_signal_handle();
    ASSERT_EQ(sent().size(), 2U);
    EXPECT_EQ(sent()[0].head().msg_type, 5);
    EXPECT_EQ(sent()[1].head().msg_type, 4);
}

static int g_arrivals = 0;

// Work that arrives while an item is being sent.
static long arrive_during_a_send(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    if (g_arrivals++ == 0) {
        Work work{.type = 8, .msg = mac_bytes({1}) + Bytes{7}};
        const ACWTP_MSG_TABLE tail = work.table();
        (void)acwtp_msg_list_add(&tail, MSG_ADD_TAIL);
        const ACWTP_MSG_TABLE head = work.table();
        (void)acwtp_msg_list_add(&head, MSG_ADD_HEAD);
    }
    return static_cast<long>(datagram.size());
}

TEST_F(AcwtpMsg, work_that_arrives_during_a_pass_is_done_in_that_pass)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    add({.type = 7, .msg = mac_bytes({1}) + Bytes{7}});
    g_arrivals = 0;
    ac_net_capture(arrive_during_a_send);
    acprotocol_signal_handle();
    EXPECT_EQ(g_arrivals, 3);
    EXPECT_TRUE(waiting().empty());
    EXPECT_EQ(outstanding().size(), 3U);
}

TEST_F(AcwtpMsg, memory_that_ends_anywhere_in_sending_and_recording_leaves_a_whole_state)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    struct step {
        const char* output;
        const char* error; // standard error, from perror
        std::size_t frames, records;
    };
    static constexpr step steps[] = {
        {"! malloc failed! set ap config error\n", "", 0, 0},                       // the frame
        {"! Add new node failed.\n! Insert list failed.", "", 1, 0},                // the record
        {"! Add new node failed.\n! Insert list failed.", "", 1, 0},                // its payload
        {"! Add new node failed.\n! Insert list failed.", "malloc: Success", 1, 0}, // its MAC
        {"", "", 1, 1},                                                             // the timer: never armed
    };
    int allocation = 0;
    for (const step& expected : steps) {
        SCOPED_TRACE(allocation);
        sent().clear();
        add({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
        ac_alloc_fail_after(allocation++);
        testing::internal::CaptureStderr();
        EXPECT_EQ(printed([] { acprotocol_signal_handle(); }), expected.output);
        const std::string error = testing::internal::GetCapturedStderr();
        EXPECT_EQ(error.substr(0, 7), std::string(expected.error).substr(0, 7));
        EXPECT_EQ(sent().size(), expected.frames);
        EXPECT_EQ(outstanding().size(), expected.records);
        EXPECT_TRUE(waiting().empty());
    }
    // The timers of the three frames without a record find nothing; the record without a timer waits for its answer.
    ac_clock_advance(100);
    EXPECT_EQ(printed([] { msged_calltimeout(); }), "! seq num is not exited,msg response reved\n"
                                                    "! seq num is not exited,msg response reved\n"
                                                    "! seq num is not exited,msg response reved\n");
    EXPECT_EQ(outstanding().size(), 1U);
}
