// apconfig_intake - an AP's report of its whole configuration becomes its record in the table.
//
// Errors   0: built; AC_RET_CONFIG_TIME_OUT (3): the stored configuration is newer and untouched; 255: refused;
//          1001: no memory for a record.
// Threads  the dispatch thread alone. The new record is built outside g_apconfig_mutex; between the removal of the old
//          one and the linking of the new one the AP has no record.
#pragma once

#include <span>

#include "ac_mib/apconfig.h"

// Offset of a report's member: 1 config_basic, 2 config_sched_reboot, 3 config_alarm, 4 radios, 5 SSIDs, 6 (v2 only)
// end of the SSIDs. -1 for an unknown member or a product with a radio count other than 1 or 2.
int get_offsetof_member_v1(UINT16 aptype, int bit);
int get_offsetof_member_v2(UINT16 aptype, int bit);

// `data` is the payload as far as it was received; a report shorter than its layout is refused.
int apconfig_mib_add(const UINT8* ethaddr, const UINT8* ipaddr, UINT16 port, UINT16 aptype, std::span<const UINT8> data)
    AC_EXCLUDES(g_apconfig_mutex);
int apconfig_mib_add_v2(const UINT8* ethaddr, const UINT8* ipaddr, UINT16 port, UINT16 aptype,
                        std::span<const UINT8> data) AC_EXCLUDES(g_apconfig_mutex);

struct ac_validatation {
    char name[128];
    const char* const* agrv;
    int (*validate)(const char* value, const char* const* argv);
};
extern const ac_validatation g_ac_valid[4];

// All give 0, or 255 for what is refused. A number by the row of that name, with a line; a name without a row is
// refused.
int ac_validate(const char* name, int data);
// A decimal text between argv[0] and argv[1], both included; one of the strings of a null-ended list.
int validate_range(const char* value, const char* const* argv);
int validate_choice(const char* value, const char* const* argv);
// A radio record passes as it is; an SSID record needs a number of 0 to 11 and a name of 1 to 32 bytes.
int validate_rf(const CONFIG_WL_RF* rf, int rate);
int validate_wl(const CONFIG_WL_BASIC* basic);
// The two decimal digits of AP_config_version as a number, as atoi reads them.
int apconfig_version_number(const UINT8* version);
