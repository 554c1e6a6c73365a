#include "options.h"

#include <gtest/gtest.h>

using namespace acctl;

namespace {

ParsedLine parse(std::vector<const char*> words)
{
    words.insert(words.begin(), "acctl");
    return parse_line(static_cast<int>(words.size()), words.data());
}

Options good(const std::vector<const char*>& words)
{
    const ParsedLine line = parse(words);
    EXPECT_TRUE(line.options.has_value());
    return line.options.value_or(Options{});
}

std::string error_of(const std::vector<const char*>& words)
{
    testing::internal::CaptureStderr();
    const ParsedLine line = parse(words);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(line.options.has_value());
    EXPECT_EQ(line.exit_status, EXIT_LINE);
    EXPECT_EQ(text.substr(0, 7), "acctl: ");
    return text;
}

std::string help_of(const std::vector<const char*>& words)
{
    testing::internal::CaptureStdout();
    const ParsedLine line = parse(words);
    std::string text = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(line.options.has_value());
    EXPECT_EQ(line.exit_status, EXIT_DONE);
    return text;
}

} // namespace

TEST(Options, a_plain_command_has_the_defaults)
{
    unsetenv("AC_ROOT");
    const Options options = good({"status"});
    EXPECT_EQ(options.command, Command::status);
    EXPECT_EQ(options.socket, "/var/ac_socket");
    EXPECT_EQ(options.timeout, 10);
    EXPECT_FALSE(options.json);
    EXPECT_TRUE(options.colour);
    EXPECT_TRUE(options.wait);
    EXPECT_EQ(options.wait_limit, 30);
}

TEST(Options, the_socket_lies_below_the_root_unless_it_is_named)
{
    setenv("AC_ROOT", "/tmp/site", 1);
    EXPECT_EQ(good({"status"}).socket, "/tmp/site/var/ac_socket");
    EXPECT_EQ(good({"--socket", "/x", "status"}).socket, "/x");
    unsetenv("AC_ROOT");
}

TEST(Options, common_ones_stand_before_or_behind_the_command)
{
    for (const Options& options : {good({"--json", "--timeout", "3", "--no-color", "ap", "list"}),
                                   good({"ap", "--json", "list", "--timeout", "3", "--no-color"}),
                                   good({"ap", "list", "--json", "--timeout", "3", "--no-color"})}) {
        EXPECT_EQ(options.command, Command::ap_list);
        EXPECT_TRUE(options.json);
        EXPECT_EQ(options.timeout, 3);
        EXPECT_FALSE(options.colour);
    }
}

TEST(Options, every_command_is_called_as_it_prints_itself)
{
    EXPECT_EQ(good({"ap", "show", "a", "b"}).aps, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(good({"ap", "rename", "a", "b"}).aps, std::vector<std::string>{"a"});
    EXPECT_EQ(good({"ap", "rename", "a", "b"}).name, "b");
    EXPECT_EQ(good({"ap", "channel", "a", "--channel", "6"}).channel, 6);
    const Options limit = good({"ap", "limit", "a", "--ssid", "0", "--ssid", "x y", "--clients", "5", "b"});
    EXPECT_EQ(limit.ssids, (std::vector<std::string>{"0", "x y"}));
    EXPECT_EQ(limit.aps, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(limit.clients, 5);
    const Options radio = good({"ap", "radio", "a", "--radio", "5", "--off", "--power", "1", "--bandwidth", "2",
                                "--country", "3", "--extend", "4"});
    EXPECT_EQ(radio.radio, 1);
    EXPECT_EQ(radio.on, false);
    EXPECT_EQ(radio.power, 1);
    EXPECT_EQ(radio.bandwidth, 2);
    EXPECT_EQ(radio.country, 3);
    EXPECT_EQ(radio.extend, 4);
    EXPECT_TRUE(radio.changes_radio());
    EXPECT_FALSE(good({"ap", "radio", "a", "--radio", "2.4"}).changes_radio());
    const Options bind = good({"ap", "bind", "--all", "--reboot-policy", "r", "--alarm-policy", "a",
                               "--password-policy", "p", "--deploy-policy", "d", "--qvlan-policy", "q"});
    EXPECT_EQ(bind.policies, (std::array<std::string, 5>{"r", "a", "p", "d", "q"}));
    EXPECT_TRUE(bind.all);
    EXPECT_TRUE(good({"ap", "reboot", "a", "--back"}).back);
    EXPECT_FALSE(good({"ap", "restore", "a", "--no-wait"}).wait);
    EXPECT_TRUE(good({"ap", "delete", "--all", "--yes"}).yes);
    EXPECT_EQ(good({"debug", "clients"}).command, Command::debug_clients);
    EXPECT_EQ(good({"watch", "--interval", "0.5", "--count", "3", "--sort", "clients"}).order, Order::clients);
    const char* const words[] = {"status",    "ap list",      "ap show",       "ap rename", "ap channel",
                                 "ap limit",  "ap radio",     "ap bind",       "ap reboot", "ap restore",
                                 "ap delete", "debug joined", "debug clients", "watch"};
    for (int i = 0; i <= static_cast<int>(Command::watch); i++)
        EXPECT_STREQ(to_string(static_cast<Command>(i)), words[i]);
}

TEST(Options, wrong_lines_are_told_what_to_do)
{
    EXPECT_NE(error_of({}).find("`acctl --help` tells more"), std::string::npos);
    EXPECT_NE(error_of({"ap"}).find("`acctl ap --help` tells more"), std::string::npos);
    EXPECT_NE(error_of({"ap", "list", "--bogus"}).find("`acctl ap list --help` tells more"), std::string::npos);
    EXPECT_EQ(error_of({"ap", "reboot"}),
              "acctl: name an AP by its MAC or its name, or give --all; `acctl ap list` shows them\n");
    EXPECT_EQ(error_of({"ap", "bind", "a"}),
              "acctl: which policy? Give --reboot-policy NAME or another of the five; see --help\n");
    EXPECT_EQ(error_of({"ap", "reboot", "a", "--all"}),
              "acctl: --all means all APs: leave it out, or the names of single ones\n");
    error_of({"ap", "rename", "a"});
    error_of({"ap", "channel", "a"});
    error_of({"ap", "limit", "a", "--clients", "3"});
    error_of({"ap", "limit", "a", "--ssid", "3"});
    error_of({"ap", "radio", "a", "--on", "--off"});
    error_of({"ap", "list", "--json", "--plain"});
    error_of({"frobnicate"});
}

TEST(Options, numbers_outside_their_ranges_are_refused)
{
    EXPECT_EQ(good({"ap", "limit", "a", "--ssid", "0", "--clients", "255"}).clients, 255);
    error_of({"ap", "limit", "a", "--ssid", "0", "--clients", "256"});
    error_of({"ap", "limit", "a", "--ssid", "0", "--clients", "-1"});
    EXPECT_EQ(good({"ap", "radio", "a", "--power", "254"}).power, 254);
    error_of({"ap", "radio", "a", "--power", "255"});
    error_of({"ap", "radio", "a", "--power", "x"});
    EXPECT_EQ(good({"ap", "channel", "a", "--channel", "196"}).channel, 196);
    error_of({"ap", "channel", "a", "--channel", "197"});
    error_of({"ap", "radio", "a", "--radio", "6"});
    error_of({"status", "--timeout", "0"});
    error_of({"watch", "--interval", "0"});
}

TEST(Options, names_have_1_to_32_bytes_that_print)
{
    const std::string fits(32, 'n'), longer(33, 'n');
    EXPECT_EQ(good({"ap", "rename", "a", fits.c_str()}).name, fits);
    EXPECT_EQ(error_of({"ap", "rename", "a", longer.c_str()}), "acctl: a name has 1 to 32 bytes; this one has 33\n");
    EXPECT_EQ(error_of({"ap", "rename", "a", ""}), "acctl: a name has 1 to 32 bytes; this one has 0\n");
    for (const char* name : {"a\x1b[m", "a\nb", "\xff"})
        EXPECT_EQ(error_of({"ap", "rename", "a", name}), "acctl: the name must be UTF-8 without control characters\n");
    EXPECT_EQ(good({"ap", "bind", "a", "--alarm-policy", fits.c_str()}).policies[1], fits);
    error_of({"ap", "bind", "a", "--alarm-policy", longer.c_str()});
}

TEST(Options, each_command_has_help_with_examples)
{
    EXPECT_NE(help_of({"--help"}).find("Examples:\n  acctl status\n"), std::string::npos);
    for (const char* command :
         {"list", "show", "rename", "channel", "limit", "radio", "bind", "reboot", "restore", "delete"}) {
        const std::string help = help_of({"ap", command, "--help"});
        EXPECT_NE(help.find(std::string("Examples:\n  acctl ap ") + command), std::string::npos) << help;
        std::istringstream lines(help);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 120u) << line;
    }
    for (const char* command : {"status", "watch"})
        EXPECT_NE(help_of({command, "--help"}).find(std::string("Examples:\n  acctl ") + command), std::string::npos);
}

TEST(Options, a_word_that_is_no_command_is_named_with_the_commands_there_are)
{
    EXPECT_EQ(error_of({}), "acctl: say a command: status, ap, watch, debug\n`acctl --help` tells more.\n");
    EXPECT_EQ(error_of({"bogus"}), "acctl: there is no command \"bogus\"; there are status, ap, watch, debug\n"
                                   "`acctl --help` tells more.\n");
    EXPECT_EQ(error_of({"debug"}), "acctl: say a command: joined, clients\n`acctl debug --help` tells more.\n");
    EXPECT_EQ(error_of({"debug", "aps"}), "acctl: there is no command \"aps\"; there are joined, clients\n"
                                          "`acctl debug --help` tells more.\n");
    EXPECT_EQ(error_of({"--version"}), "acctl: there is no option --version\n`acctl --help` tells more.\n");
}

TEST(Options, numbers_have_bounds_and_what_is_none_is_refused)
{
    EXPECT_EQ(error_of({"status", "--timeout", "nan"}),
              "acctl: --timeout: \"nan\" is no number from 0.1 to 3600\n`acctl status --help` tells more.\n");
    EXPECT_EQ(error_of({"watch", "--count", "-1"}),
              "acctl: --count: \"-1\" is no number from 0 to 1000000000\n`acctl watch --help` tells more.\n");
    EXPECT_EQ(good({"watch", "--count", "1000000000"}).count, 1000000000U);
    error_of({"watch", "--count", "1000000001"});
}
