#include "common/config_ap_type.h"
#include "site.h"

using namespace std::chrono_literals;

// Ten minutes with one frame in ten lost in each direction. An AP that hears no answer to six echoes in a row
// rediscovers, and one that none of five transmissions reaches is given up: both are right, rare, and counted by the
// AP. Anything else is not.
TEST(FleetTrouble, two_hundred_aps_live_ten_minutes_with_loss_and_no_wrong_transition)
{
    Daemon daemon(30);
    daemon.start();
    apsim::FleetOptions options = fleet_options(daemon, 200);
    options.up.loss = 0.10;
    options.down.loss = 0.10;
    options.seed = 20;
    // On a busy machine an answer may take longer than the usual pause between two discovery requests. The controller
    // then comes to the repeat when the AP already runs and rightly begins its join anew: not what is looked for here.
    options.start_spread = 120 * apsim::second;
    options.timers.discovery = 10 * apsim::second; // still six tries within the 60 s that the controller waits
    apsim::Fleet fleet(options);
    ASSERT_TRUE(all_run(daemon, fleet)) << daemon.log();

    std::vector<Mac> renamed;
    for (std::size_t i = 0; i < 20; i++)
        renamed.push_back(mac_of(fleet, i));
    for (std::size_t i = 0; i < renamed.size(); i++) {
        const Bytes name = ap_name("room " + std::to_string(i));
        EXPECT_EQ(daemon.item(SET_AP_REMARK_REQ, 0, {renamed[i]}, name), 0);
        EXPECT_EQ(daemon.update(SET_AP_REMARK_REQ, renamed[i], name), 0);
    }
    live(fleet, 600);
    ASSERT_TRUE(all_run(daemon, fleet));

    for (std::size_t i = 0; i < renamed.size(); i++)
        EXPECT_EQ(name_at(fleet, i), "room " + std::to_string(i));
    const int given_up = daemon.log_count("send MAX times aready,quit.");
    const apsim::ApCounters sum = fleet.stats().sum;
    EXPECT_EQ(sum.link_down, static_cast<unsigned>(given_up));
    EXPECT_EQ(sum.config_taken, static_cast<unsigned>(given_up));
    EXPECT_EQ(sum.config_refused, 0u);
    EXPECT_EQ(sum.bad_in, 0u);
    EXPECT_EQ(sum.joins, 200u + sum.lost + sum.join_restarted); // a stored configuration is taken before it runs
    for (const char* line :
         {"echo time out", "config failed", "CRC error", "not support", "proto_type", "is not exited\n"})
        EXPECT_EQ(daemon.log_count(line), 0) << line;
    EXPECT_EQ(daemon.count(), (std::array{200, 200}));
    for (std::size_t i = 0; i < fleet.size(); i++)
        EXPECT_EQ(daemon.joined(mac_of(fleet, i)), AC_RUNNING);
}

TEST(FleetTrouble, a_healthy_fleet_lives_beside_foreign_and_broken_frames)
{
    Daemon daemon(30);
    daemon.start();
    apsim::FleetOptions options = fleet_options(daemon, 32);
    for (double& rate : options.noise)
        rate = 300;
    apsim::Fleet fleet(options);
    ASSERT_TRUE(all_run(daemon, fleet));
    live(fleet, 300);
    ASSERT_TRUE(all_run(daemon, fleet));
    const apsim::FleetStats stats = fleet.stats();
    EXPECT_EQ(stats.sum.joins, 32u + stats.sum.join_restarted);
    EXPECT_EQ(stats.sum.lost, 0u);
    EXPECT_EQ(stats.noise_answered, 0u) << "a frame that must be dropped was answered";
    EXPECT_GT(stats.noise_link_downs, 0u);
    EXPECT_GT(daemon.log_count("CRC error"), 0);
    EXPECT_GT(daemon.log_count("this type ap is not support."), 0);
    EXPECT_GT(daemon.log_count("ap'mac is all zero."), 0);
}

// Settings for one AP, a list of them or all, changes of records and deletions, one round of each.
static void unsettle(Daemon& daemon, const apsim::Fleet& fleet, std::size_t round, bool for_all)
{
    std::vector<Mac> listed;
    for (std::size_t i = 0; i < 100 && !for_all; i++)
        listed.push_back(mac_of(fleet, (round * 100 + i) % 400));
    const std::size_t i = round % 40;
    daemon.item(SET_AP_CONFIG_ADVANCE_REQ | 0x400, for_all ? 1 : 0, listed, {1});
    daemon.item(SET_AP_CHANNEL, 0, {mac_of(fleet, i)}, {0, 0, 6});
    daemon.update(SET_AP_CHANNEL, mac_of(fleet, i), {0, 0, 6});
    daemon.update(SET_AP_REMARK_REQ, mac_of(fleet, 100 + i), ap_name("ap " + std::to_string(round)));
    daemon.remove(mac_of(fleet, 200 + i));
}

// All paths at once: joining, echoing, settings, reboots, deletions, a changing address of a record. An AP that has
// fallen silent is dropped on one of two roads, whichever is shorter: its echoes time out, or five transmissions of a
// setting find no answer. The settings therefore spare the silent ones until echoes have timed out, and then take the
// second road with those that are left.
TEST(FleetTrouble, five_hundred_and_twelve_aps_are_joined_configured_rebooted_and_dropped_at_once)
{
    Daemon daemon(20);
    daemon.start();
    apsim::FleetOptions options = fleet_options(daemon, 512);
    options.reboot_every = 2;
    options.silent = 20;
    options.silent_after = 2;
    apsim::Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.ever_joined() == 512; }, PATIENCE)) << daemon.log().substr(0, 4000);

    const auto until = std::chrono::steady_clock::now() + PATIENCE;
    std::size_t round = 0;
    for (; daemon.log_count("echo time out") == 0 && std::chrono::steady_clock::now() < until; round++) {
        unsettle(daemon, fleet, round, false);
        live(fleet, 7);
    }
    EXPECT_GE(daemon.log_count("echo time out"), 1) << "no silent AP was dropped in " << round << " rounds";
    for (std::size_t i = 0; i < 10; i++) {
        unsettle(daemon, fleet, round + i, true);
        live(fleet, 7);
    }

    EXPECT_TRUE(daemon.running());
    const auto silent_dropped = [&] {
        for (std::size_t i = 492; i < 512; i++)
            if (fleet.ap(i).state() != apsim::ApState::silent || daemon.joined(mac_of(fleet, i)) != -1) return false;
        return true;
    };
    EXPECT_TRUE(fleet.run_until(silent_dropped, PATIENCE)) << daemon.log().substr(0, 4000);
    for (std::size_t i = 492; i < 512; i++)
        EXPECT_EQ(daemon.record(mac_of(fleet, i)).substr(0, 2), "0 ") << i;
    const auto settled = [&] { return fleet.stats().in_state(apsim::ApState::running) >= 440; };
    EXPECT_TRUE(fleet.run_until(settled, PATIENCE)) << daemon.log().substr(0, 4000);
}

TEST(FleetTrouble, a_hostile_sender_floods_every_entrance_and_service_goes_on)
{
    Daemon daemon(10);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 4));
    ASSERT_TRUE(all_run(daemon, fleet));
    const Mac victim = mac_of(fleet, 0); // a known AP, whose frames go further than an unknown one's
    const Wire wire(daemon.port());
    for (int round = 0; round < 300; round++) {
        const Mac mac = {0x06, 0, 0, 0, static_cast<unsigned char>(round >> 8), static_cast<unsigned char>(round)};
        wire.send(frame(mac, 2, Bytes(static_cast<std::size_t>(round % 300), 0xFF), round, round));
        wire.send(frame(mac, 2, Bytes(44, 0x27), round, 200 + round));
        wire.send(frame(mac, 8, Bytes(1400, static_cast<unsigned char>(round)), round, round % 210, 3 + round % 3));
        wire.send(frame(victim, 9, Bytes(100, 0x78), round, 4, 4));
        wire.send(frame(victim, 11, {static_cast<unsigned char>(round)}, round));
        wire.send(frame(victim, 7 + 256 * (round % 256), {0}, round));
        wire.send(
            frame(victim, 0x0100 * (round % 256) + round % 48, Bytes(static_cast<std::size_t>(round % 7)), round));
        Bytes lying = frame(victim, 16, {0}, round);
        for (std::size_t at = 20; at < 24; at++)
            lying[at] = static_cast<unsigned char>(round * 37 + static_cast<int>(at));
        wire.send(lying);
        wire.send(Bytes(static_cast<std::size_t>(round % 40), static_cast<unsigned char>(round)));
        if (round % 50 == 0) live(fleet, 2);
    }
    live(fleet, 120);
    ASSERT_TRUE(daemon.running());
    ASSERT_TRUE(all_run(daemon, fleet)) << "the AP whose name was abused rejoins like any other";
    EXPECT_EQ(daemon.joined(mac_of(fleet, 3)), AC_RUNNING);
    EXPECT_EQ(fleet.ap(3).counters().joins, 1u + fleet.ap(3).counters().join_restarted);
}
