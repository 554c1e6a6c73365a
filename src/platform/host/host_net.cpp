#include "platform/ac_net.h"

#include <sys/socket.h>

#include <atomic>

namespace {

std::atomic<ac_net_sink> g_sink{nullptr};

} // namespace

long ac_net_send(int fd, std::span<const UINT8> datagram, const struct sockaddr_in* to)
{
    const ac_net_sink sink = g_sink.load(std::memory_order_acquire);
    if (sink != nullptr) return sink(datagram, to);
    return static_cast<long>(
        sendto(fd, datagram.data(), datagram.size(), 0, reinterpret_cast<const struct sockaddr*>(to), sizeof *to));
}

void ac_net_capture(ac_net_sink sink)
{
    g_sink.store(sink, std::memory_order_release);
}
