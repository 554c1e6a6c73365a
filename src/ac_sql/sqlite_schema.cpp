#include "ac_sql/sqlite_schema.h"

#include <cstring>

#include "ac_sql/sqlite_columns.h"
#include "ac_sql/sqlite_db.h"
#include "common/ac_err.h"
#include "common/ac_types.h"

namespace {

constexpr int FIELD_MISSING = 1; // results of query_field_exist
constexpr int TABLE_MISSING = 2;

struct TABLE_DEF {
    ac_db& file;
    const char* name;
    const char* columns;
    const char* what; // the word for it in the failure line
};

constexpr TABLE_DEF g_ap_basic = {db, AP_BASIC_TABLE, AP_BASIC_COLUMNS, "database"};
constexpr TABLE_DEF g_ap_ssid = {db, AP_SSID_TABLE, AP_SSID_COLUMNS, "database"};
constexpr TABLE_DEF g_ap_client = {db, AP_CLIENT_TABLE, AP_CLIENT_COLUMNS, "client"};
constexpr TABLE_DEF g_client_time = {db, CLIENT_TIME_TABLE, CLIENT_TIME_COLUMNS, "table"};
constexpr TABLE_DEF g_ap_product_info = {db, AP_PRODUCT_TABLE, AP_PRODUCT_COLUMNS, "database ap_type_table"};
constexpr TABLE_DEF g_password = {policy_db, PASSWORD_POLICY_TABLE, PASSWORD_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_wl_deploy = {policy_db, WL_DEPLOY_POLICY_TABLE, WL_DEPLOY_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_wl_basic = {policy_db, WL_BASIC_POLICY_TABLE, WL_BASIC_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_wl_radio = {policy_db, WL_RADIO_POLICY_TABLE, WL_RADIO_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_wl = {policy_db, WL_POLICY_TABLE, WL_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_reboot = {policy_db, REBOOT_POLICY_TABLE, REBOOT_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_alarm = {policy_db, ALARM_POLICY_TABLE, ALARM_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_qvlan = {policy_db, QVLAN_POLICY_TABLE, QVLAN_POLICY_COLUMNS, "database"};
constexpr TABLE_DEF g_ad_config = {policy_db, PORTAL_AD_CONFIG_TABLE, PORTAL_AD_CONFIG_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_cn_back = {policy_db, PORTAL_AD_CONFIG_CN_BACK_TABLE, PORTAL_AD_CONFIG_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_en_back = {policy_db, PORTAL_AD_CONFIG_EN_BACK_TABLE, PORTAL_AD_CONFIG_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_put = {policy_db, PORTAL_AD_PUT_TABLE, PORTAL_AD_PUT_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_limit = {policy_db, PORTAL_AD_LIMIT_TABLE, PORTAL_AD_LIMIT_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_ip = {policy_db, PORTAL_AD_IP_TABLE, PORTAL_AD_IP_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_phone = {policy_db, PORTAL_AD_PHONE_TABLE, PORTAL_AD_PHONE_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_mac = {policy_db, PORTAL_AD_MAC_TABLE, PORTAL_AD_MAC_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_web = {policy_db, PORTAL_AD_WEB_TABLE, PORTAL_AD_WEB_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_weixin = {policy_db, PORTAL_AD_WEIXIN_TABLE, PORTAL_AD_WEIXIN_COLUMNS, "table"};
constexpr TABLE_DEF g_ad_access_code = {policy_db, PORTAL_AD_ACCESS_CODE_TABLE, PORTAL_AD_ACCESS_CODE_COLUMNS, "table"};

// Failure lines carry the name and line of the creator, not of the helpers below.
struct at_creator {
    const char* function;
    int line;
    explicit at_creator(const char* f = __builtin_FUNCTION(), int l = __builtin_LINE()) : function(f), line(l) {}
};

void print_create_failure(const at_creator& at, const char* what, int ret, const sql_message& message)
{
    printf("Error->%s(%d)--Create %s failue ,Error code:%d,Reason:%s\n", at.function, at.line, what, ret,
           message.c_str());
}

void form_create(sql_text& sql, const TABLE_DEF& table)
{
    sql.append("create table if not exists %s(%s)", table.name, table.columns);
}

int create_table(const TABLE_DEF& table, at_creator at = at_creator())
{
    sql_text sql;
    form_create(sql, table);
    sql_message message;
    const int ret = sql_exec(table.file, sql, message);
    if (ret != SQLITE_OK) print_create_failure(at, table.what, ret, message);
    return AC_RET_OK; // a failed creation doesn't keep the tables behind it from being made
}

void create_index(const TABLE_DEF& table, const char* name, const char* columns, const char* what,
                  at_creator at = at_creator())
{
    sql_text sql;
    sql.append("create index %s on %s(%s)", name, table.name, columns);
    sql_message message;
    const int ret = sql_exec(table.file, sql, message);
    if (ret != SQLITE_OK) print_create_failure(at, what, ret, message);
}

void alter_table(const TABLE_DEF& table, const char* column, at_creator at = at_creator())
{
    sql_text sql;
    sql.append("alter table %s add column %s", table.name, column);
    sql_message message;
    const int ret = sql_exec(table.file, sql, message);
    if (ret == SQLITE_OK) return;
    printf("Error->%s(%d)--Error code:%d,Reason:%s\n", at.function, at.line, ret, message.c_str());
}

// 255 after the creation line, unless SQLite says that what is to be made is there already.
int run_strictly(const TABLE_DEF& table, const sql_text& sql, at_creator at = at_creator())
{
    sql_message message;
    const int ret = sql_exec(table.file, sql, message);
    if (ret == SQLITE_OK || strstr(message.c_str(), "already exists") != nullptr) return AC_RET_OK;
    print_create_failure(at, table.what, ret, message);
    return AC_RET_ERROR;
}

int alter_strictly(const TABLE_DEF& table, const char* column, at_creator at = at_creator())
{
    sql_text sql;
    sql.append("alter table %s add column %s", table.name, column);
    return run_strictly(table, sql, at);
}

int field_state(const TABLE_DEF& table, const char* field)
{
    return query_field_exist(table.file, field, table.name);
}

} // namespace

int sqlite_create_table_ap_basic()
{
    const int wl_deploy = field_state(g_ap_basic, "wl_deploy_name");
    const int qvlan = field_state(g_ap_basic, "qvlan_name");
    if (wl_deploy == TABLE_MISSING || qvlan == TABLE_MISSING) return create_table(g_ap_basic);
    // One column a start: a file that lacks both has the second after the next start.
    if (wl_deploy == FIELD_MISSING)
        alter_table(g_ap_basic, "wl_deploy_name char(64)");
    else if (qvlan == FIELD_MISSING)
        alter_table(g_ap_basic, "qvlan_name char(64) default ''");
    return AC_RET_OK;
}

int sqlite_create_table_ap_ssid()
{
    const int sta_timeout = field_state(g_ap_ssid, "sta_timeout");
    const int lan0_vlanid = field_state(g_ap_ssid, "lan0_vlanid");
    const int wl_rf_name = field_state(g_ap_ssid, "wl_rf_name");
    if (sta_timeout == TABLE_MISSING || lan0_vlanid == TABLE_MISSING || wl_rf_name == TABLE_MISSING)
        return create_table(g_ap_ssid);
    // Files from before the LAN columns and the policy names get only the last column of each group: lan_num, the three
    // lan<n>_vlanid and wl_basic_name are never added, and the attempt is repeated at each start. Files in the field
    // are in that state, and the loader refuses their rows by the count of columns.
    if (sta_timeout == FIELD_MISSING)
        alter_table(g_ap_ssid, "sta_timeout char(1)");
    else if (lan0_vlanid == FIELD_MISSING)
        alter_table(g_ap_ssid, "qvlan_truck_port interger default '';");
    if (wl_rf_name == FIELD_MISSING) alter_table(g_ap_ssid, "wl_rf_name char(70) default '';");
    return AC_RET_OK;
}

int sqlite_create_table_ap_client()
{
    const int times = field_state(g_ap_client, "times");
    if (times == TABLE_MISSING) {
        create_table(g_ap_client);
        create_index(g_ap_client, "search_index", "cli_mac,login_time", "index");
        return AC_RET_OK;
    }
    if (times != FIELD_MISSING) return times;
    alter_table(g_ap_client, "times int");
    return AC_RET_OK;
}

int sqlite_create_client_time_table()
{
    create_table(g_client_time);
    // Run at each start: from the second on it fails and its line is printed, which harms nothing.
    create_index(g_client_time, "time_index", "cli_mac,login_time,logout_time", "idnex");
    return AC_RET_OK;
}

int sqlite_create_table_ap_product_info()
{
    sql_text sql(512);
    if (!sql.ok()) {
        perror("malloc");
        return AC_RET_ERROR;
    }
    sql.append("create table %s(%s)", g_ap_product_info.name, g_ap_product_info.columns);
    return run_strictly(g_ap_product_info, sql);
}

int sqlite_create_table_password_policy()
{
    const int web_on_off = field_state(g_password, "web_on_off");
    if (web_on_off == TABLE_MISSING) return create_table(g_password);
    if (web_on_off == FIELD_MISSING) return alter_strictly(g_password, "web_on_off interger default ''");
    return AC_RET_OK;
}

int sqlite_create_table_wl_deploy_policy()
{
    const int drivpwr = field_state(g_wl_deploy, "drivpwr");
    if (drivpwr == TABLE_MISSING) {
        sql_text sql;
        form_create(sql, g_wl_deploy);
        return run_strictly(g_wl_deploy, sql);
    }
    if (drivpwr == FIELD_MISSING) return alter_strictly(g_wl_deploy, "drivpwr interger default ''");
    return AC_RET_OK;
}

int sqlite_create_table_wl_policy()
{
    const int sta_timeout = field_state(g_wl, "sta_timeout_24g");
    if (sta_timeout == TABLE_MISSING) return create_table(g_wl);
    if (sta_timeout != FIELD_MISSING) return AC_RET_OK;
    alter_table(g_wl, "sta_timeout_24g int");
    alter_table(g_wl, "sta_timeout_5g int");
    return AC_RET_OK;
}

int sqlite_create_table_alarm_policy()
{
    const int mail_port = field_state(g_alarm, "mailPort");
    if (mail_port == TABLE_MISSING) return create_table(g_alarm);
    if (mail_port != FIELD_MISSING) return AC_RET_OK;
    alter_table(g_alarm, "mailPort interger default 0");
    alter_table(g_alarm, "SSLEnable interger default 0");
    return AC_RET_OK;
}

int sqlite_create_table_portal_ad_put()
{
    const int wechat_enable = field_state(g_ad_put, "wechat_enable");
    if (wechat_enable == TABLE_MISSING) return create_table(g_ad_put);
    if (wechat_enable != FIELD_MISSING) return AC_RET_OK;
    alter_table(g_ad_put, "wechat_enable char default '';");
    alter_table(g_ad_put, "app_id char(32) default '';");
    alter_table(g_ad_put, "shop_id char(16) default '';");
    alter_table(g_ad_put, "secretkey char(64) default '';");
    return AC_RET_OK;
}

// Tables that never changed: made if missing.

int sqlite_create_table_wl_basic_policy()
{
    return create_table(g_wl_basic);
}

int sqlite_create_table_wl_rf_policy()
{
    return create_table(g_wl_radio);
}

int sqlite_create_table_reboot_policy()
{
    return create_table(g_reboot);
}

int sqlite_create_table_qvlan_policy()
{
    return create_table(g_qvlan);
}

int sqlite_create_table_portal_ad_config()
{
    return create_table(g_ad_config);
}

int sqlite_create_table_ad_cn_back_config()
{
    return create_table(g_ad_cn_back);
}

int sqlite_create_table_ad_en_back_config()
{
    return create_table(g_ad_en_back);
}

int sqlite_create_table_portal_ad_limit()
{
    return create_table(g_ad_limit);
}

int sqlite_create_table_portal_ad_ip()
{
    return create_table(g_ad_ip);
}

int sqlite_create_table_portal_ad_phone()
{
    return create_table(g_ad_phone);
}

int sqlite_create_table_portal_ad_mac()
{
    return create_table(g_ad_mac);
}

int sqlite_create_table_portal_ad_web()
{
    return create_table(g_ad_web);
}

int sqlite_create_table_portal_ad_weixin()
{
    return create_table(g_ad_weixin);
}

int sqlite_create_table_portal_ad_access_code()
{
    return create_table(g_ad_access_code);
}

int sqlite_create_table()
{
    static constexpr int (*creators[])() = {
        sqlite_create_table_ap_basic,          sqlite_create_table_ap_ssid,
        sqlite_create_table_wl_policy,         sqlite_create_table_password_policy,
        sqlite_create_table_qvlan_policy,      sqlite_create_table_wl_basic_policy,
        sqlite_create_table_wl_rf_policy,      sqlite_create_table_reboot_policy,
        sqlite_create_table_alarm_policy,      sqlite_create_table_wl_deploy_policy,
        sqlite_create_table_ap_client,         sqlite_create_client_time_table,
        sqlite_create_table_ap_product_info,   sqlite_create_table_portal_ad_config,
        sqlite_create_table_ad_cn_back_config, sqlite_create_table_ad_en_back_config,
        sqlite_create_table_portal_ad_put,     sqlite_create_table_portal_ad_limit,
        sqlite_create_table_portal_ad_ip,      sqlite_create_table_portal_ad_phone,
        sqlite_create_table_portal_ad_mac,     sqlite_create_table_portal_ad_web,
        sqlite_create_table_portal_ad_weixin,  sqlite_create_table_portal_ad_access_code,
    };
    for (const auto create : creators) {
        const int ret = create();
        if (ret != AC_RET_OK) return ret;
    }
    return AC_RET_OK;
}
