#include "platform/ac_net.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
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

static std::size_t burst_to(ac_net_sink sink, std::span<const ac_net_datagram> datagrams)
{
    std::size_t sent = 0;
    while (sent < datagrams.size() && sink(datagrams[sent].bytes, &datagrams[sent].to) != -1)
        sent++;
    return sent;
}

std::size_t ac_net_send_burst(int fd, std::span<const ac_net_datagram> datagrams)
{
    const ac_net_sink sink = g_sink.load(std::memory_order_acquire);
    if (sink != nullptr) return burst_to(sink, datagrams);
    const std::size_t count = std::min(datagrams.size(), AC_NET_BURST);
    std::array<struct iovec, AC_NET_BURST> pieces;
    std::array<struct mmsghdr, AC_NET_BURST> messages = {};
    for (std::size_t i = 0; i < count; i++) {
        // The kernel reads both; the records are of one type for both directions.
        pieces[i] = {const_cast<UINT8*>(datagrams[i].bytes.data()), datagrams[i].bytes.size()};
        messages[i].msg_hdr.msg_name = const_cast<struct sockaddr_in*>(&datagrams[i].to);
        messages[i].msg_hdr.msg_namelen = sizeof datagrams[i].to;
        messages[i].msg_hdr.msg_iov = &pieces[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    const int sent = sendmmsg(fd, messages.data(), static_cast<unsigned>(count), 0);
    return sent < 0 ? 0 : static_cast<std::size_t>(sent);
}

void ac_net_capture(ac_net_sink sink)
{
    g_sink.store(sink, std::memory_order_release);
}
