// sqlite_oper_policy - the five kinds of operational policies in the policy file: scheduled reboot with LED, alarm, web
// login of the APs, VLAN, tuning.
//
// Obtain   all policies of a kind as records one behind the other, newest first, `enable` being the number of APs that
//          use it and `type` 0. *buf comes from ac_malloc and is the caller's to free, *len are its bytes; both stay as
//          they are when there is no policy. 0; 255 after a line, with *len 0 where memory was missing.
// By name  the policy of that name, of at most 32 bytes. The caller hands over a zeroed record, which stays zeroed for
//          an unknown name: 0 in both cases, so look at its name. 255 after a line.
// Threads  the control thread.
#pragma once

#include <span>

#include "ac_sql/policy_wire.h"

AC_RET sqlite_reboot_policy_obtain(UINT8** buf, int* len);
AC_RET sqlite_alarm_policy_obtain(UINT8** buf, int* len);
AC_RET sqlite_password_policy_obtain(UINT8** buf, int* len);
AC_RET sqlite_qvlan_policy_obtain(UINT8** buf, int* len);
AC_RET sqlite_wl_deploy_policy_obtain(UINT8** buf, int* len);

AC_RET sqlite_reboot_policy_obtain_by_name(CONFIG_REBOOT_POLICY* policy, std::span<const UINT8> name);
AC_RET sqlite_alarm_policy_obtain_by_name(CONFIG_ALARM_POLICY* policy, std::span<const UINT8> name);
AC_RET sqlite_get_password_policy_by_name(CONFIG_PASSWORD_POLICY* policy, std::span<const UINT8> name);
AC_RET sqlite_get_qvlan_policy_by_name(CONFIG_QVLAN_POLICY* policy, std::span<const UINT8> name);
AC_RET sqlite_get_wl_deploy_policy_by_name(CONFIG_WL_DEPLOY_POLICY* policy, std::span<const UINT8> name);
