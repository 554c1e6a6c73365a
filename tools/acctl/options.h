// options - the command line of acctl.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "aps.h"
#include "records.h"

namespace acctl {

// What scripts may rely on; see the manual page.
enum ExitStatus {
    EXIT_DONE = 0,
    EXIT_BROKEN = 1,      // acctl itself failed
    EXIT_LINE = 2,        // the command line is wrong
    EXIT_UNREACHABLE = 3, // no controller answers at the socket
    EXIT_ANSWER = 4,      // its answer is late, missing or makes no sense
    EXIT_NOT_FOUND = 5,   // no such AP or policy, or a name that several APs have
    EXIT_NOT_SEEN = 6,    // asked for, but the effect was not seen, or the AP can't be asked
};

enum class Command {
    status,
    ap_list,
    ap_show,
    ap_rename,
    ap_channel,
    ap_limit,
    ap_radio,
    ap_bind,
    ap_reboot,
    ap_restore,
    ap_delete,
    debug_joined,
    debug_clients,
    watch,
};
const char* to_string(Command command); // "ap list", as on the command line

struct Options {
    Command command = Command::status;

    std::string socket;
    double timeout = 10; // real seconds for one answer
    bool json = false;
    bool colour = true;

    bool plain = false; // list: tab-separated, for scripts
    Order order = Order::name;

    std::vector<std::string> aps;
    bool all = false;
    bool yes = false; // don't ask

    bool wait = true;
    double wait_limit = 30; // real seconds
    bool back = false;      // reboot, restore: until the AP is online again

    std::string name;                                              // rename
    std::optional<int> radio;                                      // 0: 2.4 GHz, 1: 5 GHz
    std::optional<int> channel, extend, power, bandwidth, country; // 0 to 255
    std::optional<bool> on;
    std::vector<std::string> ssids;                 // limit: ids or names
    int clients = 0;                                // limit: 0 to 255
    std::array<std::string, policy_count> policies; // bind

    double interval = 2; // watch: seconds between two looks
    unsigned count = 0;  // watch: looks; 0: until stopped

    bool changes_radio() const { return channel || extend || power || bandwidth || country || on; }
};

struct ParsedLine {
    std::optional<Options> options; // empty: help was asked for or the line is wrong, and the user has been told
    int exit_status = EXIT_DONE;
};

ParsedLine parse_line(int argc, const char* const* argv);

} // namespace acctl
