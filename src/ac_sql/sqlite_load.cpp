#include "ac_sql/sqlite_load.h"

#include <algorithm>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "ac_sql/sqlite_ap_product.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

int g_ap_ssid_num;
int g_real_ssid_num;

namespace {

enum basic_column {
    BASIC_APMAC,
    BASIC_LEDSTATUS,
    BASIC_IPMODE,
    BASIC_IP,
    BASIC_MASK,
    BASIC_GATEWAY,
    BASIC_HOSTDNS,
    BASIC_DNS,
    BASIC_APNAME,
    BASIC_APNAME_LEN,
    BASIC_VERSION,
    BASIC_VERSION_LEN,
    BASIC_REBOOT_EN,
    BASIC_REBOOT_TYPE,
    BASIC_TIME,
    BASIC_ALARM_SWITCH,
    BASIC_HOSTNUM_LIMIT,
    BASIC_STREAM_LIMIT,
    BASIC_MAIL_ENABLE,
    BASIC_MAIL_NAME,
    BASIC_MAIL_PWD,
    BASIC_MAIL_INTER_TIME,
    BASIC_PC_ENABLE,
    BASIC_PC_IP_ADDR,
    BASIC_REBOOT_NAME,
    BASIC_ALARM_NAME,
    BASIC_APTYPE,
    BASIC_STATUS,
    BASIC_CONFIG_VERSION,
    BASIC_PASS_NAME,
    BASIC_ROUTER_IP,
    BASIC_WL_DEPLOY_NAME,
    BASIC_QVLAN_NAME,
    BASIC_PRODUCT_ID,
    BASIC_PRODUCT_NAME,
    BASIC_COLUMNS,
};
static_assert(BASIC_COLUMNS == AP_BASIC_TABLE_COL_LEN);

enum ssid_column {
    SSID_APMAC,
    SSID_ID,
    SSID_WL_BASIC_SET,
    SSID_CLIENT_NUMBER,
    SSID_VLAN_ID,
    SSID_SSID,
    SSID_SSID_LENGTH,
    SSID_SECURE_MODE,
    SSID_AUTH_TYPE,
    SSID_KEY,
    SSID_KEY_LENGTH,
    SSID_KEY_TIME,
    SSID_RADIO,
    SSID_RF_BASIC_SETTING,
    SSID_EXPAND_CHANNEL,
    SSID_COUNTRY_CODE,
    SSID_NETWORK_MODE,
    SSID_BANDWIDTH,
    SSID_TXPOWER,
    SSID_CHANNEL,
    SSID_EN,
    SSID_RSSI,
    SSID_INTERFACE_MODE,
    SSID_STA_TIMEOUT,
    SSID_LAN_NUM,
    SSID_LAN0_VLANID,
    SSID_LAN1_VLANID,
    SSID_LAN2_VLANID,
    SSID_QVLAN_TRUCK_PORT,
    SSID_WL_BASIC_NAME,
    SSID_WL_RF_NAME,
    SSID_COLUMNS,
};
static_assert(SSID_COLUMNS == AP_WL_SSID_TABLE_COL_LEN);

// A number cut to the width of its field.
template <typename T> void cell_number(const char* cell, T& field)
{
    field = static_cast<T>(sql_cell_int(cell));
}

void cell_ip(const char* cell, UINT8 (&ip)[4])
{
    sql_ip_bytes(sql_cell_int(cell), ip);
}

void cell_text(const char* cell, std::span<UINT8> field)
{
    text_to_field(cell != nullptr ? cell : "", field);
}

// A text whose length stands in a column of its own; no length is taken that the field can't hold.
void cell_text_by_length(const char* text, const char* length_cell, std::span<UINT8> field, UINT8& length)
{
    cell_number(length_cell, length);
    length = static_cast<UINT8>(std::min<std::size_t>(length, field.size()));
    cell_text(text, field);
    std::fill(field.begin() + length, field.end(), UINT8{0});
}

void fill_info_basic(const sql_row& cells, CONFIG_BASIC& basic)
{
    cell_number(cells[BASIC_LEDSTATUS], basic.led_status);
    cell_number(cells[BASIC_IPMODE], basic.ip.mode);
    cell_ip(cells[BASIC_IP], basic.ip.ip);
    cell_ip(cells[BASIC_MASK], basic.ip.mask);
    cell_ip(cells[BASIC_GATEWAY], basic.ip.gateway);
    cell_ip(cells[BASIC_HOSTDNS], basic.ip.hostdns);
    cell_ip(cells[BASIC_DNS], basic.ip.dns);
    cell_text_by_length(cells[BASIC_APNAME], cells[BASIC_APNAME_LEN], basic.apname.ap_name,
                        basic.apname.ap_name_length);
    cell_text_by_length(cells[BASIC_VERSION], cells[BASIC_VERSION_LEN], basic.version.version,
                        basic.version.version_length);
}

void fill_reboot_and_alarm(const sql_row& cells, APCONFIG& node)
{
    cell_number(cells[BASIC_REBOOT_EN], node.info_reboot.reboot_en);
    cell_number(cells[BASIC_REBOOT_TYPE], node.info_reboot.reboot_type);
    cell_number(cells[BASIC_TIME], node.info_reboot.time);
    cell_number(cells[BASIC_ALARM_SWITCH], node.info_alarm.alarm_switch);
    cell_number(cells[BASIC_HOSTNUM_LIMIT], node.info_alarm.hostnum_limit);
    cell_number(cells[BASIC_STREAM_LIMIT], node.info_alarm.stream_limit);
    cell_number(cells[BASIC_MAIL_ENABLE], node.info_event.mailEnable);
    cell_text(cells[BASIC_MAIL_NAME], std::span(node.info_event.mailName).first(AC_NAME_LEN));
    cell_text(cells[BASIC_MAIL_PWD], std::span(node.info_event.mailPwd).first(AC_NAME_LEN));
    cell_number(cells[BASIC_MAIL_INTER_TIME], node.info_event.mailInterTime);
    cell_number(cells[BASIC_PC_ENABLE], node.info_event.pcEnable);
    cell_number(cells[BASIC_PC_IP_ADDR], node.info_event.pcIpAddr);
}

// status, proto_vendor, port and sql_flag stay 0: every loaded AP is offline, and its first write rewrites it whole.
void fill_record(const sql_row& cells, APCONFIG& node)
{
    fill_info_basic(cells, node.info_basic);
    fill_reboot_and_alarm(cells, node);
    cell_text(cells[BASIC_REBOOT_NAME], node.p_reboot_name);
    cell_text(cells[BASIC_ALARM_NAME], node.p_alarm_name);
    cell_number(cells[BASIC_APTYPE], node.ap_type);
    cell_text(cells[BASIC_CONFIG_VERSION], node.AP_config_version);
    cell_text(cells[BASIC_PASS_NAME], node.p_pass_name);
    cell_ip(cells[BASIC_ROUTER_IP], node.ip);
    cell_text(cells[BASIC_WL_DEPLOY_NAME], node.p_wl_deploy_name); // null in rows from before these two columns
    cell_text(cells[BASIC_QVLAN_NAME], node.p_qvlan_name);
    cell_number(cells[BASIC_PRODUCT_ID], node.product_id);
    cell_text(cells[BASIC_PRODUCT_NAME], node.product_name);
}

int load_apconfig_basic_callback(void*, const sql_row& cells)
{
    const int n_column = cells.columns();
    if (n_column != AP_BASIC_TABLE_COL_LEN) {
        AC_ERR("n_column:%d,AP_BASIC_TABLE_COL_LEN:%d\n", n_column, AP_BASIC_TABLE_COL_LEN);
        return AC_RET_ERROR;
    }
    UINT8 ethaddr[AC_MAC_LEN];
    if (ethaddr_aton(cells[BASIC_APMAC], ethaddr) == nullptr) return 0; // no AP can be meant; the other rows can
    if (apconfig_find(ethaddr) != nullptr) (void)apconfig_mib_node_del(ethaddr, 0);
    APCONFIG* node = apconfig_alloc();
    if (node == nullptr) {
        AC_ERR("malloc failed");
        return AC_RET_ERROR;
    }
    memcpy(node->ethaddr, ethaddr, sizeof ethaddr);
    fill_record(cells, *node);
    apconfig_link(node);
    g_ap_ssid_num += get_ssid_len(node->ap_type);
    return 0;
}

void fill_ssid(const sql_row& cells, CONFIG_WL_BASIC& wl)
{
    wl = {};
    WPAPSK_AUTH& auth = wl.wlSecure.wpapsk_secure_mode;
    cell_number(cells[SSID_ID], wl.ssid_id);
    cell_number(cells[SSID_WL_BASIC_SET], wl.wl_basic_set);
    cell_number(cells[SSID_CLIENT_NUMBER], wl.client_number);
    cell_number(cells[SSID_VLAN_ID], wl.vlan_id);
    cell_text_by_length(cells[SSID_SSID], cells[SSID_SSID_LENGTH], wl.ssid.ssid, wl.ssid.ssid_length);
    cell_number(cells[SSID_SECURE_MODE], wl.wlSecure.secure_mode);
    cell_number(cells[SSID_AUTH_TYPE], auth.auth_type);
    cell_text_by_length(cells[SSID_KEY], cells[SSID_KEY_LENGTH], auth.key.key, auth.key.key_length);
    sql_ip_bytes(sql_cell_int(cells[SSID_KEY_TIME]), auth.key_time);
}

// The columns radio and ssid_en are not read: both follow from others.
void fill_radio(const sql_row& cells, CONFIG_WL_RF& rf)
{
    rf = {};
    cell_number(cells[SSID_RF_BASIC_SETTING], rf.RF_basic_setting);
    cell_number(cells[SSID_EXPAND_CHANNEL], rf.expand_channel);
    cell_number(cells[SSID_COUNTRY_CODE], rf.country_code);
    cell_number(cells[SSID_NETWORK_MODE], rf.network_mode);
    cell_number(cells[SSID_BANDWIDTH], rf.bandwidth);
    cell_number(cells[SSID_TXPOWER], rf.TXpower);
    cell_number(cells[SSID_CHANNEL], rf.channel);
    cell_number(cells[SSID_RSSI], rf.rssi);
    cell_number(cells[SSID_INTERFACE_MODE], rf.interface_mode);
    cell_number(cells[SSID_STA_TIMEOUT], rf.sta_timeout);
    cell_number(cells[SSID_LAN_NUM], rf.lan_num);
    cell_number(cells[SSID_LAN0_VLANID], rf.lan0_vlanid);
    cell_number(cells[SSID_LAN1_VLANID], rf.lan1_vlanid);
    cell_number(cells[SSID_LAN2_VLANID], rf.lan2_vlanid);
    cell_text(cells[SSID_QVLAN_TRUCK_PORT], rf.qvlan_truck_port);
}

int list_length(const list_node* head)
{
    int length = 0;
    for (const list_node* node = head->next; node != head; node = node->next)
        length++;
    return length;
}

// Takes a row into its record: the SSID, the radio whose main SSID it is, and the names of the policies.
int take_ssid_row(const sql_row& cells, APCONFIG& ap, int ssid_id) AC_REQUIRES(g_apconfig_mutex)
{
    CONFIG_WL_BASIC_LIST* wl = wlconfig_alloc();
    if (wl == nullptr) {
        AC_ERR("wl basic config malloc error\n");
        return AC_RET_NULL_POINTER;
    }
    fill_ssid(cells, wl->wl_basic);
    list_add(&wl->list, &ap.list_wl);
    g_real_ssid_num++;
    const bool main_ssid = ssid_id == 0 || ssid_id == AC_SSID_5G_FIRST;
    if (main_ssid && list_length(&ap.list_rf) < AC_RADIO_MAX) {
        CONFIG_WL_RF_LIST* rf = rfconfig_alloc();
        if (rf == nullptr) {
            AC_ERR("wl rf config malloc error\n");
            return AC_RET_NULL_POINTER;
        }
        fill_radio(cells, rf->rf);
        list_add(&rf->list, &ap.list_rf);
    }
    cell_text(cells[SSID_WL_BASIC_NAME], ap.p_wl_basic_policy_name[ssid_id]);
    cell_text(cells[SSID_WL_RF_NAME], ap.p_wl_rf_policy_name[ssid_id < AC_SSID_5G_FIRST ? 0 : 1]);
    return 0;
}

int load_apconfig_wl_basic_callback(void*, const sql_row& cells)
{
    const int n_column = cells.columns();
    if (n_column != AP_WL_SSID_TABLE_COL_LEN) {
        AC_ERR("n_column:%d,AP_WL_SSID_TABLE_COL_LEN:%d", n_column, AP_WL_SSID_TABLE_COL_LEN);
        return AC_RET_ERROR;
    }
    UINT8 ethaddr[AC_MAC_LEN] = {};
    const bool good_mac = ethaddr_aton(cells[SSID_APMAC], ethaddr) != nullptr;
    const ac_lock lock(g_apconfig_mutex);
    APCONFIG* ap = good_mac ? apconfig_hnode_find_locked(ethaddr) : nullptr;
    if (ap == nullptr) {
        AC_ERR("load ap rf error\n");
        return AC_RET_NULL_POINTER;
    }
    // Such rows are passed over and the numbers of SSIDs then differ, which the end of the load reports: an ssid_id
    // that doesn't exist isn't counted, a row beyond what an AP can have is.
    const int ssid_id = sql_cell_int(cells[SSID_ID]);
    if (ssid_id < 0 || ssid_id >= AC_SSID_MAX) {
        AC_ERR("ssid_id:%d\n", ssid_id);
        return 0;
    }
    if (list_length(&ap->list_wl) >= AC_SSID_MAX) {
        g_real_ssid_num++;
        return 0;
    }
    return take_ssid_row(cells, *ap, ssid_id);
}

} // namespace

int load_apconfig_basic()
{
    sql_text sql;
    sql.append("select * from %s", AP_BASIC_TABLE);
    sql_message message;
    const int ret = sql_each_row(db, sql, message, load_apconfig_basic_callback, nullptr);
    if (ret != SQLITE_OK) {
        AC_ERR("load apconfig of basic error,Error code:%d,Reason:%s\n", ret, message.c_str());
        return AC_RET_ERROR;
    }
    printf("**********************apnum:%d,%d*************\n\n", static_cast<int>(ac_load(g_acwtp_joined_ap_num)),
           g_ap_ssid_num);
    return AC_RET_OK;
}

int load_apconfig_wl_basic()
{
    sql_text sql;
    sql.append("select * from %s", AP_SSID_TABLE);
    sql_message message;
    const int ret = sql_each_row(db, sql, message, load_apconfig_wl_basic_callback, nullptr);
    if (ret != SQLITE_OK) {
        AC_ERR("load apconfig of wl basic error,Error code:%d,Reason:%s\n", ret, message.c_str());
        return AC_RET_ERROR;
    }
    printf("\n\n*************g_real_ssid_num:%d**************\n\n", g_real_ssid_num);
    return AC_RET_OK;
}

int load_apconfig_from_flash()
{
    g_ap_ssid_num = 0;
    g_real_ssid_num = 0;
    // In this order: a record needs its product row, an SSID its record.
    static constexpr int (*steps[])() = {load_apconfig_ap_product, load_apconfig_basic, load_apconfig_wl_basic};
    for (const auto step : steps) {
        if (step() == AC_RET_OK) continue;
        AC_ERR("");
        return AC_RET_ERROR;
    }
    if (g_ap_ssid_num == g_real_ssid_num) return AC_RET_OK;
    AC_ERR("%d,%d********\n", g_ap_ssid_num, g_real_ssid_num);
    // In spite of the words nothing is cleared: the table stays as loaded.
    AC_ERR("load apconfig err,clear all\n");
    printf("*********************************don't delete it*******");
    return AC_RET_ERROR;
}
