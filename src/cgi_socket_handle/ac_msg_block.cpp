#include "cgi_socket_handle/ac_msg_block.h"

#include <algorithm>
#include <climits>

#include "common/ac_alloc.h"

namespace {

// In front of every message; the message itself stays one piece, as the socket wants it.
struct alignas(std::max_align_t) block_head {
    std::size_t room; // data bytes behind the message's header
};

constexpr std::size_t ROOM_MAX = INT_MAX - sizeof(block_head) - sizeof(AC_MSG_PKT);

block_head* head_of(AC_MSG_PKT* msg)
{
    return reinterpret_cast<block_head*>(msg) - 1;
}

} // namespace

AC_MSG_PKT* ac_msg_alloc(std::size_t data_len)
{
    if (data_len > ROOM_MAX) return nullptr;
    auto* head = static_cast<block_head*>(ac_calloc(sizeof(block_head) + sizeof(AC_MSG_PKT) + data_len));
    if (head == nullptr) return nullptr;
    head->room = data_len;
    return reinterpret_cast<AC_MSG_PKT*>(head + 1);
}

void ac_msg_free(AC_MSG_PKT* msg)
{
    if (msg != nullptr) ac_free(head_of(msg));
}

std::span<UINT8> ac_msg_room(AC_MSG_PKT* msg)
{
    return {reinterpret_cast<UINT8*>(msg + 1), head_of(msg)->room};
}

std::span<const UINT8> ac_msg_data(const AC_MSG_PKT* msg)
{
    if (msg == nullptr || msg->msg_data_len <= 0) return {};
    const std::span<const UINT8> room = ac_msg_room(const_cast<AC_MSG_PKT*>(msg));
    return room.first(std::min(room.size(), static_cast<std::size_t>(msg->msg_data_len)));
}
