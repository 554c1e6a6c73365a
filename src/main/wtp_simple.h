// wtp_simple - small changes to one AP: its name, a client limit, a channel; and the deletion of APs.
//
// Errors   255 for a request that is refused, 255 too for an unknown AP where one is named.
// Threads  the control thread.
#pragma once

#include "cgi_socket_handle/ac_msg_wire.h"

// SET_AP_REMARK_REQ: a MAC and the new name, 32 bytes. 255 as well for the name that the AP has.
int set_wtp_remark(const AC_MSG_PKT* rev);
// SET_AP_CLI_LIMIT, SET_AP_CHANNEL: a MAC and a CONFIG_CLI_LIMIT or CONFIG_CHANNEL. What the queue gives where it
// refuses the item; the table then stays as it is.
int set_wtp_limit(const AC_MSG_PKT* rev);
int set_wtp_channel(const AC_MSG_PKT* rev);

// DELETE_AP_REQ: takes each AP named out of the joined list, the table and the database. An unknown one is a line; the
// APs themselves are told nothing. 0.
int set_ap_delete(const AC_MSG_PKT* rev);
