// ac_msg_block - a control message in one heap block that knows how many bytes of data stand behind its header.
//
// A header's msg_data_len is what its sender wrote. A block also keeps what is really there, so that a handler can
// never read beyond it: the two differ where the data had no memory and the header came alone.
//
// Owner    whoever has the block; it is freed by ac_msg_free, never by free.
// Threads  values; no state of their own.
#pragma once

#include <cstddef>
#include <span>

#include "cgi_socket_handle/ac_msg_wire.h"
#include "common/ac_types.h"

// A zeroed header with room for `data_len` zeroed bytes behind it; null without memory, or for a length that
// msg_data_len can't express. msg_data_len is the caller's to set.
AC_MSG_PKT* ac_msg_alloc(std::size_t data_len);
void ac_msg_free(AC_MSG_PKT* msg); // null is ignored

// The data of a message: what the block holds, at most msg_data_len bytes of it. Empty for a negative length, for a
// header that came without its data, and for null. `msg` must be from ac_msg_alloc.
std::span<const UINT8> ac_msg_data(const AC_MSG_PKT* msg);

// All of a block's room for data, whatever msg_data_len says: for filling it.
std::span<UINT8> ac_msg_room(AC_MSG_PKT* msg);
