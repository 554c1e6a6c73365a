#include "platform/host/host_clock.h"

#include <poll.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "platform/ac_clock.h"

namespace {

constexpr std::int64_t US_PER_S = 1000000;
constexpr std::int64_t NS_PER_US = 1000;
constexpr std::int64_t NS_PER_S = 1000000000;

// Written by host_clock_start before any thread.
struct timeline {
    std::int64_t scale = 1;
    std::int64_t machine_start_us = 0; // the machine's monotonic clock when ours stood at 0
    std::int64_t wall_start_us = 0;    // our time of day at that moment
    bool follows_machine = true;       // unscaled and not started elsewhere: corrections of the machine's clock count
};
timeline g_timeline;

std::atomic<bool> g_manual{false};
std::atomic<std::int64_t> g_manual_wall_us{0};
std::atomic<std::int64_t> g_manual_monotonic_us{0};
std::atomic<bool> g_failing{false};

std::int64_t machine_ns(clockid_t clock)
{
    struct timespec now = {};
    clock_gettime(clock, &now);
    return std::int64_t{now.tv_sec} * NS_PER_S + now.tv_nsec;
}

std::int64_t wall_us()
{
    if (g_manual.load()) return g_manual_wall_us.load();
    if (g_timeline.follows_machine) return machine_ns(CLOCK_REALTIME) / NS_PER_US;
    return g_timeline.wall_start_us + ac_monotonic_us();
}

void manual_advance(std::int64_t us)
{
    g_manual_wall_us.fetch_add(us);
    // The time of day can be set back, the monotonic clock can't.
    if (us > 0) g_manual_monotonic_us.fetch_add(us);
}

// The machine's moment at which our clock will have moved on by `us`; rounded up, so that a wait is never short.
std::int64_t machine_deadline_ns(std::int64_t us)
{
    const std::int64_t scale = g_timeline.scale;
    return machine_ns(CLOCK_MONOTONIC) + (us * NS_PER_US + scale - 1) / scale;
}

struct timespec to_timespec(std::int64_t ns)
{
    struct timespec spec = {};
    spec.tv_sec = static_cast<time_t>(ns / NS_PER_S);
    spec.tv_nsec = static_cast<long>(ns % NS_PER_S);
    return spec;
}

// One look at `fd`, for at most `timeout`. 1, 0 or -1 as ac_wait_readable; -1 with EINTR where a signal came.
int poll_readable(int fd, const struct timespec& timeout)
{
    struct pollfd waited = {fd, POLLIN, 0};
    const int ready = ppoll(&waited, 1, &timeout, nullptr);
    if (ready <= 0) return ready;
    if ((waited.revents & POLLNVAL) != 0) {
        errno = EBADF;
        return -1;
    }
    return 1; // also for an error or an end of file: the read that follows won't block and tells which
}

int poll_until(int fd, std::int64_t deadline_ns)
{
    for (;;) {
        const std::int64_t left = std::max<std::int64_t>(deadline_ns - machine_ns(CLOCK_MONOTONIC), 0);
        const int ready = poll_readable(fd, to_timespec(left));
        if (ready >= 0 || errno != EINTR) return ready;
    }
}

} // namespace

void host_clock_start(int scale, const time_t* start)
{
    g_timeline.scale = scale;
    g_timeline.machine_start_us = machine_ns(CLOCK_MONOTONIC) / NS_PER_US;
    g_timeline.wall_start_us =
        start != nullptr ? std::int64_t{*start} * US_PER_S : machine_ns(CLOCK_REALTIME) / NS_PER_US;
    g_timeline.follows_machine = scale == 1 && start == nullptr;
}

int ac_gettimeofday(struct timeval* now)
{
    if (g_failing.load()) {
        errno = EFAULT;
        return -1;
    }
    const std::int64_t us = wall_us();
    now->tv_sec = static_cast<time_t>(us / US_PER_S);
    now->tv_usec = static_cast<suseconds_t>(us % US_PER_S);
    return 0;
}

time_t ac_time()
{
    return static_cast<time_t>(wall_us() / US_PER_S);
}

struct tm* ac_localtime(time_t when, struct tm* broken_down)
{
    return localtime_r(&when, broken_down);
}

std::int64_t ac_monotonic_us()
{
    if (g_manual.load()) return g_manual_monotonic_us.load();
    return (machine_ns(CLOCK_MONOTONIC) / NS_PER_US - g_timeline.machine_start_us) * g_timeline.scale;
}

void ac_sleep(unsigned int seconds)
{
    if (g_manual.load()) {
        manual_advance(std::int64_t{seconds} * US_PER_S);
        return;
    }
    const struct timespec until = to_timespec(machine_deadline_ns(std::int64_t{seconds} * US_PER_S));
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
        // A signal's handler has run; the rest of the time is still to be slept.
    }
}

int ac_wait_readable(int fd, int seconds, int microseconds)
{
    const std::int64_t us = std::max<std::int64_t>(std::int64_t{seconds} * US_PER_S + microseconds, 0);
    if (!g_manual.load()) return poll_until(fd, machine_deadline_ns(us));
    const int ready = poll_until(fd, 0);
    if (ready == 0) manual_advance(us);
    return ready;
}

void ac_clock_manual(time_t start)
{
    if (!g_manual.load()) g_manual_monotonic_us.store(ac_monotonic_us());
    g_manual_wall_us.store(std::int64_t{start} * US_PER_S);
    g_manual.store(true);
}

void ac_clock_release()
{
    g_manual.store(false);
}

void ac_clock_advance(int seconds)
{
    if (g_manual.load()) manual_advance(std::int64_t{seconds} * US_PER_S);
}

void ac_clock_fail(bool failing)
{
    g_failing.store(failing);
}
