#include "session.h"

#include <algorithm>
#include <cstdio>
#include <exception>

#include <fmt/format.h>

#include "text.h"

namespace acctl {

namespace {

int dispatch(Session& session)
{
    switch (session.options.command) {
    case Command::status:
        return run_status(session);
    case Command::ap_list:
        return run_list(session);
    case Command::ap_show:
        return run_show(session);
    case Command::ap_rename:
        return run_rename(session);
    case Command::ap_channel:
        return run_channel(session);
    case Command::ap_limit:
        return run_limit(session);
    case Command::ap_radio:
        return run_radio(session);
    case Command::ap_bind:
        return run_bind(session);
    case Command::ap_reboot:
    case Command::ap_restore:
        return run_leave(session);
    case Command::ap_delete:
        return run_delete(session);
    case Command::debug_joined:
    case Command::debug_clients:
        return run_debug(session);
    case Command::watch:
        return run_watch(session);
    }
    return EXIT_BROKEN;
}

int complain(const std::exception& error, int status)
{
    std::fflush(stdout);
    fmt::print(stderr, "acctl: {}\n", error.what());
    return status;
}

} // namespace

std::vector<Ap> chosen_aps(const Session& session, std::vector<Ap> all)
{
    if (!session.options.all) return resolve(all, session.options.aps);
    sort_aps(all, session.options.order);
    return all;
}

const Ap* find_ap(const std::vector<Ap>& all, const Mac& mac)
{
    const auto at = std::find_if(all.begin(), all.end(), [&](const Ap& ap) { return ap.mac == mac; });
    return at == all.end() ? nullptr : &*at;
}

int run(Session& session)
{
    try {
        const int status = dispatch(session);
        // A full disk or a closed pipe loses the result, and a script must learn of that.
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
            std::perror("acctl: standard output");
            return EXIT_BROKEN;
        }
        return status;
    } catch (const ChannelError& error) {
        return complain(error, error.kind == Failure::unreachable ? EXIT_UNREACHABLE : EXIT_ANSWER);
    } catch (const NotFound& error) {
        return complain(error, EXIT_NOT_FOUND);
    } catch (const std::invalid_argument& error) {
        return complain(error, EXIT_LINE);
    } catch (const std::exception& error) {
        return complain(error, EXIT_BROKEN);
    }
}

int run_line(int argc, const char* const* argv)
{
    try {
        const ParsedLine line = parse_line(argc, argv);
        if (!line.options) return line.exit_status;
        Session session(*line.options);
        return run(session);
    } catch (const std::invalid_argument& error) {
        return complain(error, EXIT_LINE);
    } catch (const std::exception& error) {
        return complain(error, EXIT_BROKEN);
    }
}

} // namespace acctl
