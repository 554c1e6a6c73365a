#include "ac_wtp_protocol/thread_discovery_handle.h"

#include <pthread.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/ac_wire.h"
#include "common/config_ap_type.h"
#include "platform/ac_platform.h"

void arp_static_bind(const UINT8* mac, const UINT8* ip)
{
    doSystemCmd("arp -s %s %s", ac_ip_text(ip).c_str(), ac_mac_text(mac).c_str());
}

void arp_unbind(const UINT8* ip)
{
    doSystemCmd("arp -d %s", ac_ip_text(ip).c_str());
}

// Fills an empty row from the request's payload. What the AP says is taken whole or not at all.
static void learn_product(const CLOUD_AP_UDP_PKT* pkt)
{
    wire_reader in{{pkt->msg_data(), pkt->msg_length}};
    const auto info = wire_take<AP_PRODUCT_INFO>(in);
    if (in.bad || info.ap_type != pkt->ap_type) {
        AC_ERR("bad product info, len:%u ap_type:%u\n", pkt->msg_length, pkt->ap_type);
        return;
    }
    PRODUCT_AP row = {};
    memcpy(row.ap_name, info.ap_name, sizeof row.ap_name);
    row.product_id = info.product_id;
    row.ssid_num_24g = info.ssid_num_24g;
    row.ssid_num_5g = info.ssid_num_5g;
    row.rf_num = info.rf_num;
    row.ap_type = info.ap_type;     // flag_old_crc is not taken over: a learnt type checks firmware by the newer rule
    (void)acwtp_product_fill(&row); // the type was checked by the caller
}

// On each request, not only for a new row: a store that failed is tried again.
static void store_product(UINT16 ap_type)
{
    PRODUCT_AP row;
    if (!acwtp_product_obtain(ap_type, &row)) return;
    (void)sqlite_add_ap_type(row.ap_type, row.ap_name, row.product_id, row.ssid_num_24g, row.ssid_num_5g, row.rf_num,
                             row.flag_old_crc); // printed there
}

AC_RET assem_discvr_resp_pkt(const CLOUD_AP_UDP_PKT* rcv_pkt, CLOUD_AP_UDP_PKT* send_pkt)
{
    if (rcv_pkt == nullptr || send_pkt == nullptr) return AC_RET_ERROR;
    if (rcv_pkt->ap_type == 0) {
        AC_ERR("new ap ap_type=%d\n", rcv_pkt->ap_type);
        return AC_RET_OK;
    }
    if (rcv_pkt->msg_length == 0) {
        AC_ERR("the dis_req_pkt data is NULL,aptype:%d!\n", rcv_pkt->ap_type);
    } else if (rcv_pkt->ap_type < AC_PRODUCT_NUM) {
        PRODUCT_AP row;
        if (!acwtp_product_obtain(rcv_pkt->ap_type, &row)) learn_product(rcv_pkt);
        if (rcv_pkt->ap_type >= AC_PRODUCT_LEARN_FIRST) store_product(rcv_pkt->ap_type);
    }
    memcpy(send_pkt->ap_mac, rcv_pkt->ap_mac, sizeof send_pkt->ap_mac);
    send_pkt->ap_proto_type = rcv_pkt->ap_proto_type;
    send_pkt->seq_num = rcv_pkt->seq_num;
    send_pkt->pkt_type = rcv_pkt->pkt_type;
    send_pkt->ap_type = rcv_pkt->ap_type;
    send_pkt->vendor = rcv_pkt->vendor;
    send_pkt->msg_type = HALDE_APDiscoveryResp;
    send_pkt->msg_length = 0;
    return AC_RET_OK;
}

static void send_reply(const AC_UDP_SKB_INFO* frame, const CLOUD_AP_UDP_PKT* reply)
{
    (void)send_layer3_udp_data(frame->ipaddr, frame->port, reply); // a lost reply costs one more discovery
}

// The AP may answer the reply before this thread goes on: whoever looks for its entry waits until it stands.
static void reply_and_insert(const AC_UDP_SKB_INFO* frame, const CLOUD_AP_UDP_PKT* reply)
{
    ACWTP_JOIN_LIST entry = {};
    memcpy(entry.ap_mac, frame->udp_pkt()->ap_mac, sizeof entry.ap_mac);
    memcpy(entry.ap_ip, frame->ipaddr, sizeof entry.ap_ip);
    entry.port = frame->port;
    entry.ap_status = 1;
    entry.current_status = AC_CONFIG_UPGRADE;
    ac_lock lock(g_apjioned_mutex);
    send_reply(frame, reply);
    insert_to_wtp_listinfo_locked(&entry);
}

static void announce_gone(const UINT8* mac)
{
    (void)apconfig_mib_update_byte(SET_AP_STATUS_REQ, mac, AP_LINK_DOWN); // printed there
    turn_online_client_down(mac, 1);
    trigger_assem_logs(HALDE_ALARM_AP_STATUS_LINK_DOWN, mac);
}

static void act_on_known_ap(int state, const AC_UDP_SKB_INFO* frame, const CLOUD_AP_UDP_PKT* reply)
{
    const UINT8* mac = frame->udp_pkt()->ap_mac;
    switch (state) {
    case AC_RUNNING: // the AP has restarted
        announce_gone(mac);
        ac_add(wtp_online_num_count, -1);
        delete_wtp_listinfo(mac);
        reply_and_insert(frame, reply);
        break;
    case AC_CONFIG_UPGRADE: // the AP is repeating itself; its 60 seconds run on
        send_reply(frame, reply);
        (void)update_wtp_jioned_list_status(mac, 0, UPDATE_DISCOVER_NUM); // printed there
        break;
    case AC_UPGRADE: // it restarted in the middle of an upgrade; the upgrade queue forgets it here once it is in the
                     // build
        announce_gone(mac);
        delete_wtp_listinfo(mac);
        ac_add(wtp_online_num_count, -1);
        reply_and_insert(frame, reply);
        break;
    default:
        break;
    }
}

void discovery_handle_frame(AC_UDP_SKB_INFO* frame)
{
    const CLOUD_AP_UDP_PKT* pkt = frame->udp_pkt();
    if (pkt->vendor != AC_VENDOR || pkt->pkt_type != AC_PKT_NORMAL || pkt->msg_type != HALDE_APDiscoveryReq) {
        AC_ERR("recv msg is not ok.\n");
        return;
    }
    CLOUD_AP_UDP_PKT reply = {};
    if (assem_discvr_resp_pkt(pkt, &reply) != AC_RET_OK) {
        AC_ERR("assem_discvr_resp_pkt error.");
        return;
    }
    ACWTP_JOIN_LIST entry;
    if (acwtp_joined_copy_readdress(pkt->ap_mac, frame->ipaddr, frame->port, &entry))
        act_on_known_ap(entry.current_status, frame, &reply);
    else
        reply_and_insert(frame, &reply);
}

int udp_discvr_skb_queue_out()
{
    for (AC_UDP_SKB_INFO* frame = udp_discvr_skb_first(); frame != nullptr; frame = udp_discvr_skb_first()) {
        ac_reader section;
        discovery_handle_frame(frame);
        udp_discvr_skb_done(frame);
    }
    return AC_RET_OK;
}

void* discovery_thread_handle(void* /*unused*/)
{
    acwtp_thread_row(PTHREAD_DISCORVER);
    if (!udp_discvr_pools_make()) {
        printf("\nmalloc for discovery error**************************");
        exit(1);
    }
    acwtp_thread_log(" discovery_thread_handle", " \n");
    for (;;) {
        acwtp_sem_wait_all(&udp_discvr_sem_sig);
        udp_discvr_skb_queue_out();
    }
}

int create_discovery_thread()
{
    pthread_t thread;
    if (pthread_create(&thread, nullptr, discovery_thread_handle, nullptr) == 0) return 1;
    AC_ERR("Create discovery thread is fail.\n");
    return 0;
}
