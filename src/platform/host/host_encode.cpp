// The text converter: GB2312, as the appliance stores its Chinese texts, and UTF-8, as the web interface shows them.
#include <iconv.h>
#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/ac_platform.h"

namespace {

constexpr char UTF8[] = "UTF-8";
constexpr char GB2312[] = "GB2312";
constexpr char GB18030[] = "GB18030"; // holds GB2312, and what the web interface may add to it

class converter {
public:
    converter(const char* to, const char* from) : cd_(iconv_open(to, from)) {}
    ~converter()
    {
        if (ok()) iconv_close(cd_);
    }
    converter(const converter&) = delete;
    converter& operator=(const converter&) = delete;
    bool ok() const { return cd_ != reinterpret_cast<iconv_t>(-1); }

    // Converts what fits of `source` into `target`, whole characters only, and steps `source` over it. The bytes
    // written; -1 at bytes that the source charset does not know, or that the other one can't express.
    long step(std::span<const char>& source, std::span<char> target)
    {
        char* from = const_cast<char*>(source.data()); // iconv's own type; it does not write there
        std::size_t from_left = source.size();
        char* to = target.data();
        std::size_t to_left = target.size();
        const std::size_t result = iconv(cd_, &from, &from_left, &to, &to_left);
        if (result == static_cast<std::size_t>(-1) && errno != E2BIG) return -1;
        source = source.last(from_left);
        return static_cast<long>(target.size() - to_left);
    }

private:
    iconv_t cd_;
};

std::span<const char> text_span(const char* text)
{
    return {text, strlen(text)};
}

bool convertible(const char* to, const char* from, std::span<const char> source)
{
    converter convert(to, from);
    if (!convert.ok()) return false;
    char scratch[64]; // wider than any character
    while (!source.empty()) {
        if (convert.step(source, scratch) < 0) return false;
    }
    return true;
}

} // namespace

std::size_t set_cn_ssid_encode(const char* charset, const char* source, std::span<char> target)
{
    if (target.empty()) return 0;
    const bool to_utf8 = strcasecmp(charset, "utf-8") == 0;
    const bool known = to_utf8 || strcasecmp(charset, "gb2312") == 0;
    const char* from = to_utf8 ? GB18030 : UTF8;
    const char* to = to_utf8 ? UTF8 : GB2312;
    std::span<const char> left = text_span(source);
    const std::span<char> room = target.first(target.size() - 1);
    std::size_t length = std::min(left.size(), room.size());
    if (known && convertible(to, from, left)) {
        converter convert(to, from);
        length = convert.ok() ? static_cast<std::size_t>(std::max(convert.step(left, room), 0L)) : 0;
    } else
        std::copy_n(left.begin(), length, room.begin());
    target[length] = '\0';
    return length;
}

int is_cn_encode(const char* text)
{
    const std::span<const char> bytes = text_span(text);
    if (std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<UINT8>(c) < 0x80; })) return 0;
    return convertible(GB18030, UTF8, bytes) ? 2 : 1;
}
