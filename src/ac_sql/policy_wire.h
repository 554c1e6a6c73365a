// policy_wire - the operational policies: scheduled reboot with LED, alarm, web login of the APs, VLAN, tuning. The
// same bytes on the control channel, in the store's lists and, in part, in frames to the APs.
#pragma once

#include "ac_mib/apconfig_wire.h"

// A name field: 32 bytes, all of which may be used, and a zero byte.
inline constexpr std::size_t POLICY_NAME_FIELD = AC_NAME_LEN + 1;

struct config_reboot_policy {
    UINT8 type;       // not stored; 0 in lists
    UINT8 enable;     // in lists: the number of APs that use the policy, as in all kinds
    UINT8 led_status; // the APs' LED on or off
    UINT8 name[POLICY_NAME_FIELD];
    CONFIG_SCHED_REBOOT info_reboot;
};
typedef struct config_reboot_policy CONFIG_REBOOT_POLICY;
AC_RECORD(CONFIG_REBOOT_POLICY, 40);
AC_AT(CONFIG_REBOOT_POLICY, type, 0);
AC_AT(CONFIG_REBOOT_POLICY, enable, 1);
AC_AT(CONFIG_REBOOT_POLICY, led_status, 2);
AC_AT(CONFIG_REBOOT_POLICY, name, 3);
AC_AT(CONFIG_REBOOT_POLICY, info_reboot, 36);

struct config_alarm_policy {
    UINT8 type; // not stored
    UINT8 enable;
    UINT8 name[POLICY_NAME_FIELD];
    UINT8 pad;
    CONFIG_ALARM_EVENT info_event; // whom to tell
    CONFIG_ALARM info_alarm;       // what to tell
};
typedef struct config_alarm_policy CONFIG_ALARM_POLICY;
AC_RECORD(CONFIG_ALARM_POLICY, 124);
AC_AT(CONFIG_ALARM_POLICY, type, 0);
AC_AT(CONFIG_ALARM_POLICY, enable, 1);
AC_AT(CONFIG_ALARM_POLICY, name, 2);
AC_AT(CONFIG_ALARM_POLICY, info_event, 36);
AC_AT(CONFIG_ALARM_POLICY, info_alarm, 116);

struct config_password_policy {
    UINT8 enable;
    UINT8 username[POLICY_NAME_FIELD];
    UINT8 password[POLICY_NAME_FIELD];
    UINT8 name[POLICY_NAME_FIELD];
    UINT8 web_on_off; // 1: the AP's own web page is on
};
typedef struct config_password_policy CONFIG_PASSWORD_POLICY;
AC_RECORD(CONFIG_PASSWORD_POLICY, 101);
AC_AT(CONFIG_PASSWORD_POLICY, enable, 0);
AC_AT(CONFIG_PASSWORD_POLICY, username, 1);
AC_AT(CONFIG_PASSWORD_POLICY, password, 34);
AC_AT(CONFIG_PASSWORD_POLICY, name, 67);
AC_AT(CONFIG_PASSWORD_POLICY, web_on_off, 100);

struct config_qvlan_policy {
    UINT8 enable;
    UINT8 name[POLICY_NAME_FIELD];
    UINT8 vlan_en;
    UINT8 pad;
    UINT16 qvlan_pvid;
    UINT16 manage_vlan;
    UINT16 lan0_vlanid;
    UINT16 lan1_vlanid;
    UINT16 lan2_vlanid;
    UINT8 qvlan_truck_port[10]; // text
};
typedef struct config_qvlan_policy CONFIG_QVLAN_POLICY;
AC_RECORD(CONFIG_QVLAN_POLICY, 56);
AC_AT(CONFIG_QVLAN_POLICY, enable, 0);
AC_AT(CONFIG_QVLAN_POLICY, name, 1);
AC_AT(CONFIG_QVLAN_POLICY, vlan_en, 34);
AC_AT(CONFIG_QVLAN_POLICY, qvlan_pvid, 36);
AC_AT(CONFIG_QVLAN_POLICY, manage_vlan, 38);
AC_AT(CONFIG_QVLAN_POLICY, lan0_vlanid, 40);
AC_AT(CONFIG_QVLAN_POLICY, lan1_vlanid, 42);
AC_AT(CONFIG_QVLAN_POLICY, lan2_vlanid, 44);
AC_AT(CONFIG_QVLAN_POLICY, qvlan_truck_port, 46);

struct config_wl_deploy_policy {
    UINT8 enable;
    UINT8 name[POLICY_NAME_FIELD];
    UINT8 penetration;
    UINT8 deploy;
    UINT8 drivpwr;
};
typedef struct config_wl_deploy_policy CONFIG_WL_DEPLOY_POLICY;
AC_RECORD(CONFIG_WL_DEPLOY_POLICY, 37);
AC_AT(CONFIG_WL_DEPLOY_POLICY, enable, 0);
AC_AT(CONFIG_WL_DEPLOY_POLICY, name, 1);
AC_AT(CONFIG_WL_DEPLOY_POLICY, penetration, 34);
AC_AT(CONFIG_WL_DEPLOY_POLICY, deploy, 35);
AC_AT(CONFIG_WL_DEPLOY_POLICY, drivpwr, 36);
