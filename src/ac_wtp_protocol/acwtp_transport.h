// acwtp_transport - the one UDP socket of the AP protocol, sequence numbers and sending.
//
// Threads  the receiving thread opens the socket before its loop; any thread may send: a datagram is one call.
#pragma once

#include <netinet/in.h>

#include <span>

#include "ac_wtp_protocol/ac_frame_wire.h"

struct udp_skb_info; // a received frame, udp_skb_queue.h

extern int gacwtp;     // the socket, -1 until it is open; written once by the receiving thread, read with ac_load
extern UINT32 ac_port; // local UDP port

// 0 when the port was configured, 255 when the default was taken.
int init_local_port();
// Opens and binds the socket to the LAN address. 1, or 0.
int init_socket_layer3(int* fd);

// An address in dotted order and a port in host order, as the socket calls want them.
struct sockaddr_in acwtp_address(const UINT8* ip, UINT16 port);

// Sends msg_length + 28 bytes to `ip` (dotted order) and `port` (host order). The frame's payload stands behind its
// header.
AC_RET send_layer3_udp_data(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* pkt);

// The same to the exact source of a received frame, which need not be the address its AP is known by: the answer to a
// portal check. Repeats without end or pause while the send fails, so that its caller, the dispatch thread, stands
// still for as long as that lasts. 0; 1001 for a null argument.
int send_layer3_udp_portal_data(const CLOUD_AP_UDP_PKT* pkt, const struct udp_skb_info* udp_node);

// The next sequence number, 0 to 255 and round again. Two threads at once may get the same number; the protocol bears
// it.
UINT16 get_seq_num();

// zlib's crc32 of a payload.
UINT32 acwtp_crc(std::span<const UINT8> payload);
