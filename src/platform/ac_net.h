// ac_net - the one way by which datagrams leave the process.
//
// Threads  any; a call needs no lock.
#pragma once

#include <netinet/in.h>

#include <cstddef>
#include <span>

#include "common/ac_types.h"

// Sends one datagram. The bytes sent, or -1 with errno set.
long ac_net_send(int fd, std::span<const UINT8> datagram, const struct sockaddr_in* to);

struct ac_net_datagram {
    std::span<const UINT8> bytes;
    struct sockaddr_in to;
};

static constexpr std::size_t AC_NET_BURST = 32; // datagrams in one call at most

// Sends datagrams in their order, all with one system call. How many left; if fewer than given, errno says what stopped
// the next one.
std::size_t ac_net_send_burst(int fd, std::span<const ac_net_datagram> datagrams);

// Tests: datagrams go to `sink` instead of a socket; its result is ac_net_send's, and -1 ends a burst. Null restores
// the socket.
typedef long (*ac_net_sink)(std::span<const UINT8> datagram, const struct sockaddr_in* to);
void ac_net_capture(ac_net_sink sink);
