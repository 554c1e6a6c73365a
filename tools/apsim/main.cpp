// apsim - the fleet simulator's program.
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <exception>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "options.h"
#include "report.h"

namespace apsim {

namespace {

using namespace std::chrono_literals;

constexpr double join_limit = 60; // simulated seconds that a bench waits for its fleet

std::atomic<bool> g_stop = false; // lock-free, so a signal handler may set it
static_assert(std::atomic<bool>::is_always_lock_free);

// The second signal ends the process at once.
void on_signal(int number)
{
    g_stop = true;
    std::signal(number, SIG_DFL);
}

bool all_joined(const Fleet& fleet)
{
    return fleet.ever_joined() == fleet.size();
}

std::string title_of(const RunOptions& run)
{
    return fmt::format("apsim {}  {} APs -> {}", to_string(run.mode), run.fleet.aps, to_string(run.fleet.controller));
}

void live(Fleet& fleet, const RunOptions& run, LogTail* log)
{
    LiveView view(run.quiet, title_of(run), log);
    const micros end = run.duration > 0 ? static_cast<micros>(run.duration * static_cast<double>(second)) : never;
    const bool ends_joined = run.mode == Mode::storm && !run.stay;
    const auto done = [&] { return g_stop || fleet.now() >= end || (ends_joined && all_joined(fleet)); };
    while (!fleet.run_until(done, 100ms))
        view.update(fleet.stats());
    view.finish(fleet.stats());
}

void print_json(const nlohmann::json& json)
{
    // Names come from the network: what is no UTF-8 is replaced.
    fmt::print("{}\n", json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
}

int conclude(const RunOptions& run, const Measures& measures, nlohmann::json json, const std::string& text)
{
    const std::vector<Verdict> verdicts = judge(run.expectations, measures);
    const bool good = std::all_of(verdicts.begin(), verdicts.end(), [](const Verdict& v) { return v.holds; });
    if (run.json) {
        json["mode"] = to_string(run.mode);
        if (!run.bare) json["controller"] = to_string(run.fleet.controller);
        json["seed"] = run.fleet.seed;
        json["scale"] = run.fleet.scale;
        json["expectations"] = verdict_json(verdicts);
        json["good"] = good;
        print_json(json);
    } else {
        fmt::print("{}{}", text, verdict_text(verdicts));
    }
    return good ? 0 : 1;
}

// The APs that --print-config names; empty without it.
std::vector<const ApModel*> chosen_aps(const Fleet& fleet, const std::string& which)
{
    std::vector<const ApModel*> chosen;
    if (which.empty()) return chosen;
    for (std::size_t i = 0; i < fleet.size(); i++)
        if (which == "all" || fleet.ap(i).options().mac == parse_mac(which)) chosen.push_back(&fleet.ap(i));
    if (chosen.empty())
        throw std::invalid_argument(
            fmt::format("--print-config {}: the fleet has no such AP; its first is {}, the others "
                        "follow in steps of --mac-step",
                        which, fleet.ap(0).mac_text()));
    return chosen;
}

int run_fleet(const RunOptions& run)
{
    Fleet fleet(run.fleet);
    const std::vector<const ApModel*> chosen = chosen_aps(fleet, run.print_config);
    LogTail log(run.controller_log);
    live(fleet, run, run.controller_log.empty() ? nullptr : &log);
    const FleetStats stats = fleet.stats();
    nlohmann::json json = stats_json(stats);
    std::string text = title_of(run) + "\n" + summary_text(stats);
    if (!run.controller_log.empty()) {
        log.read_on();
        text += log.text(log.kinds().size());
    }
    for (const ApModel* ap : chosen) {
        json["configurations"].push_back(config_json(*ap));
        text += config_text(*ap);
    }
    return conclude(run, measures_of(stats), std::move(json), text);
}

// ---- bench --------------------------------------------------------------------------------------------------------

struct Measured {
    std::vector<BenchResult> passes;
    double median_rate() const
    {
        std::vector<double> rates;
        for (const BenchResult& pass : passes)
            rates.push_back(pass.rate());
        if (rates.empty()) return 0;
        std::sort(rates.begin(), rates.end());
        const std::size_t middle = rates.size() / 2;
        return rates.size() % 2 != 0 ? rates[middle] : (rates[middle - 1] + rates[middle]) / 2;
    }
};

void progress(const RunOptions& run, const std::string& text)
{
    if (!run.quiet) fmt::print(stderr, "{}\n", text);
}

std::vector<BenchPeer> peers_of(const RunOptions& run)
{
    std::vector<BenchPeer> peers;
    Fleet fleet(run.fleet); // joins in the case of a controller, and names the APs in any case
    if (!run.bare) {
        progress(run, fmt::format("joining {} APs to {} ...", fleet.size(), to_string(run.fleet.controller)));
        const auto limit = std::chrono::milliseconds(static_cast<long>(join_limit * 1000 / run.fleet.scale) + 1000);
        fleet.run_until([&] { return g_stop || all_joined(fleet); }, limit);
        if (!all_joined(fleet) && !g_stop)
            throw std::runtime_error(
                fmt::format("only {} of {} APs have joined in {:.0f} s: is the controller up at {}, "
                            "and has it room for them?",
                            fleet.stats().ever_joined, fleet.size(), join_limit, to_string(run.fleet.controller)));
    }
    for (std::size_t i = 0; i < fleet.size(); i++) {
        const ApOptions& ap = fleet.ap(i).options();
        peers.push_back({ap.mac, ap.layout, ap.kind.ap_type});
    }
    return peers;
}

std::string bench_line(const char* what, const BenchResult& result)
{
    const Histogram& h = result.answers;
    const auto ms = [&](double percent) { return static_cast<double>(h.percentile(percent)) / 1000.0; };
    return fmt::format(
        "{:<11} {:>10.0f} rounds/s   p50 {:.3f}  p95 {:.3f}  p99 {:.3f}  max {:.3f} ms   timeouts {}{}\n", what,
        result.rate(), ms(50), ms(95), ms(99), static_cast<double>(h.max()) / 1000.0, result.timeouts,
        result.strange > 0 ? fmt::format("   strange {}", result.strange) : "");
}

nlohmann::json bench_json(const Measured& measured)
{
    nlohmann::json out = {{"median_rate", measured.median_rate()}, {"passes", nlohmann::json::array()}};
    for (const BenchResult& pass : measured.passes)
        out["passes"].push_back({{"rate", pass.rate()},
                                 {"rounds", pass.rounds},
                                 {"timeouts", pass.timeouts},
                                 {"strange", pass.strange},
                                 {"seconds", pass.seconds},
                                 {"answers", histogram_json(pass.answers)}});
    return out;
}

void measure(const RunOptions& run, const char* what, const sockaddr_in& server, const std::vector<BenchPeer>& peers,
             Measured& into, std::string& text)
{
    if (g_stop) return;
    progress(run, fmt::format("measuring the {} for {:.1f} s ...", what, run.bench.warm_up + run.bench.measured));
    into.passes.push_back(run_bench(server, peers, run.bench, g_stop));
    text += bench_line(what, into.passes.back());
}

Measures bench_measures(const Measured& main, const Measured& bare, bool ratio)
{
    Histogram answers;
    std::uint64_t timeouts = 0;
    for (const BenchResult& pass : main.passes) {
        answers.merge(pass.answers);
        timeouts += pass.timeouts;
    }
    const auto ms = [&](double percent) { return static_cast<double>(answers.percentile(percent)) / 1000.0; };
    Measures m = {{"rate", main.median_rate()},
                  {"timeouts", static_cast<double>(timeouts)},
                  {"p50", ms(50)},
                  {"p95", ms(95)},
                  {"p99", ms(99)},
                  {"max", static_cast<double>(answers.max()) / 1000.0},
                  {"answers", static_cast<double>(answers.count())}};
    if (!ratio) return m;
    m["bare-rate"] = bare.median_rate();
    m["ratio"] = bare.median_rate() > 0 ? main.median_rate() / bare.median_rate() : 0;
    return m;
}

int run_bench_mode(const RunOptions& run)
{
    const std::vector<BenchPeer> peers = peers_of(run);
    Measured main, bare;
    std::string text;
    nlohmann::json json;
    if (!run.bare && run.settle > 0) {
        progress(run, fmt::format("letting the controller settle for {:.1f} s ...", run.settle));
        BenchOptions settle = run.bench;
        settle.measured = run.settle;
        (void)run_bench(run.fleet.controller, peers, settle, g_stop); // a new AP's first echoes cost it writes
    }
    for (int pass = 0; pass < (run.ratio ? run.passes : 1); pass++) {
        if (run.bare || run.ratio) {
            const BareServer server;
            measure(run, "bare loop", server.address(), peers, run.bare ? main : bare, text);
        }
        if (!run.bare) measure(run, "controller", run.fleet.controller, peers, main, text);
    }
    const Measures measures = bench_measures(main, bare, run.ratio);
    json["bench"][run.bare ? "bare_loop" : "controller"] = bench_json(main);
    if (run.ratio) {
        json["bench"]["bare_loop"] = bench_json(bare);
        json["bench"]["ratio"] = measures.at("ratio");
        text += fmt::format("ratio       {:.3f}   (controller {:.0f} / bare loop {:.0f} rounds/s, medians of {})\n",
                            measures.at("ratio"), main.median_rate(), bare.median_rate(), run.passes);
    }
    json["measures"] = measures;
    return conclude(run, measures, std::move(json), text);
}

} // namespace

int run_program(const RunOptions& run)
{
    std::signal(SIGINT, on_signal);
    std::signal(SIGTERM, on_signal);
    return run.mode == Mode::bench ? run_bench_mode(run) : run_fleet(run);
}

} // namespace apsim

int main(int argc, char** argv)
{
    try {
        const apsim::ParsedLine line = apsim::parse_line(argc, argv);
        return line.run ? apsim::run_program(*line.run) : line.exit_status;
    } catch (const std::exception& error) {
        fmt::print(stderr, "apsim: {}\n", error.what());
        return 2;
    }
}
