// Requests on the controller as a whole: counts, its address, the time, dumps, the list of all APs.
#include "main/wtp_daemon.h"

#include "ac_wtp_protocol/ac_joined_list.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "main/wtp_report.h"
#include "wtp_kit.h"

using namespace apconfig_test;

class WtpDaemon : public WtpWorld {
protected:
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
    void queue_item(std::vector<UINT8> bytes)
    {
        ACWTP_MSG_TABLE item = {};
        item.type = SET_AP_REBOOT_REQ;
        item.ap_num = 1;
        item.flags = CGI_MSG;
        item.length = static_cast<UINT32>(bytes.size());
        item.msg = reinterpret_cast<char*>(bytes.data());
        ASSERT_EQ(acmsg_to_acprotocol(&item, MSG_ADD_TAIL), 0);
    }
};

// --- counts ----------------------------------------------------------------------------------------------------------

TEST_F(WtpDaemon, the_counts_of_an_empty_table_are_zeros_in_a_header_of_type_35)
{
    EXPECT_EQ(exchange(GET_WTP_NUM_REQ, 0, {}), wtp_head(0, 0, 35, 0, 0));
}

TEST_F(WtpDaemon, the_counts_stand_in_the_fields_of_the_header)
{
    make_record(test_mac(1), 1, AP_LINK_UP)->info_client.num = 3;
    make_record(test_mac(2), 1, AP_UPGRADING)->info_client.num = 4;
    make_record(test_mac(3), 1, AP_LINK_DOWN)->info_client.num = 60;
    make_record(test_mac(4), 1, AP_UPGRAD_SUCCESS)->info_client.num = 60;
    EXPECT_EQ(exchange(GET_WTP_NUM_REQ, 0, {}), wtp_head(4, 2, 35, 7, 0));
}

TEST_F(WtpDaemon, of_the_clients_the_low_16_bits_are_told)
{
    make_record(test_mac(1), 1, AP_LINK_UP)->info_client.num = 65530;
    make_record(test_mac(2), 1, AP_LINK_UP)->info_client.num = 8;
    EXPECT_EQ(exchange(GET_WTP_NUM_REQ, 0, {}), wtp_head(2, 2, 35, 2, 0));
}

TEST_F(WtpDaemon, counts_that_are_taken_give_0_and_others_255_after_a_line)
{
    int result = -1;
    written_by([&](int fd) { result = get_wtp_num(fd, nullptr); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(get_wtp_num(-1, nullptr), 255); }), "E|send response error\n");
}

// --- a new address ---------------------------------------------------------------------------------------------------

TEST_F(WtpDaemon, before_its_address_changes_the_controller_forgets_all_aps_and_all_work_for_them)
{
    make_record(test_mac(1), 1, AP_LINK_UP);
    make_record(test_mac(2), 1, AP_LINK_DOWN);
    take_notes();
    join(1);
    queue_item({2, 0, 0, 0, 0, 1, 0});
    const Bytes sent_bytes = {2, 0, 0, 0, 0, 1, 0};
    ACWTP_MSG_TABLE sent_item = {};
    sent_item.type = SET_AP_REBOOT_REQ;
    sent_item.ap_num = 1;
    sent_item.flags = CGI_MSG;
    sent_item.length = 7;
    sent_item.msg = reinterpret_cast<char*>(const_cast<UINT8*>(sent_bytes.data()));
    ASSERT_EQ(acwtp_msged_list_add(&sent_item, 5, MSG_ADD_TAIL), 0);
    ASSERT_NE(acwtp_msged_list_find(5), nullptr);

    EXPECT_EQ(exchange(SET_AC_LAN_IP_REQ, 0, {}), response_to(37));
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 0u);
    EXPECT_EQ(apconfig_find(test_mac(1).data()), nullptr);
    EXPECT_FALSE(joined(1));
    EXPECT_EQ(acwtp_msged_list_find(5), nullptr);
    EXPECT_TRUE(take_notes().empty()) << "the database keeps the APs";
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1u) << "the notice alone";
    EXPECT_EQ(items[0].type, 37);
    EXPECT_EQ(items[0].ap_num, 1);
    EXPECT_EQ(items[0].num_flag, 0);
    EXPECT_EQ(items[0].flags, 1);
    EXPECT_EQ(items[0].msg, (Bytes{'1', '1', '1', '1'}));
}

TEST_F(WtpDaemon, a_new_address_is_answered_when_all_is_forgotten_and_nothing_announced)
{
    make_record(test_mac(1), 1, AP_LINK_UP);
    join(1);
    queue_item({2, 0, 0, 0, 0, 1, 0});
    int result = -1;
    at_the_answer_of([&](int fd) { result = set_ac_lan_ip(fd); },
                     [&] {
                         EXPECT_EQ(apconfig_find(test_mac(1).data()), nullptr);
                         EXPECT_FALSE(joined(1));
                         EXPECT_TRUE(take_items().empty());
                     });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(take_items().size(), 1u);
}

TEST_F(WtpDaemon, a_notice_that_the_queue_refuses_is_answered_all_the_same)
{
    for (auto* handler : {set_ac_lan_ip, set_ap_time}) {
        int result = -1;
        Bytes reply;
        ac_alloc_fail_after(0);
        EXPECT_EQ(lines_of([&] { reply = written_by([&](int fd) { result = handler(fd); }); }),
                  "E|Add new node failed.\nE|Insert list failed.");
        ac_alloc_fail_after(-1);
        EXPECT_EQ(reply.size(), 20u);
        EXPECT_EQ(result, 1001);
        EXPECT_TRUE(take_items().empty());
    }
}

TEST_F(WtpDaemon, the_notice_of_a_new_address_ends_in_the_protocols_error_line)
{
    exchange(SET_AC_LAN_IP_REQ, 0, {});
    EXPECT_EQ(lines_of([] { acprotocol_signal_handle(); }), "E|msg_type error msg0:37\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(WtpDaemon, the_time_is_answered_before_it_is_announced)
{
    at_the_answer_of([](int fd) { EXPECT_EQ(set_ap_time(fd), 0); }, [&] { EXPECT_TRUE(take_items().empty()); });
    EXPECT_EQ(take_items().size(), 1u);
}

TEST_F(WtpDaemon, the_time_is_announced_behind_the_work_that_waits)
{
    queue_item({2, 0, 0, 0, 0, 1, 0});
    int result = -1;
    EXPECT_EQ(written_by([&](int fd) { result = set_ap_time(fd); }), response_to(38));
    EXPECT_EQ(result, 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[1].type, 38);
    EXPECT_EQ(items[1].ap_num, 1);
    EXPECT_EQ(items[1].num_flag, 0);
    EXPECT_EQ(items[1].flags, 1);
    EXPECT_EQ(items[1].msg, (Bytes{'1', '1', '1', '1'}));
}

// --- dumps -----------------------------------------------------------------------------------------------------------

TEST_F(WtpDaemon, debug_type_1_answers_with_type_151_and_dumps_the_joined_list)
{
    join(1);
    EXPECT_EQ(exchange(0x0196, 0, {}), response_to(150));
    EXPECT_NE(read_file("/var/tag.cfg"), "");
}

TEST_F(WtpDaemon, the_debug_request_is_answered_before_the_dump)
{
    join(1);
    at_the_answer_of([](int fd) { EXPECT_EQ(set_ac_debug(fd, 1), 0); },
                     [&] { EXPECT_EQ(read_file("/var/tag.cfg"), ""); });
    EXPECT_NE(read_file("/var/tag.cfg"), "");
}

TEST_F(WtpDaemon, another_debug_type_is_only_answered)
{
    join(1);
    for (int type : {0x0096, 0x0296, 0x0396, 0xFF96})
        EXPECT_EQ(exchange(type, 0, {}), response_to(150));
    EXPECT_EQ(read_file("/var/tag.cfg"), "");
}

// --- the list of all APs ---------------------------------------------------------------------------------------------

TEST_F(WtpDaemon, the_list_of_an_empty_table_has_no_rows_and_no_bytes)
{
    EXPECT_EQ(exchange(GET_AP_ALL_REQ, 0, {}), wtp_head(0, 0, 24, 0, 0));
}

TEST_F(WtpDaemon, the_list_of_all_aps_has_type_24_the_row_count_and_528_bytes_a_row)
{
    APCONFIG* node = make_record(test_mac(1), 1, AP_LINK_UP);
    set_text(node->info_basic.apname.ap_name, "lobby");
    node->info_basic.apname.ap_name_length = 5;
    set_text(node->info_basic.version.version, "V1.0.0");
    node->info_basic.version.version_length = 6;
    node->main_ssid_client[0] = 2;
    node->main_ssid_client[1] = 3;
    Bytes row(528);
    put(row, 0, text_of(node->product_name));
    put(row, 33, "lobby");
    put(row, 68, {127, 0, 0, 1, 0x02, 0, 0, 0, 0, 1, 0, 5, 0, 32, 0});
    put(row, 83, "ssid0");
    put(row, 83 + 33, "ssid1");
    put(row, 479, {6, 0, 20});
    put(row, 486, "V1.0.0");
    put(row, 518, {1, 0, 0, 1, 0, 2, 0, 1});
    Bytes expected = wtp_head(0, 0, 24, 1, 528);
    append(expected, row);
    EXPECT_EQ(exchange(GET_AP_ALL_REQ, 0, {}), expected);
}

TEST_F(WtpDaemon, an_ap_without_its_first_radio_is_missing_from_the_list)
{
    for (int number = 1; number <= 3; number++)
        make_record(test_mac(number), 1, AP_LINK_DOWN);
    apconfig_find_rf_node(&apconfig_find(test_mac(2).data())->list_rf, 0)->rf.RF_basic_setting |= 1;
    const Bytes reply = exchange(GET_AP_ALL_REQ, 0, {});
    ASSERT_EQ(reply.size(), 20u + 2 * 528);
    EXPECT_EQ(Bytes(reply.begin(), reply.begin() + 20), wtp_head(0, 0, 24, 2, 2 * 528));
}

TEST_F(WtpDaemon, the_bytes_of_the_list_are_counted_and_a_failure_is_minus_1)
{
    make_record(test_mac(1), 1, AP_LINK_UP);
    int result = 0;
    written_by([&](int fd) { result = acmsg_get_all_ap_config(fd); });
    EXPECT_EQ(result, 548);
    EXPECT_EQ(lines_of([&] { result = acmsg_get_all_ap_config(-1); }), "E|send response error\n");
    EXPECT_EQ(result, -1);
    ac_alloc_fail_after(0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(written_by([&](int fd) { result = acmsg_get_all_ap_config(fd); }), Bytes()); }),
              "E|malloc failed\n");
    EXPECT_EQ(result, -1);
}

TEST_F(WtpDaemon, the_list_of_online_clients_is_not_served_yet)
{
    Bytes reply;
    EXPECT_EQ(lines_of([&] { reply = exchange(GET_AP_CLINET_REQ, 0, {}); }), "E|msg error\n");
    EXPECT_EQ(reply, Bytes());
}
