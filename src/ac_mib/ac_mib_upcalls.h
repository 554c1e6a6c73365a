// ac_mib_upcalls - operations of higher rooms that the configuration table calls. The header of the provider says what
// they give, and to which threads.
#pragma once

#include "ac_wtp_protocol/ac_frame_wire.h"
#include "common/ac_types.h"

// Provided by ac_wtp_protocol/acwtp_transport.
AC_RET send_layer3_udp_data(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* pkt);
