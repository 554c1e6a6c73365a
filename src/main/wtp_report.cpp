#include "main/wtp_report.h"

#include <cstdio>

#include "ac_mib/apconfig_query.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "cgi_socket_handle/acmsg_server.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/config_ap_type.h"

namespace {

constexpr std::size_t ROWS_SPARE = 100; // APs that may join between the count and the walk

// The room of a message as rows.
template <typename Row> std::span<Row> rows_of(AC_MSG_PKT* msg)
{
    static_assert(alignof(Row) <= alignof(AC_MSG_PKT) && sizeof(AC_MSG_PKT) % alignof(Row) == 0);
    const std::span<UINT8> room = ac_msg_room(msg);
    return {reinterpret_cast<Row*>(room.data()), room.size() / sizeof(Row)};
}

} // namespace

int acmsg_get_all_ap_config(int fd)
{
    const std::size_t rows = ac_load(g_acwtp_joined_ap_num) + ROWS_SPARE;
    AC_MSG_PKT* reply = ac_msg_alloc(rows * sizeof(AC_WTP_WTP_TABLE));
    if (reply == nullptr) {
        AC_ERR_MALLOC();
        return -1;
    }
    int count = 0;
    (void)apconfig_Traversal(rows_of<AC_WTP_WTP_TABLE>(reply), &count); // the buffer is there
    const std::size_t length = static_cast<std::size_t>(count) * sizeof(AC_WTP_WTP_TABLE);
    reply->msg_data_len = static_cast<int>(length);
    reply->ap_num = static_cast<UINT16>(count);
    reply->ac_msg_type = GET_AP_CONFIG_REQ;
    const auto sent = static_cast<int>(acmsg_sendto_cgi(fd, reply, sizeof *reply + length));
    if (sent == -1) AC_ERR("send response error\n");
    ac_msg_free(reply);
    return sent;
}
