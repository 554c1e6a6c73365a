// Fleets over the loopback against a scripted controller. The bounds on waiting are there to end a failed test.
#include "fleet.h"

#include <gtest/gtest.h>

#include "script_controller.h"

using namespace apsim;
using namespace std::chrono_literals;

namespace {

constexpr auto patience = 60s;

FleetOptions options_for(const LoopbackController& controller, std::size_t aps)
{
    FleetOptions options;
    options.controller = controller.address();
    options.aps = aps;
    options.scale = 100;
    return options;
}

std::size_t running(const Fleet& fleet)
{
    return fleet.stats().in_state(ApState::running);
}

} // namespace

TEST(Fleet, fifty_aps_join_and_echo)
{
    LoopbackController controller;
    Fleet fleet(options_for(controller, 50));
    ASSERT_TRUE(fleet.run_until([&] { return running(fleet) == 50; }, patience));
    ASSERT_TRUE(fleet.run_until([&] { return fleet.stats().sum.echoes_answered >= 50; }, patience));
    const FleetStats stats = fleet.stats();
    EXPECT_EQ(stats.ever_joined, 50u);
    EXPECT_EQ(stats.sum.lost, 0u);
    EXPECT_LT(stats.joined_within, never);
    EXPECT_GE(stats.answers[static_cast<std::size_t>(Exchange::echo)].count(), 50u);
    EXPECT_EQ(controller.with_script([](ScriptController& script) { return script.joined.size(); }), 50u);
}

TEST(Fleet, aps_with_two_radios_keep_to_layout_4_where_that_is_asked_for)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 24);
    options.two_radios_in_layout_4 = true;
    const Fleet fleet(options);
    std::set<std::pair<int, int>> seen; // radios, layout
    for (std::size_t i = 0; i < fleet.size(); i++)
        seen.emplace(fleet.ap(i).options().kind.rf_num, fleet.ap(i).options().layout);
    EXPECT_EQ(seen, (std::set<std::pair<int, int>>{{1, 3}, {1, 4}, {2, 4}}));
}

TEST(Fleet, the_default_mix_plays_both_layouts_and_all_types_with_macs_of_their_own)
{
    LoopbackController controller;
    const Fleet fleet(options_for(controller, 24));
    std::set<UINT16> types, layouts;
    std::set<std::string> macs;
    for (std::size_t i = 0; i < fleet.size(); i++) {
        types.insert(fleet.ap(i).options().kind.ap_type);
        layouts.insert(fleet.ap(i).options().layout);
        macs.insert(fleet.ap(i).mac_text());
    }
    EXPECT_EQ(types, (std::set<UINT16>{1, 4, 6, 7, 67, 70}));
    EXPECT_EQ(layouts, (std::set<UINT16>{3, 4}));
    EXPECT_EQ(macs.size(), 24u);
    EXPECT_EQ(fleet.ap(0).mac_text(), "02:a9:51:00:00:00");
    EXPECT_EQ(fleet.ap(23).mac_text(), "02:a9:51:00:01:70");
}

TEST(Fleet, a_fleet_joins_through_loss_duplicates_and_reordering)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 20);
    options.up.loss = options.down.loss = 0.3;
    options.up.dup = options.down.dup = 0.3;
    options.up.reorder = options.down.reorder = 0.3;
    options.up.hold = options.down.hold = 5 * millisecond;
    Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.ever_joined() == 20; }, patience));
    const FleetStats stats = fleet.stats();
    EXPECT_GT(stats.up.lost, 0u);
    EXPECT_GT(stats.down.taken, 0u);
    EXPECT_GT(stats.sum.retransmissions, 0u);
}

TEST(Fleet, a_setting_reaches_its_ap_and_is_answered)
{
    LoopbackController controller;
    Fleet fleet(options_for(controller, 3));
    ASSERT_TRUE(fleet.run_until([&] { return running(fleet) == 3; }, patience));
    const Mac& mac = fleet.ap(1).options().mac;
    controller.send_to(shown(mac), ScriptController::request(mac, 4, 9, 0x0807, Bytes(32, 'n') + hex("20")));
    ASSERT_TRUE(fleet.run_until([&] { return !controller.answers().empty(); }, patience));
    EXPECT_EQ(controller.answers()[0][28], 0);
    EXPECT_EQ(fleet.ap(1).config().basic.apname.ap_name[31], 'n');
    EXPECT_EQ(fleet.ap(0).counters().applied, 0u);
}

TEST(Fleet, a_controller_that_forgets_all_sees_all_again)
{
    LoopbackController controller;
    Fleet fleet(options_for(controller, 10));
    ASSERT_TRUE(fleet.run_until([&] { return running(fleet) == 10; }, patience));
    controller.with_script([](ScriptController& script) { script.joined.clear(); });
    ASSERT_TRUE(fleet.run_until([&] { return fleet.stats().sum.joins == 20; }, patience));
    EXPECT_EQ(fleet.stats().sum.lost, 10u);
    EXPECT_EQ(fleet.stats().sum.link_down, 10u);
}

TEST(Fleet, silent_and_refusing_aps_are_the_last_ones)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 5);
    options.silent = 2;
    options.silent_after = 1;
    options.refusing = 1;
    Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.stats().in_state(ApState::silent) == 2; }, patience));
    EXPECT_EQ(fleet.ap(4).state(), ApState::silent);
    EXPECT_EQ(fleet.ap(3).state(), ApState::silent);
    EXPECT_TRUE(fleet.ap(2).options().refusing);
    EXPECT_FALSE(fleet.ap(1).options().refusing);
}

TEST(Fleet, reboots_happen_and_the_aps_come_back)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 5);
    options.reboot_every = 5;
    Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.stats().sum.joins >= 8; }, patience));
    EXPECT_GE(fleet.stats().sum.reboots, 3u);
}

TEST(Fleet, noise_does_not_disturb_the_fleet_and_only_unknown_aps_are_answered)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 5);
    for (double& rate : options.noise)
        rate = 500;
    Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until(
        [&] {
            const FleetStats stats = fleet.stats();
            return running(fleet) == 5 && stats.noise_link_downs >= 50 && stats.noise_out[4] >= 50;
        },
        patience));
    EXPECT_EQ(fleet.stats().noise_answered, 0u);
    EXPECT_EQ(fleet.stats().sum.lost, 0u);
}

TEST(Fleet, noise_of_less_than_a_frame_in_a_while_is_sent_all_the_same)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 1);
    options.noise[static_cast<std::size_t>(Noise::unknown)] = 5;
    Fleet fleet(options);
    EXPECT_TRUE(fleet.run_until([&] { return fleet.stats().noise_link_downs >= 2; }, patience));
}

TEST(Fleet, outages_happen_and_the_aps_come_back)
{
    LoopbackController controller;
    FleetOptions options = options_for(controller, 5);
    options.outage_every = 5;
    options.outage_for = 10;
    Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.stats().sum.outages >= 3; }, patience));
    EXPECT_TRUE(fleet.run_until([&] { return running(fleet) >= 3; }, patience));
    EXPECT_EQ(fleet.stats().sum.lost, 0u);
}

TEST(Fleet, stop_ends_a_run_from_another_thread)
{
    LoopbackController controller;
    Fleet fleet(options_for(controller, 1));
    std::thread stopper([&] { fleet.stop(); });
    fleet.run_for(10min);
    stopper.join();
    EXPECT_TRUE(fleet.stopped());
}

TEST(Fleet, no_controller_is_no_crash)
{
    FleetOptions options;
    {
        const LoopbackController gone;
        options = options_for(gone, 3);
    }
    Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.stats().sum.retransmissions >= 6; }, patience));
    EXPECT_EQ(running(fleet), 0u);
    EXPECT_EQ(fleet.stats().joined_within, never);
}

TEST(Fleet, more_faulty_aps_than_aps_is_refused)
{
    FleetOptions options;
    options.aps = 2;
    options.silent = 2;
    options.refusing = 1;
    EXPECT_THROW(Fleet{options}, std::invalid_argument);
}

TEST(Endpoint, addresses_as_users_write_them)
{
    EXPECT_EQ(to_string(endpoint("192.0.2.7:5001")), "192.0.2.7:5001");
    EXPECT_EQ(to_string(endpoint("192.0.2.7")), "192.0.2.7:5000");
    for (const char* bad : {"", ":5000", "host", "192.0.2.7:", "192.0.2.7:0", "192.0.2.7:65536", "192.0.2.7:5x"})
        EXPECT_THROW((void)endpoint(bad), std::invalid_argument) << bad;
}

TEST(Endpoint, macs_as_users_write_them)
{
    EXPECT_EQ(mac_text(parse_mac("02:a9:51:00:00:0F")), "02:a9:51:00:00:0f");
    for (const char* bad : {"", "02:a9:51:00:00", "02-a9-51-00-00-0f", "02:a9:51:00:00:0g", "02:a9:51:00:00:0f:"})
        EXPECT_THROW((void)parse_mac(bad), std::invalid_argument) << bad;
}
