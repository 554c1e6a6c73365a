// ap_frame - frames as an AP would send them, byte by byte.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <zlib.h>

#include <vector>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "test_world.h"

using Bytes = std::vector<UINT8>;

inline void put_16(Bytes& bytes, unsigned value)
{
    bytes.push_back(static_cast<UINT8>(value));
    bytes.push_back(static_cast<UINT8>(value >> 8));
}

inline void put_32(Bytes& bytes, UINT32 value)
{
    put_16(bytes, value & 0xFFFF);
    put_16(bytes, value >> 16);
}

struct ApFrame {
    Mac mac = test_mac(7);
    unsigned msg_type = 0;
    Bytes payload;
    unsigned proto = 4;
    unsigned seq_num = 9;
    unsigned pkt_type = 0x5858;
    unsigned reserve = 0;
    unsigned ap_type = 4;
    unsigned vendor = 0x1788;
    UINT32 crc = 0;
    std::int64_t msg_length = -1; // -1: that of the payload

    Bytes bytes() const
    {
        Bytes all(mac.begin(), mac.end());
        for (const unsigned field : {proto, seq_num, pkt_type, reserve, ap_type, vendor, msg_type})
            put_16(all, field);
        put_32(all, msg_length < 0 ? static_cast<UINT32>(payload.size()) : static_cast<UINT32>(msg_length));
        put_32(all, crc);
        all.insert(all.end(), payload.begin(), payload.end());
        return all;
    }
};

inline UINT32 crc_of(const Bytes& bytes)
{
    return static_cast<UINT32>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
}

inline Bytes deflated(const Bytes& plain)
{
    uLongf size = compressBound(static_cast<uLong>(plain.size()));
    Bytes packed(size);
    compress(packed.data(), &size, plain.data(), static_cast<uLong>(plain.size()));
    packed.resize(size);
    return packed;
}

inline struct sockaddr_in address_from(const char* ip, int port)
{
    struct sockaddr_in from = {};
    from.sin_family = AF_INET;
    from.sin_port = htons(static_cast<UINT16>(port));
    inet_pton(AF_INET, ip, &from.sin_addr);
    return from;
}

// An AP in the joined list, at 10.1.1.1 port 4000.
inline void join_ap(const Mac& mac, int state)
{
    ACWTP_JOIN_LIST entry = {};
    memcpy(entry.ap_mac, mac.data(), mac.size());
    static constexpr UINT8 ip[4] = {10, 1, 1, 1};
    memcpy(entry.ap_ip, ip, sizeof ip);
    entry.port = 4000;
    entry.ap_status = 1;
    entry.current_status = state;
    insert_to_wtp_listinfo(&entry);
}
