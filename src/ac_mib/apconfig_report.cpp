// The rows of the web interface's lists, filled from the AP table.
#include <algorithm>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig_query.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"

namespace {

bool rf_on(const CONFIG_WL_RF_LIST* rf)
{
    return rf != nullptr && (rf->rf.RF_basic_setting & AC_RF_ON) != 0;
}

bool wl_on(const CONFIG_WL_BASIC& wl)
{
    return (wl.wl_basic_set & AC_WL_ON) != 0;
}

// A text of 32 bytes with its length byte into a zeroed field. The length came from outside, so it is bounded here.
template <std::size_t N> void text_copy(UINT8 (&field)[N], const UINT8 (&text)[32], UINT8 length)
{
    static_assert(N >= 32);
    memcpy(field, text, std::min<std::size_t>(length, 32));
}

void name_copy(UINT8 (&field)[33], const UINT8 (&name)[AC_NAME_LEN])
{
    memcpy(field, name, AC_NAME_LEN);
}

void ssid_copy(UINT8 (&field)[33], const CONFIG_WL_BASIC& wl)
{
    text_copy(field, wl.ssid.ssid, wl.ssid.ssid_length);
}

UINT8 clients_sum(const APCONFIG* node, int first, int end)
{
    UINT32 sum = 0;
    for (int i = first; i < end; i++)
        sum += node->main_ssid_client[i];
    return static_cast<UINT8>(sum);
}

void traversal_identity(APCONFIG* node, AC_WTP_WTP_TABLE& row)
{
    name_copy(row.apName, node->product_name);
    text_copy(row.text, node->info_basic.apname.ap_name, node->info_basic.apname.ap_name_length);
    memcpy(&row.ipAddr, node->ip, sizeof row.ipAddr);
    memcpy(row.macAddr, node->ethaddr, AC_MAC_LEN);
    row.clientNum = clients_sum(node, 0, AC_SSID_5G_FIRST);
    text_copy(row.fversion, node->info_basic.version.version, node->info_basic.version.version_length);
    row.currentststus = ac_load(node->status);
    row.ssid_num_24g = get_ssid_num_24g(node->ap_type);
    row.ssid_num_5g = get_ssid_num_5g(node->ap_type);
    row.rf_num = static_cast<UINT8>(get_rf_len(node->ap_type));
}

void traversal_radios(APCONFIG* node, const CONFIG_WL_RF_LIST* radio0, const CONFIG_WL_RF_LIST* radio1,
                      AC_WTP_WTP_TABLE& row)
{
    row.real_channel = radio0->rf.channel;
    row.tx_pwr = radio0->rf.TXpower;
    row.rssi = radio0->rf.rssi;
    row.country_code = radio0->rf.country_code;
    row.bandwidth = radio0->rf.bandwidth;
    row.ssid_status = rf_on(radio0) ? 1 : 0;
    if (radio1 == nullptr) return;
    row.clientNum_5g = clients_sum(node, AC_SSID_5G_FIRST, AC_SSID_MAX);
    row.real_channel_5g = radio1->rf.channel;
    row.tx_pwr_5g = radio1->rf.TXpower;
    row.rssi_5g = radio1->rf.rssi;
    row.precedence_5g = (radio1->rf.RF_basic_setting & AC_RF_G5_PRIORITY) != 0 ? 1 : 0;
    row.ssid_status_5g = rf_on(radio1) ? 1 : 0;
}

void traversal_ssids(APCONFIG* node, AC_WTP_WTP_TABLE& row)
{
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next) {
        const CONFIG_WL_BASIC& wl = apconfig_wl_of(at)->wl_basic;
        if (wl.ssid_id == 0) row.maxNum = wl.client_number;
        if (wl.ssid_id == AC_SSID_5G_FIRST) row.maxNum_5g = wl.client_number;
        if (wl_on(wl) && wl.ssid_id < AC_SSID_MAX) ssid_copy(row.ssid[wl.ssid_id], wl);
    }
}

// false, and nothing written, for an AP without radio 0: it is missing from the list.
bool traversal_fill(APCONFIG* node, AC_WTP_WTP_TABLE& row)
{
    const CONFIG_WL_RF_LIST* radio0 = apconfig_find_rf_node(&node->list_rf, 0);
    if (radio0 == nullptr) return false;
    row = AC_WTP_WTP_TABLE{};
    traversal_identity(node, row);
    traversal_radios(node, radio0, apconfig_find_rf_node(&node->list_rf, 1), row);
    if (!rf_on(radio0)) { // the main SSID is named even while its radio is off
        const CONFIG_WL_BASIC_LIST* main = apconfig_find_wlbasic_node(&node->list_wl, 0);
        if (main != nullptr) ssid_copy(row.ssid[0], main->wl_basic);
    }
    traversal_ssids(node, row);
    return true;
}

void advance_names(const APCONFIG* node, ACWTP_ADVANCE_CONFIG& row)
{
    name_copy(row.reboot_policy, node->p_reboot_name);
    name_copy(row.alarm_policy, node->p_alarm_name);
    name_copy(row.pass_policy, node->p_pass_name);
    name_copy(row.wl_deploy_policy, node->p_wl_deploy_name);
    name_copy(row.qvlan_policy, node->p_qvlan_name);
    name_copy(row.wl_basic_policy, node->p_wl_basic_policy_name[0]);
    name_copy(row.wl_rf_policy, node->p_wl_rf_policy_name[0]);
}

void advance_ssids(APCONFIG* node, ACWTP_ADVANCE_CONFIG& row)
{
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next) {
        const CONFIG_WL_BASIC& wl = apconfig_wl_of(at)->wl_basic;
        if (!wl_on(wl) || wl.ssid_id >= AC_SSID_MAX) continue;
        if (wl.ssid_id < AC_SSID_5G_FIRST)
            ssid_copy(row.ssid[wl.ssid_id], wl);
        else
            ssid_copy(row.ssid_5g[wl.ssid_id - AC_SSID_5G_FIRST], wl);
    }
}

bool advance_fill(APCONFIG* node, ACWTP_ADVANCE_CONFIG& row)
{
    if (apconfig_find_wlbasic_node(&node->list_wl, 0) == nullptr ||
        apconfig_find_rf_node(&node->list_rf, 0) == nullptr) {
        AC_ERR("");
        return false;
    }
    row = ACWTP_ADVANCE_CONFIG{};
    name_copy(row.type, node->product_name);
    text_copy(row.name, node->info_basic.apname.ap_name, node->info_basic.apname.ap_name_length);
    memcpy(row.macAddr, node->ethaddr, AC_MAC_LEN);
    row.ssid_num_24g = get_ssid_num_24g(node->ap_type);
    row.ssid_num_5g = get_ssid_num_5g(node->ap_type);
    row.rf_num = static_cast<UINT8>(get_rf_len(node->ap_type));
    advance_ssids(node, row);
    row.led = node->info_basic.led_status;
    row.status = ac_load(node->status);
    advance_names(node, row);
    return true;
}

// The radio of an SSID, where it is there and on; else null.
const CONFIG_WL_RF_LIST* scan_radio(const CONFIG_WL_BASIC& wl, const CONFIG_WL_RF_LIST* radio0,
                                    const CONFIG_WL_RF_LIST* radio1)
{
    const CONFIG_WL_RF_LIST* radio = wl.ssid_id < AC_SSID_5G_FIRST ? radio0 : radio1;
    return rf_on(radio) ? radio : nullptr;
}

void scan_ssids(APCONFIG* node, const CONFIG_WL_RF_LIST* radio0, const CONFIG_WL_RF_LIST* radio1,
                AC_WTP_Ssid_Cfg_t& row)
{
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next) {
        const CONFIG_WL_BASIC& wl = apconfig_wl_of(at)->wl_basic;
        const CONFIG_WL_RF_LIST* radio = scan_radio(wl, radio0, radio1);
        if (!wl_on(wl) || wl.ssid_id >= AC_SSID_MAX || radio == nullptr) continue;
        UINT8& channel = wl.ssid_id < AC_SSID_5G_FIRST ? row.real_channel : row.real_channel_5g;
        channel = radio->rf.channel;
        row.maxNum[wl.ssid_id] = wl.client_number;
        ssid_copy(row.ssid[wl.ssid_id], wl);
    }
}

// false for an AP that is offline, has no radio 0, or has no radio on.
bool scan_fill(APCONFIG* node, AC_WTP_Ssid_Cfg_t& row)
{
    if (ac_load(node->status) == AP_LINK_DOWN) return false;
    const CONFIG_WL_RF_LIST* radio0 = apconfig_find_rf_node(&node->list_rf, 0);
    const CONFIG_WL_RF_LIST* radio1 = apconfig_find_rf_node(&node->list_rf, 1);
    if (radio0 == nullptr || (!rf_on(radio0) && !rf_on(radio1))) return false;
    row = AC_WTP_Ssid_Cfg_t{};
    scan_ssids(node, radio0, radio1, row);
    memcpy(row.clientNum, node->main_ssid_client, sizeof row.clientNum);
    name_copy(row.apName, node->product_name);
    text_copy(row.text, node->info_basic.apname.ap_name, node->info_basic.apname.ap_name_length);
    memcpy(row.macAddr, node->ethaddr, AC_MAC_LEN);
    return true;
}

// One row per record for which `fill` gives true, no more than fit; the count.
template <typename Row> int rows_fill(std::span<Row> info, bool (*fill)(APCONFIG* node, Row& row))
{
    std::size_t count = 0;
    ac_lock lock(g_apconfig_mutex);
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr && count < info.size();
         node = apconfig_next_locked(node)) {
        if (fill(node, info[count])) count++;
    }
    return static_cast<int>(count);
}

} // namespace

int apconfig_Traversal(std::span<AC_WTP_WTP_TABLE> info, int* len)
{
    if (info.data() == nullptr) {
        AC_ERR("malloc failed\n");
        return AC_RET_ERROR;
    }
    *len = rows_fill<AC_WTP_WTP_TABLE>(info, traversal_fill);
    return *len;
}

int apconfig_advance_obtain(std::span<ACWTP_ADVANCE_CONFIG> info)
{
    if (info.data() == nullptr) {
        AC_ERR("malloc failed\n");
        return AC_RET_ERROR;
    }
    return rows_fill<ACWTP_ADVANCE_CONFIG>(info, advance_fill);
}

int apconfig_ssid_scan_obtain(std::span<AC_WTP_Ssid_Cfg_t> info, int* num)
{
    if (info.data() == nullptr) {
        AC_ERR("malloc failed\n");
        return AC_RET_ERROR;
    }
    *num = rows_fill<AC_WTP_Ssid_Cfg_t>(info, scan_fill);
    return AC_RET_OK;
}
