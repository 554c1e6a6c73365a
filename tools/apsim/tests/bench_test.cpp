#include "bench.h"

#include <gtest/gtest.h>

#include "script_controller.h"

using namespace apsim;

namespace {

std::vector<BenchPeer> peers(std::size_t count)
{
    std::vector<BenchPeer> list;
    for (std::size_t i = 0; i < count; i++)
        list.push_back({{0x02, 0, 0, 0, 0, static_cast<UINT8>(i)}, 4, 1});
    return list;
}

BenchOptions short_run()
{
    BenchOptions options;
    options.warm_up = 0.02;
    options.measured = 0.2;
    options.answer_limit = 0.05;
    return options;
}

const std::atomic<bool> go_on = false;

// A short run is enough but on a machine with more to do than time for it.
template <typename Enough>
BenchResult run_until(const sockaddr_in& server, std::size_t count, BenchOptions options, Enough enough)
{
    BenchResult result = run_bench(server, peers(count), options, go_on);
    for (; !enough(result) && options.measured < 60; options.measured *= 4)
        result = run_bench(server, peers(count), options, go_on);
    return result;
}

} // namespace

TEST(Bench, the_bare_loop_answers_every_round)
{
    const BareServer server;
    BenchOptions options = short_run();
    options.answer_limit = 90; // a late answer is one, too
    const auto some = [](const BenchResult& result) { return result.rounds > 0; };
    const BenchResult result = run_until(server.address(), 8, options, some);
    EXPECT_GT(result.rounds, 0u);
    EXPECT_EQ(result.strange, 0u);
    EXPECT_EQ(result.answers.count(), result.rounds);
    EXPECT_GT(result.rate(), 0);
}

TEST(Bench, a_server_that_answers_nothing_yields_timeouts_and_no_rounds)
{
    LoopbackController controller;
    controller.with_script([](ScriptController& script) { script.mute = true; });
    const auto some = [](const BenchResult& result) { return result.timeouts > 0; };
    const BenchResult result = run_until(controller.address(), 4, short_run(), some);
    EXPECT_EQ(result.rounds, 0u);
    EXPECT_GT(result.timeouts, 0u);
}

TEST(Bench, a_link_down_is_no_answer)
{
    LoopbackController controller; // knows none of the peers
    const auto some = [](const BenchResult& result) { return result.strange + result.timeouts > 0; };
    const BenchResult result = run_until(controller.address(), 4, short_run(), some);
    EXPECT_EQ(result.rounds, 0u);
    EXPECT_GT(result.strange + result.timeouts, 0u);
}

TEST(Bench, a_stopped_run_ends_at_once)
{
    const BareServer server;
    const std::atomic<bool> stop = true;
    EXPECT_EQ(run_bench(server.address(), peers(4), short_run(), stop).rounds, 0u);
}
