// sql_flash_queue - notes that say which record has data to be saved, and the thread that writes them.
//
// Shape    a note names an AP and the kind of data, not the data: the record's content at the time of writing counts.
// Threads  sql_flash_queue_in from any, also with g_apconfig_mutex held. One consumer, thread_write_flash. A producer
//          waits until the consumer has made the pool, so that no note of the start is lost.
// Locks    g_sql_flash_mutex guards the list and the pool and is never held over SQL. g_apconfig_mutex is held from the
//          search for a note's record to the end of its statement: the record can neither change nor go meanwhile.
//          Between two notes all who wait for it have it, so that nobody waits for more than one note's write.
// Memory   at most SQL_FLASH_NOTES_MAX notes wait, some 7 MB. None is merged with another: the order of writes stays
//          that of the changes.
#pragma once

#include <semaphore.h>

#include "common/ac_list.h"
#include "common/ac_lock.h"
#include "common/ac_types.h"

struct apconfig;

enum config_sql_type {
    CONFIG_SQL_LED = 0,
    CONFIG_SQL_STATUS = 1,
    CONFIG_SQL_IP = 2,
    CONFIG_SQL_APNAME = 3,
    CONFIG_SQL_RF = 4,
    CONFIG_SQL_WL_BASIC = 5,
    CONFIG_SQL_REBOOT = 6,
    CONFIG_SQL_ALARM = 7,
    CONFIG_SQL_VERSION = 8,
    CONFIG_SQL_ALARM_EVENT = 9,
    CONFIG_SQL_ALARM_NAME = 10,
    CONFIG_SQL_REBOOT_NAME = 11,
    CONFIG_SQL_DELETE_AP = 12,
    CONFIG_SQL_ADD_AP = 13,
    CONFIG_SQL_WLRF = 14,
    CONFIG_SQL_ADVANCE = 15,
    CONFIG_SQL_CLI_LIMIT = 16,
    CONFIG_SQL_CHANNEL = 17,
    CONFIG_SQL_WL_POLICY_NAME = 18,
    CONFIG_SQL_PASSWORD_NAME = 19,
    CONFIG_SQL_QVLAN_NAME = 20,
    CONFIG_SQL_WL_DEPLOY_NAME = 21,
};

struct sql_flash_queue {
    list_node list;
    int type;  // config_sql_type
    int index; // radio or ssid_id, where the type needs one
    UINT8 ethaddr[AC_MAC_LEN];
};
typedef struct sql_flash_queue SQL_FLASH_QUEUE;
static_assert(sizeof(SQL_FLASH_QUEUE) <= 64, "a note fits its pool block");

inline constexpr unsigned int SQL_FLASH_NOTES_MAX = 65536;
// The last of them are for deletions: the next join of an AP writes what other notes would have, but nothing brings a
// lost deletion back, and the AP would be there again after a restart.
inline constexpr unsigned int SQL_FLASH_NOTES_KEPT = 1024;

extern ac_mutex g_sql_flash_mutex;
extern list_node g_sql_flash_queue AC_GUARDED_BY(g_sql_flash_mutex);
extern sem_t sql_flash_sig;

// Queues a note and wakes the thread. 0; 255 after perror("malloc") when no block can be had: the change then stays in
// memory alone. Too many waiting notes count as that, with one line for all that are lost until half are written; their
// number is a line then.
int sql_flash_queue_in(int type, int index, const UINT8* ethaddr);

// One pass: writes what the notes ask for, oldest first, each once. The consumer only. A failed write is a line and its
// note is spent all the same.
void sql_flash_queue_out();

// The pool of notes, then the word to the producers. Called by the thread, and in tests in its place; a second call
// finds the pool and makes none. false without memory.
bool sql_flash_pools_make();

// The thread; its argument is not used. Doesn't return.
void* thread_write_flash(void*);

// Frees the radio and SSID nodes of a record and leaves the record. The caller holds g_apconfig_mutex or the record is
// not linked.
void free_list_node(struct apconfig* node);
