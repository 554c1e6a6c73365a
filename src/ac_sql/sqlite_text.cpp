#include "ac_sql/sqlite_text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/ac_alloc.h"
#include "common/ac_text.h"

char* encode_sql_ssid(const UINT8* src, std::size_t len, char* dst)
{
    if (src == nullptr || len == 0) return nullptr;
    char* to = dst;
    for (const UINT8 byte : std::span(src, len)) {
        if (byte == '\'') *to++ = '\'';
        *to++ = static_cast<char>(byte);
    }
    return dst;
}

sql_quoted::sql_quoted(std::span<const UINT8> field)
{
    const std::size_t length = std::min(field_length(field), SQL_FIELD_MAX);
    encode_sql_ssid(field.data(), length, text);
}

std::span<const UINT8> field_by_length(std::span<const UINT8> field, std::size_t length)
{
    return field.first(std::min(length, field.size()));
}

sql_text::sql_text(std::size_t reserve) : buf_(static_cast<char*>(ac_malloc(reserve))), size_(reserve)
{
    if (buf_ != nullptr) buf_[0] = '\0';
}

sql_text::~sql_text()
{
    ac_free(buf_);
}

// Afterwards the buffer has `needed` bytes, or there is none.
void sql_text::grow(std::size_t needed)
{
    const std::size_t size = std::max(needed, 2 * size_);
    auto* wider = static_cast<char*>(ac_malloc(size));
    if (wider != nullptr) memcpy(wider, buf_, used_ + 1);
    ac_free(buf_);
    buf_ = wider;
    size_ = size;
}

void sql_text::append(const char* format, ...)
{
    for (int tries = 0; tries < 2 && buf_ != nullptr; tries++) {
        va_list args;
        va_start(args, format);
        // The analyzer loses sight of va_start when it looks at several files in one run.
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
        const int length = vsnprintf(buf_ + used_, size_ - used_, format, args);
        va_end(args);
        if (length < 0) break;
        const std::size_t needed = used_ + static_cast<std::size_t>(length) + 1;
        if (needed <= size_) {
            used_ = needed - 1;
            return;
        }
        grow(needed);
    }
    ac_free(buf_);
    buf_ = nullptr;
    used_ = 0;
}

UINT8* ethaddr_aton(const char* str, UINT8* out)
{
    if (str == nullptr) str = "";
    const std::size_t length = strlen(str);
    UINT8 mac[AC_MAC_LEN];
    for (std::size_t i = 0; i < AC_MAC_LEN; i++) {
        const char* field = 3 * i < length ? str + 3 * i : ""; // a short text has no further fields
        char* end = nullptr;
        const long value = strtol(field, &end, 16);
        if (end - field != 2 || value < 0 || value > 255) {
            printf("Bad mac address '%s'\n", str);
            return nullptr;
        }
        mac[i] = static_cast<UINT8>(value);
    }
    memcpy(out, mac, AC_MAC_LEN);
    return out;
}

int sql_ip_number(const UINT8* ip)
{
    int number = 0;
    memcpy(&number, ip, sizeof number);
    return number;
}

void sql_ip_bytes(int number, UINT8* ip)
{
    memcpy(ip, &number, sizeof number);
}

void sql_text::clear()
{
    used_ = 0;
    if (buf_ == nullptr) buf_ = static_cast<char*>(ac_malloc(size_));
    if (buf_ != nullptr) buf_[0] = '\0';
}
