// Retransmission over time: one message on its way through five transmissions, with the clock thread's ticks and the
// initial thread's passes as the daemon makes them; and the roles on threads of their own.
#include <arpa/inet.h>
#include <sched.h>

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <thread>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "exchange_kit.h"
#include "platform/ac_clock.h"
#include "platform/ac_net.h"

class Retransmission : public ExchangeWorld {
protected:
    void running(int number)
    {
        make_record(test_mac(number), 7, AP_LINK_UP, "7");
        join_running(test_mac(number));
    }
    // What a tick of the clock thread prints; it comes 10 seconds after the last one.
    std::string tick()
    {
        ac_clock_advance(10);
        return printed([] { echo_timer_tick(); });
    }
    void pass() // of the initial thread
    {
        sent().clear();
        acprotocol_signal_handle();
    }
    std::vector<int> receivers() // of the frames of the last pass, by the last byte of their MAC
    {
        std::vector<int> numbers;
        for (const SentFrame& frame : sent())
            numbers.push_back(frame.bytes[5]);
        return numbers;
    }
    std::vector<int> seq_nums()
    {
        std::vector<int> numbers;
        for (const SentFrame& frame : sent())
            numbers.push_back(frame.head().seq_num);
        return numbers;
    }
    void answers(int number, UINT16 seq, UINT8 result = 0)
    {
        from_ap({.mac = test_mac(number), .msg_type = 0x0207, .payload = {result}, .seq = seq});
    }
};

typedef std::vector<int> Numbers;

TEST_F(Retransmission, a_silent_ap_is_sent_to_five_times_together_then_alone_and_then_given_up)
{
    for (int number = 1; number <= 3; number++)
        running(number);
    queue({.type = 0x0212, .msg = mac_bytes({1, 2, 3}) + Bytes{7, 8}, .ap_num = 3});

    pass(); // first: to all three, one number
    EXPECT_EQ(receivers(), (Numbers{1, 2, 3}));
    EXPECT_EQ(seq_nums(), (Numbers{0, 0, 0}));
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].send_times, 1);
    answers(2, 0);
    EXPECT_EQ(outstanding()[0].ap_num, 2);

    EXPECT_EQ(tick(), "! re trasmit........ap_num=[2].......\n");
    EXPECT_EQ(posts(), 2); // the request's and the repetition's
    pass();                // second: to the two silent ones in one flow
    EXPECT_EQ(receivers(), (Numbers{3, 1}));
    EXPECT_EQ(seq_nums(), (Numbers{1, 1}));
    EXPECT_NE(sent()[0].head().crc, 0U);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].send_times, 2);
    EXPECT_EQ(outstanding()[0].seq_num, 1U);

    EXPECT_EQ(tick(), "! re trasmit........ap_num=[2].......\n");
    pass(); // third: to each alone, with a number of its own
    EXPECT_EQ(receivers(), (Numbers{1, 3}));
    EXPECT_EQ(seq_nums(), (Numbers{2, 3}));
    EXPECT_EQ(sent()[0].head().crc, 0U);
    ASSERT_EQ(outstanding().size(), 2U);
    EXPECT_EQ(outstanding()[0].send_times, 3);
    EXPECT_EQ(outstanding()[0].macs, (std::vector<Mac>{test_mac(1)}));
    answers(3, 3);
    EXPECT_EQ(outstanding().size(), 1U);

    EXPECT_EQ(tick(), "! re trasmit........ap_num=[1].......\n! seq num is not exited,msg response reved\n");
    pass(); // fourth
    EXPECT_EQ(receivers(), Numbers{1});
    EXPECT_EQ(tick(), "! re trasmit........ap_num=[1].......\n");
    pass(); // fifth
    EXPECT_EQ(receivers(), Numbers{1});
    EXPECT_EQ(seq_nums(), Numbers{5});
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].send_times, 5);
    EXPECT_EQ(outstanding()[0].msg, (Bytes{7, 8}));

    EXPECT_EQ(ac_load(wtp_online_num_count), 3);
    EXPECT_EQ(tick(), "! send MAX times aready,quit.\n");
    const APCONFIG* silent = apconfig_find(test_mac(1).data());
    EXPECT_EQ(silent->status, AP_LINK_DOWN);
    EXPECT_EQ(version_of(silent), "1");
    EXPECT_EQ(alarms(test_mac(1)), Numbers{HALDE_ALARM_CONFIG_FAILED});
    EXPECT_EQ(state_of(test_mac(1)), -1);
    EXPECT_EQ(ac_load(wtp_online_num_count), 2);
    EXPECT_EQ(state_of(test_mac(2)), AC_RUNNING);
    EXPECT_EQ(state_of(test_mac(3)), AC_RUNNING);
    EXPECT_TRUE(outstanding().empty());
    take_items();

    sent().clear();
    answers(1, 5); // too late: the AP has been marked and learns that it must rejoin
    EXPECT_EQ(silent->status, AP_LINK_DOWN);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().pkt_type, 0x5A5A);
    EXPECT_EQ(tick(), "");
    EXPECT_TRUE(waiting().empty());
}

TEST_F(Retransmission, of_three_aps_of_which_one_answers_the_others_get_one_repetition_together_and_the_next_alone)
{
    for (int number = 1; number <= 3; number++)
        running(number);
    queue({.type = 0x0212, .msg = mac_bytes({1, 2, 3}) + Bytes{7}, .ap_num = 3});
    pass();
    answers(1, 0);
    tick();
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].msg, mac_bytes({3, 2}) + Bytes{7});
    pass();
    EXPECT_EQ(seq_nums(), (Numbers{1, 1}));
    tick();
    ASSERT_EQ(waiting().size(), 2U);
    EXPECT_EQ(waiting()[0].msg, mac_bytes({2}) + Bytes{7});
    EXPECT_EQ(waiting()[1].msg, mac_bytes({3}) + Bytes{7});
    pass();
    EXPECT_EQ(seq_nums(), (Numbers{2, 3}));
}

TEST_F(Retransmission, a_record_counts_1_after_the_first_transmission_and_5_after_the_last)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    for (int send_times = 1; send_times <= 5; send_times++) {
        pass();
        EXPECT_EQ(sent().size(), 1U);
        ASSERT_EQ(outstanding().size(), 1U);
        EXPECT_EQ(outstanding()[0].send_times, send_times);
        tick();
    }
    take_items(); // the alarm
    pass();
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(Retransmission, an_answer_after_the_time_out_of_the_last_transmission_changes_nothing)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    for (int transmission = 1; transmission <= 5; transmission++) {
        pass();
        tick();
    }
    take_items();
    take_notes();
    for (UINT16 seq = 0; seq < 5; seq++)
        answers(1, seq);
    const APCONFIG* given_up = apconfig_find(test_mac(1).data());
    EXPECT_EQ(given_up->status, AP_LINK_DOWN);
    EXPECT_EQ(version_of(given_up), "1");
    EXPECT_EQ(state_of(test_mac(1)), -1);
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(Retransmission, a_tick_before_3_seconds_have_passed_repeats_nothing_and_the_next_one_does)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    pass();
    ac_clock_advance(2);
    EXPECT_EQ(printed([] { echo_timer_tick(); }), "");
    EXPECT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(tick(), "! re trasmit........ap_num=[1].......\n");
}

TEST_F(Retransmission, a_message_that_everyone_answered_ends_with_a_line_at_its_time_out)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    pass();
    answers(1, 0);
    EXPECT_TRUE(outstanding().empty());
    EXPECT_EQ(tick(), "! seq num is not exited,msg response reved\n");
    EXPECT_EQ(tick(), "");
    EXPECT_TRUE(waiting().empty());
}

TEST_F(Retransmission, an_ap_that_answers_with_a_failure_stays_in_the_list_and_gets_the_message_again)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    pass();
    answers(1, 0, 1);
    EXPECT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(tick(), "! re trasmit........ap_num=[1].......\n");
    pass();
    EXPECT_EQ(receivers(), Numbers{1});
}

TEST_F(Retransmission, a_late_answer_to_the_number_of_an_earlier_transmission_is_ignored)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    pass();
    tick();
    pass();
    answers(1, 0);
    EXPECT_EQ(outstanding().size(), 1U);
    answers(1, 1);
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(Retransmission, a_message_to_all_is_repeated_to_the_silent_ones_by_their_macs)
{
    running(1);
    running(2);
    make_record(test_mac(3), 7, AP_LINK_DOWN);
    queue({.type = 3, .msg = {7}, .ap_num = 3, .num_flag = 1});
    pass();
    EXPECT_EQ(sent().size(), 3U); // the one that is down is sent to, too, and owes nothing
    answers(2, 0);
    EXPECT_EQ(tick(), "! re trasmit........ap_num=[1].......\n");
    ASSERT_EQ(waiting().size(), 1U);
    EXPECT_EQ(waiting()[0].num_flag, 0);
    EXPECT_EQ(waiting()[0].msg, mac_bytes({1}) + Bytes{7});
    pass();
    EXPECT_EQ(receivers(), Numbers{1});
    EXPECT_EQ(sent()[0].head().crc, 0U); // one AP now
}

TEST_F(Retransmission, a_channel_is_repeated_like_a_configuration_until_its_ap_answers)
{
    running(1);
    queue({.type = SET_AP_CHANNEL, .msg = mac_bytes({1}) + Bytes{0, 0, 6}});
    pass();
    for (int send_times = 2; send_times <= 5; send_times++) {
        EXPECT_EQ(tick(), "! re trasmit........ap_num=[1].......\n");
        pass();
        ASSERT_EQ(sent().size(), 1U);
        EXPECT_EQ(sent()[0].head().msg_type, 0x0110);
        EXPECT_EQ(sent()[0].head().seq_num, send_times - 1);
        ASSERT_EQ(outstanding().size(), 1U);
        EXPECT_EQ(outstanding()[0].send_times, send_times);
    }
    from_ap({.mac = test_mac(1), .msg_type = 0x0110, .payload = {9}, .seq = 4}); // the payload is not looked at
    EXPECT_TRUE(outstanding().empty());
    EXPECT_EQ(tick(), "! seq num is not exited,msg response reved\n");
    EXPECT_EQ(state_of(test_mac(1)), AC_RUNNING);
}

TEST_F(Retransmission, an_ap_that_goes_down_before_the_repetition_is_not_sent_to_again)
{
    running(1);
    queue({.type = 3, .msg = mac_bytes({1}) + Bytes{7}});
    pass();
    tick();
    ac_store(apconfig_find(test_mac(1).data())->status, UINT8{AP_LINK_DOWN});
    sent().clear();
    EXPECT_EQ(printed([] { acprotocol_signal_handle(); }), "! this mac's status is linkdown \n! set ap config error\n");
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(outstanding().empty());
    EXPECT_EQ(tick(), "");
}

TEST_F(Retransmission, five_items_of_one_batch_leave_with_a_second_between_them)
{
    for (int number = 1; number <= 5; number++)
        running(number);
    for (int number = 1; number <= 5; number++)
        queue({.type = 3, .msg = mac_bytes({number}) + Bytes{7}});
    const time_t before = ac_time();
    pass();
    EXPECT_EQ(ac_time() - before, 5);
    EXPECT_EQ(receivers(), (Numbers{1, 2, 3, 4, 5}));
}

// --- roles on threads of their own
// ---------------------------------------------------------------------------------------

// The AP's side: frames that the sink took, answered by a thread that is receiving and dispatch thread at once.
struct Answerer {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Bytes> frames;
    bool closed = false;
    std::atomic<int> given{0};
    std::atomic<int> answered{0};

    void give(std::span<const UINT8> datagram)
    {
        const std::lock_guard lock(mutex);
        frames.emplace_back(datagram.begin(), datagram.end());
        given++;
        changed.notify_one();
    }
    void close()
    {
        const std::lock_guard lock(mutex);
        closed = true;
        changed.notify_one();
    }
    bool take(Bytes& frame)
    {
        std::unique_lock lock(mutex);
        changed.wait(lock, [this] { return closed || !frames.empty(); });
        if (frames.empty()) return false;
        frame = frames.front();
        frames.pop_front();
        return true;
    }
    void run()
    {
        Bytes frame;
        while (take(frame)) {
            Bytes reply(frame.begin(), frame.begin() + 28);
            put(reply, 20, {1, 0, 0, 0, 0, 0, 0, 0}); // one byte of payload, no CRC
            reply.push_back(0);
            struct sockaddr_in from = {};
            from.sin_family = AF_INET;
            from.sin_port = htons(40000);
            from.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            manage_datagram(reply, &from);
            udp_skb_queue_out();
            answered++;
        }
    }
};

static Answerer* g_answerer = nullptr;

// The answer is under way before the send returns: it overtakes the record unless sending and recording are one step.
// The wait for it is bounded, because an answer that rightly waits for the record can't end before the send does.
static long answer_at_once(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    static constexpr UINT8 link_down[] = {0x5A, 0x5A}; // needs no answer
    if (memcmp(datagram.data() + 10, link_down, sizeof link_down) == 0) return static_cast<long>(datagram.size());
    const int before = g_answerer->answered.load();
    g_answerer->give(datagram);
    for (int i = 0; i < 200 && g_answerer->answered.load() == before; i++)
        sched_yield();
    return static_cast<long>(datagram.size());
}

class PromptAnswers : public Retransmission {
protected:
    void SetUp() override
    {
        ExchangeWorld::SetUp();
        for (int number = 1; number <= 4; number++)
            running(number);
        g_answerer = &answerer;
        ac_net_capture(answer_at_once);
    }
    void TearDown() override
    {
        g_answerer = nullptr;
        ExchangeWorld::TearDown();
    }
    void queue_round(int round)
    {
        const auto value = static_cast<UINT8>(round);
        queue({.type = 0x0212, .msg = mac_bytes({1 + round % 4}) + Bytes{value}});
        queue({.type = 0x0412, .msg = mac_bytes({1, 2, 3, 4}) + Bytes{value}, .ap_num = 4});
        queue({.type = SET_AP_CHANNEL, .msg = mac_bytes({1 + round % 4}) + Bytes{0, 0, value}});
        queue({.type = 3, .msg = {value}, .num_flag = 1});
    }
    Answerer answerer;
};

TEST_F(PromptAnswers, an_answer_that_comes_during_the_send_always_counts)
{
    static constexpr int ROUNDS = 50;
    std::thread dispatch([this] { answerer.run(); });
    std::thread initial([this] {
        for (int round = 0; round < ROUNDS; round++) {
            queue_round(round);
            acprotocol_signal_handle();
        }
    });
    initial.join();
    answerer.close();
    dispatch.join();
    EXPECT_EQ(answerer.given.load(), ROUNDS * 10);
    EXPECT_TRUE(outstanding().empty());
    EXPECT_TRUE(waiting().empty());
    for (int number = 1; number <= 4; number++)
        EXPECT_EQ(state_of(test_mac(number)), AC_RUNNING);
}

TEST_F(PromptAnswers, sending_answering_and_ticking_threads_leave_nothing_outstanding)
{
    static constexpr int ROUNDS = 30;
    std::atomic<bool> sending{true};
    std::thread dispatch([this] { answerer.run(); });
    std::thread initial([this, &sending] {
        for (int round = 0; round < ROUNDS; round++) {
            queue_round(round);
            acprotocol_signal_handle();
            while (answerer.answered != answerer.given)
                sched_yield();
        }
        sending = false;
    });
    (void)output_of([&] {
        int answers_seen = 0;
        while (sending) {
            // The senders' pauses move the clock on. No tick without an answer since the last one: the AP is slow at
            // most, never dead.
            if (answerer.answered == answers_seen) {
                sched_yield();
                continue;
            }
            answers_seen = answerer.answered;
            msged_calltimeout();
        }
        initial.join();
        acprotocol_signal_handle(); // what a time-out that overtook its answer gave back
    });
    answerer.close();
    dispatch.join();
    EXPECT_TRUE(outstanding().empty());
    EXPECT_TRUE(waiting().empty());
}
