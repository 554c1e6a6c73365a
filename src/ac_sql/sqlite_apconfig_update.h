// sqlite_apconfig_update - whole records of APs and single groups of their fields, written to ap_basic and ap_ssid.
//
// Threads  the flash thread, which holds g_apconfig_mutex over each call on a linked record.
#pragma once

#include "ac_mib/apconfig.h"

// What CONFIG_SQL_RF takes.
struct sql_rf_data {
    CONFIG_WL_RF rf;
    UINT8 wl_rf_name[AC_NAME_LEN];
};

// Writes a record whole: its row of ap_basic first, since the load refuses SSID rows of an AP that has none. 0.
int sqlite_apconfig_add(APCONFIG* elem);

// Deletes an AP's rows: those of ap_ssid first, for the same reason; while they can't be deleted its own row stays too.
// 0, or 255 if either failed.
int sqlite_apconfig_del(const UINT8* ethaddr);

// Writes one group of fields. `data` by config_sql_type: UINT8 for LED and STATUS, CONFIG_IP, CONFIG_APNAME,
// sql_rf_data, CONFIG_WL_BASIC for WL_BASIC and CLI_LIMIT, CONFIG_SCHED_REBOOT, CONFIG_ALARM, 2 bytes for VERSION,
// CONFIG_ALARM_EVENT, AC_NAME_LEN bytes for the names, APCONFIG for WLRF and ADVANCE, CONFIG_WL_RF for CHANNEL.
// WL_POLICY_NAME writes nothing. 0; 255 after a line for a failed statement, a type that has no row here, or null data.
int sqlite_apconfig_update(int type, const UINT8* ethaddr, void* data);

// Deletes the rows of `num` MACs, 6 bytes each, from a table of db. 0; 255 for null data, num 0 or a failed statement.
int sqlite_del_apconfig_multi(const char* table, int num, const UINT8* data);

int sqlite_drop_ap_client(); // empties ap_client: 0, or 255
