// acmsg_requests - the table of the requests that the control channel serves.
//
// Shape    one row a request, ascending by type. A request whose unit is not part of the build yet has its row and no
//          handler: it is refused like a type that has no row.
// Threads  the rows never change, so that any thread may look at them; handlers are run by the control thread.
#pragma once

#include <span>

#include "cgi_socket_handle/ac_msg_wire.h"
#include "common/ac_types.h"

inline constexpr UINT8 ACMSG_TYPE_MIN = 2;
inline constexpr UINT8 ACMSG_TYPE_MAX = 150;

// When the response goes out. FIRST: the web interface learns nothing of a failure.
enum acmsg_order {
    ACMSG_FIRST,  // the dispatcher answers, then calls the handler
    ACMSG_AFTER,  // the dispatcher calls the handler, then answers, whatever the handler gave
    ACMSG_INSIDE, // the handler answers, and then does its work
    ACMSG_SELF,   // the handler answers, as its header says
    ACMSG_NONE,   // nobody answers
};

typedef int (*acmsg_handler)(int fd, const AC_MSG_PKT* rev);

struct ACMSG_ROW {
    UINT8 type;
    const char* name; // empty where config_ap_type has none
    acmsg_order order;
    acmsg_handler handler; // null: not built
};

// The row of a request, built or not; null for a type that has none.
const ACMSG_ROW* acmsg_row_find(UINT8 type);

// Calls the handler of a row that has one, and answers as its order says. The handler's value.
int acmsg_run_row(int fd, const ACMSG_ROW& row, const AC_MSG_PKT* msg);

// All rows, for tests and tools.
std::span<const ACMSG_ROW> acmsg_rows();
