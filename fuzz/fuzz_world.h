// fuzz_world - the ground that fuzz targets stand on: a root of its own, a clock that only the target moves, frames
// that go to memory, and a few APs that behave.
//
// Shape    one world per process, made by the first fuzz_world_reset and emptied by each later one, so that an input
//          behaves the same whatever ran before it. Removed at the exit; a crash leaves it for a look.
// Output   what the daemon prints goes to /dev/null. fuzz_require speaks on standard error.
// Threads  the target's one thread plays all of the daemon's.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_frame_wire.h"
#include "common/ac_types.h"
#include "common/ac_wire.h"

// What the engine calls per input.
extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size);

inline constexpr std::size_t FUZZ_PAYLOAD_MAX = AC_FRAME_MAX - AC_FRAME_HEAD;
inline constexpr UINT16 FUZZ_TYPE_DUAL = 7;   // built-in types: 8 + 4 SSIDs on two radios,
inline constexpr UINT16 FUZZ_TYPE_SINGLE = 1; // 2 SSIDs on one

using fuzz_mac = std::array<UINT8, AC_MAC_LEN>;
fuzz_mac fuzz_mac_of(unsigned int ap); // 02:00:00:00:00:nn

// Ends the process where a property of the daemon does not hold.
void fuzz_require(bool holds, const char* what);

// --- the world -------------------------------------------------------------------------------------------------------

void fuzz_world_reset();
// For targets that write to flash: opens the database at its first call, empties its AP tables at each.
void fuzz_database_reset();
const std::string& fuzz_root();

// --- the input -------------------------------------------------------------------------------------------------------

// Up to `count` bytes, fewer where the input ends. For single numbers wire_take serves: it gives 0 at the end.
std::span<const UINT8> fuzz_take_bytes(wire_reader& in, std::size_t count);
// The same as a text, up to its first zero byte.
std::string fuzz_take_text(wire_reader& in, std::size_t count);
// In memory of exactly its size, aligned for any record: what reads beyond it is caught.
class fuzz_exact {
public:
    explicit fuzz_exact(std::span<const UINT8> bytes);
    ~fuzz_exact();
    fuzz_exact(const fuzz_exact&) = delete;
    fuzz_exact& operator=(const fuzz_exact&) = delete;
    std::span<UINT8> bytes() const { return bytes_; }

private:
    std::span<UINT8> bytes_;
};

// --- frames ----------------------------------------------------------------------------------------------------------

CLOUD_AP_UDP_PKT fuzz_head(unsigned int ap, UINT16 msg_type, UINT16 ap_type, UINT16 layout);
// Header and payload, msg_length set.
std::vector<UINT8> fuzz_frame(CLOUD_AP_UDP_PKT head, std::span<const UINT8> payload);
// A report that intake accepts; version "1".
std::vector<UINT8> fuzz_report(UINT16 ap_type, UINT16 layout);

// What the daemon sent since the reset; only the first few hundred frames are kept.
std::vector<std::vector<UINT8>>& fuzz_sent();

// One datagram through the receiving thread's checks, from an address of that AP.
void fuzz_receive(std::span<const UINT8> datagram, unsigned int ap);
void fuzz_drain();           // the discovery, dispatch and initial threads do what waits for them
void fuzz_flash();           // the flash thread too
void fuzz_ticks(int number); // the clock moves on by that many ticks, the queues are drained after each

void fuzz_discover(unsigned int ap, UINT16 ap_type, UINT16 layout); // into the joined list
void fuzz_join(unsigned int ap, UINT16 ap_type, UINT16 layout);     // into AC_RUNNING, with a record

// --- properties ------------------------------------------------------------------------------------------------------

// What always holds of the AP table, and every report of it is read once.
void fuzz_check_table();
// Everything in the table was just written whole, and nothing else: a load gives it back.
void fuzz_check_reload();
