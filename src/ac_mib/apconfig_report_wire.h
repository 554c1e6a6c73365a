// apconfig_report_wire - records that the web interface reads about the AP table, as they lie on the control channel.
#pragma once

#include "ac_mib/apconfig_wire.h"

// A row of the AP list.
struct acwtp_wtp_table {
    UINT8 apName[33]; // product name
    UINT8 text[33];   // the operator's name for the AP
    UINT8 pad1[2];
    UINT32 ipAddr;
    UINT8 macAddr[7];
    UINT8 clientNum;    // clients on SSIDs 0 to 7
    UINT8 clientNum_5g; // clients on SSIDs 8 to 11
    UINT8 maxNum;
    UINT8 maxNum_5g;
    UINT8 ssid[12][33]; // names of enabled SSIDs
    UINT8 real_channel;
    UINT8 real_channel_5g;
    UINT8 tx_pwr;
    UINT8 tx_pwr_5g;
    UINT8 rssi;
    UINT8 rssi_5g;
    UINT8 precedence_5g;
    UINT8 fversion[32];
    UINT8 currentststus; // enum ap_status
    UINT8 country_code;
    UINT8 bandwidth;
    UINT8 ssid_status; // 1: radio 0 on
    UINT8 ssid_status_5g;
    UINT8 ssid_num_24g;
    UINT8 ssid_num_5g;
    UINT8 rf_num;
    UINT8 pad2[2];
};
typedef struct acwtp_wtp_table AC_WTP_WTP_TABLE;
AC_RECORD(AC_WTP_WTP_TABLE, 528);
AC_AT(AC_WTP_WTP_TABLE, apName, 0);
AC_AT(AC_WTP_WTP_TABLE, text, 33);
AC_AT(AC_WTP_WTP_TABLE, ipAddr, 68);
AC_AT(AC_WTP_WTP_TABLE, macAddr, 72);
AC_AT(AC_WTP_WTP_TABLE, clientNum, 79);
AC_AT(AC_WTP_WTP_TABLE, clientNum_5g, 80);
AC_AT(AC_WTP_WTP_TABLE, maxNum, 81);
AC_AT(AC_WTP_WTP_TABLE, maxNum_5g, 82);
AC_AT(AC_WTP_WTP_TABLE, ssid, 83);
AC_AT(AC_WTP_WTP_TABLE, real_channel, 479);
AC_AT(AC_WTP_WTP_TABLE, real_channel_5g, 480);
AC_AT(AC_WTP_WTP_TABLE, tx_pwr, 481);
AC_AT(AC_WTP_WTP_TABLE, tx_pwr_5g, 482);
AC_AT(AC_WTP_WTP_TABLE, rssi, 483);
AC_AT(AC_WTP_WTP_TABLE, rssi_5g, 484);
AC_AT(AC_WTP_WTP_TABLE, precedence_5g, 485);
AC_AT(AC_WTP_WTP_TABLE, fversion, 486);
AC_AT(AC_WTP_WTP_TABLE, currentststus, 518);
AC_AT(AC_WTP_WTP_TABLE, country_code, 519);
AC_AT(AC_WTP_WTP_TABLE, bandwidth, 520);
AC_AT(AC_WTP_WTP_TABLE, ssid_status, 521);
AC_AT(AC_WTP_WTP_TABLE, ssid_status_5g, 522);
AC_AT(AC_WTP_WTP_TABLE, ssid_num_24g, 523);
AC_AT(AC_WTP_WTP_TABLE, ssid_num_5g, 524);
AC_AT(AC_WTP_WTP_TABLE, rf_num, 525);

// An online AP's SSIDs.
struct acwtp_wtp_ssid_cfg {
    UINT8 apName[33];
    UINT8 text[33];
    UINT8 real_channel;
    UINT8 real_channel_5g;
    UINT8 macAddr[7];
    UINT8 ssid[12][33];
    UINT8 clientNum[12];
    UINT8 maxNum[12];
};
typedef struct acwtp_wtp_ssid_cfg AC_WTP_Ssid_Cfg_t;
AC_RECORD(AC_WTP_Ssid_Cfg_t, 495);
AC_AT(AC_WTP_Ssid_Cfg_t, apName, 0);
AC_AT(AC_WTP_Ssid_Cfg_t, text, 33);
AC_AT(AC_WTP_Ssid_Cfg_t, real_channel, 66);
AC_AT(AC_WTP_Ssid_Cfg_t, real_channel_5g, 67);
AC_AT(AC_WTP_Ssid_Cfg_t, macAddr, 68);
AC_AT(AC_WTP_Ssid_Cfg_t, ssid, 75);
AC_AT(AC_WTP_Ssid_Cfg_t, clientNum, 471);
AC_AT(AC_WTP_Ssid_Cfg_t, maxNum, 483);

// An AP on the advanced page.
struct acwtp_advance_config {
    UINT8 type[33]; // product name
    UINT8 name[33]; // the operator's name for the AP
    UINT8 macAddr[7];
    UINT8 ssid[8][33];
    UINT8 ssid_5g[4][33];
    UINT8 led;
    UINT8 deploy; // stays 0
    UINT8 status;
    UINT8 reboot_policy[33];
    UINT8 alarm_policy[33];
    UINT8 pass_policy[33];
    UINT8 wl_deploy_policy[33];
    UINT8 qvlan_policy[33];
    UINT8 wl_basic_policy[33];
    UINT8 wl_rf_policy[33];
    UINT8 ssid_status_5g; // stays 0
    UINT8 ssid_num_24g;
    UINT8 ssid_num_5g;
    UINT8 rf_num;
};
typedef struct acwtp_advance_config ACWTP_ADVANCE_CONFIG;
AC_RECORD(ACWTP_ADVANCE_CONFIG, 707);
AC_AT(ACWTP_ADVANCE_CONFIG, type, 0);
AC_AT(ACWTP_ADVANCE_CONFIG, name, 33);
AC_AT(ACWTP_ADVANCE_CONFIG, macAddr, 66);
AC_AT(ACWTP_ADVANCE_CONFIG, ssid, 73);
AC_AT(ACWTP_ADVANCE_CONFIG, ssid_5g, 337);
AC_AT(ACWTP_ADVANCE_CONFIG, led, 469);
AC_AT(ACWTP_ADVANCE_CONFIG, deploy, 470);
AC_AT(ACWTP_ADVANCE_CONFIG, status, 471);
AC_AT(ACWTP_ADVANCE_CONFIG, reboot_policy, 472);
AC_AT(ACWTP_ADVANCE_CONFIG, alarm_policy, 505);
AC_AT(ACWTP_ADVANCE_CONFIG, pass_policy, 538);
AC_AT(ACWTP_ADVANCE_CONFIG, wl_deploy_policy, 571);
AC_AT(ACWTP_ADVANCE_CONFIG, qvlan_policy, 604);
AC_AT(ACWTP_ADVANCE_CONFIG, wl_basic_policy, 637);
AC_AT(ACWTP_ADVANCE_CONFIG, wl_rf_policy, 670);
AC_AT(ACWTP_ADVANCE_CONFIG, ssid_status_5g, 703);
AC_AT(ACWTP_ADVANCE_CONFIG, ssid_num_24g, 704);
AC_AT(ACWTP_ADVANCE_CONFIG, ssid_num_5g, 705);
AC_AT(ACWTP_ADVANCE_CONFIG, rf_num, 706);
