// session - what a command works with, and the commands. Each returns an ExitStatus and throws ChannelError, NotFound
// or std::invalid_argument with a text for the user.
#pragma once

#include "controller.h"
#include "options.h"
#include "table.h"

namespace acctl {

struct Session {
    explicit Session(const Options& line)
        : options(line), controller(line.socket, line.timeout), screen(look_at_screen(line.colour))
    {}
    Options options;
    Controller controller;
    Screen screen;
};

int run_status(const Session& session);
int run_list(const Session& session);
int run_show(const Session& session);
int run_radios_shown(const Session& session);
int run_radio(const Session& session); // shows where nothing is to be changed
int run_rename(const Session& session);
int run_channel(const Session& session);
int run_limit(const Session& session);
int run_bind(const Session& session);
int run_leave(const Session& session); // reboot, restore
int run_delete(const Session& session);
int run_debug(const Session& session);
int run_watch(Session& session);

// The command of the session's options; errors are told on standard error. Never throws.
int run(Session& session);
// As main does it.
int run_line(int argc, const char* const* argv);

// The APs that the line means, of those that `all` holds; with --all these, by name.
std::vector<Ap> chosen_aps(const Session& session, std::vector<Ap> all);
const Ap* find_ap(const std::vector<Ap>& all, const Mac& mac); // null: not there

} // namespace acctl
