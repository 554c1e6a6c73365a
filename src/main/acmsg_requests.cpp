#include "main/acmsg_requests.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "ac_sql/sqlite_db.h"
#include "common/config_ap_type.h"
#include "main/acmsg_handle_socket.h"
#include "main/wtp_advance.h"
#include "main/wtp_daemon.h"
#include "main/wtp_page.h"
#include "main/wtp_report.h"
#include "main/wtp_simple.h"

namespace {

// Handlers take what they need of a request; these make one form of them.
template <auto handler> int on_fd_rev(int fd, const AC_MSG_PKT* rev)
{
    return handler(fd, rev);
}
template <auto handler> int on_rev(int /*fd*/, const AC_MSG_PKT* rev)
{
    return handler(rev);
}
template <auto handler> int on_fd(int fd, const AC_MSG_PKT* /*rev*/)
{
    return handler(fd);
}
template <auto handler> int on_fd_flag(int fd, const AC_MSG_PKT* rev)
{
    return handler(fd, rev->ac_msg_type >> 8);
}

// The appliance takes the database files away for a backup or a restore: the process runs on without them.
int sql_closed(int /*fd*/, const AC_MSG_PKT* /*rev*/)
{
    printf("\n\n##[%s:%d] SET_AC_SQL_CLOSED_REQ\n\n", __func__, __LINE__);
    return sqlite_exit();
}

constexpr acmsg_handler NOT_BUILT = nullptr;

#define ROW(request, order, handler)                                                                                   \
    {                                                                                                                  \
        request, #request, order, handler                                                                              \
    }

// The mixed order of the answers is part of the interface: the web interface relies on it.
// clang-format off
constexpr auto g_rows = std::to_array<ACMSG_ROW>({
    ROW(SET_ADVANCE_POLICY_REQ, ACMSG_INSIDE, on_fd_rev<del_advance_policy>),
    ROW(SET_AP_CONFIG_ADVANCE_REQ, ACMSG_AFTER, on_rev<set_wtp_advance_config>),
    ROW(SET_AP_REBOOT_REQ, ACMSG_INSIDE, on_fd_rev<do_cgi_data>),
    ROW(SET_AP_RESTORE_REQ, ACMSG_INSIDE, on_fd_rev<do_cgi_data>),
    ROW(SET_AP_UPGRADE_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_AP_REMARK_REQ, ACMSG_FIRST, on_rev<set_wtp_remark>),
    ROW(DELETE_AP_REQ, ACMSG_FIRST, on_rev<set_ap_delete>),
    ROW(DELETE_CLIENT_REQ, ACMSG_INSIDE, on_fd_rev<set_client_delete>),
    ROW(SET_AP_CONFIG_REQ, ACMSG_AFTER, on_rev<set_wtp_config>),
    ROW(GET_AP_ALL_REQ, ACMSG_SELF, on_fd<acmsg_get_all_ap_config>),
    ROW(GET_AP_CLINET_REQ, ACMSG_SELF, NOT_BUILT), // the list of online clients: joins with ac_clients_info
    ROW(GET_AP_CONFIG_ADVANCE_REQ, ACMSG_SELF, on_fd<get_wtp_advance_config>),
    ROW(GET_AP_CONFIG_REQ, ACMSG_SELF, on_fd_rev<get_wtp_config>),
    ROW(GET_AP_SSID_ALL_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(GET_AP_SSID_STATUS_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_REBOOT_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(SET_ALARM_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(SET_PASSWORD_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(GET_REBOOT_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(GET_ALARM_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PASSWORD_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(DEL_SYSLOGS_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(GET_WTP_NUM_REQ, ACMSG_SELF, on_fd_rev<get_wtp_num>),
    ROW(SET_AC_LAN_IP_REQ, ACMSG_INSIDE, on_fd<set_ac_lan_ip>),
    ROW(SET_SYS_LANG, ACMSG_NONE, NOT_BUILT),
    ROW(SET_AP_CLI_LIMIT, ACMSG_FIRST, on_rev<set_wtp_limit>),
    ROW(SET_AP_CHANNEL, ACMSG_FIRST, on_rev<set_wtp_channel>),
    ROW(SET_PORTAL_AD_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(SET_PORTAL_AD_DEL, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PORTAL_AD_INFO_SIMPLE, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PORTAL_AD_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(MODIFY_PORTAL_AD_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(ADD_PORTAL_AD_PUT, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PORTAL_AD_PUT, ACMSG_SELF, NOT_BUILT),
    ROW(MODIFY_PORTAL_AD_PUT, ACMSG_SELF, NOT_BUILT),
    ROW(DEL_PORTAL_AD_PUT, ACMSG_SELF, NOT_BUILT),
    ROW(SET_PORTAL_AD_GLOBAL_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PORTAL_AD_GLOBAL_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(MODIFY_WEB_USER, ACMSG_SELF, NOT_BUILT),
    ROW(ADD_WEB_USER, ACMSG_SELF, NOT_BUILT),
    ROW(DEL_WEB_USER, ACMSG_SELF, NOT_BUILT),
    ROW(GET_WEB_USER, ACMSG_SELF, NOT_BUILT),
    ROW(AP_PORTAL_ENABLE, ACMSG_SELF, NOT_BUILT),
    ROW(AP_PORTAL_DISABLE, ACMSG_SELF, NOT_BUILT),
    ROW(GET_AP_PORTAL_ENABLE, ACMSG_SELF, NOT_BUILT),
    ROW(SET_PORTAL_WEIXIN_AUTH, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PORTAL_WEIXIN_AUTH, ACMSG_SELF, NOT_BUILT),
    ROW(GET_CUSTOMER_COUNT, ACMSG_SELF, NOT_BUILT),
    ROW(GET_TIME_LOGIN_COUNT, ACMSG_SELF, NOT_BUILT),
    ROW(GET_AUTH_TYPE_COUNT, ACMSG_SELF, NOT_BUILT),
    ROW(GET_TERMINAL_TYPE_COUNT, ACMSG_SELF, NOT_BUILT),
    ROW(GET_NEW_OLD_CUSTOMER_COUNT, ACMSG_SELF, NOT_BUILT),
    ROW(GET_CUSTOMER_ANALYSE, ACMSG_SELF, NOT_BUILT),
    ROW(SET_AC_SQL_CLOSED_REQ, ACMSG_NONE, sql_closed),
    ROW(SET_WL_DEPLOY_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(GET_WL_DEPLOY_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(DELETE_OFFLINECLIENT_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_ONLINE_USER_DOWN, ACMSG_INSIDE, NOT_BUILT),
    ROW(SET_WL_BASIC_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(GET_WL_BASIC_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_AP_CONFIG_WL_BASIC_REQ, ACMSG_AFTER, NOT_BUILT),
    ROW(SET_WL_RF_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(GET_WL_RF_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_AP_CONFIG_WL_RF_REQ, ACMSG_AFTER, NOT_BUILT),
    ROW(GET_AP_SSID_BASIC_STATUS_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(GET_AP_WL_RF_STATUS_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_QVLAN_POLICY_REQ, ACMSG_FIRST, NOT_BUILT),
    ROW(GET_QVLAN_POLICY_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_AP_CONFIG_QVLAN_REQ, ACMSG_AFTER, on_rev<set_wtp_qvlan_config>),
    ROW(GET_QVLAN_STATUS_REQ, ACMSG_SELF, NOT_BUILT),
    ROW(SET_PORTAL_ACCESS_CODE_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(GET_PORTAL_ACCESS_CODE_INFO, ACMSG_SELF, NOT_BUILT),
    ROW(SET_PORTAL_ACCESS_CODE_PASSWD, ACMSG_SELF, NOT_BUILT),
    {AC_DEBUG_REQ, "", ACMSG_INSIDE, on_fd_flag<set_ac_debug>},
});
// clang-format on

constexpr bool rows_are_sound()
{
    for (std::size_t i = 0; i < g_rows.size(); i++) {
        if (g_rows[i].type < ACMSG_TYPE_MIN || g_rows[i].type > ACMSG_TYPE_MAX) return false;
        if (i > 0 && g_rows[i].type <= g_rows[i - 1].type) return false;
    }
    return true;
}
static_assert(rows_are_sound(), "one row a request, ascending, within the range of types");

} // namespace

const ACMSG_ROW* acmsg_row_find(UINT8 type)
{
    const auto row = std::lower_bound(g_rows.begin(), g_rows.end(), type,
                                      [](const ACMSG_ROW& one, UINT8 wanted) { return one.type < wanted; });
    return row != g_rows.end() && row->type == type ? &*row : nullptr;
}

std::span<const ACMSG_ROW> acmsg_rows()
{
    return g_rows;
}
