// apconfig_fixture - what the tests of the AP table share: raw bytes, printed lines, texts in fixed fields.
#pragma once

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "common/ac_alloc.h"
#include "test_world.h"

namespace apconfig_test {

using Bytes = std::vector<UINT8>;

inline void put(Bytes& into, std::size_t at, std::initializer_list<int> bytes)
{
    ASSERT_LE(at + bytes.size(), into.size());
    for (int byte : bytes)
        into[at++] = static_cast<UINT8>(byte);
}

inline void put(Bytes& into, std::size_t at, const std::string& text)
{
    ASSERT_LE(at + text.size(), into.size());
    for (char c : text)
        into[at++] = static_cast<UINT8>(c);
}

inline void append(Bytes& to, const Bytes& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

template <typename T> Bytes raw(const T& record)
{
    Bytes bytes(sizeof(T));
    memcpy(bytes.data(), &record, sizeof(T));
    return bytes;
}

template <typename T> T from_bytes(const Bytes& bytes)
{
    T record;
    EXPECT_EQ(bytes.size(), sizeof(T));
    memcpy(&record, bytes.data(), sizeof(T));
    return record;
}

// A copy of exactly `length` bytes on the heap, so that a read behind it is a read out of bounds.
inline Bytes cut(const Bytes& bytes, std::size_t length)
{
    Bytes copy(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length));
    copy.shrink_to_fit();
    return copy;
}

inline Bytes name32(const std::string& text)
{
    Bytes bytes(32);
    put(bytes, 0, text);
    return bytes;
}

inline std::string text_of(std::span<const UINT8> field)
{
    std::string text;
    for (UINT8 c : field) {
        if (c == 0) break;
        text += static_cast<char>(c);
    }
    return text;
}

template <std::size_t N> void set_text(UINT8 (&field)[N], const std::string& text)
{
    memset(field, 0, N);
    memcpy(field, text.data(), std::min(N, text.size()));
}

// What follows "Error->function(line)--" of each failure line in an output, line ends included.
inline std::vector<std::string> error_texts(const std::string& output)
{
    const std::string start = "Error->";
    const std::string end = ")--";
    std::vector<std::string> texts;
    for (std::size_t at = output.find(start); at != std::string::npos;) {
        const std::size_t next = output.find(start, at + start.size());
        const std::string line = output.substr(at, next == std::string::npos ? next : next - at);
        const std::size_t text = line.find(end);
        texts.push_back(text == std::string::npos ? line : line.substr(text + end.size()));
        at = next;
    }
    return texts;
}

using Texts = std::vector<std::string>;

// Puts a row into the product table, so that a test has a type of its own making.
inline void test_product(UINT16 ap_type, UINT8 ssid_num_24g, UINT8 ssid_num_5g, UINT8 rf_num)
{
    PRODUCT_AP row{};
    memcpy(row.ap_name, "test", 4);
    row.ssid_num_24g = ssid_num_24g;
    row.ssid_num_5g = ssid_num_5g;
    row.rf_num = rf_num;
    row.ap_type = ap_type;
    ASSERT_TRUE(acwtp_product_load(&row));
}

inline APCONFIG* record_of(const Mac& mac)
{
    return apconfig_find(mac.data());
}

inline CONFIG_WL_RF& rf_of(APCONFIG* node, UINT8 radio)
{
    CONFIG_WL_RF_LIST* found = apconfig_find_rf_node(&node->list_rf, radio);
    EXPECT_NE(found, nullptr);
    return found->rf;
}

inline CONFIG_WL_BASIC& wl_of(APCONFIG* node, UINT8 ssid_id)
{
    CONFIG_WL_BASIC_LIST* found = apconfig_find_wlbasic_node(&node->list_wl, ssid_id);
    EXPECT_NE(found, nullptr);
    return found->wl_basic;
}

// Unlinks and frees the node of a radio, as if the AP had never reported it.
inline void drop_rf(APCONFIG* node, UINT8 radio)
{
    CONFIG_WL_RF_LIST* found = apconfig_find_rf_node(&node->list_rf, radio);
    ASSERT_NE(found, nullptr);
    list_del(&found->list);
    ac_retire(found);
}

inline void drop_wl(APCONFIG* node, UINT8 ssid_id)
{
    CONFIG_WL_BASIC_LIST* found = apconfig_find_wlbasic_node(&node->list_wl, ssid_id);
    ASSERT_NE(found, nullptr);
    list_del(&found->list);
    ac_retire(found);
}

} // namespace apconfig_test

using namespace apconfig_test;
