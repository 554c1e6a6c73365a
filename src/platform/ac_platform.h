// ac_platform - the appliance's closed operations under their own names, and where its files lie.
//
// host/ implements them on any Linux machine with real files, a real shell and real interfaces. An appliance port adds
// a folder beside host/ and nothing else changes.
#pragma once

#include <climits>
#include <cstddef>
#include <span>

#include "common/ac_types.h"

// Reads the environment (AC_ROOT, AC_LAN_IF, AC_TIME_SCALE, AC_TIME_START), makes standard output line buffered and
// starts the clock. A malformed value: one line on standard error and exit with status 2. Called once, before any
// thread.
void platform_init();

// Where the appliance's absolute path lies on this machine: below AC_ROOT where that is set. Missing parent folders
// below the root are made. A path that would be too long, or whose ".." would lead above the root, gives an empty text.
// A relative path stays as it is.
struct ac_path {
    char text[PATH_MAX];
    explicit ac_path(const char* appliance_path);
    const char* c_str() const { return text; }
};

// --- threads --------------------------------------------------------------------------------------------------------

// Asks the system to let the calling thread finish what waits for it in one go: it does not push another thread aside
// the moment it is woken. For threads that drain a queue; they get as much of the processors as before.
void ac_thread_in_batches();

// --- network -------------------------------------------------------------------------------------------------------

// Above 0 once the LAN interface is up and has an IPv4 address; `text` (24 bytes, zeroed by the caller) then names
// interface and address, cut to fit. 0 or less otherwise. Doesn't block.
int check_network(char* text);

// Name of the LAN interface; a static text that stays valid. Never null.
const char* getLanIfName();
// Dotted text of the interface's address or mask into `text` of at least 20 bytes. 0, or -1.
int getIfIp(const char* name, char* text);
int getIfNetmask(const char* name, char* text);

// "%02x:..." text of a MAC into `text` of at least 18 bytes; returns `text`.
char* ethaddr_ntoa(const UINT8* mac, char* text);

// --- shell, files, settings ------------------------------------------------------------------------------------------
//
// These take the appliance's own paths and move them below AC_ROOT themselves: hand over "/var/x", not
// ac_path("/var/x").

// Forms a command line and runs it with the shell, waiting for its end. `%s` arguments are quoted for the shell
// whatever they hold; one that is an absolute path is moved below AC_ROOT; a pattern that must expand ("*" in the last
// component of an absolute path) is expanded here, inside its folder. Each command line is added to the journal
// "/var/log/ac_system_cmd.log". With AC_ROOT set, commands that touch the host itself (et, arp, killall, iptables,
// writes below /proc) are journaled and not run. Formats may use %s, %d, %u, %x, %c and %%, with width and zero flag.
// Returns the command's exit status (128 and the signal's number where one ended it), 0 where it was only journaled, -1
// where it could not be run: no memory, no shell, or a line that is refused (a ".." that leads above the root or out of
// a pattern's folder, a format with quotes of its own or another conversion, a line of more than about 120,000 bytes).
// A leading dash of an argument arrives as it is. A command that the format ends with "&" is not waited for.
int doSystemCmd(const char* format, ...) __attribute__((format(printf, 1, 2)));

// 1 if the file exists, else 0.
int check_file_exist(const char* path);

// 0 when the first `count` characters are equal, as strncmp; null arguments compare as empty texts.
int vos_strncmp(const char* a, const char* b, std::size_t count);

// Reads `key` of an INI file (lines key=value, # comments, optional sections ignored) into `value` of 64 bytes, cut to
// fit. Non-zero on success.
int GetIniFileValue(const char* file, const char* key, char* value);

// --- texts -----------------------------------------------------------------------------------------------------------

// Converts `source` to `charset`, "utf-8" (from GB2312) or "gb2312" (from UTF-8), into `target`: whole characters only,
// as many as fit, always terminated. A text that isn't valid in the charset it should come from, or that GB2312 can't
// express, is copied as it stands, as it is for another `charset`. Returns the length in bytes.
std::size_t set_cn_ssid_encode(const char* charset, const char* source, std::span<char> target);

// 0: `text` is ASCII; 2: UTF-8 beyond ASCII; 1: any other text beyond ASCII.
int is_cn_encode(const char* text);
