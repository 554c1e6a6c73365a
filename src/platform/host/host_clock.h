// host_clock - how platform_init sets the clock going.
#pragma once

#include <ctime>

inline constexpr int HOST_TIME_SCALE_MAX = 1000000; // at this scale the clock's 64 bits of microseconds last 106 days

// The clock runs `scale` times faster than the machine's from now on, and stands at `*start` where that is not null.
// Before any thread; a clock taken over by hand stays so.
void host_clock_start(int scale, const time_t* start);
