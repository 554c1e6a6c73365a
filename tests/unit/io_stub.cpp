#include "io_stub.h"

#include <algorithm>
#include <cerrno>
#include <deque>
#include <utility>

namespace {

std::deque<io_step> g_read_steps;
std::deque<io_step> g_send_steps;
std::vector<mode_t> g_modes;
std::function<void()> g_before_send;

// How many bytes the next call is for, or -1 with errno set.
ssize_t next_step(std::deque<io_step>& steps, std::size_t count)
{
    if (steps.empty()) return static_cast<ssize_t>(count);
    const io_step step = steps.front();
    steps.pop_front();
    if (step.result == -1) {
        errno = step.error;
        return -1;
    }
    return std::min(step.result, static_cast<ssize_t>(count));
}

} // namespace

void io_script_read(std::vector<io_step> steps)
{
    g_read_steps.assign(steps.begin(), steps.end());
}

void io_script_send(std::vector<io_step> steps)
{
    g_send_steps.assign(steps.begin(), steps.end());
}

void io_before_send(std::function<void()> look)
{
    g_before_send = std::move(look);
}

std::size_t io_steps_left()
{
    return g_read_steps.size() + g_send_steps.size();
}

const std::vector<mode_t>& io_modes_before_chmod()
{
    return g_modes;
}

// The linker leads every call of the daemon's objects here (--wrap).
extern "C" ssize_t __real_read(int fd, void* buffer, std::size_t count);
extern "C" ssize_t __wrap_read(int fd, void* buffer, std::size_t count);
extern "C" ssize_t __real_send(int fd, const void* buffer, std::size_t count, int flags);
extern "C" ssize_t __wrap_send(int fd, const void* buffer, std::size_t count, int flags);
extern "C" int __real_chmod(const char* path, mode_t mode);
extern "C" int __wrap_chmod(const char* path, mode_t mode);

ssize_t __wrap_read(int fd, void* buffer, std::size_t count)
{
    const ssize_t allowed = next_step(g_read_steps, count);
    return allowed < 0 ? -1 : __real_read(fd, buffer, static_cast<std::size_t>(allowed));
}

ssize_t __wrap_send(int fd, const void* buffer, std::size_t count, int flags)
{
    if (g_before_send) g_before_send();
    const ssize_t allowed = next_step(g_send_steps, count);
    return allowed < 0 ? -1 : __real_send(fd, buffer, static_cast<std::size_t>(allowed), flags);
}

int __wrap_chmod(const char* path, mode_t mode)
{
    struct stat before = {};
    if (stat(path, &before) == 0) g_modes.push_back(before.st_mode & 07777);
    return __real_chmod(path, mode);
}
