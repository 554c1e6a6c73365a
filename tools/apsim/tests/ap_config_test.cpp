#include "ap_config.h"

#include <gtest/gtest.h>

#include "bytes.h"

using namespace apsim;

namespace {

const Mac mac = {0x02, 0xA9, 0x51, 0x00, 0x00, 0x10};

ApConfig config_of(UINT16 type)
{
    return factory_config(mac, ap_kind(type));
}

// LED, address, name "ap-000010", firmware "V1.0.0", no reboot, no alarm: everything before the radios, version "0".
Bytes head_of_report()
{
    return hex("3000 01 00 0a000010 ff000000 0a000001 0a000001 00000000") + hex("61702d303030303130") + zeros(23) +
           hex("09") + hex("56312e302e30") + zeros(26) + hex("06") + zeros(4) + zeros(2) + zeros(8);
}

Bytes ssid_record(UINT8 id, const char* set, const std::string& name)
{
    Bytes text(name.begin(), name.end());
    text.resize(32, 0);
    return Bytes{id} + hex(set) + hex("20 00 0000") + text + Bytes{static_cast<UINT8>(name.size())} + zeros(71);
}

std::string text_of(const CONFIG_SSID& ssid)
{
    return std::string(reinterpret_cast<const char*>(ssid.ssid), ssid.ssid_length);
}

// The 118 bytes that the controller sends for an SSID.
Bytes ssid_image(UINT8 id, UINT8 set, const std::string& name)
{
    Bytes image = Bytes{id, set} + hex("0c 00 6400");
    Bytes text(name.begin(), name.end());
    text.resize(32, 0);
    image = image + text + Bytes{static_cast<UINT8>(name.size())} + hex("00"); // to offset 40
    Bytes key(64, 'k');
    return image + hex("01 00 03") + key + hex("40") + hex("100e0000") + hex("c0a80001 1407");
}

constexpr UINT16 wireless = 0x0207;

} // namespace

TEST(ApConfig, report_in_layout_4_with_one_radio)
{
    const Bytes wanted = head_of_report() + hex("06 00 01 03 01 14 06 4b 02 05") + zeros(18) +
                         ssid_record(0, "02", "apsim-24g-0") + ssid_record(1, "02", "apsim-24g-1");
    EXPECT_EQ(shown(encode_report(config_of(1), 4)), shown(wanted));
    EXPECT_EQ(wanted.size(), 132u + 2 * 110);
}

TEST(ApConfig, report_in_layout_3_with_one_radio)
{
    const Bytes wanted = head_of_report() + hex("06 00 01 03 01 14 06 4b 02 05") + ssid_record(0, "02", "apsim-24g-0") +
                         ssid_record(1, "02", "apsim-24g-1");
    EXPECT_EQ(shown(encode_report(config_of(1), 3)), shown(wanted));
    EXPECT_EQ(wanted.size(), 114u + 2 * 110);
}

TEST(ApConfig, report_in_layout_4_with_two_radios_and_12_ssids)
{
    const Bytes report = encode_report(config_of(67), 4);
    ASSERT_EQ(report.size(), 1480u);
    EXPECT_EQ(shown(ByteView(report).subspan(104, 10)), "060001030114064b0205");
    EXPECT_EQ(shown(ByteView(report).subspan(132, 10)), "070001050114244b0205");
    EXPECT_EQ(shown(ByteView(report).subspan(160 + 11 * 110, 110)), shown(ssid_record(11, "03", "apsim-5g-11")));
}

TEST(ApConfig, report_in_layout_3_with_two_radios_makes_sense_where_the_second_radio_is_read)
{
    const Bytes report = encode_report(config_of(67), 3);
    ASSERT_EQ(report.size(), 1444u);
    EXPECT_EQ(shown(ByteView(report).subspan(114, 10)), "070001050114244b0205");
    EXPECT_EQ(shown(ByteView(report).subspan(124, 110)), shown(ssid_record(0, "02", "apsim-24g-0")));
    EXPECT_EQ(report[132] & 1, 1) << "a 5 GHz radio";
    EXPECT_EQ(report[132] & 2, 2) << "that is on";
}

TEST(ApConfig, every_type_of_the_mix_names_all_its_ssids)
{
    for (UINT16 type : default_types()) {
        const ApConfig config = config_of(type);
        EXPECT_EQ(config.ssids.size(), ap_kind(type).ssids());
        for (const CONFIG_WL_BASIC& wl : config.ssids) {
            EXPECT_GE(wl.ssid.ssid_length, 1);
            EXPECT_LE(wl.ssid.ssid_length, 32);
            EXPECT_LE(wl.ssid_id, 11);
        }
    }
}

TEST(ApConfig, kinds_of_the_mix_have_the_known_counts)
{
    const auto counts = [](UINT16 type) {
        const ApKind kind = ap_kind(type);
        return fmt::format("{} {}+{} {}", kind.name, kind.ssid_num_24g, kind.ssid_num_5g, kind.rf_num);
    };
    EXPECT_EQ(counts(1), "mdl1 2+0 1");
    EXPECT_EQ(counts(4), "mdl4 4+0 1");
    EXPECT_EQ(counts(6), "mdl6 8+0 1");
    EXPECT_EQ(counts(7), "mdl7 8+4 2");
    EXPECT_EQ(counts(67), "mdl67 8+4 2");
    EXPECT_EQ(counts(70), "sim70 6+4 2");
}

TEST(ApConfig, version_is_decimal_text_of_one_or_two_digits)
{
    ApConfig config;
    config.set_version(7);
    EXPECT_EQ(shown(config.version), "3700");
    config.set_version(12);
    EXPECT_EQ(shown(config.version), "3132");
    EXPECT_EQ(config.version_number(), 12);
    config.version = {0, 0};
    EXPECT_EQ(config.version_number(), 0);
}

TEST(ApConfig, a_stored_configuration_is_taken_over_in_both_layouts)
{
    for (UINT16 layout : {UINT16{3}, UINT16{4}}) {
        ApConfig theirs = config_of(67);
        theirs.set_version(5);
        theirs.basic.led_status = 0;
        theirs.alarm.stream_limit = 0x01020304;
        theirs.radios[1].channel = 149;
        theirs.ssids[11].client_number = 3;
        const Bytes payload = encode_report(theirs, layout) + zeros(8); // as the controller counts it
        ApConfig ours = config_of(67);
        ASSERT_TRUE(take_stored_config(ours, layout, payload));
        EXPECT_EQ(ours.version_number(), 5);
        EXPECT_EQ(ours.basic.led_status, 0);
        EXPECT_EQ(ours.alarm.stream_limit, 0x01020304u);
        EXPECT_EQ(ours.radios[1].channel, 149);
        EXPECT_EQ(ours.ssids[11].client_number, 3);
    }
}

TEST(ApConfig, a_stored_configuration_cut_at_any_length_changes_nothing)
{
    ApConfig theirs = config_of(1);
    theirs.set_version(5);
    const Bytes payload = encode_report(theirs, 4);
    for (std::size_t length = 0; length < payload.size(); length++) {
        ApConfig ours = config_of(1);
        ASSERT_FALSE(take_stored_config(ours, 4, ByteView(payload).first(length)));
        ASSERT_EQ(ours.version_number(), 0);
    }
}

TEST(ApConfig, radio_settings_of_one_ap_come_with_one_count_byte)
{
    ApConfig config = config_of(67);
    EXPECT_EQ(apply_setting(config, 0x2007, hex("01 03 02 0a 0b 0c 0d 95 0f 10 11")), Applied::done);
    const CONFIG_WL_RF& radio = config.radios[1];
    EXPECT_EQ(radio.RF_basic_setting, 3);
    EXPECT_EQ(radio.channel, 0x95);
    EXPECT_EQ(radio.sta_timeout, 0x11);
    EXPECT_EQ(config.radios[0].channel, 6);
}

TEST(ApConfig, radio_settings_of_a_policy_come_with_two_count_bytes)
{
    ApConfig config = config_of(67);
    EXPECT_EQ(
        apply_setting(config, wireless, hex("00 02  02 00 00 00 00 09 01 00 02 00  03 00 00 00 00 08 28 00 02 00")),
        Applied::done);
    EXPECT_EQ(config.radios[0].TXpower, 9);
    EXPECT_EQ(config.radios[1].channel, 0x28);
}

TEST(ApConfig, channel_255_keeps_channel_and_expand_channel_and_254_does_not)
{
    ApConfig config = config_of(1);
    config.radios[0].expand_channel = 1;
    apply_setting(config, 0x2007, hex("01 02 09 00 00 00 0a ff 00 00 00"));
    EXPECT_EQ(config.radios[0].channel, 6);
    EXPECT_EQ(config.radios[0].expand_channel, 1);
    EXPECT_EQ(config.radios[0].TXpower, 10);
    apply_setting(config, 0x2007, hex("01 02 09 00 00 00 0a fe 00 00 00"));
    EXPECT_EQ(config.radios[0].channel, 254);
    EXPECT_EQ(config.radios[0].expand_channel, 9);
}

TEST(ApConfig, ssid_images_of_118_bytes_are_taken_over)
{
    ApConfig config = config_of(67);
    const Bytes payload = hex("02 00") + ssid_image(1, 2, "guests") + ssid_image(8, 3, "staff");
    ASSERT_EQ(payload.size(), 2u + 2 * 118);
    EXPECT_EQ(apply_setting(config, wireless, payload), Applied::done);
    const CONFIG_WL_BASIC& wl = config.ssids[1];
    EXPECT_EQ(text_of(wl.ssid), "guests");
    EXPECT_EQ(wl.client_number, 12);
    EXPECT_EQ(wl.vlan_id, 100);
    EXPECT_EQ(wl.wlSecure.secure_mode, 1);
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.auth_type, 3);
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.key.key_length, 64);
    EXPECT_EQ(shown(wl.wlSecure.wpapsk_secure_mode.key_time), "100e0000");
    EXPECT_EQ(text_of(config.ssids[8].ssid), "staff");
    EXPECT_EQ(text_of(config.ssids[2].ssid), "apsim-24g-2");
}

TEST(ApConfig, an_ssid_switched_off_keeps_its_name_and_the_main_one_takes_its_radio_along)
{
    ApConfig config = config_of(67);
    apply_setting(config, wireless, hex("01 00") + ssid_image(1, 0, ""));
    EXPECT_EQ(config.ssids[1].wl_basic_set & AC_WL_ON, 0);
    EXPECT_EQ(text_of(config.ssids[1].ssid), "apsim-24g-1");
    EXPECT_EQ(config.radios[0].RF_basic_setting & AC_RF_ON, AC_RF_ON);
    apply_setting(config, wireless, hex("01 00") + ssid_image(8, 1, ""));
    EXPECT_EQ(config.radios[1].RF_basic_setting & AC_RF_ON, 0);
    EXPECT_EQ(config.radios[0].RF_basic_setting & AC_RF_ON, AC_RF_ON);
}

TEST(ApConfig, address_and_name)
{
    ApConfig config = config_of(1);
    EXPECT_EQ(apply_setting(config, 0x0107, hex("01 c0a80105 ffffff00 c0a80101 08080808 08080404")), Applied::done);
    EXPECT_EQ(shown(config.basic.ip.ip), "c0a80105");
    EXPECT_EQ(shown(config.basic.ip.dns), "08080404");
    EXPECT_EQ(apply_setting(config, 0x0807, hex("6c6f626279") + zeros(27) + hex("05")), Applied::done);
    EXPECT_EQ(config.basic.apname.ap_name_length, 5);
    EXPECT_EQ(config.basic.apname.ap_name[0], 'l');
}

TEST(ApConfig, alarm_reboot_and_led_blocks_stand_alone_and_together)
{
    ApConfig config = config_of(1);
    EXPECT_EQ(apply_setting(config, 0x8007, hex("01 20 0000 10270000")), Applied::done);
    EXPECT_EQ(config.alarm.hostnum_limit, 0x20);
    EXPECT_EQ(config.alarm.stream_limit, 10000u);
    EXPECT_EQ(apply_setting(config, 0x4407, hex("01 02 9f05  00ca9a3b 0800  00")), Applied::done);
    EXPECT_EQ(config.reboot.time, 0x059F);
    EXPECT_EQ(UINT32{config.time.time}, 1000000000u);
    EXPECT_EQ(UINT16{config.time.zone}, 8);
    EXPECT_EQ(config.basic.led_status, 0);
    EXPECT_EQ(apply_setting(config, 0xC407, hex("00 11 0000 01000000  00 00 0000  01000000 0000  01")), Applied::done);
    EXPECT_EQ(config.alarm.hostnum_limit, 0x11);
    EXPECT_EQ(config.reboot.reboot_en, 0);
    EXPECT_EQ(config.basic.led_status, 1);
}

TEST(ApConfig, simple_settings)
{
    ApConfig config = config_of(67);
    EXPECT_EQ(apply_setting(config, 0x0110, hex("01 02 24")), Applied::done);
    EXPECT_EQ(config.radios[1].channel, 0x24);
    EXPECT_EQ(config.radios[1].expand_channel, 2);
    EXPECT_EQ(apply_setting(config, 0x0210, hex("09 05")), Applied::done);
    EXPECT_EQ(config.ssids[9].client_number, 5);
    EXPECT_EQ(apply_setting(config, 0x0410, Bytes(32, 'u') + Bytes(32, 'p') + hex("01")), Applied::done);
    EXPECT_EQ(config.web_user[31], 'u');
    EXPECT_EQ(config.web_password[0], 'p');
    EXPECT_EQ(config.web_on_off, 1);
    EXPECT_EQ(apply_setting(config, 0x0810, hex("01 02 03")), Applied::done);
    EXPECT_EQ(shown(config.deploy), "010203");
    EXPECT_EQ(apply_setting(config, 0x1010, Bytes(22, 7) + zeros(43)), Applied::done);
    EXPECT_EQ(config.qvlan[21], 7);
}

TEST(ApConfig, a_payload_that_does_not_fit_is_kept_raw_and_changes_nothing)
{
    const Bytes before = encode_report(config_of(1), 4);
    for (UINT16 msg_type : std::initializer_list<UINT16>{0x0107, 0x0207, 0x0407, 0x0807, 0x2007, 0x4007, 0x8007, 0x1007,
                                                         0x0007, 0x0110, 0x0210, 0x0410, 0x0810, 0x1010, 0x0010})
        for (std::size_t length : {0u, 4u, 9u, 20u, 22u + 1, 400u}) {
            if (msg_type == 0x1010 && length >= 22) continue;
            ApConfig config = config_of(1);
            const Bytes payload(length, 0x5A);
            EXPECT_EQ(apply_setting(config, msg_type, payload), Applied::kept_raw) << msg_type << ' ' << length;
            EXPECT_EQ(config.raw.at(msg_type), payload);
            EXPECT_EQ(encode_report(config, 4), before);
        }
}

TEST(ApConfig, a_radio_or_ssid_that_the_ap_lacks_is_passed_over)
{
    ApConfig config = config_of(1);
    EXPECT_EQ(apply_setting(config, 0x2007, hex("01 03 00 00 00 00 00 24 00 00 00")), Applied::done);
    EXPECT_EQ(config.radios[0].channel, 6);
    EXPECT_EQ(apply_setting(config, 0x0110, hex("01 00 24")), Applied::kept_raw);
    EXPECT_EQ(apply_setting(config, 0x0210, hex("0b 05")), Applied::kept_raw);
}
