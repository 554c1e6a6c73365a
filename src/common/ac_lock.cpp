#include "common/ac_lock.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>

#if defined(WTP_LOCK_ORDER)
namespace {

constexpr int HELD_MAX = 8; // deepest nesting of the system is 3

struct held_locks {
    const ac_mutex* mutex[HELD_MAX];
    int count = 0;
};
thread_local held_locks t_held;

void order_check(const ac_mutex& wanted)
{
    for (int i = 0; i < t_held.count; i++) {
        if (t_held.mutex[i]->rank < wanted.rank) continue;
        fprintf(stderr, "lock order broken: %s taken while %s is held\n", wanted.name, t_held.mutex[i]->name);
        abort();
    }
    if (t_held.count == HELD_MAX) {
        fprintf(stderr, "more than %d mutexes held at once, the last is %s\n", HELD_MAX, wanted.name);
        abort();
    }
    t_held.mutex[t_held.count++] = &wanted;
}

void order_forget(const ac_mutex& released)
{
    for (int i = t_held.count - 1; i >= 0; i--) {
        if (t_held.mutex[i] != &released) continue;
        for (int j = i; j + 1 < t_held.count; j++)
            t_held.mutex[j] = t_held.mutex[j + 1];
        t_held.count--;
        return;
    }
}

} // namespace
#endif

void ac_mutex_init(ac_mutex& mutex)
{
    pthread_mutex_init(&mutex.m, nullptr);
    mutex.gone = false;
}

void ac_mutex_destroy(ac_mutex& mutex)
{
    pthread_mutex_destroy(&mutex.m);
    mutex.gone = true;
}

int ac_mutex_acquire(ac_mutex& mutex) AC_NO_TSA
{
    if (mutex.gone) return 0;
#if defined(WTP_LOCK_ORDER)
    order_check(mutex);
#endif
    if (pthread_mutex_trylock(&mutex.m) == 0) return 0; // the usual case costs no count
    std::atomic<int>& waiting = mutex.waiting[mutex.turn.load() % 2];
    waiting.fetch_add(1);
    const int result = pthread_mutex_lock(&mutex.m);
    if (waiting.fetch_sub(1) == 1) waiting.notify_all();
#if defined(WTP_LOCK_ORDER)
    if (result != 0) order_forget(mutex);
#endif
    return result;
}

int ac_mutex_release(ac_mutex& mutex) AC_NO_TSA
{
    if (mutex.gone) return 0;
    const int result = pthread_mutex_unlock(&mutex.m);
#if defined(WTP_LOCK_ORDER)
    if (result == 0) order_forget(mutex);
#endif
    return result;
}

void ac_mutex_let_in(ac_mutex& mutex)
{
    if (mutex.gone) return;
    // From here on newcomers count for the other turn. One that has read the old turn and isn't counted yet may be
    // missed; it then waits for one hold more.
    const std::atomic<int>& waiting = mutex.waiting[mutex.turn.fetch_add(1) % 2];
    for (int threads = waiting.load(); threads != 0; threads = waiting.load())
        waiting.wait(threads);
}
