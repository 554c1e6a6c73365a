#include <sys/socket.h>
#include <sys/time.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "platform/ac_clock.h"
#include "platform_fixture.h"

namespace {

constexpr std::int64_t SECOND = 1000000;

std::atomic<int> g_alarms{0};

void count_alarm(int)
{
    g_alarms++;
}

// A signal each millisecond: every wait is interrupted many times.
void alarms_begin()
{
    signal(SIGALRM, count_alarm);
    const struct itimerval each = {{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &each, nullptr);
}

struct pipe_pair {
    int read_end;
    int write_end;
    pipe_pair()
    {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0) abort();
        read_end = ends[0];
        write_end = ends[1];
    }
    ~pipe_pair()
    {
        close(read_end);
        if (write_end >= 0) close(write_end);
    }
    pipe_pair(const pipe_pair&) = delete;
    pipe_pair& operator=(const pipe_pair&) = delete;
};

class PlatformClock : public PlatformRoot {
protected:
    // The clock stands at 1700000000 and moves only by hand, in a process of its own.
    static void by_hand(const std::function<void()>& body)
    {
        const Outcome outcome = in_process({}, [&body] {
            ac_clock_manual(1700000000);
            body();
        });
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }

    static void scaled(const char* scale, const std::function<void()>& body)
    {
        const Outcome outcome = in_process({{"AC_TIME_SCALE", scale}}, body);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }
};

} // namespace

// --- a clock of its own speed ----------------------------------------------------------------------------------------

TEST_F(PlatformClock, a_sleep_takes_its_full_time_on_the_scaled_clock)
{
    scaled("1000000", [] {
        const std::int64_t monotonic = ac_monotonic_us();
        const time_t wall = ac_time();
        ac_sleep(3600);
        EXPECT_GE(ac_monotonic_us() - monotonic, 3600 * SECOND);
        EXPECT_GE(ac_time() - wall, 3600);
    });
}

TEST_F(PlatformClock, a_sleep_that_signals_interrupt_takes_its_full_time)
{
    scaled("10000", [] {
        alarms_begin();
        const std::int64_t before = ac_monotonic_us();
        ac_sleep(600);
        EXPECT_GE(ac_monotonic_us() - before, 600 * SECOND);
        EXPECT_GT(g_alarms.load(), 0);
    });
}

TEST_F(PlatformClock, a_wait_that_signals_interrupt_takes_its_full_time)
{
    scaled("10000", [] {
        const pipe_pair ends;
        alarms_begin();
        const std::int64_t before = ac_monotonic_us();
        EXPECT_EQ(ac_wait_readable(ends.read_end, 600, 0), 0);
        EXPECT_GE(ac_monotonic_us() - before, 600 * SECOND);
        EXPECT_GT(g_alarms.load(), 0);
    });
}

TEST_F(PlatformClock, a_wait_counts_its_microseconds)
{
    scaled("10", [] {
        const pipe_pair ends;
        const std::int64_t before = ac_monotonic_us();
        EXPECT_EQ(ac_wait_readable(ends.read_end, 0, 10), 0);
        EXPECT_GE(ac_monotonic_us() - before, 10);
    });
}

TEST_F(PlatformClock, the_time_of_day_follows_the_scale)
{
    scaled("1000000", [] {
        struct timeval before = {};
        struct timeval after = {};
        ASSERT_EQ(ac_gettimeofday(&before), 0);
        ac_sleep(1000);
        ASSERT_EQ(ac_gettimeofday(&after), 0);
        EXPECT_GE(after.tv_sec - before.tv_sec, 999);
        EXPECT_GE(after.tv_usec, 0);
        EXPECT_LT(after.tv_usec, SECOND);
    });
}

TEST_F(PlatformClock, a_scaled_clock_starts_at_the_machines_time)
{
    scaled("10", [] {
        EXPECT_GE(ac_time(), time(nullptr) - 1);
        EXPECT_LT(ac_time(), time(nullptr) + 3600);
    });
}

TEST_F(PlatformClock, without_settings_the_time_of_day_is_the_machines)
{
    const Outcome outcome = in_process({}, [] {
        const time_t before = time(nullptr);
        const time_t ours = ac_time();
        EXPECT_GE(ours, before - 1); // time() may lag by a tick of the kernel
        EXPECT_LE(ours, time(nullptr) + 1);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformClock, the_monotonic_clock_never_goes_back)
{
    scaled("1000", [] {
        std::int64_t last = ac_monotonic_us();
        for (int i = 0; i < 1000; i++) {
            const std::int64_t now = ac_monotonic_us();
            ASSERT_GE(now, last);
            last = now;
        }
        ac_clock_manual(0); // also not when a test takes the clock over
        EXPECT_GE(ac_monotonic_us(), last);
    });
}

// --- waiting ---------------------------------------------------------------------------------------------------------

TEST_F(PlatformClock, a_readable_descriptor_ends_the_wait)
{
    const pipe_pair ends;
    ASSERT_EQ(::write(ends.write_end, "x", 1), 1);
    EXPECT_EQ(ac_wait_readable(ends.read_end, 1000, 0), 1);
}

TEST_F(PlatformClock, an_end_of_file_is_readable)
{
    pipe_pair ends;
    close(ends.write_end);
    ends.write_end = -1;
    EXPECT_EQ(ac_wait_readable(ends.read_end, 1000, 0), 1);
}

TEST_F(PlatformClock, data_that_comes_during_the_wait_ends_it)
{
    const pipe_pair ends;
    std::thread writer([&ends] { EXPECT_EQ(::write(ends.write_end, "x", 1), 1); });
    EXPECT_EQ(ac_wait_readable(ends.read_end, 1000, 0), 1);
    writer.join();
}

TEST_F(PlatformClock, a_closed_descriptor_is_an_error)
{
    const int closed = dup(STDOUT_FILENO);
    close(closed);
    errno = 0;
    EXPECT_EQ(ac_wait_readable(closed, 1000, 0), -1);
    EXPECT_EQ(errno, EBADF);
}

// --- a clock moved by hand -------------------------------------------------------------------------------------------

TEST_F(PlatformClock, a_clock_taken_over_stands_still)
{
    by_hand([] {
        EXPECT_EQ(ac_time(), 1700000000);
        const std::int64_t monotonic = ac_monotonic_us();
        struct timeval now = {};
        ASSERT_EQ(ac_gettimeofday(&now), 0);
        EXPECT_EQ(now.tv_sec, 1700000000);
        EXPECT_EQ(now.tv_usec, 0);
        EXPECT_EQ(ac_monotonic_us(), monotonic);
    });
}

TEST_F(PlatformClock, advancing_moves_both_clocks)
{
    by_hand([] {
        const std::int64_t monotonic = ac_monotonic_us();
        ac_clock_advance(59);
        EXPECT_EQ(ac_time(), 1700000059);
        EXPECT_EQ(ac_monotonic_us() - monotonic, 59 * SECOND);
    });
}

// 2^31 seconds are over in January 2038.
TEST_F(PlatformClock, the_time_of_day_goes_on_where_31_bits_of_seconds_end)
{
    by_hand([] {
        ac_clock_manual(2147483647);
        ac_clock_advance(10);
        EXPECT_EQ(ac_time(), 2147483657);
        struct timeval now = {};
        ASSERT_EQ(ac_gettimeofday(&now), 0);
        EXPECT_EQ(now.tv_sec, 2147483657);
        struct tm local = {};
        ASSERT_NE(ac_localtime(ac_time() + 86400, &local), nullptr);
        EXPECT_EQ(local.tm_year, 138);
    });
}

TEST_F(PlatformClock, setting_the_time_back_leaves_the_monotonic_clock)
{
    by_hand([] {
        const std::int64_t monotonic = ac_monotonic_us();
        ac_clock_advance(-10);
        EXPECT_EQ(ac_time(), 1699999990);
        EXPECT_EQ(ac_monotonic_us(), monotonic);
        ac_clock_manual(1000);
        EXPECT_EQ(ac_time(), 1000);
        EXPECT_EQ(ac_monotonic_us(), monotonic);
    });
}

TEST_F(PlatformClock, a_sleep_moves_the_clock_and_returns_at_once)
{
    by_hand([] {
        ac_sleep(86400 * 365);
        EXPECT_EQ(ac_time(), 1700000000 + 86400 * 365);
    });
}

TEST_F(PlatformClock, a_wait_that_times_out_moves_the_clock)
{
    by_hand([] {
        const pipe_pair ends;
        const std::int64_t monotonic = ac_monotonic_us();
        EXPECT_EQ(ac_wait_readable(ends.read_end, 2, 10), 0);
        EXPECT_EQ(ac_monotonic_us() - monotonic, 2 * SECOND + 10);
    });
}

TEST_F(PlatformClock, a_wait_that_finds_data_leaves_the_clock)
{
    by_hand([] {
        const pipe_pair ends;
        ASSERT_EQ(::write(ends.write_end, "x", 1), 1);
        EXPECT_EQ(ac_wait_readable(ends.read_end, 2, 10), 1);
        EXPECT_EQ(ac_time(), 1700000000);
    });
}

TEST_F(PlatformClock, a_clock_that_fails_gives_an_error_until_it_is_mended)
{
    by_hand([] {
        struct timeval now = {};
        ac_clock_fail(true);
        EXPECT_EQ(ac_gettimeofday(&now), -1);
        ac_clock_fail(false);
        EXPECT_EQ(ac_gettimeofday(&now), 0);
    });
}

TEST_F(PlatformClock, threads_read_the_clock_while_it_is_moved)
{
    by_hand([] {
        std::atomic<bool> stop{false};
        std::thread reader([&stop] {
            std::int64_t last = 0;
            while (!stop.load()) {
                const std::int64_t now = ac_monotonic_us();
                EXPECT_GE(now, last);
                last = now;
                EXPECT_GE(ac_time(), 1700000000);
            }
        });
        for (int i = 0; i < 1000; i++)
            ac_clock_advance(1);
        stop.store(true);
        reader.join();
        EXPECT_EQ(ac_time(), 1700001000);
    });
}

TEST_F(PlatformClock, local_time_follows_the_zone_of_the_start)
{
    const Outcome outcome = in_process({{"TZ", "UTC+3"}}, [] {
        struct tm local = {};
        ASSERT_NE(ac_localtime(86400, &local), nullptr);
        EXPECT_EQ(local.tm_mday, 1);
        EXPECT_EQ(local.tm_hour, 21);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}
