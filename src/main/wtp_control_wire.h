// wtp_control_wire - records of the requests on single APs, as they lie on the control channel.
#pragma once

#include "ac_mib/apconfig_wire.h"

// Index 0: the 2.4 GHz radio, 1: the 5 GHz radio.
struct wifi_rf_cfg_param {
    UINT8 wlEn[2];
    UINT8 country[2];
    UINT8 bandwidth[2];
    UINT8 channel[2];
    UINT8 extend_channel[2];
    UINT8 tx_pwr[2];
    UINT8 netmode[2];
    UINT8 rssi[2];
    UINT8 interface_mode[2];
    UINT8 sta_timeout[2];
    UINT8 wmm[2];
    UINT8 ssid_isolation[2];
    UINT8 apsd[2];
    UINT8 g5_priority[2];
};
typedef struct wifi_rf_cfg_param WIFI_RF_CFG_PARAM;
AC_RECORD(WIFI_RF_CFG_PARAM, 28);
AC_AT(WIFI_RF_CFG_PARAM, wlEn, 0);
AC_AT(WIFI_RF_CFG_PARAM, country, 2);
AC_AT(WIFI_RF_CFG_PARAM, bandwidth, 4);
AC_AT(WIFI_RF_CFG_PARAM, channel, 6);
AC_AT(WIFI_RF_CFG_PARAM, extend_channel, 8);
AC_AT(WIFI_RF_CFG_PARAM, tx_pwr, 10);
AC_AT(WIFI_RF_CFG_PARAM, netmode, 12);
AC_AT(WIFI_RF_CFG_PARAM, rssi, 14);
AC_AT(WIFI_RF_CFG_PARAM, interface_mode, 16);
AC_AT(WIFI_RF_CFG_PARAM, sta_timeout, 18);
AC_AT(WIFI_RF_CFG_PARAM, wmm, 20);
AC_AT(WIFI_RF_CFG_PARAM, ssid_isolation, 22);
AC_AT(WIFI_RF_CFG_PARAM, apsd, 24);
AC_AT(WIFI_RF_CFG_PARAM, g5_priority, 26);

// The page of one AP.
struct acwtp_wtp_cfg {
    UINT8 text[33];
    UINT8 ip_acq_mode;
    UINT8 pad1[2];
    UINT32 ipAddr;
    UINT32 ip_mask;
    UINT32 gateway;
    UINT32 dns1;
    UINT32 dns2;
    UINT8 macAddr[7];
    WIFI_RF_CFG_PARAM rf;
    UINT8 pad2;
};
typedef struct acwtp_wtp_cfg AC_WTP_Cfg_Block_t;
AC_RECORD(AC_WTP_Cfg_Block_t, 92);
AC_AT(AC_WTP_Cfg_Block_t, text, 0);
AC_AT(AC_WTP_Cfg_Block_t, ip_acq_mode, 33);
AC_AT(AC_WTP_Cfg_Block_t, ipAddr, 36);
AC_AT(AC_WTP_Cfg_Block_t, ip_mask, 40);
AC_AT(AC_WTP_Cfg_Block_t, gateway, 44);
AC_AT(AC_WTP_Cfg_Block_t, dns1, 48);
AC_AT(AC_WTP_Cfg_Block_t, dns2, 52);
AC_AT(AC_WTP_Cfg_Block_t, macAddr, 56);
AC_AT(AC_WTP_Cfg_Block_t, rf, 63);
