// thread_manage_handle - the receiving thread: checks each datagram and sorts it into a queue; and the dispatch thread,
// which handles every frame but discovery by its AP's state.
#pragma once

#include <netinet/in.h>

#include <span>

#include "ac_wtp_protocol/ac_frame_wire.h"
#include "ac_wtp_protocol/udp_skb_queue.h"

// Creates the receiving thread, then the dispatch thread. 1, or 0.
int create_manage_thread();

// The receiving thread. Returns only if the socket can't be opened: the rest of the daemon goes on without AP traffic.
void* manage_thread_handle(void* unused);
// Waits for the socket once and takes what it holds, within a bound.
void manage_receive_once();
// One datagram: vendor, zero MAC, length and CRC, in this order; then into its queue and a post. `datagram` is aligned
// to 4.
void manage_datagram(std::span<const UINT8> datagram, const struct sockaddr_in* from);

// The dispatch thread; doesn't return.
void* manage_udp_data_handle(void* unused);
// Drains the running queue; 0.
int udp_skb_queue_out();
// One frame, not yet released.
void running_handle_frame(AC_UDP_SKB_INFO* frame);
