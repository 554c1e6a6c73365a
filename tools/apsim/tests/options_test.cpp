#include "options.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace apsim;

namespace {

ParsedLine parse(std::vector<const char*> words)
{
    words.insert(words.begin(), "apsim");
    return parse_line(static_cast<int>(words.size()), words.data());
}

std::string error_of(const std::vector<const char*>& words)
{
    testing::internal::CaptureStderr();
    const ParsedLine line = parse(words);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_FALSE(line.run.has_value());
    EXPECT_EQ(line.exit_status, 2);
    return text;
}

} // namespace

TEST(Options, a_bare_line_is_ten_aps_without_faults_until_stopped)
{
    const RunOptions run = parse({}).run.value();
    EXPECT_EQ(run.mode, Mode::life);
    EXPECT_EQ(run.fleet.aps, 10u);
    EXPECT_EQ(to_string(run.fleet.controller), "127.0.0.1:5000");
    EXPECT_TRUE(run.fleet.up.none());
    EXPECT_EQ(run.duration, 0);
    EXPECT_EQ(run.fleet.layouts, (std::vector<UINT16>{3, 4}));
    EXPECT_TRUE(run.fleet.two_radios_in_layout_4);
    EXPECT_FALSE(parse({"--layout", "3"}).run.value().fleet.two_radios_in_layout_4);
}

TEST(Options, stand_before_or_behind_the_mode)
{
    for (const RunOptions& run : {parse({"--aps", "7", "storm", "--scale", "5"}).run.value(),
                                  parse({"storm", "--scale", "5", "--aps", "7"}).run.value()}) {
        EXPECT_EQ(run.mode, Mode::storm);
        EXPECT_EQ(run.fleet.aps, 7u);
        EXPECT_EQ(run.fleet.scale, 5u);
    }
}

TEST(Options, the_fault_of_one_direction_beats_that_of_both)
{
    const RunOptions run = parse({"--loss", "0.1", "--loss-up", "0.5", "--dup-down", "0.2", "--reorder", "1",
                                  "--delay-ms", "3", "--delay-ms-down", "4"})
                               .run.value();
    EXPECT_EQ(run.fleet.up.loss, 0.5);
    EXPECT_EQ(run.fleet.down.loss, 0.1);
    EXPECT_EQ(run.fleet.up.dup, 0);
    EXPECT_EQ(run.fleet.down.dup, 0.2);
    EXPECT_EQ(run.fleet.up.reorder, 1);
    EXPECT_EQ(run.fleet.up.delay, 3 * millisecond);
    EXPECT_EQ(run.fleet.down.delay, 4 * millisecond);
}

TEST(Options, soak_brings_faults_of_its_own_that_options_replace)
{
    const RunOptions run = parse({"soak", "--loss", "0"}).run.value();
    EXPECT_EQ(run.fleet.up.loss, 0);
    EXPECT_EQ(run.fleet.down.dup, 0.01);
    EXPECT_EQ(run.fleet.reboot_every, 60);
}

TEST(Options, flood_brings_noise_of_its_own_that_options_replace)
{
    const RunOptions run = parse({"flood", "--unknown", "7"}).run.value();
    EXPECT_EQ(run.fleet.noise[0], 7);
    EXPECT_EQ(run.fleet.noise[1], 500);
    EXPECT_EQ(run.duration, 60);
}

TEST(Options, lists_and_repeated_conditions_leave_the_mode_alone)
{
    const RunOptions run =
        parse({"--types", "1,7,70", "--expect", "joined=all", "--expect", "p99<50", "storm"}).run.value();
    EXPECT_EQ(run.fleet.types, (std::vector<UINT16>{1, 7, 70}));
    ASSERT_EQ(run.expectations.size(), 2u);
    EXPECT_EQ(run.expectations[1].op, "<");
    EXPECT_EQ(run.mode, Mode::storm);
}

TEST(Options, limits_in_pairs)
{
    EXPECT_TRUE(parse({"--aps", "2000"}).run.has_value());
    EXPECT_NE(error_of({"--aps", "2001"}), "");
    EXPECT_TRUE(parse({"--aps", "1"}).run.has_value());
    EXPECT_NE(error_of({"--aps", "0"}), "");
    EXPECT_TRUE(parse({"--loss", "1"}).run.has_value());
    EXPECT_NE(error_of({"--loss", "1.01"}), "");
    EXPECT_TRUE(parse({"--duration", "1e9"}).run.has_value());
    EXPECT_NE(error_of({"--duration", "1.1e9"}), "");
    EXPECT_NE(error_of({"--layout", "5"}), "");
    EXPECT_NE(error_of({"storm", "soak"}), "");
}

TEST(Options, errors_say_what_to_do)
{
    EXPECT_NE(error_of({"--controller", "here"}).find("192.0.2.1:5000"), std::string::npos);
    EXPECT_NE(error_of({"--first-mac", "03:00:00:00:00:00"}).find("even"), std::string::npos);
    EXPECT_NE(error_of({"--aps", "3", "--silent", "4"}).find("--aps"), std::string::npos);
    EXPECT_NE(error_of({"--expect", "jioned=1"}).find("joined"), std::string::npos);
    EXPECT_NE(error_of({"bench", "--duration", "0"}).find("--duration"), std::string::npos);
    EXPECT_NE(error_of({"--print-config", "x"}).find("02:a9:51"), std::string::npos);
}

TEST(Options, a_wrong_line_is_told_by_name_and_with_the_help_that_tells_more)
{
    EXPECT_EQ(error_of({"--aps", "2001"}),
              "apsim: --aps: \"2001\" is no number from 1 to 2000\n`apsim --help` tells more.\n");
    EXPECT_EQ(error_of({"bench", "--window", "0"}),
              "apsim: --window: \"0\" is no number from 1 to 1000\n`apsim bench --help` tells more.\n");
}

TEST(Options, what_is_no_number_is_refused)
{
    for (const char* option : {"--loss", "--delay-ms", "--spread", "--duration", "--reboot-every", "--unknown"})
        for (const char* value : {"nan", "inf", "-1", "x", ""})
            EXPECT_NE(error_of({option, value}).find("is no number from 0 to"), std::string::npos) << option << value;
}

TEST(Options, a_mode_helps_with_its_own_options_and_names_where_the_others_stand)
{
    testing::internal::CaptureStdout();
    (void)parse({"storm", "--help"});
    const std::string text = testing::internal::GetCapturedStdout();
    for (const char* word : {"--stay", "apsim storm --aps", "`apsim --help`"})
        EXPECT_NE(text.find(word), std::string::npos) << word;
    EXPECT_EQ(text.find("apsim flood"), std::string::npos);
}

TEST(Options, help_keeps_to_the_width_of_a_screen)
{
    testing::internal::CaptureStdout();
    (void)parse({"--help"});
    std::istringstream text(testing::internal::GetCapturedStdout());
    for (std::string line; std::getline(text, line);)
        EXPECT_LE(line.size(), 105u) << line;
}

TEST(Options, help_is_no_failure)
{
    testing::internal::CaptureStdout();
    const ParsedLine line = parse({"--help"});
    const std::string text = testing::internal::GetCapturedStdout();
    EXPECT_FALSE(line.run.has_value());
    EXPECT_EQ(line.exit_status, 0);
    for (const char* word : {"storm", "soak", "flood", "bench", "--expect", "--garbage", "--delay-ms-down"})
        EXPECT_NE(text.find(word), std::string::npos) << word;
}
