// ac_lock - the mutexes of the process, the guard that holds them, and their order.
//
// Order    A thread may take a mutex only while all it holds stand before it in ac_lock_rank. Builds with
//          WTP_LOCK_ORDER check this on every lock and abort with both names. Two mutexes of the same rank never nest.
// Rules    Only ac_lock locks and unlocks. Nothing slow runs under a mutex but: under g_apconfig_mutex one flash note's
//          SQL and the sends of send_pkt_to_all_ap; under g_msged_send_mutex the sends of one work item; under
//          g_apjioned_mutex the discovery reply before its AP's insertion, and the debug dump of the list.
// Turns    A mutex goes to whoever asks first when it is free, which is mostly the thread that has just let go of it. A
//          thread that holds one for long, again and again, calls ac_mutex_let_in between two holds.
#pragma once

#include <pthread.h>

#include <atomic>

#include "common/ac_thread_safety.h"

enum ac_lock_rank {
    AC_RANK_MSGED_SEND = 10,  // g_msged_send_mutex
    AC_RANK_CLIENT = 20,      // g_ac_client_mutex
    AC_RANK_UPGRADE = 25,     // acwtp_upgrade_mutex
    AC_RANK_APCONFIG = 30,    // g_apconfig_mutex
    AC_RANK_JOINED = 40,      // g_apjioned_mutex
    AC_RANK_ECHO_TIMER = 50,  // g_echo_timer_mutex
    AC_RANK_MSGED_TIMER = 52, // g_msged_timer_mutex
    AC_RANK_MSG = 60,         // acwtp_mutex, acwtp_msged_mutex
    AC_RANK_SKB = 70,         // g_udp_skb_mutex, g_discvr_udp_skb_mutex
    AC_RANK_SQL_FLASH = 80,   // g_sql_flash_mutex
    AC_RANK_SEND_MSG = 85,    // send_msg_mutex
    AC_RANK_MALLOC = 90,      // g_malloc_mutex
    AC_RANK_RETIRE = 95,      // the retired list
    AC_RANK_PLATFORM = 97,    // state inside the platform layer
};

struct AC_CAPABILITY("mutex") ac_mutex {
    pthread_mutex_t m = PTHREAD_MUTEX_INITIALIZER;
    const char* name;
    ac_lock_rank rank;
    bool gone = false; // destroyed at the stop: one thread is left, which may still pass through locking code
    // Threads that wait, counted by the turn in which they began; each call of ac_mutex_let_in begins the other turn.
    std::atomic<unsigned int> turn{0};
    std::atomic<int> waiting[2] = {0, 0};

    constexpr ac_mutex(const char* mutex_name, ac_lock_rank mutex_rank) : name(mutex_name), rank(mutex_rank) {}
    ac_mutex(const ac_mutex&) = delete;
    ac_mutex& operator=(const ac_mutex&) = delete;
};

// pthread_mutex_init with default attributes, and its counterpart at the stop.
void ac_mutex_init(ac_mutex& mutex);
void ac_mutex_destroy(ac_mutex& mutex);

// Used by ac_lock, and by lockAcMsgMutex and unlockAcMsgMutex, which tell their callers how it went. 0, or what
// pthreads gave. Abort on a broken order in builds that check it.
int ac_mutex_acquire(ac_mutex& mutex) AC_ACQUIRE(mutex);
int ac_mutex_release(ac_mutex& mutex) AC_RELEASE(mutex);

// Waits until every thread that waits for the mutex now has had it; who comes later is not waited for. The caller holds
// no mutex and is the only one to call this for that mutex.
void ac_mutex_let_in(ac_mutex& mutex);

class [[nodiscard]] AC_SCOPED_CAPABILITY ac_lock {
public:
    explicit ac_lock(ac_mutex& mutex) AC_ACQUIRE(mutex) : mutex_(mutex) { ac_mutex_acquire(mutex_); }
    ~ac_lock() AC_RELEASE() { ac_mutex_release(mutex_); }
    ac_lock(const ac_lock&) = delete;
    ac_lock& operator=(const ac_lock&) = delete;

private:
    ac_mutex& mutex_;
};
