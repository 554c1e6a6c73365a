#include "log_tail.h"

#include <algorithm>
#include <cctype>
#include <fstream>

#include <fmt/format.h>

namespace apsim {

namespace {

constexpr std::size_t read_bytes = 1 << 20; // of one call
constexpr std::size_t kinds_kept = 64;
constexpr std::size_t line_kept = 160;

// "Error->function(12)--text" is "text".
std::string without_place(const std::string& line)
{
    const std::size_t place = line.rfind("Error->", 0) == 0 ? line.find(")--") : std::string::npos;
    return place == std::string::npos ? line : line.substr(place + 3);
}

// Words that hold a digit lose their letters and digits: numbers, addresses, MACs.
std::string shape_of(const std::string& text)
{
    std::string shape;
    for (std::size_t at = 0; at < text.size();) {
        std::size_t end = at;
        while (end < text.size() && std::isalnum(static_cast<unsigned char>(text[end])) != 0)
            end++;
        const bool number =
            std::any_of(text.begin() + static_cast<std::ptrdiff_t>(at), text.begin() + static_cast<std::ptrdiff_t>(end),
                        [](unsigned char c) { return std::isdigit(c) != 0; });
        const bool byte = end - at == 2 && std::isxdigit(static_cast<unsigned char>(text[at])) != 0 &&
                          std::isxdigit(static_cast<unsigned char>(text[at + 1])) != 0;
        shape += number || byte ? "#" : text.substr(at, end - at);
        at = end;
        for (; at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) == 0; at++)
            if (text[at] != '-') shape += text[at]; // the sign of a number
    }
    return shape;
}

std::string printable(std::string text)
{
    text.resize(std::min(text.size(), line_kept));
    for (char& c : text)
        if (static_cast<unsigned char>(c) < 0x20 || static_cast<unsigned char>(c) > 0x7E) c = '?';
    return text;
}

} // namespace

void LogTail::read_on()
{
    std::ifstream file(path_, std::ios::binary | std::ios::ate);
    readable_ = file.is_open();
    if (!readable_) return;
    const auto size = static_cast<std::uint64_t>(file.tellg());
    if (size < at_) at_ = 0;
    std::string added(std::min<std::uint64_t>(size - at_, read_bytes), '\0');
    file.seekg(static_cast<std::streamoff>(at_));
    file.read(added.data(), static_cast<std::streamsize>(added.size()));
    added.resize(static_cast<std::size_t>(file.gcount()));
    at_ += added.size();
    rest_ += added;
    std::size_t from = 0;
    for (std::size_t end = rest_.find('\n'); end != std::string::npos; end = rest_.find('\n', from)) {
        take(rest_.substr(from, end - from));
        from = end + 1;
    }
    rest_.erase(0, from);
    if (rest_.size() > read_bytes) rest_.clear();
}

void LogTail::take(const std::string& line)
{
    const std::string text = printable(without_place(line));
    if (text.find_first_not_of(' ') == std::string::npos) return;
    const std::string shape = shape_of(text);
    const auto found =
        std::find_if(kinds_.begin(), kinds_.end(), [&](const Kind& kind) { return kind.shape == shape; });
    Kind kind = found == kinds_.end() ? Kind{shape, "", 0} : *found;
    if (found != kinds_.end()) kinds_.erase(found);
    kind.last = text;
    kind.count++;
    kinds_.insert(kinds_.begin(), std::move(kind));
    if (kinds_.size() > kinds_kept) kinds_.pop_back();
}

// By count, so that the lines keep their places while numbers grow; of many kinds the most recent.
std::string LogTail::text(std::size_t lines) const
{
    if (!readable_ && kinds_.empty()) return fmt::format("  controller's log: {} can't be read\n", path_);
    std::vector<Kind> shown(kinds_.begin(),
                            kinds_.begin() + static_cast<std::ptrdiff_t>(std::min(lines, kinds_.size())));
    std::stable_sort(shown.begin(), shown.end(), [](const Kind& a, const Kind& b) { return a.count > b.count; });
    std::string text = shown.empty() ? "" : "  controller's log, the last of each kind of line\n";
    for (const Kind& kind : shown)
        text += fmt::format("  {:>9}  {}\n", kind.count, kind.last);
    return text;
}

} // namespace apsim
