// acwtp_thread - the table of threads, their pools and the process-wide values of the start.
#pragma once

#include <pthread.h>
#include <semaphore.h>

#include "ac_wtp_protocol/acwtp_mempool.h"
#include "common/ac_types.h"

enum ac_pthread {
    PTHREAD_AC_MSG = 0,
    PTHREAD_AC_SQL = 1,
    PTHREAD_DISCORVER = 2,
    PTHREAD_RUNNING = 3,
    PTHREAD_UDP_QUEUE = 4,
    PTHREAD_AC_CHECK = 5,
    PTHREAD_AC_UPGRADE = 6,
    AC_WTP_THREAD_NUM = 7,
};

struct acwtp_thread_mempool {
    pthread_t tid;
    int pid;
    CWMemoryPool* mempool;
    CWMemoryPool* mempool_1;
};
typedef struct acwtp_thread_mempool ACWTP_THREAD_MEMPOOL;

// Each row is written by its own thread as its first action. Pools are read by others only after acwtp_pools_ready.
extern ACWTP_THREAD_MEMPOOL g_ac_pthread[AC_WTP_THREAD_NUM];

extern ACWTPBool keep_loop; // set once, before the first thread; nothing clears it
extern char g_sys_lang[32];

struct mac_addr {
    unsigned char addr_1, addr_2, addr_3, addr_4, addr_5, addr_6;
};
extern UINT8 g_ac_ip[4];
extern UINT8 g_ac_mask[4];
extern struct mac_addr g_ac_mac;
extern UINT8 _g_ac_mac[7];

// Fills tid and pid of a row.
void acwtp_thread_row(ac_pthread row);
// A CWMemoryPool record, or null; the caller says what its absence means.
CWMemoryPool* acwtp_pool_record();

// A consumer says that its pools stand; producers wait until they do. Rows: PTHREAD_AC_SQL, PTHREAD_DISCORVER,
// PTHREAD_UDP_QUEUE.
void acwtp_pools_ready(ac_pthread row);
void acwtp_pools_wait(ac_pthread row);

// Waits on a semaphore and takes all its further posts along: one pass serves them all.
void acwtp_sem_wait_all(sem_t* sem);

// The diagnostic log "/etc/ac_conf". 0, or 255 for a null text or a failed open.
int hd_ac_local_log(const char* text);
int hd_ac_local_log_clear();
// The line with which each thread starts: "<before> pid:%d pthread_id:%d<after>".
void acwtp_thread_log(const char* before, const char* after);
