#include "common/config_ap_type.h"
#include "site.h"

using namespace std::chrono_literals;

TEST(FleetLife, twenty_four_aps_join_run_and_stand_in_the_table)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 24));
    ASSERT_TRUE(all_run(daemon, fleet)) << daemon.log();
    EXPECT_EQ(daemon.count(), (std::array{24, 24}));
    for (std::size_t i = 0; i < fleet.size(); i++) {
        const std::string name = name_at(fleet, i);
        EXPECT_EQ(daemon.record(mac_of(fleet, i)), "1 0 x" + hex(name.data(), name.size()));
    }
}

TEST(FleetLife, the_513th_ap_waits_and_gets_in_when_another_is_deleted)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 513));
    const auto running = [&] { return fleet.stats().in_state(apsim::ApState::running); };
    const auto full = [&] { return running() == 512; };
    ASSERT_TRUE(fleet.run_until(full, PATIENCE));
    live(fleet, 40);
    // A late answer to a repeated discovery makes an AP report once more; its slot stays its own.
    ASSERT_TRUE(fleet.run_until(full, PATIENCE));
    std::size_t left_out = 0;
    while (left_out < 512 && fleet.ap(left_out).state() == apsim::ApState::running)
        left_out++;
    EXPECT_EQ(daemon.joined(mac_of(fleet, left_out)), -1);

    // Whoever is deleted asks again at its next echo, and the two compete for one slot: where the deleted one has been
    // faster, it is deleted again.
    const std::size_t deleted = left_out == 0 ? 1 : 0;
    EXPECT_EQ(daemon.remove(mac_of(fleet, deleted)), 0);
    UINT32 joins = fleet.ap(deleted).counters().joins;
    const auto gets_in = [&] {
        if (fleet.ap(left_out).state() == apsim::ApState::running) return true;
        if (fleet.ap(deleted).counters().joins == joins) return false;
        joins = fleet.ap(deleted).counters().joins;
        daemon.remove(mac_of(fleet, deleted));
        return false;
    };
    ASSERT_TRUE(fleet.run_until(gets_in, PATIENCE));
    live(fleet, 40);
    EXPECT_TRUE(fleet.run_until(full, PATIENCE));
}

TEST(FleetLife, a_silent_ap_is_dropped_and_the_others_run_on)
{
    Daemon daemon(20);
    daemon.start();
    apsim::FleetOptions options = fleet_options(daemon, 8);
    options.silent = 1;
    options.silent_after = 3;
    apsim::Fleet fleet(options);
    ASSERT_TRUE(fleet.run_until([&] { return daemon.log_count("echo time out") > 0; }, PATIENCE));
    ASSERT_TRUE(fleet.run_until([&] { return daemon.joined(mac_of(fleet, 7)) == -1; }, PATIENCE));
    EXPECT_EQ(daemon.record(mac_of(fleet, 7)).substr(0, 2), "0 ");
    EXPECT_EQ(daemon.count(), (std::array{8, 7}));
    EXPECT_EQ(fleet.stats().in_state(apsim::ApState::running), 7u);
    EXPECT_EQ(daemon.log_count("echo time out"), 1);
}

TEST(FleetLife, an_ap_that_does_not_configure_is_dropped)
{
    Daemon daemon(20);
    daemon.start();
    const Mac mac = {0x02, 0, 0, 0, 0, 9};
    const Wire wire(daemon.port());
    Bytes product(44);
    product[36] = 4;
    product[38] = 1;
    product[40] = 4;
    wire.send(frame(mac, 2, product, 7));
    const Bytes reply = wire.receive();
    const Bytes expected = {0x02, 0, 0,    0,    0, 9, 4, 0, 7, 0, 0x58, 0x58, 0, 0,
                            4,    0, 0x88, 0x17, 3, 0, 0, 0, 0, 0, 0,    0,    0, 0};
    EXPECT_EQ(reply, expected);
    EXPECT_EQ(daemon.joined(mac), AC_CONFIG_UPGRADE);
    EXPECT_TRUE(leaves(daemon, mac));
    EXPECT_TRUE(live_alone([&] { return daemon.log_count("config time out") > 0; }));
    EXPECT_EQ(daemon.log_count("ip:[127.0.0.1] config time out"), 1);
}

TEST(FleetLife, an_unknown_ap_is_told_to_rediscover)
{
    Daemon daemon(1);
    daemon.start();
    const Wire wire(daemon.port());
    wire.send(frame({0x02, 1, 2, 3, 4, 5}, 0, {}, 0x1234));
    const Bytes expected = {0x02, 1, 2,    3,    4, 5, 4, 0, 0x34, 0x12, 0x5A, 0x5A, 0, 0,
                            4,    0, 0x88, 0x17, 0, 1, 0, 0, 0,    0,    0,    0,    0, 0};
    EXPECT_EQ(wire.receive(), expected);
    EXPECT_EQ(daemon.log_count("this mac[02:01:02:03:04:05] is not exited in joined list"), 1);
}

TEST(FleetLife, a_new_name_reaches_its_ap)
{
    Daemon daemon(1); // an answer has 3 s before the message is sent again
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 3));
    ASSERT_TRUE(all_run(daemon, fleet));
    EXPECT_EQ(daemon.item(SET_AP_REMARK_REQ, 0, {mac_of(fleet, 1)}, ap_name("lobby")), 0);
    EXPECT_EQ(daemon.update(SET_AP_REMARK_REQ, mac_of(fleet, 1), ap_name("lobby")), 0);
    ASSERT_TRUE(fleet.run_until([&] { return name_at(fleet, 1) == "lobby"; }, PATIENCE));
    live(fleet, 7);
    EXPECT_EQ(fleet.ap(1).counters().applied, 1u);
    EXPECT_EQ(fleet.ap(1).counters().repeats, 0u) << "an answered message is not sent again";
    EXPECT_NE(name_at(fleet, 0), "lobby");
}

TEST(FleetLife, a_setting_for_all_aps_reaches_each)
{
    Daemon daemon(5);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 130));
    ASSERT_TRUE(all_run(daemon, fleet));
    std::vector<Mac> macs;
    for (std::size_t i = 0; i < fleet.size(); i++)
        macs.push_back(mac_of(fleet, i));
    EXPECT_EQ(daemon.item(SET_AP_CONFIG_ADVANCE_REQ | 0x400, 0, macs, {1}), 0);
    const auto all_told = [&] {
        return std::ranges::all_of(macs, [&](const Mac& mac) {
            const auto i = static_cast<std::size_t>(&mac - macs.data());
            const apsim::ApCounters& counters = fleet.ap(i).counters(); // an answer may come too late on a busy machine
            return fleet.ap(i).config().basic.led_status == 1 && counters.applied == 1 + counters.repeats;
        });
    };
    EXPECT_TRUE(fleet.run_until(all_told, PATIENCE));
}

TEST(FleetLife, an_ap_that_refuses_is_sent_to_five_times_and_given_up)
{
    Daemon daemon(20);
    daemon.start();
    apsim::FleetOptions options = fleet_options(daemon, 2);
    options.refusing = 1;
    apsim::Fleet fleet(options);
    ASSERT_TRUE(all_run(daemon, fleet));
    EXPECT_EQ(daemon.item(SET_AP_REMARK_REQ, 0, {mac_of(fleet, 1)}, ap_name("never")), 0);
    ASSERT_TRUE(fleet.run_until([&] { return daemon.log_count("send MAX times aready,quit.") > 0; }, PATIENCE));
    EXPECT_EQ(daemon.log_count("re trasmit........ap_num=[1]"), 4);
    EXPECT_TRUE(fleet.run_until([&] { return fleet.ap(1).counters().refused == 5; }, PATIENCE));
    EXPECT_EQ(daemon.joined(mac_of(fleet, 0)), AC_RUNNING);
}

TEST(FleetLife, what_was_changed_while_an_ap_was_away_is_there_when_it_comes_back)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 2));
    ASSERT_TRUE(all_run(daemon, fleet));
    const Mac mac = mac_of(fleet, 0);
    EXPECT_EQ(daemon.item(SET_AP_REBOOT_REQ, 0, {mac}, {0}), 0);
    ASSERT_TRUE(fleet.run_until([&] { return fleet.ap(0).counters().reboots == 1; }, PATIENCE));
    ASSERT_TRUE(leaves(daemon, mac));
    EXPECT_EQ(daemon.record(mac).substr(0, 4), "0 0 ");
    EXPECT_EQ(daemon.update(SET_AP_REMARK_REQ, mac, ap_name("roof")), 0);
    EXPECT_EQ(daemon.record(mac), "0 1 x" + hex("roof", 4));

    ASSERT_TRUE(fleet.run_until([&] { return name_at(fleet, 0) == "roof"; }, PATIENCE)) << daemon.log();
    ASSERT_TRUE(all_run(daemon, fleet));
    EXPECT_EQ(fleet.ap(0).counters().config_taken, 1u);
    EXPECT_EQ(daemon.record(mac).substr(0, 1), "1");
    EXPECT_EQ(fleet.ap(1).counters().config_taken, 0u);
}
