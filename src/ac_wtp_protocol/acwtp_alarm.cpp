#include "ac_wtp_protocol/acwtp_alarm.h"

#include <cstdio>
#include <cstring>

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_wtp_protocol/ac_frame_wire.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/mac_list.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"

int trigger_assem_logs(int kind, const UINT8* mac)
{
    auto* msg = static_cast<char*>(ac_calloc(ACWTP_ALARM_LENGTH));
    if (msg == nullptr) {
        perror("malloc");
        return AC_RET_ERROR;
    }
    memcpy(msg, mac, AC_MAC_LEN);
    memcpy(msg + AC_MAC_LEN, &kind, sizeof kind);
    ACWTP_MSG_TABLE item = {};
    item.flags = PROTO_MSG;
    item.type = HALDE_APAlarmReq;
    item.ap_num = 1;
    item.length = ACWTP_ALARM_LENGTH;
    item.msg = msg;
    const int result = acmsg_to_acprotocol(&item, MSG_ADD_TAIL);
    ac_free(msg);
    return result;
}

static void give_up_on(const UINT8* mac)
{
    if (apconfig_find(mac) == nullptr) return;
    (void)apconfig_mib_update_byte(SET_RESEND_FAILED_AP, mac, 0); // printed there
    turn_online_client_down(mac, 1);
    trigger_assem_logs(HALDE_ALARM_CONFIG_FAILED, mac);
    ACWTP_JOIN_LIST entry;
    if (!acwtp_joined_copy(mac, &entry)) return;
    delete_wtp_listinfo(mac);
    ac_add(wtp_online_num_count, -1);
}

void msged_queue_mac_status_change(list_node* macs)
{
    for (list_node* link = macs->next; link != macs; link = link->next)
        give_up_on(list_entry(link, MAC_LIST, list)->ethaddr);
}
