#include "acwtp_msg/set_ap_config.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_query.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/config_ap_type.h"

namespace {

struct msgtype_row {
    UINT8 request;
    UINT16 msg_type;
};

constexpr UINT16 SUB_FROM_TYPE = 0xFFFF; // the item's sub-selector goes on the wire, over message 7

constexpr auto g_msgtype_rows = std::to_array<msgtype_row>({
    {SET_AP_CONFIG_BASIC_REQ, 0x0207},
    {SET_AP_CONFIG_ADVANCE_REQ, SUB_FROM_TYPE},
    {SET_AP_REBOOT_REQ, HALDE_APRestartReq},
    {SET_AP_RESTORE_REQ, HALDE_APRestoreReq},
    {SET_AP_REMARK_REQ, 0x0807},
    {SET_AP_CONFIG_REQ, SUB_FROM_TYPE},
    {SET_AP_CLI_LIMIT, 0x0210},
    {SET_AP_CHANNEL, 0x0110},
    {SET_PASSWORD_NAME, 0x0410},
    {SET_PORTAL_AD_INFO, HALDE_APPortalSetInfoReq},
    {SET_PORTAL_NO_QOS, HALDE_APPortalNoQosReq},
    {SET_PORTAL_AD_INFO_BROADCAST, HALDE_APPortalSetInfoReq},
    {DEL_PORTAL_AD_INFO_BROADCAST, HALDE_APPortalDelPutReq},
    {SET_PORTAL_AD_GLOBAL_INFO_BROADCAST, HALDE_APPortalSetGlobalReq},
    {ADD_PORTAL_AD_PUT, HALDE_APPortalPutReq},
    {MODIFY_PORTAL_AD_PUT, HALDE_APPortalModifyPutReq},
    {DEL_PORTAL_AD_PUT, HALDE_APPortalDelPutReq},
    {SET_PORTAL_AD_GLOBAL_INFO, HALDE_APPortalSetGlobalReq},
    {AP_PORTAL_ENABLE, HALDE_APPortalSetEnableReq},
    {AP_PORTAL_DISABLE, HALDE_APPortalSetDisableReq},
    {SIGNLE_AP_PORTAL_ENABLE, HALDE_APPortalSetEnableReq},
    {SIGNLE_AP_PORTAL_DISENABLE, HALDE_APPortalSetDisableReq},
    {SET_PORTAL_WEIXIN_AUTH, HALDE_APPortalWeiXinReq},
    {SET_WL_DEPLOY_POLICY_NAME, 0x0810},
    {SET_ONLINE_USER_DOWN, HALDE_APSetClientDownReq},
    {SET_AP_CONFIG_WL_BASIC_REQ, 0x0207},
    {SET_AP_CONFIG_WL_RF_REQ, 0x0207},
    {SET_AP_CONFIG_QVLAN_REQ, 0x1010},
});

struct free_frame {
    void operator()(CLOUD_AP_UDP_PKT* frame) const { ac_free(frame); }
};
using frame_ptr = std::unique_ptr<CLOUD_AP_UDP_PKT, free_frame>;

// What stands behind the item's MACs.
std::span<const UINT8> payload_of(const ACWTP_MSG_TABLE* elem, std::size_t macs)
{
    const std::span<const UINT8> bytes(reinterpret_cast<const UINT8*>(elem->msg), elem->length);
    return bytes.subspan(macs * AC_MAC_LEN);
}

bool holds_macs(const ACWTP_MSG_TABLE* elem, std::size_t macs)
{
    return elem->msg != nullptr && elem->length >= macs * AC_MAC_LEN;
}

const UINT8* mac_of(const ACWTP_MSG_TABLE* elem, std::size_t number)
{
    return reinterpret_cast<const UINT8*>(elem->msg) + number * AC_MAC_LEN;
}

// Header and payload with a new sequence number, the AP's own fields still empty. A frame is one datagram: a payload
// that would not fit is refused.
frame_ptr build_frame(const ACWTP_MSG_TABLE* elem, std::span<const UINT8> payload, bool with_crc)
{
    if (payload.size() > AC_FRAME_MAX - AC_FRAME_HEAD) {
        AC_ERR("payload of %zu bytes does not fit a frame\n", payload.size());
        return nullptr;
    }
    frame_ptr frame(static_cast<CLOUD_AP_UDP_PKT*>(ac_calloc(AC_FRAME_HEAD + payload.size())));
    if (frame == nullptr) {
        AC_ERR("malloc failed");
        return nullptr;
    }
    frame->vendor = AC_VENDOR;
    frame->seq_num = get_seq_num();
    frame->pkt_type = AC_PKT_NORMAL;
    frame->msg_length = static_cast<UINT32>(payload.size());
    frame->msg_type = get_configap_msgtype(elem->type);
    if (!payload.empty()) memcpy(frame->msg_data(), payload.data(), payload.size());
    if (with_crc) frame->crc = acwtp_crc(payload);
    return frame;
}

AC_RET send_to(CLOUD_AP_UDP_PKT* frame, const UINT8* mac, const apconfig_target& target)
{
    memcpy(frame->ap_mac, mac, sizeof frame->ap_mac);
    frame->ap_type = target.ap_type;
    frame->ap_proto_type = target.proto_vendor;
    return send_layer3_udp_data(target.ip, target.port, frame);
}

bool reachable_or_print(const UINT8* mac, apconfig_target* target)
{
    if (!apconfig_target_obtain(mac, target)) {
        AC_ERR("this mac is not exited\n");
        return false;
    }
    if (target->status == AP_LINK_DOWN) {
        AC_ERR("this mac's status is linkdown \n");
        return false;
    }
    return true;
}

AC_RET send_to_all(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num)
{
    const frame_ptr frame = build_frame(elem, payload_of(elem, 0), true);
    if (frame == nullptr) return AC_RET_ERROR;
    (void)send_pkt_to_all_ap(frame.get()); // an AP that can't be reached now is sent to again
    *seq_num = frame->seq_num;
    return AC_RET_OK;
}

AC_RET send_to_one(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num)
{
    apconfig_target target;
    if (!reachable_or_print(mac_of(elem, 0), &target)) return AC_RET_ERROR;
    const frame_ptr frame = build_frame(elem, payload_of(elem, 1), false);
    if (frame == nullptr) return AC_RET_ERROR;
    (void)send_to(frame.get(), mac_of(elem, 0), target); // what is lost is sent again
    *seq_num = frame->seq_num;
    return AC_RET_OK;
}

bool send_to_member(CLOUD_AP_UDP_PKT* frame, const UINT8* mac)
{
    apconfig_target target;
    if (!apconfig_target_obtain(mac, &target)) {
        AC_ERR("node null mac=[%02x:%02x:%02x:%02x:%02x:%02x]\n", AC_MAC_ARGS(mac));
        return false;
    }
    if (target.status == AP_LINK_DOWN) {
        AC_ERR("node is timeout mac=[%02x:%02x:%02x:%02x:%02x:%02x]\n", AC_MAC_ARGS(mac));
        return false;
    }
    (void)send_to(frame, mac, target); // what is lost is sent again
    return true;
}

AC_RET send_to_several(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num)
{
    const frame_ptr frame = build_frame(elem, payload_of(elem, elem->ap_num), true);
    if (frame == nullptr) return AC_RET_ERROR;
    int active = 0;
    for (std::size_t i = 0; i < elem->ap_num; i++)
        if (send_to_member(frame.get(), mac_of(elem, i))) active++;
    if (active == 0) {
        AC_ERR("no active mac\n");
        return AC_RET_ERROR;
    }
    *seq_num = frame->seq_num;
    return AC_RET_OK;
}

} // namespace

UINT16 get_configap_msgtype(UINT16 type)
{
    for (const msgtype_row& row : g_msgtype_rows) {
        if (row.request != (type & 0xFF)) continue;
        if (row.msg_type != SUB_FROM_TYPE) return row.msg_type;
        return static_cast<UINT16>((type & 0xFF00) | HALDE_APConfigSettingReq);
    }
    return 0;
}

AC_RET set_ap_config(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num)
{
    if (elem == nullptr || elem->ap_num == 0 || elem->length == 0 ||
        !holds_macs(elem, elem->num_flag != 0 ? 0 : elem->ap_num)) {
        AC_ERR("\n");
        return AC_RET_ERROR;
    }
    if (elem->num_flag != 0) return send_to_all(elem, seq_num);
    return elem->ap_num == 1 ? send_to_one(elem, seq_num) : send_to_several(elem, seq_num);
}

AC_RET send_ap_simple_conf(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num)
{
    if (elem == nullptr || elem->ap_num == 0 || elem->length == 0 || !holds_macs(elem, 1)) {
        AC_ERR("\n");
        return AC_RET_ERROR;
    }
    apconfig_target target;
    if (!reachable_or_print(mac_of(elem, 0), &target)) return AC_RET_ERROR;
    const frame_ptr frame = build_frame(elem, payload_of(elem, 1), true);
    if (frame == nullptr) return AC_RET_ERROR;
    const AC_RET result = send_to(frame.get(), mac_of(elem, 0), target);
    *seq_num = frame->seq_num;
    return result;
}
