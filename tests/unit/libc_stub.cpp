#include "libc_stub.h"

#include <cerrno>

namespace {

unsigned long g_refused = 0;
std::vector<std::pair<int, int>> g_mallopt_calls;

} // namespace

void ioctl_refuse(unsigned long request)
{
    g_refused = request;
}

const std::vector<std::pair<int, int>>& mallopt_calls()
{
    return g_mallopt_calls;
}

// The linker leads every call of the daemon's objects here (--wrap). The daemon's ioctls all take a pointer.
extern "C" int __real_ioctl(int fd, unsigned long request, void* argument);
extern "C" int __wrap_ioctl(int fd, unsigned long request, void* argument);
extern "C" int __real_mallopt(int parameter, int value);
extern "C" int __wrap_mallopt(int parameter, int value);

int __wrap_ioctl(int fd, unsigned long request, void* argument)
{
    if (request != g_refused) return __real_ioctl(fd, request, argument);
    errno = ENODEV;
    return -1;
}

int __wrap_mallopt(int parameter, int value)
{
    g_mallopt_calls.emplace_back(parameter, value);
    return __real_mallopt(parameter, value);
}
