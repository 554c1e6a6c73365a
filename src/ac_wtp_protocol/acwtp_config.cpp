#include "ac_wtp_protocol/acwtp_config.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_intake.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_wire.h"
#include "common/config_ap_type.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"

static const char TIME_ZONE_FILE[] = "/etc/time_zone";
static constexpr UINT32 REPLY_FIXED = 112; // counted payload besides the radio and SSID records

int config_parse_report(const UINT8* ap_mac, const AC_UDP_SKB_INFO* frame)
{
    const CLOUD_AP_UDP_PKT* pkt = frame->udp_pkt();
    switch (pkt->ap_proto_type) {
    case AC_LAYOUT_V1:
        return apconfig_mib_add(ap_mac, frame->ipaddr, frame->port, pkt->ap_type, frame->payload());
    case AC_LAYOUT_V2:
        return apconfig_mib_add_v2(ap_mac, frame->ipaddr, frame->port, pkt->ap_type, frame->payload());
    default:
        AC_ERR("proto_type:%02x", pkt->ap_proto_type);
        return AC_RET_ERROR;
    }
}

static void put_radios(wire_writer& out, const APCONFIG* node, int radios, std::size_t record_size)
{
    int written = 0;
    for (list_node* link = node->list_rf.next; link != &node->list_rf && written < radios; link = link->next) {
        wire_put_bytes(out, &list_entry(link, CONFIG_WL_RF_LIST, list)->rf, record_size);
        written++;
    }
    wire_pad(out, static_cast<std::size_t>(radios - written) * record_size);
}

static void put_ssids(wire_writer& out, const APCONFIG* node, int ssids)
{
    int written = 0;
    for (list_node* link = node->list_wl.next; link != &node->list_wl && written < ssids; link = link->next) {
        wire_put(out, list_entry(link, CONFIG_WL_BASIC_LIST, list)->wl_basic);
        written++;
    }
}

// The whole stored configuration of an AP as its report's layout has it, behind the reply's header.
static AC_RET put_full_configuration(CLOUD_AP_UDP_PKT* send_msg, const UINT8* ap_mac, std::size_t radio_size)
{
    if (ap_mac == nullptr) {
        AC_ERR("ap_mac is NULL.\n");
        return AC_RET_ERROR;
    }
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(ap_mac);
    if (node == nullptr) {
        AC_ERR("node is null pointer\n");
        return AC_RET_ERROR;
    }
    const int radios = get_rf_len(node->ap_type);
    const int ssids = get_ssid_len(node->ap_type);
    if (radios <= 0 || radios > AC_RADIO_MAX || ssids <= 0 || ssids > AC_SSID_MAX) return AC_RET_ERROR;

    wire_writer out{{send_msg->msg_data(), AC_CONFIG_REPLY_MAX - AC_FRAME_HEAD}};
    wire_put(out, node->AP_config_version);
    wire_put(out, node->info_basic);
    wire_put(out, node->info_reboot);
    wire_pad(out, 2);
    wire_put(out, node->info_alarm);
    put_radios(out, node, radios, radio_size);
    put_ssids(out, node, ssids);
    send_msg->msg_length = REPLY_FIXED + static_cast<UINT32>(radio_size) * static_cast<UINT32>(radios) +
                           static_cast<UINT32>(sizeof(CONFIG_WL_BASIC)) * static_cast<UINT32>(ssids);
    return AC_RET_OK;
}

static AC_RET assem_config_resp(CLOUD_AP_UDP_PKT* send_msg, int flag, const UINT8* ap_mac, std::size_t radio_size)
{
    send_msg->msg_type = HALDE_APConfigUpdateResp;
    if (flag == AC_RET_CONFIG_TIME_OUT) return put_full_configuration(send_msg, ap_mac, radio_size);
    const bool accepted = flag == AC_RET_OK;
    send_msg->msg_data()[0] = accepted ? 0 : 1;
    send_msg->msg_length = 1;
    return accepted ? AC_RET_OK : AC_RET_CONFIG_ERROR;
}

AC_RET assem_config_resp_pkt_v1(CLOUD_AP_UDP_PKT* send_msg, int flag, const UINT8* ap_mac)
{
    return assem_config_resp(send_msg, flag, ap_mac, sizeof(CONFIG_WL_RF_V1));
}

AC_RET assem_config_resp_pkt_v2(CLOUD_AP_UDP_PKT* send_msg, int flag, const UINT8* ap_mac)
{
    return assem_config_resp(send_msg, flag, ap_mac, sizeof(CONFIG_WL_RF));
}

AC_RET manage_config_req_handle(const CLOUD_AP_UDP_PKT* recv_msg, const UINT8* ip, UINT16 port, int flag,
                                const UINT8* ap_mac)
{
    if (recv_msg == nullptr) {
        AC_ERR("recv_msg packet is error.\n");
        return AC_RET_ERROR;
    }
    if (recv_msg->msg_type != HALDE_APConfigUpdateReq) {
        AC_ERR("It's not config request packet.\n");
        return AC_RET_ERROR;
    }
    alignas(CLOUD_AP_UDP_PKT) UINT8 buffer[AC_CONFIG_REPLY_MAX] = {};
    auto* reply = reinterpret_cast<CLOUD_AP_UDP_PKT*>(buffer);
    memcpy(reply->ap_mac, ap_mac, sizeof reply->ap_mac);
    reply->ap_proto_type = recv_msg->ap_proto_type;
    reply->seq_num = recv_msg->seq_num;
    reply->pkt_type = recv_msg->pkt_type;
    reply->ap_type = recv_msg->ap_type;
    reply->vendor = AC_VENDOR;
    AC_RET result = AC_RET_ERROR;
    if (recv_msg->ap_proto_type == AC_LAYOUT_V1) result = assem_config_resp_pkt_v1(reply, flag, ap_mac);
    if (recv_msg->ap_proto_type == AC_LAYOUT_V2) result = assem_config_resp_pkt_v2(reply, flag, ap_mac);
    if (result == AC_RET_ERROR) return AC_RET_ERROR;
    (void)send_layer3_udp_data(ip, port, reply); // a lost reply: the AP repeats itself
    return result;
}

void config_step_accepted(const UINT8* ap_mac, int flag)
{
    if (flag != AC_RET_CONFIG_TIME_OUT) {
        acwtp_joined_to_running(ap_mac);
        return;
    }
    // The stored number reads 0 from now on: the AP has taken the configuration over and its version passes next time.
    (void)apconfig_mib_update_byte(SET_AP_VERSION, ap_mac, 0); // printed there
    delete_wtp_listinfo(ap_mac);
}

AC_RET manage_apconfig_response(const UINT8* ethaddr, UINT16 seq_num, UINT16 msg_type, const UINT8* /*ip*/)
{
    (void)acwtp_msged_list_del_mac(seq_num, ethaddr); // an answer to an old number: nothing waits for it
    const UINT8 low = acwtp_msg_low(msg_type);
    const bool new_address = (acwtp_msg_high(msg_type) & 1) != 0;
    if (low != HALDE_APRestartResp && low != HALDE_APRestoreResp && !new_address) return AC_RET_OK;

    ac_add(wtp_online_num_count, -1);
    (void)apconfig_mib_update_byte(SET_AP_STATUS_REQ, ethaddr, AP_LINK_DOWN); // printed there
    if (low == HALDE_APRestoreResp) (void)apconfig_mib_update_byte(SET_RESTORE_FLAG, ethaddr, 0);
    trigger_assem_logs(HALDE_ALARM_AP_STATUS_LINK_DOWN, ethaddr);
    turn_online_client_down(ethaddr, 1);
    manage_joined_list_del(ethaddr);
    return AC_RET_OK;
}

CONFIG_TIME acwtp_time_and_zone()
{
    char text[8] = {};
    const ac_path path(TIME_ZONE_FILE);
    FILE* file = fopen(path.c_str(), "r");
    if (file != nullptr) {
        if (fgets(text, sizeof text, file) == nullptr) text[0] = '\0';
        fclose(file);
    }
    return {static_cast<UINT32>(ac_time()), static_cast<UINT16>(atoi(text))};
}

AC_RET manage_aptime_req(const UINT8* ethaddr, const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* req_pkt)
{
    const CONFIG_TIME now = acwtp_time_and_zone();
    if (req_pkt == nullptr) return AC_RET_ERROR;
    alignas(CLOUD_AP_UDP_PKT) UINT8 buffer[64] = {};
    auto* frame = reinterpret_cast<CLOUD_AP_UDP_PKT*>(buffer);
    memcpy(frame->ap_mac, ethaddr, sizeof frame->ap_mac);
    frame->ap_proto_type = req_pkt->ap_proto_type;
    frame->seq_num = req_pkt->seq_num;
    frame->pkt_type = req_pkt->pkt_type;
    frame->reserve = req_pkt->reserve;
    frame->ap_type = req_pkt->ap_type;
    frame->vendor = req_pkt->vendor;
    frame->msg_type = HALDE_APTimeSyncReq;
    frame->msg_length = sizeof now;
    memcpy(frame->msg_data(), &now, sizeof now);
    return send_layer3_udp_data(ip, port, frame);
}

int manage_broadcast_pkt_to_ap(int type)
{
    const CONFIG_TIME now = acwtp_time_and_zone();
    alignas(CLOUD_AP_UDP_PKT) UINT8 buffer[AC_FRAME_HEAD + sizeof now] = {};
    auto* frame = reinterpret_cast<CLOUD_AP_UDP_PKT*>(buffer);
    frame->vendor = AC_VENDOR;
    frame->seq_num = get_seq_num();
    frame->pkt_type = AC_PKT_NORMAL;
    switch (type) {
    case SET_AC_LAN_IP_REQ:
        frame->msg_type = HALDE_ACIpChangeReq;
        break;
    case SET_AP_TIME_REQ:
        frame->msg_type = HALDE_APTimeSyncReq;
        frame->msg_length = sizeof now.time; // the zone stands behind it and is not counted
        memcpy(frame->msg_data(), &now, sizeof now);
        break;
    default:
        return AC_RET_ERROR;
    }
    return send_pkt_to_all_ap(frame);
}
