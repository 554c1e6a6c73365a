#include "ac_wtp_protocol/acwtp_replies.h"

#include <cstring>

#include "ac_wtp_protocol/acwtp_burst.h"

AC_RET assem_echo_req_package(const CLOUD_AP_UDP_PKT* req_pkt, const APCONFIG* node, const UINT8* ip)
{
    if (req_pkt == nullptr || node == nullptr) return AC_RET_ERROR;
    CLOUD_AP_UDP_PKT reply = {};
    memcpy(reply.ap_mac, req_pkt->ap_mac, sizeof reply.ap_mac);
    reply.ap_proto_type = req_pkt->ap_proto_type;
    reply.seq_num = req_pkt->seq_num;
    reply.pkt_type = req_pkt->pkt_type;
    reply.reserve = req_pkt->reserve;
    reply.ap_type = req_pkt->ap_type;
    reply.vendor = req_pkt->vendor;
    reply.msg_type = HALDE_APEchoResp;
    return acwtp_answer(ip, node->port, &reply);
}

int send_link_down_to_ap(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* req)
{
    CLOUD_AP_UDP_PKT reply;
    memcpy(&reply, req, sizeof reply); // the crc stays what the request carried
    reply.pkt_type = AC_PKT_LINK_DOWN;
    reply.msg_type = 0x0100;
    reply.msg_length = 0;
    (void)acwtp_answer(ip, port, &reply); // a lost reply: the AP's next frame gets another
    return AC_RET_OK;
}
