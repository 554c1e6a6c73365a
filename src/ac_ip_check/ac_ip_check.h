// ac_ip_check - the appliance's own addresses, asked of its LAN interface.
//
// Threads  the initial thread, before the protocol threads exist.
#pragma once

#include "ac_wtp_protocol/acwtp_thread.h"
#include "common/ac_types.h"

// Four bytes in dotted order. 0, or -1 where the interface has no address.
int get_local_ip(UINT8* ip);
int get_local_mask(UINT8* mask);

// 0, or -1. Also copies g_ac_mac, which the start passes as `pmac`, to _g_ac_mac.
int get_local_mac(struct mac_addr* pmac);
