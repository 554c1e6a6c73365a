// wtp_work - what the handlers of AP requests share: the APs and policy names in a body, work items for the APs,
// changes to the table.
//
// Shape    A body starts with ap_num MACs of 6 bytes; behind them stands what the request says of these APs.
// Owner    targets and names from a body lead into the message: valid as long as that is.
// Threads  the control thread.
#pragma once

#include <span>

#include "ac_mib/apconfig_wire.h"
#include "cgi_socket_handle/ac_msg_wire.h"

struct wtp_targets {
    UINT16 ap_num = 0;
    UINT16 num_flag = 0;         // of a work item: non-zero means all APs
    std::span<const UINT8> macs; // ap_num of them
    std::span<const UINT8> rest; // the body behind them
};

// false for a null message, one that names no AP, and one whose body is shorter than its MACs.
bool wtp_targets_take(const AC_MSG_PKT* rev, wtp_targets& targets);
// The one AP at the start of the body, whatever ap_num says.
bool wtp_target_take(const AC_MSG_PKT* rev, wtp_targets& target);

// A policy's name as the table holds it: zeroed behind its text.
struct wtp_policy_name {
    UINT8 field[AC_NAME_LEN] = {};
};
// The 32 bytes at `offset` of `bytes`; false where they are not all there.
bool wtp_name_take(std::span<const UINT8> bytes, std::size_t offset, wtp_policy_name& name);
// Whether a policy is chosen: the name is neither empty nor what the web interface shows for "no policy".
bool wtp_name_chosen(const wtp_policy_name& name);

// Queues a work item of `type` with the targets' MACs and `payload`. What the queue gives; 1001 without memory.
AC_RET wtp_item_queue(UINT16 type, const wtp_targets& targets, std::span<const UINT8> payload);

// One change to the record of each target. Unknown APs are a line each and passed over.
void wtp_update_each(const wtp_targets& targets, UINT16 type, std::span<const UINT8> data);

// `record` as the bytes that cross the wire.
template <typename T> std::span<const UINT8> wtp_bytes(const T& record)
{
    return {reinterpret_cast<const UINT8*>(&record), sizeof record};
}
