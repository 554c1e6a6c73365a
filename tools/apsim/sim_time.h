// sim_time - the unit of time inside the simulator.
//
// Simulated microseconds since the fleet was made. The fleet derives them from the machine's monotonic clock times the
// clock factor; a model never asks any clock, so a test may hand it whatever moments it likes.
#pragma once

#include <cstdint>
#include <limits>

namespace apsim {

using micros = std::int64_t;

inline constexpr micros second = 1'000'000;
inline constexpr micros millisecond = 1'000;
inline constexpr micros never = std::numeric_limits<micros>::max();

} // namespace apsim
