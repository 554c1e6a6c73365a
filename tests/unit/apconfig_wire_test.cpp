// Golden bytes of the records that cross the wire as raw images.
#include "ac_mib/apconfig_wire.h"

#include "apconfig_fixture.h"

namespace {

class ApconfigWire : public TestWorld {};

} // namespace

TEST_F(ApconfigWire, config_ip_lies_in_21_bytes)
{
    const auto ip = from_bytes<CONFIG_IP>({1, 10, 0, 0, 5, 255, 255, 254, 0, 10, 0, 0, 1, 8, 8, 8, 8, 9, 9, 9, 9});
    EXPECT_EQ(ip.mode, 1);
    EXPECT_EQ(raw(ip.ip), (Bytes{10, 0, 0, 5}));
    EXPECT_EQ(raw(ip.mask), (Bytes{255, 255, 254, 0}));
    EXPECT_EQ(raw(ip.gateway), (Bytes{10, 0, 0, 1}));
    EXPECT_EQ(raw(ip.hostdns), (Bytes{8, 8, 8, 8}));
    EXPECT_EQ(raw(ip.dns), (Bytes{9, 9, 9, 9}));
}

TEST_F(ApconfigWire, texts_of_32_bytes_carry_their_length_at_32)
{
    Bytes image(33);
    put(image, 0, std::string(32, 'n'));
    put(image, 32, {32});
    const auto name = from_bytes<CONFIG_APNAME>(image);
    EXPECT_EQ(name.ap_name[0], 'n');
    EXPECT_EQ(name.ap_name[31], 'n');
    EXPECT_EQ(name.ap_name_length, 32);
    const auto version = from_bytes<CONFIG_VERSION>(image);
    EXPECT_EQ(version.version[31], 'n');
    EXPECT_EQ(version.version_length, 32);
    const auto ssid = from_bytes<CONFIG_SSID>(image);
    EXPECT_EQ(ssid.ssid[31], 'n');
    EXPECT_EQ(ssid.ssid_length, 32);
}

TEST_F(ApconfigWire, config_key_carries_its_length_at_64)
{
    Bytes image(65);
    put(image, 0, std::string(64, 'k'));
    put(image, 64, {63});
    const auto key = from_bytes<CONFIG_KEY>(image);
    EXPECT_EQ(key.key[63], 'k');
    EXPECT_EQ(key.key_length, 63);
}

TEST_F(ApconfigWire, config_basic_lies_in_88_bytes)
{
    Bytes image(88);
    put(image, 0, {3});
    put(image, 1, {2, 192, 168, 0, 7});
    put(image, 22, "lobby");
    put(image, 54, {5});
    put(image, 55, "V1.2");
    put(image, 87, {4});
    const auto basic = from_bytes<CONFIG_BASIC>(image);
    EXPECT_EQ(basic.led_status, 3);
    EXPECT_EQ(basic.ip.mode, 2);
    EXPECT_EQ(raw(basic.ip.ip), (Bytes{192, 168, 0, 7}));
    EXPECT_EQ(text_of(basic.apname.ap_name), "lobby");
    EXPECT_EQ(basic.apname.ap_name_length, 5);
    EXPECT_EQ(text_of(basic.version.version), "V1.2");
    EXPECT_EQ(basic.version.version_length, 4);
}

TEST_F(ApconfigWire, config_sched_reboot_lies_in_4_bytes)
{
    const auto reboot = from_bytes<CONFIG_SCHED_REBOOT>({1, 2, 0x34, 0x12});
    EXPECT_EQ(reboot.reboot_en, 1);
    EXPECT_EQ(reboot.reboot_type, 2);
    EXPECT_EQ(reboot.time, 0x1234);
}

TEST_F(ApconfigWire, config_alarm_has_a_gap_of_2_before_its_stream_limit)
{
    const auto alarm = from_bytes<CONFIG_ALARM>({1, 40, 0xEE, 0xEE, 0x78, 0x56, 0x34, 0x12});
    EXPECT_EQ(alarm.alarm_switch, 1);
    EXPECT_EQ(alarm.hostnum_limit, 40);
    EXPECT_EQ(alarm.stream_limit, 0x12345678U);
}

TEST_F(ApconfigWire, the_alarm_delivery_lies_in_80_bytes)
{
    Bytes image(80);
    put(image, 0, {1});
    put(image, 1, "ops@example.net");
    put(image, 34, "secret");
    put(image, 68, {0x0A, 0x01, 0x19, 0x00, 1, 2});
    put(image, 76, {10, 0, 0, 9});
    const auto event = from_bytes<CONFIG_ALARM_EVENT>(image);
    EXPECT_EQ(event.mailEnable, 1);
    EXPECT_EQ(text_of(event.mailName), "ops@example.net");
    EXPECT_EQ(text_of(event.mailPwd), "secret");
    EXPECT_EQ(event.mailInterTime, 0x010A);
    EXPECT_EQ(event.mailPort, 25);
    EXPECT_EQ(event.SSLEnable, 1);
    EXPECT_EQ(event.pcEnable, 2);
    EXPECT_EQ(event.pcIpAddr, 0x0900000AU);
}

TEST_F(ApconfigWire, config_wl_basic_lies_in_110_bytes)
{
    Bytes image(110);
    put(image, 0, {8, 2, 30, 0xEE, 0x34, 0x12});
    put(image, 6, "guest");
    put(image, 38, {5, 7, 9});
    put(image, 41, "password");
    put(image, 105, {8, 0x10, 0x0E, 0, 0});
    const auto wl = from_bytes<CONFIG_WL_BASIC>(image);
    EXPECT_EQ(wl.ssid_id, 8);
    EXPECT_EQ(wl.wl_basic_set, 2);
    EXPECT_EQ(wl.client_number, 30);
    EXPECT_EQ(wl.vlan_id, 0x1234);
    EXPECT_EQ(text_of(wl.ssid.ssid), "guest");
    EXPECT_EQ(wl.ssid.ssid_length, 5);
    EXPECT_EQ(wl.wlSecure.secure_mode, 7);
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.auth_type, 9);
    EXPECT_EQ(text_of(wl.wlSecure.wpapsk_secure_mode.key.key), "password");
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.key.key_length, 8);
    EXPECT_EQ(raw(wl.wlSecure.wpapsk_secure_mode.key_time), (Bytes{0x10, 0x0E, 0, 0}));
}

TEST_F(ApconfigWire, config_wl_basic_all_lies_in_118_bytes)
{
    Bytes image(118);
    put(image, 0, {3, 2, 31, 0xEE, 0x34, 0x12});
    put(image, 6, "staff");
    put(image, 38, {5, 0xEE, 7, 0xEE, 9});
    put(image, 43, "radiuskey");
    put(image, 107, {9, 1, 2, 3, 4, 10, 0, 0, 6, 0x14, 0x07});
    const auto wl = from_bytes<CONFIG_WL_BASIC_ALL>(image);
    EXPECT_EQ(wl.ssid_id, 3);
    EXPECT_EQ(wl.client_number, 31);
    EXPECT_EQ(wl.vlan_id, 0x1234);
    EXPECT_EQ(wl.ssid.ssid_length, 5);
    EXPECT_EQ(wl.wlSecure.secure_mode, 7);
    EXPECT_EQ(wl.wlSecure.wpa_secure_mode.auth_type, 9);
    EXPECT_EQ(text_of(wl.wlSecure.wpa_secure_mode.key.key), "radiuskey");
    EXPECT_EQ(wl.wlSecure.wpa_secure_mode.key.key_length, 9);
    EXPECT_EQ(raw(wl.wlSecure.wpa_secure_mode.key_time), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(raw(wl.wlSecure.wpa_secure_mode.radius_server), (Bytes{10, 0, 0, 6}));
    EXPECT_EQ(wl.wlSecure.wpa_secure_mode.radius_port, 1812);
}

TEST_F(ApconfigWire, config_wl_rf_lies_in_28_bytes_of_which_the_old_form_has_the_first_10)
{
    const Bytes image = {0x47, 1,    2,    3,    4,  5,  6,  7,  8,  9,  0x0B, 0x0A, 0x0D, 0x0C,
                         0x0F, 0x0E, 0x11, 0x10, 20, 21, 22, 23, 24, 25, 26,   27,   28,   29};
    const auto rf = from_bytes<CONFIG_WL_RF>(image);
    const auto v1 = from_bytes<CONFIG_WL_RF_V1>(cut(image, 10));
    EXPECT_EQ(rf.RF_basic_setting, 0x47);
    EXPECT_EQ(rf.expand_channel, 1);
    EXPECT_EQ(rf.country_code, 2);
    EXPECT_EQ(rf.network_mode, 3);
    EXPECT_EQ(rf.bandwidth, 4);
    EXPECT_EQ(rf.TXpower, 5);
    EXPECT_EQ(rf.channel, 6);
    EXPECT_EQ(rf.rssi, 7);
    EXPECT_EQ(rf.interface_mode, 8);
    EXPECT_EQ(rf.sta_timeout, 9);
    EXPECT_EQ(rf.lan_num, 0x0A0B);
    EXPECT_EQ(rf.lan0_vlanid, 0x0C0D);
    EXPECT_EQ(rf.lan1_vlanid, 0x0E0F);
    EXPECT_EQ(rf.lan2_vlanid, 0x1011);
    EXPECT_EQ(raw(rf.qvlan_truck_port), (Bytes{20, 21, 22, 23, 24, 25, 26, 27, 28, 29}));
    EXPECT_EQ(v1.RF_basic_setting, 0x47);
    EXPECT_EQ(v1.expand_channel, 1);
    EXPECT_EQ(v1.country_code, 2);
    EXPECT_EQ(v1.network_mode, 3);
    EXPECT_EQ(v1.bandwidth, 4);
    EXPECT_EQ(v1.TXpower, 5);
    EXPECT_EQ(v1.channel, 6);
    EXPECT_EQ(v1.rssi, 7);
    EXPECT_EQ(v1.interface_mode, 8);
    EXPECT_EQ(v1.sta_timeout, 9);
}

TEST_F(ApconfigWire, channel_and_client_limit_are_bare_bytes)
{
    const auto channel = from_bytes<CONFIG_CHANNEL>({1, 2, 36});
    EXPECT_EQ(channel.radio, 1);
    EXPECT_EQ(channel.expand_channel, 2);
    EXPECT_EQ(channel.channel, 36);
    const auto limit = from_bytes<CONFIG_CLI_LIMIT>({8, 64});
    EXPECT_EQ(limit.ssid_id, 8);
    EXPECT_EQ(limit.limit, 64);
}
