// acwtp_msg - work for the APs: the queue of work not yet done, and the one door to it.
//
// Shape    g_msg_queue holds items; the initial thread turns them into frames. An item for more than 100 APs is split.
// Owner    acmsg_to_acprotocol copies: the caller keeps what it passed.
// Threads  any may add; the initial thread alone takes. acwtp_mutex guards the list, never the content of an item.
#pragma once

#include <semaphore.h>

#include "common/ac_list.h"
#include "common/ac_lock.h"
#include "common/ac_types.h"

enum msg_flag { CGI_MSG = 1, CGI_UPGRADE_MSG = 2, PROTO_MSG = 3 };
enum msg_add_flag { MSG_ADD_HEAD = 0, MSG_ADD_TAIL = 1 };
enum send_signal_dir { ACWTP_SIGNAL_SEND_MSG = 0, ACWTP_SIGNAL_SEND_PROTOCOL = 1 };
typedef enum send_signal_dir ACMsgDir;

inline constexpr UINT32 ACWTP_MSG_SPLIT = 100;      // MACs per item at most
inline constexpr UINT32 ACWTP_MSG_SPLIT_LENGTH = 7; // shorter items are never split

struct acwtp_msg_table {
    UINT8 send_times; // how often this work has been sent before
    UINT16 type;      // CGI_MSG: config_ap_type with a sub-selector in the high byte; PROTO_MSG: a message number
    UINT16 num_flag;  // non-zero: all APs, and msg holds only the payload
    UINT16 ap_num;
    UINT16 flags;  // msg_flag
    UINT32 length; // bytes in msg
    char* msg;     // owned; with num_flag 0: ap_num MACs of 6 bytes, then the payload
    list_node list;
};
typedef struct acwtp_msg_table ACWTP_MSG_TABLE;

extern ac_mutex acwtp_mutex;
extern list_node g_msg_queue AC_GUARDED_BY(acwtp_mutex);
extern sem_t sem_protocol;

// Queues a copy of `acmsg` and wakes the initial thread. 0; 1001 for null, no memory, or an item whose MACs do not fit
// its length; 255 for no memory for the copied bytes, or too many internal events waiting. Wakes nobody then. When 32
// MiB wait already there is no memory for more.
AC_RET acmsg_to_acprotocol(const ACWTP_MSG_TABLE* acmsg, int flag);
// The queueing step alone.
AC_RET acwtp_msg_list_add(const ACWTP_MSG_TABLE* new_node, int flag);
// Posts sem_protocol for ACWTP_SIGNAL_SEND_PROTOCOL, else does nothing.
void acwtp_send_signal_semaphore(int dir);

// One pass of the initial thread: drains g_msg_queue. The result of its last action, 255 if there was none.
int acprotocol_signal_handle();

void acwtp_msg_list_del_all(); // all but the item that is being worked on
void acwtp_msg_list_print();   // walks the queue under its lock, no output

// --- inside the room -------------------------------------------------------------------------------------------------

// A new item with the fields of `like` but for send_times and msg; null without memory. Freed by acwtp_msg_free.
ACWTP_MSG_TABLE* acwtp_msg_alloc(const ACWTP_MSG_TABLE* like);
void acwtp_msg_free(ACWTP_MSG_TABLE* item);
// Links an item, which the queue then owns. 255, and the item freed, when too many internal events wait.
AC_RET acwtp_msg_link(ACWTP_MSG_TABLE* item, int flag);
// The initial thread's first item, still linked, or null; and its end.
ACWTP_MSG_TABLE* acwtp_msg_first();
void acwtp_msg_done(ACWTP_MSG_TABLE* item);
