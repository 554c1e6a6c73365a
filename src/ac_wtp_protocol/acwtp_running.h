// acwtp_running - frames of an AP in the running state, by message number.
#pragma once

#include "ac_wtp_protocol/udp_skb_queue.h"

// Dispatch thread. `ethaddr` and `ip` are the joined entry's. 0; 255 for a null frame, an unknown record, or one marked
// down.
int manage_running_package_handle(const UINT8* ethaddr, const UINT8* ip, AC_UDP_SKB_INFO* udp_node);

// True for a message number that some handler takes; the others are ignored.
bool acwtp_running_handled(UINT8 message);
