// acwtp_replies - the short answers to an AP: echo and forced link-down.
#pragma once

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_frame_wire.h"

// Answers an echo to `ip` and the record's port. 255 for a null argument, else the result of acwtp_answer. Dispatch
// thread.
AC_RET assem_echo_req_package(const CLOUD_AP_UDP_PKT* req_pkt, const APCONFIG* node, const UINT8* ip);

// Tells an AP that it is not known here and must rediscover. Always 0.
int send_link_down_to_ap(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* req);
