// The timer list and the tick of the clock thread.
#include <malloc.h>
#include <unistd.h>

#include <future>
#include <thread>

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "joining_ap.h"
#include "platform/ac_clock.h"

static int g_trims = 0;

// In place of the C library's: a trim of the heap can't be seen from outside.
extern "C" int malloc_trim(std::size_t) noexcept
{
    g_trims++;
    return 0;
}

namespace {

std::vector<int> g_ran; // what the timers below were called with

void note(void* arg)
{
    g_ran.push_back(*static_cast<int*>(arg));
}

void note_negative(void* arg)
{
    g_ran.push_back(-*static_cast<int*>(arg));
}

int g_one = 1;
int g_two = 2;
int g_three = 3;

int timers_waiting()
{
    ac_lock lock(g_echo_timer_mutex);
    int count = 0;
    for (const callout* timer = echo_callout_list; timer != nullptr; timer = timer->c_next)
        count++;
    return count;
}

struct timeval first_due()
{
    ac_lock lock(g_echo_timer_mutex);
    return echo_callout_list == nullptr ? timeval{} : echo_callout_list->c_time;
}

std::vector<int> run_due()
{
    g_ran.clear();
    echo_calltimeout();
    return g_ran;
}

using Ran = std::vector<int>;

} // namespace

// --- arming and order ------------------------------------------------------------------------------------------------

TEST_F(TestWorld, a_timer_is_due_at_its_second_and_not_one_before)
{
    acwtp_echo_timeout(note, &g_one, 30, 0);
    ac_clock_advance(29);
    EXPECT_EQ(run_due(), Ran{});
    ac_clock_advance(1);
    EXPECT_EQ(run_due(), Ran{1});
    EXPECT_EQ(timers_waiting(), 0);
}

TEST_F(TestWorld, timers_run_in_the_order_of_their_times_not_of_their_arming)
{
    acwtp_echo_timeout(note, &g_three, 30, 0);
    acwtp_echo_timeout(note, &g_one, 10, 0);
    acwtp_echo_timeout(note, &g_two, 20, 0);
    ac_clock_advance(30);
    EXPECT_EQ(run_due(), (Ran{1, 2, 3}));
}

TEST_F(TestWorld, a_timer_goes_behind_those_that_fall_due_at_the_same_moment)
{
    acwtp_echo_timeout(note, &g_three, 10, 0);
    acwtp_echo_timeout(note, &g_one, 10, 0);
    acwtp_echo_timeout(note, &g_two, 10, 0);
    ac_clock_advance(10);
    EXPECT_EQ(run_due(), (Ran{3, 1, 2}));
}

TEST_F(TestWorld, a_microsecond_decides_the_order)
{
    acwtp_echo_timeout(note, &g_two, 10, 2);
    acwtp_echo_timeout(note, &g_one, 10, 1);
    ac_clock_advance(10);
    EXPECT_EQ(run_due(), Ran{});
    ac_clock_advance(1);
    EXPECT_EQ(run_due(), (Ran{1, 2}));
}

TEST_F(TestWorld, microseconds_above_999999_are_carried_into_seconds)
{
    const timeval at = {10, 400000};
    const timeval below = acwtp_time_after(at, 1, 599999);
    EXPECT_EQ(below.tv_sec, 11);
    EXPECT_EQ(below.tv_usec, 999999);
    const timeval above = acwtp_time_after(at, 1, 600000);
    EXPECT_EQ(above.tv_sec, 12);
    EXPECT_EQ(above.tv_usec, 0);

    acwtp_echo_timeout(note, &g_one, 1, 1500000);
    EXPECT_EQ(first_due().tv_sec, ac_time() + 2);
    EXPECT_EQ(first_due().tv_usec, 500000);
}

TEST_F(TestWorld, a_timer_armed_before_31_bits_of_seconds_end_falls_due_after_them)
{
    ac_clock_manual(2147483640);
    acwtp_echo_timeout(note, &g_one, 30, 0);
    ac_clock_advance(29);
    EXPECT_EQ(run_due(), Ran{});
    ac_clock_advance(1);
    EXPECT_EQ(run_due(), Ran{1});
}

TEST_F(TestWorld, a_time_is_later_only_if_it_is_not_equal)
{
    EXPECT_TRUE(acwtp_time_later({2, 0}, {1, 999999}));
    EXPECT_FALSE(acwtp_time_later({1, 999999}, {2, 0}));
    EXPECT_TRUE(acwtp_time_later({1, 2}, {1, 1}));
    EXPECT_FALSE(acwtp_time_later({1, 1}, {1, 1}));
}

TEST_F(TestWorld, a_timer_without_a_function_is_ignored)
{
    acwtp_echo_timeout(nullptr, &g_one, 10, 0);
    EXPECT_EQ(timers_waiting(), 0);
}

TEST_F(TestWorld, a_timer_that_gets_no_memory_is_silently_not_armed)
{
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(output_of([] { acwtp_echo_timeout(note, &g_one, 10, 0); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(timers_waiting(), 0);
}

// --- cancelling ------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, cancelling_takes_the_first_timer_that_matches_function_and_argument)
{
    acwtp_echo_timeout(note, &g_one, 10, 0);
    acwtp_echo_timeout(note_negative, &g_one, 11, 0);
    acwtp_echo_timeout(note, &g_two, 12, 0);
    acwtp_echo_timeout(note, &g_one, 13, 0);
    acwtp_echo_untimeout(note, &g_one);
    EXPECT_EQ(timers_waiting(), 3);
    ac_clock_advance(13);
    EXPECT_EQ(run_due(), (Ran{-1, 2, 1}));
}

TEST_F(TestWorld, cancelling_what_is_not_armed_does_nothing)
{
    acwtp_echo_timeout(note, &g_one, 10, 0);
    acwtp_echo_untimeout(note, &g_two);
    acwtp_echo_untimeout(note_negative, &g_one);
    EXPECT_EQ(timers_waiting(), 1);
    EXPECT_FALSE(echo_timer_cancelled());
}

TEST_F(TestWorld, all_timers_can_be_deleted_at_once)
{
    acwtp_echo_timeout(note, &g_one, 10, 0);
    acwtp_echo_timeout(note, &g_two, 20, 0);
    echo_timeout_delall();
    EXPECT_EQ(timers_waiting(), 0);
    ac_clock_advance(100);
    EXPECT_EQ(run_due(), Ran{});
}

static bool g_seen_before = true;
static bool g_seen_after = false;

static void cancels_itself(void* arg)
{
    g_seen_before = echo_timer_cancelled();
    acwtp_echo_untimeout(cancels_itself, arg);
    g_seen_after = echo_timer_cancelled();
}

static void looks_whether_cancelled(void* arg)
{
    g_ran.push_back(echo_timer_cancelled() ? -1 : *static_cast<int*>(arg));
}

TEST_F(TestWorld, a_running_timer_sees_that_it_was_cancelled_and_the_next_one_does_not)
{
    acwtp_echo_timeout(cancels_itself, &g_one, 10, 0);
    acwtp_echo_timeout(looks_whether_cancelled, &g_two, 10, 0);
    ac_clock_advance(10);
    EXPECT_EQ(run_due(), Ran{2});
    EXPECT_FALSE(g_seen_before);
    EXPECT_TRUE(g_seen_after);
    EXPECT_FALSE(echo_timer_cancelled());
    acwtp_echo_timeout(cancels_itself, &g_one, 0, 0);
    EXPECT_EQ(run_due(), Ran{});
    EXPECT_FALSE(echo_timer_cancelled()) << "none is running";
}

static void cancels_another(void*)
{
    acwtp_echo_untimeout(note, &g_one);
    acwtp_echo_untimeout(cancels_another, &g_one); // same function, another argument
    acwtp_echo_untimeout(note, &g_two);            // another function, same argument
    g_seen_after = echo_timer_cancelled();
}

TEST_F(TestWorld, a_running_timer_is_not_cancelled_by_the_cancelling_of_others)
{
    g_seen_after = true;
    acwtp_echo_timeout(cancels_another, &g_two, 10, 0);
    acwtp_echo_timeout(note, &g_one, 10, 0);
    ac_clock_advance(10);
    EXPECT_EQ(run_due(), Ran{});
    EXPECT_FALSE(g_seen_after);
}

// --- running ---------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, no_timer_runs_while_the_clock_can_not_be_read)
{
    acwtp_echo_timeout(note, &g_one, 10, 0);
    ac_clock_advance(10);
    ac_clock_fail(true);
    EXPECT_EQ(run_due(), Ran{});
    EXPECT_EQ(timers_waiting(), 1);
    ac_clock_fail(false);
    EXPECT_EQ(run_due(), Ran{1});
}

static void arms_the_next(void* arg)
{
    g_ran.push_back(*static_cast<int*>(arg));
    acwtp_echo_timeout(note, &g_two, 0, 0);
    acwtp_echo_timeout(note, &g_three, 1, 0);
}

TEST_F(TestWorld, a_timer_function_may_arm_timers_and_one_that_is_due_at_once_runs_in_the_same_pass)
{
    acwtp_echo_timeout(arms_the_next, &g_one, 10, 0);
    ac_clock_advance(10);
    EXPECT_EQ(run_due(), (Ran{1, 2}));
    EXPECT_EQ(timers_waiting(), 1);
}

static void takes_both_locks(void* arg)
{
    ac_lock joined(g_apjioned_mutex);
    ac_lock timers(g_echo_timer_mutex);
    g_ran.push_back(*static_cast<int*>(arg));
}

TEST_F(TestWorld, a_timer_function_is_called_with_no_lock_held)
{
    acwtp_echo_timeout(takes_both_locks, &g_one, 0, 0);
    EXPECT_EQ(run_due(), Ran{1});
}

TEST_F(TestWorld, a_timer_set_while_the_time_of_day_stood_later_waits_for_that_time)
{
    acwtp_echo_timeout(note, &g_one, 10, 0);
    ac_clock_advance(-3600);
    ac_clock_advance(10);
    EXPECT_EQ(run_due(), Ran{});
    ac_clock_advance(3600);
    EXPECT_EQ(run_due(), Ran{1});
}

// --- the tick --------------------------------------------------------------------------------------------------------

static void say_echo(void*)
{
    printf("echo timer\n");
}

static void say_msged(int)
{
    printf("message timer\n");
}

TEST_F(TestWorld, a_tick_runs_echo_timers_then_message_timers_then_the_scan)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.discover(); });
    acwtp_msged_timeout(say_msged, 1, 60, 0);
    acwtp_echo_timeout(say_echo, nullptr, 60, 0);
    ac_clock_advance(60);
    EXPECT_EQ(said(output_of([] { echo_timer_tick(); })),
              "echo timer\nmessage timer\nip:[192.168.1.77] config time out\n");
    EXPECT_FALSE(ap.joined());
}

// 2000 records are kept of APs that are offline; the one that the scan has just marked as down counts already.
TEST_F(TestWorld, a_tick_ages_the_offline_aps_after_the_scan)
{
    for (int i = 0; i < 2000; i++)
        make_record(test_mac(1000 + i), 1, AP_LINK_DOWN);
    JoiningAp ap(7);
    (void)output_of([&] { ap.join(); });
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 2001U);
    ac_clock_advance(60);
    echo_timer_tick();
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 2001U);
    {
        ac_lock lock(g_apjioned_mutex);
        acwtp_joined_node_find_locked(ap.mac.data())->timeout_num = ACWTP_ECHO_LIMIT;
    }
    ac_clock_advance(60);
    (void)output_of([] { echo_timer_tick(); });
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 2000U);
}

TEST_F(TestWorld, the_first_trim_of_the_heap_comes_with_the_1999th_tick)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            for (int i = 0; i < ACWTP_TRIM_TICKS - 2; i++)
                echo_timer_tick();
            const int early = g_trims;
            echo_timer_tick();
            _exit(early == 0 && g_trims == 1 ? 0 : 9);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(TestWorld, the_heap_is_trimmed_when_the_count_of_ticks_that_starts_at_1_reaches_2000)
{
    const int before = g_trims;
    for (int i = 0; i < ACWTP_TRIM_TICKS && g_trims == before; i++) // other tests of this process may have ticked
        echo_timer_tick();
    ASSERT_EQ(g_trims, before + 1);
    for (int i = 0; i < ACWTP_TRIM_TICKS - 2; i++)
        echo_timer_tick();
    EXPECT_EQ(g_trims, before + 1);
    echo_timer_tick();
    EXPECT_EQ(g_trims, before + 2);
}

static std::promise<time_t>* g_ticked = nullptr;

static void tell_ticked(void*)
{
    g_ticked->set_value(ac_time());
}

TEST_F(TestWorld, the_clock_thread_fills_its_row_writes_its_line_and_ticks_every_10_seconds)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            std::promise<time_t> ticked;
            g_ticked = &ticked;
            hd_ac_local_log_clear();
            const time_t start = ac_time();
            acwtp_echo_timeout(tell_ticked, nullptr, 11, 0); // a sleep of 10 seconds is too short for it
            bool good = create_echo_thread() == 1;
            const time_t at = ticked.get_future().get();
            good = good && at == start + 20;
            good = good && g_ac_pthread[PTHREAD_AC_CHECK].pid == getpid();
            good = good && g_ac_pthread[PTHREAD_AC_CHECK].mempool == nullptr;
            const std::string line = read_file("/etc/ac_conf");
            const std::regex wanted("echo_timer_check pid:" + std::to_string(getpid()) + " pthread_id:-?[0-9]+\n");
            good = good && std::regex_match(line, wanted);
            _exit(good ? 0 : 9);
        },
        testing::ExitedWithCode(0), "");
}
