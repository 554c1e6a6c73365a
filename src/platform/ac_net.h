// ac_net - the one way by which datagrams leave the process.
//
// Threads  any; a datagram is one call and needs no lock.
#pragma once

#include <netinet/in.h>

#include <span>

#include "common/ac_types.h"

// Sends one datagram. The bytes sent, or -1 with errno set.
long ac_net_send(int fd, std::span<const UINT8> datagram, const struct sockaddr_in* to);

// Tests: datagrams go to `sink` instead of a socket; its result is ac_net_send's. Null restores the socket.
typedef long (*ac_net_sink)(std::span<const UINT8> datagram, const struct sockaddr_in* to);
void ac_net_capture(ac_net_sink sink);
