// Changes to AP records as the control channel asks for them, and their way to flash.
//
// Input: a byte of flags, then changes, each a 16-bit type, a byte that names the AP, the length of the data as a
// 16-bit number, the data. The type 0xFFFF replaces the list of online clients; the AP's byte is then their number too.
#include "ac_mib/apconfig_update.h"
#include "fuzz_world.h"

namespace {

constexpr int CHANGES_MAX = 16;
constexpr UINT16 CLIENT_LIST = 0xFFFF;
constexpr UINT8 TO_FLASH = 0x01;
constexpr UINT8 WRITTEN_BEFORE = 0x02; // the records are in flash, so that changes are written one by one
constexpr UINT8 OFFLINE = 0x04;

void write_records()
{
    for (int echo = 0; echo < 3; echo++) {
        for (unsigned int ap = 1; ap <= 2; ap++)
            fuzz_receive(fuzz_frame(fuzz_head(ap, HALDE_APEchoReq, FUZZ_TYPE_DUAL, AC_LAYOUT_V2), {}), ap);
    }
    fuzz_drain();
    fuzz_flash();
}

void take_change(wire_reader& in)
{
    const auto type = wire_take<UINT16>(in);
    const auto ap = wire_take<UINT8>(in);
    const fuzz_exact exact(fuzz_take_bytes(in, wire_take<UINT16>(in)));
    const fuzz_mac mac = fuzz_mac_of(ap % 4);
    if (type == CLIENT_LIST)
        (void)apconfig_mib_update_client(mac.data(), exact.bytes(), ap);
    else
        (void)apconfig_mib_update(type, mac.data(), exact.bytes());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    wire_reader in{{data, size}};
    const auto flags = wire_take<UINT8>(in);
    if ((flags & TO_FLASH) != 0) fuzz_database_reset();
    fuzz_join(1, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    fuzz_join(2, FUZZ_TYPE_SINGLE, AC_LAYOUT_V1);
    if ((flags & (TO_FLASH | WRITTEN_BEFORE)) == (TO_FLASH | WRITTEN_BEFORE)) write_records();
    if ((flags & OFFLINE) != 0) fuzz_ticks(19); // echoes are missed
    for (int i = 0; i < CHANGES_MAX && !in.left.empty(); i++)
        take_change(in);
    if ((flags & TO_FLASH) != 0) fuzz_flash();
    fuzz_check_table();
    return 0;
}
