// acwtp_alarm - alarm kinds, and how any thread raises one.
//
// An alarm is an internal work item: it runs on the initial thread, so no caller waits for mail or network.
#pragma once

#include "common/ac_list.h"
#include "common/ac_types.h"

enum wtp_alarm {
    HALDE_ALARM_QOS = 0,
    HALDE_ALARM_APNUMBER = 1,
    HALDE_ALARM_AP_IP_CHANGED = 2,
    HALDE_ALARM_AP_STATUS_LINK_DOWN = 3,
    HALDE_ALARM_STATUS_LINKUP = 4,
    HALDE_ALARM_ECHO_FAILED = 5,
    HALDE_ALARM_CONFIG_FAILED = 6,
    HALDE_ALARM_AP_DISCOVER_FAILED = 7,
};

inline constexpr UINT32 ACWTP_ALARM_LENGTH = 10; // of the item's msg: MAC, then the kind as an int

// Queues the alarm. The result of acmsg_to_acprotocol, or 255 after perror("malloc").
int trigger_assem_logs(int kind, const UINT8* mac);

// Gives up on the APs of a mac_list whose message was sent its last time without an answer: each known AP is marked to
// get the full configuration at its next join, its clients go down, an alarm is raised and its joined entry is deleted.
void msged_queue_mac_status_change(list_node* macs);
