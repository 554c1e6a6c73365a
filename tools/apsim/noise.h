// noise - frames that no healthy AP sends, for throwing at a controller beside a fleet.
//
// Each maker returns one datagram. All but unknown_frame must be dropped without an answer; an unknown AP's echo is
// answered with a forced link-down.
#pragma once

#include <random>

#include "ap_config.h"

namespace apsim {

enum class Noise { unknown, bad_crc, bad_vendor, zero_mac, garbage };
inline constexpr std::size_t noise_count = 5;
const char* to_string(Noise noise); // the name of its option, without dashes in front

class NoiseMaker {
public:
    explicit NoiseMaker(UINT32 seed) : random_(seed) {}
    // `victim` is an AP of the fleet in whose name bad frames are sent.
    Bytes make(Noise noise, const Mac& victim);

private:
    Bytes unknown_frame();
    Bytes bad_crc_frame(const Mac& victim);
    Bytes bad_vendor_frame(const Mac& victim);
    Bytes zero_mac_frame();
    Bytes garbage_frame(const Mac& victim);
    Bytes random_bytes(std::size_t size);
    UINT32 below(UINT32 limit);

    std::mt19937 random_;
};

} // namespace apsim
