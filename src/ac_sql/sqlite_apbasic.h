// sqlite_apbasic - rows of ap_basic, one per AP, keyed by the MAC's text in apmac.
//
// Threads  any; on the flash thread, which holds g_apconfig_mutex, so that the record it reads is stable.
// Errors   a failed statement is a line; the table in memory keeps its content and nothing repeats the write.
#pragma once

#include "ac_mib/apconfig_wire.h"
#include "ac_sql/sqlite_db.h"

// Rows with that MAC text; -1, unknown, after the line of a failed count. Nothing but the count keeps rows from
// doubling, so an unknown count must not lead to an insert.
int query_apbasic_exist(const char* eth_str);

// Writes one whole row: updates it where it exists, else inserts it. Name fields are AC_NAME_LEN bytes wide,
// config_version 2. Lengths above 32 in basic->apname and basic->version become 32 in the caller's record.
// 0, also after a failed statement; 1001 for a null argument. `stands`, where given, becomes whether the AP has a row
// now.
int sqlite_add_apbasic(const UINT8* ethaddr, const UINT8* router_ip, CONFIG_BASIC* basic,
                       const CONFIG_SCHED_REBOOT* reboot, const CONFIG_ALARM* alarm,
                       const CONFIG_ALARM_EVENT* alarm_event, const UINT8* reboot_name, const UINT8* alarm_name,
                       UINT16 type, UINT8 status, const UINT8* config_version, const UINT8* pass_name,
                       const UINT8* wl_deploy_name, const UINT8* qvlan_name, UINT32 product_id,
                       const UINT8* product_name, bool* stands = nullptr);

int sqlite_apbasic_del(const UINT8* ethaddr); // 0, or 255

// "select count(*)" of one table for one MAC. SQLite's code; after the line of a failure `rows` is what it was.
// ac_sql's own.
int sql_count_of_mac(const char* table, const char* eth_str, int& rows, const char* function = __builtin_FUNCTION(),
                     int line = __builtin_LINE());
// Deletes one MAC's rows of one table: SQLite's code, after a line when it failed; ac_sql's own.
int sql_delete_of_mac(const char* table, const UINT8* ethaddr, const char* function = __builtin_FUNCTION(),
                      int line = __builtin_LINE());
