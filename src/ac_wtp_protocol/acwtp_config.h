// acwtp_config - the AP's side of the configuration exchange: its report, our reply, its answers to our commands.
//
// Shape    A reply with a full configuration counts 8 bytes more than its records fill; they are zero.
// Threads  the dispatch thread.
#pragma once

#include <span>

#include "ac_wtp_protocol/ac_frame_wire.h"
#include "ac_wtp_protocol/udp_skb_queue.h"

inline constexpr std::size_t AC_CONFIG_REPLY_MAX =
    1738; // header, and a full configuration of any kind with room to spare

// Parses a frame's payload as the AP's configuration, by ap_proto_type. The results of apconfig_mib_add; 255 for
// another layout than 3 and 4.
int config_parse_report(const UINT8* ap_mac, const AC_UDP_SKB_INFO* frame);

// Answers a configuration request; `flag` is the parsing result. What assem_config_resp_pkt gave, or 255 with no
// answer.
AC_RET manage_config_req_handle(const CLOUD_AP_UDP_PKT* recv_msg, const UINT8* ip, UINT16 port, int flag,
                                const UINT8* ap_mac);

// The step after an answered request: to AC_RUNNING, or, where the AP was sent the stored configuration, out of the
// list so that it comes back with it.
void config_step_accepted(const UINT8* ap_mac, int flag);

// Build the reply into `send_msg`, a zeroed frame with room for AC_CONFIG_REPLY_MAX. 0; 4: a refusal was built; 255.
AC_RET assem_config_resp_pkt_v1(CLOUD_AP_UDP_PKT* send_msg, int flag, const UINT8* ap_mac);
AC_RET assem_config_resp_pkt_v2(CLOUD_AP_UDP_PKT* send_msg, int flag, const UINT8* ap_mac);

// An AP has carried out a restart, restore or setting. After the first two, and after a new address, it leaves the
// network.
AC_RET manage_apconfig_response(const UINT8* ethaddr, UINT16 seq_num, UINT16 msg_type, const UINT8* ip);

// The time of day, and at most 7 characters of "/etc/time_zone" as a number; zone 0 where there is no file. Any thread.
CONFIG_TIME acwtp_time_and_zone();

// The time for one AP that asks; reserved, no dispatcher reaches it. 255 for a null request, else the send's result.
AC_RET manage_aptime_req(const UINT8* ethaddr, const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* req_pkt);
// A new address (SET_AC_LAN_IP_REQ) or the time (SET_AP_TIME_REQ) to every AP; no dispatcher reaches it. 255 for
// another type.
int manage_broadcast_pkt_to_ap(int type);
