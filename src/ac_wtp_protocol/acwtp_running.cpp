#include "ac_wtp_protocol/acwtp_running.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/acwtp_config.h"
#include "ac_wtp_protocol/acwtp_replies.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"

struct running_frame {
    const UINT8* ethaddr;
    const UINT8* ip;
    APCONFIG* node;
    AC_UDP_SKB_INFO* udp_node;
    const CLOUD_AP_UDP_PKT* pkt() const { return udp_node->udp_pkt(); }
};

static void on_echo(const running_frame& frame)
{
    (void)update_wtp_jioned_list_status(frame.ethaddr, 0, UPDATE_ECHO_STATUS); // an entry just dropped: printed there
    (void)assem_echo_req_package(frame.pkt(), frame.node, frame.ip);           // the AP will ask again
}

// A refusal leaves the request outstanding, so that it is sent again.
static void on_config_response(const running_frame& frame)
{
    if (frame.udp_node->payload()[0] != 0) return;
    manage_apconfig_response(frame.ethaddr, frame.pkt()->seq_num, frame.pkt()->msg_type, frame.ip);
}

static void on_alarm(const running_frame& frame)
{
    trigger_assem_logs(static_cast<INT8>(frame.udp_node->payload()[0]), frame.ethaddr);
}

static void on_simple_config_response(const running_frame& frame)
{
    (void)acwtp_msged_list_del_mac(frame.pkt()->seq_num, frame.ethaddr); // a late answer to an old number is ignored
}

struct running_row {
    UINT8 message;
    UINT8 payload_at_least;
    void (*handle)(const running_frame& frame);
};

// Client reports, firmware answers, portal checks and advert questions join with the units that handle them.
static constexpr auto g_running_rows = std::to_array<running_row>({
    {HALDE_APEchoReq, 0, on_echo},
    {HALDE_APRestartResp, 1, on_config_response},
    {HALDE_APRestoreResp, 1, on_config_response},
    {HALDE_APConfigSettingResp, 1, on_config_response},
    {HALDE_APAlarmReq, 1, on_alarm},
    {HALDE_APSimpleConfigSetResp, 0, on_simple_config_response},
});
static_assert(std::is_sorted(g_running_rows.begin(), g_running_rows.end(),
                             [](const running_row& a, const running_row& b) { return a.message <= b.message; }),
              "one row per message, in order of its number");

static const running_row* row_of(UINT8 message)
{
    const auto* row = std::find_if(g_running_rows.begin(), g_running_rows.end(),
                                   [message](const running_row& r) { return r.message == message; });
    return row == g_running_rows.end() ? nullptr : row;
}

bool acwtp_running_handled(UINT8 message)
{
    return row_of(message) != nullptr;
}

// This thread alone writes both fields, so it may compare without the lock.
static void readdress_record(APCONFIG* node, const AC_UDP_SKB_INFO* udp_node)
{
    if (memcmp(node->ip, udp_node->ipaddr, sizeof node->ip) == 0 && node->port == udp_node->port) return;
    ac_lock lock(g_apconfig_mutex);
    memcpy(node->ip, udp_node->ipaddr, sizeof node->ip);
    node->port = udp_node->port;
}

int manage_running_package_handle(const UINT8* ethaddr, const UINT8* ip, AC_UDP_SKB_INFO* udp_node)
{
    if (udp_node == nullptr) {
        AC_ERR("null pointer\n");
        return AC_RET_ERROR;
    }
    APCONFIG* node = apconfig_find(ethaddr);
    if (node == nullptr) {
        AC_ERR("null pointer\n");
        return AC_RET_ERROR;
    }
    if (ac_load(node->status) == AP_LINK_DOWN) {
        AC_ERR("status time out\n");
        return AC_RET_ERROR;
    }
    const UINT8 message = acwtp_msg_low(udp_node->udp_pkt()->msg_type);
    if (message != HALDE_APPortalCheckAuthReq) readdress_record(node, udp_node);
    const running_row* row = row_of(message);
    if (row != nullptr && udp_node->payload().size() >= row->payload_at_least)
        row->handle({ethaddr, ip, node, udp_node});
    return AC_RET_OK;
}
