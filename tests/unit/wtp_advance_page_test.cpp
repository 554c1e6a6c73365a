// The advanced page as the web interface reads it.
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "main/wtp_advance.h"
#include "wtp_kit.h"

using namespace apconfig_test;

class WtpAdvancePage : public WtpWorld {
protected:
    // The page in a zeroed buffer of that size.
    Bytes page(std::size_t size = 80000)
    {
        Bytes buf(size);
        int len = -1;
        EXPECT_EQ(get_wtp_advace_config_buf(buf, &len), 0);
        EXPECT_GE(len, 20);
        buf.resize(static_cast<std::size_t>(len));
        return buf;
    }
    void policies()
    {
        run(policy_db, "insert into alarm_policy values(1,'loud',1,'','',300,1,0,7,40,65536,465,1)");
        run(policy_db, "insert into reboot_policy values(1,1,'night',1,2,90)");
        run(policy_db, "insert into reboot_policy values(1,1,'noon',1,2,90)");
        run(policy_db, "insert into password_policy values(1,'staff','root','pw',1)");
        run(policy_db, "insert into wl_deploy_policy values(1,'hall',3,4,5)");
        run(policy_db, "insert into qvlan_policy values(1,'floor',1,10,20,300,301,302,'1,2,3')");
    }
    // Five counts and the names of policies().
    static Bytes head_of_policies()
    {
        Bytes bytes = {1, 0, 0, 0, 2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
        for (const char* name : {"loud", "noon", "night", "staff", "hall", "floor"})
            append(bytes, name32(name));
        return bytes;
    }
};

// The 707 bytes of an AP of type 1 as make_record makes it.
static Bytes row_of(APCONFIG* node)
{
    Bytes row(707);
    put(row, 0, text_of(node->product_name));
    put(row, 33, "lobby");
    put(row, 66, {0x02, 0, 0, 0, 0, 1});
    put(row, 73, "ssid0");
    put(row, 73 + 33, "ssid1");
    put(row, 469, {6, 0, 1});
    put(row, 472, "night");
    put(row, 505, "loud");
    put(row, 538, "staff");
    put(row, 571, "hall");
    put(row, 604, "floor");
    put(row, 637, "guests");
    put(row, 670, "fast");
    put(row, 703, {0, 2, 0, 1});
    return row;
}

static APCONFIG* dressed(APCONFIG* node)
{
    set_text(node->info_basic.apname.ap_name, "lobby");
    node->info_basic.apname.ap_name_length = 5;
    node->info_basic.led_status = 6;
    set_text(node->p_reboot_name, "night");
    set_text(node->p_alarm_name, "loud");
    set_text(node->p_pass_name, "staff");
    set_text(node->p_wl_deploy_name, "hall");
    set_text(node->p_qvlan_name, "floor");
    set_text(node->p_wl_basic_policy_name[0], "guests");
    set_text(node->p_wl_rf_policy_name[0], "fast");
    return node;
}

TEST_F(WtpAdvancePage, an_empty_page_is_five_zero_counts)
{
    EXPECT_EQ(page(), Bytes(20));
}

TEST_F(WtpAdvancePage, counts_names_and_aps_follow_one_another)
{
    policies();
    APCONFIG* node = dressed(make_record(test_mac(1), 1, AP_LINK_UP));
    EXPECT_EQ(page(), [&] {
        Bytes expected = head_of_policies();
        append(expected, row_of(node));
        return expected;
    }());
}

TEST_F(WtpAdvancePage, names_of_32_bytes_stand_one_behind_the_other)
{
    const auto full = [](char c) { return std::string(32, c); };
    run(policy_db, "insert into alarm_policy(name) values('" + full('a') + "')");
    run(policy_db, "insert into reboot_policy(name) values('" + full('b') + "')");
    run(policy_db, "insert into password_policy(name) values('" + full('c') + "')");
    run(policy_db, "insert into wl_deploy_policy(name) values('" + full('d') + "')");
    run(policy_db, "insert into qvlan_policy(name) values('" + full('e') + "')");
    Bytes expected = {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    for (char c : {'a', 'b', 'c', 'd', 'e'})
        append(expected, name32(full(c)));
    EXPECT_EQ(page(), expected);
}

TEST_F(WtpAdvancePage, an_ap_without_its_first_radio_leaves_an_empty_row_at_the_end)
{
    APCONFIG* node = dressed(make_record(test_mac(1), 1, AP_LINK_UP));
    APCONFIG* bare = make_record(test_mac(2), 1, AP_LINK_UP);
    apconfig_find_rf_node(&bare->list_rf, 0)->rf.RF_basic_setting |= 1;
    Bytes expected(20);
    append(expected, row_of(node));
    append(expected, Bytes(707));
    Bytes got;
    EXPECT_EQ(lines_of([&] { got = page(); }), "E|");
    EXPECT_EQ(got, expected);
}

TEST_F(WtpAdvancePage, a_kind_that_cannot_be_read_shows_no_policies)
{
    policies();
    run(policy_db, "drop table reboot_policy");
    Bytes got;
    EXPECT_EQ(lines_of([&] { got = page(); }), "E|select error,ret=1,errmsg=no such table: reboot_policy\n");
    Bytes expected = {1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0};
    for (const char* name : {"loud", "staff", "hall", "floor"})
        append(expected, name32(name));
    EXPECT_EQ(got, expected);
}

TEST_F(WtpAdvancePage, a_buffer_that_holds_the_names_holds_as_many_aps_as_fit)
{
    policies();
    make_record(test_mac(1), 1, AP_LINK_UP);
    make_record(test_mac(2), 1, AP_LINK_UP);
    EXPECT_EQ(page(212 + 2 * 707).size(), 212u + 2 * 707);
    EXPECT_EQ(page(212 + 2 * 707 - 1).size(), 212u + 707);
    EXPECT_EQ(page(212), head_of_policies());
}

TEST_F(WtpAdvancePage, names_that_do_not_fit_are_a_line_and_no_page)
{
    policies();
    Bytes buf(211);
    int len = 7;
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(get_wtp_advace_config_buf(buf, &len), 255); }), "E|too many policies\n");
    EXPECT_EQ(len, 0);
}

TEST_F(WtpAdvancePage, the_page_is_answered_with_type_22)
{
    policies();
    APCONFIG* node = dressed(make_record(test_mac(1), 1, AP_LINK_UP));
    Bytes expected = wtp_head(0, 0, 22, 0, 212 + 707);
    append(expected, head_of_policies());
    append(expected, row_of(node));
    EXPECT_EQ(exchange(GET_AP_CONFIG_ADVANCE_REQ, 0, {}), expected);
}

TEST_F(WtpAdvancePage, beside_the_aps_the_answer_has_room_for_77100_bytes)
{
    make_record(test_mac(1), 1, AP_LINK_UP);
    run(policy_db, "with recursive n(i) as (select 1 union all select i+1 from n where i<2408) "
                   "insert into wl_deploy_policy(name) select i from n");
    EXPECT_EQ(exchange(GET_AP_CONFIG_ADVANCE_REQ, 0, {}).size(), 20u + 20 + 2408 * 32 + 707);
    run(policy_db, "insert into wl_deploy_policy(name) values('one more')");
    EXPECT_EQ(exchange(GET_AP_CONFIG_ADVANCE_REQ, 0, {}).size(), 20u + 20 + 2409 * 32) << "it stands in the AP's place";
}

TEST_F(WtpAdvancePage, names_that_do_not_fit_the_answer_leave_it_empty_after_a_line)
{
    run(policy_db, "with recursive n(i) as (select 1 union all select i+1 from n where i<2408) "
                   "insert into wl_deploy_policy(name) select i from n");
    EXPECT_EQ(exchange(GET_AP_CONFIG_ADVANCE_REQ, 0, {}).size(), 20u + 20 + 2408 * 32);
    run(policy_db, "insert into wl_deploy_policy(name) values('one more')");
    Bytes reply;
    EXPECT_EQ(lines_of([&] { reply = exchange(GET_AP_CONFIG_ADVANCE_REQ, 0, {}); }), "E|too many policies\n");
    EXPECT_EQ(reply, wtp_head(0, 0, 22, 0, 0));
}

TEST_F(WtpAdvancePage, the_result_is_255_where_it_worked_and_0_after_an_empty_answer)
{
    int result = -1;
    EXPECT_EQ(written_by([&](int fd) { result = get_wtp_advance_config(fd); }).size(), 40u);
    EXPECT_EQ(result, 255);
    ac_alloc_fail_after(0);
    EXPECT_EQ(lines_of([&] {
                  EXPECT_EQ(written_by([&](int fd) { result = get_wtp_advance_config(fd); }), wtp_head(0, 0, 22, 0, 0));
              }),
              "E|malloc failed\n");
    EXPECT_EQ(result, 0);
}
