// sqlite_schema - every table of the two flash files: made on the first start, brought up to date in place on later
// ones.
//
// Errors   a failed creation or alteration is a line; most creators give 0 all the same, and the statements that use
//          the table then fail one by one with lines of their own.
// Threads  the start only, before any thread. Reads whole columns to find out which exist.
#pragma once

inline constexpr const char* AP_BASIC_TABLE = "ap_basic";
inline constexpr const char* AP_SSID_TABLE = "ap_ssid";
inline constexpr const char* AP_CLIENT_TABLE = "ap_client";
inline constexpr const char* CLIENT_TIME_TABLE = "client_time";
inline constexpr const char* AP_PRODUCT_TABLE = "ap_product_info";
inline constexpr const char* PASSWORD_POLICY_TABLE = "password_policy";
inline constexpr const char* WL_DEPLOY_POLICY_TABLE = "wl_deploy_policy";
inline constexpr const char* WL_BASIC_POLICY_TABLE = "wl_basic_policy";
inline constexpr const char* WL_RADIO_POLICY_TABLE = "wl_radio_policy";
inline constexpr const char* WL_POLICY_TABLE = "wl_policy";
inline constexpr const char* REBOOT_POLICY_TABLE = "reboot_policy";
inline constexpr const char* ALARM_POLICY_TABLE = "alarm_policy";
inline constexpr const char* QVLAN_POLICY_TABLE = "qvlan_policy";
inline constexpr const char* PORTAL_AD_CONFIG_TABLE = "portal_ad_config";
inline constexpr const char* PORTAL_AD_CONFIG_CN_BACK_TABLE = "portal_ad_config_cn_back";
inline constexpr const char* PORTAL_AD_CONFIG_EN_BACK_TABLE = "portal_ad_config_en_back";
inline constexpr const char* PORTAL_AD_PUT_TABLE = "portal_ad_put";
inline constexpr const char* PORTAL_AD_LIMIT_TABLE = "portal_ad_limit";
inline constexpr const char* PORTAL_AD_IP_TABLE = "portal_ad_ip";
inline constexpr const char* PORTAL_AD_PHONE_TABLE = "portal_ad_phone";
inline constexpr const char* PORTAL_AD_MAC_TABLE = "portal_ad_mac";
inline constexpr const char* PORTAL_AD_WEB_TABLE = "portal_ad_web";
inline constexpr const char* PORTAL_AD_WEIXIN_TABLE = "portal_ad_weixin";
inline constexpr const char* PORTAL_AD_ACCESS_CODE_TABLE = "portal_ad_access_code";

// The loaders refuse rows of any other width.
inline constexpr int AP_BASIC_TABLE_COL_LEN = 35;
inline constexpr int AP_WL_SSID_TABLE_COL_LEN = 31;
inline constexpr int AP_PRODUCT_TABLE_COL_LEN = 7;

// Runs the creators in a fixed order. 0, or the first result that isn't 0; the tables behind that one are then not
// made.
int sqlite_create_table();

// One table each; 0, or what the table's own comment says.
int sqlite_create_table_ap_basic();
int sqlite_create_table_ap_ssid();
int sqlite_create_table_ap_client(); // SQLite's code when the look at the table fails, a lock for example
int sqlite_create_client_time_table();
int sqlite_create_table_password_policy();  // 255 when the alteration fails
int sqlite_create_table_wl_deploy_policy(); // 255 when creation or alteration fails
int sqlite_create_table_wl_basic_policy();
int sqlite_create_table_wl_rf_policy();
int sqlite_create_table_wl_policy();
int sqlite_create_table_reboot_policy();
int sqlite_create_table_alarm_policy();
int sqlite_create_table_qvlan_policy();
int sqlite_create_table_ap_product_info(); // 255 when creation fails but for "already exists", or without memory
int sqlite_create_table_portal_ad_config();
int sqlite_create_table_ad_cn_back_config();
int sqlite_create_table_ad_en_back_config();
int sqlite_create_table_portal_ad_put();
int sqlite_create_table_portal_ad_limit();
int sqlite_create_table_portal_ad_ip();
int sqlite_create_table_portal_ad_phone();
int sqlite_create_table_portal_ad_mac();
int sqlite_create_table_portal_ad_web();
int sqlite_create_table_portal_ad_weixin();
int sqlite_create_table_portal_ad_access_code();
