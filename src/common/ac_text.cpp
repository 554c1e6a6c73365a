#include "common/ac_text.h"

#include <algorithm>
#include <cstdio>

std::size_t field_length(std::span<const UINT8> field)
{
    return static_cast<std::size_t>(std::find(field.begin(), field.end(), UINT8{0}) - field.begin());
}

std::size_t field_to_text(std::span<const UINT8> field, std::span<char> text)
{
    if (text.empty()) return 0;
    const std::size_t length = std::min(field_length(field), text.size() - 1);
    if (length != 0) memcpy(text.data(), field.data(), length);
    text[length] = '\0';
    return length;
}

void text_to_field(const char* text, std::span<UINT8> field)
{
    const std::size_t length = std::min(strlen(text), field.size());
    std::fill(field.begin(), field.end(), UINT8{0});
    if (length != 0) memcpy(field.data(), text, length);
}

ac_mac_text::ac_mac_text(const UINT8* mac)
{
    snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", AC_MAC_ARGS(mac));
}

ac_ip_text::ac_ip_text(const UINT8* ip)
{
    snprintf(text, sizeof text, "%u.%u.%u.%u", AC_IP_ARGS(ip));
}
