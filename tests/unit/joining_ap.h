// joining_ap - an AP as the controller's unit tests see it: frames by the layout tables, driven through reception and
// the queues' consumers, without a thread or a port.
#pragma once

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <regex>
#include <string>
#include <vector>

#include "ac_mib/apconfig.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ac_wtp_protocol/timer.h"
#include "common/ac_atomic.h"
#include "platform/ac_clock.h"
#include "test_world.h"

using Bytes = std::vector<UINT8>;

// What a line says, without the "Error->func(line)--" in front of each.
inline std::string said(const std::string& output)
{
    static const std::regex prefix("Error->[A-Za-z_0-9]+\\([0-9]+\\)--");
    return std::regex_replace(output, prefix, "");
}

inline Bytes join_bytes(Bytes head, const Bytes& tail)
{
    head.insert(head.end(), tail.begin(), tail.end());
    return head;
}

inline void put16(Bytes& bytes, std::size_t at, unsigned int value)
{
    bytes[at] = static_cast<UINT8>(value);
    bytes[at + 1] = static_cast<UINT8>(value >> 8);
}

inline void put32(Bytes& bytes, std::size_t at, UINT32 value)
{
    put16(bytes, at, value & 0xFFFF);
    put16(bytes, at + 2, value >> 16);
}

// The payload of a discovery request. A name of 32 characters leaves no zero behind it.
struct ProductSays {
    std::string name;
    UINT32 product_id = 0x70001;
    UINT8 ssid_num_24g = 4;
    UINT8 ssid_num_5g = 0;
    UINT8 rf_num = 1;
    UINT8 flag_old_crc = 0;
    unsigned int ap_type = 70;

    Bytes bytes() const
    {
        Bytes payload(44, 0);
        std::copy_n(name.begin(), std::min<std::size_t>(name.size(), 32), payload.begin());
        put32(payload, 32, product_id);
        payload[36] = ssid_num_24g;
        payload[37] = ssid_num_5g;
        payload[38] = rf_num;
        payload[39] = flag_old_crc;
        put16(payload, 40, ap_type);
        return payload;
    }
};

// A report in layout 4 of an AP with one radio and two SSIDs (types 1, 2 and 3): 352 bytes.
inline Bytes report_of_type_1(const char* version = "1")
{
    Bytes payload(352, 0);
    std::copy_n(version, std::min<std::size_t>(strlen(version), 2), payload.begin());
    payload[104] = 0x02; // radio 0, on
    for (std::size_t ssid = 0; ssid < 2; ssid++) {
        const std::size_t at = 132 + ssid * 110;
        payload[at] = static_cast<UINT8>(ssid);
        payload[at + 1] = 0x02; // on
        payload[at + 6] = static_cast<UINT8>('a' + ssid);
        payload[at + 38] = 1; // characters in the name
    }
    return payload;
}

struct JoiningAp {
    Mac mac;
    std::array<UINT8, 4> ip{192, 168, 1, 77};
    unsigned int port = 5001;
    unsigned int ap_type = 1;
    unsigned int layout = 4;
    unsigned int seq = 0x0021;
    unsigned int pkt_type = 0x5858;

    explicit JoiningAp(int number) : mac(test_mac(number)) {}

    Bytes frame(unsigned int msg_type, const Bytes& payload = {}) const
    {
        Bytes bytes(28, 0);
        std::copy(mac.begin(), mac.end(), bytes.begin());
        put16(bytes, 6, layout);
        put16(bytes, 8, seq);
        put16(bytes, 10, pkt_type);
        put16(bytes, 14, ap_type);
        put16(bytes, 16, 0x1788);
        put16(bytes, 18, msg_type);
        put32(bytes, 20, static_cast<UINT32>(payload.size()));
        return join_bytes(bytes, payload);
    }

    // The datagram reaches its queue.
    void post(const Bytes& datagram) const
    {
        struct sockaddr_in from = {};
        from.sin_family = AF_INET;
        from.sin_port = htons(static_cast<UINT16>(port));
        memcpy(&from.sin_addr, ip.data(), ip.size());
        alignas(8) UINT8 received[2048];
        std::copy(datagram.begin(), datagram.end(), received);
        manage_datagram({received, datagram.size()}, &from);
    }

    void send_raw(const Bytes& datagram) const
    {
        post(datagram);
        udp_discvr_skb_queue_out();
        udp_skb_queue_out();
    }

    void send(unsigned int msg_type, const Bytes& payload = {}) const { send_raw(frame(msg_type, payload)); }

    void discover(const Bytes& payload = {}) const { send(2, payload); }
    void configure(const char* version = "1") const { send(8, report_of_type_1(version)); }
    void echo() const { send(0); }
    // From first contact to AC_RUNNING.
    void join() const
    {
        discover();
        configure();
    }

    bool joined() const { return acwtp_joined_node_find(mac.data(), 0) != nullptr; }
    // The joined entry as it stands; zeros where there is none.
    ACWTP_JOIN_LIST entry() const
    {
        ACWTP_JOIN_LIST copy = {};
        (void)acwtp_joined_copy(mac.data(), &copy);
        return copy;
    }
    int state() const { return entry().current_status; }
};

// Ticks of 10 seconds until that much time has passed.
inline void pass(int seconds)
{
    for (int left = seconds; left > 0; left -= ACWTP_TICK_SECONDS) {
        ac_clock_advance(ACWTP_TICK_SECONDS);
        echo_timer_tick();
    }
}

// Of the AP's record; -1 where there is none.
inline int status_of(const JoiningAp& ap)
{
    const APCONFIG* record = apconfig_find(ap.mac.data());
    return record == nullptr ? -1 : ac_load(record->status);
}
