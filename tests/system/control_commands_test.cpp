// Each request on single APs all the way: over the socket, to the AP, into the database, over a restart of the daemon
// and the AP's return.
#include "control.h"

namespace {

constexpr UINT16 TWO_RADIOS = 67;

// A daemon with two APs of two radios that run.
class ControlCommands : public ::testing::Test {
protected:
    void SetUp() override
    {
        daemon.start();
        apsim::FleetOptions options = fleet_options(daemon, 2);
        options.types = {TWO_RADIOS};
        options.layouts = {4};
        fleet = std::make_unique<apsim::Fleet>(options);
        ASSERT_TRUE(all_run(daemon, *fleet)) << daemon.log();
        mac = mac_of(*fleet, 0);
        other = mac_of(*fleet, 1);
    }
    void add_policies()
    {
        EXPECT_EQ(sql_on(daemon, POLICY_FILE,
                         "insert into reboot_policy values(1,0,'night',1,2,90);"
                         "insert into alarm_policy values(1,'loud',1,'ops@example.net','secret',300,1,151038144,7,40,"
                         "65536,465,1);"
                         "insert into password_policy values(1,'staff','root','pw',1);"
                         "insert into wl_deploy_policy values(1,'hall',3,4,5);"
                         "insert into qvlan_policy values(1,'floor',1,10,20,300,301,302,'1,2,3')"),
                  "");
    }
    Bytes ask(int type, int ap_num, const Bytes& body, int action = 0)
    {
        return control_ask(daemon, type, ap_num, body, action);
    }
    std::string row(const std::string& columns)
    {
        return sql_on(daemon, AP_FILE, "select " + columns + " from ap_basic where apmac='" + mac_column(mac) + "'");
    }
    std::string ssid_row(const std::string& columns, int ssid)
    {
        return sql_on(daemon, AP_FILE,
                      "select " + columns + " from ap_ssid where apmac='" + mac_column(mac) +
                          "' and ssid_id=" + std::to_string(ssid));
    }
    template <typename Condition> bool comes(Condition&& condition)
    {
        return fleet->run_until(std::forward<Condition>(condition), PATIENCE);
    }
    const apsim::ApConfig& config() { return fleet->ap(0).config(); }
    void restart()
    {
        EXPECT_EQ(daemon.stop(), 0);
        daemon.start();
    }
    // Both APs find the restarted daemon and run again.
    bool rejoined()
    {
        const UINT32 before[] = {fleet->ap(0).counters().joins, fleet->ap(1).counters().joins};
        return comes([&] {
            return fleet->ap(0).counters().joins > before[0] && fleet->ap(1).counters().joins > before[1] &&
                   daemon.joined(mac) == AC_RUNNING && daemon.joined(other) == AC_RUNNING &&
                   fleet->stats().in_state(apsim::ApState::running) == 2;
        });
    }
    // Sends the first AP away; it stays away until the fleet runs again.
    void send_away()
    {
        EXPECT_EQ(ask(SET_AP_REBOOT_REQ, 1, control_macs({mac})), control_response(SET_AP_REBOOT_REQ));
        ASSERT_TRUE(comes([&] { return fleet->ap(0).counters().reboots == 1; }));
        ASSERT_TRUE(leaves(daemon, mac));
    }
    // Its return, with the configuration that was stored meanwhile.
    bool returned()
    {
        return comes([&] {
            return fleet->ap(0).counters().config_taken == 1 && fleet->ap(0).state() == apsim::ApState::running &&
                   daemon.joined(mac) == AC_RUNNING;
        });
    }
    // The page of the first AP as it is read, without the header.
    Bytes page()
    {
        Bytes reply = ask(GET_AP_CONFIG_REQ, 1, control_macs({mac}));
        EXPECT_EQ(reply.size(), 112u);
        if (reply.size() != 112) return Bytes(92);
        EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 20), control_header(0, 0, 24, 0, 92));
        return {reply.begin() + 20, reply.end()};
    }
    // The first AP's row of the advanced page.
    Bytes advanced_row()
    {
        const Bytes reply = ask(GET_AP_CONFIG_ADVANCE_REQ, 0, {});
        for (std::size_t at = reply.size(); at >= 20 + 20 + 707; at -= 707) {
            const Bytes one(reply.begin() + static_cast<std::ptrdiff_t>(at - 707),
                            reply.begin() + static_cast<std::ptrdiff_t>(at));
            if (std::equal(mac.begin(), mac.end(), one.begin() + 66)) return one;
        }
        ADD_FAILURE() << "no row";
        return Bytes(707);
    }
    static std::string text_at(const Bytes& bytes, std::size_t at)
    {
        return {reinterpret_cast<const char*>(bytes.data()) + at};
    }

    Daemon daemon{20};
    std::unique_ptr<apsim::Fleet> fleet;
    Mac mac{};
    Mac other{};
};

Bytes names(const std::string& reboot, const std::string& alarm, const std::string& password, const std::string& deploy)
{
    Bytes bytes;
    for (const std::string& name : {reboot, alarm, password, deploy}) {
        const Bytes one = control_text(name);
        bytes.insert(bytes.end(), one.begin(), one.end());
    }
    return bytes;
}

constexpr std::size_t PAGE_CHANNEL = 63 + 6; // of the 2.4 GHz radio; 5 GHz follows

} // namespace

TEST_F(ControlCommands, a_page_is_read_changed_sent_stored_and_kept)
{
    Bytes wanted = page();
    EXPECT_EQ(wanted[63], 1) << "2.4 GHz is on";
    EXPECT_EQ(wanted[64], 1) << "5 GHz is on";
    EXPECT_EQ(wanted[PAGE_CHANNEL + 1], config().radios[1].channel);
    wanted[PAGE_CHANNEL + 1] = 149;
    EXPECT_EQ(ask(SET_AP_CONFIG_REQ, 1, control_macs({mac}, wanted)), control_response(SET_AP_CONFIG_REQ));
    EXPECT_EQ(page(), wanted);
    EXPECT_TRUE(comes([&] { return config().radios[1].channel == 149; }));
    EXPECT_NE(fleet->ap(1).config().radios[1].channel, 149);
    EXPECT_TRUE(comes([&] { return ssid_row("channel", 8) == "149"; })) << ssid_row("channel", 8);

    EXPECT_EQ(ask(SET_AP_CONFIG_REQ, 1, control_macs({mac}, wanted)), control_response(SET_AP_CONFIG_REQ));
    EXPECT_EQ(daemon.log_count("nothing changed\n"), 1);

    restart();
    EXPECT_EQ(page(), wanted);
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(page(), wanted);
    EXPECT_EQ(config().radios[1].channel, 149);
}

TEST_F(ControlCommands, a_page_of_nobody_is_empty)
{
    EXPECT_EQ(ask(GET_AP_CONFIG_REQ, 1, {2, 0xEE, 0, 0, 0, 1}), control_header(0, 0, 24, 0, 0));
}

TEST_F(ControlCommands, a_name_is_sent_stored_and_kept)
{
    const Bytes body = control_macs({mac}, control_text("lobby's"));
    EXPECT_EQ(ask(SET_AP_REMARK_REQ, 1, body), control_response(SET_AP_REMARK_REQ));
    EXPECT_TRUE(comes([&] { return name_at(*fleet, 0) == "lobby's"; }));
    EXPECT_TRUE(comes([&] { return row("apname,apname_len") == "lobby's 7"; })) << row("apname,apname_len");
    restart();
    EXPECT_EQ(daemon.record(mac), "0 0 x" + hex("lobby's", 7));
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(daemon.record(mac), "1 0 x" + hex("lobby's", 7));
    EXPECT_NE(name_at(*fleet, 1), "lobby's");
}

TEST_F(ControlCommands, a_client_limit_is_sent_stored_and_kept)
{
    EXPECT_EQ(ask(SET_AP_CLI_LIMIT, 1, control_macs({mac}, {1, 17})), control_response(SET_AP_CLI_LIMIT));
    EXPECT_TRUE(comes([&] { return config().ssids[1].client_number == 17; }));
    EXPECT_TRUE(comes([&] { return ssid_row("client_number", 1) == "17"; })) << ssid_row("client_number", 1);
    restart();
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(config().ssids[1].client_number, 17);
    EXPECT_EQ(fleet->ap(0).counters().config_taken, 0u) << "the AP's own word counts";
}

TEST_F(ControlCommands, a_channel_is_sent_stored_and_kept)
{
    EXPECT_EQ(ask(SET_AP_CHANNEL, 1, control_macs({mac}, {0, 2, 11})), control_response(SET_AP_CHANNEL));
    EXPECT_TRUE(comes([&] { return config().radios[0].channel == 11 && config().radios[0].expand_channel == 2; }));
    EXPECT_TRUE(comes([&] { return ssid_row("channel,expand_channel", 0) == "11 2"; }));
    restart();
    EXPECT_EQ(page()[PAGE_CHANNEL], 11);
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(page()[PAGE_CHANNEL], 11);
}

TEST_F(ControlCommands, a_deleted_ap_is_forgotten_and_comes_back_as_a_new_one)
{
    EXPECT_EQ(ask(SET_AP_REMARK_REQ, 1, control_macs({mac}, control_text("lobby"))),
              control_response(SET_AP_REMARK_REQ));
    ASSERT_TRUE(comes([&] { return row("apname") == "lobby"; }));
    const Mac nobody = {2, 0xEE, 0, 0, 0, 1};
    EXPECT_EQ(ask(DELETE_AP_REQ, 2, control_macs({nobody, mac})), control_response(DELETE_AP_REQ));
    EXPECT_TRUE(live_alone([&] { return daemon.joined(mac) == -1 && row("apname").empty(); }));
    EXPECT_EQ(ssid_row("ssid", 0), "");
    EXPECT_EQ(daemon.record(mac), "-1");
    EXPECT_GE(daemon.log_count("mac is not exited\n"), 1) << "nobody; an update on its way may have met the hole too";
    restart();
    EXPECT_EQ(daemon.record(mac), "-1");
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(daemon.record(mac).substr(0, 2), "1 ");
}

TEST_F(ControlCommands, policies_are_bound_sent_stored_shown_and_kept)
{
    add_policies();
    const Bytes body = control_macs({mac, other}, names("night", "loud", "staff", "hall"));
    EXPECT_EQ(ask(SET_AP_CONFIG_ADVANCE_REQ, 2, body), control_response(SET_AP_CONFIG_ADVANCE_REQ));
    for (std::size_t i = 0; i < 2; i++) {
        const apsim::ApConfig& at = fleet->ap(i).config();
        EXPECT_TRUE(comes([&] { return at.deploy == std::array<UINT8, 3>{3, 4, 5}; })) << "the last of the items";
        EXPECT_EQ(at.reboot.reboot_en, 1);
        EXPECT_EQ(at.reboot.time, 90);
        EXPECT_NE(UINT32{at.time.time}, 0u); // by value: the record is packed
        EXPECT_EQ(at.alarm.hostnum_limit, 40);
        EXPECT_EQ(at.alarm.stream_limit, 65536u);
        EXPECT_EQ(at.basic.led_status, 0);
        EXPECT_EQ(std::string(at.web_user.begin(), at.web_user.begin() + 4), "root");
        EXPECT_EQ(std::string(at.web_password.begin(), at.web_password.begin() + 2), "pw");
        EXPECT_EQ(at.web_on_off, 1);
    }
    const std::string stored = "night loud staff hall 1 2 90 7 40 65536 ops@example.net secret 300 1 0";
    const std::string columns =
        "reboot_name,alarm_name,pass_name,wl_deploy_name,reboot_en,reboot_type,time,alarm_switch,"
        "hostnum_limit,stream_limit,mailName,mailPwd,mailInterTime,pcEnable,ledstatus";
    EXPECT_TRUE(comes([&] { return row(columns) == stored; })) << row(columns);

    const auto shown = [&] {
        const Bytes one = advanced_row();
        EXPECT_EQ(text_at(one, 472), "night");
        EXPECT_EQ(text_at(one, 505), "loud");
        EXPECT_EQ(text_at(one, 538), "staff");
        EXPECT_EQ(text_at(one, 571), "hall");
        EXPECT_EQ(one[469], 0) << "LED";
    };
    shown();
    restart();
    shown();
    ASSERT_TRUE(rejoined());
    shown();
    EXPECT_EQ(config().reboot.time, 90);
}

TEST_F(ControlCommands, the_advanced_page_counts_and_names_the_policies)
{
    add_policies();
    const Bytes reply = ask(GET_AP_CONFIG_ADVANCE_REQ, 0, {});
    ASSERT_EQ(reply.size(), 20u + 20 + 5 * 32 + 2 * 707);
    EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 20), control_header(0, 0, 22, 0, 20 + 5 * 32 + 2 * 707));
    EXPECT_EQ(Bytes(reply.begin() + 20, reply.begin() + 40),
              (Bytes{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}));
    const char* const in_order[] = {"loud", "night", "staff", "hall", "floor"};
    for (std::size_t i = 0; i < 5; i++)
        EXPECT_EQ(text_at(reply, 40 + 32 * i), in_order[i]);
}

TEST_F(ControlCommands, empty_settings_reach_the_ap_and_its_bindings_stay)
{
    add_policies();
    const Bytes body = control_macs({mac}, names("night", "loud", "", ""));
    EXPECT_EQ(ask(SET_AP_CONFIG_ADVANCE_REQ, 1, body), control_response(SET_AP_CONFIG_ADVANCE_REQ));
    ASSERT_TRUE(comes([&] { return config().reboot.reboot_en == 1; }));
    EXPECT_EQ(ask(SET_AP_CONFIG_ADVANCE_REQ, 1, body, 1), control_response(SET_AP_CONFIG_ADVANCE_REQ));
    EXPECT_TRUE(comes([&] { return config().reboot.reboot_en == 0 && config().alarm.alarm_switch == 0; }));
    const std::string columns = "reboot_name,alarm_name,reboot_en,alarm_switch,mailEnable";
    EXPECT_TRUE(comes([&] { return row(columns) == "night loud 0 0 0"; })) << row(columns);
    restart();
    EXPECT_EQ(text_at(advanced_row(), 472), "night");
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(text_at(advanced_row(), 505), "loud");
    EXPECT_EQ(config().reboot.reboot_en, 0);
}

TEST_F(ControlCommands, a_vlan_policy_is_bound_sent_stored_and_kept)
{
    add_policies();
    EXPECT_EQ(ask(SET_AP_CONFIG_QVLAN_REQ, 1, control_macs({mac}, control_text("floor"))),
              control_response(SET_AP_CONFIG_QVLAN_REQ));
    const std::array<UINT8, 22> expected = {1,    0,   0x0A, 0,   0x14, 0,   0x2C, 0x01, 0x2D, 0x01, 0x2E,
                                            0x01, '1', ',',  '2', ',',  '3', 0,    0,    0,    0,    0};
    EXPECT_TRUE(comes([&] { return config().qvlan == expected; }));
    EXPECT_TRUE(comes([&] { return row("qvlan_name") == "floor"; })) << row("qvlan_name");
    restart();
    EXPECT_EQ(text_at(advanced_row(), 604), "floor");
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(text_at(advanced_row(), 604), "floor");
}

TEST_F(ControlCommands, deleted_policies_leave_the_store_and_stay_bound)
{
    add_policies();
    const Bytes body = control_macs({mac}, names("night", "", "", ""));
    EXPECT_EQ(ask(SET_AP_CONFIG_ADVANCE_REQ, 1, body), control_response(SET_AP_CONFIG_ADVANCE_REQ));
    Bytes two = control_text("night");
    const Bytes second = control_text("hall");
    two.insert(two.end(), second.begin(), second.end());
    EXPECT_EQ(ask(SET_ADVANCE_POLICY_REQ, 2, two), control_header(0, 0, 5, 0, 0));
    // The deletion follows its answer; the next request is served behind it.
    EXPECT_EQ(text_at(advanced_row(), 472), "night");
    EXPECT_EQ(sql_on(daemon, POLICY_FILE, "select count(*) from reboot_policy"), "0");
    EXPECT_EQ(sql_on(daemon, POLICY_FILE, "select count(*) from wl_deploy_policy"), "0");
    EXPECT_EQ(sql_on(daemon, POLICY_FILE, "select name from alarm_policy"), "loud");
    ASSERT_TRUE(comes([&] { return row("reboot_name") == "night"; }));
    restart();
    EXPECT_EQ(text_at(advanced_row(), 472), "night");
    EXPECT_EQ(sql_on(daemon, POLICY_FILE, "select count(*) from reboot_policy"), "0");
}

TEST_F(ControlCommands, the_counts_follow_the_aps)
{
    EXPECT_EQ(ask(GET_WTP_NUM_REQ, 0, {}), control_header(2, 2, 35, 0, 0));
    send_away();
    EXPECT_EQ(ask(GET_WTP_NUM_REQ, 0, {}), control_header(2, 1, 35, 0, 0));
    restart();
    const Bytes loaded = ask(GET_WTP_NUM_REQ, 0, {});
    EXPECT_EQ(loaded[2], 0) << "nobody is online";
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(ask(GET_WTP_NUM_REQ, 0, {}), control_header(2, 2, 35, 0, 0));
}

TEST_F(ControlCommands, all_aps_are_listed)
{
    const Bytes reply = ask(GET_AP_ALL_REQ, 0, {});
    ASSERT_EQ(reply.size(), 20u + 2 * 528);
    EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 20), control_header(0, 0, 24, 2, 2 * 528));
    const std::size_t first = std::equal(mac.begin(), mac.end(), reply.begin() + 20 + 72) ? 20 : 20 + 528;
    EXPECT_TRUE(std::equal(mac.begin(), mac.end(), reply.begin() + static_cast<std::ptrdiff_t>(first) + 72));
    EXPECT_EQ(text_at(reply, first + 33), name_at(*fleet, 0));
    EXPECT_EQ(reply[first + 479], config().radios[0].channel);
    EXPECT_EQ(reply[first + 518], 1);
    EXPECT_EQ(reply[first + 525], 2);
}

TEST_F(ControlCommands, before_a_new_address_all_aps_are_forgotten_in_memory_alone)
{
    EXPECT_EQ(ask(SET_AP_REMARK_REQ, 1, control_macs({mac}, control_text("lobby"))),
              control_response(SET_AP_REMARK_REQ));
    ASSERT_TRUE(comes([&] { return row("apname") == "lobby" && name_at(*fleet, 0) == "lobby"; }));
    EXPECT_EQ(ask(SET_AC_LAN_IP_REQ, 0, {}), control_response(SET_AC_LAN_IP_REQ));
    EXPECT_EQ(daemon.record(mac), "-1");
    EXPECT_EQ(daemon.joined(mac), -1);
    EXPECT_EQ(ask(GET_WTP_NUM_REQ, 0, {}), control_header(0, 0, 35, 0, 0));
    EXPECT_EQ(row("apname"), "lobby");
    ASSERT_TRUE(rejoined());
    EXPECT_EQ(daemon.record(mac).substr(0, 1), "1");
    EXPECT_TRUE(live_alone([&] { return daemon.log_count("msg_type error msg0:37\n") == 1; }));
    restart();
    EXPECT_EQ(daemon.record(mac), "0 0 x" + hex("lobby", 5));
}

TEST_F(ControlCommands, the_joined_list_is_dumped)
{
    EXPECT_EQ(ask(0x0196, 0, {}), control_response(150));
    EXPECT_TRUE(live_alone([&] {
        FILE* file = fopen((daemon.root() + "/var/tag.cfg").c_str(), "r");
        if (file != nullptr) fclose(file);
        return file != nullptr;
    }));
    EXPECT_EQ(ask(0x0296, 0, {}), control_response(150));
}

TEST_F(ControlCommands, what_is_changed_while_an_ap_is_away_reaches_it_over_a_restart_of_the_daemon)
{
    add_policies();
    ASSERT_TRUE(comes([&] { return row("apmac") == mac_column(mac); }));
    send_away();
    EXPECT_EQ(ask(SET_AP_REMARK_REQ, 1, control_macs({mac}, control_text("roof"))),
              control_response(SET_AP_REMARK_REQ));
    EXPECT_EQ(ask(SET_AP_CLI_LIMIT, 1, control_macs({mac}, {0, 19})), control_response(SET_AP_CLI_LIMIT));
    EXPECT_EQ(ask(SET_AP_CHANNEL, 1, control_macs({mac}, {0, 2, 11})), control_response(SET_AP_CHANNEL));
    Bytes wanted = page();
    wanted[PAGE_CHANNEL + 1] = 149;
    EXPECT_EQ(ask(SET_AP_CONFIG_REQ, 1, control_macs({mac}, wanted)), control_response(SET_AP_CONFIG_REQ));
    EXPECT_EQ(ask(SET_AP_CONFIG_ADVANCE_REQ, 1, control_macs({mac}, names("night", "loud", "staff", "hall"))),
              control_response(SET_AP_CONFIG_ADVANCE_REQ));
    EXPECT_EQ(ask(SET_AP_CONFIG_QVLAN_REQ, 1, control_macs({mac}, control_text("floor"))),
              control_response(SET_AP_CONFIG_QVLAN_REQ));
    EXPECT_TRUE(live_alone([&] { return row("qvlan_name,config_version") == "floor 1"; })) << "the last note";

    restart();
    EXPECT_EQ(daemon.record(mac), "0 1 x" + hex("roof", 4));
    EXPECT_EQ(page(), wanted);
    ASSERT_TRUE(returned()) << daemon.log();
    EXPECT_EQ(name_at(*fleet, 0), "roof");
    const auto ssid = std::ranges::find_if(config().ssids, [](const CONFIG_WL_BASIC& wl) { return wl.ssid_id == 0; });
    ASSERT_NE(ssid, config().ssids.end());
    EXPECT_EQ(ssid->client_number, 19);
    EXPECT_EQ(page(), wanted) << "what the AP has reported now";
    EXPECT_EQ(config().reboot.time, 90);
    EXPECT_EQ(config().alarm.hostnum_limit, 40);
    EXPECT_EQ(config().basic.led_status, 0);
    const Bytes one = advanced_row();
    EXPECT_EQ(text_at(one, 472), "night");
    EXPECT_EQ(text_at(one, 505), "loud");
    EXPECT_EQ(text_at(one, 538), "staff");
    EXPECT_EQ(text_at(one, 571), "hall");
    EXPECT_EQ(text_at(one, 604), "floor");
}
