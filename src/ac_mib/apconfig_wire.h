// apconfig_wire - configuration records of an AP that cross the wire and the control channel as raw images.
//
// Little-endian, gaps included: offsets and sizes are part of the format. Texts of fixed width carry a length byte;
// none is terminated by format. The numeric meanings of secure_mode, auth_type, network_mode, bandwidth, interface_mode
// and reboot_type are agreed between the web interface and the APs; the controller stores, compares and forwards them.
#pragma once

#include <type_traits>

#include "common/ac_types.h"

inline constexpr UINT8 AC_RF_5G = 0x01;             // RF_basic_setting bit 0: 0 = 2.4 GHz, 1 = 5 GHz
inline constexpr UINT8 AC_RF_ON = 0x02;             // bit 1: radio on
inline constexpr UINT8 AC_RF_WMM = 0x04;            // bit 2: wmm
inline constexpr UINT8 AC_RF_APSD = 0x08;           // bit 3: power save
inline constexpr UINT8 AC_RF_SSID_ISOLATION = 0x10; // bit 4
inline constexpr UINT8 AC_RF_G5_PRIORITY = 0x40;    // bit 6: shown as precedence_5g
inline constexpr UINT8 AC_WL_ON = 0x02;             // wl_basic_set bit 1: SSID on
inline constexpr UINT8 AC_SSID_5G_FIRST = 8;        // ssid_id from here on lie on the 5 GHz radio
inline constexpr UINT8 AC_CHANNEL_KEEP = 255;       // in an update: keep the present channel

#define AC_AT(record, field, offset) static_assert(offsetof(record, field) == (offset))
#define AC_RECORD(record, size)                                                                                        \
    static_assert(sizeof(record) == (size));                                                                           \
    static_assert(std::is_trivially_copyable_v<record> && std::has_unique_object_representations_v<record>)

struct config_ip {
    UINT8 mode;
    UINT8 ip[4];
    UINT8 mask[4];
    UINT8 gateway[4];
    UINT8 hostdns[4];
    UINT8 dns[4];
};
typedef struct config_ip CONFIG_IP;
AC_RECORD(CONFIG_IP, 21);
AC_AT(CONFIG_IP, mode, 0);
AC_AT(CONFIG_IP, ip, 1);
AC_AT(CONFIG_IP, mask, 5);
AC_AT(CONFIG_IP, gateway, 9);
AC_AT(CONFIG_IP, hostdns, 13);
AC_AT(CONFIG_IP, dns, 17);

struct config_apname {
    UINT8 ap_name[32];
    UINT8 ap_name_length;
};
typedef struct config_apname CONFIG_APNAME;
AC_RECORD(CONFIG_APNAME, 33);
AC_AT(CONFIG_APNAME, ap_name, 0);
AC_AT(CONFIG_APNAME, ap_name_length, 32);

struct config_version {
    UINT8 version[32];
    UINT8 version_length;
};
typedef struct config_version CONFIG_VERSION;
AC_RECORD(CONFIG_VERSION, 33);
AC_AT(CONFIG_VERSION, version, 0);
AC_AT(CONFIG_VERSION, version_length, 32);

struct config_ssid {
    UINT8 ssid[32];
    UINT8 ssid_length;
};
typedef struct config_ssid CONFIG_SSID;
AC_RECORD(CONFIG_SSID, 33);
AC_AT(CONFIG_SSID, ssid, 0);
AC_AT(CONFIG_SSID, ssid_length, 32);

struct config_key {
    UINT8 key[64];
    UINT8 key_length;
};
typedef struct config_key CONFIG_KEY;
AC_RECORD(CONFIG_KEY, 65);
AC_AT(CONFIG_KEY, key, 0);
AC_AT(CONFIG_KEY, key_length, 64);

struct config_basic {
    UINT8 led_status;
    CONFIG_IP ip;
    CONFIG_APNAME apname;
    CONFIG_VERSION version;
};
typedef struct config_basic CONFIG_BASIC;
AC_RECORD(CONFIG_BASIC, 88);
AC_AT(CONFIG_BASIC, led_status, 0);
AC_AT(CONFIG_BASIC, ip, 1);
AC_AT(CONFIG_BASIC, apname, 22);
AC_AT(CONFIG_BASIC, version, 55);

struct config_sched_reboot {
    UINT8 reboot_en;
    UINT8 reboot_type;
    UINT16 time;
};
typedef struct config_sched_reboot CONFIG_SCHED_REBOOT;
AC_RECORD(CONFIG_SCHED_REBOOT, 4);
AC_AT(CONFIG_SCHED_REBOOT, reboot_en, 0);
AC_AT(CONFIG_SCHED_REBOOT, reboot_type, 1);
AC_AT(CONFIG_SCHED_REBOOT, time, 2);

struct config_alarm {
    UINT8 alarm_switch;
    UINT8 hostnum_limit;
    UINT8 pad[2];
    UINT32 stream_limit;
};
typedef struct config_alarm CONFIG_ALARM;
AC_RECORD(CONFIG_ALARM, 8);
AC_AT(CONFIG_ALARM, alarm_switch, 0);
AC_AT(CONFIG_ALARM, hostnum_limit, 1);
AC_AT(CONFIG_ALARM, stream_limit, 4);

struct acwtp_event_mode_cfg {
    UINT8 mailEnable;
    UINT8 mailName[33];
    UINT8 mailPwd[33];
    UINT8 pad1;
    UINT16 mailInterTime; // minutes
    UINT16 mailPort;
    UINT8 SSLEnable;
    UINT8 pcEnable;
    UINT8 pad2[2];
    UINT32 pcIpAddr;
};
typedef struct acwtp_event_mode_cfg CONFIG_ALARM_EVENT;
AC_RECORD(CONFIG_ALARM_EVENT, 80);
AC_AT(CONFIG_ALARM_EVENT, mailEnable, 0);
AC_AT(CONFIG_ALARM_EVENT, mailName, 1);
AC_AT(CONFIG_ALARM_EVENT, mailPwd, 34);
AC_AT(CONFIG_ALARM_EVENT, mailInterTime, 68);
AC_AT(CONFIG_ALARM_EVENT, mailPort, 70);
AC_AT(CONFIG_ALARM_EVENT, SSLEnable, 72);
AC_AT(CONFIG_ALARM_EVENT, pcEnable, 73);
AC_AT(CONFIG_ALARM_EVENT, pcIpAddr, 76);

struct wpapsk_auth {
    UINT8 auth_type;
    CONFIG_KEY key;
    UINT8 key_time[4]; // a 32-bit number; unaligned, so it moves by byte copy
};
typedef struct wpapsk_auth WPAPSK_AUTH;
AC_RECORD(WPAPSK_AUTH, 70);
AC_AT(WPAPSK_AUTH, auth_type, 0);
AC_AT(WPAPSK_AUTH, key, 1);
AC_AT(WPAPSK_AUTH, key_time, 66);

struct config_wl_secure {
    UINT8 secure_mode;
    WPAPSK_AUTH wpapsk_secure_mode;
};
typedef struct config_wl_secure CONFIG_WL_SECURE;
AC_RECORD(CONFIG_WL_SECURE, 71);
AC_AT(CONFIG_WL_SECURE, secure_mode, 0);
AC_AT(CONFIG_WL_SECURE, wpapsk_secure_mode, 1);

struct config_wl_basic {
    UINT8 ssid_id;
    UINT8 wl_basic_set;
    UINT8 client_number; // client limit of this SSID
    UINT8 pad;
    UINT16 vlan_id;
    CONFIG_SSID ssid;
    CONFIG_WL_SECURE wlSecure;
};
typedef struct config_wl_basic CONFIG_WL_BASIC;
AC_RECORD(CONFIG_WL_BASIC, 110);
AC_AT(CONFIG_WL_BASIC, ssid_id, 0);
AC_AT(CONFIG_WL_BASIC, wl_basic_set, 1);
AC_AT(CONFIG_WL_BASIC, client_number, 2);
AC_AT(CONFIG_WL_BASIC, vlan_id, 4);
AC_AT(CONFIG_WL_BASIC, ssid, 6);
AC_AT(CONFIG_WL_BASIC, wlSecure, 39);

// The longer form, between the control interface and the policy store only: the table keeps no RADIUS server.
struct wpa_auth_all {
    UINT8 auth_type;
    CONFIG_KEY key;
    UINT8 key_time[4];
    UINT8 radius_server[4];
    UINT16 radius_port;
};
typedef struct wpa_auth_all WPA_AUTH_ALL;
AC_RECORD(WPA_AUTH_ALL, 76);
AC_AT(WPA_AUTH_ALL, auth_type, 0);
AC_AT(WPA_AUTH_ALL, key, 1);
AC_AT(WPA_AUTH_ALL, key_time, 66);
AC_AT(WPA_AUTH_ALL, radius_server, 70);
AC_AT(WPA_AUTH_ALL, radius_port, 74);

struct config_wl_secure_all {
    UINT8 secure_mode;
    UINT8 pad;
    WPA_AUTH_ALL wpa_secure_mode;
};
typedef struct config_wl_secure_all CONFIG_WL_SECURE_ALL;
AC_RECORD(CONFIG_WL_SECURE_ALL, 78);
AC_AT(CONFIG_WL_SECURE_ALL, secure_mode, 0);
AC_AT(CONFIG_WL_SECURE_ALL, wpa_secure_mode, 2);

struct config_wl_basic_all {
    UINT8 ssid_id;
    UINT8 wl_basic_set;
    UINT8 client_number;
    UINT8 pad1;
    UINT16 vlan_id;
    CONFIG_SSID ssid;
    UINT8 pad2;
    CONFIG_WL_SECURE_ALL wlSecure;
};
typedef struct config_wl_basic_all CONFIG_WL_BASIC_ALL;
AC_RECORD(CONFIG_WL_BASIC_ALL, 118);
AC_AT(CONFIG_WL_BASIC_ALL, ssid_id, 0);
AC_AT(CONFIG_WL_BASIC_ALL, wl_basic_set, 1);
AC_AT(CONFIG_WL_BASIC_ALL, client_number, 2);
AC_AT(CONFIG_WL_BASIC_ALL, vlan_id, 4);
AC_AT(CONFIG_WL_BASIC_ALL, ssid, 6);
AC_AT(CONFIG_WL_BASIC_ALL, wlSecure, 40);

struct config_wl_rf {
    UINT8 RF_basic_setting; // AC_RF_...
    UINT8 expand_channel;
    UINT8 country_code;
    UINT8 network_mode;
    UINT8 bandwidth;
    UINT8 TXpower;
    UINT8 channel;
    UINT8 rssi;
    UINT8 interface_mode;
    UINT8 sta_timeout;
    UINT16 lan_num;
    UINT16 lan0_vlanid;
    UINT16 lan1_vlanid;
    UINT16 lan2_vlanid;
    UINT8 qvlan_truck_port[10];
};
typedef struct config_wl_rf CONFIG_WL_RF;
AC_RECORD(CONFIG_WL_RF, 28);
AC_AT(CONFIG_WL_RF, RF_basic_setting, 0);
AC_AT(CONFIG_WL_RF, expand_channel, 1);
AC_AT(CONFIG_WL_RF, country_code, 2);
AC_AT(CONFIG_WL_RF, network_mode, 3);
AC_AT(CONFIG_WL_RF, bandwidth, 4);
AC_AT(CONFIG_WL_RF, TXpower, 5);
AC_AT(CONFIG_WL_RF, channel, 6);
AC_AT(CONFIG_WL_RF, rssi, 7);
AC_AT(CONFIG_WL_RF, interface_mode, 8);
AC_AT(CONFIG_WL_RF, sta_timeout, 9);
AC_AT(CONFIG_WL_RF, lan_num, 10);
AC_AT(CONFIG_WL_RF, lan0_vlanid, 12);
AC_AT(CONFIG_WL_RF, lan1_vlanid, 14);
AC_AT(CONFIG_WL_RF, lan2_vlanid, 16);
AC_AT(CONFIG_WL_RF, qvlan_truck_port, 18);

// The first ten fields of config_wl_rf, nothing else.
struct config_wl_rf_v1 {
    UINT8 RF_basic_setting;
    UINT8 expand_channel;
    UINT8 country_code;
    UINT8 network_mode;
    UINT8 bandwidth;
    UINT8 TXpower;
    UINT8 channel;
    UINT8 rssi;
    UINT8 interface_mode;
    UINT8 sta_timeout;
};
typedef struct config_wl_rf_v1 CONFIG_WL_RF_V1;
AC_RECORD(CONFIG_WL_RF_V1, 10);
AC_AT(CONFIG_WL_RF_V1, RF_basic_setting, 0);
AC_AT(CONFIG_WL_RF_V1, expand_channel, 1);
AC_AT(CONFIG_WL_RF_V1, country_code, 2);
AC_AT(CONFIG_WL_RF_V1, network_mode, 3);
AC_AT(CONFIG_WL_RF_V1, bandwidth, 4);
AC_AT(CONFIG_WL_RF_V1, TXpower, 5);
AC_AT(CONFIG_WL_RF_V1, channel, 6);
AC_AT(CONFIG_WL_RF_V1, rssi, 7);
AC_AT(CONFIG_WL_RF_V1, interface_mode, 8);
AC_AT(CONFIG_WL_RF_V1, sta_timeout, 9);

struct config_channel {
    UINT8 radio;
    UINT8 expand_channel;
    UINT8 channel;
};
typedef struct config_channel CONFIG_CHANNEL;
AC_RECORD(CONFIG_CHANNEL, 3);
AC_AT(CONFIG_CHANNEL, radio, 0);
AC_AT(CONFIG_CHANNEL, expand_channel, 1);
AC_AT(CONFIG_CHANNEL, channel, 2);

struct config_cli_limit {
    UINT8 ssid_id;
    UINT8 limit;
};
typedef struct config_cli_limit CONFIG_CLI_LIMIT;
AC_RECORD(CONFIG_CLI_LIMIT, 2);
AC_AT(CONFIG_CLI_LIMIT, ssid_id, 0);
AC_AT(CONFIG_CLI_LIMIT, limit, 1);
