// thread_discovery_handle - answers discovery requests, learns product types, takes APs into the joined list.
//
// Threads  the discovery thread; it alone inserts into the joined list and fills product rows.
#pragma once

#include "ac_wtp_protocol/ac_frame_wire.h"
#include "ac_wtp_protocol/udp_skb_queue.h"

int create_discovery_thread(); // 1, or 0
void* discovery_thread_handle(void* unused);

// Drains the discovery queue; 0.
int udp_discvr_skb_queue_out();
// One frame, not yet released.
void discovery_handle_frame(AC_UDP_SKB_INFO* frame);

// Learns the product and builds the reply; `rcv_pkt` has msg_length bytes behind it. 255 for null, else 0. An ap_type
// of 0 leaves the reply all zero.
AC_RET assem_discvr_resp_pkt(const CLOUD_AP_UDP_PKT* rcv_pkt, CLOUD_AP_UDP_PKT* send_pkt);

// Static ARP entries for an AP; they stand ready, no flow binds any.
void arp_static_bind(const UINT8* mac, const UINT8* ip);
void arp_unbind(const UINT8* ip);
