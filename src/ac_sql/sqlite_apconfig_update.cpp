#include "ac_sql/sqlite_apconfig_update.h"

#include <algorithm>
#include <cstring>

#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_apbasic.h"
#include "ac_sql/sqlite_apssid.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

namespace {

// Runs a field group's statement; a failure is a line in the name of the routine that calls.
int update_run(const sql_text& sql, const char* function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    sql_message message;
    const int ret = sql_exec(db, sql, message);
    if (ret == SQLITE_OK) return AC_RET_OK;
    printf("Error->%s(%d)--update,Error code:%d,Reason:%s\n", function, line, ret, message.c_str());
    return AC_RET_ERROR;
}

template <typename T> const T& data_as(const void* data)
{
    return *static_cast<const T*>(data);
}

sql_quoted name_as(const void* data)
{
    return sql_quoted(std::span(static_cast<const UINT8*>(data), AC_NAME_LEN));
}

int update_led(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update %s set ledstatus=%d where apmac='%s'", AP_BASIC_TABLE, data_as<UINT8>(data), mac);
    return update_run(sql);
}

int update_status(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update %s set status=%d where apmac='%s'", AP_BASIC_TABLE, data_as<UINT8>(data), mac);
    return update_run(sql);
}

int update_ip(const char* mac, void* data)
{
    const auto& ip = data_as<CONFIG_IP>(data);
    sql_text sql;
    sql.append("update %s set ipmode=%d,ip=%d,\t\tmask=%d,gateway=%d,hostdns=%d,dns=%d where apmac='%s'",
               AP_BASIC_TABLE, ip.mode, sql_ip_number(ip.ip), sql_ip_number(ip.mask), sql_ip_number(ip.gateway),
               sql_ip_number(ip.hostdns), sql_ip_number(ip.dns), mac);
    return update_run(sql);
}

int update_apname(const char* mac, void* data)
{
    const auto& apname = data_as<CONFIG_APNAME>(data);
    const auto length = std::min<UINT8>(apname.ap_name_length, AC_NAME_LEN);
    sql_text sql;
    sql.append("update %s set apname='%s',apname_len=%d where apmac='%s'", AP_BASIC_TABLE,
               sql_quoted(field_by_length(apname.ap_name, length)).c_str(), length, mac);
    return update_run(sql);
}

int update_rf(const char* mac, void* data)
{
    const auto& [rf, name] = data_as<sql_rf_data>(data);
    sql_text sql;
    sql.append("update %s set RF_basic_setting=%d,\t\texpand_channel=%d,country_code=%d,network_mode=%d,"
               "\t\tbandwidth=%d,TXpower=%d,channel='%d',rssi=%d,interface_mode=%d,sta_timeout=%d,"
               "\t\twl_rf_name='%s' where apmac='%s' and radio=%d",
               AP_SSID_TABLE, rf.RF_basic_setting, rf.expand_channel, rf.country_code, rf.network_mode, rf.bandwidth,
               rf.TXpower, rf.channel, rf.rssi, rf.interface_mode, rf.sta_timeout, name_as(name).c_str(), mac,
               rf.RF_basic_setting & AC_RF_5G);
    return update_run(sql);
}

int update_wl_basic(const char* mac, void* data)
{
    const auto& wl = data_as<CONFIG_WL_BASIC>(data);
    const WPAPSK_AUTH& auth = wl.wlSecure.wpapsk_secure_mode;
    const auto ssid_length = std::min<UINT8>(wl.ssid.ssid_length, sizeof wl.ssid.ssid);
    const auto key_length = std::min<UINT8>(auth.key.key_length, sizeof auth.key.key);
    int key_time = 0;
    memcpy(&key_time, auth.key_time, sizeof key_time);
    sql_text sql(512);
    sql.append("update '%s' set wl_basic_set=%d,\t\tclient_number=%d,vlan_id=%d,ssid='%s',"
               "\t\tssid_length=%d,secure_mode=%d,auth_type='%d',"
               "\t\tkey='%s',key_length=%d,key_time=%d,ssid_en=%d where apmac='%s' and ssid_id=%d",
               AP_SSID_TABLE, wl.wl_basic_set, wl.client_number, wl.vlan_id,
               sql_quoted(field_by_length(wl.ssid.ssid, ssid_length)).c_str(), ssid_length, wl.wlSecure.secure_mode,
               auth.auth_type, sql_quoted(field_by_length(auth.key.key, key_length)).c_str(), key_length, key_time,
               wl.wl_basic_set & AC_WL_ON, mac, wl.ssid_id);
    return update_run(sql);
}

int update_reboot(const char* mac, void* data)
{
    const auto& reboot = data_as<CONFIG_SCHED_REBOOT>(data);
    sql_text sql;
    sql.append("update %s set reboot_en=%d,reboot_type=%d,\t\ttime=%hd where apmac='%s'", AP_BASIC_TABLE,
               reboot.reboot_en, reboot.reboot_type, static_cast<short>(reboot.time), mac);
    return update_run(sql);
}

int update_alarm(const char* mac, void* data)
{
    const auto& alarm = data_as<CONFIG_ALARM>(data);
    sql_text sql;
    sql.append("update %s set alarm_switch=%d,hostnum_limit=%d,\t\tstream_limit=%d where apmac='%s'", AP_BASIC_TABLE,
               alarm.alarm_switch, alarm.hostnum_limit, static_cast<int>(alarm.stream_limit), mac);
    return update_run(sql);
}

int update_version(const char* mac, void* data)
{
    const std::span version(static_cast<const UINT8*>(data), sizeof APCONFIG::AP_config_version);
    sql_text sql;
    sql.append("update %s set config_version='%s' where apmac='%s'", AP_BASIC_TABLE, sql_quoted(version).c_str(), mac);
    return update_run(sql);
}

int update_alarm_event(const char* mac, void* data)
{
    const auto& event = data_as<CONFIG_ALARM_EVENT>(data);
    sql_text sql(512);
    sql.append("update %s set mailEnable=%d,mailName='%s',\t\tmailPwd='%s',mailInterTime=%d,pcEnable=%d,pcIpAddr=%d "
               "where apmac='%s'",
               AP_BASIC_TABLE, event.mailEnable, name_as(event.mailName).c_str(), name_as(event.mailPwd).c_str(),
               event.mailInterTime, event.pcEnable, static_cast<int>(event.pcIpAddr), mac);
    return update_run(sql);
}

int update_alarm_policy_name(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update %s set alarm_name='%s' where apmac='%s'", AP_BASIC_TABLE, name_as(data).c_str(), mac);
    return update_run(sql);
}

int update_reboot_policy_name(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update %s set reboot_name='%s' where apmac='%s'", AP_BASIC_TABLE, name_as(data).c_str(), mac);
    return update_run(sql);
}

int update_client_num(const char* mac, void* data)
{
    const auto& wl = data_as<CONFIG_WL_BASIC>(data);
    sql_text sql;
    sql.append("update '%s' set client_number=%d where apmac='%s' and ssid_id=%d", AP_SSID_TABLE, wl.client_number, mac,
               wl.ssid_id);
    return update_run(sql);
}

int update_channel(const char* mac, void* data)
{
    const auto& rf = data_as<CONFIG_WL_RF>(data);
    sql_text sql;
    sql.append("update %s set expand_channel=%d,channel=%d where apmac='%s' and radio=%d", AP_SSID_TABLE,
               rf.expand_channel, rf.channel, mac, rf.RF_basic_setting & AC_RF_5G);
    return update_run(sql);
}

int update_password_name(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update '%s' set pass_name='%s' where apmac='%s'", AP_BASIC_TABLE, name_as(data).c_str(), mac);
    return update_run(sql);
}

int update_qvlan_name(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update '%s' set qvlan_name='%s' where apmac='%s'", AP_BASIC_TABLE, name_as(data).c_str(), mac);
    return update_run(sql);
}

int update_wl_deploy(const char* mac, void* data)
{
    sql_text sql;
    sql.append("update %s set wl_deploy_name='%s' where apmac='%s'", AP_BASIC_TABLE, name_as(data).c_str(), mac);
    return update_run(sql);
}

int add_basic_of(APCONFIG& elem, bool* stands)
{
    return sqlite_add_apbasic(elem.ethaddr, elem.ip, &elem.info_basic, &elem.info_reboot, &elem.info_alarm,
                              &elem.info_event, elem.p_reboot_name, elem.p_alarm_name, elem.ap_type, elem.status,
                              elem.AP_config_version, elem.p_pass_name, elem.p_wl_deploy_name, elem.p_qvlan_name,
                              elem.product_id, elem.product_name, stands);
}

// Not without the AP's own row, whose write may have failed: the next load would stop at the first SSID of an AP that
// it doesn't know, and every AP behind that row would come back without its SSIDs.
int add_ssids_of(APCONFIG& elem, bool basic_stands)
{
    if (!basic_stands) {
        AC_ERR("ap has no row, its ssids are not written\n");
        return AC_RET_ERROR;
    }
    return sqlite_add_apssid(elem.ethaddr, &elem.list_wl, &elem.list_rf, elem.p_wl_basic_policy_name,
                             elem.p_wl_rf_policy_name);
}

int update_wlrf(const char*, void* data)
{
    auto& elem = *static_cast<APCONFIG*>(data);
    return add_ssids_of(elem, query_apbasic_exist(ac_mac_text(elem.ethaddr).c_str()) > 0);
}

int update_advance(const char*, void* data)
{
    return add_basic_of(*static_cast<APCONFIG*>(data), nullptr);
}

// The names of the policies on SSIDs are written with the whole rows; the note is accepted and that is all.
int update_nothing(const char*, void*)
{
    return AC_RET_OK;
}

struct UPDATE_ROW {
    config_sql_type type;
    int (*update)(const char* mac, void* data);
};

constexpr UPDATE_ROW g_update_rows[] = {
    {CONFIG_SQL_LED, update_led},
    {CONFIG_SQL_STATUS, update_status},
    {CONFIG_SQL_IP, update_ip},
    {CONFIG_SQL_APNAME, update_apname},
    {CONFIG_SQL_RF, update_rf},
    {CONFIG_SQL_WL_BASIC, update_wl_basic},
    {CONFIG_SQL_REBOOT, update_reboot},
    {CONFIG_SQL_ALARM, update_alarm},
    {CONFIG_SQL_VERSION, update_version},
    {CONFIG_SQL_ALARM_EVENT, update_alarm_event},
    {CONFIG_SQL_ALARM_NAME, update_alarm_policy_name},
    {CONFIG_SQL_REBOOT_NAME, update_reboot_policy_name},
    {CONFIG_SQL_WLRF, update_wlrf},
    {CONFIG_SQL_ADVANCE, update_advance},
    {CONFIG_SQL_CLI_LIMIT, update_client_num},
    {CONFIG_SQL_CHANNEL, update_channel},
    {CONFIG_SQL_WL_POLICY_NAME, update_nothing},
    {CONFIG_SQL_PASSWORD_NAME, update_password_name},
    {CONFIG_SQL_QVLAN_NAME, update_qvlan_name},
    {CONFIG_SQL_WL_DEPLOY_NAME, update_wl_deploy},
};

// SQLite takes an expression of at most 1000 nested terms; each MAC of a delete is one.
constexpr int DELETE_TERMS_MAX = 900;
constexpr std::size_t DELETE_TERM_LEN = 64; // bytes of statement a MAC may take

int delete_macs(const char* table, std::span<const UINT8> macs)
{
    const std::size_t num = macs.size() / AC_MAC_LEN;
    sql_text sql((num + 1) * DELETE_TERM_LEN);
    if (!sql.ok()) {
        perror("malloc");
        return AC_RET_ERROR;
    }
    sql.append("delete from %s where ", table);
    for (std::size_t i = 0; i < num; i++) {
        const ac_mac_text mac(macs.subspan(i * AC_MAC_LEN, AC_MAC_LEN).data());
        sql.append("%sapmac='%s'", i == 0 ? "" : " or ", mac.c_str());
    }
    sql_message message;
    const int ret = sql_exec(db, sql, message);
    if (ret == SQLITE_OK) return AC_RET_OK;
    AC_ERR("delete error,ret=%d,errmsg=%s\n", ret, message.c_str());
    return AC_RET_ERROR;
}

} // namespace

int sqlite_apconfig_add(APCONFIG* elem)
{
    bool stands = false;
    (void)add_basic_of(*elem, &stands); // each has printed what went wrong; a later note or the next join writes again
    (void)add_ssids_of(*elem, stands);
    return AC_RET_OK;
}

int sqlite_apconfig_del(const UINT8* ethaddr)
{
    const int ssid = sql_delete_of_mac(AP_SSID_TABLE, ethaddr, "sqlite_apwlbasic_del");
    // SSIDs that a lock or a broken disk has kept keep their AP's row too: without it they would end the next load.
    if (ssid != SQLITE_OK && ssid != SQLITE_ERROR) return AC_RET_ERROR;
    const int basic = sqlite_apbasic_del(ethaddr);
    return ssid == SQLITE_OK ? basic : AC_RET_ERROR;
}

int sqlite_apconfig_update(int type, const UINT8* ethaddr, void* data)
{
    for (const UPDATE_ROW& row : g_update_rows) {
        if (row.type != type || data == nullptr) continue;
        return row.update(ac_mac_text(ethaddr).c_str(), data);
    }
    AC_ERR("type=%d\n", type);
    return AC_RET_ERROR;
}

int sqlite_del_apconfig_multi(const char* table, int num, const UINT8* data)
{
    if (data == nullptr || num <= 0) return AC_RET_ERROR;
    std::span<const UINT8> macs(data, static_cast<std::size_t>(num) * AC_MAC_LEN);
    int result = AC_RET_OK;
    while (!macs.empty()) {
        const std::size_t take = std::min(macs.size(), DELETE_TERMS_MAX * AC_MAC_LEN);
        if (delete_macs(table, macs.first(take)) != AC_RET_OK) result = AC_RET_ERROR;
        macs = macs.subspan(take);
    }
    return result;
}

int sqlite_drop_ap_client()
{
    sql_text sql;
    sql.append("delete from %s", AP_CLIENT_TABLE);
    sql_message message;
    const int ret = sql_exec(db, sql, message);
    if (ret == SQLITE_OK) return AC_RET_OK;
    AC_ERR("delete error,Error code:%d,Reason:%s\n", ret, message.c_str());
    return AC_RET_ERROR;
}
