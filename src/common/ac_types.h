// ac_types - the widths, truth values and result codes that every unit speaks.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

using UINT8 = std::uint8_t;
using UINT16 = std::uint16_t;
using UINT32 = std::uint32_t;
using INT8 = std::int8_t;

// Wire and control records leave as they lie in memory.
static_assert(std::endian::native == std::endian::little, "records cross every interface as raw little-endian images");
static_assert(sizeof(int) == 4 && sizeof(short) == 2, "widths that the records rely on");

enum ACWTPBool { ACWTP_FALSE = 0, ACWTP_TRUE = 1 };

enum ac_ret {
    AC_RET_OK = 0,
    AC_RET_APP_RUNNING = 1,
    AC_RET_APP_DEAD = 2,
    AC_RET_CONFIG_TIME_OUT = 3, // of a report: the stored configuration is newer than the AP's
    AC_RET_CONFIG_ERROR = 4,
    AC_RET_ERROR = 255,
    AC_RET_NULL_POINTER = 1001,
    AC_RET_INVALID_PARAM = 1002,
};
typedef enum ac_ret AC_RET;

inline constexpr std::size_t AC_MAC_LEN = 6;       // bytes of a MAC address, an AP's identity
inline constexpr std::size_t AC_MAC_TEXT = 18;     // "%02x:" six times, less a colon, and the terminator
inline constexpr std::size_t AC_NAME_LEN = 32;     // width of name fields; all 32 may be used, so never strlen them
inline constexpr std::size_t AC_PRODUCT_NUM = 200; // rows of g_ap_product
inline constexpr int AC_SSID_MAX = 12;             // 0 to 7: 2.4 GHz, 8 to 11: 5 GHz
inline constexpr int AC_RADIO_MAX = 2;
