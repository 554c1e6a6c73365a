#include "report.h"

#include <gtest/gtest.h>
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
    const std::string text = verdict_text({{"joined=2", 2, true}, {"lost=0", 4, false}});
    EXPECT_EQ(text, "held:   joined=2 (is 2)\nFAILED: lost=0 (is 4)\n");
}

TEST(Report, summary_tells_how_many_have_joined)
{
    FleetStats stats;
    stats.aps = 3;
    stats.ever_joined = 2;
    EXPECT_NE(summary_text(stats).find("2 of 3 APs have ever joined"), std::string::npos);
}
