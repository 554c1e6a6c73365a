#include "main/wtp_daemon.h"

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_query.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/acwtp_msged.h"
#include "cgi_socket_handle/acmsg_server.h"
#include "common/ac_err.h"
#include "common/config_ap_type.h"
#include "main/acmsg_handle_socket.h"

namespace {

constexpr int DEBUG_JOINED_LIST = 1;

// For the APs as a whole: one AP counted, none named.
AC_RET notice_queue(UINT16 type)
{
    char msg[] = {'1', '1', '1', '1'};
    ACWTP_MSG_TABLE item = {};
    item.type = type;
    item.ap_num = 1;
    item.flags = CGI_MSG;
    item.length = sizeof msg;
    item.msg = msg;
    return acmsg_to_acprotocol(&item, MSG_ADD_TAIL);
}

} // namespace

int get_wtp_num(int fd, const AC_MSG_PKT* /*rev*/)
{
    UINT32 total = 0;
    UINT32 online = 0;
    int clients = 0;
    obtain_ap_num(&total, &online);
    (void)obtain_online_client_num(&clients); // always 0
    AC_MSG_PKT reply = {};
    reply.ac_msg_type = GET_WTP_NUM_REQ;
    reply.ap_flag = static_cast<UINT16>(total);
    reply.action = static_cast<UINT16>(online);
    reply.ap_num = static_cast<UINT16>(clients);
    if (acmsg_sendto_cgi(fd, &reply, sizeof reply) == sizeof reply) return AC_RET_OK;
    AC_ERR("send response error\n");
    return AC_RET_ERROR;
}

int set_ac_lan_ip(int fd)
{
    acwtp_msg_list_del_all();
    acwtp_msged_list_del_all();
    apconfig_del_all();
    acwtp_join_list_del_all();
    (void)send_response_to_cgi(fd, SET_AC_LAN_IP_REQ); // printed there
    return notice_queue(SET_AC_LAN_IP_REQ);
}

int set_ap_time(int fd)
{
    (void)send_response_to_cgi(fd, SET_AP_TIME_REQ); // printed there
    return notice_queue(SET_AP_TIME_REQ);
}

int set_ac_debug(int fd, int type)
{
    (void)send_response_to_cgi(fd, AC_DEBUG_REQ); // printed there
    // Type 2, the client table's dump, joins with the unit that keeps that table (ac_clients_info).
    if (type == DEBUG_JOINED_LIST) (void)acwtp_join_list_print(); // always 0
    return AC_RET_OK;
}
