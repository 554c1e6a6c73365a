// ac_joined_list - the APs in conversation right now: address, state, missed echoes.
//
// Shape    528 slots, the first 512 used; free when ap_status is 0. Flat, searched from slot 0; the search runs over an
//          array of packed keys kept beside the slots.
// Units    timeout_num: echo periods of 30 s. config_timeout: a flag, 0 or 1. port: host order.
// Errors   1001: null entry or unknown MAC. A full list is no error: 0, and no slot taken.
// Threads  any. Each function takes g_apjioned_mutex itself unless named _locked; g_echo_timer_mutex nests inside it.
// Owner    the list owns its slots, which live as long as the process. The clock thread may zero one at any tick and
//          another AP may take it: acwtp_joined_copy hands out what a caller needs of an entry.
#pragma once

#include "common/ac_list.h"
#include "common/ac_lock.h"
#include "common/ac_types.h"

inline constexpr int ACWTP_JOIN_SLOTS = 528;
inline constexpr int ACWTP_JOIN_USED = 512;
inline constexpr int ACWTP_ECHO_LIMIT = 6;      // missed periods
inline constexpr int ACWTP_CONFIG_SECONDS = 60; // from the join to the configuration
inline constexpr int ACWTP_DISCOVER_LIMIT = 13;
inline constexpr int ACWTP_DISCOVER_ALARM = 10;
inline constexpr int ACWTP_ECHO_TIMES_LIMIT = 4;

enum ac_state {
    AC_SCANNING = 0,
    AC_IDLE = 1,
    AC_DISCOVER = 2,
    AC_CONFIG_UPGRADE = 3,
    AC_RUNNING = 4,
    AC_UPGRADE = 5,
};

enum joined_update_flag {
    UPDATE_CURRENT_STATUS = 0,
    UPDATE_STATUS = 1,
    UPDATE_ECHO_STATUS = 2,
    UPDATE_DISCOVER_NUM = 3,
    CLEAR_DISCOVER_NUM = 4,
};

struct acwtp_join_list {
    hlist_node hlist; // never linked
    UINT8 ap_mac[AC_MAC_LEN];
    UINT8 ap_ip[4];
    int port;
    int ap_status;      // 0 free, 1 in use
    int current_status; // ac_state
    int timeout_num;    // the echo timer's argument points here and counts its low byte
    int discover_num;
    int echo_times;
    int upgrade_timeout;
    int config_timeout;
};
typedef struct acwtp_join_list ACWTP_JOIN_LIST;

struct acwtp_jioned_htable {
    ACWTP_JOIN_LIST online_list[ACWTP_JOIN_SLOTS];
};
typedef struct acwtp_jioned_htable ACWTP_JIONED_HTABLE;

extern ac_mutex g_apjioned_mutex;
extern ACWTP_JIONED_HTABLE* g_online_list AC_PT_GUARDED_BY(g_apjioned_mutex);
extern int
    wtp_online_num_count; // APs that reached AC_RUNNING and have not left; ac_load and ac_add, nothing depends on it

void acwtp_joined_htable_init();                // exit(0) without memory
UINT32 acwtp_joined_hash_func(const void* mac); // 0

// The entry in use with this MAC, or null. The pointer leads into the table and stays readable; what it shows may
// change.
ACWTP_JOIN_LIST* acwtp_joined_node_find(const void* mac, UINT32 hash) AC_EXCLUDES(g_apjioned_mutex);
ACWTP_JOIN_LIST* acwtp_joined_node_find_locked(const void* mac) AC_REQUIRES(g_apjioned_mutex);

// A copy of the entry, or false.
bool acwtp_joined_copy(const void* mac, ACWTP_JOIN_LIST* entry) AC_EXCLUDES(g_apjioned_mutex);
// The same after setting the entry's address where it differs.
bool acwtp_joined_copy_readdress(const void* mac, const UINT8* ip, int port, ACWTP_JOIN_LIST* entry)
    AC_EXCLUDES(g_apjioned_mutex);

// Copies the address to ip_out and returns it, or null.
UINT8* acwtp_join_find_ip(const UINT8* mac, UINT8* ip_out);

// Takes the first free slot for a copy of address, state and MAC, and arms its 60 s configuration timer. 0 or 1001.
int insert_to_wtp_listinfo(const ACWTP_JOIN_LIST* entry) AC_EXCLUDES(g_apjioned_mutex);
int insert_to_wtp_listinfo_locked(const ACWTP_JOIN_LIST* entry) AC_REQUIRES(g_apjioned_mutex);
// Cancels the entry's timers and frees its slot. 0, also for an unknown MAC.
int delete_wtp_listinfo(const void* mac) AC_EXCLUDES(g_apjioned_mutex);
int manage_joined_list_del(const UINT8* mac);

// 0, or 1001 after "this ap is not exist". UPDATE_ECHO_STATUS also queues the AP's record for flash at its second echo
// and raises the link-up alarm at its third; UPDATE_DISCOVER_NUM raises an alarm at exactly 10.
int update_wtp_jioned_list_status(const UINT8* mac, int value, int flag) AC_EXCLUDES(g_apjioned_mutex);

// The end of the configuration step: AC_RUNNING, counted, and the echo timer armed.
void acwtp_joined_to_running(const UINT8* mac) AC_EXCLUDES(g_apjioned_mutex);

void check_joined_list_status(); // the scan of each tick
void acwtp_join_list_del_all();
int acwtp_join_list_print(); // "/var/tag.cfg"; 0

// Timer functions: `arg` points into a slot, or is null.
void echo_timeout(void* arg);
void config_timeout(void* arg);
