// acmsg_server - the daemon's end of the control channel: requests one at a time, a connection each.
//
// A handler that blocks holds up the whole control interface, and so does a client that connects and sends nothing: the
// connection has no time-outs on this side.
//
// Threads  the control thread alone reads and writes control connections.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>

#include "cgi_socket_handle/ac_msg_io.h"
#include "cgi_socket_handle/ac_msg_wire.h"

// Provided by main/: reads the one message of a connection, does it, answers it; the connection stays open. The
// handler's value, or -1 where no message could be read.
int acmsg_handle_socket(int fd);

// The thread. Ends after a line when there is no socket: the daemon goes on without a control channel.
void* acmsg_cgi_thread(void* unused);

// --- its parts -------------------------------------------------------------------------------------------------------

// The listening descriptor, its file of mode 0660; 0 when there is no socket. Where the path can't be taken the
// descriptor comes all the same, and nobody reaches it.
int acmsg_initserver();
// Waits for one connection and serves it; comes back after about 2 s without one.
void acmsg_serve_round(int server_fd);
// Serves one connection and closes it.
void acmsg_serve_connection(int fd);

// The connection's descriptor, or -1. `out_addr` is ignored: a Unix client has no address that says anything.
int accept_client(int server_fd, struct sockaddr* out_addr);
void shut_down(int sock); // closes a descriptor that isn't negative

// Reads one whole message into *info, freed with ac_msg_free. 20 and its body's length; -1 after a line with *info null
// (no line for a null `info`). A body without memory, or longer than AC_MSG_DATA_MAX, is counted and left unread: *info
// is then the header alone.
std::int64_t acmsg_recvfrom_cgi(int sock, AC_MSG_PKT** info);

// Takes the body that was left unread off the socket, as long as the client goes on sending: it is still writing, and
// would find the connection closed before it looks for its reply.
void acmsg_discard_body(int sock, const AC_MSG_PKT* msg);

// Writes `totalLen` bytes from `msg`: that count, or -1. A write that was cut short is resumed at the header's size
// times the bytes written; that lies outside the message, so the exchange is given up there. No pointer of a finder is
// to be used over it: it may wait for as long as the client likes, and holds no retired record back meanwhile.
std::int64_t acmsg_sendto_cgi(int sock, const AC_MSG_PKT* msg, std::size_t totalLen);
