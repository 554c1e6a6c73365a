// Client reports whose payload is compressed: `reserve` tells the plain length, msg_length the compressed one.
//
// Input: reports, each a byte of flags, `reserve` as a 16-bit number, a byte that says how often the payload is
// repeated before we compress it, its length as a 16-bit number, the payload.
#include <zlib.h>

#include <algorithm>

#include "ac_wtp_protocol/udp_skb_queue.h"
#include "fuzz_world.h"

namespace {

constexpr unsigned int AP = 1;
constexpr int REPORTS_MAX = 32;
constexpr UINT8 COMPRESS = 0x01;     // else the payload goes out as it is
constexpr UINT8 TRUE_RESERVE = 0x02; // else as the input says
constexpr UINT8 REPEAT_MAX = 64;

struct client_report {
    UINT16 reserve = 0;
    std::vector<UINT8> plain; // empty where we did not compress
    std::vector<UINT8> sent;
};

client_report take_report(wire_reader& in)
{
    client_report report;
    const auto flags = wire_take<UINT8>(in);
    report.reserve = wire_take<UINT16>(in);
    const int repeats = 1 + wire_take<UINT8>(in) % REPEAT_MAX;
    const std::span<const UINT8> payload = fuzz_take_bytes(in, wire_take<UINT16>(in));
    report.sent.assign(payload.begin(), payload.begin() + std::min<long>(std::ssize(payload), FUZZ_PAYLOAD_MAX));
    if ((flags & COMPRESS) == 0) return report;

    for (int i = 0; i < repeats && report.plain.size() < 2 * AC_REPORT_PLAIN_MAX; i++)
        report.plain.insert(report.plain.end(), payload.begin(), payload.end());
    if ((flags & TRUE_RESERVE) != 0) report.reserve = static_cast<UINT16>(report.plain.size());
    uLongf length = compressBound(report.plain.size());
    report.sent.resize(length);
    fuzz_require(compress2(report.sent.data(), &length, report.plain.data(), report.plain.size(), 1) == Z_OK,
                 "zlib can compress");
    report.sent.resize(std::min<std::size_t>(length, FUZZ_PAYLOAD_MAX));
    return report;
}

// A report that tells its length truly, in a frame that held all of it, comes out as it was.
void check_queued(const client_report& report)
{
    AC_UDP_SKB_INFO* frame = udp_skb_first();
    if (frame != nullptr) fuzz_require(frame->payload().size() == report.reserve, "the plain length is told");
    const bool whole = report.plain.size() == report.reserve && report.reserve <= AC_REPORT_PLAIN_MAX &&
                       report.sent.size() < FUZZ_PAYLOAD_MAX && report.sent.size() != report.reserve;
    if (report.plain.empty() || !whole) return;
    fuzz_require(frame != nullptr, "a good report is queued");
    fuzz_require(std::ranges::equal(frame->payload(), report.plain), "a good report is inflated to what it was");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    fuzz_join(AP, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    wire_reader in{{data, size}};
    for (int i = 0; i < REPORTS_MAX && !in.left.empty(); i++) {
        const client_report report = take_report(in);
        if (report.reserve == report.sent.size()) continue; // would travel plain
        CLOUD_AP_UDP_PKT head = fuzz_head(AP, HALDE_APClientUpdateReq, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
        head.reserve = report.reserve;
        fuzz_receive(fuzz_frame(head, report.sent), AP);
        check_queued(report);
        fuzz_drain();
    }
    fuzz_check_table();
    return 0;
}
