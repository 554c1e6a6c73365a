#include "ac_sql/sqlite_apssid.h"

#include <algorithm>
#include <cstring>

#include "ac_sql/sqlite_apbasic.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

namespace {

constexpr std::size_t APSSID_STATEMENT = 3328; // holds the usual AP; a statement of long, quote-ridden texts grows

// What is the same in all rows of an AP.
struct ap_rows {
    ac_mac_text mac;
    CONFIG_WL_RF rf[AC_RADIO_MAX];
    sql_quoted rf_name[AC_RADIO_MAX];
};

struct ssid_row {
    const CONFIG_WL_BASIC& wl;
    const CONFIG_WL_RF& rf;
    int radio;
    int key_time;
    sql_quoted ssid;
    sql_quoted key;
    sql_quoted truck_port;
    sql_quoted basic_name;
    const sql_quoted& rf_name;
};

// A radio that the AP lacks stays zero.
void collect_radios(const list_node* list_rf, ap_rows& ap)
{
    for (list_node* node = list_rf->next; node != list_rf; node = node->next) {
        const CONFIG_WL_RF& rf = apconfig_rf_of(node)->rf;
        ap.rf[rf.RF_basic_setting & AC_RF_5G] = rf;
    }
}

void clamp_lengths(CONFIG_WL_BASIC& wl)
{
    CONFIG_KEY& key = wl.wlSecure.wpapsk_secure_mode.key;
    key.key_length = std::min<UINT8>(key.key_length, sizeof key.key);
    wl.ssid.ssid_length = std::min<UINT8>(wl.ssid.ssid_length, sizeof wl.ssid.ssid);
}

ssid_row row_of(const ap_rows& ap, CONFIG_WL_BASIC& wl, const UINT8 (&basic_name)[AC_NAME_LEN])
{
    clamp_lengths(wl);
    const WPAPSK_AUTH& auth = wl.wlSecure.wpapsk_secure_mode;
    const int radio = wl.ssid_id < AC_SSID_5G_FIRST ? 0 : 1;
    int key_time = 0;
    memcpy(&key_time, auth.key_time, sizeof key_time);
    return {wl,
            ap.rf[radio],
            radio,
            key_time,
            sql_quoted(field_by_length(wl.ssid.ssid, wl.ssid.ssid_length)),
            sql_quoted(field_by_length(auth.key.key, auth.key.key_length)),
            sql_quoted(ap.rf[radio].qvlan_truck_port),
            sql_quoted(basic_name),
            ap.rf_name[radio]};
}

void form_update(sql_text& sql, const ap_rows& ap, const ssid_row& row)
{
    const CONFIG_WL_BASIC& wl = row.wl;
    const CONFIG_WL_RF& rf = row.rf;
    sql.append("update %s set ", AP_SSID_TABLE);
    sql.append(
        "wl_basic_set=%d,client_number=%d,vlan_id=%hd \t\t\t\t\t,ssid='%s',ssid_length=%d,secure_mode=%d,auth_type=%d,"
        "key='%s',key_length=%d \t\t\t\t\t,key_time=%d,",
        wl.wl_basic_set, wl.client_number, static_cast<short>(wl.vlan_id), row.ssid.c_str(), wl.ssid.ssid_length,
        wl.wlSecure.secure_mode, wl.wlSecure.wpapsk_secure_mode.auth_type, row.key.c_str(),
        wl.wlSecure.wpapsk_secure_mode.key.key_length, row.key_time);
    sql.append(
        "radio=%d,RF_basic_setting=%d,expand_channel=%d,country_code=%d\t\t,network_mode=%d,bandwidth=%d,TXpower=%d,"
        "channel=%d",
        row.radio, rf.RF_basic_setting, rf.expand_channel, rf.country_code, rf.network_mode, rf.bandwidth, rf.TXpower,
        rf.channel);
    sql.append(
        ",ssid_en=%d,rssi=%d,interface_mode=%d,sta_timeout=%d \t\t\t\t\t,lan_num=%d,lan0_vlanid=%d,lan1_vlanid=%d,"
        "lan2_vlanid=%d,qvlan_truck_port='%s' \t\t\t\t\t,wl_basic_name='%s',wl_rf_name='%s' where apmac='%s' and "
        "ssid_id=%d",
        wl.wl_basic_set & AC_WL_ON, rf.rssi, rf.interface_mode, rf.sta_timeout, rf.lan_num, rf.lan0_vlanid,
        rf.lan1_vlanid, rf.lan2_vlanid, row.truck_port.c_str(), row.basic_name.c_str(), row.rf_name.c_str(),
        ap.mac.c_str(), wl.ssid_id);
}

void form_values(sql_text& sql, const ap_rows& ap, const ssid_row& row)
{
    const CONFIG_WL_BASIC& wl = row.wl;
    const CONFIG_WL_RF& rf = row.rf;
    sql.append("('%s',%d,%d,%d,%hd,'%s',%d,%d,%d,'%s',%d,%d,", ap.mac.c_str(), wl.ssid_id, wl.wl_basic_set,
               wl.client_number, static_cast<short>(wl.vlan_id), row.ssid.c_str(), wl.ssid.ssid_length,
               wl.wlSecure.secure_mode, wl.wlSecure.wpapsk_secure_mode.auth_type, row.key.c_str(),
               wl.wlSecure.wpapsk_secure_mode.key.key_length, row.key_time);
    sql.append("%d,%d,%d,%d,%d,%d,%d,%d", row.radio, rf.RF_basic_setting, rf.expand_channel, rf.country_code,
               rf.network_mode, rf.bandwidth, rf.TXpower, rf.channel);
    sql.append(",%d,%d,%d,%d,%d,%d,%d,%d,'%s','%s','%s')", wl.wl_basic_set & AC_WL_ON, rf.rssi, rf.interface_mode,
               rf.sta_timeout, rf.lan_num, rf.lan0_vlanid, rf.lan1_vlanid, rf.lan2_vlanid, row.truck_port.c_str(),
               row.basic_name.c_str(), row.rf_name.c_str());
}

// The SSIDs in list order; a row's policy name goes by this place.
struct ssid_places {
    CONFIG_WL_BASIC* wl[AC_SSID_MAX];
    std::size_t num;
};

ssid_places places_of(list_node* list_wl)
{
    ssid_places places = {};
    for (list_node* node = list_wl->next; node != list_wl && places.num < AC_SSID_MAX; node = node->next)
        places.wl[places.num++] = &apconfig_wl_of(node)->wl_basic;
    return places;
}

void update_rows(const ap_rows& ap, const ssid_places& places, const UINT8 (*p_name)[AC_NAME_LEN], sql_text& sql)
{
    for (std::size_t i = 0; i < places.num; i++) {
        sql.clear();
        form_update(sql, ap, row_of(ap, *places.wl[i], p_name[i]));
        sql_message message;
        const int ret = sql_exec(db, sql, message);
        if (ret != SQLITE_OK) AC_ERR("update error,ret=%d,errmsg=%s\n", ret, message.c_str());
    }
}

int insert_rows(const ap_rows& ap, const ssid_places& places, const UINT8 (*p_name)[AC_NAME_LEN], sql_text& sql)
{
    sql.append("insert into %s values ", AP_SSID_TABLE);
    for (std::size_t i = 0; i < places.num; i++) {
        if (i != 0) sql.append(",");
        form_values(sql, ap, row_of(ap, *places.wl[i], p_name[i]));
    }
    sql_message message;
    const int ret = sql_exec(db, sql, message);
    if (ret == SQLITE_OK) return AC_RET_OK;
    AC_ERR("insert error,ret=%d,errmsg=%s\n", ret, message.c_str());
    return AC_RET_ERROR;
}

// A count that failed for want of a table counts as none. After any other failure, a lock for one, the rows may well be
// there, and an insert that succeeds by now would double them.
bool count_may_be_wrong(int ret)
{
    return ret != SQLITE_OK && ret != SQLITE_ERROR;
}

} // namespace

int query_apssid_exist(const char* eth_str)
{
    int rows = 0;
    (void)sql_count_of_mac(AP_SSID_TABLE, eth_str, rows); // it has printed its line
    return rows;
}

int sqlite_apwlbasic_del(const UINT8* ethaddr)
{
    return sql_delete_of_mac(AP_SSID_TABLE, ethaddr) == SQLITE_OK ? AC_RET_OK : AC_RET_ERROR;
}

int sqlite_add_apssid(const UINT8* ethaddr, list_node* list_wl, list_node* list_rf, const UINT8 (*p_name)[AC_NAME_LEN],
                      const UINT8 (*p_rf_name)[AC_NAME_LEN])
{
    sql_text sql(APSSID_STATEMENT);
    if (!sql.ok()) {
        perror("malloc");
        return AC_RET_ERROR;
    }
    ap_rows ap = {ac_mac_text(ethaddr), {}, {sql_quoted(p_rf_name[0]), sql_quoted(p_rf_name[1])}};
    collect_radios(list_rf, ap);
    const ssid_places places = places_of(list_wl);
    int rows = 0;
    const int counted = sql_count_of_mac(AP_SSID_TABLE, ap.mac.c_str(), rows, "query_apssid_exist");
    if (count_may_be_wrong(counted)) {
        AC_ERR("insert error,ret=%d,errmsg=%s\n", counted, sqlite3_errstr(counted));
        return AC_RET_ERROR;
    }
    if (rows == 0) return insert_rows(ap, places, p_name, sql);
    update_rows(ap, places, p_name, sql);
    return AC_RET_OK;
}
