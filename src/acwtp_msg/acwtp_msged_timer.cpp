#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "platform/ac_clock.h"

namespace {

struct int_callout {
    struct timeval c_time;
    int c_arg; // a sequence number
    void (*c_func)(int);
    struct int_callout* c_next;
};

ac_mutex g_msged_timer_mutex("g_msged_timer_mutex", AC_RANK_MSGED_TIMER);
struct int_callout* msged_callout_list AC_GUARDED_BY(g_msged_timer_mutex) = nullptr;

struct int_callout* take_due_timer()
{
    struct timeval now;
    if (ac_gettimeofday(&now) != 0) return nullptr;
    ac_lock lock(g_msged_timer_mutex);
    struct int_callout* timer = msged_callout_list;
    if (timer == nullptr || acwtp_time_later(timer->c_time, now)) return nullptr;
    msged_callout_list = timer->c_next;
    return timer;
}

} // namespace

void acwtp_msged_timeout(void (*func)(int), int arg, int secs, int usecs)
{
    if (func == nullptr) return;
    auto* timer = static_cast<struct int_callout*>(ac_malloc(sizeof(struct int_callout)));
    if (timer == nullptr) return;
    struct timeval now = {};
    (void)ac_gettimeofday(&now); // a clock that can't be read makes the timer due at once, not never
    timer->c_time = acwtp_time_after(now, secs, usecs);
    timer->c_func = func;
    timer->c_arg = arg;

    ac_lock lock(g_msged_timer_mutex);
    struct int_callout** link = &msged_callout_list;
    while (*link != nullptr && !acwtp_time_later((*link)->c_time, timer->c_time))
        link = &(*link)->c_next;
    timer->c_next = *link;
    *link = timer;
}

void acwtp_msged_untimeout(void (*func)(int), int arg)
{
    ac_lock lock(g_msged_timer_mutex);
    for (struct int_callout** link = &msged_callout_list; *link != nullptr; link = &(*link)->c_next) {
        struct int_callout* timer = *link;
        if (timer->c_func != func || timer->c_arg != arg) continue;
        *link = timer->c_next;
        ac_free(timer);
        return;
    }
}

void msged_calltimeout()
{
    for (struct int_callout* timer = take_due_timer(); timer != nullptr; timer = take_due_timer()) {
        timer->c_func(timer->c_arg);
        ac_free(timer);
    }
}
