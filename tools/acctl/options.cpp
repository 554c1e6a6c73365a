#include "options.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "channel.h"
#include "cli_line.h"
#include "text.h"

namespace acctl {

namespace {

const char* const group_controller = "Controller and output";
const char* const group_wait = "Waiting for the effect";
const char* const group_aps = "APs";

void add_common_options(CLI::App& app, Options& options, bool& no_colour)
{
    app.add_option("--socket", options.socket,
                   "The controller's socket (default: var/ac_socket below AC_ROOT where that is set, else "
                   "/var/ac_socket)")
        ->type_name("PATH")
        ->group(group_controller);
    app.add_option("--timeout", options.timeout, "How long one answer of the controller may take")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.1, 3600.0))
        ->capture_default_str()
        ->group(group_controller);
    app.add_flag("--json", options.json, "Print JSON instead of text")->group(group_controller);
    app.add_flag("--no-color", no_colour, "No colours (nor are there any with NO_COLOR set, or into a pipe)")
        ->group(group_controller);
}

CLI::App* add_command(CLI::App& parent, const char* name, const char* help, const char* examples, Command command,
                      Options& options)
{
    CLI::App* sub = parent.add_subcommand(name, help);
    sub->fallthrough();
    sub->footer(std::string("Examples:\n") + examples);
    sub->callback([&options, command] { options.command = command; });
    return sub;
}

void add_aps(CLI::App& sub, Options& options)
{
    sub.add_option("AP", options.aps, "APs, each by its MAC or its name")->type_name("");
    sub.add_flag("--all", options.all, "All APs of the list")->group(group_aps);
}

void add_one_ap(CLI::App& sub, Options& options)
{
    sub.add_option_function<std::string>(
           "AP", [&options](const std::string& ap) { options.aps = {ap}; }, "The AP, by its MAC or its name")
        ->type_name("")
        ->required();
}

void add_waiting(CLI::App& sub, Options& options)
{
    sub.add_flag("--wait,!--no-wait", options.wait,
                 "Wait until the controller shows the effect (the default), or don't: the controller acknowledges most "
                 "requests before it has done anything")
        ->group(group_wait);
    sub.add_option("--wait-limit", options.wait_limit, "Give up waiting after that long")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.0, 86400.0))
        ->capture_default_str()
        ->group(group_wait);
}

void add_question(CLI::App& sub, Options& options)
{
    sub.add_flag("--yes", options.yes, "Don't ask before it is done to all APs")->group(group_aps);
}

void add_number(CLI::App& sub, const char* name, std::optional<int>& target, const char* help)
{
    sub.add_option(name, target, help)->type_name("N")->check(cli_line::number_between(0, 254));
}

void add_radio(CLI::App& sub, Options& options, const char* help)
{
    static const std::map<std::string, int> radios = {{"2.4", 0}, {"5", 1}};
    sub.add_option_function<std::string>(
           "--radio", [&options](const std::string& text) { options.radio = radios.at(text); }, help)
        ->type_name("2.4|5")
        ->check(CLI::IsMember({"2.4", "5"}));
}

void add_sort(CLI::App& sub, Options& options)
{
    static const std::map<std::string, Order> orders = {
        {"name", Order::name}, {"mac", Order::mac}, {"status", Order::status}, {"clients", Order::clients}};
    sub.add_option_function<std::string>(
           "--sort", [&options](const std::string& text) { options.order = orders.at(text); },
           "Order of the lines: name (the default), mac, status or clients")
        ->type_name("KEY")
        ->check(CLI::IsMember({"name", "mac", "status", "clients"}));
}

void add_list(CLI::App& ap, Options& options)
{
    CLI::App* sub = add_command(ap, "list", "The APs that the controller knows, a line each",
                                "  acctl ap list\n"
                                "  acctl ap list --sort clients\n"
                                "  acctl ap list --plain | awk -F '\\t' '$4 == \"offline\" { print $1 }'\n"
                                "  acctl ap list --json | jq -r '.aps[] | select(.online) | .mac'",
                                Command::ap_list, options);
    CLI::Option* plain = sub->add_flag(
        "--plain", options.plain,
        "For scripts: a line of tab-separated texts for each AP, without a heading: MAC, name, IP, status, clients on "
        "2.4 GHz, clients on 5 GHz, product, firmware");
    plain->excludes(ap.get_parent()->get_option("--json"));
    add_sort(*sub, options);
}

void add_changes(CLI::App& ap, Options& options)
{
    CLI::App* rename = add_command(ap, "rename", "Give an AP a name",
                                   "  acctl ap rename 02:a9:51:00:00:10 lobby\n"
                                   "  acctl ap rename lobby 'Lobby, north'",
                                   Command::ap_rename, options);
    add_one_ap(*rename, options);
    rename->add_option("NAME", options.name, "The new name, 1 to 32 bytes of UTF-8")->type_name("")->required();
    add_waiting(*rename, options);

    CLI::App* channel = add_command(ap, "channel", "Set the channel of a radio",
                                    "  acctl ap channel lobby --channel 6\n"
                                    "  acctl ap channel lobby roof --channel 149\n"
                                    "  acctl ap channel --all --radio 2.4 --channel 0",
                                    Command::ap_channel, options);
    add_aps(*channel, options);
    add_radio(*channel, options, "Which radio (default: the one that the channel belongs to)");
    channel
        ->add_option(
            "--channel", options.channel,
            "2.4 GHz: 1 to 14; 5 GHz: 34 to 196; 0 on either: what the AP does with it, commonly its own choice")
        ->type_name("N")
        ->check(cli_line::number_between(0, 196))
        ->required();
    add_number(*channel, "--extend", options.extend, "The AP's number for the extension channel (default: as it is)");
    add_waiting(*channel, options);

    CLI::App* limit = add_command(ap, "limit", "Set how many clients an SSID takes",
                                  "  acctl ap limit lobby --ssid 0 --clients 40\n"
                                  "  acctl ap limit --all --ssid guests --clients 20",
                                  Command::ap_limit, options);
    add_aps(*limit, options);
    limit
        ->add_option("--ssid", options.ssids,
                     "The SSID, by number (2.4 GHz: 0 to 7; 5 GHz: 8 to 11) or by its name; may be repeated")
        ->type_name("SSID")
        ->allow_extra_args(false)
        ->take_all()
        ->required();
    limit->add_option("--clients", options.clients, "Clients at the same time")
        ->type_name("N")
        ->check(cli_line::number_between(0, 255))
        ->required();
    add_waiting(*limit, options);
}

void add_radio_command(CLI::App& ap, Options& options)
{
    CLI::App* sub = add_command(ap, "radio", "Show the radios of APs, or change them",
                                "  acctl ap radio lobby\n"
                                "  acctl ap radio lobby --radio 5 --power 17 --channel 149\n"
                                "  acctl ap radio --all --radio 2.4 --off\n"
                                "Without an option that changes something the radios are shown.",
                                Command::ap_radio, options);
    add_aps(*sub, options);
    add_radio(*sub, options, "Which radio (default: show both; a change needs it where an AP has two)");
    const auto on = [&](const char* name, bool value, const char* help) {
        return sub->add_flag_callback(
            name, [&options, value] { options.on = value; }, help);
    };
    on("--on", true, "Switch the radio on")->excludes(on("--off", false, "Switch the radio off"));
    add_number(*sub, "--power", options.power, "Transmission power");
    add_number(*sub, "--channel", options.channel, "Channel, as with `acctl ap channel`");
    add_number(*sub, "--extend", options.extend, "The AP's number for the extension channel");
    add_number(*sub, "--bandwidth", options.bandwidth, "The AP's number for the channel width");
    add_number(*sub, "--country", options.country, "The AP's number for the country");
    add_waiting(*sub, options);
}

void add_bind(CLI::App& ap, Options& options)
{
    CLI::App* sub =
        add_command(ap, "bind", "Bind APs to policies that exist",
                    "  acctl ap bind lobby roof --reboot-policy nightly\n"
                    "  acctl ap bind --all --alarm-policy night-shift --password-policy staff\n"
                    "`acctl ap show AP` tells what an AP is bound to. A kind that isn't named stays as it is.",
                    Command::ap_bind, options);
    add_aps(*sub, options);
    const auto policy = [&](const char* name, Policy kind, const char* help) {
        sub->add_option(name, options.policies[static_cast<std::size_t>(kind)], help)->type_name("NAME");
    };
    policy("--reboot-policy", Policy::reboot, "Scheduled reboot and LED");
    policy("--alarm-policy", Policy::alarm, "Alarms and whom they are told");
    policy("--password-policy", Policy::password, "Login of the APs' own web page");
    policy("--deploy-policy", Policy::deploy, "Tuning for the place where the APs hang");
    policy("--qvlan-policy", Policy::qvlan, "VLANs of the APs' ports");
    add_waiting(*sub, options);
}

void add_lives(CLI::App& ap, Options& options)
{
    const auto add = [&](const char* name, const char* help, const char* examples, Command command, bool back) {
        CLI::App* sub = add_command(ap, name, help, examples, command, options);
        add_aps(*sub, options);
        add_question(*sub, options);
        add_waiting(*sub, options);
        if (back)
            sub->add_flag("--back", options.back, "Wait until the AP is online again, not only until it has gone down")
                ->group(group_wait);
    };
    add("reboot", "Restart APs",
        "  acctl ap reboot lobby\n"
        "  acctl ap reboot lobby roof --back --wait-limit 300\n"
        "  acctl ap reboot --all --yes",
        Command::ap_reboot, true);
    add("restore", "Put APs back to factory settings",
        "  acctl ap restore lobby\n"
        "  acctl ap restore lobby --back --wait-limit 300\n"
        "A configuration with a later version that the controller has stored is handed out to the AP when it is back.",
        Command::ap_restore, true);
    add("delete", "Make the controller forget APs, with what it has stored about them",
        "  acctl ap delete roof\n"
        "  acctl ap list --plain | awk -F '\\t' '$4 == \"offline\" { print $1 }' | xargs -r acctl ap delete\n"
        "The AP itself is told nothing: one that is alive joins again by itself.",
        Command::ap_delete, false);
}

void add_ap_commands(CLI::App& app, Options& options)
{
    CLI::App* ap = app.add_subcommand("ap", "Access points: list, show, rename, set, bind, reboot, delete");
    ap->fallthrough();
    ap->require_subcommand(1);
    ap->footer("`acctl ap COMMAND --help` tells more, with examples.");
    add_list(*ap, options);
    CLI::App* show = add_command(*ap, "show", "All that the controller tells about APs",
                                 "  acctl ap show lobby\n"
                                 "  acctl ap show 02:a9:51:00:00:10 --json",
                                 Command::ap_show, options);
    add_aps(*show, options);
    add_changes(*ap, options);
    add_radio_command(*ap, options);
    add_bind(*ap, options);
    add_lives(*ap, options);
}

void add_status(CLI::App& app, Options& options)
{
    add_command(app, "status", "Does the controller answer, and how many APs and clients has it",
                "  acctl status\n"
                "  acctl status --json\n"
                "  acctl status > /dev/null || echo 'no controller'",
                Command::status, options);
}

void add_watch(CLI::App& app, Options& options)
{
    CLI::App* watch = add_command(app, "watch", "The APs as a live table; q or Ctrl-C ends it",
                                  "  acctl watch\n"
                                  "  acctl watch --interval 0.5 --sort clients\n"
                                  "  acctl watch --json --count 10 | jq -c .counts",
                                  Command::watch, options);
    watch->add_option("--interval", options.interval, "Time between two looks")
        ->type_name("SECONDS")
        ->check(cli_line::number_between(0.1, 3600.0))
        ->capture_default_str();
    watch->add_option("--count", options.count, "End after that many looks; 0: go on until stopped")
        ->type_name("N")
        ->check(cli_line::number_between(0U, 1000000000U))
        ->capture_default_str();
    add_sort(*watch, options);
}

void add_debug(CLI::App& app, Options& options)
{
    CLI::App* debug = app.add_subcommand("debug", "Have the controller write one of its tables to a file");
    debug->fallthrough();
    debug->require_subcommand(1);
    add_command(*debug, "joined", "The APs in conversation right now, with the state of each",
                "  acctl debug joined\n"
                "The controller writes tag.cfg beside its socket; acctl shows what it finds there.",
                Command::debug_joined, options);
    add_command(*debug, "clients", "The table of wireless clients",
                "  acctl debug clients\n"
                "The controller writes user.cfg beside its socket; acctl shows what it finds there.",
                Command::debug_clients, options);
}

// What no single option can tell; throws std::invalid_argument.
void check_together(const Options& options)
{
    const Command command = options.command;
    const bool of_aps =
        command == Command::ap_show || (command >= Command::ap_channel && command <= Command::ap_delete);
    if (of_aps && options.aps.empty() && !options.all)
        throw std::invalid_argument("name an AP by its MAC or its name, or give --all; `acctl ap list` shows them");
    if (!options.aps.empty() && options.all)
        throw std::invalid_argument("--all means all APs: leave it out, or the names of single ones");
    if (command == Command::ap_rename && (options.name.empty() || options.name.size() > AC_NAME_LEN))
        throw std::invalid_argument(
            fmt::format("a name has 1 to {} bytes; this one has {}", AC_NAME_LEN, options.name.size()));
    if (command == Command::ap_rename && (to_utf8(options.name) != options.name || shown(options.name) != options.name))
        throw std::invalid_argument("the name must be UTF-8 without control characters");
    if (command != Command::ap_bind) return;
    bool any = false;
    for (const std::string& name : options.policies) {
        any = any || !name.empty();
        if (name.size() > AC_NAME_LEN)
            throw std::invalid_argument(
                fmt::format("a policy's name has at most {} bytes; this one has {}", AC_NAME_LEN, name.size()));
    }
    if (!any) throw std::invalid_argument("which policy? Give --reboot-policy NAME or another of the five; see --help");
}

} // namespace

const char* to_string(Command command)
{
    static const char* const words[] = {"status",    "ap list",      "ap show",       "ap rename", "ap channel",
                                        "ap limit",  "ap radio",     "ap bind",       "ap reboot", "ap restore",
                                        "ap delete", "debug joined", "debug clients", "watch"};
    return words[static_cast<std::size_t>(command)];
}

ParsedLine parse_line(int argc, const char* const* argv)
{
    Options options;
    bool no_colour = false;
    CLI::App app("acctl - asks and steers the wireless controller on this machine over its control socket.", "acctl");
    app.footer(
        "Examples:\n"
        "  acctl status\n"
        "  acctl ap list\n"
        "  acctl ap rename 02:a9:51:00:00:10 lobby\n"
        "  acctl ap radio lobby --radio 5 --power 17\n"
        "  acctl watch\n"
        "`acctl COMMAND --help` tells more.\n"
        "Exit status: 0 done, 1 acctl failed, 2 the line is wrong, 3 no controller answers, 4 its answer is late\n"
        "or makes no sense, 5 no such AP or policy, 6 asked for but the effect was not seen.");
    app.formatter(std::make_shared<cli_line::Help>()); // the commands take it over as they are made
    add_common_options(app, options, no_colour);
    add_status(app, options);
    add_ap_commands(app, options);
    add_watch(app, options);
    add_debug(app, options);
    app.require_subcommand(1);
    app.failure_message(cli_line::complaint);
    try {
        app.parse(argc, argv);
        check_together(options);
    } catch (const CLI::ParseError& error) {
        const int status = app.exit(error);
        return {std::nullopt, status == 0 ? EXIT_DONE : EXIT_LINE};
    } catch (const std::invalid_argument& error) {
        fmt::print(stderr, "acctl: {}\n", error.what());
        return {std::nullopt, EXIT_LINE};
    }
    if (app.count("--socket") == 0) options.socket = default_socket();
    options.colour = !no_colour;
    return {options, EXIT_DONE};
}

} // namespace acctl
