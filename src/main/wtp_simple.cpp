#include "main/wtp_simple.h"

#include <cstdio>
#include <cstring>

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_update.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/ac_wire.h"
#include "main/wtp_work.h"

namespace {

enum name_state { NAME_NEW, NAME_PRESENT, NAME_OF_NOBODY };

name_state name_look(const UINT8* mac, const CONFIG_APNAME& name)
{
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(mac);
    if (node == nullptr) return NAME_OF_NOBODY;
    return memcmp(&node->info_basic.apname, &name, sizeof name) == 0 ? NAME_PRESENT : NAME_NEW;
}

// A line that says no more than which request failed, and where.
void failed_at(const char* function, int line)
{
    printf("Error->%s(%d)--", function, line);
}

// A setting of `size` bytes behind one MAC, passed on to the AP and the table as it is.
int simple_set(const AC_MSG_PKT* rev, std::size_t size, const char* function = __builtin_FUNCTION(),
               int line = __builtin_LINE())
{
    wtp_targets ap;
    if (rev == nullptr || rev->ap_num != 1 || !wtp_target_take(rev, ap) || ap.rest.size() < size) {
        failed_at(function, line);
        return AC_RET_ERROR;
    }
    if (apconfig_find(ap.macs.data()) == nullptr) return AC_RET_ERROR;
    const std::span<const UINT8> setting = ap.rest.first(size);
    // This item goes out without a pause, or is dropped at once if its AP is down. The table has to change before that:
    // an AP that joins in between would be up again by then, and neither be sent the setting nor be given it later.
    ac_lock table_before_frame(g_msged_send_mutex);
    const AC_RET queued = wtp_item_queue(rev->ac_msg_type, ap, setting);
    if (queued != AC_RET_OK) {
        failed_at(function, line);
        return queued;
    }
    return apconfig_mib_update(rev->ac_msg_type, ap.macs.data(), setting);
}

// false for an unknown AP.
bool ap_delete(const UINT8* mac)
{
    if (apconfig_find(mac) == nullptr) return false;
    delete_wtp_listinfo(mac);
    (void)apconfig_mib_node_del(mac, 1); // gone meanwhile: printed there
    return true;
}

} // namespace

int set_wtp_remark(const AC_MSG_PKT* rev)
{
    wtp_targets ap;
    if (rev == nullptr || rev->ap_num == 0 || !wtp_target_take(rev, ap)) return AC_RET_ERROR;
    CONFIG_APNAME name = {};
    if (ap.rest.size() < sizeof name.ap_name) return AC_RET_ERROR;
    memcpy(name.ap_name, ap.rest.data(), sizeof name.ap_name);
    name.ap_name_length = static_cast<UINT8>(field_length(name.ap_name));
    if (name_look(ap.macs.data(), name) != NAME_NEW) return AC_RET_ERROR;
    const AC_RET queued = wtp_item_queue(rev->ac_msg_type, ap, wtp_bytes(name));
    const int updated = apconfig_mib_update(rev->ac_msg_type, ap.macs.data(), wtp_bytes(name));
    return queued != AC_RET_OK ? queued : updated;
}

int set_wtp_limit(const AC_MSG_PKT* rev)
{
    return simple_set(rev, sizeof(CONFIG_CLI_LIMIT));
}

int set_wtp_channel(const AC_MSG_PKT* rev)
{
    return simple_set(rev, sizeof(CONFIG_CHANNEL));
}

int set_ap_delete(const AC_MSG_PKT* rev)
{
    wtp_targets aps;
    if (!wtp_targets_take(rev, aps)) return AC_RET_ERROR;
    wire_reader macs{aps.macs};
    for (UINT16 i = 0; i < aps.ap_num; i++)
        if (!ap_delete(wire_take_bytes(macs, AC_MAC_LEN).data())) AC_ERR("mac is not exited\n");
    return AC_RET_OK;
}
