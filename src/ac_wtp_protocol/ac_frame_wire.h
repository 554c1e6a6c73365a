// ac_frame_wire - the frame between the controller and its access points, as it lies on the wire.
//
// Little-endian throughout; no field is converted in either direction. A frame is the 28-byte header and msg_length
// bytes of payload, in one UDP datagram of at most 2048 bytes.
#pragma once

#include <type_traits>

#include "common/ac_types.h"

inline constexpr std::size_t AC_FRAME_MAX = 2048;  // what one recvfrom takes
inline constexpr UINT16 AC_VENDOR = 0x1788;        // 6024; any other is refused
inline constexpr UINT16 AC_PKT_NORMAL = 0x5858;    // 22616: ordinary traffic
inline constexpr UINT16 AC_PKT_UPGRADE = 0x5959;   // 22873: upgrade request and key relay
inline constexpr UINT16 AC_PKT_LINK_DOWN = 0x5A5A; // 23130: forced link-down reply
inline constexpr UINT16 AC_LAYOUT_V1 = 3;          // ap_proto_type: generation of the configuration records
inline constexpr UINT16 AC_LAYOUT_V2 = 4;
inline constexpr UINT32 AC_DEFAULT_PORT = 5000;

// Request and response share a number; the direction tells them apart.
enum acwtp_msg_type {
    HALDE_APEchoReq = 0,
    HALDE_APEchoResp = 0,
    HALDE_APDiscoveryScan = 1,
    HALDE_APDiscoveryReq = 2,
    HALDE_APDiscoveryResp = 3,
    HALDE_APRestartReq = 4,
    HALDE_APRestartResp = 4,
    HALDE_APRestoreReq = 5,
    HALDE_APRestoreResp = 5,
    HALDE_APUpgradeReq = 6,
    HALDE_APUpgradeResp = 6,
    HALDE_APConfigSettingReq = 7,
    HALDE_APConfigSettingResp = 7,
    HALDE_APConfigUpdateReq = 8,
    HALDE_APConfigUpdateResp = 8,
    HALDE_APClientUpdateReq = 9,
    HALDE_APClientUpdateResp = 9,
    HALDE_APPortalReq = 10,
    HALDE_APPortalResp = 10,
    HALDE_APAlarmReq = 11,
    HALDE_APAlarmResp = 11,
    HALDE_ACIpChangeReq = 12,
    HALDE_APTimeSyncReq = 13,
    HALDE_APTimeSyncResp = 13,
    HALDE_APConfig_Ack = 14,
    HLADE_ACRebootRestoreReq = 15,
    HALDE_APSimpleConfigSetReq = 16,
    HALDE_APSimpleConfigSetResp = 16,
    HALDE_APUpgradeDataReq = 21,
    HALDE_APUpgradeDataResp = 21,
    HALDE_APUpgradeResultAck = 22,
    HALDE_APUpgradeResultAckResp = 23,
    HALDE_APPortalCheckAuthReq = 24,
    HALDE_APPortalCheckAuthResp = 24,
    HALDE_APPortalPutReq = 25,
    HALDE_APPortalPutResp = 25,
    HALDE_APPortalSetInfoReq = 26,
    HALDE_APPortalSetInfoResp = 26,
    HALDE_APPortalSetGlobalReq = 27,
    HALDE_APPortalSetGlobalResp = 27,
    HALDE_APPortalDelPutReq = 28,
    HALDE_APPortalDelPutResp = 28,
    HALDE_APPortalSetEnableReq = 29,
    HALDE_APPortalSetEnableResp = 29,
    HALDE_APPortalSetDisableReq = 30,
    HALDE_APPortalSetDisableResp = 30,
    HALDE_APPortalSetQQAuthReq = 31,
    HALDE_APPortalSetQQAuthResp = 31,
    HALDE_APPortalGetAdConfigReq = 32,
    HALDE_APPortalGetAdConfigResp = 32,
    HALDE_APPortalNoQosReq = 33,
    HALDE_APPortalNoQosResp = 33,
    HALDE_APPortalWeiXinReq = 34,
    HALDE_APPortalWeiXinResp = 34,
    HALDE_APPortalWebUserMacDelReq = 35,
    HALDE_APPortalWebUserMacDelResp = 35,
    HALDE_APPortalGetEnableFromAcReq = 36,
    HALDE_APPortalGetEnableFromAcResp = 36,
    HALDE_APPortalModifyPutReq = 37,
    HALDE_APPortalModifyPutResp = 37,
    HALDE_APUploadPMKR0Req = 38,
    HALDE_APUploadPMKR0Resp = 38,
    HALDE_APUploadNeighborReq = 39,
    HALDE_APUploadNeighborResp = 39,
    HALDE_APDistributePMKR0Req = 40,
    HALDE_APDistributePMKR0Resp = 40,
    HALDE_APPortalAccessCodeMacDelReq = 41,
    HALDE_APPortalAccessCodeMacDelResp = 41,
    HALDE_APSetClientDownReq = 42,
    HALDE_APSetClientDownResp = 42,
};

struct cloud_ap_pkt {
    UINT8 ap_mac[6];      // the AP the frame is from or for; all zero is refused
    UINT16 ap_proto_type; // AC_LAYOUT_V1 or AC_LAYOUT_V2
    UINT16 seq_num;       // a reply copies it from the request
    UINT16 pkt_type;      // AC_PKT_...
    UINT16 reserve;       // in a client report the length of the payload before compression
    UINT16 ap_type;       // row of g_ap_product; the AP chose it, so check it
    UINT16 vendor;        // AC_VENDOR
    UINT16 msg_type;      // low byte: acwtp_msg_type, high byte: its sub-type
    UINT32 msg_length;    // payload bytes; the sender's claim, so check it
    UINT32 crc;           // zlib crc32 of the payload, or 0 for none

    UINT8* msg_data() { return reinterpret_cast<UINT8*>(this) + sizeof(cloud_ap_pkt); }
    const UINT8* msg_data() const { return reinterpret_cast<const UINT8*>(this) + sizeof(cloud_ap_pkt); }
};
typedef struct cloud_ap_pkt CLOUD_AP_UDP_PKT;
inline constexpr std::size_t AC_FRAME_HEAD = 28;
static_assert(sizeof(CLOUD_AP_UDP_PKT) == AC_FRAME_HEAD && alignof(CLOUD_AP_UDP_PKT) == 4);
static_assert(offsetof(CLOUD_AP_UDP_PKT, ap_mac) == 0 && offsetof(CLOUD_AP_UDP_PKT, ap_proto_type) == 6);
static_assert(offsetof(CLOUD_AP_UDP_PKT, seq_num) == 8 && offsetof(CLOUD_AP_UDP_PKT, pkt_type) == 10);
static_assert(offsetof(CLOUD_AP_UDP_PKT, reserve) == 12 && offsetof(CLOUD_AP_UDP_PKT, ap_type) == 14);
static_assert(offsetof(CLOUD_AP_UDP_PKT, vendor) == 16 && offsetof(CLOUD_AP_UDP_PKT, msg_type) == 18);
static_assert(offsetof(CLOUD_AP_UDP_PKT, msg_length) == 20 && offsetof(CLOUD_AP_UDP_PKT, crc) == 24);
static_assert(std::has_unique_object_representations_v<CLOUD_AP_UDP_PKT>);

inline UINT8 acwtp_msg_low(UINT16 msg_type)
{
    return static_cast<UINT8>(msg_type & 0xFF);
}
inline UINT8 acwtp_msg_high(UINT16 msg_type)
{
    return static_cast<UINT8>(msg_type >> 8);
}

// Payload of HALDE_APDiscoveryReq.
struct ap_product_info {
    UINT8 ap_name[32]; // zero-padded; all 32 may be used, and any byte may stand in it
    UINT32 product_id;
    UINT8 ssid_num_24g;
    UINT8 ssid_num_5g;
    UINT8 rf_num;       // 1 or 2
    UINT8 flag_old_crc; // not read
    UINT16 ap_type;     // the header's, once more
    UINT8 pad[2];
};
typedef struct ap_product_info AP_PRODUCT_INFO;
static_assert(sizeof(AP_PRODUCT_INFO) == 44);
static_assert(offsetof(AP_PRODUCT_INFO, ap_name) == 0 && offsetof(AP_PRODUCT_INFO, product_id) == 32);
static_assert(offsetof(AP_PRODUCT_INFO, ssid_num_24g) == 36 && offsetof(AP_PRODUCT_INFO, ssid_num_5g) == 37);
static_assert(offsetof(AP_PRODUCT_INFO, rf_num) == 38 && offsetof(AP_PRODUCT_INFO, flag_old_crc) == 39);
static_assert(offsetof(AP_PRODUCT_INFO, ap_type) == 40 && offsetof(AP_PRODUCT_INFO, pad) == 42);
static_assert(std::has_unique_object_representations_v<AP_PRODUCT_INFO>);

// Payload of HALDE_APTimeSyncReq.
struct __attribute__((packed)) config_time {
    UINT32 time; // seconds since the epoch
    UINT16 zone;
};
typedef struct config_time CONFIG_TIME;
static_assert(sizeof(CONFIG_TIME) == 6);
static_assert(offsetof(CONFIG_TIME, time) == 0 && offsetof(CONFIG_TIME, zone) == 4);
static_assert(std::has_unique_object_representations_v<CONFIG_TIME>);
