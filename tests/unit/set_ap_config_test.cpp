// Work items as frames: the wire numbers, and the bytes that leave for one AP, for several and for all.
#include "acwtp_msg/set_ap_config.h"

#include <algorithm>
#include <cstring>

#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "exchange_kit.h"

class SetApConfig : public ExchangeWorld {
protected:
    // A record of type 7 at 127.0.0.1:40000, in the second layout.
    APCONFIG* up(int number) { return make_record(test_mac(number), 7, AP_LINK_UP); }

    AC_RET send(const Work& work)
    {
        const ACWTP_MSG_TABLE item = work.table();
        return set_ap_config(&item, &seq_num);
    }
    AC_RET send_simple(const Work& work)
    {
        const ACWTP_MSG_TABLE item = work.table();
        return send_ap_simple_conf(&item, &seq_num);
    }

    unsigned int seq_num = 4711;
};

// --- wire numbers
// --------------------------------------------------------------------------------------------------------

struct WireRow {
    int request;
    UINT16 msg_type;
};

static constexpr WireRow g_wire_rows[] = {
    {3, 0x0207},   // SET_AP_CONFIG_BASIC_REQ
    {133, 0x0207}, // SET_AP_CONFIG_WL_BASIC_REQ
    {136, 0x0207}, // SET_AP_CONFIG_WL_RF_REQ
    {7, 4},        // SET_AP_REBOOT_REQ
    {8, 5},        // SET_AP_RESTORE_REQ
    {10, 0x0807},  // SET_AP_REMARK_REQ
    {44, 0x0210},  // SET_AP_CLI_LIMIT
    {45, 0x0110},  // SET_AP_CHANNEL
    {46, 0x0410},  // SET_PASSWORD_NAME
    {128, 0x0810}, // SET_WL_DEPLOY_POLICY_NAME
    {141, 0x1010}, // SET_AP_CONFIG_QVLAN_REQ
    {48, 26},      // SET_PORTAL_AD_INFO
    {50, 26},      // SET_PORTAL_AD_INFO_BROADCAST
    {49, 33},      // SET_PORTAL_NO_QOS
    {51, 28},      // DEL_PORTAL_AD_INFO_BROADCAST
    {60, 28},      // DEL_PORTAL_AD_PUT
    {52, 27},      // SET_PORTAL_AD_GLOBAL_INFO_BROADCAST
    {61, 27},      // SET_PORTAL_AD_GLOBAL_INFO
    {57, 25},      // ADD_PORTAL_AD_PUT
    {59, 37},      // MODIFY_PORTAL_AD_PUT
    {67, 29},      // AP_PORTAL_ENABLE
    {70, 29},      // SIGNLE_AP_PORTAL_ENABLE
    {68, 30},      // AP_PORTAL_DISABLE
    {71, 30},      // SIGNLE_AP_PORTAL_DISENABLE
    {73, 34},      // SET_PORTAL_WEIXIN_AUTH
    {130, 42},     // SET_ONLINE_USER_DOWN
};

TEST_F(SetApConfig, each_request_has_its_wire_number_whatever_the_sub_selector_says)
{
    for (const WireRow& row : g_wire_rows) {
        SCOPED_TRACE(row.request);
        EXPECT_EQ(get_configap_msgtype(static_cast<UINT16>(row.request)), row.msg_type);
        EXPECT_EQ(get_configap_msgtype(static_cast<UINT16>(0xFF00 | row.request)), row.msg_type);
    }
}

TEST_F(SetApConfig, an_advanced_setting_and_a_configuration_carry_their_sub_selector_over_message_7)
{
    EXPECT_EQ(get_configap_msgtype(0x0004), 0x0007);
    EXPECT_EQ(get_configap_msgtype(0x0404), 0x0407);
    EXPECT_EQ(get_configap_msgtype(0x8004), 0x8007);
    EXPECT_EQ(get_configap_msgtype(0x0012), 0x0007);
    EXPECT_EQ(get_configap_msgtype(0x0112), 0x0107);
    EXPECT_EQ(get_configap_msgtype(0x2012), 0x2007);
    EXPECT_EQ(get_configap_msgtype(0xFF12), 0xFF07);
}

TEST_F(SetApConfig, any_other_request_has_wire_number_0)
{
    for (int request = 0; request < 256; request++) {
        const bool known = std::any_of(std::begin(g_wire_rows), std::end(g_wire_rows),
                                       [request](const WireRow& row) { return row.request == request; });
        if (known || request == 4 || request == 18) continue;
        EXPECT_EQ(get_configap_msgtype(static_cast<UINT16>(request)), 0) << request;
        EXPECT_EQ(get_configap_msgtype(static_cast<UINT16>(0x0100 | request)), 0) << request;
    }
}

// --- one AP
// --------------------------------------------------------------------------------------------------------------

TEST_F(SetApConfig, a_configuration_to_one_ap_leaves_without_a_crc)
{
    up(0x0102);
    EXPECT_EQ(send({.type = 0x0212, .msg = mac_bytes({0x0102}) + Bytes{0xDE, 0xAD, 0xBE, 0xEF}}), AC_RET_OK);
    EXPECT_EQ(seq_num, 0U);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "127.0.0.1");
    EXPECT_EQ(sent()[0].port, 40000);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x01, 0x02, // MAC
                                   0x04, 0x00,                         // second layout
                                   0x00, 0x00,                         // number 0
                                   0x58, 0x58,                         // ordinary traffic
                                   0x00, 0x00,                         // reserve
                                   0x07, 0x00,                         // type 7
                                   0x88, 0x17,                         // vendor
                                   0x07, 0x02,                         // message 7, sub-type 2
                                   0x04, 0x00, 0x00, 0x00,             // 4 bytes
                                   0x00, 0x00, 0x00, 0x00,             // no CRC
                                   0xDE, 0xAD, 0xBE, 0xEF,
                               }));
}

TEST_F(SetApConfig, a_restart_and_a_restore_of_an_ap_in_the_first_layout)
{
    APCONFIG* ap = up(1);
    ap->proto_vendor = 3;
    ap->ap_type = 6;
    static constexpr UINT8 ip[4] = {10, 1, 2, 3};
    memcpy(ap->ip, ip, sizeof ap->ip);
    ap->port = 5001;
    EXPECT_EQ(send({.type = SET_AP_REBOOT_REQ, .msg = mac_bytes({1}) + Bytes{1}}), AC_RET_OK);
    EXPECT_EQ(send({.type = SET_AP_RESTORE_REQ, .msg = mac_bytes({1}) + Bytes{1}}), AC_RET_OK);
    EXPECT_EQ(seq_num, 1U);
    ASSERT_EQ(sent().size(), 2U);
    EXPECT_EQ(sent()[0].ip, "10.1.2.3");
    EXPECT_EQ(sent()[0].port, 5001);
    EXPECT_EQ(sent()[0].bytes, (Bytes{0x02, 0, 0,    0,    0,    0x01, 0x03, 0, 0, 0, 0x58, 0x58, 0, 0, //
                                      0x06, 0, 0x88, 0x17, 0x04, 0,    0x01, 0, 0, 0, 0,    0,    0, 0, 0x01}));
    EXPECT_EQ(sent()[1].bytes, (Bytes{0x02, 0, 0,    0,    0,    0x01, 0x03, 0, 1, 0, 0x58, 0x58, 0, 0, //
                                      0x06, 0, 0x88, 0x17, 0x05, 0,    0x01, 0, 0, 0, 0,    0,    0, 0, 0x01}));
}

TEST_F(SetApConfig, a_message_of_nothing_but_a_mac_goes_out_as_a_bare_header)
{
    up(1);
    EXPECT_EQ(send({.type = SET_AP_REBOOT_REQ, .msg = mac_bytes({1})}), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, (Bytes{0x02, 0, 0,    0,    0,    0x01, 0x04, 0, 0, 0, 0x58, 0x58, 0, 0,
                                      0x07, 0, 0x88, 0x17, 0x04, 0,    0,    0, 0, 0, 0,    0,    0, 0}));
}

TEST_F(SetApConfig, an_ap_without_a_record_is_refused_with_a_line)
{
    EXPECT_EQ(printed([&] { EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + Bytes{7}}), AC_RET_ERROR); }),
              "! this mac is not exited\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(SetApConfig, an_ap_that_is_down_is_refused_with_a_line)
{
    make_record(test_mac(1), 7, AP_LINK_DOWN);
    EXPECT_EQ(printed([&] { EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + Bytes{7}}), AC_RET_ERROR); }),
              "! this mac's status is linkdown \n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(SetApConfig, any_status_but_down_is_sent_to)
{
    for (UINT8 status = AP_LINK_UP; status <= AP_UPGRAD_FAILED; status++) {
        make_record(test_mac(status), 7, status);
        EXPECT_EQ(send({.type = 3, .msg = mac_bytes({status}) + Bytes{7}}), AC_RET_OK);
    }
    EXPECT_EQ(sent().size(), 6U);
}

TEST_F(SetApConfig, a_send_that_fails_is_dropped_and_the_number_is_reported_all_the_same)
{
    up(1);
    fail_sends(true);
    EXPECT_EQ(printed([&] { EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + Bytes{7}}), AC_RET_OK); }),
              "! msg send error.\n");
    EXPECT_EQ(seq_num, 0U);
}

// --- several APs
// ---------------------------------------------------------------------------------------------------------

TEST_F(SetApConfig, the_same_configuration_to_two_aps_carries_a_crc_and_one_number)
{
    up(0x0102);
    APCONFIG* second = up(3);
    second->proto_vendor = 3;
    second->ap_type = 6;
    second->port = 40001;
    EXPECT_EQ(send({.type = 0x0212, .msg = mac_bytes({0x0102, 3}) + Bytes{0xDE, 0xAD, 0xBE, 0xEF}, .ap_num = 2}),
              AC_RET_OK);
    EXPECT_EQ(seq_num, 0U);
    ASSERT_EQ(sent().size(), 2U);
    EXPECT_EQ(sent()[0].port, 40000);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x01, 0x02, // MAC
                                   0x04, 0x00,                         // second layout
                                   0x00, 0x00,                         // number 0
                                   0x58, 0x58,                         // ordinary traffic
                                   0x00, 0x00,                         // reserve
                                   0x07, 0x00,                         // type 7
                                   0x88, 0x17,                         // vendor
                                   0x07, 0x02,                         // message 7, sub-type 2
                                   0x04, 0x00, 0x00, 0x00,             // 4 bytes
                                   0x5A, 0xA3, 0x9C, 0x7C,             // CRC of the payload
                                   0xDE, 0xAD, 0xBE, 0xEF,
                               }));
    EXPECT_EQ(sent()[1].port, 40001);
    EXPECT_EQ(sent()[1].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x03, // MAC
                                   0x03, 0x00,                         // first layout
                                   0x00, 0x00,                         // the same number
                                   0x58, 0x58,                         //
                                   0x00, 0x00,                         //
                                   0x06, 0x00,                         // type 6
                                   0x88, 0x17,                         //
                                   0x07, 0x02,                         //
                                   0x04, 0x00, 0x00, 0x00,             //
                                   0x5A, 0xA3, 0x9C, 0x7C,             // the same CRC: the header is not covered
                                   0xDE, 0xAD, 0xBE, 0xEF,
                               }));
}

TEST_F(SetApConfig, of_several_aps_the_unknown_and_the_down_get_a_line_and_the_others_the_frame)
{
    up(1);
    make_record(test_mac(0x0203), 7, AP_LINK_DOWN);
    up(4);
    EXPECT_EQ(
        printed([&] {
            EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1, 0x0203, 0xABCD, 4}) + Bytes{7}, .ap_num = 4}), AC_RET_OK);
        }),
        "! node is timeout mac=[02:00:00:00:02:03]\n! node null mac=[02:00:00:00:ab:cd]\n");
    ASSERT_EQ(sent().size(), 2U);
    EXPECT_EQ(sent()[0].bytes[5], 1);
    EXPECT_EQ(sent()[1].bytes[5], 4);
}

TEST_F(SetApConfig, of_several_aps_any_status_but_down_is_sent_to)
{
    for (UINT8 status = AP_LINK_UP; status <= AP_UPGRAD_FAILED; status++)
        make_record(test_mac(status), 7, status);
    EXPECT_EQ(printed([&] { send({.type = 3, .msg = mac_run(1, 6) + Bytes{7}, .ap_num = 6}); }), "");
    EXPECT_EQ(sent().size(), 6U);
}

TEST_F(SetApConfig, several_aps_of_which_none_can_be_sent_to_are_refused_with_one_more_line)
{
    make_record(test_mac(1), 7, AP_LINK_DOWN);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1, 2}) + Bytes{7}, .ap_num = 2}), AC_RET_ERROR);
              }),
              "! node is timeout mac=[02:00:00:00:00:01]\n! node null mac=[02:00:00:00:00:02]\n! no active mac\n");
    EXPECT_EQ(seq_num, 4711U);
    EXPECT_TRUE(sent().empty());
}

TEST_F(SetApConfig, several_aps_whose_datagrams_are_lost_in_the_system_count_as_sent_to)
{
    up(1);
    up(2);
    fail_sends(true);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1, 2}) + Bytes{7}, .ap_num = 2}), AC_RET_OK);
              }),
              "! msg send error.\n! msg send error.\n");
    EXPECT_EQ(seq_num, 0U);
}

// --- all APs
// -------------------------------------------------------------------------------------------------------------

TEST_F(SetApConfig, a_configuration_for_all_goes_to_every_record_with_a_crc_whatever_its_status)
{
    up(1);
    APCONFIG* down = make_record(test_mac(2), 6, AP_LINK_DOWN);
    down->proto_vendor = 3;
    down->port = 40002;
    EXPECT_EQ(send({.type = 0x0404, .msg = {0xDE, 0xAD, 0xBE, 0xEF}, .ap_num = 2, .num_flag = 1}), AC_RET_OK);
    EXPECT_EQ(seq_num, 0U);
    ASSERT_EQ(sent().size(), 2U);
    std::sort(sent().begin(), sent().end(), [](const SentFrame& a, const SentFrame& b) { return a.port < b.port; });
    EXPECT_EQ(sent()[0].port, 40000);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x01,             // MAC
                                   0x04, 0x00, 0x00, 0x00, 0x58, 0x58, 0x00, 0x00, // second layout, number 0
                                   0x07, 0x00, 0x88, 0x17, 0x07, 0x04,             // type 7, message 7, sub-type 4
                                   0x04, 0x00, 0x00, 0x00, 0x5A, 0xA3, 0x9C, 0x7C, // 4 bytes, CRC
                                   0xDE, 0xAD, 0xBE, 0xEF,
                               }));
    EXPECT_EQ(sent()[1].port, 40002);
    EXPECT_EQ(sent()[1].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x02,             //
                                   0x03, 0x00, 0x00, 0x00, 0x58, 0x58, 0x00, 0x00, // first layout, the same number
                                   0x06, 0x00, 0x88, 0x17, 0x07, 0x04,             // type 6
                                   0x04, 0x00, 0x00, 0x00, 0x5A, 0xA3, 0x9C, 0x7C, //
                                   0xDE, 0xAD, 0xBE, 0xEF,
                               }));
}

TEST_F(SetApConfig, a_configuration_for_all_of_an_empty_table_is_sent_to_nobody_and_no_failure)
{
    EXPECT_EQ(printed([&] { EXPECT_EQ(send({.type = 3, .msg = {7}, .num_flag = 1}), AC_RET_OK); }), "");
    EXPECT_EQ(seq_num, 0U);
    EXPECT_TRUE(sent().empty());
}

// --- what is no work
// -----------------------------------------------------------------------------------------------------

TEST_F(SetApConfig, no_item_no_ap_or_no_bytes_are_refused_with_an_empty_line)
{
    up(1);
    const Work no_ap{.type = 3, .msg = mac_bytes({1}) + Bytes{7}, .ap_num = 0};
    const Work no_bytes{.type = 3, .msg = {}};
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(set_ap_config(nullptr, &seq_num), AC_RET_ERROR);
                  EXPECT_EQ(send(no_ap), AC_RET_ERROR);
                  EXPECT_EQ(send(no_bytes), AC_RET_ERROR);
                  EXPECT_EQ(send_ap_simple_conf(nullptr, &seq_num), AC_RET_ERROR);
                  EXPECT_EQ(send_simple(no_ap), AC_RET_ERROR);
                  EXPECT_EQ(send_simple(no_bytes), AC_RET_ERROR);
              }),
              "! \n! \n! \n! \n! \n! \n");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(seq_num, 4711U);
}

TEST_F(SetApConfig, an_item_that_is_shorter_than_its_macs_is_refused_unread)
{
    up(1);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(send({.type = 3, .msg = {2, 0, 0, 0, 0}}), AC_RET_ERROR);
                  EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + Bytes{2, 0, 0, 0, 0}, .ap_num = 2}), AC_RET_ERROR);
                  EXPECT_EQ(send_simple({.type = 45, .msg = {2, 0, 0, 0, 0}}), AC_RET_ERROR);
              }),
              "! \n! \n! \n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(SetApConfig, a_payload_of_2020_bytes_fills_a_datagram_and_one_of_2021_is_refused_with_a_line)
{
    up(1);
    up(2);
    EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + zeros(2020)}), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes.size(), 2048U);
    EXPECT_EQ(sent()[0].head().msg_length, 2020U);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + zeros(2021)}), AC_RET_ERROR);
                  EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1, 2}) + zeros(2021), .ap_num = 2}), AC_RET_ERROR);
                  EXPECT_EQ(send({.type = 3, .msg = zeros(2021), .num_flag = 1}), AC_RET_ERROR);
                  EXPECT_EQ(send_simple({.type = 45, .msg = mac_bytes({1}) + zeros(2021)}), AC_RET_ERROR);
              }),
              "! payload of 2021 bytes does not fit a frame\n! payload of 2021 bytes does not fit a frame\n"
              "! payload of 2021 bytes does not fit a frame\n! payload of 2021 bytes does not fit a frame\n");
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(SetApConfig, without_memory_for_the_frame_nothing_is_sent_and_no_number_is_used)
{
    up(1);
    up(2);
    const Work one{.type = 3, .msg = mac_bytes({1}) + Bytes{7}};
    const Work two{.type = 3, .msg = mac_bytes({1, 2}) + Bytes{7}, .ap_num = 2};
    const Work all{.type = 3, .msg = {7}, .num_flag = 1};
    for (const Work& work : {one, two, all}) {
        ac_alloc_fail_after(0);
        EXPECT_EQ(printed([&] { EXPECT_EQ(send(work), AC_RET_ERROR); }), "! malloc failed");
    }
    ac_alloc_fail_after(0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(send_simple(one), AC_RET_ERROR); }), "! malloc failed");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(send(one), AC_RET_OK);
    EXPECT_EQ(seq_num, 0U);
}

// --- channel and client limit
// --------------------------------------------------------------------------------------------

TEST_F(SetApConfig, a_channel_goes_to_its_ap_with_a_crc)
{
    up(1);
    EXPECT_EQ(send_simple({.type = SET_AP_CHANNEL, .msg = mac_bytes({1}) + Bytes{0, 0, 11}}), AC_RET_OK);
    EXPECT_EQ(seq_num, 0U);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "127.0.0.1");
    EXPECT_EQ(sent()[0].port, 40000);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x01, // MAC
                                   0x04, 0x00,                         // second layout
                                   0x00, 0x00,                         // number 0
                                   0x58, 0x58,                         //
                                   0x00, 0x00,                         // reserve
                                   0x07, 0x00,                         // type 7
                                   0x88, 0x17,                         // vendor
                                   0x10, 0x01,                         // message 16, sub-type 1
                                   0x03, 0x00, 0x00, 0x00,             // 3 bytes
                                   0x9A, 0x00, 0x93, 0x68,             // CRC
                                   0x00, 0x00, 0x0B,                   // radio, extension, channel
                               }));
}

TEST_F(SetApConfig, a_client_limit_goes_to_its_ap_with_a_crc)
{
    up(1);
    EXPECT_EQ(send_simple({.type = SET_AP_CLI_LIMIT, .msg = mac_bytes({1}) + Bytes{9, 20}}), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x01,             // MAC
                                   0x04, 0x00, 0x00, 0x00, 0x58, 0x58, 0x00, 0x00, //
                                   0x07, 0x00, 0x88, 0x17, 0x10, 0x02,             // message 16, sub-type 2
                                   0x02, 0x00, 0x00, 0x00, 0xCB, 0x7D, 0xC1, 0x8A, // 2 bytes, CRC
                                   0x09, 0x14,                                     // ssid_id, limit
                               }));
}

TEST_F(SetApConfig, a_simple_configuration_goes_to_the_first_of_its_macs_only)
{
    up(1);
    up(2);
    EXPECT_EQ(send_simple({.type = SET_AP_CHANNEL, .msg = mac_bytes({1, 2}) + Bytes{0, 0, 11}, .ap_num = 2}),
              AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes[5], 1);
    EXPECT_EQ(sent()[0].head().msg_length, 9U); // all behind the first MAC counts as payload
}

TEST_F(SetApConfig, a_simple_configuration_for_an_unknown_or_a_down_ap_is_refused_with_a_line)
{
    make_record(test_mac(2), 7, AP_LINK_DOWN);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(send_simple({.type = 45, .msg = mac_bytes({1}) + Bytes{0, 0, 11}}), AC_RET_ERROR);
                  EXPECT_EQ(send_simple({.type = 44, .msg = mac_bytes({2}) + Bytes{0, 11}}), AC_RET_ERROR);
              }),
              "! this mac is not exited\n! this mac's status is linkdown \n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(SetApConfig, a_simple_configuration_gives_the_result_of_its_send_and_its_number_all_the_same)
{
    up(1);
    fail_sends(true);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(send_simple({.type = 45, .msg = mac_bytes({1}) + Bytes{0, 0, 11}}), AC_RET_ERROR);
              }),
              "! msg send error.\n");
    EXPECT_EQ(seq_num, 0U);
}

TEST_F(SetApConfig, the_numbers_of_frames_run_from_0_to_255_and_start_again)
{
    up(1);
    for (unsigned int frame = 0; frame <= 256; frame++) {
        EXPECT_EQ(send({.type = 3, .msg = mac_bytes({1}) + Bytes{7}}), AC_RET_OK);
        EXPECT_EQ(seq_num, frame % 256);
        EXPECT_EQ(sent().back().head().seq_num, frame % 256);
    }
}
