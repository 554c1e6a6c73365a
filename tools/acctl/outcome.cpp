#include "outcome.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "text.h"

namespace acctl {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

Paint paint_of(Result result)
{
    switch (result) {
    case Result::done:
        return Paint::good;
    case Result::unchanged:
    case Result::sent:
    case Result::skipped:
        return Paint::plain;
    case Result::not_seen:
    case Result::impossible:
        break;
    }
    return Paint::bad;
}

nlohmann::ordered_json json_of(const Outcome& outcome)
{
    return {{"mac", to_string(outcome.ap.mac)},
            {"name", outcome.ap.name},
            {"result", to_string(outcome.result)},
            {"good", outcome.good()},
            {"text", outcome.text}};
}

} // namespace

const char* to_string(Result result)
{
    static const char* const words[] = {"done", "unchanged", "sent", "skipped", "not-seen", "impossible"};
    return words[static_cast<std::size_t>(result)];
}

int report(const Session& session, const std::vector<Outcome>& outcomes)
{
    const bool good = std::all_of(outcomes.begin(), outcomes.end(), [](const Outcome& o) { return o.good(); });
    if (session.options.json) {
        nlohmann::ordered_json json = {{"command", to_string(session.options.command)},
                                       {"good", good},
                                       {"results", nlohmann::ordered_json::array()}};
        for (const Outcome& outcome : outcomes)
            json["results"].push_back(json_of(outcome));
        fmt::print("{}\n", json_text(json));
    } else {
        if (outcomes.empty()) fmt::print("The controller knows no APs.\n");
        for (const Outcome& outcome : outcomes)
            fmt::print("{} {}\n", label(outcome.ap),
                       painted(outcome.text, paint_of(outcome.result), session.screen.colour));
    }
    return good ? EXIT_DONE : EXIT_NOT_SEEN;
}

bool wait_until(const Session& session, const std::function<bool()>& look)
{
    const auto limit = std::chrono::duration<double>(session.options.wait_limit);
    const Clock::time_point end = Clock::now() + std::chrono::duration_cast<Clock::duration>(limit);
    Clock::duration pause = 20ms;
    for (;;) {
        try {
            if (look()) return true;
        } catch (const ChannelError& error) {
            throw ChannelError(
                error.kind, fmt::format("the change was acknowledged, but its effect can't be seen: {}", error.what()));
        }
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(std::min<Clock::duration>(pause, end - Clock::now()));
        pause = std::min<Clock::duration>(pause * 2, 200ms);
    }
}

std::string offline_note(const Ap& ap)
{
    return ap.online() ? "" : "; it is offline and hears of it when it joins again";
}

} // namespace acctl
