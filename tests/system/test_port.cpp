#include "test_port.h"

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <random>
#include <string>

namespace {

struct Range {
    int first;
    int last;
    int size() const { return last - first + 1; }
};

constexpr Range UNPRIVILEGED = {1024, 65535};
constexpr int ENOUGH = 256; // ports, for the tests of a machine that run at a time

// The larger part of what the system does not hand out by itself.
Range quiet_range()
{
    Range busy = {32768, 60999};
    std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> busy.first >> busy.last;
    const Range below = {UNPRIVILEGED.first, busy.first - 1};
    const Range above = {busy.last + 1, UNPRIVILEGED.last};
    const Range larger = below.size() >= above.size() ? below : above;
    return larger.size() >= ENOUGH ? larger : UNPRIVILEGED;
}

// Whether some service has it that is no test of ours.
bool in_use(int port)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in any = {};
    any.sin_family = AF_INET;
    any.sin_port = htons(static_cast<unsigned short>(port));
    const bool taken = bind(fd, reinterpret_cast<const sockaddr*>(&any), sizeof any) != 0;
    close(fd);
    return taken;
}

// The name is in no directory: the kernel forgets it with the process, however that ends.
int hold_name(const std::string& name)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path + 1, name.data(), name.size());
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), length) == 0) return fd;
    close(fd);
    return -1;
}

} // namespace

TestPort::TestPort()
{
    const Range range = quiet_range();
    std::random_device random;
    const int start = static_cast<int>(random() % static_cast<unsigned>(range.size()));
    for (int i = 0; i < range.size(); i++)
        if (reserve(range.first + (start + i) % range.size())) return;
    ADD_FAILURE() << "no UDP port between " << range.first << " and " << range.last << " is free";
}

TestPort::~TestPort()
{
    if (holder_ >= 0) close(holder_);
}

bool TestPort::reserve(int number)
{
    holder_ = hold_name("wtp-test-port-" + std::to_string(number));
    if (holder_ < 0) return false;
    if (!in_use(number)) {
        number_ = number;
        return true;
    }
    close(holder_);
    holder_ = -1;
    return false;
}
