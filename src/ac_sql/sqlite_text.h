// sqlite_text - forming statements: doubled quotes, a text that grows, MACs in columns.
//
// Threads  values; no state of their own.
#pragma once

#include <span>

#include "common/ac_types.h"

// Copies `len` bytes into `dst`, doubling each "'". The caller has zeroed `dst` and sized it at twice `len`; a reader
// of strings needs one byte more. Returns `dst`; null for `len` 0 or a null `src`, `dst` then untouched.
char* encode_sql_ssid(const UINT8* src, std::size_t len, char* dst);

inline constexpr std::size_t SQL_FIELD_MAX = 64; // widest text field that enters a statement: the key of an SSID

// A field's text ready to stand between quotes in a statement: up to its first zero byte, quotes doubled.
struct sql_quoted {
    char text[2 * SQL_FIELD_MAX + 1] = {};
    explicit sql_quoted(std::span<const UINT8> field);
    const char* c_str() const { return text; }
};

// The first `length` bytes of a field whose length byte rules; a length beyond the field means all of it.
std::span<const UINT8> field_by_length(std::span<const UINT8> field, std::size_t length);

// A statement in the making. It grows with what is appended and is never cut: when memory is missing it turns bad,
// stays so, and sql_exec refuses it.
class sql_text {
public:
    explicit sql_text(std::size_t reserve = 256);
    ~sql_text();
    sql_text(const sql_text&) = delete;
    sql_text& operator=(const sql_text&) = delete;
    void clear(); // starts over; a bad text has another try at its memory
    void append(const char* format, ...) __attribute__((format(printf, 2, 3)));
    bool ok() const { return buf_ != nullptr; }
    const char* c_str() const { return buf_ != nullptr ? buf_ : ""; }
    std::size_t length() const { return used_; }

private:
    void grow(std::size_t needed);
    char* buf_;
    std::size_t size_;
    std::size_t used_ = 0;
};

// Parses a MAC of 17 characters; what stands between the fields is not tested. Returns `out`; null, with `out`
// untouched, after "Bad mac address '%s'\n". A null text counts as empty.
UINT8* ethaddr_aton(const char* str, UINT8* out);

// Four address bytes as columns hold them: a signed number in host order, and back.
int sql_ip_number(const UINT8* ip);
void sql_ip_bytes(int number, UINT8* ip);
