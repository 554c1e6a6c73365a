// timer - the daemon's timers and its one clock thread.
//
// Shape    echo_callout_list: singly linked, sorted by due time, a new timer behind those due at the same moment.
//          Timers are looked at once per tick of 10 seconds, so each may run up to 10 seconds late.
// Threads  any may arm and cancel; only the clock thread runs them, with no lock held.
// Cancel   a timer that is running while it is cancelled does nothing more: its function asks echo_timer_cancelled
//          before it has any effect, under the lock that its canceller holds.
#pragma once

#include <sys/time.h>

#include "common/ac_lock.h"

inline constexpr int ACWTP_TICK_SECONDS = 10;
inline constexpr int ACWTP_TRIM_TICKS = 2000;

struct callout {
    struct timeval c_time; // falls due
    void* c_arg;
    void (*c_func)(void*);
    struct callout* c_next;
};

extern ac_mutex g_echo_timer_mutex;
extern struct callout* echo_callout_list AC_GUARDED_BY(g_echo_timer_mutex);
extern int g_echo_interval; // seconds of an echo period

// Arms a timer. A null `func` is ignored; without memory the timer is silently not armed.
void acwtp_echo_timeout(void (*func)(void*), void* arg, int seconds, int microseconds);
// Cancels the first timer with this function and argument; none is fine.
void acwtp_echo_untimeout(void (*func)(void*), void* arg);
// True inside a timer function that was cancelled after it had been taken from the list.
bool echo_timer_cancelled();
// Runs what is due.
void echo_calltimeout();
void echo_timeout_delall();

// now plus an interval, microseconds above 999999 carried.
struct timeval acwtp_time_after(struct timeval now, int seconds, int microseconds);
bool acwtp_time_later(const struct timeval& a, const struct timeval& b); // a after b

int create_echo_thread(); // 1, or 0
void* echo_timer_check(void* unused);
void echo_timer_tick(); // one tick, after its sleep
