// Binding operational policies to APs, and deleting policies.
#include "main/wtp_advance.h"

#include "ac_mib/sql_flash_queue.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "platform/ac_clock.h"
#include "sql_faults.h"
#include "wtp_kit.h"

using namespace apconfig_test;

static const char NO_POLICY[] = "\xE6\x97\xA0\xE7\xAD\x96\xE7\x95\xA5"; // as the web interface shows it

class WtpAdvance : public WtpWorld {
protected:
    void SetUp() override
    {
        WtpWorld::SetUp();
        run(policy_db, "insert into reboot_policy values(5,3,'night',1,2,4660)");
        run(policy_db, "insert into alarm_policy values(5,'loud',1,'ops@example.net','secret',300,2,151038144,7,40,"
                       "16909060,465,3)");
        run(policy_db, "insert into password_policy values(5,'staff','root','pw',1)");
        run(policy_db, "insert into wl_deploy_policy values(6,'hall',3,4,5)");
        run(policy_db, "insert into qvlan_policy values(5,'floor',1,10,20,300,301,302,'1,2,3')");
        write_file("/etc/time_zone", "8\n");
    }
    APCONFIG* ap(int number = 1, UINT8 status = AP_LINK_UP, const char* version = "1")
    {
        APCONFIG* node = make_record(test_mac(number), 67, status, version);
        node->info_basic.led_status = 9;
        node->info_reboot = {9, 9, 9};
        node->info_alarm = {9, 9, {}, 9};
        node->info_event.mailEnable = 9;
        set_text(node->p_reboot_name, "old reboot");
        set_text(node->p_alarm_name, "old alarm");
        set_text(node->p_pass_name, "old pass");
        set_text(node->p_wl_deploy_name, "old deploy");
        set_text(node->p_qvlan_name, "old vlan");
        take_notes();
        return node;
    }
    static Bytes names(const std::string& reboot, const std::string& alarm, const std::string& password,
                       const std::string& deploy)
    {
        Bytes bytes = name32(reboot);
        append(bytes, name32(alarm));
        append(bytes, name32(password));
        append(bytes, name32(deploy));
        return bytes;
    }
    static Bytes behind(Bytes body, const Bytes& more)
    {
        append(body, more);
        return body;
    }
    int advance(const Bytes& body, int ap_num = 1, int action = 0, int ap_flag = 0)
    {
        return set_wtp_advance_config(wtp_request(SET_AP_CONFIG_ADVANCE_REQ, ap_num, body, action, ap_flag).get());
    }
    int qvlan(const Bytes& body, int ap_num = 1)
    {
        return set_wtp_qvlan_config(wtp_request(SET_AP_CONFIG_QVLAN_REQ, ap_num, body).get());
    }
    std::vector<int> note_types()
    {
        std::vector<int> types;
        for (const FlashNote& note : take_notes())
            types.push_back(note.type);
        return types;
    }
};

static const Bytes ALARM_BLOCK = {7, 40, 0, 0, 0x04, 0x03, 0x02, 0x01};
// 1700000000 is 0x6553F100.
static const Bytes REBOOT_BLOCK = {1, 2, 0x34, 0x12, 0x00, 0xF1, 0x53, 0x65, 8, 0};

static Bytes event_image()
{
    Bytes image(80);
    put(image, 0, {1});
    put(image, 1, "ops@example.net");
    put(image, 34, "secret");
    put(image, 68, {0x2C, 0x01, 0xD1, 0x01, 3, 2, 0, 0, 192, 168, 0, 9});
    return image;
}

// --- reboot and alarm ------------------------------------------------------------------------------------------------

TEST_F(WtpAdvance, both_policies_go_out_in_one_item_and_into_the_table)
{
    APCONFIG* node = ap();
    EXPECT_EQ(advance(behind(macs({1}), names("night", "loud", "", ""))), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 0xC404);
    EXPECT_EQ(items[0].ap_num, 1);
    EXPECT_EQ(items[0].num_flag, 0);
    EXPECT_EQ(items[0].flags, 1);
    Bytes message = macs({1});
    append(message, ALARM_BLOCK);
    append(message, REBOOT_BLOCK);
    append(message, {3});
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(text_of(node->p_reboot_name), "night");
    EXPECT_EQ(text_of(node->p_alarm_name), "loud");
    EXPECT_EQ(raw(node->info_alarm), ALARM_BLOCK);
    EXPECT_EQ(raw(node->info_event), event_image());
    EXPECT_EQ(raw(node->info_reboot), Bytes(REBOOT_BLOCK.begin(), REBOOT_BLOCK.begin() + 4));
    EXPECT_EQ(node->info_basic.led_status, 3);
    EXPECT_EQ(note_types(), (std::vector<int>{CONFIG_SQL_ALARM_NAME, CONFIG_SQL_ALARM, CONFIG_SQL_ALARM_EVENT,
                                              CONFIG_SQL_REBOOT_NAME, CONFIG_SQL_REBOOT, CONFIG_SQL_LED}));
    EXPECT_EQ(text_of(node->p_pass_name), "old pass");
    EXPECT_EQ(text_of(node->p_wl_deploy_name), "old deploy");
}

TEST_F(WtpAdvance, an_alarm_policy_alone_sends_8_bytes)
{
    APCONFIG* node = ap();
    EXPECT_EQ(advance(behind(macs({1}), names("", "loud", "", ""))), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 0x8004);
    EXPECT_EQ(items[0].msg, behind(macs({1}), ALARM_BLOCK));
    EXPECT_EQ(text_of(node->p_reboot_name), "old reboot");
    EXPECT_EQ(node->info_reboot.time, 9);
    EXPECT_EQ(node->info_basic.led_status, 9);
    EXPECT_EQ(note_types(), (std::vector<int>{CONFIG_SQL_ALARM_NAME, CONFIG_SQL_ALARM, CONFIG_SQL_ALARM_EVENT}));
}

TEST_F(WtpAdvance, a_reboot_policy_alone_sends_4_6_and_1_bytes)
{
    APCONFIG* node = ap();
    EXPECT_EQ(advance(behind(macs({1}), names("night", NO_POLICY, "", ""))), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 0x4404);
    EXPECT_EQ(items[0].msg, behind(behind(macs({1}), REBOOT_BLOCK), {3}));
    EXPECT_EQ(text_of(node->p_alarm_name), "old alarm");
    EXPECT_EQ(node->info_event.mailEnable, 9);
    EXPECT_EQ(note_types(), (std::vector<int>{CONFIG_SQL_REBOOT_NAME, CONFIG_SQL_REBOOT, CONFIG_SQL_LED}));
}

TEST_F(WtpAdvance, without_a_time_zone_file_the_zone_is_0)
{
    ASSERT_EQ(unlink((root + "/etc/time_zone").c_str()), 0);
    ap();
    EXPECT_EQ(advance(behind(macs({1}), names("night", "", "", ""))), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].msg, behind(macs({1}), {1, 2, 0x34, 0x12, 0x00, 0xF1, 0x53, 0x65, 0, 0, 3}));
}

TEST_F(WtpAdvance, a_zone_west_of_greenwich_is_a_16_bit_number)
{
    write_file("/etc/time_zone", "-5");
    ap();
    EXPECT_EQ(advance(behind(macs({1}), names("night", "", "", ""))), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].msg[14], 0xFB);
    EXPECT_EQ(items[0].msg[15], 0xFF);
}

TEST_F(WtpAdvance, several_aps_share_one_item_and_an_unknown_one_is_a_line_per_change)
{
    APCONFIG* first = ap(1);
    APCONFIG* third = ap(3);
    int result = -1;
    EXPECT_EQ(lines_of([&] {
                  result = advance(behind(macs({1, 2, 3}), names("night", "", "", "")), 3);
              }),
              "E|mac is not exited\nE|mac is not exited\nE|mac is not exited\n");
    EXPECT_EQ(result, 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].ap_num, 3);
    EXPECT_EQ(items[0].msg, behind(behind(macs({1, 2, 3}), REBOOT_BLOCK), {3}));
    EXPECT_EQ(text_of(first->p_reboot_name), "night");
    EXPECT_EQ(text_of(third->p_reboot_name), "night");
}

TEST_F(WtpAdvance, all_changes_of_one_ap_are_made_before_those_of_the_next)
{
    ap(1);
    ap(2);
    EXPECT_EQ(advance(behind(macs({2, 1}), names("night", "loud", "", "")), 2), 0);
    std::vector<FlashNote> expected;
    for (int number : {2, 1}) {
        for (int type : {CONFIG_SQL_ALARM_NAME, CONFIG_SQL_ALARM, CONFIG_SQL_ALARM_EVENT, CONFIG_SQL_REBOOT_NAME,
                         CONFIG_SQL_REBOOT, CONFIG_SQL_LED})
            expected.push_back({type, 0, test_mac(number)});
    }
    EXPECT_EQ(take_notes(), expected);
}

TEST_F(WtpAdvance, the_flag_for_all_aps_is_handed_on)
{
    ap();
    EXPECT_EQ(advance(behind(macs({1}), names("", "loud", "staff", "hall")), 1, 0, 1), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 3u);
    for (const WorkItem& item : items)
        EXPECT_EQ(item.num_flag, 1);
    const Bytes body = behind(macs({1}), name32("floor"));
    lines_of([&] { set_wtp_qvlan_config(wtp_request(SET_AP_CONFIG_QVLAN_REQ, 1, body, 0, 1).get()); });
    EXPECT_EQ(take_items().at(0).num_flag, 1);
}

TEST_F(WtpAdvance, no_choice_at_all_is_a_data_error_and_binds_nothing)
{
    APCONFIG* node = ap();
    for (const char* none : {"", NO_POLICY}) {
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(advance(behind(macs({1}), names(none, none, none, none))), 255); }),
                  "E|data error\n");
        EXPECT_TRUE(take_items().empty());
        EXPECT_TRUE(take_notes().empty());
        EXPECT_EQ(text_of(node->p_alarm_name), "old alarm");
        EXPECT_EQ(text_of(node->p_wl_deploy_name), "old deploy");
    }
}

TEST_F(WtpAdvance, a_failed_alarm_lookup_skips_the_reboot_policy_but_not_password_and_deployment)
{
    APCONFIG* node = ap();
    int result = -1;
    EXPECT_EQ(lines_of([&] { result = advance(behind(macs({1}), names("night", "gone", "staff", "hall"))); }), "E|.\n");
    EXPECT_EQ(result, 255);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0].type, 46);
    EXPECT_EQ(items[1].type, 128);
    EXPECT_EQ(text_of(node->p_reboot_name), "old reboot");
    EXPECT_EQ(text_of(node->p_alarm_name), "old alarm");
    EXPECT_EQ(text_of(node->p_wl_deploy_name), "hall");
}

TEST_F(WtpAdvance, a_failed_password_or_deployment_lookup_holds_back_nothing_else)
{
    APCONFIG* node = ap();
    int result = -1;
    EXPECT_EQ(lines_of([&] { result = advance(behind(macs({1}), names("night", "loud", "gone", "gone"))); }),
              "E|.\nE|.\n");
    EXPECT_EQ(result, 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 0xC404);
    EXPECT_EQ(text_of(node->p_reboot_name), "night");
    EXPECT_EQ(text_of(node->p_pass_name), "old pass");
    EXPECT_EQ(text_of(node->p_wl_deploy_name), "old deploy");
}

TEST_F(WtpAdvance, a_failed_reboot_lookup_holds_back_the_alarm_policy_too)
{
    APCONFIG* node = ap();
    run(policy_db, "drop table reboot_policy");
    const std::string lines =
        lines_of([&] { EXPECT_EQ(advance(behind(macs({1}), names("night", "loud", "", ""))), 255); });
    EXPECT_EQ(lines, "E|select error,ret=1,errmsg=no such table: reboot_policy\nE|.\n");
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->p_alarm_name), "old alarm");
}

TEST_F(WtpAdvance, a_lookup_that_breaks_off_has_failed_even_behind_the_row_it_found)
{
    APCONFIG* node = ap();
    run(policy_db, "with recursive n(i) as (select 1 union all select i+1 from n where i<2000) "
                   "insert into reboot_policy(name) select i from n");
    const WtpRequest request = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("night", "", "", "")));
    const auto looked_up_afresh = [&](int reads) {
        sql_faults_clear();
        sqlite_exit();
        EXPECT_EQ(sqlite_init(), 0);
        sql_faults_read_after(reads, SQLITE_IOERR_READ);
        return set_wtp_advance_config(request.get());
    };
    EXPECT_EQ(looked_up_afresh(1000), 0);
    const int moments = sql_faults_reads_counted();
    ASSERT_GT(moments, 4) << "the row stands on the first of several pages";
    set_text(node->p_reboot_name, "old reboot");
    take_items();
    for (int moment = 0; moment < moments; moment++) {
        int result = -1;
        const std::string lines = lines_of([&] { result = looked_up_afresh(moment); });
        EXPECT_EQ(result, 255) << moment;
        EXPECT_EQ(lines.substr(lines.rfind("E|")), "E|.\n") << moment;
        EXPECT_TRUE(take_items().empty()) << moment;
        EXPECT_EQ(text_of(node->p_reboot_name), "old reboot") << moment;
    }
    sql_faults_clear();
}

TEST_F(WtpAdvance, action_1_pushes_zero_blocks_and_changes_no_name)
{
    APCONFIG* node = ap();
    EXPECT_EQ(advance(behind(macs({1}), names("night", "loud", "staff", "hall")), 1, 1), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u) << "password and deployment policy are skipped";
    EXPECT_EQ(items[0].type, 0xC004);
    EXPECT_EQ(items[0].msg, behind(macs({1}), {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x00, 0xF1, 0x53, 0x65, 8, 0}))
        << "the time is told all the same";
    EXPECT_EQ(raw(node->info_alarm), Bytes(8));
    EXPECT_EQ(raw(node->info_event), Bytes(80));
    EXPECT_EQ(raw(node->info_reboot), Bytes(4));
    EXPECT_EQ(node->info_basic.led_status, 9);
    EXPECT_EQ(text_of(node->p_reboot_name), "old reboot");
    EXPECT_EQ(text_of(node->p_alarm_name), "old alarm");
    EXPECT_EQ(text_of(node->p_pass_name), "old pass");
    EXPECT_EQ(text_of(node->p_wl_deploy_name), "old deploy");
    EXPECT_EQ(note_types(), (std::vector<int>{CONFIG_SQL_ALARM, CONFIG_SQL_ALARM_EVENT, CONFIG_SQL_REBOOT}));
}

TEST_F(WtpAdvance, action_1_needs_no_more_than_a_byte_behind_the_macs)
{
    ap();
    EXPECT_EQ(advance(macs({1}), 1, 1), 255);
    EXPECT_EQ(advance(behind(macs({1}), {0}), 1, 1), 0);
}

TEST_F(WtpAdvance, any_action_but_deletion_binds)
{
    APCONFIG* node = ap();
    for (int action : {2, 3, 0x0101}) {
        EXPECT_EQ(advance(behind(macs({1}), names("night", "loud", "staff", "hall")), 1, action), 0);
        const std::vector<WorkItem> items = take_items();
        ASSERT_EQ(items.size(), 3u) << action;
        EXPECT_EQ(items[1].type, 0xC404) << action;
    }
    EXPECT_EQ(text_of(node->p_alarm_name), "loud");
}

TEST_F(WtpAdvance, a_binding_needs_an_ap_its_macs_and_all_four_names)
{
    APCONFIG* node = ap();
    const Bytes body = behind(macs({1}), names("night", "loud", "staff", "hall"));
    EXPECT_EQ(advance(body, 0), 255);
    EXPECT_EQ(advance(body, 65535), 255);
    EXPECT_EQ(set_wtp_advance_config(nullptr), 255);
    for (std::size_t length = 0; length < 134; length++) {
        const std::string lines = lines_of([&] { EXPECT_EQ(advance(cut(body, length)), 255); });
        EXPECT_EQ(lines.empty(), length <= 6) << length;
    }
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->p_pass_name), "old pass");
    EXPECT_EQ(advance(cut(body, 134)), 0);
    EXPECT_EQ(take_items().size(), 3u);
}

TEST_F(WtpAdvance, the_order_of_the_items_is_password_then_settings_then_deployment)
{
    ap();
    EXPECT_EQ(advance(behind(macs({1}), names("night", "loud", "staff", "hall"))), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].type, 46);
    EXPECT_EQ(items[1].type, 0xC404);
    EXPECT_EQ(items[2].type, 128);
}

TEST_F(WtpAdvance, bytes_behind_a_names_end_do_not_reach_the_table)
{
    APCONFIG* node = ap();
    Bytes body = behind(macs({1}), names("", "loud", "", ""));
    put(body, 6 + 32 + 5, "junk");
    EXPECT_EQ(advance(body), 0);
    EXPECT_EQ(raw(node->p_alarm_name), name32("loud"));
}

TEST_F(WtpAdvance, a_name_of_32_bytes_is_bound_whole)
{
    APCONFIG* node = ap();
    const std::string full(32, 'n');
    run(policy_db, "insert into wl_deploy_policy values(1,'" + full + "',3,4,5)");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(advance(behind(macs({1}), names("", "", "", full))), 255); }), "E|data error\n");
    EXPECT_EQ(text_of(node->p_wl_deploy_name), full);
}

TEST_F(WtpAdvance, a_binding_is_answered_after_the_work_whatever_came_of_it)
{
    EXPECT_EQ(exchange(SET_AP_CONFIG_ADVANCE_REQ, 0, {}), response_to(4));
    ap();
    EXPECT_EQ(exchange(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("night", "loud", "", ""))),
              response_to(4));
    EXPECT_EQ(take_items().size(), 1u);
}

TEST_F(WtpAdvance, a_binding_for_an_ap_that_is_away_lifts_its_version_once)
{
    APCONFIG* node = ap(1, AP_LINK_DOWN, "0");
    EXPECT_EQ(advance(behind(macs({1}), names("night", "loud", "", ""))), 0);
    EXPECT_EQ(version_of(node), "1");
    EXPECT_EQ(note_types(),
              (std::vector<int>{CONFIG_SQL_ALARM_NAME, CONFIG_SQL_VERSION, CONFIG_SQL_ALARM, CONFIG_SQL_ALARM_EVENT,
                                CONFIG_SQL_REBOOT_NAME, CONFIG_SQL_REBOOT, CONFIG_SQL_LED}));
}

TEST_F(WtpAdvance, without_memory_for_the_message_the_table_leads_all_the_same)
{
    APCONFIG* node = ap();
    const WtpRequest request = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), {0}), 1);
    ac_alloc_fail_after(0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_advance_config(request.get()), 1001); }), "E|malloc failed\n");
    EXPECT_EQ(raw(node->info_alarm), Bytes(8));
}

TEST_F(WtpAdvance, a_binding_that_the_queue_refuses_is_in_the_table_all_the_same)
{
    APCONFIG* node = ap();
    const Bytes body = behind(macs({1}), names("", "", "staff", "hall"));
    const WtpRequest request = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, body);
    const WtpRequest vlan = wtp_request(SET_AP_CONFIG_QVLAN_REQ, 1, behind(macs({1}), name32("floor")));
    const auto refused = [&](int (*handler)(const AC_MSG_PKT*), const WtpRequest& to) {
        return lines_of([&] {
            ac_alloc_fail_after(1); // the statement is there
            EXPECT_EQ(handler(to.get()), 1001);
            ac_alloc_fail_after(-1);
        });
    };
    EXPECT_EQ(refused(set_wtp_password_config, request), "E|malloc failed\n");
    EXPECT_EQ(refused(set_wl_deploy_config, request), "E|malloc failed\n");
    EXPECT_EQ(refused(set_wtp_qvlan_config, vlan), "E|malloc failed\n\n\n------qvlan--times=0-----------\n\n");
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->p_pass_name), "staff");
    EXPECT_EQ(text_of(node->p_wl_deploy_name), "hall");
    EXPECT_EQ(text_of(node->p_qvlan_name), "floor");
}

// --- password --------------------------------------------------------------------------------------------------------

TEST_F(WtpAdvance, a_password_policy_sends_65_bytes_and_binds_its_name)
{
    APCONFIG* node = ap();
    const WtpRequest request = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("", "", "staff", "")));
    EXPECT_EQ(set_wtp_password_config(request.get()), 0);
    Bytes message(71);
    put(message, 0, {0x02, 0, 0, 0, 0, 1});
    put(message, 6, "root");
    put(message, 38, "pw");
    put(message, 70, {1});
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 46);
    EXPECT_EQ(items[0].flags, 1);
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(text_of(node->p_pass_name), "staff");
    EXPECT_EQ(note_types(), std::vector<int>{CONFIG_SQL_PASSWORD_NAME});
}

TEST_F(WtpAdvance, user_and_password_may_fill_their_32_bytes)
{
    APCONFIG* first = ap(1);
    APCONFIG* second = ap(2);
    run(policy_db,
        "insert into password_policy values(5,'full','" + std::string(32, 'u') + "','" + std::string(32, 'p') + "',0)");
    const WtpRequest request =
        wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 2, behind(macs({1, 2}), names("", "", "full", "")));
    EXPECT_EQ(set_wtp_password_config(request.get()), 0);
    Bytes message = macs({1, 2});
    append(message, Bytes(32, 'u'));
    append(message, Bytes(32, 'p'));
    append(message, {0});
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].ap_num, 2);
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(text_of(first->p_pass_name), "full");
    EXPECT_EQ(text_of(second->p_pass_name), "full");
}

TEST_F(WtpAdvance, no_password_policy_chosen_changes_nothing)
{
    APCONFIG* node = ap();
    for (const char* none : {"", NO_POLICY}) {
        const WtpRequest request =
            wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("", "", none, "")));
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_password_config(request.get()), 0); }), "");
    }
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->p_pass_name), "old pass");
}

TEST_F(WtpAdvance, a_password_or_deployment_policy_that_is_not_there_is_a_line)
{
    APCONFIG* node = ap();
    const WtpRequest request =
        wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("", "", "gone", "gone")));
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_password_config(request.get()), 255); }), "E|.\n");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wl_deploy_config(request.get()), 255); }), "E|.\n");
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->p_pass_name), "old pass");
}

TEST_F(WtpAdvance, password_and_deployment_names_must_be_whole)
{
    ap();
    const Bytes body = behind(macs({1}), names("", "", "staff", "hall"));
    const WtpRequest short_password = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, cut(body, 101));
    EXPECT_EQ(set_wtp_password_config(short_password.get()), 255);
    const WtpRequest short_deploy = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, cut(body, 133));
    EXPECT_EQ(set_wl_deploy_config(short_deploy.get()), 255);
    EXPECT_EQ(set_wtp_password_config(short_deploy.get()), 0);
    EXPECT_EQ(take_items().size(), 1u);
}

TEST_F(WtpAdvance, a_lookup_that_fails_is_told_under_the_name_of_its_binding)
{
    ap();
    const Bytes body = behind(macs({1}), names("", "", "gone", "gone"));
    const WtpRequest request = wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, body);
    const auto starts_with = [](const std::string& out, const std::string& start) {
        EXPECT_EQ(out.compare(0, start.size(), start), 0) << out;
    };
    starts_with(output_of([&] { set_wtp_password_config(request.get()); }), "Error->set_wtp_password_config(");
    starts_with(output_of([&] { set_wl_deploy_config(request.get()); }), "Error->set_wl_deploy_config(");
    starts_with(output_of([&] { qvlan(behind(macs({1}), name32("gone"))); }), "Error->set_wtp_qvlan_config(");
    starts_with(output_of([&] { advance(behind(macs({1}), names("", "gone", "", ""))); }),
                "Error->set_wtp_advance_config(");
    starts_with(output_of([&] { advance(behind(macs({1}), names("", "", "", ""))); }),
                "Error->set_wtp_advance_config(");
}

// --- deployment and VLAN ---------------------------------------------------------------------------------------------

TEST_F(WtpAdvance, a_deployment_policy_sends_3_bytes_and_binds_its_name)
{
    APCONFIG* first = ap(1);
    APCONFIG* second = ap(2);
    const WtpRequest request =
        wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 2, behind(macs({1, 2}), names("", "", "", "hall")));
    EXPECT_EQ(set_wl_deploy_config(request.get()), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 128);
    EXPECT_EQ(items[0].ap_num, 2);
    EXPECT_EQ(items[0].msg, behind(macs({1, 2}), {3, 4, 5}));
    EXPECT_EQ(text_of(first->p_wl_deploy_name), "hall");
    EXPECT_EQ(text_of(second->p_wl_deploy_name), "hall");
    EXPECT_EQ(note_types(), (std::vector<int>{CONFIG_SQL_WL_DEPLOY_NAME, CONFIG_SQL_WL_DEPLOY_NAME}));
}

TEST_F(WtpAdvance, an_empty_deployment_name_or_the_label_leaves_the_binding)
{
    APCONFIG* node = ap();
    for (const char* none : {"", NO_POLICY}) {
        EXPECT_EQ(advance(behind(macs({1}), names("night", "", "", none))), 0);
        EXPECT_EQ(text_of(node->p_wl_deploy_name), "old deploy");
        EXPECT_EQ(take_items().size(), 1u);
    }
}

TEST_F(WtpAdvance, without_a_deployment_policy_chosen_there_is_nothing_to_do_and_that_is_no_error)
{
    ap();
    for (const char* none : {"", NO_POLICY}) {
        const WtpRequest request =
            wtp_request(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("", "", "", none)));
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wl_deploy_config(request.get()), 0); }), "");
    }
    EXPECT_TRUE(take_items().empty());
}

TEST_F(WtpAdvance, a_name_that_only_begins_like_the_label_is_a_policy)
{
    APCONFIG* node = ap();
    for (const std::string& name : {std::string(NO_POLICY, 6), std::string(NO_POLICY) + "1"}) {
        run(policy_db, "insert into qvlan_policy values(5,'" + name + "',1,10,20,300,301,302,'1,2,3')");
        lines_of([&] { EXPECT_EQ(qvlan(behind(macs({1}), name32(name))), 0); });
        EXPECT_EQ(take_items().size(), 1u);
        EXPECT_EQ(text_of(node->p_qvlan_name), name);
    }
}

TEST_F(WtpAdvance, a_vlan_policy_sends_22_bytes_of_65_and_binds_its_name)
{
    APCONFIG* first = ap(1);
    APCONFIG* second = ap(2);
    const std::string lines = lines_of([&] { EXPECT_EQ(qvlan(behind(macs({1, 2}), name32("floor")), 2), 0); });
    EXPECT_EQ(lines, "\n\n------qvlan--times=0-----------\n\n\n\n------qvlan--times=1-----------\n\n");
    Bytes message = macs({1, 2});
    message.resize(12 + 65);
    put(message, 12, {1, 0, 0x0A, 0x00, 0x14, 0x00, 0x2C, 0x01, 0x2D, 0x01, 0x2E, 0x01});
    put(message, 24, "1,2,3");
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 141);
    EXPECT_EQ(items[0].ap_num, 2);
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(text_of(first->p_qvlan_name), "floor");
    EXPECT_EQ(text_of(second->p_qvlan_name), "floor");
    EXPECT_EQ(note_types(), (std::vector<int>{CONFIG_SQL_QVLAN_NAME, CONFIG_SQL_QVLAN_NAME}));
}

TEST_F(WtpAdvance, a_vlan_binding_is_answered_after_the_work)
{
    APCONFIG* node = ap();
    Bytes reply;
    lines_of([&] { reply = exchange(SET_AP_CONFIG_QVLAN_REQ, 1, behind(macs({1}), name32("floor"))); });
    EXPECT_EQ(reply, response_to(141));
    EXPECT_EQ(take_items().size(), 1u);
    EXPECT_EQ(text_of(node->p_qvlan_name), "floor");
}

TEST_F(WtpAdvance, a_vlan_name_that_is_empty_cut_short_or_unknown_binds_nothing)
{
    APCONFIG* node = ap();
    EXPECT_EQ(qvlan(behind(macs({1}), name32(""))), 0);
    EXPECT_EQ(qvlan(behind(macs({1}), name32(NO_POLICY))), 0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(qvlan(behind(macs({1}), name32("gone"))), 255); }), "E|.\n");
    EXPECT_EQ(qvlan(cut(behind(macs({1}), name32("floor")), 37)), 255);
    EXPECT_EQ(qvlan(behind(macs({1}), name32("floor")), 0), 255);
    EXPECT_EQ(qvlan(behind(macs({1}), name32("floor")), 65535), 255);
    EXPECT_EQ(set_wtp_qvlan_config(nullptr), 255);
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->p_qvlan_name), "old vlan");
    EXPECT_EQ(exchange(SET_AP_CONFIG_QVLAN_REQ, 0, {}), response_to(141));
}

// --- deletion --------------------------------------------------------------------------------------------------------

TEST_F(WtpAdvance, deleted_names_leave_four_of_the_five_tables)
{
    run(policy_db, "insert into wl_deploy_policy values(1,'night',3,4,5)");
    run(policy_db, "insert into alarm_policy(name) values('kept')");
    Bytes body = name32("floor");
    append(body, names("night", "loud", "staff", "none of them"));
    EXPECT_EQ(exchange(SET_ADVANCE_POLICY_REQ, 5, body), response_to(4)) << "type 5";
    EXPECT_EQ(cell(policy_db, "select count(*) from reboot_policy"), "0");
    EXPECT_EQ(cell(policy_db, "select count(*) from password_policy"), "0");
    EXPECT_EQ(rows(policy_db, "select name from wl_deploy_policy"), (SqlRows{{"hall"}}));
    EXPECT_EQ(rows(policy_db, "select name from alarm_policy"), (SqlRows{{"kept"}}));
    EXPECT_EQ(rows(policy_db, "select name from qvlan_policy"), (SqlRows{{"floor"}}));
}

TEST_F(WtpAdvance, a_deletion_is_answered_before_the_work)
{
    const WtpRequest request = wtp_request(SET_ADVANCE_POLICY_REQ, 1, name32("night"));
    at_the_answer_of([&](int fd) { EXPECT_EQ(del_advance_policy(fd, request.get()), 0); },
                     [&] { EXPECT_EQ(cell(policy_db, "select count(*) from reboot_policy"), "1"); });
    EXPECT_EQ(cell(policy_db, "select count(*) from reboot_policy"), "0");
}

TEST_F(WtpAdvance, a_deleted_policy_stays_bound)
{
    APCONFIG* node = ap();
    set_text(node->p_reboot_name, "night");
    EXPECT_EQ(exchange(SET_ADVANCE_POLICY_REQ, 1, name32("night")), response_to(4));
    EXPECT_EQ(text_of(node->p_reboot_name), "night");
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(WtpAdvance, a_deletion_must_hold_exactly_its_names_and_is_answered_all_the_same)
{
    const Bytes one = name32("night");
    Bytes two = one;
    append(two, one);
    const struct {
        Bytes body;
        int ap_num;
    } bad[] = {{one, 0}, {cut(one, 31), 1}, {two, 1}, {one, 2}, {{}, 0}, {cut(two, 63), 2}};
    for (const auto& request : bad)
        EXPECT_EQ(exchange(SET_ADVANCE_POLICY_REQ, request.ap_num, request.body), response_to(4));
    EXPECT_EQ(cell(policy_db, "select count(*) from reboot_policy"), "1");
    int result = 0;
    EXPECT_EQ(written_by([&](int fd) { result = del_advance_policy(fd, nullptr); }), response_to(4));
    EXPECT_EQ(result, 255);
}

TEST_F(WtpAdvance, the_result_of_a_deletion_is_that_of_the_last_table)
{
    const WtpRequest request = wtp_request(SET_ADVANCE_POLICY_REQ, 1, name32("night"));
    run(policy_db, "drop table reboot_policy");
    int result = -1;
    EXPECT_EQ(lines_of([&] { written_by([&](int fd) { result = del_advance_policy(fd, request.get()); }); }),
              "E|delete error,ret=1,errmsg=no such table: reboot_policy\n");
    EXPECT_EQ(result, 0);
    run(policy_db, "drop table wl_deploy_policy");
    lines_of([&] { written_by([&](int fd) { result = del_advance_policy(fd, request.get()); }); });
    EXPECT_EQ(result, 255);
}

TEST_F(WtpAdvance, with_the_database_files_closed_statements_fail_as_misuse_and_requests_are_still_answered)
{
    APCONFIG* node = ap();
    lines_of([&] { EXPECT_EQ(exchange(SET_AC_SQL_CLOSED_REQ, 0, {}), Bytes()); });
    Bytes reply;
    std::string lines = lines_of([&] { reply = exchange(SET_ADVANCE_POLICY_REQ, 1, name32("night")); });
    EXPECT_EQ(reply, response_to(4));
    std::string expected;
    for (int table = 0; table < 4; table++)
        expected += "E|delete error,ret=21,errmsg=bad parameter or other API misuse\n";
    EXPECT_EQ(lines, expected);
    lines = lines_of(
        [&] { reply = exchange(SET_AP_CONFIG_ADVANCE_REQ, 1, behind(macs({1}), names("night", "", "", ""))); });
    EXPECT_EQ(reply, response_to(4));
    EXPECT_EQ(lines, "E|select error,ret=21,errmsg=bad parameter or other API misuse\nE|.\n");
    EXPECT_EQ(text_of(node->p_reboot_name), "old reboot");
}
