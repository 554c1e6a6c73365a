#include "noise.h"

#include <algorithm>
#include <cstring>

#include <zlib.h>

namespace apsim {

namespace {

constexpr std::size_t noise_payload = 44;
constexpr std::size_t noise_type_max = 43;

CLOUD_AP_UDP_PKT noise_head(const Mac& mac, UINT16 msg_type)
{
    CLOUD_AP_UDP_PKT head{};
    std::copy(mac.begin(), mac.end(), head.ap_mac);
    head.ap_proto_type = AC_LAYOUT_V2;
    head.pkt_type = AC_PKT_NORMAL;
    head.ap_type = 1;
    head.vendor = AC_VENDOR;
    head.msg_type = msg_type;
    return head;
}

Bytes join(const CLOUD_AP_UDP_PKT& head, const Bytes& payload)
{
    Bytes frame(AC_FRAME_HEAD + payload.size());
    std::memcpy(frame.data(), &head, AC_FRAME_HEAD);
    std::copy(payload.begin(), payload.end(), frame.begin() + AC_FRAME_HEAD);
    return frame;
}

} // namespace

const char* to_string(Noise noise)
{
    static const char* const names[noise_count] = {"unknown", "bad-crc", "bad-vendor", "zero-mac", "garbage"};
    return names[static_cast<std::size_t>(noise)];
}

UINT32 NoiseMaker::below(UINT32 limit)
{
    return std::uniform_int_distribution<UINT32>(0, limit - 1)(random_);
}

Bytes NoiseMaker::random_bytes(std::size_t size)
{
    Bytes bytes(size);
    for (UINT8& byte : bytes)
        byte = static_cast<UINT8>(below(256));
    return bytes;
}

Bytes NoiseMaker::make(Noise noise, const Mac& victim)
{
    switch (noise) {
    case Noise::unknown:
        return unknown_frame();
    case Noise::bad_crc:
        return bad_crc_frame(victim);
    case Noise::bad_vendor:
        return bad_vendor_frame(victim);
    case Noise::zero_mac:
        return zero_mac_frame();
    case Noise::garbage:
        return garbage_frame(victim);
    }
    return {};
}

// An echo of an AP that has never joined. Its addresses begin with 06, so that they can't meet a fleet's by chance.
Bytes NoiseMaker::unknown_frame()
{
    const Mac mac = {0x06,
                     0x00,
                     0x00,
                     static_cast<UINT8>(below(256)),
                     static_cast<UINT8>(below(256)),
                     static_cast<UINT8>(below(256))};
    CLOUD_AP_UDP_PKT head = noise_head(mac, HALDE_APEchoReq);
    head.seq_num = static_cast<UINT16>(below(256));
    return join(head, {});
}

Bytes NoiseMaker::bad_crc_frame(const Mac& victim)
{
    const Bytes payload = random_bytes(noise_payload);
    CLOUD_AP_UDP_PKT head = noise_head(victim, HALDE_APDiscoveryReq);
    head.msg_length = static_cast<UINT32>(payload.size());
    const UINT32 right = static_cast<UINT32>(crc32(0, payload.data(), static_cast<uInt>(payload.size())));
    head.crc = right + 1 + below(1000);
    if (head.crc == 0 || head.crc == right) head.crc = right ^ 0x80000000u; // 0 would mean that there is none
    if (head.crc == 0) head.crc = right ^ 1u;
    return join(head, payload);
}

Bytes NoiseMaker::bad_vendor_frame(const Mac& victim)
{
    CLOUD_AP_UDP_PKT head = noise_head(victim, HALDE_APDiscoveryReq);
    head.vendor = below(2) == 0 ? UINT16{0x8817} : static_cast<UINT16>(AC_VENDOR + 1 + below(1000));
    return join(head, {});
}

Bytes NoiseMaker::zero_mac_frame()
{
    return join(noise_head(Mac{}, static_cast<UINT16>(below(noise_type_max))), {});
}

// Three kinds: plain noise, a header cut short, and a header that promises more payload than there is.
Bytes NoiseMaker::garbage_frame(const Mac& victim)
{
    const UINT32 kind = below(3);
    if (kind == 0) {
        Bytes frame = random_bytes(1 + below(1500));
        if (frame.size() > 17) frame[17] = static_cast<UINT8>(~(AC_VENDOR >> 8)); // never the right vendor
        return frame;
    }
    CLOUD_AP_UDP_PKT head = noise_head(victim, static_cast<UINT16>(below(noise_type_max)));
    if (kind == 1) {
        Bytes frame = join(head, {});
        frame.resize(1 + below(AC_FRAME_HEAD - 1));
        return frame;
    }
    const Bytes payload = random_bytes(below(200));
    head.msg_length = static_cast<UINT32>(payload.size()) + 1 + (below(2) == 0 ? below(2000) : 0xFFFFFF00u - 2000);
    return join(head, payload);
}

} // namespace apsim
