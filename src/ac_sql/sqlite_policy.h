// sqlite_policy - what the named policies of all kinds share: deletion by name and the count of their users.
//
// Shape    A policy is known by its name of at most 32 bytes; nothing makes a name unique. Who uses a policy is told by
//          the names in the rows of APs and SSIDs.
// Threads  the control thread.
#pragma once

#include <span>

#include "common/ac_types.h"

// Deletes the rows of `table` whose column `c_name` holds one of the `num` names of 32 bytes in `data`, in one
// statement; in the policy file, but "ap_client" in the other. 0; 255 for null data, no name, fewer bytes than names,
// or after "Error->%s(%d)--delete error,ret=%d,errmsg=%s\n". Whether a policy is in use is not asked.
AC_RET sqlite_del_policy(const char* table, const char* c_name, int num, std::span<const UINT8> data);

// How many rows of `table` hold the name in `col_name`, of ap_ssid only those of enabled SSIDs. One byte: the count
// wraps above 255. Always returns 0; a failed query is a line and counts 0.
int query_policy_used_info(const char* table, const char* col_name, std::span<const UINT8> policy, UINT8* num);
