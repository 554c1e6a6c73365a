// The life of an AP under strain: memory that ends anywhere in it, and all threads of it at once.
#include <atomic>
#include <thread>

#include "acwtp_msg/acwtp_msg.h"
#include "common/ac_alloc.h"
#include "joining_ap.h"
#include "platform/ac_net.h"

// --- shortage --------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, an_allocation_that_fails_anywhere_in_a_life_leaves_a_controller_that_serves_the_next_one)
{
    testing::internal::CaptureStderr();
    for (int count = 0; count < 40; count++) { // such a life takes about twenty
        JoiningAp ap(1 + count);
        (void)output_of([&] {
            ac_alloc_fail_after(count);
            ap.join();
            for (int i = 0; i < 4; i++)
                ap.echo();
            ap.discover();
            ap.configure();
            ap.send(4, {0});
            ac_alloc_fail_after(-1);
            pass(200);
            ap.join();
        });
        EXPECT_EQ(ap.state(), AC_RUNNING) << count;
        EXPECT_EQ(status_of(ap), AP_LINK_UP) << count;
        (void)output_of([] { pass(190); });
        EXPECT_FALSE(ap.joined()) << count;
        sent().clear();
        take_items();
        take_notes();
    }
    (void)testing::internal::GetCapturedStderr();
}

// --- threads ---------------------------------------------------------------------------------------------------------

namespace {

std::atomic<long> g_frames_out{0};

long count_frame(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    g_frames_out++;
    return static_cast<long>(datagram.size());
}

template <typename Round> std::thread looped(std::atomic<bool>& stop, Round round)
{
    return std::thread([&stop, round] {
        while (!stop.load())
            round();
    });
}

} // namespace

// The four threads of an AP's life and the initial thread's side of the queues, all at once.
TEST_F(TestWorld, frames_ticks_and_deletions_at_once_leave_every_ap_in_a_state_of_its_own_frames)
{
    ac_net_capture(count_frame);
    constexpr int APS = 12;
    constexpr int ROUNDS = 150;
    (void)output_of([&] {
        std::atomic<bool> stop{false};
        std::vector<std::thread> threads;
        threads.push_back(looped(stop, [] { udp_discvr_skb_queue_out(); }));
        threads.push_back(looped(stop, [] { udp_skb_queue_out(); }));
        threads.push_back(looped(stop, [] {
            ac_clock_advance(10);
            echo_timer_tick();
        }));
        threads.push_back(looped(stop, [] { acprotocol_signal_handle(); }));
        threads.push_back(looped(stop, [this] { take_notes(); }));
        for (int round = 0; round < ROUNDS; round++) {
            for (int i = 1; i <= APS; i++) {
                const JoiningAp ap(i);
                ap.post(ap.frame(2));
                ap.post(ap.frame(8, report_of_type_1()));
                ap.post(ap.frame(0));
                if (round % 7 == 0) ap.post(ap.frame(4, {0}));
                if (round % 5 == 0) delete_wtp_listinfo(ap.mac.data());
            }
        }
        stop = true;
        for (std::thread& thread : threads)
            thread.join();
        udp_discvr_skb_queue_out();
        udp_skb_queue_out();
    });
    EXPECT_GT(g_frames_out.load(), APS);
    int entries = 0;
    for (int i = 0; i < ACWTP_JOIN_USED; i++) {
        ac_lock lock(g_apjioned_mutex);
        if (g_online_list->online_list[i].ap_status != 0) entries++;
    }
    EXPECT_LE(entries, APS); // no AP has two slots
    (void)output_of([] { pass(260); });
    for (int i = 1; i <= APS; i++) {
        EXPECT_FALSE(JoiningAp(i).joined()) << i;
        (void)output_of([&] { JoiningAp(i).join(); });
        EXPECT_EQ(JoiningAp(i).state(), AC_RUNNING) << i;
    }
}

// An entry that has never run has no echo timer of its own: a count above 0 in it came from the entry before.
TEST_F(TestWorld, no_echo_timer_of_a_deleted_entry_strikes_the_ap_that_rejoins_in_its_slot)
{
    constexpr int ROUNDS = 10000;
    std::atomic<int> struck{0};
    (void)output_of([&] {
        std::atomic<bool> stop{false};
        std::thread clock_thread = looped(stop, [] {
            ac_clock_advance(30);
            echo_calltimeout();
        });
        ACWTP_JOIN_LIST entry = {};
        const Mac mac = test_mac(7);
        memcpy(entry.ap_mac, mac.data(), mac.size());
        entry.ap_status = 1;
        entry.current_status = AC_CONFIG_UPGRADE;
        for (int round = 0; round < ROUNDS; round++) {
            insert_to_wtp_listinfo(&entry);
            acwtp_joined_to_running(mac.data());
            std::this_thread::yield();
            delete_wtp_listinfo(mac.data());
            insert_to_wtp_listinfo(&entry);
            std::this_thread::yield();
            ACWTP_JOIN_LIST now;
            if (acwtp_joined_copy(mac.data(), &now) && now.timeout_num != 0) struck++;
            delete_wtp_listinfo(mac.data());
        }
        stop = true;
        clock_thread.join();
    });
    EXPECT_EQ(struck.load(), 0);
    ac_lock lock(g_echo_timer_mutex);
    EXPECT_EQ(echo_callout_list, nullptr);
}

// Several threads that insert and delete APs of their own while the clock runs: slots are never shared.
TEST_F(TestWorld, threads_that_insert_and_delete_their_own_aps_never_meet_in_a_slot)
{
    constexpr int THREADS = 4;
    constexpr int ROUNDS = 500;
    std::atomic<int> wrong{0};
    (void)output_of([&] {
        std::atomic<bool> stop{false};
        std::thread clock_thread = looped(stop, [] {
            ac_clock_advance(1);
            echo_timer_tick();
        });
        std::vector<std::thread> threads;
        for (int t = 1; t <= THREADS; t++) {
            threads.emplace_back([t, &wrong] {
                ACWTP_JOIN_LIST entry = {};
                const Mac mac = test_mac(t);
                memcpy(entry.ap_mac, mac.data(), mac.size());
                entry.ap_status = 1;
                entry.current_status = AC_RUNNING; // the scan never drops it: no echo timer is armed
                entry.port = t;
                for (int round = 0; round < ROUNDS; round++) {
                    insert_to_wtp_listinfo(&entry);
                    ACWTP_JOIN_LIST copy = {};
                    if (!acwtp_joined_copy(mac.data(), &copy) || copy.port != t) wrong++;
                    update_wtp_jioned_list_status(mac.data(), 0, UPDATE_ECHO_STATUS);
                    delete_wtp_listinfo(mac.data());
                    if (acwtp_joined_copy(mac.data(), &copy)) wrong++;
                }
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        stop = true;
        clock_thread.join();
    });
    EXPECT_EQ(wrong.load(), 0);
    ac_lock lock(g_echo_timer_mutex);
    EXPECT_EQ(echo_callout_list, nullptr);
}
