// acwtp_msged - what was sent and is not yet answered, and its retransmission.
//
// Shape    g_msged_queue holds a record per sent frame with the APs that owe a reply. A message goes out at most five
//          times: to all, once more to the silent ones together, then to each silent AP on its own, each time with a
//          new number.
// Units    seq_num: the number the frame carried, 0 to 255; a lookup finds the first record with it.
// Threads  the initial thread records, the dispatch thread clears, the clock thread times out. acwtp_msged_mutex guards
//          list and records. g_msged_send_mutex makes sending and recording one step: the initial thread holds it over
//          both, an answer waits for it, so that an AP that answers at once is never sent to again.
#pragma once

#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/mac_list.h"

inline constexpr int ACWTP_SEND_TIMES_MAX = 5;
inline constexpr int ACWTP_MANY_APS = 129; // from here on the longer interval

struct acwtp_msged_queue {
    UINT8 send_times; // this time included
    UINT16 type;
    UINT16 ap_num; // APs that owe a reply
    UINT16 flags;
    UINT32 seq_num;
    UINT32 length; // of the payload, without MACs
    char* msg;     // owned; null if length is 0
    list_node mac; // of MAC_LIST
    list_node list;
};
typedef struct acwtp_msged_queue ACWTP_MSGED_QUEUE;

extern ac_mutex g_msged_send_mutex;
extern ac_mutex acwtp_msged_mutex;
extern list_node g_msged_queue AC_GUARDED_BY(acwtp_msged_mutex);
extern int g_msged_interval;     // seconds
extern int g_maxed_num_interval; // seconds, for items of many APs

// Record a sent item. 0, also when no target is up; 1001; 255.
AC_RET acwtp_msged_list_add(const ACWTP_MSG_TABLE* new_node, unsigned int seq_num, int flag);
AC_RET list_add_msged_queue(const ACWTP_MSG_TABLE* acmsg, unsigned int seq_num, int flag);
// The variant for firmware: only APs that are up and of the uploaded image's type, a line for each other one. No flow
// calls it.
AC_RET acwtp_msged_list_add_for_upgrade(const ACWTP_MSG_TABLE* new_node, unsigned int seq_num, int flag);
AC_RET list_add_msged_queue_for_upgrade(const ACWTP_MSG_TABLE* acmsg, unsigned int seq_num, int flag);

// The record, or null. What the pointer shows is another thread's to change.
ACWTP_MSGED_QUEUE* acwtp_msged_list_find(UINT32 seq_num);
void acwtp_msged_list_del_node(UINT32 seq_num);
// One AP has answered. 255 if the number isn't outstanding, else 0.
int acwtp_msged_list_del_mac(UINT32 seq_num, const UINT8* mac);
// Turns a record back into work, the record itself untouched. 0; 1001 after a line.
AC_RET acwtp_msged_list_backto_unmsg(const ACWTP_MSGED_QUEUE* elem, int flag);
void acwtp_msged_list_del_all();
void acwtp_msged_list_print();

// The timer function: `arg` is a sequence number. Clock thread.
void msged_timeout(int arg);
// Each AP of the list gets AP_UPGRAD_FAILED.
void msged_queue_upgrade_failed(list_node* macs);

// --- the timers, a list like the echo timers' with a lock of its own -------------------------------------------------

void acwtp_msged_timeout(void (*func)(int), int arg, int secs, int usecs);
void acwtp_msged_untimeout(void (*func)(int), int arg);
void msged_calltimeout();
