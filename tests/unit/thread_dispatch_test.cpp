// The dispatch thread: what becomes of a queued frame, by its AP's state.
#include <sched.h>
#include <unistd.h>

#include <cstring>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ac_wtp_protocol/timer.h"
#include "ap_frame.h"
#include "child_process.h"
#include "common/ac_alloc.h"
#include "platform/ac_net.h"
#include "platform/ac_platform.h"
#include "printed.h"
#include "thread_stub.h"

namespace {

class Dispatch : public TestWorld {
protected:
    void SetUp() override
    {
        TestWorld::SetUp();
        mac = test_mac(7);
        from = address_from("10.2.3.4", 7000);
    }
    void TearDown() override
    {
        threads_real();
        TestWorld::TearDown();
    }

    void arrive(const ApFrame& frame)
    {
        const Bytes bytes = frame.bytes();
        manage_datagram(bytes, &from);
    }
    // What one pass prints about the frame.
    std::string dispatch(const ApFrame& frame)
    {
        arrive(frame);
        const std::string out = output_of([] { EXPECT_EQ(udp_skb_queue_out(), 0); });
        ac_lock lock(g_udp_skb_mutex);
        EXPECT_EQ(udp_data_num_in_queue, 0);
        EXPECT_TRUE(list_empty(&g_udp_skb_queue));
        return out;
    }
    ACWTP_JOIN_LIST entry()
    {
        ACWTP_JOIN_LIST copy = {};
        EXPECT_TRUE(acwtp_joined_copy(mac.data(), &copy));
        return copy;
    }
    void expect_entry_at(const char* ip, int port)
    {
        const ACWTP_JOIN_LIST now = entry();
        const struct sockaddr_in expected = address_from(ip, port);
        EXPECT_EQ(memcmp(now.ap_ip, &expected.sin_addr, 4), 0);
        EXPECT_EQ(now.port, port);
    }

    Mac mac;
    struct sockaddr_in from = {};
};

} // namespace

TEST_F(Dispatch, an_ap_that_is_not_joined_gets_the_link_down_reply_and_nothing_else)
{
    make_record(mac, 4, AP_LINK_UP);
    const std::string out = dispatch(ApFrame());
    EXPECT_EQ(message_of(out), "this mac[02:00:00:00:00:07] is not exited in joined list\n");
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.2.3.4");
    EXPECT_EQ(sent()[0].port, 7000);
    EXPECT_EQ(sent()[0].head().pkt_type, 0x5A5A);
    EXPECT_EQ(sent()[0].head().msg_type, 0x0100);
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(Dispatch, any_message_of_an_ap_that_is_not_joined_is_answered_so)
{
    for (const unsigned type : {0U, 8U, 9U, 11U, 24U, 0x0102U, 0xFFFFU}) {
        ApFrame frame;
        frame.msg_type = type;
        sent().clear();
        dispatch(frame);
        ASSERT_EQ(sent().size(), 1U) << type;
        EXPECT_EQ(sent()[0].head().pkt_type, 0x5A5A) << type;
    }
}

TEST_F(Dispatch, a_lost_link_down_reply_does_not_stop_the_pass)
{
    fail_sends(true);
    testing::internal::CaptureStderr();
    arrive(ApFrame());
    const std::string out = dispatch(ApFrame());
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(lines_of(out).size(), 4U) << "two lines for each of two frames";
}

TEST_F(Dispatch, a_running_ap_s_new_source_goes_to_the_entry_and_to_the_record)
{
    APCONFIG* node = make_record(mac, 4, AP_LINK_UP);
    join_ap(mac, AC_RUNNING);
    dispatch(ApFrame());
    expect_entry_at("10.2.3.4", 7000);
    const UINT8 ip[4] = {10, 2, 3, 4};
    EXPECT_EQ(memcmp(node->ip, ip, 4), 0);
    EXPECT_EQ(node->port, 7000);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.2.3.4") << "the reply already goes to the new address";
    EXPECT_EQ(sent()[0].port, 7000);
}

TEST_F(Dispatch, a_portal_check_leaves_both_addresses)
{
    const APCONFIG* node = make_record(mac, 4, AP_LINK_UP);
    join_ap(mac, AC_RUNNING);
    for (const unsigned type : {24U, 0x0118U}) {
        ApFrame frame;
        frame.msg_type = type;
        dispatch(frame);
        expect_entry_at("10.1.1.1", 4000);
        EXPECT_EQ(node->port, 40000);
    }
}

TEST_F(Dispatch, the_entry_s_address_follows_in_any_state)
{
    for (const int state : {0, 1, 2, 5, 6}) {
        mac = test_mac(20 + state);
        join_ap(mac, state);
        ApFrame frame;
        frame.mac = mac;
        dispatch(frame);
        expect_entry_at("10.2.3.4", 7000);
    }
}

TEST_F(Dispatch, a_frame_in_another_state_than_3_4_or_5_is_consumed_silently)
{
    make_record(mac, 4, AP_LINK_UP);
    join_ap(mac, 0);
    for (const int state : {0, 1, 2, 6, 255, -1}) {
        update_wtp_jioned_list_status(mac.data(), state, UPDATE_CURRENT_STATUS);
        for (const unsigned type : {0U, 8U, 11U}) {
            ApFrame frame;
            frame.msg_type = type;
            frame.payload = {0};
            EXPECT_EQ(dispatch(frame), "") << state;
        }
    }
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(entry().echo_times, 0);
}

TEST_F(Dispatch, an_unconfigured_ap_s_foreign_frame_is_tried_as_its_configuration_and_fails)
{
    join_ap(mac, AC_CONFIG_UPGRADE);
    ApFrame frame;
    frame.payload = {1, 2, 3};
    const std::vector<std::string> lines = messages_of(dispatch(frame));
    ASSERT_GE(lines.size(), 2U);
    EXPECT_EQ(lines[lines.size() - 2], "It's not config request packet.\n");
    EXPECT_EQ(lines.back(), "config failed.\n");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(entry().current_status, AC_CONFIG_UPGRADE);
}

TEST_F(Dispatch, an_unconfigured_ap_s_refused_configuration_leaves_it_where_it_is)
{
    join_ap(mac, AC_CONFIG_UPGRADE);
    ApFrame frame;
    frame.msg_type = 8;
    frame.payload = {1, 2, 3};
    EXPECT_EQ(messages_of(dispatch(frame)).back(), "config failed.\n");
    ASSERT_EQ(sent().size(), 1U);
    ASSERT_EQ(sent()[0].bytes.size(), 29U);
    EXPECT_EQ(sent()[0].bytes[28], 1);
    EXPECT_EQ(entry().current_status, AC_CONFIG_UPGRADE);
}

TEST_F(Dispatch, a_running_ap_s_configuration_is_not_taken_again)
{
    make_record(mac, 4, AP_LINK_UP);
    join_ap(mac, AC_RUNNING);
    ApFrame frame;
    frame.msg_type = 8;
    EXPECT_EQ(dispatch(frame), "");
    EXPECT_TRUE(sent().empty());
}

TEST_F(Dispatch, a_running_ap_without_a_record_is_consumed_with_a_line)
{
    join_ap(mac, AC_RUNNING);
    EXPECT_EQ(message_of(dispatch(ApFrame())), "null pointer\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(Dispatch, a_record_that_is_down_is_consumed_with_a_line)
{
    make_record(mac, 4, AP_LINK_DOWN);
    join_ap(mac, AC_RUNNING);
    EXPECT_EQ(message_of(dispatch(ApFrame())), "status time out\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(Dispatch, one_pass_drains_all_frames_in_their_order_and_gives_the_blocks_back)
{
    const CWMemoryPool* small = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1;
    const CWMemoryPool* large = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool;
    const unsigned small_before = small->freeCount;
    const unsigned large_before = large->freeCount;
    make_record(mac, 4, AP_LINK_UP);
    join_ap(mac, AC_RUNNING);
    ApFrame frame;
    for (unsigned seq = 0; seq < 20; seq++) {
        frame.seq_num = seq;
        frame.payload = Bytes(seq % 2 == 0 ? 0 : 500, 0x5A);
        arrive(frame);
    }
    EXPECT_EQ(udp_skb_queue_out(), 0);
    ASSERT_EQ(sent().size(), 20U);
    for (unsigned seq = 0; seq < 20; seq++)
        EXPECT_EQ(sent()[seq].head().seq_num, seq);
    EXPECT_EQ(small->freeCount, small_before);
    EXPECT_EQ(large->freeCount, large_before);
}

TEST_F(Dispatch, a_pass_over_an_empty_queue_gives_0)
{
    EXPECT_EQ(output_of([] { EXPECT_EQ(udp_skb_queue_out(), 0); }), "");
}

namespace {

int g_replies = 0;

long reply_and_receive_more(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    if (g_replies++ == 0) { // as the receiving thread would while the frame is handled
        const Bytes bytes = ApFrame().bytes();
        const struct sockaddr_in from = address_from("10.2.3.4", 7000);
        manage_datagram(bytes, &from);
    }
    return static_cast<long>(datagram.size());
}

} // namespace

TEST_F(Dispatch, a_frame_that_comes_while_the_last_one_is_handled_is_not_left_behind)
{
    g_replies = 0;
    ac_net_capture(reply_and_receive_more);
    arrive(ApFrame());
    for (int passes = 0; passes < 5 && sem_trywait(&udp_sem_sig) == 0; passes++)
        udp_skb_queue_out();
    EXPECT_EQ(g_replies, 2);
    EXPECT_TRUE(list_empty(&g_udp_skb_queue));
}

TEST_F(Dispatch, a_burst_of_posts_costs_one_pass)
{
    for (int i = 0; i < 5; i++)
        trim_sig(&udp_sem_sig);
    acwtp_sem_wait_all(&udp_sem_sig);
    EXPECT_NE(sem_trywait(&udp_sem_sig), 0);
}

// --- the threads -----------------------------------------------------------------------------------------------------

namespace {

// Prints what thread `row` noted about itself, and ends the process; run by that thread itself.
void tell_and_end(ac_pthread row)
{
    EXPECT_EQ(g_ac_pthread[row].pid, getpid());
    EXPECT_NE(pthread_equal(g_ac_pthread[row].tid, pthread_self()), 0);
    const int policy = sched_getscheduler(0);
    if (row == PTHREAD_UDP_QUEUE) ac_thread_in_batches(); // where the machine allows it, the thread has done so itself
    EXPECT_EQ(policy, sched_getscheduler(0));
    EXPECT_TRUE(row == PTHREAD_UDP_QUEUE || policy == SCHED_OTHER);
    FILE* log = fopen(ac_path("/etc/ac_conf").c_str(), "r");
    for (int c = log == nullptr ? EOF : fgetc(log); c != EOF; c = fgetc(log))
        putchar(c);
    fflush(stdout);
    _exit(::testing::Test::HasFailure() ? 1 : 0);
}

template <ac_pthread row> long tell_at_first_reply(std::span<const UINT8>, const struct sockaddr_in*)
{
    tell_and_end(row);
    return -1;
}

void tell_at_timer(void*)
{
    tell_and_end(PTHREAD_AC_CHECK);
}

// `text` with the numbers of its two "%d" taken out of `line`; the first must be the child's pid.
void expect_log_line(const std::string& out, const std::string& before, const std::string& after)
{
    const std::vector<std::string> lines = lines_of(out);
    ASSERT_FALSE(lines.empty());
    const std::string& line = lines.back();
    int pid = 0, thread = 0, used = 0;
    ASSERT_EQ(line.rfind(before + " pid:", 0), 0U) << out;
    ASSERT_EQ(sscanf(line.c_str() + before.size(), " pid:%d pthread_id:%d%n", &pid, &thread, &used), 2) << out;
    EXPECT_EQ(line.substr(before.size() + static_cast<std::size_t>(used)), after) << out;
    EXPECT_GT(pid, 1);
}

} // namespace

TEST_F(Dispatch, the_dispatch_thread_notes_itself_builds_its_pools_and_drains_its_queue)
{
    const ChildOutcome child = in_child([this] {
        arrive(ApFrame());
        ac_net_capture(tell_at_first_reply<PTHREAD_UDP_QUEUE>);
        manage_udp_data_handle(nullptr);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    expect_log_line(child.out, " manage_udp_data_handle", " \n");
}

TEST_F(Dispatch, the_dispatch_thread_ends_the_process_silently_without_memory_for_a_pool_record)
{
    for (int refused = 0; refused < 2; refused++) {
        const ChildOutcome child = in_child([refused] {
            ac_alloc_fail_after(refused);
            manage_udp_data_handle(nullptr);
        });
        EXPECT_EQ(child.status, 1);
        EXPECT_EQ(child.out, "");
    }
}

TEST_F(Dispatch, the_discovery_thread_notes_itself_builds_its_pool_and_drains_its_queue)
{
    const ChildOutcome child = in_child([this] {
        ApFrame frame;
        frame.msg_type = 2;
        arrive(frame);
        ac_net_capture(tell_at_first_reply<PTHREAD_DISCORVER>);
        discovery_thread_handle(nullptr);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    expect_log_line(child.out, " discovery_thread_handle", " \n");
}

TEST_F(Dispatch, the_discovery_thread_ends_the_process_with_a_line_without_memory_for_its_pool_record)
{
    const ChildOutcome child = in_child([] {
        ac_alloc_fail_after(0);
        discovery_thread_handle(nullptr);
    });
    EXPECT_EQ(child.status, 1);
    EXPECT_EQ(child.out, "\nmalloc for discovery error**************************");
}

TEST_F(Dispatch, the_clock_thread_notes_itself_and_runs_the_timers)
{
    const ChildOutcome child = in_child([] {
        acwtp_echo_timeout(tell_at_timer, nullptr, 15, 0);
        echo_timer_check(nullptr);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    expect_log_line(child.out, "echo_timer_check", "\n");
}

TEST_F(Dispatch, the_receiving_thread_is_created_before_the_dispatch_thread)
{
    threads_pretend();
    EXPECT_EQ(create_manage_thread(), 1);
    EXPECT_EQ(threads_asked_for(), (std::vector<thread_entry>{manage_thread_handle, manage_udp_data_handle}));
    threads_pretend();
    EXPECT_EQ(create_discovery_thread(), 1);
    EXPECT_EQ(create_echo_thread(), 1);
    EXPECT_EQ(threads_asked_for(), (std::vector<thread_entry>{discovery_thread_handle, echo_timer_check}));
}

TEST_F(Dispatch, creators_that_fail_print_the_same_words_and_give_0)
{
    static const std::string words = "Create discovery thread is fail.\n";
    threads_pretend(0);
    EXPECT_EQ(message_of(output_of([] { EXPECT_EQ(create_discovery_thread(), 0); })), words);
    threads_pretend(0);
    EXPECT_EQ(message_of(output_of([] { EXPECT_EQ(create_manage_thread(), 0); })), words);
    EXPECT_EQ(threads_asked_for().size(), 1U) << "the dispatch thread is not tried then";
    threads_pretend(1);
    EXPECT_EQ(message_of(output_of([] { EXPECT_EQ(create_manage_thread(), 0); })), words);
    threads_pretend(0);
    EXPECT_EQ(message_of(output_of([] { EXPECT_EQ(create_echo_thread(), 0); })), words);
}
