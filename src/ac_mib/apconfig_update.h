// apconfig_update - every change to an existing record, and the note that brings it to flash.
//
// Units    `type`: low byte a config_ap_type, high byte its sub-flag.
// Errors   0; 255 after "mac is not exited" or "data is null"; an unknown command changes nothing and gives 0.
// Threads  any but those that hold g_apconfig_mutex; the change is applied under it, the note queued after it.
#pragma once

#include <span>

#include "ac_mib/apconfig.h"

// `data` must hold what the command's row says; a shorter image is refused whole with a line and 255.
int apconfig_mib_update(UINT16 type, const UINT8* ethaddr, std::span<const UINT8> data) AC_EXCLUDES(g_apconfig_mutex);
inline int apconfig_mib_update_byte(UINT16 type, const UINT8* ethaddr, UINT8 value) AC_EXCLUDES(g_apconfig_mutex)
{
    return apconfig_mib_update(type, ethaddr, std::span<const UINT8>(&value, 1));
}

// The pieces, all under the lock: images of 10, 110 and 118 bytes, up to `num` of them.
int apconfig_mib_update_rf(APCONFIG* node, std::span<const UINT8> data, int num) AC_REQUIRES(g_apconfig_mutex);
int apconfig_mib_update_rf_radio(APCONFIG* node, int rate, int radio_en) AC_REQUIRES(g_apconfig_mutex);
int apconfig_mib_update_wl(APCONFIG* node, std::span<const UINT8> data, int num) AC_REQUIRES(g_apconfig_mutex);
int apconfig_mib_update_wl_basic_all(APCONFIG* node, std::span<const UINT8> data, int num)
    AC_REQUIRES(g_apconfig_mutex);
int apconfig_mib_update_channel(APCONFIG* node, const CONFIG_CHANNEL* data) AC_REQUIRES(g_apconfig_mutex);
int apconfig_mib_update_limit(APCONFIG* node, const CONFIG_CLI_LIMIT* data) AC_REQUIRES(g_apconfig_mutex);

// The record's status, 0 for an unknown MAC.
UINT8 get_ap_status(const UINT8* ethaddr) AC_EXCLUDES(g_apconfig_mutex);

// Replaces the online-client list by `num` MACs of 6 bytes; more than 64 are refused with 255.
int apconfig_mib_update_client(const UINT8* ethaddr, std::span<const UINT8> data, int num)
    AC_EXCLUDES(g_apconfig_mutex);
