// ac_msg_io - what both ends of the control channel share: the path, and reading one whole message.
//
// Threads  any, one at a time for a socket. Takes no mutex; reads wait for as long as the socket lets them.
#pragma once

#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdint>

#include "cgi_socket_handle/ac_msg_wire.h"

// A body longer than this is treated as one that has no memory: its header is handed out alone. The largest request
// names 65,535 APs in 393,210 bytes and carries some pages of payload; a machine that lends more memory than it has
// would grant 2 GiB to a header that lies, and end the process when the bytes come.
inline constexpr int AC_MSG_DATA_MAX = 16 * 1024 * 1024;

inline constexpr socklen_t AC_MSG_ADDRESS_LEN = 110; // of the address as bind and connect get it
static_assert(AC_MSG_ADDRESS_LEN == sizeof(sockaddr_un));

// The address of the daemon's socket.
struct sockaddr_un ac_msg_address();

// Reads exactly `n` bytes. Less where the stream ends before; -1 with errno for an error, and what was read before it
// is given up. A signal is no error.
ssize_t readn(int fd, void* vptr, std::size_t n);

enum ac_msg_fault {
    AC_MSG_WHOLE,
    AC_MSG_NO_MEMORY,  // for the header
    AC_MSG_BAD_HEADER, // cut short, or the connection failed
    AC_MSG_BAD_BODY,
};

struct ac_msg_input {
    ac_msg_fault fault = AC_MSG_WHOLE;
    AC_MSG_PKT* msg = nullptr; // the reader's to free with ac_msg_free; null unless whole
    std::int64_t count = -1;   // 20 and the body's length, also where the body had no memory and stays unread
    int rc = 0;                // of a bad part: what its readn gave,
    int error = 0;             // and errno behind it
};

// One message. A time-out of the socket only starts the current part again: the bytes of it that had come are lost.
ac_msg_input ac_msg_read(int sock);
