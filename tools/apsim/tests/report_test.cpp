#include "report.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "bytes.h"

using namespace apsim;

namespace {

class ReportTest : public ::testing::Test {
protected:
    static ApOptions options()
    {
        ApOptions ap;
        ap.mac = {2, 0, 0, 0, 0, 1};
        ap.kind = ap_kind(67);
        return ap;
    }
    ReportTest() : model(options(), sink) {}
    CaughtSink sink;
    ApModel model;
};

} // namespace

TEST_F(ReportTest, a_configuration_shows_what_is_set)
{
    apply_setting(model.config(), 0x0210, hex("09 05"));
    apply_setting(model.config(), 0x1107, hex("aabb"));
    const nlohmann::json json = config_json(model);
    EXPECT_EQ(json["mac"], "02:00:00:00:00:01");
    EXPECT_EQ(json["name"], "ap-000001");
    EXPECT_EQ(json["radios"].size(), 2u);
    EXPECT_EQ(json["ssids"][9]["client_limit"], 5);
    EXPECT_EQ(json["ssids"][9]["name"], "apsim-5g-9");
    EXPECT_EQ(json["told"]["raw"]["0x1107"], "aabb");
}

TEST_F(ReportTest, a_name_of_strange_bytes_and_length_is_printed_without_harm)
{
    CONFIG_SSID& ssid = model.config().ssids[0].ssid;
    std::memset(ssid.ssid, 0xC3, sizeof(ssid.ssid));
    ssid.ssid_length = 255;
    EXPECT_EQ(config_json(model)["ssids"][0]["name"], std::string(32, '?'));
    EXPECT_FALSE(config_text(model).empty());
}

TEST(Report, json_carries_states_answers_and_finite_measures)
{
    FleetStats stats;
    stats.aps = 2;
    stats.states[static_cast<std::size_t>(ApState::running)] = 1;
    stats.answers[0].add(1500);
    nlohmann::json json = stats_json(stats);
    EXPECT_EQ(json["states"]["running"], 1);
    EXPECT_EQ(json["answers"]["discovery"]["max_ms"], 1.5);
    EXPECT_FALSE(json["measures"].contains("joined-within"));
    stats.joined_within = 2 * second;
    json = stats_json(stats);
    EXPECT_EQ(json["measures"]["joined-within"], 2.0);
}

TEST(Report, verdicts_say_what_held_and_what_it_was)
{
    const std::vector<Verdict> verdicts = {{"joined=2", 2, true}, {"lost=0", 4, false}, {"rate>0", 0, false, false}};
    EXPECT_EQ(verdict_text(verdicts),
              "held:   joined=2 (is 2)\nFAILED: lost=0 (is 4)\nFAILED: rate>0 (this mode doesn't measure it)\n");
    EXPECT_EQ(verdict_json(verdicts)[1]["actual"], 4);
    EXPECT_FALSE(verdict_json(verdicts)[2].contains("actual"));
}

class LiveTable : public ::testing::Test {
protected:
    LiveTable() : file(mkstemp(path)), log(path)
    {
        if (file >= 0) close(file);
        std::ofstream out(path);
        for (char kind = 'a'; kind <= 'z'; kind++)
            out << kind << " line of the controller's that is much longer than a small terminal is wide, much longer\n";
        out.close();
        log.read_on();
        stats.up.taken = stats.down.taken = 1;
        for (std::size_t i = 0; i < noise_count; i++)
            stats.noise_out[i] = 10000;
        stats.frames_in = stats.frames_out = 1234567;
    }
    ~LiveTable() override { unlink(path); }
    std::vector<std::string> lines(std::size_t columns, std::size_t rows)
    {
        std::istringstream text(live_text(head, stats, &log, columns, rows));
        std::vector<std::string> out;
        for (std::string line; std::getline(text, line);)
            out.push_back(line);
        return out;
    }

    char path[64] = "/tmp/apsim-report-XXXXXX";
    int file; // makes the path what it is
    const std::string head = "apsim soak  24 APs   52 s simulated, 5.2 s real   10 frames/s in, 10 out, and the rest";
    FleetStats stats;
    LogTail log;
};

TEST_F(LiveTable, leaves_the_last_row_to_the_cursor_and_breaks_no_line)
{
    for (const std::size_t columns : {40u, 80u, 200u})
        for (const std::size_t rows : {1u, 2u, 10u, 24u, 40u}) {
            const std::vector<std::string> table = lines(columns, rows);
            EXPECT_LE(table.size(), std::max<std::size_t>(rows - 1, 1));
            for (const std::string& line : table)
                EXPECT_LE(line.size(), columns) << line;
        }
    EXPECT_EQ(lines(80, 24).size(), 23u) << "the log takes what is left";
}

TEST_F(LiveTable, folds_what_is_too_long_beneath_the_first_value)
{
    const std::vector<std::string> table = lines(80, 24);
    ASSERT_GE(table.size(), 2u);
    EXPECT_EQ(table[0], "apsim soak  24 APs   52 s simulated, 5.2 s real");
    EXPECT_EQ(table[1], "             10 frames/s in, 10 out, and the rest");
    std::string all;
    for (const std::string& line : table)
        all += line + "\n";
    for (const char* value : {"configurations taken 0", "garbage 10000", "bad in 0", "duplicates 0", "p99 ms"})
        EXPECT_NE(all.find(value), std::string::npos) << value;
}

TEST_F(LiveTable, shows_the_answers_and_ten_lines_of_the_log_where_there_is_room)
{
    const std::vector<std::string> table = lines(200, 60);
    EXPECT_EQ(table.front(), head);
    EXPECT_EQ(std::count_if(table.begin(), table.end(),
                            [](const std::string& line) { return line.find("line of the controller") < 20; }),
              10);
}

TEST(Report, summary_tells_how_many_have_joined)
{
    FleetStats stats;
    stats.aps = 3;
    stats.ever_joined = 2;
    EXPECT_NE(summary_text(stats).find("2 of 3 APs have ever joined"), std::string::npos);
}
