#include "ac_wtp_protocol/acwtp_burst.h"

#include <cstring>

#include "ac_wtp_protocol/acwtp_transport.h"
#include "common/ac_atomic.h"

static thread_local acwtp_burst* t_burst = nullptr;

acwtp_burst::acwtp_burst()
{
    t_burst = this;
}

acwtp_burst::~acwtp_burst()
{
    send_waiting();
    t_burst = nullptr;
}

void acwtp_burst::add(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* pkt)
{
    if (count_ == waiting_.size()) send_waiting();
    answer& next = waiting_[count_++];
    memcpy(next.ip, ip, sizeof next.ip);
    next.port = port;
    memcpy(&next.pkt, pkt, sizeof next.pkt);
}

void acwtp_burst::send_waiting()
{
    std::array<ac_net_datagram, AC_NET_BURST> datagrams;
    for (std::size_t i = 0; i < count_; i++) {
        const answer& next = waiting_[i];
        datagrams[i] = {{reinterpret_cast<const UINT8*>(&next.pkt), sizeof next.pkt},
                        acwtp_address(next.ip, next.port)};
    }
    for (std::size_t sent = 0; sent < count_; sent++) {
        sent += ac_net_send_burst(ac_load(gacwtp), {&datagrams[sent], count_ - sent});
        if (sent < count_) (void)send_layer3_udp_data(waiting_[sent].ip, waiting_[sent].port, &waiting_[sent].pkt);
    }
    count_ = 0;
}

AC_RET acwtp_answer(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* pkt)
{
    if (t_burst == nullptr || pkt->msg_length != 0) return send_layer3_udp_data(ip, port, pkt);
    t_burst->add(ip, port, pkt);
    return AC_RET_OK;
}
