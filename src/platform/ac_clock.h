// ac_clock - the one clock of the process.
//
// All reading of time and all sleeping goes through here. The clock runs AC_TIME_SCALE times faster than the machine's
// and starts at AC_TIME_START where that is set. Tests take it over: after ac_clock_manual it stands still, moves only
// by ac_clock_advance, and a sleep moves it and returns at once.
//
// Threads  any.
#pragma once

#include <sys/time.h>

#include <cstdint>
#include <ctime>

// Time of day. 0, or -1 if the clock can't be read.
int ac_gettimeofday(struct timeval* now);
time_t ac_time();
// Local time of `when`, as localtime_r; null on failure.
struct tm* ac_localtime(time_t when, struct tm* broken_down);
// Microseconds since some fixed moment, never backwards.
std::int64_t ac_monotonic_us();

void ac_sleep(unsigned int seconds);

// Waits until `fd` is readable or the daemon's clock has moved on by that much. 1 readable, 0 time-out, -1 error.
int ac_wait_readable(int fd, int seconds, int microseconds);

// Tests only.
void ac_clock_manual(time_t start);
void ac_clock_advance(int seconds);
void ac_clock_release();          // from here on it runs as platform_init has started it
void ac_clock_fail(bool failing); // ac_gettimeofday gives -1 while set
