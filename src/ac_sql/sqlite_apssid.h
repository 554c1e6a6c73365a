// sqlite_apssid - rows of ap_ssid: one per AP and SSID, each repeating the settings of the radio its SSID belongs to.
//
// Threads  as sqlite_apbasic.
#pragma once

#include "ac_mib/apconfig.h"

// Rows with that MAC text. A failed count is a line and counts as none.
int query_apssid_exist(const char* eth_str);

// Writes all rows of an AP: row by row where some exist, else all in one statement. Lengths beyond their fields become
// the field's width in the nodes. The policy name of a row is p_name[i], i being the place in list_wl and not the
// ssid_id; that stays so, although a loaded list runs in reverse. Nodes beyond AC_SSID_MAX are left out. 0; 255 without
// memory for the statement, when the one statement fails, and when it can't be told whether rows exist. A failed row is
// a line and the next follows.
int sqlite_add_apssid(const UINT8* ethaddr, list_node* list_wl, list_node* list_rf, const UINT8 (*p_name)[AC_NAME_LEN],
                      const UINT8 (*p_rf_name)[AC_NAME_LEN]);

int sqlite_apwlbasic_del(const UINT8* ethaddr); // 0, or 255
