// Small changes to one AP, and the deletion of APs.
#include "main/wtp_simple.h"

#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "wtp_kit.h"

using namespace apconfig_test;

class WtpSimple : public WtpWorld {
protected:
    APCONFIG* ap(UINT8 status = AP_LINK_UP, const char* version = "1", int number = 1)
    {
        APCONFIG* node = make_record(test_mac(number), 67, status, version);
        take_notes();
        return node;
    }
    int remark(const Bytes& body, int ap_num = 1)
    {
        return set_wtp_remark(wtp_request(SET_AP_REMARK_REQ, ap_num, body).get());
    }
    int limit(const Bytes& body, int ap_num = 1)
    {
        return set_wtp_limit(wtp_request(SET_AP_CLI_LIMIT, ap_num, body).get());
    }
    int channel(const Bytes& body, int ap_num = 1)
    {
        return set_wtp_channel(wtp_request(SET_AP_CHANNEL, ap_num, body).get());
    }
    int remove(const Bytes& body, int ap_num) { return set_ap_delete(wtp_request(DELETE_AP_REQ, ap_num, body).get()); }
    Bytes named(const std::string& name)
    {
        Bytes body = macs({1});
        append(body, name32(name));
        return body;
    }
    void join(int number)
    {
        ACWTP_JOIN_LIST entry = {};
        const Mac mac = test_mac(number);
        memcpy(entry.ap_mac, mac.data(), mac.size());
        entry.ap_status = 1;
        entry.current_status = AC_RUNNING;
        ASSERT_EQ(insert_to_wtp_listinfo(&entry), 0);
    }
    bool joined(int number) { return acwtp_joined_node_find(test_mac(number).data(), 0) != nullptr; }
    bool known(int number) { return apconfig_find(test_mac(number).data()) != nullptr; }
};

// --- the name --------------------------------------------------------------------------------------------------------

TEST_F(WtpSimple, a_new_name_goes_to_the_ap_and_into_the_table)
{
    APCONFIG* node = ap();
    EXPECT_EQ(remark(named("lobby")), 0);
    Bytes message(39);
    put(message, 0, {0x02, 0, 0, 0, 0, 1});
    put(message, 6, "lobby");
    put(message, 38, {5});
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 10);
    EXPECT_EQ(items[0].ap_num, 1);
    EXPECT_EQ(items[0].num_flag, 0);
    EXPECT_EQ(items[0].flags, 1);
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(raw(node->info_basic.apname), Bytes(message.begin() + 6, message.end()));
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_APNAME, 0, test_mac(1)}}));
}

TEST_F(WtpSimple, a_name_of_32_bytes_without_a_terminator_has_length_32)
{
    APCONFIG* node = ap();
    EXPECT_EQ(remark(named(std::string(32, 'x'))), 0);
    EXPECT_EQ(node->info_basic.apname.ap_name_length, 32);
    EXPECT_EQ(text_of(node->info_basic.apname.ap_name), std::string(32, 'x'));
}

TEST_F(WtpSimple, bytes_behind_a_names_end_belong_to_the_name)
{
    APCONFIG* node = ap();
    Bytes body = named("lobby");
    put(body, 12, "roof");
    EXPECT_EQ(remark(body), 0);
    Bytes message(39);
    put(message, 0, {0x02, 0, 0, 0, 0, 1});
    put(message, 6, "lobby");
    put(message, 12, "roof");
    put(message, 38, {5});
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].msg, message);
    EXPECT_EQ(raw(node->info_basic.apname), Bytes(message.begin() + 6, message.end()));
    EXPECT_EQ(remark(body), 255);
    EXPECT_EQ(remark(named("lobby")), 0) << "another name, though it reads the same";
}

TEST_F(WtpSimple, a_name_that_the_queue_refuses_is_in_the_table_all_the_same)
{
    APCONFIG* node = ap();
    const WtpRequest request = wtp_request(SET_AP_REMARK_REQ, 1, named("lobby"));
    ac_alloc_fail_after(0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_remark(request.get()), 1001); }), "E|malloc failed\n");
    ac_alloc_fail_after(-1);
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(text_of(node->info_basic.apname.ap_name), "lobby");
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_APNAME, 0, test_mac(1)}}));
}

TEST_F(WtpSimple, the_name_that_the_ap_has_gets_its_response_and_nothing_else_happens)
{
    APCONFIG* node = ap();
    node->info_basic.apname = from_bytes<CONFIG_APNAME>([] {
        Bytes name(33);
        put(name, 0, "lobby");
        put(name, 32, {5});
        return name;
    }());
    EXPECT_EQ(remark(named("lobby")), 255);
    EXPECT_EQ(exchange(SET_AP_REMARK_REQ, 1, named("lobby")), response_to(10));
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
    node->info_basic.apname.ap_name_length = 4;
    EXPECT_EQ(remark(named("lobby")), 0) << "all 33 bytes are compared";
}

TEST_F(WtpSimple, a_name_needs_an_ap_count_and_all_its_bytes)
{
    ap();
    EXPECT_EQ(remark(named("lobby"), 0), 255);
    for (std::size_t length = 0; length < 38; length++)
        EXPECT_EQ(remark(cut(named("lobby"), length)), 255);
    EXPECT_EQ(set_wtp_remark(nullptr), 255);
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(remark(named("lobby"), 3), 0) << "the one AP of the body, whatever the count";
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].ap_num, 1);
}

TEST_F(WtpSimple, a_name_for_an_unknown_ap_is_refused_silently)
{
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(remark(named("lobby")), 255); }), "");
    EXPECT_TRUE(take_items().empty());
}

TEST_F(WtpSimple, a_name_for_an_ap_that_is_away_lifts_its_version)
{
    APCONFIG* node = ap(AP_LINK_DOWN, "0");
    EXPECT_EQ(remark(named("lobby")), 0);
    EXPECT_EQ(version_of(node), "1");
    EXPECT_EQ(take_notes(),
              (std::vector<FlashNote>{{CONFIG_SQL_APNAME, 0, test_mac(1)}, {CONFIG_SQL_VERSION, 0, test_mac(1)}}));
}

TEST_F(WtpSimple, a_name_is_answered_before_the_work)
{
    EXPECT_EQ(exchange(SET_AP_REMARK_REQ, 1, named("lobby")), response_to(10)) << "an unknown AP is answered too";
    ap();
    EXPECT_EQ(exchange(SET_AP_REMARK_REQ, 1, named("lobby")), response_to(10));
    EXPECT_EQ(take_items().size(), 1u);
}

// --- limit and channel -----------------------------------------------------------------------------------------------

TEST_F(WtpSimple, a_client_limit_goes_to_the_ap_and_into_the_table)
{
    APCONFIG* node = ap();
    const Bytes body = {0x02, 0, 0, 0, 0, 1, 9, 17, 0xEE};
    EXPECT_EQ(exchange(SET_AP_CLI_LIMIT, 1, body), response_to(44));
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 44);
    EXPECT_EQ(items[0].ap_num, 1);
    EXPECT_EQ(items[0].num_flag, 0);
    EXPECT_EQ(items[0].flags, 1);
    EXPECT_EQ(items[0].msg, (Bytes{0x02, 0, 0, 0, 0, 1, 9, 17}));
    EXPECT_EQ(apconfig_find_wlbasic_node(&node->list_wl, 9)->wl_basic.client_number, 17);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_CLI_LIMIT, 1, test_mac(1)}}));
}

TEST_F(WtpSimple, a_channel_goes_to_the_ap_and_into_the_table)
{
    APCONFIG* node = ap();
    const Bytes body = {0x02, 0, 0, 0, 0, 1, 1, 2, 149, 0xEE};
    EXPECT_EQ(exchange(SET_AP_CHANNEL, 1, body), response_to(45));
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].type, 45);
    EXPECT_EQ(items[0].msg, (Bytes{0x02, 0, 0, 0, 0, 1, 1, 2, 149}));
    const CONFIG_WL_RF& rf = apconfig_find_rf_node(&node->list_rf, 1)->rf;
    EXPECT_EQ(rf.channel, 149);
    EXPECT_EQ(rf.expand_channel, 2);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_CHANNEL, 1, test_mac(1)}}));
}

TEST_F(WtpSimple, an_item_is_of_its_requests_type_sub_flag_included)
{
    ap();
    EXPECT_EQ(set_wtp_remark(wtp_request(0x030A, 1, named("lobby")).get()), 0);
    EXPECT_EQ(set_wtp_limit(wtp_request(0x032C, 1, {0x02, 0, 0, 0, 0, 1, 9, 17}).get()), 0);
    EXPECT_EQ(set_wtp_channel(wtp_request(0x032D, 1, {0x02, 0, 0, 0, 0, 1, 1, 2, 149}).get()), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].type, 0x030A);
    EXPECT_EQ(items[1].type, 0x032C);
    EXPECT_EQ(items[2].type, 0x032D);
    EXPECT_EQ(take_notes().size(), 3u);
}

TEST_F(WtpSimple, limit_and_channel_are_for_exactly_one_ap_and_need_all_their_bytes)
{
    ap();
    const Bytes limit_body = {0x02, 0, 0, 0, 0, 1, 9, 17};
    const Bytes channel_body = {0x02, 0, 0, 0, 0, 1, 1, 2, 149};
    for (int ap_num : {0, 2}) {
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(limit(limit_body, ap_num), 255); }), "E|");
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(channel(channel_body, ap_num), 255); }), "E|");
    }
    for (std::size_t length = 0; length < 8; length++)
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(limit(cut(limit_body, length)), 255); }), "E|");
    for (std::size_t length = 0; length < 9; length++)
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(channel(cut(channel_body, length)), 255); }), "E|");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_limit(nullptr), 255); }), "E|");
    EXPECT_TRUE(take_items().empty());
    EXPECT_EQ(limit(limit_body), 0);
    EXPECT_EQ(channel(channel_body), 0);
}

TEST_F(WtpSimple, lines_that_say_nothing_else_name_the_request_that_failed)
{
    ap();
    const auto starts_with = [](const std::string& out, const std::string& start) {
        EXPECT_EQ(out.compare(0, start.size(), start), 0) << out;
    };
    starts_with(output_of([&] { limit({}); }), "Error->set_wtp_limit(");
    starts_with(output_of([&] { channel({}); }), "Error->set_wtp_channel(");
    starts_with(output_of([&] { remove(macs({9}), 1); }), "Error->set_ap_delete(");
    const WtpRequest request = wtp_request(SET_AP_CHANNEL, 1, {0x02, 0, 0, 0, 0, 1, 1, 2, 149});
    ac_alloc_fail_after(1); // the message is there, the queue's copy isn't
    const std::string out = output_of([&] { set_wtp_channel(request.get()); });
    EXPECT_NE(out.find("Insert list failed.Error->set_wtp_channel("), std::string::npos) << out;
}

TEST_F(WtpSimple, limit_and_channel_for_an_unknown_ap_are_refused_silently)
{
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(limit({0x02, 0, 0, 0, 0, 1, 9, 17}), 255); }), "");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(channel({0x02, 0, 0, 0, 0, 1, 1, 2, 149}), 255); }), "");
    EXPECT_TRUE(take_items().empty());
}

TEST_F(WtpSimple, a_limit_that_the_queue_refuses_leaves_the_table_as_it_is)
{
    APCONFIG* node = ap();
    const WtpRequest request = wtp_request(SET_AP_CLI_LIMIT, 1, {0x02, 0, 0, 0, 0, 1, 9, 17});
    ac_alloc_fail_after(1); // the message is there, the queue's copy isn't
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(set_wtp_limit(request.get()), 1001); }),
              "E|Add new node failed.\nE|Insert list failed.E|");
    ac_alloc_fail_after(-1);
    EXPECT_EQ(apconfig_find_wlbasic_node(&node->list_wl, 9)->wl_basic.client_number, 32);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(WtpSimple, an_ssid_or_radio_that_the_ap_lacks_is_a_line_and_the_note_is_queued)
{
    ap();
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(limit({0x02, 0, 0, 0, 0, 1, 12, 17}), 0); }), "E|node is not exited\n");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(channel({0x02, 0, 0, 0, 0, 1, 7, 2, 149}), 0); }), "E|node is not exited\n");
    EXPECT_EQ(take_notes().size(), 2u);
}

// --- deletion --------------------------------------------------------------------------------------------------------

TEST_F(WtpSimple, deleted_aps_leave_the_joined_list_the_table_and_the_database)
{
    ap(AP_LINK_UP, "1", 1);
    ap(AP_LINK_DOWN, "1", 2);
    ap(AP_LINK_UP, "1", 3);
    join(1);
    join(3);
    EXPECT_EQ(remove(macs({1, 2}), 2), 0);
    EXPECT_FALSE(known(1) || known(2));
    EXPECT_TRUE(known(3) && joined(3));
    EXPECT_FALSE(joined(1));
    EXPECT_EQ(take_notes(),
              (std::vector<FlashNote>{{CONFIG_SQL_DELETE_AP, 0, test_mac(1)}, {CONFIG_SQL_DELETE_AP, 0, test_mac(2)}}));
    EXPECT_TRUE(take_items().empty()) << "the AP itself is told nothing";
}

TEST_F(WtpSimple, one_unknown_ap_among_several_is_a_line_and_the_others_are_deleted)
{
    ap(AP_LINK_UP, "1", 1);
    ap(AP_LINK_UP, "1", 3);
    join(2);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(remove(macs({1, 2, 3}), 3), 0); }), "E|mac is not exited\n");
    EXPECT_FALSE(known(1) || known(3));
    EXPECT_TRUE(joined(2)) << "an AP that is joined and not in the table stays";
}

TEST_F(WtpSimple, a_deletion_needs_all_the_macs_it_counts)
{
    ap(AP_LINK_UP, "1", 1);
    ap(AP_LINK_UP, "1", 2);
    EXPECT_EQ(remove(macs({1, 2}), 0), 255);
    EXPECT_EQ(remove(cut(macs({1, 2}), 11), 2), 255);
    EXPECT_EQ(remove(macs({1, 2}), 3), 255);
    EXPECT_EQ(remove(macs({1, 2}), 65535), 255);
    EXPECT_EQ(set_ap_delete(nullptr), 255);
    EXPECT_TRUE(known(1) && known(2));
    EXPECT_EQ(remove(macs({1, 2}), 1), 0) << "a body may be longer";
    EXPECT_TRUE(!known(1) && known(2));
}

TEST_F(WtpSimple, the_same_ap_twice_is_deleted_once)
{
    ap();
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(remove(macs({1, 1}), 2), 0); }), "E|mac is not exited\n");
    EXPECT_EQ(take_notes().size(), 1u);
}

TEST_F(WtpSimple, a_deletion_is_answered_before_the_work)
{
    EXPECT_EQ(exchange(DELETE_AP_REQ, 0, {}), response_to(16));
    ap();
    EXPECT_EQ(exchange(DELETE_AP_REQ, 1, macs({1})), response_to(16));
    EXPECT_FALSE(known(1));
}
