// apconfig - the AP configuration table: every AP ever adopted, online or not, keyed by its MAC.
//
// Shape    199 hash chains; the hash is weak on purpose and seeded anew in each run, so nothing may store a bucket.
// Owner    the table owns its records and their nodes. A finder hands out a plain pointer to the live record. A deleted
//          record is retired (common/ac_alloc.h): the pointer stays valid for the caller's ac_reader section.
// Threads  any. g_apconfig_mutex guards the chains and the content of every record. The finders take it themselves, so
//          no caller holds it around them; code that holds it uses the _locked forms. Fields fixed before a record is
//          linked (ethaddr, ap_type, proto_vendor, product_*) may be read without it. `status` is read without it
//          through ac_load and written under it with ac_store. All else is read and written under it. Only the dispatch
//          thread writes `ip` and `port` of a linked record, so it reads them back without the lock.
#pragma once

#include "ac_mib/apconfig_wire.h"
#include "common/ac_list.h"
#include "common/ac_lock.h"

inline constexpr int APCONFIG_HASH_SIZE = 199;
inline constexpr int APCONFIG_CLIENT_MAX = 64; // online clients kept per AP

enum ap_status {
    AP_LINK_DOWN = 0,
    AP_LINK_UP = 1,
    AP_UPGRAD_RCV_WAIT = 2,
    AP_UPGRAD_RCVING = 3,
    AP_UPGRADING = 4,
    AP_UPGRAD_SUCCESS = 5, // counts as offline in obtain_ap_num
    AP_UPGRAD_FAILED = 6,
};

struct config_online_client {
    int num;
    UINT8 online_client[APCONFIG_CLIENT_MAX][AC_MAC_LEN];
};
typedef struct config_online_client CONFIG_ONLIENT_CLIENT;

struct config_wl_rf_list {
    list_node list;
    CONFIG_WL_RF rf;
};
typedef struct config_wl_rf_list CONFIG_WL_RF_LIST;

struct config_wl_basic_list {
    list_node list;
    CONFIG_WL_BASIC wl_basic;
};
typedef struct config_wl_basic_list CONFIG_WL_BASIC_LIST;

struct apconfig {
    hlist_node apconfig_node;
    UINT16 proto_vendor; // 3 or 4, 0 after a load; copied into ap_proto_type of frames to this AP
    UINT16 ap_type;      // row of g_ap_product
    UINT8 status;        // enum ap_status
    UINT16 port;         // host order, 0 after a load
    UINT32 time;         // of the intake
    UINT8 sql_flag;      // 0 until the first note has written the record whole
    UINT8 restore;       // 1: the next intake drops the policy bindings
    UINT8 main_ssid_client[AC_SSID_MAX];
    UINT8 ip[4];
    UINT8 ethaddr[AC_MAC_LEN];
    UINT8 AP_config_version[2]; // decimal text, not terminated when two digits long
    UINT32 product_id;
    UINT8 product_name[AC_NAME_LEN];
    CONFIG_BASIC info_basic;
    CONFIG_SCHED_REBOOT info_reboot;
    CONFIG_ALARM info_alarm;
    CONFIG_ALARM_EVENT info_event;
    UINT8 p_reboot_name[AC_NAME_LEN];
    UINT8 p_alarm_name[AC_NAME_LEN];
    UINT8 p_pass_name[AC_NAME_LEN];
    UINT8 p_wl_deploy_name[AC_NAME_LEN];
    UINT8 p_qvlan_name[AC_NAME_LEN];
    UINT8 p_wl_basic_policy_name[AC_SSID_MAX][AC_NAME_LEN];
    UINT8 p_wl_rf_policy_name[AC_RADIO_MAX][AC_NAME_LEN];
    CONFIG_ONLIENT_CLIENT info_client;
    list_node list_rf;       // of config_wl_rf_list, at most AC_RADIO_MAX
    list_node list_wl;       // of config_wl_basic_list, at most AC_SSID_MAX
    list_node list_pmk;      // fast-roaming keys
    list_node list_neighbor; // neighbours of the AP
};
typedef struct apconfig APCONFIG;

struct apconfig_htable {
    hlist_head table[APCONFIG_HASH_SIZE];
    UINT32 rnd;
};

extern ac_mutex g_apconfig_mutex;
extern apconfig_htable apconfig_hash_table AC_GUARDED_BY(g_apconfig_mutex);
extern UINT32 g_acwtp_joined_ap_num; // records in the table, online or not; written under the mutex, read with ac_load

// Clears the heads and seeds the hash with rand(). Once, before any thread.
void apconfig_htable_init();

// Bucket of a MAC, 0 to 198.
UINT32 apconfig_hash_func(const void* ethaddr);
UINT32 jhash_3words(UINT32 a, UINT32 b, UINT32 c, UINT32 initval);
UINT32 jhash_2words(UINT32 a, UINT32 b, UINT32 initval);

// A zeroed record with its four list heads made, or null after "Error->%s(%d)--malloc failed\n".
APCONFIG* apconfig_alloc();
// A node with its link made and the rest as it comes: fill every field you will read. Null after the same line;
// rfconfig_alloc calls perror("malloc") first.
CONFIG_WL_BASIC_LIST* wlconfig_alloc();
CONFIG_WL_RF_LIST* rfconfig_alloc();
// Frees a record that was never linked, nodes included.
void apconfig_free_unlinked(APCONFIG* node);

// The record of a MAC, or null. `key` is apconfig_hash_func(ethaddr). Takes g_apconfig_mutex for the search.
APCONFIG* apconfig_hnode_find(const void* ethaddr, UINT32 key) AC_EXCLUDES(g_apconfig_mutex);
APCONFIG* apconfig_hnode_find_locked(const void* ethaddr) AC_REQUIRES(g_apconfig_mutex);
inline APCONFIG* apconfig_find(const void* ethaddr) AC_EXCLUDES(g_apconfig_mutex)
{
    return apconfig_hnode_find(ethaddr, apconfig_hash_func(ethaddr));
}

// The record of the AP that a BSSID belongs to, or null: a full scan.
APCONFIG* apconfig_hnode_find_by_bssid(const void* ethaddr) AC_EXCLUDES(g_apconfig_mutex);
// 1 if `b` is one of the up to `ssid_num` BSSIDs above the AP's own address `a`, without carry; else 0.
int ether_addr_match(const UINT8* a, const UINT8* b, int ssid_num);

// First node of that radio (bit 0 of RF_basic_setting), or SSID; null where there is none. Takes no lock: the caller
// holds it.
CONFIG_WL_RF_LIST* apconfig_find_rf_node(list_node* head, UINT8 radio);
CONFIG_WL_BASIC_LIST* apconfig_find_wlbasic_node(list_node* head, UINT8 ssid_id);

// The record around a link of list_rf or list_wl.
inline CONFIG_WL_RF_LIST* apconfig_rf_of(list_node* link)
{
    return list_entry(link, CONFIG_WL_RF_LIST, list);
}
inline CONFIG_WL_BASIC_LIST* apconfig_wl_of(list_node* link)
{
    return list_entry(link, CONFIG_WL_BASIC_LIST, list);
}

// A walk over the table, by bucket and then from the head of the chain: the first record for null, else the one after
// `node`; null at the end. Take the next one before you unlink a record.
APCONFIG* apconfig_next_locked(const APCONFIG* node) AC_REQUIRES(g_apconfig_mutex);

// Links a record at the head of its bucket and counts it.
void apconfig_link(APCONFIG* node) AC_EXCLUDES(g_apconfig_mutex);
// Unlinks and retires a linked record with its radio and SSID nodes, and uncounts it.
void apconfig_unlink_locked(APCONFIG* node) AC_REQUIRES(g_apconfig_mutex);

// Removes one record; with `flag` also queues the deletion of its rows, in the same hold. 0, or 1001 after
// "Error->%s(%d)--\n".
int apconfig_mib_node_del(const UINT8* ethaddr, int flag) AC_EXCLUDES(g_apconfig_mutex);
// Empties the table; the database is not touched. The count is set to 0 after the walk, whatever came in meanwhile.
void apconfig_del_all() AC_EXCLUDES(g_apconfig_mutex);

// Where to send to an AP and what to put into the header: a consistent copy for threads other than the dispatch thread.
struct apconfig_target {
    UINT8 ip[4];
    UINT16 port;
    UINT16 ap_type;
    UINT16 proto_vendor;
    UINT8 status;
};
// false for an unknown MAC.
bool apconfig_target_obtain(const UINT8* ethaddr, apconfig_target* target) AC_EXCLUDES(g_apconfig_mutex);
