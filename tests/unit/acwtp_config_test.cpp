// Replies to a configuration request byte by byte, the end of a command, and the notices of time and address.
#include "ac_wtp_protocol/acwtp_config.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "ac_mib/ac_product.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "exchange_kit.h"
#include "platform/ac_clock.h"

class AcwtpConfig : public ExchangeWorld {
protected:
    // The answer for AP 1 to a configuration request, whose header names another AP, with the parsing result `flag`.
    AC_RET answer(UINT16 proto, UINT16 ap_type, int flag, UINT16 msg_type = 8)
    {
        const Bytes bytes = ApDatagram{.mac = test_mac(9),
                                       .msg_type = msg_type,
                                       .payload = {},
                                       .proto = proto,
                                       .seq = 0x0A0B,
                                       .ap_type = ap_type,
                                       .pkt_type = 0x5859,
                                       .reserve = 0x1234}
                                .bytes();
        CLOUD_AP_UDP_PKT request;
        memcpy(static_cast<void*>(&request), bytes.data(), sizeof request);
        static constexpr UINT8 ip[4] = {10, 9, 8, 7};
        return manage_config_req_handle(&request, ip, 5002, flag, test_mac(1).data());
    }

    static CONFIG_WL_RF radio(UINT8 setting, UINT8 base)
    {
        CONFIG_WL_RF rf = {};
        rf.RF_basic_setting = setting;
        rf.expand_channel = base;
        rf.country_code = static_cast<UINT8>(base + 1);
        rf.network_mode = static_cast<UINT8>(base + 2);
        rf.bandwidth = static_cast<UINT8>(base + 3);
        rf.TXpower = static_cast<UINT8>(base + 4);
        rf.channel = static_cast<UINT8>(base + 5);
        rf.rssi = static_cast<UINT8>(base + 6);
        rf.interface_mode = static_cast<UINT8>(base + 7);
        rf.sta_timeout = static_cast<UINT8>(base + 8);
        rf.lan_num = 0x0102;
        rf.lan0_vlanid = 0x0304;
        rf.lan1_vlanid = 0x0506;
        rf.lan2_vlanid = 0x0708;
        memcpy(rf.qvlan_truck_port, "0123456789", 10);
        return rf;
    }

    // A record with every field of a report at a value of its own; its SSIDs are those of the world, the last one with
    // a VLAN and a key.
    APCONFIG* full_record(UINT16 ap_type)
    {
        APCONFIG* ap = make_record(test_mac(1), ap_type, AP_LINK_DOWN, "42");
        ap->info_basic.led_status = 1;
        ap->info_basic.ip = {2, {192, 168, 1, 7}, {255, 255, 255, 0}, {192, 168, 1, 1}, {8, 8, 8, 8}, {1, 2, 3, 4}};
        memcpy(ap->info_basic.apname.ap_name, "lobby", 5);
        ap->info_basic.apname.ap_name_length = 5;
        memcpy(ap->info_basic.version.version, "V1.0.2", 6);
        ap->info_basic.version.version_length = 6;
        ap->info_reboot = {1, 2, 0x0304};
        ap->info_alarm.alarm_switch = 1;
        ap->info_alarm.hostnum_limit = 25;
        ap->info_alarm.stream_limit = 0x11223344;
        UINT8 number = 0;
        for (list_node* at = ap->list_rf.next; at != &ap->list_rf; at = at->next, number++)
            apconfig_rf_of(at)->rf = radio(static_cast<UINT8>(2 + number), static_cast<UINT8>(0x20 + 0x20 * number));
        CONFIG_WL_BASIC& last = apconfig_wl_of(ap->list_wl.prev)->wl_basic;
        last.vlan_id = 0x0FA0;
        last.wlSecure.secure_mode = 3;
        last.wlSecure.wpapsk_secure_mode.auth_type = 4;
        memcpy(last.wlSecure.wpapsk_secure_mode.key.key, "password", 8);
        last.wlSecure.wpapsk_secure_mode.key.key_length = 8;
        last.wlSecure.wpapsk_secure_mode.key_time[0] = 0x3C;
        return ap;
    }
};

// --- the short reply
// -----------------------------------------------------------------------------------------------------

TEST_F(AcwtpConfig, an_accepted_configuration_is_answered_with_a_zero_byte)
{
    EXPECT_EQ(answer(4, 7, 0), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.9.8.7");
    EXPECT_EQ(sent()[0].port, 5002);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x01, // the AP that is named, not the request's
                                   0x04, 0x00,                         // layout of the request
                                   0x0B, 0x0A,                         // number of the request
                                   0x59, 0x58,                         // packet type of the request
                                   0x00, 0x00,                         // reserve: not the request's
                                   0x07, 0x00,                         // product type of the request
                                   0x88, 0x17,                         // vendor
                                   0x08, 0x00,                         // message 8
                                   0x01, 0x00, 0x00, 0x00,             // 1 byte
                                   0x00, 0x00, 0x00, 0x00,             // no CRC
                                   0x00,
                               }));
}

TEST_F(AcwtpConfig, a_refused_configuration_is_answered_with_a_byte_of_1_and_reported_as_4)
{
    EXPECT_EQ(answer(3, 6, 255), AC_RET_CONFIG_ERROR);
    EXPECT_EQ(answer(4, 6, 1001), AC_RET_CONFIG_ERROR);
    EXPECT_EQ(answer(4, 6, 1), AC_RET_CONFIG_ERROR);
    ASSERT_EQ(sent().size(), 3U);
    EXPECT_EQ(sent()[0].bytes, (Bytes{0x02, 0,    0,    0,    0, 0x01, 0x03, 0, 0x0B, 0x0A, 0x59, 0x58, 0, 0, 0x06,
                                      0,    0x88, 0x17, 0x08, 0, 1,    0,    0, 0,    0,    0,    0,    0, 1}));
    EXPECT_EQ(sent()[1].bytes.back(), 1);
    EXPECT_EQ(sent()[2].bytes.back(), 1);
}

TEST_F(AcwtpConfig, a_reply_that_can_not_be_sent_is_no_failure)
{
    fail_sends(true);
    EXPECT_EQ(printed([&] { EXPECT_EQ(answer(4, 7, 0), AC_RET_OK); }), "! msg send error.\n");
}

TEST_F(AcwtpConfig, no_request_has_a_line_and_no_answer)
{
    EXPECT_EQ(printed([] {
                  EXPECT_EQ(manage_config_req_handle(nullptr, test_mac(1).data(), 1, 0, test_mac(1).data()),
                            AC_RET_ERROR);
              }),
              "! recv_msg packet is error.\n");
}

TEST_F(AcwtpConfig, a_frame_of_another_message_has_a_line_and_no_answer_its_sub_type_included)
{
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(answer(4, 7, 0, 0), AC_RET_ERROR);
                  EXPECT_EQ(answer(4, 7, 0, 0x0108), AC_RET_ERROR);
              }),
              "! It's not config request packet.\n! It's not config request packet.\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(AcwtpConfig, a_report_of_another_layout_is_parsed_by_none_which_is_a_line_and_255)
{
    const Bytes bytes =
        ApDatagram{.mac = test_mac(1), .msg_type = 8, .payload = report_two_radios("1"), .proto = 5}.bytes();
    alignas(AC_UDP_SKB_INFO) UINT8 block[4096] = {};
    auto* frame = reinterpret_cast<AC_UDP_SKB_INFO*>(block);
    memcpy(static_cast<void*>(frame->udp_pkt()), bytes.data(), bytes.size());
    EXPECT_EQ(printed([&] { EXPECT_EQ(config_parse_report(test_mac(1).data(), frame), AC_RET_ERROR); }),
              "! proto_type:05");
    EXPECT_EQ(apconfig_find(test_mac(1).data()), nullptr);
}

TEST_F(AcwtpConfig, a_request_of_another_layout_is_not_answered)
{
    for (const UINT16 proto : {UINT16{0}, UINT16{2}, UINT16{5}})
        EXPECT_EQ(printed([&] { EXPECT_EQ(answer(proto, 7, 0), AC_RET_ERROR); }), "");
    EXPECT_TRUE(sent().empty());
}

// --- the full configuration
// ----------------------------------------------------------------------------------------------

// Header and the members in front of the radios of full_record, in a zeroed frame of `length` bytes.
static Bytes expected_reply(UINT8 proto, UINT8 ap_type, UINT8 length_low, UINT8 length_high, std::size_t length)
{
    Bytes frame = zeros(length);
    put(frame, 0, {0x02, 0x00, 0x00, 0x00, 0x00, 0x01, proto, 0x00, 0x0B, 0x0A, 0x59, 0x58, 0x00, 0x00});
    put(frame, 14, {ap_type, 0x00, 0x88, 0x17, 0x08, 0x00, length_low, length_high, 0x00, 0x00});
    put(frame, 28, {'4', '2'});
    put(frame, 30, {0x01});                             // led
    put(frame, 31, {0x02, 192, 168, 1, 7});             // address mode, address
    put(frame, 36, {255, 255, 255, 0, 192, 168, 1, 1}); // mask, gateway
    put(frame, 44, {8, 8, 8, 8, 1, 2, 3, 4});
    put(frame, 52, {'l', 'o', 'b', 'b', 'y'});
    put(frame, 84, {5});
    put(frame, 85, {'V', '1', '.', '0', '.', '2'});
    put(frame, 117, {6});
    put(frame, 118, {0x01, 0x02, 0x04, 0x03});                         // scheduled restart, then two bytes of padding
    put(frame, 124, {0x01, 0x19, 0x00, 0x00, 0x44, 0x33, 0x22, 0x11}); // alarm
    return frame;
}

static const Bytes RADIO_0 = {0x02, 0x20, 0x21, 0x22, 0x23, 0x24, 0x25, 0x26, 0x27, 0x28, // the first layout ends here
                              0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x08, 0x07, '0',  '1',
                              '2',  '3',  '4',  '5',  '6',  '7',  '8',  '9'};
static const Bytes RADIO_1 = {0x03, 0x40, 0x41, 0x42, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, //
                              0x02, 0x01, 0x04, 0x03, 0x06, 0x05, 0x08, 0x07, '0',  '1',
                              '2',  '3',  '4',  '5',  '6',  '7',  '8',  '9'};

static Bytes first_ten(const Bytes& radio)
{
    return {radio.begin(), radio.begin() + 10};
}

// SSIDs of the world from `offset` on, the last one with VLAN 4000 and its key.
static void put_ssids(Bytes& frame, std::size_t offset, int count)
{
    for (int id = 0; id < count; id++, offset += 110) {
        put(frame, offset, {static_cast<UINT8>(id), 0x02, 0x20, 0x00, 0x00, 0x00, 's', 's', 'i', 'd'});
        if (id < 10) {
            put(frame, offset + 10, {static_cast<UINT8>('0' + id)});
            put(frame, offset + 38, {5});
        } else {
            put(frame, offset + 10, {'1', static_cast<UINT8>('0' + id - 10)});
            put(frame, offset + 38, {6});
        }
    }
    put(frame, offset - 106, {0xA0, 0x0F});
    put(frame, offset - 71, {0x03, 0x04, 'p', 'a', 's', 's', 'w', 'o', 'r', 'd'});
    put(frame, offset - 5, {8, 0x3C});
}

TEST_F(AcwtpConfig, the_full_configuration_of_two_radios_and_12_ssids_in_the_second_layout_counts_1488_bytes)
{
    full_record(7);
    EXPECT_EQ(answer(4, 7, 3), AC_RET_OK);
    Bytes expected = expected_reply(4, 7, 0xD0, 0x05, 28 + 1488);
    put(expected, 132, RADIO_0);
    put(expected, 160, RADIO_1);
    put_ssids(expected, 188, 12); // they end at 1508: the last 8 bytes are zero
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, expected);
    EXPECT_EQ(Bytes(sent()[0].bytes.end() - 8, sent()[0].bytes.end()), zeros(8));
    EXPECT_EQ(sent()[0].head().msg_length, 1488U);
}

TEST_F(AcwtpConfig, the_full_configuration_of_one_radio_and_8_ssids_in_the_second_layout_counts_1020_bytes)
{
    full_record(6);
    EXPECT_EQ(answer(4, 6, 3), AC_RET_OK);
    Bytes expected = expected_reply(4, 6, 0xFC, 0x03, 28 + 1020);
    put(expected, 132, RADIO_0);
    put_ssids(expected, 160, 8); // to 1040
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, expected);
}

TEST_F(AcwtpConfig, the_full_configuration_of_two_radios_and_12_ssids_in_the_first_layout_counts_1452_bytes)
{
    full_record(7);
    EXPECT_EQ(answer(3, 7, 3), AC_RET_OK);
    Bytes expected = expected_reply(3, 7, 0xAC, 0x05, 28 + 1452);
    put(expected, 132, first_ten(RADIO_0));
    put(expected, 142, first_ten(RADIO_1));
    put_ssids(expected, 152, 12); // to 1472
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, expected);
}

TEST_F(AcwtpConfig, the_full_configuration_of_one_radio_and_8_ssids_in_the_first_layout_counts_1002_bytes)
{
    full_record(6);
    EXPECT_EQ(answer(3, 6, 3), AC_RET_OK);
    Bytes expected = expected_reply(3, 6, 0xEA, 0x03, 28 + 1002);
    put(expected, 132, first_ten(RADIO_0));
    put_ssids(expected, 142, 8); // to 1022
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, expected);
}

TEST_F(AcwtpConfig, the_records_of_a_full_configuration_stand_in_list_order)
{
    APCONFIG* ap = full_record(7);
    list_node* first_radio = ap->list_rf.next;
    list_del(first_radio);
    list_add_tail(first_radio, &ap->list_rf);
    list_node* first_ssid = ap->list_wl.next;
    list_del(first_ssid);
    list_add_tail(first_ssid, &ap->list_wl);
    answer(4, 7, 3);
    ASSERT_EQ(sent().size(), 1U);
    const Bytes& frame = sent()[0].bytes;
    EXPECT_EQ(frame[132], 0x03);
    EXPECT_EQ(frame[160], 0x02);
    EXPECT_EQ(frame[188], 1);            // ssid_id of the first
    EXPECT_EQ(frame[188 + 11 * 110], 0); // and of the last
}

TEST_F(AcwtpConfig, a_record_with_fewer_nodes_than_its_product_leaves_zeros_in_their_places)
{
    APCONFIG* ap = full_record(7);
    list_node* radio = ap->list_rf.prev;
    list_del(radio);
    ac_record_free(apconfig_rf_of(radio));
    list_node* ssid = ap->list_wl.prev;
    list_del(ssid);
    ac_record_free(apconfig_wl_of(ssid));
    EXPECT_EQ(answer(4, 7, 3), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    const Bytes& frame = sent()[0].bytes;
    ASSERT_EQ(frame.size(), 28U + 1488);
    EXPECT_EQ(Bytes(frame.begin() + 160, frame.begin() + 188), zeros(28));
    EXPECT_EQ(frame[188 + 10 * 110], 10);
    EXPECT_EQ(Bytes(frame.begin() + 188 + 11 * 110, frame.end()), zeros(118));
}

TEST_F(AcwtpConfig, a_record_with_more_nodes_than_its_product_gives_as_many_as_the_product_has)
{
    full_record(7)->ap_type = 6; // two radios and 12 SSIDs for one and 8
    EXPECT_EQ(answer(4, 6, 3), AC_RET_OK);
    Bytes expected = expected_reply(4, 6, 0xFC, 0x03, 28 + 1020);
    put(expected, 132, RADIO_0);
    put_ssids(expected, 160, 8);
    put(expected, 160 + 7 * 110 + 4, {0, 0}); // VLAN and key are the twelfth's, which has no place
    put(expected, 160 + 7 * 110 + 39, zeros(68));
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, expected);
}

TEST_F(AcwtpConfig, the_radios_and_ssids_of_the_records_product_count_not_those_of_the_request)
{
    full_record(6);
    EXPECT_EQ(answer(4, 7, 3), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].head().msg_length, 1020U);
    EXPECT_EQ(sent()[0].head().ap_type, 7);
}

TEST_F(AcwtpConfig, a_full_configuration_without_a_mac_or_a_record_has_a_line_and_no_reply)
{
    alignas(CLOUD_AP_UDP_PKT) UINT8 buffer[AC_CONFIG_REPLY_MAX] = {};
    auto* frame = reinterpret_cast<CLOUD_AP_UDP_PKT*>(buffer);
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(assem_config_resp_pkt_v1(frame, 3, nullptr), AC_RET_ERROR);
                  EXPECT_EQ(assem_config_resp_pkt_v2(frame, 3, nullptr), AC_RET_ERROR);
                  EXPECT_EQ(answer(3, 7, 3), AC_RET_ERROR);
                  EXPECT_EQ(answer(4, 7, 3), AC_RET_ERROR);
              }),
              "! ap_mac is NULL.\n! ap_mac is NULL.\n! node is null pointer\n! node is null pointer\n");
    EXPECT_TRUE(sent().empty());
}

static PRODUCT_AP product_of(UINT16 ap_type, UINT8 radios, UINT8 ssids)
{
    PRODUCT_AP product = {};
    product.ap_name[0] = 'a';
    product.product_id = 1;
    product.ssid_num_24g = ssids;
    product.rf_num = radios;
    product.ap_type = ap_type;
    return product;
}

TEST_F(AcwtpConfig, a_full_configuration_of_a_product_without_radios_or_ssids_is_not_built)
{
    const PRODUCT_AP no_radios = product_of(120, 0, 8);
    const PRODUCT_AP no_ssids = product_of(121, 1, 0);
    ASSERT_TRUE(acwtp_product_fill(&no_radios) && acwtp_product_fill(&no_ssids));
    for (const UINT16 ap_type : {UINT16{62}, UINT16{120}, UINT16{121}}) { // 62 is an empty row
        make_record(test_mac(1), ap_type, AP_LINK_DOWN);
        EXPECT_EQ(printed([&] { EXPECT_EQ(answer(4, ap_type, 3), AC_RET_ERROR); }), "");
        apconfig_mib_node_del(test_mac(1).data(), 0);
    }
    EXPECT_TRUE(sent().empty());
}

TEST_F(AcwtpConfig, a_full_configuration_of_more_radios_or_ssids_than_an_ap_can_have_is_not_built)
{
    const PRODUCT_AP many_ssids = product_of(120, 1, 13);
    const PRODUCT_AP many_radios = product_of(121, 3, 8);
    ASSERT_TRUE(acwtp_product_fill(&many_ssids) && acwtp_product_fill(&many_radios));
    for (const UINT16 ap_type : {UINT16{120}, UINT16{121}}) {
        make_record(test_mac(1), ap_type, AP_LINK_DOWN);
        EXPECT_EQ(answer(4, ap_type, 3), AC_RET_ERROR);
        apconfig_mib_node_del(test_mac(1).data(), 0);
    }
    EXPECT_TRUE(sent().empty());
}

// --- the end of a command
// ------------------------------------------------------------------------------------------------

class AcwtpConfigResponse : public AcwtpConfig {
protected:
    void SetUp() override
    {
        AcwtpConfig::SetUp();
        ap = make_record(test_mac(1), 7, AP_LINK_UP);
        join_running(test_mac(1));
        const Work work{.type = 0x0112, .msg = mac_bytes({1}) + Bytes{7}};
        const ACWTP_MSG_TABLE item = work.table();
        acwtp_msged_list_add(&item, 9, MSG_ADD_TAIL);
    }
    AC_RET respond(UINT16 seq, UINT16 msg_type)
    {
        static constexpr UINT8 ip[4] = {127, 0, 0, 1};
        return manage_apconfig_response(test_mac(1).data(), seq, msg_type, ip);
    }
    // At most a minute of real time, so that a broken run ends.
    void wait_for_the_mark()
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!marked() && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
    }
    bool marked()
    {
        ac_lock lock(g_apconfig_mutex);
        return ap->restore != 0;
    }
    void expect_still_online()
    {
        EXPECT_EQ(ap->status, AP_LINK_UP);
        EXPECT_EQ(state_of(test_mac(1)), AC_RUNNING);
        EXPECT_EQ(ac_load(wtp_online_num_count), 1);
        EXPECT_TRUE(waiting().empty());
    }
    void expect_gone()
    {
        EXPECT_EQ(ap->status, AP_LINK_DOWN);
        EXPECT_EQ(state_of(test_mac(1)), -1);
        EXPECT_EQ(ac_load(wtp_online_num_count), 0);
        EXPECT_EQ(alarms(test_mac(1)), std::vector<int>{HALDE_ALARM_AP_STATUS_LINK_DOWN});
        EXPECT_EQ(waiting().size(), 1U);
    }
    APCONFIG* ap = nullptr;
};

TEST_F(AcwtpConfigResponse, a_setting_without_a_new_address_only_ends_the_wait)
{
    for (const UINT16 msg_type : {UINT16{0x0007}, UINT16{0x0207}, UINT16{0xFE07}}) {
        EXPECT_EQ(respond(9, msg_type), AC_RET_OK);
        EXPECT_TRUE(outstanding().empty());
        expect_still_online();
    }
}

TEST_F(AcwtpConfigResponse, a_new_address_takes_the_ap_offline)
{
    EXPECT_EQ(respond(9, 0x0107), AC_RET_OK);
    EXPECT_TRUE(outstanding().empty());
    expect_gone();
    EXPECT_EQ(ap->restore, 0);
}

TEST_F(AcwtpConfigResponse, bit_0_of_the_sub_type_counts_whatever_the_other_bits_say)
{
    respond(9, 0xFF07);
    expect_gone();
}

TEST_F(AcwtpConfigResponse, bit_0_of_the_sub_type_counts_for_any_message)
{
    respond(9, 0x0210);
    expect_still_online();
    respond(9, 0x0110);
    expect_gone();
    EXPECT_EQ(ap->restore, 0);
}

TEST_F(AcwtpConfigResponse, a_restart_takes_the_ap_offline_and_keeps_its_bindings)
{
    EXPECT_EQ(respond(9, 4), AC_RET_OK);
    EXPECT_TRUE(outstanding().empty());
    expect_gone();
    EXPECT_EQ(ap->restore, 0);
}

TEST_F(AcwtpConfigResponse, a_restore_takes_the_ap_offline_and_marks_its_record)
{
    EXPECT_EQ(respond(9, 5), AC_RET_OK);
    expect_gone();
    EXPECT_EQ(ap->restore, 1);
}

// The alarm is held up, so that what stands before and behind it can be told apart.
TEST_F(AcwtpConfigResponse, an_ap_that_leaves_is_counted_and_marked_before_its_alarm_and_deleted_behind_it)
{
    std::thread dispatch;
    int state = -1;
    {
        ac_lock alarm_waits(acwtp_mutex);
        dispatch = std::thread([this] { respond(9, 5); });
        std::thread([this] { wait_for_the_mark(); }).join(); // on a thread that holds no lock
        EXPECT_EQ(ac_load(wtp_online_num_count), 0);
        EXPECT_EQ(ac_load(ap->status), AP_LINK_DOWN);
        std::thread([&] { state = state_of(test_mac(1)); }).join();
    }
    dispatch.join();
    EXPECT_EQ(state, AC_RUNNING);
    expect_gone();
}

TEST_F(AcwtpConfigResponse, an_answer_to_an_old_number_ends_no_wait_and_takes_the_ap_offline_all_the_same)
{
    EXPECT_EQ(respond(8, 4), AC_RET_OK);
    EXPECT_EQ(outstanding().size(), 1U);
    expect_gone();
}

TEST_F(AcwtpConfigResponse, an_ap_whose_record_is_gone_still_leaves_the_joined_list)
{
    apconfig_mib_node_del(test_mac(1).data(), 0);
    EXPECT_EQ(printed([&] { EXPECT_EQ(respond(9, 5), AC_RET_OK); }), "! mac is not exited\n! mac is not exited\n");
    EXPECT_EQ(state_of(test_mac(1)), -1);
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    EXPECT_EQ(waiting().size(), 1U); // the alarm
}

// --- time and address
// ----------------------------------------------------------------------------------------------------

class AcwtpNotices : public AcwtpConfig {
protected:
    AC_RET time_to_ap()
    {
        const Bytes bytes = ApDatagram{.mac = test_mac(9),
                                       .msg_type = 13,
                                       .payload = {},
                                       .proto = 3,
                                       .seq = 0x0A0B,
                                       .ap_type = 6,
                                       .pkt_type = 0x5959,
                                       .reserve = 0x1234}
                                .bytes();
        CLOUD_AP_UDP_PKT request;
        memcpy(static_cast<void*>(&request), bytes.data(), sizeof request);
        static constexpr UINT8 ip[4] = {10, 9, 8, 7};
        return manage_aptime_req(test_mac(1).data(), ip, 5002, &request);
    }
    int zone_sent()
    {
        time_to_ap();
        const Bytes& frame = sent().back().bytes;
        return frame[32] | frame[33] << 8;
    }
};

TEST_F(AcwtpNotices, an_ap_that_asks_gets_time_and_zone)
{
    write_file("/etc/time_zone", "8\n"); // the clock of the world: 1700000000 is 0x6553F100
    EXPECT_EQ(time_to_ap(), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.9.8.7");
    EXPECT_EQ(sent()[0].port, 5002);
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x01, // the AP that is named, not the request's
                                   0x03, 0x00,                         // layout of the request
                                   0x0B, 0x0A,                         // number of the request
                                   0x59, 0x59,                         // packet type of the request
                                   0x34, 0x12,                         // reserve of the request
                                   0x06, 0x00,                         // product type of the request
                                   0x88, 0x17,                         // vendor of the request
                                   0x0D, 0x00,                         // message 13
                                   0x06, 0x00, 0x00, 0x00,             // 6 bytes
                                   0x00, 0x00, 0x00, 0x00,             // no CRC
                                   0x00, 0xF1, 0x53, 0x65,             // time
                                   0x08, 0x00,                         // zone
                               }));
}

TEST_F(AcwtpNotices, the_zone_is_a_number_of_at_most_7_characters_and_0_without_a_file)
{
    EXPECT_EQ(zone_sent(), 0);
    write_file("/etc/time_zone", "");
    EXPECT_EQ(zone_sent(), 0);
    write_file("/etc/time_zone", "-5");
    EXPECT_EQ(zone_sent(), 0xFFFB);
    write_file("/etc/time_zone", "0012345");
    EXPECT_EQ(zone_sent(), 12345);
    write_file("/etc/time_zone", "00012345");
    EXPECT_EQ(zone_sent(), 1234);
    write_file("/etc/time_zone", "east");
    EXPECT_EQ(zone_sent(), 0);
}

TEST_F(AcwtpNotices, no_request_is_refused_and_the_result_of_the_send_is_passed_on)
{
    static constexpr UINT8 ip[4] = {10, 9, 8, 7};
    EXPECT_EQ(manage_aptime_req(test_mac(1).data(), ip, 5002, nullptr), AC_RET_ERROR);
    EXPECT_TRUE(sent().empty());
    fail_sends(true);
    output_of([&] { EXPECT_EQ(time_to_ap(), AC_RET_ERROR); });
}

TEST_F(AcwtpNotices, the_time_for_all_counts_4_bytes_and_goes_to_every_record)
{
    write_file("/etc/time_zone", "8\n");
    make_record(test_mac(1), 7, AP_LINK_UP);
    APCONFIG* down = make_record(test_mac(2), 6, AP_LINK_DOWN);
    down->proto_vendor = 3;
    down->port = 40002;
    EXPECT_EQ(manage_broadcast_pkt_to_ap(SET_AP_TIME_REQ), 0);
    ASSERT_EQ(sent().size(), 2U);
    std::sort(sent().begin(), sent().end(), [](const SentFrame& a, const SentFrame& b) { return a.port < b.port; });
    EXPECT_EQ(sent()[0].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x01,             // MAC
                                   0x04, 0x00, 0x00, 0x00, 0x58, 0x58, 0x00, 0x00, // layout, number 0
                                   0x07, 0x00, 0x88, 0x17, 0x0D, 0x00,             // message 13
                                   0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // only the time is counted
                                   0x00, 0xF1, 0x53, 0x65,
                               }));
    EXPECT_EQ(sent()[1].bytes, (Bytes{
                                   0x02, 0x00, 0x00, 0x00, 0x00, 0x02,             //
                                   0x03, 0x00, 0x00, 0x00, 0x58, 0x58, 0x00, 0x00, //
                                   0x06, 0x00, 0x88, 0x17, 0x0D, 0x00,             //
                                   0x04, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, //
                                   0x00, 0xF1, 0x53, 0x65,
                               }));
}

TEST_F(AcwtpNotices, a_new_address_is_a_bare_header_of_message_12)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    EXPECT_EQ(manage_broadcast_pkt_to_ap(SET_AC_LAN_IP_REQ), 0);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes,
              (Bytes{0x02, 0x00, 0x00, 0x00, 0x00, 0x01, 0x04, 0x00, 0x00, 0x00, 0x58, 0x58, 0x00, 0x00,
                     0x07, 0x00, 0x88, 0x17, 0x0C, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}));
}

TEST_F(AcwtpNotices, any_other_notice_is_refused_and_has_taken_a_number)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    EXPECT_EQ(manage_broadcast_pkt_to_ap(36), AC_RET_ERROR);
    EXPECT_EQ(manage_broadcast_pkt_to_ap(39), AC_RET_ERROR);
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(get_seq_num(), 2);
}

TEST_F(AcwtpNotices, work_items_of_time_and_address_end_in_the_error_line_and_reach_no_ap)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    queue({.type = SET_AC_LAN_IP_REQ, .msg = {7}, .num_flag = 1});
    queue({.type = SET_AP_TIME_REQ, .msg = {7}, .num_flag = 1});
    EXPECT_EQ(printed([] { acprotocol_signal_handle(); }), "! msg_type error msg0:37\n! msg_type error msg0:38\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(AcwtpNotices, an_ap_that_asks_for_the_time_while_running_is_not_answered)
{
    make_record(test_mac(1), 7, AP_LINK_UP);
    join_running(test_mac(1));
    EXPECT_EQ(printed([&] { from_ap({.mac = test_mac(1), .msg_type = 13, .payload = {}}); }), "");
    EXPECT_TRUE(sent().empty());
}
