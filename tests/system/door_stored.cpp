#include "door_stored.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <span>

#include "ac_mib/apconfig.h"

namespace {

struct description {
    std::string text;
    void number(UINT32 value) { text += std::to_string(value) + "|"; }
    void address(const UINT8* ip)
    {
        UINT32 value = 0;
        memcpy(&value, ip, sizeof value);
        number(value);
    }
    void field(std::span<const UINT8> bytes)
    {
        const auto end = std::find(bytes.begin(), bytes.end(), UINT8{0});
        text += to_hex(bytes.data(), static_cast<std::size_t>(end - bytes.begin())) + "|";
    }
};

void describe_basic(description& out, const APCONFIG& node)
{
    const CONFIG_BASIC& basic = node.info_basic;
    out.number(basic.led_status);
    out.number(basic.ip.mode);
    for (const UINT8* ip : {basic.ip.ip, basic.ip.mask, basic.ip.gateway, basic.ip.hostdns, basic.ip.dns})
        out.address(ip);
    out.field(basic.apname.ap_name);
    out.number(basic.apname.ap_name_length);
    out.field(basic.version.version);
    out.number(basic.version.version_length);
    out.number(node.info_reboot.reboot_en);
    out.number(node.info_reboot.reboot_type);
    out.number(node.info_reboot.time);
    out.number(node.info_alarm.alarm_switch);
    out.number(node.info_alarm.hostnum_limit);
    out.number(node.info_alarm.stream_limit);
    out.number(node.info_event.mailEnable);
    out.field(node.info_event.mailName);
    out.field(node.info_event.mailPwd);
    out.number(node.info_event.mailInterTime);
    out.number(node.info_event.pcEnable);
    out.number(node.info_event.pcIpAddr);
    out.field(node.p_reboot_name);
    out.field(node.p_alarm_name);
    out.number(node.ap_type);
    out.field(node.AP_config_version);
    out.field(node.p_pass_name);
    out.address(node.ip);
    out.field(node.p_wl_deploy_name);
    out.field(node.p_qvlan_name);
    out.number(node.product_id);
    out.field(node.product_name);
}

void describe_ssid(description& out, const APCONFIG& node, const CONFIG_WL_BASIC& wl)
{
    const WPAPSK_AUTH& auth = wl.wlSecure.wpapsk_secure_mode;
    out.number(wl.ssid_id);
    out.number(wl.wl_basic_set);
    out.number(wl.client_number);
    out.number(wl.vlan_id);
    out.field(wl.ssid.ssid);
    out.number(wl.ssid.ssid_length);
    out.number(wl.wlSecure.secure_mode);
    out.number(auth.auth_type);
    out.field(auth.key.key);
    out.number(auth.key.key_length);
    out.address(auth.key_time);
    if (wl.ssid_id < AC_SSID_MAX) out.field(node.p_wl_basic_policy_name[wl.ssid_id]);
}

void describe_radio(description& out, const APCONFIG& node, const CONFIG_WL_RF& rf)
{
    for (const UINT8 value : {rf.RF_basic_setting, rf.expand_channel, rf.country_code, rf.network_mode, rf.bandwidth,
                              rf.TXpower, rf.channel, rf.rssi, rf.interface_mode, rf.sta_timeout})
        out.number(value);
    for (const UINT16 value : {rf.lan_num, rf.lan0_vlanid, rf.lan1_vlanid, rf.lan2_vlanid})
        out.number(value);
    out.field(rf.qvlan_truck_port);
    out.field(node.p_wl_rf_policy_name[rf.RF_basic_setting & AC_RF_5G]);
}

} // namespace

std::string describe_stored(const UINT8* mac)
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(mac);
    if (node == nullptr) return "-1";
    description out;
    describe_basic(out, *node);
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next) {
        out.text += ";";
        describe_ssid(out, *node, apconfig_wl_of(at)->wl_basic);
    }
    for (list_node* at = node->list_rf.next; at != &node->list_rf; at = at->next) {
        out.text += ";";
        describe_radio(out, *node, apconfig_rf_of(at)->rf);
    }
    return out.text;
}

std::string to_hex(const UINT8* bytes, std::size_t count)
{
    std::string hex;
    for (std::size_t i = 0; i < count; i++) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02x", bytes[i]);
        hex += digits;
    }
    return hex;
}
