// The commands that bind APs to policies, send them off, or forget them: many APs with one request.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>

#include <fmt/format.h>

#include "outcome.h"
#include "text.h"

namespace acctl {

namespace {

std::vector<Mac> macs_of(const std::vector<Ap>& aps)
{
    std::vector<Mac> macs;
    for (const Ap& ap : aps)
        macs.push_back(ap.mac);
    return macs;
}

// What is done to all APs at once is asked about first. Throws std::invalid_argument for a no.
void confirm(const Session& session, const char* what, std::size_t count)
{
    if (!session.options.all || session.options.yes || count == 0) return;
    if (isatty(STDIN_FILENO) != 1 || isatty(STDERR_FILENO) != 1)
        throw std::invalid_argument(
            fmt::format("--all would {} {} AP{}: say --yes to mean it", what, count, count == 1 ? "" : "s"));
    fmt::print(stderr, "Really {} all {} APs? [y/N] ", what, count);
    const int answer = std::getchar();
    if (answer != 'y' && answer != 'Y') throw std::invalid_argument("nothing has been done");
}

// ---- bind -----------------------------------------------------------------------------------------------------------

std::string list_of(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", shown(name));
    return text;
}

void check_policies(const std::array<std::string, policy_count>& wanted, const AdvancedPage& page)
{
    for (std::size_t kind = 0; kind < policy_count; kind++) {
        const std::vector<std::string>& there = page.policies[kind];
        if (wanted[kind].empty() || std::find(there.begin(), there.end(), wanted[kind]) != there.end()) continue;
        const char* const word = to_string(static_cast<Policy>(kind));
        throw NotFound(fmt::format("there is no {} policy \"{}\"; {}", word, shown(wanted[kind]),
                                   there.empty()
                                       ? fmt::format("no {} policy has been made yet", word)
                                       : fmt::format("there {} {}", there.size() == 1 ? "is" : "are", list_of(there))));
    }
}

// The kinds that are asked for and that the AP isn't bound to as asked, in words.
std::string missing(const std::array<std::string, policy_count>& wanted, const AdvancedPage& page, const Mac& mac)
{
    const auto at = std::find_if(page.aps.begin(), page.aps.end(), [&](const ApPolicies& ap) { return ap.mac == mac; });
    std::string text;
    for (std::size_t kind = 0; kind < policy_count; kind++) {
        if (wanted[kind].empty() || (at != page.aps.end() && at->bound[kind] == wanted[kind])) continue;
        text += fmt::format("{}{}", text.empty() ? "" : ", ", to_string(static_cast<Policy>(kind)));
    }
    return text;
}

std::string bound_text(const std::array<std::string, policy_count>& wanted)
{
    std::string text;
    for (std::size_t kind = 0; kind < policy_count; kind++)
        if (!wanted[kind].empty())
            text += fmt::format("{}{} policy \"{}\"", text.empty() ? "" : ", ", to_string(static_cast<Policy>(kind)),
                                shown(wanted[kind]));
    return "is bound to " + text;
}

// ---- reboot, restore ------------------------------------------------------------------------------------------------

bool is_online(const std::vector<Ap>& now, const Mac& mac)
{
    const Ap* ap = find_ap(now, mac);
    return ap != nullptr && ap->online();
}

// The APs that are asked, with an outcome for each; those that are offline have theirs at once.
std::vector<Outcome> plan_leave(const Session& session, const std::vector<Ap>& aps, std::vector<Mac>& asked)
{
    std::vector<Outcome> outcomes;
    for (const Ap& ap : aps) {
        if (ap.online()) {
            asked.push_back(ap.mac);
            outcomes.push_back({ap, Result::sent, "will be told by the controller"});
        } else {
            outcomes.push_back(
                {ap, session.options.all ? Result::skipped : Result::impossible, "is offline and can't be reached"});
        }
    }
    return outcomes;
}

void send_leave(const Session& session, const std::vector<Mac>& asked)
{
    const bool reboot = session.options.command == Command::ap_reboot;
    if (session.options.all)
        reboot ? session.controller.reboot_all() : session.controller.restore_all();
    else
        reboot ? session.controller.reboot(asked) : session.controller.restore(asked);
}

// Looks until each AP that was asked has been seen offline and, with --back, online again behind that.
void await_leave(const Session& session, std::vector<Outcome>& outcomes)
{
    std::set<Mac> down;
    wait_until(session, [&] {
        const std::vector<Ap> now = session.controller.aps();
        bool all = true;
        for (Outcome& outcome : outcomes) {
            if (outcome.result != Result::sent) continue;
            const Mac& mac = outcome.ap.mac;
            const bool online = is_online(now, mac);
            if (!online) down.insert(mac);
            const bool gone = down.count(mac) != 0;
            if (gone && (online || !session.options.back)) {
                outcome.result = Result::done;
                outcome.text = session.options.back ? "has gone down and is back" : "has gone down";
            }
            all = all && outcome.result == Result::done;
        }
        return all;
    });
    for (Outcome& outcome : outcomes) {
        if (outcome.result != Result::sent) continue;
        outcome.result = Result::not_seen;
        const double limit = session.options.wait_limit;
        outcome.text =
            down.count(outcome.ap.mac) != 0
                ? fmt::format("has gone down and is not back after {:g} s", limit)
                : fmt::format("is still online after {:g} s: it has not answered the controller's request", limit);
    }
}

} // namespace

int run_bind(const Session& session)
{
    const auto& wanted = session.options.policies;
    AdvancedPage page = session.controller.advanced();
    check_policies(wanted, page);
    std::vector<Outcome> outcomes;
    std::vector<Mac> asked;
    for (const Ap& ap : chosen_aps(session, session.controller.aps())) {
        const bool already = missing(wanted, page, ap.mac).empty();
        if (!already) asked.push_back(ap.mac);
        outcomes.push_back({ap, already ? Result::unchanged : Result::sent,
                            already ? bound_text(wanted) + " already" : "will be told by the controller"});
    }
    if (!asked.empty()) session.controller.bind(asked, wanted);
    if (asked.empty() || !session.options.wait) return report(session, outcomes);

    wait_until(session, [&] {
        page = session.controller.advanced();
        return std::all_of(asked.begin(), asked.end(),
                           [&](const Mac& mac) { return missing(wanted, page, mac).empty(); });
    });
    for (Outcome& outcome : outcomes) {
        if (outcome.result != Result::sent) continue;
        const std::string left = missing(wanted, page, outcome.ap.mac);
        outcome.result = left.empty() ? Result::done : Result::not_seen;
        outcome.text = left.empty() ? bound_text(wanted) + " now" + offline_note(outcome.ap)
                                    : fmt::format("is not bound as asked after {:g} s, missing: {}",
                                                  session.options.wait_limit, left);
    }
    return report(session, outcomes);
}

int run_leave(const Session& session)
{
    const std::vector<Ap> aps = chosen_aps(session, session.controller.aps());
    std::vector<Mac> asked;
    std::vector<Outcome> outcomes = plan_leave(session, aps, asked);
    confirm(session, session.options.command == Command::ap_reboot ? "restart" : "put back to factory settings",
            asked.size());
    if (asked.empty()) return report(session, outcomes);
    send_leave(session, asked);
    if (session.options.wait) await_leave(session, outcomes);
    return report(session, outcomes);
}

int run_delete(const Session& session)
{
    const std::vector<Ap> aps = chosen_aps(session, session.controller.aps());
    confirm(session, "delete", aps.size());
    std::vector<Outcome> outcomes;
    for (const Ap& ap : aps)
        outcomes.push_back({ap, Result::sent, "will be forgotten by the controller"});
    if (aps.empty()) return report(session, outcomes);
    session.controller.remove(macs_of(aps));
    if (!session.options.wait) return report(session, outcomes);

    wait_until(session, [&] {
        const std::vector<Ap> now = session.controller.aps();
        bool all = true;
        for (Outcome& outcome : outcomes) {
            if (outcome.result == Result::sent && find_ap(now, outcome.ap.mac) == nullptr) {
                outcome.result = Result::done;
                outcome.text =
                    outcome.ap.online() ? "is forgotten; it is alive and will join again by itself" : "is forgotten";
            }
            all = all && outcome.result == Result::done;
        }
        return all;
    });
    for (Outcome& outcome : outcomes) {
        if (outcome.result != Result::sent) continue;
        outcome.result = Result::not_seen;
        outcome.text = fmt::format("is still there after {:g} s", session.options.wait_limit);
    }
    return report(session, outcomes);
}

} // namespace acctl
