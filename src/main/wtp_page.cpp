#include "main/wtp_page.h"

#include <algorithm>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "common/ac_err.h"
#include "common/ac_wire.h"
#include "common/config_ap_type.h"
#include "main/acmsg_handle_socket.h"
#include "main/wtp_work.h"

namespace {

constexpr std::size_t PAGE_BUFFER = 1536;
constexpr UINT16 SET_RADIO = SET_AP_CONFIG_REQ | 0x2000;
constexpr std::size_t RADIO_POLICY_PART = 16 + AC_NAME_LEN; // marker and policy name behind an image; zero: no policy

UINT8 bit_of(UINT8 setting, UINT8 bit)
{
    return (setting & bit) != 0 ? 1 : 0;
}

UINT8 bit_set(UINT8 setting, UINT8 bit, UINT8 on)
{
    return static_cast<UINT8>(on != 0 ? setting | bit : setting & ~bit);
}

void page_address(const CONFIG_IP& ip, AC_WTP_Cfg_Block_t& page)
{
    page.ip_acq_mode = ip.mode;
    memcpy(&page.ipAddr, ip.ip, sizeof page.ipAddr);
    memcpy(&page.ip_mask, ip.mask, sizeof page.ip_mask);
    memcpy(&page.gateway, ip.gateway, sizeof page.gateway);
    memcpy(&page.dns1, ip.hostdns, sizeof page.dns1);
    memcpy(&page.dns2, ip.dns, sizeof page.dns2);
}

void page_radio(APCONFIG* node, int radio, AC_WTP_Cfg_Block_t& page)
{
    const CONFIG_WL_RF_LIST* found = apconfig_find_rf_node(&node->list_rf, static_cast<UINT8>(radio));
    if (found != nullptr) put_rf_data(radio, &page.rf, &found->rf);
}

// false for an unknown AP.
bool page_fill(const UINT8* mac, AC_WTP_Cfg_Block_t& page)
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(mac);
    if (node == nullptr) return false;
    page_address(node->info_basic.ip, page);
    page_radio(node, 0, page);
    if (get_rf_len(node->ap_type) == AC_RADIO_MAX) page_radio(node, 1, page);
    return true;
}

// The radios that a page changes, as images one behind the other.
struct radio_changes {
    UINT8 count = 0;
    CONFIG_WL_RF_V1 image[AC_RADIO_MAX] = {};
};

radio_changes changes_find(const CONFIG_WL_RF_V1 (&present)[AC_RADIO_MAX], int radios, const WIFI_RF_CFG_PARAM& page)
{
    radio_changes changes;
    for (int radio = 0; radio < std::min(radios, AC_RADIO_MAX); radio++) {
        CONFIG_WL_RF_V1 wanted = present[radio];
        put_cgi_rf(radio, &wanted, &page);
        if (memcmp(&wanted, &present[radio], sizeof wanted) != 0) changes.image[changes.count++] = wanted;
    }
    return changes;
}

AC_RET changes_send(const wtp_targets& ap, const radio_changes& changes)
{
    UINT8 payload[1 + sizeof changes.image];
    wire_writer out{payload};
    wire_put(out, changes.count);
    wire_put_bytes(out, changes.image, changes.count * sizeof changes.image[0]);
    return wtp_item_queue(SET_RADIO, ap, std::span(payload).first(sizeof payload - out.left.size()));
}

void changes_apply(const wtp_targets& ap, const radio_changes& changes)
{
    for (UINT8 i = 0; i < changes.count; i++) {
        UINT8 block[sizeof changes.image[i] + RADIO_POLICY_PART] = {};
        memcpy(block, &changes.image[i], sizeof changes.image[i]);
        wtp_update_each(ap, SET_RADIO, block);
    }
}

} // namespace

void put_cgi_rf(int radio, CONFIG_WL_RF_V1* rf, const WIFI_RF_CFG_PARAM* cgi_rf)
{
    UINT8 setting = bit_set(rf->RF_basic_setting, AC_RF_5G, radio != 0 ? 1 : 0);
    setting = bit_set(setting, AC_RF_ON, cgi_rf->wlEn[radio]);
    setting = bit_set(setting, AC_RF_WMM, cgi_rf->wmm[radio]);
    setting = bit_set(setting, AC_RF_APSD, cgi_rf->apsd[radio]);
    setting = bit_set(setting, AC_RF_SSID_ISOLATION, cgi_rf->ssid_isolation[radio]);
    setting = bit_set(setting, AC_RF_G5_PRIORITY, cgi_rf->g5_priority[radio]);
    rf->RF_basic_setting = setting;
    rf->expand_channel = cgi_rf->extend_channel[radio];
    rf->country_code = cgi_rf->country[radio];
    rf->network_mode = cgi_rf->netmode[radio];
    rf->bandwidth = cgi_rf->bandwidth[radio];
    rf->TXpower = cgi_rf->tx_pwr[radio];
    rf->channel = cgi_rf->channel[radio];
    rf->rssi = cgi_rf->rssi[radio];
    rf->interface_mode = cgi_rf->interface_mode[radio];
    rf->sta_timeout = cgi_rf->sta_timeout[radio];
}

void put_rf_data(int radio, WIFI_RF_CFG_PARAM* rf_out, const CONFIG_WL_RF* rf_in)
{
    const UINT8 setting = rf_in->RF_basic_setting;
    rf_out->wlEn[radio] = bit_of(setting, AC_RF_ON);
    rf_out->wmm[radio] = bit_of(setting, AC_RF_WMM);
    rf_out->apsd[radio] = bit_of(setting, AC_RF_APSD);
    rf_out->ssid_isolation[radio] = bit_of(setting, AC_RF_SSID_ISOLATION);
    rf_out->g5_priority[radio] = bit_of(setting, AC_RF_G5_PRIORITY);
    rf_out->extend_channel[radio] = rf_in->expand_channel;
    rf_out->country[radio] = rf_in->country_code;
    rf_out->netmode[radio] = rf_in->network_mode;
    rf_out->bandwidth[radio] = rf_in->bandwidth;
    rf_out->tx_pwr[radio] = rf_in->TXpower;
    rf_out->channel[radio] = rf_in->channel;
    rf_out->rssi[radio] = rf_in->rssi;
    rf_out->interface_mode[radio] = rf_in->interface_mode;
    rf_out->sta_timeout[radio] = rf_in->sta_timeout;
}

UINT32 compare_each_rf_member(const CONFIG_WL_RF_V1* rf, const CONFIG_WL_RF_V1* compared)
{
    UINT32 differs = 0;
    if (rf->RF_basic_setting != compared->RF_basic_setting) differs |= RF_DIFFERS_BASIC_SETTING;
    if (rf->expand_channel != compared->expand_channel) differs |= RF_DIFFERS_EXPAND_CHANNEL;
    if (rf->country_code != compared->country_code) differs |= RF_DIFFERS_COUNTRY_CODE;
    if (rf->network_mode != compared->network_mode) differs |= RF_DIFFERS_NETWORK_MODE;
    if (rf->bandwidth != compared->bandwidth) differs |= RF_DIFFERS_BANDWIDTH;
    if (rf->TXpower != compared->TXpower) differs |= RF_DIFFERS_TXPOWER;
    if (rf->channel != compared->channel) differs |= RF_DIFFERS_CHANNEL;
    return differs;
}

void change_value_of_rf(UINT32 rf_bit_flag, CONFIG_WL_RF_V1* rf, const CONFIG_WL_RF_V1* rf_bak)
{
    if ((rf_bit_flag & RF_DIFFERS_BASIC_SETTING) != 0)
        rf->RF_basic_setting = bit_set(rf->RF_basic_setting, AC_RF_ON, bit_of(rf_bak->RF_basic_setting, AC_RF_ON));
    if ((rf_bit_flag & RF_DIFFERS_EXPAND_CHANNEL) != 0) rf->expand_channel = rf_bak->expand_channel;
    if ((rf_bit_flag & RF_DIFFERS_COUNTRY_CODE) != 0) rf->country_code = rf_bak->country_code;
    if ((rf_bit_flag & RF_DIFFERS_NETWORK_MODE) != 0) rf->network_mode = rf_bak->network_mode;
    if ((rf_bit_flag & RF_DIFFERS_BANDWIDTH) != 0) rf->bandwidth = rf_bak->bandwidth;
    if ((rf_bit_flag & RF_DIFFERS_TXPOWER) != 0) rf->TXpower = rf_bak->TXpower;
    if ((rf_bit_flag & RF_DIFFERS_CHANNEL) != 0) rf->channel = rf_bak->channel;
}

int compare_ip(const AC_WTP_Cfg_Block_t* pCfg, const CONFIG_IP* compared, CONFIG_IP* revalue)
{
    CONFIG_IP ip = {};
    ip.mode = pCfg->ip_acq_mode;
    memcpy(ip.ip, &pCfg->ipAddr, sizeof ip.ip);
    memcpy(ip.mask, &pCfg->ip_mask, sizeof ip.mask);
    memcpy(ip.gateway, &pCfg->gateway, sizeof ip.gateway);
    memcpy(ip.hostdns, &pCfg->dns1, sizeof ip.hostdns);
    memcpy(ip.dns, &pCfg->dns2, sizeof ip.dns);
    if (memcmp(&ip, compared, sizeof ip) == 0) return 1;
    *revalue = ip;
    return 0;
}

int get_wtp_config_only(const AC_MSG_PKT* rev, std::span<UINT8> buf, int* len)
{
    if (rev == nullptr) return AC_RET_ERROR;
    wtp_targets ap;
    AC_WTP_Cfg_Block_t page = {};
    if (buf.size() < sizeof page || !wtp_target_take(rev, ap) || !page_fill(ap.macs.data(), page)) {
        AC_ERR("\n");
        return AC_RET_ERROR;
    }
    memcpy(buf.data(), &page, sizeof page);
    *len = sizeof page;
    return AC_RET_OK;
}

int get_wtp_config(int fd, const AC_MSG_PKT* rev)
{
    UINT8 buf[PAGE_BUFFER] = {};
    int len = 0;
    const int result = get_wtp_config_only(rev, buf, &len); // an unknown AP is answered too, with nothing
    const AC_RET sent = send_msg_to_cgi(fd, GET_AP_CONFIG_REQ, buf, static_cast<std::size_t>(len));
    return result != AC_RET_OK ? result : sent;
}

int set_wtp_config(const AC_MSG_PKT* rev)
{
    wtp_targets ap;
    if (rev == nullptr || rev->ap_num != 1 || !wtp_target_take(rev, ap)) return AC_RET_ERROR;
    CONFIG_WL_RF_V1 present[AC_RADIO_MAX] = {};
    const int radios = obtain_apconfig_all_rf_v1(ap.macs.data(), present);
    if (radios == 0) return AC_RET_ERROR;
    bool whole = true;
    const auto page = wire_at<WIFI_RF_CFG_PARAM>(ap.rest, offsetof(AC_WTP_Cfg_Block_t, rf), whole);
    if (!whole) {
        AC_ERR("page cut short, len:%zu\n", ap.rest.size());
        return AC_RET_ERROR;
    }
    const radio_changes changes = changes_find(present, radios, page);
    if (changes.count == 0) {
        AC_ERR("nothing changed\n");
        return AC_RET_ERROR;
    }
    const AC_RET queued = changes_send(ap, changes); // printed there; the table leads all the same
    changes_apply(ap, changes);
    return queued;
}
