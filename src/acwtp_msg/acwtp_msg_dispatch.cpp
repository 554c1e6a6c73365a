#include <algorithm>
#include <array>

#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/acwtp_msged.h"
#include "acwtp_msg/set_ap_config.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "common/config_ap_type.h"
#include "platform/ac_clock.h"

static constexpr unsigned int CONFIG_PACING = 1; // seconds: one configuration item per second at most

typedef AC_RET (*send_step)(const ACWTP_MSG_TABLE* item, unsigned int* seq_num);

// Sends and records as one step for whoever answers, then arms the timer, which finds nothing if nobody owes a reply.
static int send_and_record(const ACWTP_MSG_TABLE* item, send_step send, int interval)
{
    unsigned int seq_num = 0;
    {
        ac_lock lock(g_msged_send_mutex);
        const AC_RET result = send(item, &seq_num);
        if (result != AC_RET_OK) return result;
        (void)list_add_msged_queue(item, seq_num, MSG_ADD_TAIL); // printed there; the frames are out all the same
    }
    acwtp_msged_timeout(msged_timeout, static_cast<int>(seq_num), interval, 0);
    return AC_RET_OK;
}

static int do_set_config(const ACWTP_MSG_TABLE* item)
{
    ac_sleep(CONFIG_PACING);
    ac_reader section;
    const int interval = item->ap_num < ACWTP_MANY_APS ? g_msged_interval : g_maxed_num_interval;
    const int result = send_and_record(item, set_ap_config, interval);
    if (result != AC_RET_OK) AC_ERR("set ap config error\n");
    return result;
}

static int do_simple_config(const ACWTP_MSG_TABLE* item)
{
    ac_reader section;
    return send_and_record(item, send_ap_simple_conf, g_msged_interval);
}

struct cgi_row {
    UINT8 request;
    int (*handle)(const ACWTP_MSG_TABLE* item);
};

// Firmware, portal and kicked-client requests join with the units that handle them.
static constexpr auto g_cgi_rows = std::to_array<cgi_row>({
    {SET_AP_CONFIG_BASIC_REQ, do_set_config},
    {SET_AP_CONFIG_ADVANCE_REQ, do_set_config},
    {SET_AP_REBOOT_REQ, do_set_config},
    {SET_AP_RESTORE_REQ, do_set_config},
    {SET_AP_REMARK_REQ, do_set_config},
    {SET_AP_CONFIG_REQ, do_set_config},
    {SET_AP_CLI_LIMIT, do_simple_config},
    {SET_AP_CHANNEL, do_simple_config},
    {SET_PASSWORD_NAME, do_set_config},
    {SET_WL_DEPLOY_POLICY_NAME, do_set_config},
    {SET_AP_CONFIG_WL_BASIC_REQ, do_set_config},
    {SET_AP_CONFIG_WL_RF_REQ, do_set_config},
    {SET_AP_CONFIG_QVLAN_REQ, do_set_config},
});

static int handle_cgi_item(const ACWTP_MSG_TABLE* item)
{
    const int request = item->type & 0xFF;
    const auto* row = std::find_if(g_cgi_rows.begin(), g_cgi_rows.end(),
                                   [request](const cgi_row& r) { return r.request == request; });
    if (row != g_cgi_rows.end()) return row->handle(item);
    AC_ERR("msg_type error msg0:%d\n", request);
    return AC_RET_ERROR;
}

// Internal events: client reports and alarms join with the units that handle them; any other is dropped.
static int handle_item(const ACWTP_MSG_TABLE* item)
{
    return item->flags == CGI_MSG ? handle_cgi_item(item) : AC_RET_ERROR;
}

int acprotocol_signal_handle()
{
    int result = AC_RET_ERROR;
    for (ACWTP_MSG_TABLE* item = acwtp_msg_first(); item != nullptr; item = acwtp_msg_first()) {
        result = handle_item(item);
        acwtp_msg_done(item);
    }
    return result;
}
