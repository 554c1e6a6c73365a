// The bytes of frames, written by hand from the layout.
#include "ac_wtp_protocol/ac_frame_wire.h"

#include <cstring>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_config.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ap_frame.h"

TEST(AcFrameWire, each_header_field_stands_at_its_place_in_little_endian_order)
{
    const UINT8 bytes[28] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 0x04, 0x00, 0x2a, 0x01, 0x58, 0x59, 0x21, 0x43,
                             0x43, 0x00, 0x88, 0x17, 0x07, 0x02, 0x78, 0x56, 0x34, 0x12, 0xdd, 0xcc, 0xbb, 0xaa};
    CLOUD_AP_UDP_PKT head;
    memcpy(&head, bytes, sizeof head);
    EXPECT_EQ(memcmp(head.ap_mac, bytes, 6), 0);
    EXPECT_EQ(head.ap_proto_type, 4);
    EXPECT_EQ(head.seq_num, 0x012A);
    EXPECT_EQ(head.pkt_type, 0x5958);
    EXPECT_EQ(head.reserve, 0x4321);
    EXPECT_EQ(head.ap_type, 0x0043);
    EXPECT_EQ(head.vendor, AC_VENDOR);
    EXPECT_EQ(head.msg_type, 0x0207);
    EXPECT_EQ(head.msg_length, 0x12345678U);
    EXPECT_EQ(head.crc, 0xAABBCCDDU);
    EXPECT_EQ(static_cast<void*>(head.msg_data()), static_cast<void*>(&head + 1));
}

TEST(AcFrameWire, the_frame_classes_and_the_vendor_have_their_numbers)
{
    EXPECT_EQ(AC_PKT_NORMAL, 22616);
    EXPECT_EQ(AC_PKT_UPGRADE, 22873);
    EXPECT_EQ(AC_PKT_LINK_DOWN, 23130);
    EXPECT_EQ(AC_VENDOR, 6024);
}

TEST(AcFrameWire, messages_0x0107_and_0x0207_are_both_message_7_with_different_sub_types)
{
    EXPECT_EQ(acwtp_msg_low(0x0107), HALDE_APConfigSettingReq);
    EXPECT_EQ(acwtp_msg_low(0x0207), HALDE_APConfigSettingReq);
    EXPECT_EQ(acwtp_msg_high(0x0107), 1);
    EXPECT_EQ(acwtp_msg_high(0x0207), 2);
}

TEST(AcFrameWire, a_request_and_its_response_share_their_number)
{
    const int numbers[][3] = {
        {0, HALDE_APEchoReq, HALDE_APEchoResp},
        {4, HALDE_APRestartReq, HALDE_APRestartResp},
        {5, HALDE_APRestoreReq, HALDE_APRestoreResp},
        {6, HALDE_APUpgradeReq, HALDE_APUpgradeResp},
        {7, HALDE_APConfigSettingReq, HALDE_APConfigSettingResp},
        {8, HALDE_APConfigUpdateReq, HALDE_APConfigUpdateResp},
        {9, HALDE_APClientUpdateReq, HALDE_APClientUpdateResp},
        {10, HALDE_APPortalReq, HALDE_APPortalResp},
        {11, HALDE_APAlarmReq, HALDE_APAlarmResp},
        {13, HALDE_APTimeSyncReq, HALDE_APTimeSyncResp},
        {16, HALDE_APSimpleConfigSetReq, HALDE_APSimpleConfigSetResp},
        {21, HALDE_APUpgradeDataReq, HALDE_APUpgradeDataResp},
        {24, HALDE_APPortalCheckAuthReq, HALDE_APPortalCheckAuthResp},
        {25, HALDE_APPortalPutReq, HALDE_APPortalPutResp},
        {26, HALDE_APPortalSetInfoReq, HALDE_APPortalSetInfoResp},
        {27, HALDE_APPortalSetGlobalReq, HALDE_APPortalSetGlobalResp},
        {28, HALDE_APPortalDelPutReq, HALDE_APPortalDelPutResp},
        {29, HALDE_APPortalSetEnableReq, HALDE_APPortalSetEnableResp},
        {30, HALDE_APPortalSetDisableReq, HALDE_APPortalSetDisableResp},
        {31, HALDE_APPortalSetQQAuthReq, HALDE_APPortalSetQQAuthResp},
        {32, HALDE_APPortalGetAdConfigReq, HALDE_APPortalGetAdConfigResp},
        {33, HALDE_APPortalNoQosReq, HALDE_APPortalNoQosResp},
        {34, HALDE_APPortalWeiXinReq, HALDE_APPortalWeiXinResp},
        {35, HALDE_APPortalWebUserMacDelReq, HALDE_APPortalWebUserMacDelResp},
        {36, HALDE_APPortalGetEnableFromAcReq, HALDE_APPortalGetEnableFromAcResp},
        {37, HALDE_APPortalModifyPutReq, HALDE_APPortalModifyPutResp},
        {38, HALDE_APUploadPMKR0Req, HALDE_APUploadPMKR0Resp},
        {39, HALDE_APUploadNeighborReq, HALDE_APUploadNeighborResp},
        {40, HALDE_APDistributePMKR0Req, HALDE_APDistributePMKR0Resp},
        {41, HALDE_APPortalAccessCodeMacDelReq, HALDE_APPortalAccessCodeMacDelResp},
        {42, HALDE_APSetClientDownReq, HALDE_APSetClientDownResp},
    };
    for (const auto& row : numbers) {
        EXPECT_EQ(row[1], row[0]);
        EXPECT_EQ(row[2], row[0]);
    }
}

TEST(AcFrameWire, messages_of_one_direction_have_their_numbers)
{
    EXPECT_EQ(HALDE_APDiscoveryScan, 1);
    EXPECT_EQ(HALDE_APDiscoveryReq, 2);
    EXPECT_EQ(HALDE_APDiscoveryResp, 3);
    EXPECT_EQ(HALDE_ACIpChangeReq, 12);
    EXPECT_EQ(HALDE_APConfig_Ack, 14);
    EXPECT_EQ(HLADE_ACRebootRestoreReq, 15);
    EXPECT_EQ(HALDE_APUpgradeResultAck, 22);
    EXPECT_EQ(HALDE_APUpgradeResultAckResp, 23);
}

TEST_F(TestWorld, the_echo_reply_copies_the_request_but_for_its_crc)
{
    const Mac mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    make_record(mac, 4, AP_LINK_UP);
    join_ap(mac, AC_RUNNING);
    alignas(4) const UINT8 request[28] = {
        0x02, 0x11, 0x22, 0x33, 0x44, 0x55, // ap_mac
        0x04, 0x00, 0x2a, 0x00, 0x58, 0x58, // ap_proto_type, seq_num, pkt_type
        0x21, 0x43, 0x04, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, // msg_type, msg_length
        0xdd, 0xcc, 0xbb, 0xaa,             // crc, of no payload: not tested
    };
    const struct sockaddr_in from = address_from("10.2.3.4", 7000);
    manage_datagram(request, &from);
    udp_skb_queue_out();
    const Bytes reply = {
        0x02, 0x11, 0x22, 0x33, 0x44, 0x55, //
        0x04, 0x00, 0x2a, 0x00, 0x58, 0x58, //
        0x21, 0x43, 0x04, 0x00, 0x88, 0x17, //
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, //
        0x00, 0x00, 0x00, 0x00,
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(sent()[0].ip, "10.2.3.4");
    EXPECT_EQ(sent()[0].port, 7000);
}

TEST_F(TestWorld, the_forced_link_down_reply_is_the_request_s_header_with_its_crc)
{
    alignas(4) const UINT8 request[30] = {
        0x02, 0x11, 0x22, 0x33, 0x44, 0x55, // ap_mac
        0x03, 0x00, 0x2a, 0x01, 0x59, 0x59, // ap_proto_type, seq_num, pkt_type
        0x21, 0x43, 0x04, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
        0x0b, 0x05, 0x02, 0x00, 0x00, 0x00, // msg_type, msg_length
        0xac, 0x2a, 0x93, 0xd8, 'h',  'i',  // crc of the payload
    };
    const struct sockaddr_in from = address_from("10.2.3.4", 7000);
    manage_datagram(request, &from);
    udp_skb_queue_out();
    const Bytes reply = {
        0x02, 0x11, 0x22, 0x33, 0x44, 0x55, //
        0x03, 0x00, 0x2a, 0x01, 0x5a, 0x5a, //
        0x21, 0x43, 0x04, 0x00, 0x88, 0x17, //
        0x00, 0x01, 0x00, 0x00, 0x00, 0x00, // msg_type 0x0100, no payload
        0xac, 0x2a, 0x93, 0xd8,
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(sent()[0].ip, "10.2.3.4");
    EXPECT_EQ(sent()[0].port, 7000);
}

TEST_F(TestWorld, the_discovery_reply_has_no_payload_no_reserve_and_no_crc)
{
    alignas(4) const UINT8 request[72] = {
        0x02, 0x11, 0x22, 0x33, 0x44, 0x55, // ap_mac
        0x04, 0x00, 0x2a, 0x00, 0x58, 0x58, // ap_proto_type, seq_num, pkt_type
        0x21, 0x43, 0x04, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
        0x02, 0x00, 0x2c, 0x00, 0x00, 0x00, // msg_type, msg_length 44
        0x00, 0x00, 0x00, 0x00,             // crc
        'm',  'd',  'l',  '4',              // a product name, then zeros
    };
    const struct sockaddr_in from = address_from("10.2.3.4", 7000);
    manage_datagram(request, &from);
    udp_discvr_skb_queue_out();
    const Bytes reply = {
        0x02, 0x11, 0x22, 0x33, 0x44, 0x55, //
        0x04, 0x00, 0x2a, 0x00, 0x58, 0x58, //
        0x00, 0x00, 0x04, 0x00, 0x88, 0x17, //
        0x03, 0x00, 0x00, 0x00, 0x00, 0x00, //
        0x00, 0x00, 0x00, 0x00,
    };
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(sent()[0].ip, "10.2.3.4");
    EXPECT_EQ(sent()[0].port, 7000);
}

namespace {

struct config_answer {
    int flag; // of the parsing
    AC_RET result;
    UINT8 byte;
};

} // namespace

TEST_F(TestWorld, the_short_configuration_reply_is_one_byte_accepted_or_refused)
{
    const UINT8 request[28] = {
        0x02, 0x99, 0x99, 0x99, 0x99, 0x99, // ap_mac of the frame; the reply bears the entry's
        0x04, 0x00, 0x2a, 0x00, 0x58, 0x58, // ap_proto_type, seq_num, pkt_type
        0x21, 0x43, 0x04, 0x00, 0x88, 0x17, // reserve, ap_type, vendor
        0x08, 0x00, 0x00, 0x00, 0x00, 0x00, // msg_type, msg_length
        0xdd, 0xcc, 0xbb, 0xaa,             // crc
    };
    CLOUD_AP_UDP_PKT head;
    memcpy(&head, request, sizeof head);
    const Mac mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    const UINT8 ip[4] = {10, 2, 3, 4};
    for (const UINT8 layout : {UINT8{3}, UINT8{4}}) {
        head.ap_proto_type = layout;
        for (const config_answer& answer :
             {config_answer{0, AC_RET_OK, 0}, config_answer{255, AC_RET_CONFIG_ERROR, 1}}) {
            sent().clear();
            EXPECT_EQ(manage_config_req_handle(&head, ip, 7000, answer.flag, mac.data()), answer.result);
            const Bytes reply = {
                0x02,   0x11, 0x22, 0x33, 0x44,        0x55, //
                layout, 0x00, 0x2a, 0x00, 0x58,        0x58, //
                0x00,   0x00, 0x04, 0x00, 0x88,        0x17, //
                0x08,   0x00, 0x01, 0x00, 0x00,        0x00, //
                0x00,   0x00, 0x00, 0x00, answer.byte,
            };
            ASSERT_EQ(sent().size(), 1U);
            EXPECT_EQ(sent()[0].bytes, reply);
        }
    }
}
