// acmsg_client - the web interface's end of the control channel: one request, and at most one reply, a connection.
//
// Needs    platform_init() once before the first call; nothing else of the daemon. Messages are read as they lie: a
//          message handed over has msg_data_len bytes behind its header (ac_msg_block.h makes such).
// Waiting  there is no end to it: the socket's time-outs of 1 s start a wait again, and lose the bytes of a header or
//          body that had come in part.
// Threads  any. cgi_send_and_recv_msg and cgi_send_msg hold send_msg_mutex over the whole exchange.
#pragma once

#include <cstddef>
#include <cstdint>

#include "cgi_socket_handle/ac_msg_wire.h"
#include "common/ac_lock.h"

extern ac_mutex send_msg_mutex;

// The exchange. 1 when a reply of the request's ac_msg_type + 1 came, all 16 bits compared; else 0. A reply of another
// type is stored all the same: *replyMsg is the caller's to free with ac_msg_free, null where none was read.
int cgi_send_and_recv_msg(const AC_MSG_PKT* msg, AC_MSG_PKT** replyMsg);
// Without a reply: the bytes sent, or 0.
int cgi_send_msg(const AC_MSG_PKT* msg);

// A connected descriptor with time-outs; -1 after a line where nobody listens; a failed socket()'s result.
int acmsg_connect_server();
int cgi_connect_server();
int cgi_disconnect_server(int fd); // 0; only a descriptor from 1 on is closed

// 1 s for sending and for receiving. 0, or -1 where one could not be set.
int ac_set_socket_timeout(int sock);

// Bytes sent, or -1.
std::int64_t send_msg_to_acmsg(int sock, const AC_MSG_PKT* msg, std::size_t totalLen);
// Reads a message into *info, freed with ac_msg_free. 20 and its body's length; -1 after a line with *info null. A body
// without memory, or longer than AC_MSG_DATA_MAX, is counted and left unread.
std::int64_t recv_msg_from_acmsg(int sock, AC_MSG_PKT** info);

// 1, or 0 after a line. Around an exchange of one's own, as the two functions above do it themselves.
int lockAcMsgMutex();
int unlockAcMsgMutex();
