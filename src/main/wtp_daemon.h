// wtp_daemon - requests on the controller as a whole: counts, its own address, the time, debug dumps.
//
// Threads  the control thread.
#pragma once

#include "cgi_socket_handle/ac_msg_wire.h"

// GET_WTP_NUM_REQ: a bare header of the request's own type with all APs in ap_flag, those online in `action` and the
// online clients in ap_num, 16 bits each. 0, or 255 after a line where the client did not take it.
int get_wtp_num(int fd, const AC_MSG_PKT* rev);

// SET_AC_LAN_IP_REQ, before the controller's address changes: forgets all work for the APs, all APs in memory and who
// is joined; the database keeps them. Then answers, then queues a notice for the APs. What the queue gives.
int set_ac_lan_ip(int fd);
// Answers, then queues a notice of the time for the APs. No request leads here.
int set_ap_time(int fd);

// Request 150: answers, then writes the dump of that type: 1, the joined list. 0.
int set_ac_debug(int fd, int type);
