// ac_text - fixed-width text fields, MAC and IP texts.
//
// A field of fixed width is not a string: it may use every byte. field_to_text makes a bounded string of it,
// text_to_field fills one from a string and zeroes the rest.
#pragma once

#include <cstring>
#include <span>

#include "common/ac_types.h"

// Copies a field up to its first zero byte into `text`, always terminated; returns the length.
std::size_t field_to_text(std::span<const UINT8> field, std::span<char> text);
void text_to_field(const char* text, std::span<UINT8> field);

// Length of a field's text: up to the first zero byte, at most the field's width.
std::size_t field_length(std::span<const UINT8> field);

// "%02x:%02x:%02x:%02x:%02x:%02x", lower case.
struct ac_mac_text {
    char text[AC_MAC_TEXT];
    explicit ac_mac_text(const UINT8* mac);
    const char* c_str() const { return text; }
};

// "%u.%u.%u.%u" of four bytes in dotted order.
struct ac_ip_text {
    char text[16];
    explicit ac_ip_text(const UINT8* ip);
    const char* c_str() const { return text; }
};

// 0 when two 6-byte addresses are equal.
inline int compare_ether_addr(const void* a, const void* b)
{
    return memcmp(a, b, AC_MAC_LEN) != 0 ? 1 : 0;
}

inline bool ac_mac_is_zero(const UINT8* mac)
{
    static constexpr UINT8 zero[AC_MAC_LEN] = {};
    return memcmp(mac, zero, AC_MAC_LEN) == 0;
}

// printf arguments of a MAC, for lines whose format spells out the six fields.
#define AC_MAC_ARGS(m) (m)[0], (m)[1], (m)[2], (m)[3], (m)[4], (m)[5]
#define AC_IP_ARGS(i) (i)[0], (i)[1], (i)[2], (i)[3]
