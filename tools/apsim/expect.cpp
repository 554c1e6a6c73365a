#include "expect.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace apsim {

namespace {

constexpr const char* meant_to_run = "meant-to-run";

double ms(std::int64_t real_micros)
{
    return static_cast<double>(real_micros) / 1000.0;
}

bool compare(double actual, const std::string& op, double value)
{
    if (op == "=") return actual == value;
    if (op == "!=") return actual != value;
    if (op == "<") return actual < value;
    if (op == "<=") return actual <= value;
    if (op == ">") return actual > value;
    return actual >= value;
}

void add_fleet(Measures& m, const FleetStats& stats)
{
    m["aps"] = static_cast<double>(stats.aps);
    m[meant_to_run] = static_cast<double>(stats.aps - stats.silent_wanted);
    m["joined"] = static_cast<double>(stats.in_state(ApState::running));
    m["silent"] = static_cast<double>(stats.in_state(ApState::silent));
    m["ever-joined"] = static_cast<double>(stats.ever_joined);
    m["joined-within"] = stats.joined_within == never
                             ? std::numeric_limits<double>::infinity()
                             : static_cast<double>(stats.joined_within) / static_cast<double>(second);
    m["joins"] = stats.sum.joins;
    m["lost"] = stats.sum.lost;
    m["join-restarted"] = stats.sum.join_restarted;
    m["link-down"] = stats.sum.link_down;
    m["reboots"] = stats.sum.reboots;
    m["outages"] = stats.sum.outages;
    m["restores"] = stats.sum.restores;
    m["config-taken"] = stats.sum.config_taken;
    m["config-refused"] = stats.sum.config_refused;
    m["applied"] = stats.sum.applied;
    m["kept-raw"] = stats.sum.kept_raw;
    m["refused"] = stats.sum.refused;
    m["duplicates"] = stats.sum.duplicates;
    m["repeats"] = stats.sum.repeats;
    m["upgrades"] = stats.sum.upgrades;
}

void add_traffic(Measures& m, const FleetStats& stats)
{
    m["retransmissions"] = stats.sum.retransmissions;
    m["echoes"] = stats.sum.echoes_answered;
    m["echoes-missed"] = stats.sum.echoes_missed;
    m["bad-in"] = stats.sum.bad_in;
    m["frames-in"] = static_cast<double>(stats.frames_in);
    m["frames-out"] = static_cast<double>(stats.frames_out);
    m["send-errors"] = static_cast<double>(stats.send_errors);
    m["noise-answered"] = static_cast<double>(stats.noise_answered);
    m["noise-link-downs"] = static_cast<double>(stats.noise_link_downs);
    const Histogram answers = stats.all_answers();
    m["answers"] = static_cast<double>(answers.count());
    m["p50"] = ms(answers.percentile(50));
    m["p95"] = ms(answers.percentile(95));
    m["p99"] = ms(answers.percentile(99));
    m["max"] = ms(answers.max());
}

} // namespace

Measures measures_of(const FleetStats& stats)
{
    Measures m;
    add_fleet(m, stats);
    add_traffic(m, stats);
    return m;
}

const std::vector<std::string>& measure_names()
{
    static const std::vector<std::string> names = [] {
        std::vector<std::string> list = {"rate", "bare-rate", "ratio", "timeouts"}; // of the bench
        for (const auto& [name, value] : measures_of(FleetStats{}))
            list.push_back(name);
        std::sort(list.begin(), list.end());
        return list;
    }();
    return names;
}

Expectation parse_expectation(const std::string& text)
{
    Expectation e;
    e.text = text;
    const std::size_t at = text.find_first_of("=!<>");
    const std::size_t end = at == std::string::npos ? at : text.find_first_not_of("=!<>", at);
    if (at == std::string::npos || end == std::string::npos)
        throw std::invalid_argument(
            fmt::format("\"{}\" is no condition; write a name, a comparison, a number: joined>=200", text));
    e.name = text.substr(0, at);
    e.op = text.substr(at, end - at);
    const std::string value = text.substr(end);
    const auto& names = measure_names();
    if (std::find(names.begin(), names.end(), e.name) == names.end())
        throw std::invalid_argument(
            fmt::format("\"{}\": no measure \"{}\"; there are {}", text, e.name, fmt::join(names, ", ")));
    static const std::vector<std::string> ops = {"=", "!=", "<", "<=", ">", ">="};
    if (std::find(ops.begin(), ops.end(), e.op) == ops.end())
        throw std::invalid_argument(
            fmt::format("\"{}\": no comparison \"{}\"; there are {}", text, e.op, fmt::join(ops, " ")));
    if (e.name == "joined-within" && e.op == "=") e.op = "<=";
    e.all = value == "all";
    if (e.all) return e;
    const auto [stop, error] = std::from_chars(value.data(), value.data() + value.size(), e.value);
    if (error != std::errc{} || stop != value.data() + value.size() || !std::isfinite(e.value))
        throw std::invalid_argument(fmt::format("\"{}\": \"{}\" is neither a number nor \"all\"", text, value));
    return e;
}

std::vector<Verdict> judge(const std::vector<Expectation>& expectations, const Measures& measures)
{
    std::vector<Verdict> verdicts;
    for (const Expectation& e : expectations) {
        const auto found = measures.find(e.name);
        const auto all = measures.find(meant_to_run);
        Verdict verdict{e.text, 0, false, found != measures.end() && (!e.all || all != measures.end())};
        if (verdict.measured) {
            verdict.actual = found->second;
            verdict.holds = compare(verdict.actual, e.op, e.all ? all->second : e.value);
        }
        verdicts.push_back(verdict);
    }
    return verdicts;
}

} // namespace apsim
