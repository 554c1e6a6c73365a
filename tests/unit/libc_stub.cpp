#include "libc_stub.h"

#include <semaphore.h>

#include <cerrno>

namespace {

unsigned long g_refused = 0;
std::vector<std::pair<int, int>> g_mallopt_calls;
std::function<void()> g_after_post;

} // namespace

void ioctl_refuse(unsigned long request)
{
    g_refused = request;
}

const std::vector<std::pair<int, int>>& mallopt_calls()
{
    return g_mallopt_calls;
}

void after_next_sem_post(std::function<void()> action)
{
    g_after_post = std::move(action);
}

// Where times of 64 bits are not the machine's own, the C library's headers have another function for each ioctl.
#if defined __USE_TIME_BITS64 && __WORDSIZE == 32
#define REAL_IOCTL __real___ioctl_time64
#define WRAP_IOCTL __wrap___ioctl_time64
#else
#define REAL_IOCTL __real_ioctl
#define WRAP_IOCTL __wrap_ioctl
#endif

// The linker leads every call of the daemon's objects here (--wrap). The daemon's ioctls all take a pointer.
extern "C" int REAL_IOCTL(int fd, unsigned long request, void* argument);
extern "C" int WRAP_IOCTL(int fd, unsigned long request, void* argument);
extern "C" int __real_mallopt(int parameter, int value);
extern "C" int __wrap_mallopt(int parameter, int value);
extern "C" int __real_sem_post(sem_t* sem);
extern "C" int __wrap_sem_post(sem_t* sem);

int WRAP_IOCTL(int fd, unsigned long request, void* argument)
{
    if (request != g_refused) return REAL_IOCTL(fd, request, argument);
    errno = ENODEV;
    return -1;
}

int __wrap_mallopt(int parameter, int value)
{
    g_mallopt_calls.emplace_back(parameter, value);
    return __real_mallopt(parameter, value);
}

int __wrap_sem_post(sem_t* sem)
{
    const int result = __real_sem_post(sem);
    if (!g_after_post) return result;
    const std::function<void()> action = std::exchange(g_after_post, nullptr);
    action();
    return result;
}
