#include "main/acmsg_handle_socket.h"

#include <cstdio>
#include <cstring>

#include "acwtp_msg/acwtp_msg.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "common/config_ap_type.h"
#include "main/acmsg_requests.h"

static constexpr UINT16 TYPE_MASK = 0xFF; // of ac_msg_type; the rest is the sub-flag

// --- replies ---------------------------------------------------------------------------------------------------------

static AC_RET send_whole(int fd, const AC_MSG_PKT* msg, std::size_t length, const char* function = __builtin_FUNCTION(),
                         int line = __builtin_LINE())
{
    if (acmsg_sendto_cgi(fd, msg, length) == static_cast<ssize_t>(length)) return AC_RET_OK;
    printf("Error->%s(%d)--send response error\n", function, line);
    return AC_RET_ERROR;
}

AC_RET send_response_to_cgi(int fd, UINT16 msgtype)
{
    AC_MSG_PKT response = {};
    response.ac_msg_type = static_cast<UINT16>((msgtype & TYPE_MASK) + 1);
    return send_whole(fd, &response, sizeof response);
}

AC_RET send_msg_to_cgi(int fd, UINT16 type, const void* msg, std::size_t len)
{
    AC_MSG_PKT* reply = ac_msg_alloc(len);
    if (reply == nullptr) {
        AC_ERR_MALLOC();
        return AC_RET_NULL_POINTER;
    }
    reply->msg_data_len = static_cast<int>(len);
    reply->ac_msg_type = type;
    if (msg != nullptr && len != 0) memcpy(ac_msg_room(reply).data(), msg, len);
    const AC_RET result = send_whole(fd, reply, sizeof *reply + len);
    ac_msg_free(reply);
    return result;
}

// --- requests that the protocol takes as they are --------------------------------------------------------------------

// The value that the protocol knows the setting of the time by.
static UINT16 item_type(UINT16 ac_msg_type)
{
    return ac_msg_type == SET_SYS_TIME ? UINT16{SET_AP_TIME_REQ} : ac_msg_type;
}

static bool item_take_data(ACWTP_MSG_TABLE* item, std::span<const UINT8> data)
{
    if (data.empty()) return true;
    item->msg = static_cast<char*>(ac_malloc(data.size()));
    if (item->msg == nullptr) return false;
    memcpy(item->msg, data.data(), data.size());
    item->length = static_cast<UINT32>(data.size());
    return true;
}

// The item of a request, freed by acwtp_msg_free; null without memory.
static ACWTP_MSG_TABLE* item_of(const AC_MSG_PKT* rev, std::span<const UINT8> data)
{
    auto* item = static_cast<ACWTP_MSG_TABLE*>(ac_calloc(sizeof(ACWTP_MSG_TABLE)));
    if (item == nullptr) return nullptr;
    INIT_LIST_HEAD(&item->list);
    item->type = item_type(rev->ac_msg_type);
    item->ap_num = rev->ap_num;
    item->num_flag = rev->ap_flag;
    if (item_take_data(item, data)) return item;
    acwtp_msg_free(item);
    return nullptr;
}

AC_RET acwtp_msg_assem(int type, const AC_MSG_PKT* rev)
{
    if (rev == nullptr) return AC_RET_ERROR;
    const std::span<const UINT8> data = ac_msg_data(rev);
    // A length below 0 is no size for a buffer, and data that had no memory when it arrived has none now.
    const bool came = rev->msg_data_len >= 0 && data.size() == static_cast<std::size_t>(rev->msg_data_len);
    ACWTP_MSG_TABLE* item = came ? item_of(rev, data) : nullptr;
    if (item == nullptr) {
        AC_ERR_MALLOC();
        return AC_RET_NULL_POINTER;
    }
    item->flags = static_cast<UINT16>(type);
    const AC_RET result = acmsg_to_acprotocol(item, MSG_ADD_TAIL);
    acwtp_msg_free(item);
    return result;
}

AC_RET do_cgi_data(int fd, const AC_MSG_PKT* rev)
{
    if (rev == nullptr) return AC_RET_ERROR;
    if (send_response_to_cgi(fd, rev->ac_msg_type) != AC_RET_OK) {
        AC_ERR("msg send error\n");
        return AC_RET_ERROR;
    }
    return acwtp_msg_assem(CGI_MSG, rev);
}

AC_RET set_client_delete(int fd, const AC_MSG_PKT* rev)
{
    if (rev == nullptr) return AC_RET_ERROR;
    (void)send_response_to_cgi(fd, rev->ac_msg_type); // printed there
    if (rev->ap_num != 0) return AC_RET_OK;           // nothing is done with the clients that it names
    AC_ERR("error\n");
    return AC_RET_ERROR;
}

// --- the dispatch ----------------------------------------------------------------------------------------------------

int acmsg_run_row(int fd, const ACMSG_ROW& row, const AC_MSG_PKT* msg)
{
    const ac_reader section; // handlers hold records that finders gave them
    // A response that doesn't reach the client stops nothing: it is printed, and the work goes on.
    if (row.order == ACMSG_FIRST) (void)send_response_to_cgi(fd, msg->ac_msg_type);
    const int result = row.handler(fd, msg);
    if (row.order == ACMSG_AFTER) (void)send_response_to_cgi(fd, msg->ac_msg_type);
    return result;
}

static const ACMSG_ROW* row_that_is_built(const AC_MSG_PKT* msg)
{
    const ACMSG_ROW* row = acmsg_row_find(static_cast<UINT8>(msg->ac_msg_type & TYPE_MASK));
    return row != nullptr && row->handler != nullptr ? row : nullptr;
}

int acmsg_handle_socket(int fd)
{
    AC_MSG_PKT* msg = nullptr;
    if (acmsg_recvfrom_cgi(fd, &msg) < 0) {
        AC_ERR("recived error\n");
        return -1;
    }
    int result = AC_RET_ERROR;
    const ACMSG_ROW* row = row_that_is_built(msg);
    if (row != nullptr)
        result = acmsg_run_row(fd, *row, msg);
    else
        AC_ERR("msg error\n");
    acmsg_discard_body(fd, msg);
    ac_msg_free(msg);
    return result;
}
