// acwtp_burst - short answers that leave together.
//
// A system call for each echo reply is a fifth of what an echo costs. While a fleet's echoes stand in the queue, their
// replies are collected and leave with one call. Nothing waits for a frame yet to come: whoever opens a burst ends it
// before it sleeps, and empties it before it does anything that may take longer than another reply.
//
// Threads  a burst belongs to the thread that opens it; other threads send past it. One at a time per thread.
#pragma once

#include <netinet/in.h>

#include <array>

#include "ac_wtp_protocol/ac_frame_wire.h"
#include "platform/ac_net.h"

class acwtp_burst {
public:
    acwtp_burst();
    ~acwtp_burst(); // sends what waits
    acwtp_burst(const acwtp_burst&) = delete;
    acwtp_burst& operator=(const acwtp_burst&) = delete;

    // Sends all that waits, oldest first. One that the system refuses is tried once more by itself, so that its failure
    // is told as any other; those behind it leave all the same.
    void send_waiting();

    // Takes a frame without payload; sends what waits when the burst is full.
    void add(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* pkt);

private:
    struct answer {
        UINT8 ip[4];
        UINT16 port;
        CLOUD_AP_UDP_PKT pkt;
    };
    std::array<answer, AC_NET_BURST> waiting_ = {};
    std::size_t count_ = 0;
};

// Sends a frame without payload as send_layer3_udp_data does, or lets it wait in the calling thread's burst: that is 0,
// and a failure is printed when it comes.
AC_RET acwtp_answer(const UINT8* ip, UINT16 port, const CLOUD_AP_UDP_PKT* pkt);
