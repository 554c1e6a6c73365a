// An AP's report of its configuration, of any type and length, in both layouts, through the entry of an AP that has
// just been discovered; then what flash keeps of it.
//
// Input: a byte of flags, the AP type as a 16-bit number, the payload.
#include <cstring>

#include "ac_mib/apconfig_update.h"
#include "common/config_ap_type.h"
#include "fuzz_world.h"

namespace {

constexpr unsigned int AP = 1;
constexpr UINT8 FIRST_LAYOUT = 0x01;
constexpr UINT8 WITH_RECORD = 0x02;  // the AP has been here before
constexpr UINT8 WITH_RESTORE = 0x04; // and was told to restore its factory settings
constexpr UINT8 STORED_NEWER = 0x08; // and its stored configuration has the version 9
constexpr UINT8 TO_FLASH = 0x10;

void make_old_record(UINT8 flags)
{
    const fuzz_mac mac = fuzz_mac_of(AP);
    fuzz_join(AP, FUZZ_TYPE_DUAL, AC_LAYOUT_V2);
    static constexpr UINT8 name[AC_NAME_LEN] = {'p', 'o', 'l', 'i', 'c', 'y'};
    (void)apconfig_mib_update(SET_REBOOT_POLICY_NAME, mac.data(), name);
    (void)apconfig_mib_update(SET_AP_CONFIG_QVLAN_REQ, mac.data(), name);
    if ((flags & WITH_RESTORE) != 0) (void)apconfig_mib_update_byte(SET_RESTORE_FLAG, mac.data(), 0);
    if ((flags & STORED_NEWER) != 0) (void)apconfig_mib_update_byte(SET_AP_VERSION, mac.data(), '9');
}

// The second echo of a running AP queues its record for flash.
void write_to_flash(UINT16 layout)
{
    for (int i = 0; i < 3; i++)
        fuzz_receive(fuzz_frame(fuzz_head(AP, HALDE_APEchoReq, FUZZ_TYPE_DUAL, layout), {}), AP);
    fuzz_drain();
    fuzz_flash();
}

bool has_record()
{
    return apconfig_find(fuzz_mac_of(AP).data()) != nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    wire_reader in{{data, size}};
    const auto flags = wire_take<UINT8>(in);
    const auto ap_type = wire_take<UINT16>(in);
    const UINT16 layout = (flags & FIRST_LAYOUT) != 0 ? AC_LAYOUT_V1 : AC_LAYOUT_V2;
    if ((flags & TO_FLASH) != 0) fuzz_database_reset();
    if ((flags & WITH_RECORD) != 0) make_old_record(flags);
    fuzz_discover(AP, ap_type, layout);
    const std::span<const UINT8> payload = fuzz_take_bytes(in, FUZZ_PAYLOAD_MAX);
    fuzz_receive(fuzz_frame(fuzz_head(AP, HALDE_APConfigUpdateReq, ap_type, layout), payload), AP);
    fuzz_drain();
    fuzz_check_table();
    if ((flags & TO_FLASH) == 0) return 0;
    write_to_flash(layout);
    // An old record of another type may have left rows of its SSIDs behind.
    if ((flags & WITH_RECORD) == 0 && has_record()) fuzz_check_reload();
    fuzz_check_table();
    return 0;
}
