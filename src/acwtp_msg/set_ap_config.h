// set_ap_config - a work item becomes configuration frames for one AP, for several, or for all.
//
// Threads  the initial thread, which holds g_msged_send_mutex around sending and recording (acwtp_msged.h).
#pragma once

#include "acwtp_msg/acwtp_msg.h"

// Wire msg_type of a request type; 0 for a type that has none.
UINT16 get_configap_msgtype(UINT16 type);

// Send an item's frames. 0 with *seq_num the number used; 255 with nothing sent.
AC_RET set_ap_config(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num);
// The same for a client limit or a channel, to the first AP of the item.
AC_RET send_ap_simple_conf(const ACWTP_MSG_TABLE* elem, unsigned int* seq_num);
