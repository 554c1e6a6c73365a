#include "thread_stub.h"

#include <pthread.h>

#include <cerrno>

namespace {

bool g_pretend = false;
int g_before_failure = -1;
std::function<void()> g_at_failure;
std::vector<thread_entry> g_asked_for;

} // namespace

void threads_pretend(int before_failure, std::function<void()> at_failure)
{
    g_pretend = true;
    g_before_failure = before_failure;
    g_at_failure = std::move(at_failure);
    g_asked_for.clear();
}

void threads_real()
{
    g_pretend = false;
    g_at_failure = nullptr;
}

const std::vector<thread_entry>& threads_asked_for()
{
    return g_asked_for;
}

// The linker leads every call of the daemon's objects here (--wrap).
extern "C" int __real_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, thread_entry entry,
                                     void* argument);
extern "C" int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, thread_entry entry,
                                     void* argument);

int __wrap_pthread_create(pthread_t* thread, const pthread_attr_t* attributes, thread_entry entry, void* argument)
{
    if (!g_pretend) return __real_pthread_create(thread, attributes, entry, argument);
    g_asked_for.push_back(entry);
    if (g_before_failure-- != 0) {
        *thread = pthread_self();
        return 0;
    }
    if (g_at_failure) g_at_failure();
    return EAGAIN;
}
