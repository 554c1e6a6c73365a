#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/ac_platform.h"

namespace {

constexpr std::size_t INI_VALUE = 64; // bytes of GetIniFileValue's value
constexpr int INI_LINE = 1024;        // bytes of a line that count
constexpr const char* SPACES = " \t\r\n";

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(SPACES);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(SPACES) - first + 1);
}

// Next line, cut to INI_LINE; what is cut off is read and dropped, so that it isn't taken for a line of its own.
bool next_line(FILE* file, char (&line)[INI_LINE])
{
    if (fgets(line, INI_LINE, file) == nullptr) return false;
    if (strchr(line, '\n') != nullptr) return true;
    for (int c = fgetc(file); c != EOF && c != '\n';)
        c = fgetc(file);
    return true;
}

// The value of a line "key=value" for that key; none for any other line.
std::optional<std::string_view> value_of_line(std::string_view line, std::string_view key)
{
    line = trimmed(line);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos || line[0] == '#') return std::nullopt;
    if (trimmed(line.substr(0, equals)) != key) return std::nullopt;
    return trimmed(line.substr(equals + 1));
}

} // namespace

int check_file_exist(const char* path)
{
    return access(ac_path(path).c_str(), F_OK) == 0 ? 1 : 0;
}

int vos_strncmp(const char* a, const char* b, std::size_t count)
{
    return strncmp(a != nullptr ? a : "", b != nullptr ? b : "", count);
}

int GetIniFileValue(const char* file, const char* key, char* value)
{
    FILE* opened = fopen(ac_path(file).c_str(), "re");
    if (opened == nullptr) return 0;
    char line[INI_LINE];
    std::optional<std::string_view> found;
    while (!found && next_line(opened, line))
        found = value_of_line(line, key);
    fclose(opened);
    if (!found) return 0;
    const std::size_t length = std::min(found->size(), INI_VALUE - 1);
    std::copy_n(found->begin(), length, value);
    value[length] = '\0';
    return 1;
}
