// wtp_advance - the advanced page: the operational policies of the APs, shown, bound to APs, deleted.
//
// Shape    A binding names a policy. It sends the APs what the policy says, and puts name and settings into the table,
// from
//          where an AP that is away gets them when it comes back. An empty name, and the label that the web interface
//          shows for "no policy", leave a binding as it is. A name without a policy counts as a failed lookup.
// Errors   255 for a request that is refused, and for a failed lookup after "Error->%s(%d)--.\n".
// Threads  the control thread.
#pragma once

#include <span>

#include "cgi_socket_handle/ac_msg_wire.h"

// The page: five counts of policies (alarm, reboot, password, deployment, VLAN), their names in the same order, 32
// bytes each, then an ACWTP_ADVANCE_CONFIG per AP in the table; one that has no radio 0 or SSID 0 leaves a zeroed one
// at the end. Its length is stored in *len. 0; 255 after a line, with *len 0, where the names do not fit `buf`, which
// must be zeroed.
int get_wtp_advace_config_buf(std::span<UINT8> buf, int* len);
// GET_AP_CONFIG_ADVANCE_REQ: answers with the page. 255 where that worked; 0 where there was no memory, after an empty
// answer.
int get_wtp_advance_config(int fd);

// SET_AP_CONFIG_ADVANCE_REQ: MACs, then the names of a reboot, an alarm, a password and a deployment policy. With
// `action` AC_OP_DEL the APs get empty alarm and reboot settings instead, and every bound name stays.
int set_wtp_advance_config(const AC_MSG_PKT* rev);

// The third and the fourth name of such a body. 0, also where no policy is chosen.
int set_wtp_password_config(const AC_MSG_PKT* rev);
int set_wl_deploy_config(const AC_MSG_PKT* rev);

// SET_AP_CONFIG_QVLAN_REQ: MACs, then the name of a VLAN policy.
int set_wtp_qvlan_config(const AC_MSG_PKT* rev);

// SET_ADVANCE_POLICY_REQ: ap_num names of 32 bytes, deleted from four of the kinds whatever kind they are of. The
// response, of type 5, goes out first. The result of the last deletion.
int del_advance_policy(int fd, const AC_MSG_PKT* rev);
