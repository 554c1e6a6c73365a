#include "common/ac_lock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "ac_mib/apconfig.h"
#include "ac_mib/sql_flash_queue.h"

namespace {

ac_mutex g_first("first", AC_RANK_CLIENT);
ac_mutex g_second("second", AC_RANK_APCONFIG);
ac_mutex g_peer("peer", AC_RANK_APCONFIG);
ac_mutex g_third("third", AC_RANK_SQL_FLASH);

// What the compiler's analysis would not let pass is what these are to try.
void take_both(ac_mutex& one, ac_mutex& other) AC_NO_TSA
{
    ac_mutex_acquire(one);
    ac_mutex_acquire(other);
    ac_mutex_release(other);
    ac_mutex_release(one);
}

} // namespace

TEST(AcLock, one_thread_at_a_time_is_inside)
{
    static constexpr int rounds = 20000;
    int counted = 0;
    const auto count = [&] {
        for (int i = 0; i < rounds; i++) {
            ac_lock lock(g_first);
            counted++;
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counted, 2 * rounds);
}

TEST(AcLock, the_lock_ends_with_its_block)
{
    {
        ac_lock lock(g_first);
        EXPECT_EQ(pthread_mutex_trylock(&g_first.m), EBUSY);
    }
    EXPECT_EQ(pthread_mutex_trylock(&g_first.m), 0);
    pthread_mutex_unlock(&g_first.m);
}

TEST(AcLock, locks_taken_in_their_order_may_nest)
{
    ac_lock first(g_first);
    ac_lock second(g_second);
    ac_lock third(g_third);
    EXPECT_EQ(pthread_mutex_trylock(&g_third.m), EBUSY);
}

TEST(AcLock, locks_released_in_any_order_leave_nothing_behind)
{
    for (int round = 0; round < 20; round++) { // more often than a thread may hold locks at once
        ac_lock first(g_first);
        ac_lock third(g_third);
    }
    ac_lock first(g_first);
    EXPECT_EQ(pthread_mutex_trylock(&g_first.m), EBUSY);
}

TEST(AcLock, a_destroyed_mutex_is_passed_through)
{
    ac_mutex gone("gone", AC_RANK_CLIENT);
    ac_mutex_destroy(gone);
    take_both(gone, gone);
    ac_mutex_init(gone);
    ac_lock lock(gone);
    EXPECT_EQ(pthread_mutex_trylock(&gone.m), EBUSY);
}

TEST(AcLock, the_client_table_comes_before_the_ap_table_and_that_before_the_flash_queue)
{
    EXPECT_LT(AC_RANK_CLIENT, AC_RANK_APCONFIG);
    EXPECT_LT(g_apconfig_mutex.rank, g_sql_flash_mutex.rank);
    EXPECT_EQ(g_apconfig_mutex.rank, AC_RANK_APCONFIG);
}

TEST(AcLock, all_who_wait_have_the_mutex_before_the_one_who_lets_them_in_goes_on)
{
    static constexpr int waiters = 3;
    ac_mutex mutex("shared", AC_RANK_APCONFIG);
    for (int round = 0; round < 200; round++) {
        int had = 0;
        std::vector<std::thread> threads;
        {
            ac_lock lock(mutex);
            for (int i = 0; i < waiters; i++)
                threads.emplace_back([&] {
                    ac_lock inner(mutex);
                    had++;
                });
            while (mutex.waiting[0].load() + mutex.waiting[1].load() < waiters)
                std::this_thread::yield();
        }
        ac_mutex_let_in(mutex);
        {
            ac_lock lock(mutex);
            EXPECT_EQ(had, waiters);
        }
        for (std::thread& thread : threads)
            thread.join();
    }
}

#if defined(WTP_LOCK_ORDER)
namespace {

void find_under_the_table_s_lock() AC_NO_TSA
{
    const UINT8 mac[6] = {2, 0, 0, 0, 0, 1};
    ac_mutex_acquire(g_apconfig_mutex);
    apconfig_find(mac);
}

void take_a_lower_rank_under_two_others() AC_NO_TSA
{
    ac_mutex_acquire(g_first);
    take_both(g_third, g_second);
}

} // namespace

TEST(AcLockDeathTest, a_broken_order_aborts_with_both_names)
{
    EXPECT_EXIT(take_both(g_second, g_first), ::testing::KilledBySignal(SIGABRT),
                "lock order broken: first taken while second is held");
}

TEST(AcLockDeathTest, two_mutexes_of_one_rank_do_not_nest)
{
    EXPECT_EXIT(take_both(g_second, g_peer), ::testing::KilledBySignal(SIGABRT),
                "lock order broken: peer taken while second is held");
}

TEST(AcLockDeathTest, a_mutex_is_not_recursive)
{
    EXPECT_EXIT(take_both(g_second, g_second), ::testing::KilledBySignal(SIGABRT),
                "lock order broken: second taken while second is held");
}

TEST(AcLockDeathTest, each_lock_that_is_held_counts)
{
    EXPECT_EXIT(take_a_lower_rank_under_two_others(), ::testing::KilledBySignal(SIGABRT),
                "lock order broken: second taken while third is held");
}

TEST(AcLockDeathTest, a_finder_under_the_table_s_own_lock_aborts)
{
    EXPECT_EXIT(find_under_the_table_s_lock(), ::testing::KilledBySignal(SIGABRT),
                "lock order broken: g_apconfig_mutex taken while g_apconfig_mutex is held");
}
#endif
