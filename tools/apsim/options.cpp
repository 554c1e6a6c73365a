#include "options.h"

#include <limits>
#include <stdexcept>

#include <arpa/inet.h>

#include <fmt/format.h>

#include "cli_line.h"

namespace apsim {

namespace {

constexpr std::size_t aps_max = 2000;
constexpr double longest = 1e9; // seconds, some thirty years: their microseconds fit 64 bits with room to spare

// Options as the user writes them; what is empty takes the default of its mode.
struct Line {
    std::string controller = "127.0.0.1:5000";
    std::string source;
    std::optional<std::size_t> aps;
    UINT32 scale = 1;
    std::optional<double> loss, loss_up, loss_down;
    std::optional<double> dup, dup_up, dup_down;
    std::optional<double> reorder, reorder_up, reorder_down;
    std::optional<double> delay, delay_up, delay_down;
    UINT32 seed = 1;
    std::optional<double> duration;
    std::optional<double> reboot_every;
    double outage_every = 0, outage_for = 240;
    bool forget = false;
    std::optional<double> noise[noise_count];
    std::optional<double> spread;
    std::size_t silent = 0, refusing = 0;
    int silent_after = 3;
    std::string layout = "mix";
    std::vector<UINT16> types;
    std::string first_mac = "02:a9:51:00:00:00";
    UINT32 mac_step = 16;
    int config_version = 0;
    std::vector<std::string> expect;
    std::string print_config;
    std::string controller_log;
};

void add_fleet_options(CLI::App& app, Line& line)
{
    const auto fleet = "Fleet";
    app.add_option("--controller", line.controller, "Address of the controller, IP or IP:PORT")
        ->type_name("ADDRESS")
        ->capture_default_str()
        ->group(fleet);
    app.add_option("--source", line.source, "Local address that the APs send from (default: the system's choice)")
        ->type_name("IP")
        ->group(fleet);
    app.add_option("--aps", line.aps, "Number of APs, 1 to 2000 (default 10; storm 100; bench 64)")
        ->type_name("N")
        ->check(cli_line::number_between(std::size_t{1}, aps_max))
        ->group(fleet);
    app.add_option("--scale", line.scale,
                   "Clock factor: every timer of an AP is divided by it. Give the controller the "
                   "same factor")
        ->type_name("N")
        ->check(cli_line::number_between(UINT32{1}, UINT32{10000}))
        ->capture_default_str()
        ->group(fleet);
    app.add_option("--types", line.types,
                   "Product types played in turn, for example 1,7,70 (default 1,4,6,7,67,70: one "
                   "and two radios, 2 to 12 SSIDs, known and learnt). A controller takes 1 to 199")
        ->type_name("LIST")
        ->delimiter(',')
        ->check(cli_line::number_between(UINT16{0}, std::numeric_limits<UINT16>::max()))
        ->allow_extra_args(false)
        ->group(fleet);
    app.add_option(
           "--layout", line.layout,
           "Layout of the configuration records: 3, 4, or mix: both in turn, but 4 for APs with two radios, the "
           "second of which a controller misreads in layout 3")
        ->type_name("3|4|mix")
        ->check(CLI::IsMember({"3", "4", "mix"}))
        ->capture_default_str()
        ->group(fleet);
    app.add_option("--first-mac", line.first_mac, "MAC of the first AP; the others follow")
        ->type_name("MAC")
        ->capture_default_str()
        ->group(fleet);
    app.add_option("--mac-step", line.mac_step, "Distance between the MACs of two APs; an AP's SSIDs use the next 12")
        ->type_name("N")
        ->check(cli_line::number_between(UINT32{1}, UINT32{256}))
        ->capture_default_str()
        ->group(fleet);
    app.add_option("--config-version", line.config_version, "Configuration version that the APs start with")
        ->type_name("N")
        ->check(cli_line::number_between(0, 99))
        ->capture_default_str()
        ->group(fleet);
    app.add_option("--spread", line.spread,
                   "Simulated seconds over which the APs power on (default 0; soak and flood 30)")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.0, longest))
        ->group(fleet);
}

// --NAME for both directions, --NAME-up and --NAME-down for one; the one beats the both.
void add_link_option(CLI::App& app, const std::string& name, const std::string& type, const std::string& help,
                     std::optional<double>& both, std::optional<double>& up, std::optional<double>& down)
{
    const bool probability = type == "P";
    const auto add = [&](const std::string& option, std::optional<double>& target, const std::string& text) {
        auto* added = app.add_option(option, target, text)->type_name(type)->group("Faults");
        if (probability)
            added->check(cli_line::number_between(0.0, 1.0));
        else
            added->check(cli_line::number_between(0.0, 60000.0));
    };
    add("--" + name, both, help + ", both directions");
    add("--" + name + "-up", up, help + ", from the APs only");
    add("--" + name + "-down", down, help + ", to the APs only");
}

void add_fault_options(CLI::App& app, Line& line)
{
    const auto faults = "Faults";
    app.add_option("--seed", line.seed, "Seed of everything drawn by chance")
        ->type_name("N")
        ->check(cli_line::number_between(UINT32{0}, std::numeric_limits<UINT32>::max()))
        ->capture_default_str()
        ->group(faults);
    add_link_option(app, "loss", "P", "Part of the datagrams that is lost, 0 to 1", line.loss, line.loss_up,
                    line.loss_down);
    add_link_option(app, "dup", "P", "Part that arrives twice", line.dup, line.dup_up, line.dup_down);
    add_link_option(app, "reorder", "P", "Part that is held back 20 ms, so that others overtake it", line.reorder,
                    line.reorder_up, line.reorder_down);
    add_link_option(app, "delay-ms", "N", "Delay of every datagram in real milliseconds", line.delay, line.delay_up,
                    line.delay_down);
    app.add_option(
           "--reboot-every", line.reboot_every,
           "Simulated seconds between two reboots anywhere in the fleet, on average; 0: none (default 0; soak 60)")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.0, longest))
        ->group(faults);
    app.add_flag("--forget", line.forget,
                 "APs come back from such a reboot with factory settings, version 0: a controller that holds a later "
                 "version (see --config-version) has to hand them their settings again")
        ->group(faults);
    app.add_option(
           "--outage-every", line.outage_every,
           "Simulated seconds between two outages anywhere in the fleet, on average: an AP that runs is cut off "
           "from the network for a while and then goes on; 0: none")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.0, longest))
        ->capture_default_str()
        ->group(faults);
    app.add_option("--outage-for", line.outage_for, "Simulated seconds that an outage lasts")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.001, longest))
        ->capture_default_str()
        ->group(faults);
    app.add_option("--silent", line.silent, "The last N APs join and then fall silent for good")
        ->type_name("N")
        ->check(cli_line::number_between(std::size_t{0}, aps_max))
        ->group(faults);
    app.add_option("--silent-after", line.silent_after, "Echoes before a silent AP falls silent")
        ->type_name("N")
        ->check(cli_line::number_between(0, 1000))
        ->capture_default_str()
        ->group(faults);
    app.add_option("--refusing", line.refusing,
                   "The N APs before the silent ones answer requests with a failure and "
                   "apply nothing")
        ->type_name("N")
        ->check(cli_line::number_between(std::size_t{0}, aps_max))
        ->group(faults);
    static const char* const texts[noise_count] = {
        "Echoes of APs that have never joined", "Frames of an AP of the fleet with a wrong CRC",
        "Frames of an AP of the fleet with a foreign vendor", "Frames with a MAC of zeros",
        "Random bytes, cut headers, headers that promise more than there is"};
    static const char* const defaults[noise_count] = {"2000", "500", "500", "500", "500"};
    for (std::size_t i = 0; i < noise_count; i++)
        app.add_option(fmt::format("--{}", to_string(static_cast<Noise>(i))), line.noise[i],
                       fmt::format("{}, per real second (default 0; flood {})", texts[i], defaults[i]))
            ->type_name("RATE")
            ->check(cli_line::number_between(0.0, 1000000.0))
            ->group(faults);
}

void add_run_options(CLI::App& app, Line& line, RunOptions& run)
{
    const auto group = "Run and report";
    app.add_option("--duration", line.duration,
                   "Simulated seconds to run; 0: until Ctrl-C (default 0; storm 120, flood 60; bench: 5 real seconds "
                   "for each measurement)")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.0, longest))
        ->group(group);
    std::string names;
    for (const std::string& name : measure_names())
        names += (names.empty() ? "" : ", ") + name;
    app.add_option(
           "--expect", line.expect,
           "Condition that must hold at the end, or the exit status is 1; may be repeated: joined=all, "
           "joined>=200, joined-within=30, lost=0, p99<50. Times of answers are real milliseconds, joined-within "
           "is simulated seconds. Measures: " +
               names)
        ->type_name("COND")
        ->take_all()
        ->allow_extra_args(false)
        ->group(group);
    app.add_option("--print-config", line.print_config, "At the end print the configuration of one AP, or of all")
        ->type_name("MAC|all")
        ->group(group);
    app.add_option("--controller-log", line.controller_log,
                   "Show what this file, the controller's output, says: each kind of line with its count and the last "
                   "of it, beneath the table and at the end")
        ->type_name("FILE")
        ->group(group);
    app.add_flag("--json", run.json, "Print the result as one JSON object on standard output")->group(group);
    app.add_flag("--quiet", run.quiet, "No live table; the result only")->group(group);
}

void add_modes(CLI::App& app, RunOptions& run)
{
    const auto add = [&](Mode mode, const char* help, const char* examples) {
        CLI::App* sub = app.add_subcommand(to_string(mode), help);
        sub->fallthrough();
        sub->footer(std::string("Examples:\n") + examples +
                    "\nThe options of the fleet, its faults and the report hold here, too: `apsim --help`.");
        sub->callback([&run, mode] { run.mode = mode; });
        return sub;
    };
    CLI::App* storm = add(Mode::storm, "All APs join at once; ends when the last has joined or the duration is over",
                          "  apsim storm --aps 512 --scale 10 --expect joined=all --expect joined-within=30");
    storm->add_flag("--stay", run.stay, "Go on until the duration is over");
    add(Mode::soak,
        "Steady life with faults: 2% loss, 1% duplicates, 2% reordered, a reboot a minute, unless told otherwise",
        "  apsim soak --aps 200 --scale 20 --loss 0.05 --duration 3600 --expect 'p99<50'\n"
        "  apsim soak --aps 24 --scale 10 --outage-every 60 --forget --config-version 1");
    add(Mode::flood, "Unknown and bad frames beside a healthy fleet",
        "  apsim flood --aps 100 --unknown 5000 --expect lost=0 --expect noise-answered=0");
    CLI::App* bench = add(Mode::bench, "Echo rounds per second and answer times of a controller",
                          "  apsim bench --ratio --controller 127.0.0.1:5000\n"
                          "  apsim bench --aps 512 --window 1 --expect 'p99<1'");
    bench->add_flag(
        "--bare", run.bare,
        "Measure a bare recvfrom/sendto loop in a child process on the loopback instead, with the same client");
    bench->add_flag("--ratio", run.ratio, "Measure both in turn and print controller / bare loop, of the medians");
    bench->add_option("--passes", run.passes, "With --ratio: measurements of each")
        ->type_name("N")
        ->check(cli_line::number_between(1, 100))
        ->capture_default_str();
    bench
        ->add_option("--settle", run.settle,
                     "Real seconds of uncounted echoes first, while the controller still writes what the join brought")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.0, longest))
        ->capture_default_str();
    bench->add_option("--window", run.bench.window, "Echoes under way at the same time, each of another AP")
        ->type_name("N")
        ->check(cli_line::number_between(1, 1000))
        ->capture_default_str();
    app.require_subcommand(0, 1);
}

double pick(const std::optional<double>& one, const std::optional<double>& both, double otherwise)
{
    return one ? *one : both.value_or(otherwise);
}

LinkFaults link_of(const Line& line, Mode mode, bool up)
{
    const bool soak = mode == Mode::soak;
    LinkFaults faults;
    faults.loss = pick(up ? line.loss_up : line.loss_down, line.loss, soak ? 0.02 : 0);
    faults.dup = pick(up ? line.dup_up : line.dup_down, line.dup, soak ? 0.01 : 0);
    faults.reorder = pick(up ? line.reorder_up : line.reorder_down, line.reorder, soak ? 0.02 : 0);
    const double delay = pick(up ? line.delay_up : line.delay_down, line.delay, 0);
    faults.delay = static_cast<micros>(delay * static_cast<double>(millisecond));
    return faults;
}

void fill_addresses(FleetOptions& fleet, const Line& line)
{
    fleet.controller = endpoint(line.controller);
    if (!line.source.empty() && inet_pton(AF_INET, line.source.c_str(), &fleet.source) != 1)
        throw std::invalid_argument(fmt::format("--source \"{}\" is no address; write it as 192.0.2.1", line.source));
    fleet.first_mac = parse_mac(line.first_mac);
    if ((fleet.first_mac[0] & 1) != 0)
        throw std::invalid_argument("--first-mac is a group address; its first byte must be even");
    if (fleet.first_mac == Mac{}) throw std::invalid_argument("--first-mac is all zero; no controller takes that");
}

void fill_fleet(RunOptions& run, const Line& line)
{
    static constexpr double flood_noise[noise_count] = {2000, 500, 500, 500, 500};
    FleetOptions& fleet = run.fleet;
    const Mode mode = run.mode;
    fill_addresses(fleet, line);
    fleet.aps = line.aps.value_or(mode == Mode::storm ? 100 : mode == Mode::bench ? 64 : 10);
    fleet.scale = line.scale;
    fleet.seed = line.seed;
    fleet.types = line.types;
    fleet.two_radios_in_layout_4 = line.layout == "mix";
    if (line.layout != "mix") fleet.layouts = {static_cast<UINT16>(line.layout == "3" ? AC_LAYOUT_V1 : AC_LAYOUT_V2)};
    fleet.mac_step = line.mac_step;
    fleet.config_version = line.config_version;
    fleet.silent = line.silent;
    fleet.silent_after = line.silent_after;
    fleet.refusing = line.refusing;
    if (line.silent + line.refusing > fleet.aps)
        throw std::invalid_argument(fmt::format("{} silent and {} refusing APs are more than the {} there are: raise "
                                                "--aps",
                                                line.silent, line.refusing, fleet.aps));
    const double spread = line.spread.value_or(mode == Mode::soak || mode == Mode::flood ? 30 : 0);
    fleet.start_spread = static_cast<micros>(spread * static_cast<double>(second));
    fleet.reboot_every = line.reboot_every.value_or(mode == Mode::soak ? 60 : 0);
    fleet.forget = line.forget;
    fleet.outage_every = line.outage_every;
    fleet.outage_for = line.outage_for;
    fleet.up = link_of(line, mode, true);
    fleet.down = link_of(line, mode, false);
    for (std::size_t i = 0; i < noise_count; i++)
        fleet.noise[i] = line.noise[i].value_or(mode == Mode::flood ? flood_noise[i] : 0);
}

void fill_run(RunOptions& run, const Line& line)
{
    fill_fleet(run, line);
    run.duration = line.duration.value_or(run.mode == Mode::storm ? 120 : run.mode == Mode::flood ? 60 : 0);
    if (run.mode == Mode::bench) {
        run.bench.measured = line.duration.value_or(5);
        if (run.bench.measured <= 0) throw std::invalid_argument("a bench needs an end: give a --duration above 0");
        if (run.bare && run.ratio) throw std::invalid_argument("--ratio measures the bare loop too: leave --bare out");
    }
    for (const std::string& text : line.expect)
        run.expectations.push_back(parse_expectation(text));
    run.print_config = line.print_config;
    run.controller_log = line.controller_log;
    if (!run.print_config.empty() && run.print_config != "all") (void)parse_mac(run.print_config);
}

} // namespace

const char* to_string(Mode mode)
{
    static const char* const names[] = {"life", "storm", "soak", "flood", "bench"};
    return names[static_cast<std::size_t>(mode)];
}

ParsedLine parse_line(int argc, const char* const* argv)
{
    Line line;
    RunOptions run;
    CLI::App app(
        "apsim - behaves as a fleet of access points towards a controller.\n"
        "Without a mode the fleet joins and lives; faults come by option.\n"
        "Seconds are simulated (see --scale), milliseconds and rates are real.\n"
        "Exit status: 0 good, 1 a condition of --expect doesn't hold, 2 the line is wrong or the start failed.",
        "apsim");
    app.footer("Examples:\n"
               "  apsim --controller 127.0.0.1:5000 --aps 6 --print-config all\n"
               "  apsim storm --aps 512 --scale 10 --expect joined=all --expect joined-within=30\n"
               "  apsim soak --aps 200 --scale 20 --loss 0.05 --duration 3600 --expect 'p99<50'\n"
               "  apsim flood --aps 100 --unknown 5000 --expect lost=0 --expect noise-answered=0\n"
               "  apsim bench --ratio --controller 127.0.0.1:5000\n"
               "`apsim MODE --help` tells what a mode adds.");
    app.formatter(std::make_shared<cli_line::Help>()); // the modes take it over as they are made
    app.failure_message(cli_line::complaint);
    add_fleet_options(app, line);
    add_fault_options(app, line);
    add_run_options(app, line, run);
    add_modes(app, run);
    try {
        app.parse(argc, argv);
        fill_run(run, line);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return {std::nullopt, status == 0 ? 0 : 2};
    } catch (const std::invalid_argument& error) {
        fmt::print(stderr, "apsim: {}\n", error.what());
        return {std::nullopt, 2};
    }
    return {run, 0};
}

} // namespace apsim
