#include "text.h"

#include <iconv.h>

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cwchar>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace acctl {

namespace {

struct Character {
    char32_t code = 0;
    std::size_t length = 0; // 0: these bytes are no UTF-8
    bool cut = false;       // they are the beginning of a character whose end is missing
};

// The character at the head of a text that is not empty. Overlong forms, surrogates and codes above U+10FFFF are none.
Character character_at(std::string_view text)
{
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char first = byte(0);
    if (first < 0x80) return {first, 1, false};
    const std::size_t length = first >= 0xF5 ? 0 : first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC2 ? 2 : 0;
    if (length == 0) return {};
    char32_t code = first & (0xFFU >> (length + 1));
    for (std::size_t i = 1; i < length; i++) {
        if (i == text.size()) return {0, 0, true};
        if ((byte(i) & 0xC0) != 0x80) return {};
        code = (code << 6) | (byte(i) & 0x3FU);
    }
    static constexpr char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
    if (code < least[length] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000)) return {};
    return {code, length, false};
}

// The length of the text without a character that is cut off at its end; npos where the text is no UTF-8.
std::size_t valid_length(std::string_view text)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const Character c = character_at(text.substr(at));
        if (c.cut) return at;
        if (c.length == 0) return std::string_view::npos;
        at += c.length;
    }
    return at;
}

bool from_gb18030(std::string_view bytes, std::string& utf8)
{
    const iconv_t converter = iconv_open("UTF-8", "GB18030");
    if (converter == reinterpret_cast<iconv_t>(-1)) return false;
    std::string source(bytes);
    utf8.assign(bytes.size() * 4, '\0');
    char* from = source.data();
    char* to = utf8.data();
    std::size_t from_left = source.size(), to_left = utf8.size();
    const bool whole = iconv(converter, &from, &from_left, &to, &to_left) != static_cast<std::size_t>(-1);
    const bool cut_at_end = !whole && errno == EINVAL;
    iconv_close(converter);
    utf8.resize(utf8.size() - to_left);
    return whole || cut_at_end;
}

std::string with_replacements(std::string_view bytes)
{
    std::string out;
    while (!bytes.empty()) {
        const Character c = character_at(bytes);
        out += c.length != 0 ? bytes.substr(0, c.length) : std::string_view("\uFFFD");
        bytes.remove_prefix(std::max<std::size_t>(c.length, 1));
    }
    return out;
}

// Control characters, and those that change how the text around them is laid out.
bool acts_on_a_terminal(char32_t c)
{
    struct Range {
        char32_t first, last;
    };
    static constexpr Range ranges[] = {{0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},       {0x61C, 0x61C},
                                       {0x200B, 0x200F}, {0x2028, 0x202E}, {0x2060, 0x206F},   {0xFEFF, 0xFEFF},
                                       {0xFFF9, 0xFFFB}, {0xE000, 0xF8FF}, {0xE0000, 0x10FFFF}};
    return std::any_of(std::begin(ranges), std::end(ranges),
                       [c](const Range& range) { return c >= range.first && c <= range.last; });
}

// wcwidth answers by the thread's locale; the program's own is the user's, which may know no UTF-8.
class Utf8Locale {
public:
    Utf8Locale() : before_(uselocale(utf8())) {}
    ~Utf8Locale() { uselocale(before_); }
    Utf8Locale(const Utf8Locale&) = delete;
    Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
    static locale_t utf8()
    {
        static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale;
    }
    locale_t before_;
};

std::size_t columns_of(char32_t code)
{
    const int columns = wcwidth(static_cast<wchar_t>(code));
    return columns < 0 ? 1 : static_cast<std::size_t>(columns);
}

} // namespace

std::string field_bytes(std::span<const UINT8> field)
{
    const auto end = std::find(field.begin(), field.end(), UINT8{0});
    return {field.begin(), end};
}

std::string to_utf8(std::string_view bytes)
{
    const std::size_t length = valid_length(bytes);
    if (length != std::string_view::npos) return std::string(bytes.substr(0, length));
    std::string converted;
    if (from_gb18030(bytes, converted) && valid_length(converted) == converted.size()) return converted;
    return with_replacements(bytes);
}

std::string shown(std::string_view utf8)
{
    std::string out;
    while (!utf8.empty()) {
        const Character c = character_at(utf8);
        const std::size_t length = std::max<std::size_t>(c.length, 1);
        if (c.length == 0)
            out += fmt::format("\\x{:02x}", static_cast<unsigned char>(utf8[0]));
        else if (acts_on_a_terminal(c.code))
            out += c.code < 0x100 ? fmt::format("\\x{:02x}", static_cast<unsigned>(c.code))
                                  : fmt::format("\\u{:04x}", static_cast<unsigned>(c.code));
        else
            out += utf8.substr(0, length);
        utf8.remove_prefix(length);
    }
    return out;
}

std::size_t width(std::string_view utf8)
{
    const Utf8Locale locale;
    std::size_t columns = 0;
    while (!utf8.empty()) {
        const Character c = character_at(utf8);
        columns += c.length == 0 ? 1 : columns_of(c.code);
        utf8.remove_prefix(std::max<std::size_t>(c.length, 1));
    }
    return columns;
}

std::string cut(std::string_view utf8, std::size_t columns)
{
    if (width(utf8) <= columns) return std::string(utf8);
    if (columns == 0) return "";
    const Utf8Locale locale;
    std::size_t used = 0, bytes = 0;
    while (bytes < utf8.size()) {
        const Character c = character_at(utf8.substr(bytes));
        const std::size_t more = c.length == 0 ? 1 : columns_of(c.code);
        if (used + more > columns - 1) break;
        used += more;
        bytes += std::max<std::size_t>(c.length, 1);
    }
    return std::string(utf8.substr(0, bytes)) + "…";
}

std::string json_text(const nlohmann::ordered_json& json, int indent)
{
    const std::string dumped = json.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace);
    std::string out;
    std::string_view left = dumped;
    while (!left.empty()) {
        const Character c = character_at(left);
        const std::size_t length = std::max<std::size_t>(c.length, 1);
        // Below U+0020 there is the layout's own line feed alone: those of the texts are escaped already.
        if (c.code < 0x20 || !acts_on_a_terminal(c.code))
            out += left.substr(0, length);
        else if (c.code <= 0xFFFF)
            out += fmt::format("\\u{:04x}", static_cast<unsigned>(c.code));
        else
            out += fmt::format("\\u{:04x}\\u{:04x}", 0xD800 + ((static_cast<unsigned>(c.code) - 0x10000) >> 10),
                               0xDC00 + (static_cast<unsigned>(c.code) & 0x3FF));
        left.remove_prefix(length);
    }
    return out;
}

} // namespace acctl
