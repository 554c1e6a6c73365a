// acmsg_handle_socket - one request of the web interface: read, routed to its handler, answered.
//
// Shape    acmsg_handle_socket (declared in cgi_socket_handle/acmsg_server.h, which calls it) reads the one message of
//          a connection and walks the table of acmsg_requests.h. The primitives below are what all handlers share.
// Replies  a plain response is a bare header of the request's low byte + 1: a sub-flag is dropped. A data reply carries
//          the type that the handler gives, with no + 1.
// Threads  the control thread. acwtp_msg_assem gives work to the initial thread through acmsg_to_acprotocol.
#pragma once

#include <cstddef>

#include "cgi_socket_handle/ac_msg_wire.h"
#include "cgi_socket_handle/acmsg_server.h"
#include "common/ac_types.h"

// The plain response to a request of that type. 0, or 255 after a line.
AC_RET send_response_to_cgi(int fd, UINT16 msgtype);

// The data reply: `len` bytes of `msg` behind a header of `type`; zeroes where `msg` is null. 0; 255 after a line where
// the client did not take it; 1001 after two where there is no memory for it.
AC_RET send_msg_to_cgi(int fd, UINT16 type, const void* msg, std::size_t len);

// Answers, then gives the request to the protocol as it stands. 0; 255 after a line, with nothing queued, when the
// response fails; else what acwtp_msg_assem gives.
AC_RET do_cgi_data(int fd, const AC_MSG_PKT* rev);

// Queues a request as a work item; `type` is the item's msg_flag. What the queue gives; 255 for null; 1001 after
// two lines without memory, or for a message that came without the data it announces.
AC_RET acwtp_msg_assem(int type, const AC_MSG_PKT* rev);

// Answers, and changes nothing. 0; 255 after a line for a request that names no client.
AC_RET set_client_delete(int fd, const AC_MSG_PKT* rev);
