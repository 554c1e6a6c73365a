#include "ac_wtp_protocol/timer.h"

#include <malloc.h>
#include <pthread.h>

#include "ac_mib/apconfig_query.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "platform/ac_clock.h"

ac_mutex g_echo_timer_mutex("g_echo_timer_mutex", AC_RANK_ECHO_TIMER);
struct callout* echo_callout_list = nullptr;
int g_echo_interval = 30;

// The timer that the clock thread has taken from the list and is running, or null.
static struct callout* g_running_timer AC_GUARDED_BY(g_echo_timer_mutex) = nullptr;
static bool g_running_cancelled AC_GUARDED_BY(g_echo_timer_mutex) = false;

struct timeval acwtp_time_after(struct timeval now, int seconds, int microseconds)
{
    now.tv_sec += seconds;
    now.tv_usec += microseconds;
    while (now.tv_usec > 999999) {
        now.tv_usec -= 1000000;
        now.tv_sec++;
    }
    return now;
}

bool acwtp_time_later(const struct timeval& a, const struct timeval& b)
{
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_usec > b.tv_usec;
}

void acwtp_echo_timeout(void (*func)(void*), void* arg, int seconds, int microseconds)
{
    if (func == nullptr) return;
    auto* timer = static_cast<struct callout*>(ac_malloc(sizeof(struct callout)));
    if (timer == nullptr) return;
    struct timeval now = {};
    (void)ac_gettimeofday(&now); // a clock that can't be read makes the timer due at once, not never
    timer->c_time = acwtp_time_after(now, seconds, microseconds);
    timer->c_func = func;
    timer->c_arg = arg;

    ac_lock lock(g_echo_timer_mutex);
    struct callout** link = &echo_callout_list;
    while (*link != nullptr && !acwtp_time_later((*link)->c_time, timer->c_time))
        link = &(*link)->c_next;
    timer->c_next = *link;
    *link = timer;
}

void acwtp_echo_untimeout(void (*func)(void*), void* arg)
{
    ac_lock lock(g_echo_timer_mutex);
    for (struct callout** link = &echo_callout_list; *link != nullptr; link = &(*link)->c_next) {
        struct callout* timer = *link;
        if (timer->c_func != func || timer->c_arg != arg) continue;
        *link = timer->c_next;
        ac_free(timer);
        return;
    }
    if (g_running_timer != nullptr && g_running_timer->c_func == func && g_running_timer->c_arg == arg)
        g_running_cancelled = true;
}

bool echo_timer_cancelled()
{
    ac_lock lock(g_echo_timer_mutex);
    return g_running_timer != nullptr && g_running_cancelled;
}

static struct callout* take_due_timer()
{
    struct timeval now;
    if (ac_gettimeofday(&now) != 0) return nullptr;
    ac_lock lock(g_echo_timer_mutex);
    struct callout* timer = echo_callout_list;
    if (timer == nullptr || acwtp_time_later(timer->c_time, now)) return nullptr;
    echo_callout_list = timer->c_next;
    g_running_timer = timer;
    g_running_cancelled = false;
    return timer;
}

static void end_running_timer(struct callout* timer)
{
    ac_lock lock(g_echo_timer_mutex);
    g_running_timer = nullptr;
    ac_free(timer);
}

void echo_calltimeout()
{
    for (struct callout* timer = take_due_timer(); timer != nullptr; timer = take_due_timer()) {
        timer->c_func(timer->c_arg);
        end_running_timer(timer);
    }
}

void echo_timeout_delall()
{
    ac_lock lock(g_echo_timer_mutex);
    while (echo_callout_list != nullptr) {
        struct callout* timer = echo_callout_list;
        echo_callout_list = timer->c_next;
        ac_free(timer);
    }
}

static void trim_heap_now_and_then()
{
    static int ticks = 1;
    ticks++;
    if (ticks % ACWTP_TRIM_TICKS != 0) return;
    ticks = 1;
    malloc_trim(0);
}

// The order is fixed: timers may mark what the scan then acts on. Mail, upgrade files, client months and portal users
// have their places in it once they are part of the build.
void echo_timer_tick()
{
    ac_reader section;
    echo_calltimeout();
    msged_calltimeout();
    check_joined_list_status();
    trim_heap_now_and_then();
    apconfig_check_unonline_num();
}

void* echo_timer_check(void* /*unused*/)
{
    acwtp_thread_row(PTHREAD_AC_CHECK);
    acwtp_thread_log("echo_timer_check", "\n");
    for (;;) {
        ac_sleep(ACWTP_TICK_SECONDS);
        echo_timer_tick();
        ac_retired_sweep();
    }
}

int create_echo_thread()
{
    pthread_t thread;
    if (pthread_create(&thread, nullptr, echo_timer_check, nullptr) == 0) return 1;
    AC_ERR("Create discovery thread is fail.\n");
    return 0;
}
