// Datagrams as the network brings them, one after the other, with APs in several states and the clock moving on.
//
// Input: a byte of flags (which APs exist), then steps, each a 16-bit word: with the top bit set, 1 to 32 ticks; with
// the next one, the queues are drained; else that many bytes of what follows are a datagram.
#include <algorithm>

#include "fuzz_world.h"

namespace {

constexpr int STEPS_MAX = 48;
constexpr int TICKS_MAX = 64; // per input; 19 ticks are enough for an echo time-out
constexpr UINT16 STEP_TICKS = 0x8000;
constexpr UINT16 STEP_DRAIN = 0x4000;
constexpr UINT8 WITH_DUAL = 0x01;
constexpr UINT8 WITH_SINGLE = 0x02;
constexpr UINT8 WITH_CONFIGURING = 0x04;

void make_aps(UINT8 flags)
{
    if ((flags & WITH_DUAL) != 0) fuzz_join(1, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    if ((flags & WITH_SINGLE) != 0) fuzz_join(2, FUZZ_TYPE_SINGLE, AC_LAYOUT_V1);
    if ((flags & WITH_CONFIGURING) != 0) fuzz_discover(3, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
}

void pass_time(int ticks, int& ticks_left)
{
    ticks = std::min(ticks, ticks_left);
    ticks_left -= ticks;
    fuzz_ticks(ticks);
}

void take_step(wire_reader& in, unsigned int from, int& ticks_left)
{
    const auto word = wire_take<UINT16>(in);
    if ((word & STEP_TICKS) != 0)
        pass_time(1 + (word & 0x1F), ticks_left);
    else if ((word & STEP_DRAIN) != 0)
        fuzz_drain();
    else
        fuzz_receive(fuzz_take_bytes(in, word % (AC_FRAME_MAX + 1)), from);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    wire_reader in{{data, size}};
    make_aps(wire_take<UINT8>(in));
    int ticks_left = TICKS_MAX;
    for (unsigned int step = 0; step < STEPS_MAX && !in.left.empty(); step++)
        take_step(in, step % 4, ticks_left);
    fuzz_drain();
    fuzz_check_table();
    return 0;
}
