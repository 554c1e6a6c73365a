// Work items: queued, split, sent, sent again to who does not answer, and given up.
//
// Input: items, each a byte of flags, then type, num_flag, ap_num and flags of the item as 16-bit numbers, the length
// of its bytes as a 16-bit number, its bytes.
#include "acwtp_msg/acwtp_msg.h"
#include "fuzz_world.h"

namespace {

constexpr int ITEMS_MAX = 8;
constexpr int TICKS = 12; // five transmissions are over by then
constexpr UINT8 AT_HEAD = 0x01;
constexpr UINT8 KNOWN_MACS = 0x02; // our APs' addresses in front of the input's bytes, ap_num of them
constexpr UINT8 ORDINARY = 0x04;   // an item of the control channel
constexpr UINT8 ANSWERED = 0x08;   // the first AP answers what it gets
constexpr UINT16 KNOWN_MACS_MAX = 300;

std::vector<UINT8> known_macs(UINT16 number)
{
    std::vector<UINT8> macs;
    for (unsigned int i = 0; i < number; i++) {
        const fuzz_mac mac = fuzz_mac_of(1 + i % 4); // the fourth is nobody's
        macs.insert(macs.end(), mac.begin(), mac.end());
    }
    return macs;
}

UINT8 take_item(wire_reader& in)
{
    const auto flags = wire_take<UINT8>(in);
    ACWTP_MSG_TABLE item = {};
    item.type = wire_take<UINT16>(in);
    item.num_flag = wire_take<UINT16>(in);
    item.ap_num = wire_take<UINT16>(in);
    item.flags = wire_take<UINT16>(in);
    if ((flags & ORDINARY) != 0) item.flags = CGI_MSG;
    std::vector<UINT8> bytes;
    if ((flags & KNOWN_MACS) != 0) {
        item.ap_num = item.ap_num % KNOWN_MACS_MAX;
        bytes = known_macs(item.ap_num);
    }
    const std::span<const UINT8> rest = fuzz_take_bytes(in, wire_take<UINT16>(in));
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    const fuzz_exact exact(bytes);
    item.length = static_cast<UINT32>(bytes.size());
    item.msg = reinterpret_cast<char*>(exact.bytes().data());
    (void)acmsg_to_acprotocol(&item, (flags & AT_HEAD) != 0 ? MSG_ADD_HEAD : MSG_ADD_TAIL); // refused items too
    return flags;
}

void answer_frames()
{
    const std::vector<std::vector<UINT8>> sent = std::move(fuzz_sent());
    fuzz_sent().clear();
    for (const std::vector<UINT8>& frame : sent) {
        bool whole = true;
        const auto head = wire_at<CLOUD_AP_UDP_PKT>(frame, 0, whole);
        static constexpr UINT8 success[1] = {0};
        if (head.ap_mac[5] == 1) fuzz_receive(fuzz_frame(head, success), 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    fuzz_join(1, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    fuzz_join(2, FUZZ_TYPE_SINGLE, AC_LAYOUT_V1);
    fuzz_join(3, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    fuzz_sent().clear();
    wire_reader in{{data, size}};
    UINT8 flags = 0;
    for (int i = 0; i < ITEMS_MAX && !in.left.empty(); i++) {
        flags |= take_item(in);
        fuzz_drain();
    }
    for (int tick = 0; tick < TICKS; tick++) {
        if ((flags & ANSWERED) != 0) answer_frames();
        fuzz_ticks(1);
    }
    fuzz_check_table();
    return 0;
}
