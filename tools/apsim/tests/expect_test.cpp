#include "expect.h"

#include <gtest/gtest.h>

using namespace apsim;

namespace {

FleetStats two_of_three()
{
    FleetStats stats;
    stats.aps = 3;
    stats.ever_joined = 2;
    stats.states[static_cast<std::size_t>(ApState::running)] = 2;
    for (int i = 0; i < 100; i++)
        stats.answers[2].add(20'000);
    return stats;
}

bool holds(const std::string& text, const FleetStats& stats)
{
    return judge({parse_expectation(text)}, measures_of(stats)).at(0).holds;
}

} // namespace

TEST(Expect, comparisons_mean_what_they_say)
{
    const FleetStats stats = two_of_three();
    EXPECT_TRUE(holds("joined=2", stats));
    EXPECT_FALSE(holds("joined=3", stats));
    EXPECT_TRUE(holds("joined>=2", stats));
    EXPECT_FALSE(holds("joined>2", stats));
    EXPECT_TRUE(holds("joined<3", stats));
    EXPECT_FALSE(holds("joined<=1", stats));
    EXPECT_TRUE(holds("joined!=1", stats));
    EXPECT_TRUE(holds("lost=0", stats));
}

TEST(Expect, all_leaves_out_the_aps_that_are_meant_to_fall_silent)
{
    FleetStats stats = two_of_three();
    EXPECT_FALSE(holds("joined=all", stats));
    stats.silent_wanted = 1;
    EXPECT_TRUE(holds("joined=all", stats));
}

TEST(Expect, answer_times_are_in_milliseconds)
{
    EXPECT_TRUE(holds("p99<20.5", two_of_three()));
    EXPECT_FALSE(holds("p99<20", two_of_three()));
    EXPECT_TRUE(holds("max=20", two_of_three()));
}

TEST(Expect, joined_within_is_a_limit_and_fails_while_one_has_never_joined)
{
    FleetStats stats = two_of_three();
    EXPECT_FALSE(holds("joined-within=1000000", stats));
    stats.joined_within = 30 * second;
    EXPECT_TRUE(holds("joined-within=30", stats));
    EXPECT_TRUE(holds("joined-within=31", stats));
    EXPECT_FALSE(holds("joined-within=29", stats));
}

TEST(Expect, a_measure_that_the_run_does_not_take_fails)
{
    EXPECT_FALSE(holds("ratio>=0", two_of_three()));
    const std::vector<Verdict> verdicts =
        judge({parse_expectation("rate>=0"), parse_expectation("p99>=0")}, measures_of(two_of_three()));
    EXPECT_FALSE(verdicts.at(0).measured);
    EXPECT_TRUE(verdicts.at(1).measured);
}

TEST(Expect, nonsense_is_refused_with_a_hint)
{
    for (const char* text :
         {"", "joined", "joined=", "=3", "joined=x", "joined==3", "joined=3x", "joined=nan", "joined<inf", "nothing=1"})
        EXPECT_THROW((void)parse_expectation(text), std::invalid_argument) << text;
    try {
        (void)parse_expectation("jioned=3");
        FAIL();
    } catch (const std::invalid_argument& error) {
        EXPECT_NE(std::string(error.what()).find("joined-within"), std::string::npos);
    }
}
