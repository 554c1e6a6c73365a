#include "platform/host/host_env.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/ac_platform.h"
#include "platform/host/host_clock.h"

namespace {

constexpr std::string_view SOCKET_PATH = "/var/ac_socket"; // the longest text that must fit a Unix address

host_environment g_env = {false, "", "lo"};

// Says in one line why the start ends here.
[[noreturn]] void refuse(const char* variable, const char* value, const char* reason)
{
    char shown[200];
    std::size_t length = 0;
    for (; value[length] != '\0' && length + 1 < sizeof shown; length++)
        shown[length] = static_cast<unsigned char>(value[length]) < ' ' ? '?' : value[length];
    shown[length] = '\0';
    fprintf(stderr, "%s: \"%s\" %s\n", variable, shown, reason);
    exit(2);
}

// --- AC_ROOT ---------------------------------------------------------------------------------------------------------

// mkdir -p, from the slash at `from` on. False where the path is no folder afterwards.
bool make_folders(const char* path, std::size_t from)
{
    char part[PATH_MAX];
    const std::size_t length = strlen(path);
    if (length >= sizeof part) return false;
    memcpy(part, path, length + 1);
    for (std::size_t at = from; at <= length; at++) {
        if (at == 0 || (path[at] != '/' && path[at] != '\0')) continue;
        part[at] = '\0';
        (void)mkdir(part, 0755); // the look at the whole path below is what counts
        part[at] = path[at];
    }
    struct stat made = {};
    return stat(path, &made) == 0 && S_ISDIR(made.st_mode);
}

// The root as an absolute path without a slash at its end; "/" becomes the empty text.
void root_make_absolute(const char* value, char (&absolute)[2 * PATH_MAX])
{
    char folder[PATH_MAX] = "";
    if (value[0] != '/' && getcwd(folder, sizeof folder) == nullptr)
        refuse("AC_ROOT", value, "is relative to a folder that can't be named");
    const int length = snprintf(absolute, sizeof absolute, "%s%s%.*s", folder, value[0] == '/' ? "" : "/",
                                static_cast<int>(sizeof folder - 2), value);
    for (int end = length; end > 0 && absolute[end - 1] == '/'; end--)
        absolute[end - 1] = '\0';
}

void read_root(const char* value)
{
    g_env.root_set = value != nullptr;
    g_env.root[0] = '\0';
    if (value == nullptr) return;
    if (value[0] == '\0') refuse("AC_ROOT", value, "is empty; name a folder or leave it unset");
    char absolute[2 * PATH_MAX];
    root_make_absolute(value, absolute);
    const std::size_t length = strlen(absolute);
    if (length + SOCKET_PATH.size() >= sizeof g_env.root)
        refuse("AC_ROOT", value, "is too long for a Unix socket path below it");
    if (length != 0 && !make_folders(absolute, 0)) refuse("AC_ROOT", value, "is no folder and can't be made one");
    memcpy(g_env.root, absolute, length + 1);
}

// --- AC_LAN_IF -------------------------------------------------------------------------------------------------------

void choose_lan_if()
{
    memcpy(g_env.lan_if, "lo", sizeof "lo");
    struct ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) return;
    for (const struct ifaddrs* one = all; one != nullptr; one = one->ifa_next) {
        if (one->ifa_addr == nullptr || one->ifa_addr->sa_family != AF_INET) continue;
        if ((one->ifa_flags & IFF_UP) == 0 || (one->ifa_flags & IFF_LOOPBACK) != 0) continue;
        // An address with a label of its own ("eth0:1") is listed under that label; its interface is before the colon.
        const std::size_t length = strcspn(one->ifa_name, ":");
        if (length >= sizeof g_env.lan_if) continue;
        memcpy(g_env.lan_if, one->ifa_name, length);
        g_env.lan_if[length] = '\0';
        break;
    }
    freeifaddrs(all);
}

void read_lan_if(const char* value)
{
    if (value == nullptr) return choose_lan_if();
    const std::size_t length = strlen(value);
    if (length == 0 || length >= sizeof g_env.lan_if || strpbrk(value, "/ \t\n") != nullptr)
        refuse("AC_LAN_IF", value, "is no name of an interface");
    memcpy(g_env.lan_if, value, length + 1);
    // It may come yet; the start waits for its address without a word.
    if (if_nametoindex(value) == 0)
        fprintf(stderr, "AC_LAN_IF: no interface is called \"%s\" now; waiting for it and its IPv4 address\n", value);
}

// --- AC_TIME_SCALE, AC_TIME_START ------------------------------------------------------------------------------------

int read_scale(const char* value)
{
    if (value == nullptr) return 1;
    int scale = 0;
    const char* end = value + strlen(value);
    const auto [stop, error] = std::from_chars(value, end, scale);
    if (error != std::errc() || stop != end || scale < 1 || scale > HOST_TIME_SCALE_MAX)
        refuse("AC_TIME_SCALE", value, "is no integer from 1 to 1000000");
    return scale;
}

// Year, month, day, hour, minute, second of "YYYY-MM-DD HH:MM:SS", or false where the text has another shape.
bool split_start(std::string_view text, std::array<int, 6>& number)
{
    constexpr std::string_view shape = "dddd-dd-dd dd:dd:dd";
    if (text.size() != shape.size()) return false;
    number = {};
    std::size_t field = 0;
    for (std::size_t at = 0; at < shape.size(); at++) {
        if (shape[at] != 'd') {
            if (text[at] != shape[at]) return false;
            field++;
            continue;
        }
        if (text[at] < '0' || text[at] > '9') return false;
        number[field] = number[field] * 10 + (text[at] - '0');
    }
    return true;
}

// False for a text of another shape and for a moment that local time doesn't have.
bool parse_start(const char* value, time_t* start)
{
    std::array<int, 6> number;
    if (!split_start(value, number)) return false;
    struct tm wanted = {};
    wanted.tm_year = number[0] - 1900;
    wanted.tm_mon = number[1] - 1;
    wanted.tm_mday = number[2];
    wanted.tm_hour = number[3];
    wanted.tm_min = number[4];
    wanted.tm_sec = number[5];
    wanted.tm_isdst = -1; // local time decides
    struct tm got = wanted;
    *start = mktime(&got); // carries what is too large over into the next field
    return *start >= 0 && got.tm_year == wanted.tm_year && got.tm_mon == wanted.tm_mon &&
           got.tm_mday == wanted.tm_mday && got.tm_hour == wanted.tm_hour && got.tm_min == wanted.tm_min &&
           got.tm_sec == wanted.tm_sec;
}

void read_times(const char* scale_value, const char* start_value)
{
    const int scale = read_scale(scale_value);
    time_t start = 0;
    if (start_value != nullptr && !parse_start(start_value, &start))
        refuse("AC_TIME_START", start_value, "is no local time of the form YYYY-MM-DD HH:MM:SS from 1970 on");
    host_clock_start(scale, start_value != nullptr ? &start : nullptr);
}

// Makes what is missing between the root and the file, the root included; errors show when the file is opened.
void make_parents(const char* path, std::size_t root_length)
{
    char folder[PATH_MAX];
    const std::size_t length = static_cast<std::size_t>(strrchr(path, '/') - path);
    memcpy(folder, path, length);
    folder[length] = '\0';
    if (length == 0 || access(folder, F_OK) == 0) return;
    (void)make_folders(folder, root_length);
}

} // namespace

const struct host_environment& host_env()
{
    return g_env;
}

bool host_path_climbs(const char* path)
{
    int depth = 0;
    std::string_view left(path);
    while (!left.empty()) {
        const std::size_t slash = left.find('/');
        const std::string_view component = left.substr(0, slash);
        if (component == "..")
            depth--;
        else if (!component.empty() && component != ".")
            depth++;
        if (depth < 0) return true;
        if (slash == std::string_view::npos) break;
        left.remove_prefix(slash + 1);
    }
    return false;
}

void platform_init()
{
    setvbuf(stdout, nullptr, _IOLBF, 0);
    tzset(); // ac_localtime and AC_TIME_START know the zone from here on
    read_root(getenv("AC_ROOT"));
    read_lan_if(getenv("AC_LAN_IF"));
    read_times(getenv("AC_TIME_SCALE"), getenv("AC_TIME_START"));
}

ac_path::ac_path(const char* appliance_path)
{
    text[0] = '\0';
    const bool moved = g_env.root_set && appliance_path[0] == '/';
    if (moved && host_path_climbs(appliance_path)) return;
    const std::size_t root_length = moved ? strlen(g_env.root) : 0;
    const std::size_t length = strlen(appliance_path);
    if (root_length + length >= sizeof text) return;
    memcpy(text, g_env.root, root_length);
    memcpy(text + root_length, appliance_path, length + 1);
    if (moved) make_parents(text, root_length);
}
