// Radio and SSID images of a batch, applied to a record.
#include "ac_mib/apconfig_update.h"

#include "apconfig_requests.h"

// --- radio images
// --------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigUpdate, a_radio_image_replaces_its_ten_fields_and_keeps_the_wired_ports)
{
    APCONFIG* node = record();
    rf_of(node, 1).lan_num = 0x0505;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(0x43, 36), "", "")), 0);
    Bytes expected(28);
    put(expected, 0, {0x43, 81, 82, 83, 84, 85, 36, 87, 88, 89, 5, 5});
    EXPECT_EQ(raw(rf_of(node, 1)), expected);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_RF, 1));
}

TEST_F(ApconfigUpdate, channel_255_keeps_channel_and_expand_setting_and_updates_the_rest)
{
    APCONFIG* node = record();
    rf_of(node, 0).channel = 6;
    rf_of(node, 0).expand_channel = 3;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(0x02, 255), "", "")), 0);
    EXPECT_EQ(cut(raw(rf_of(node, 0)), 10), (Bytes{0x02, 3, 82, 83, 84, 85, 6, 87, 88, 89}));
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(0x02, 254), "", "")), 0);
    EXPECT_EQ(cut(raw(rf_of(node, 0)), 10), (Bytes{0x02, 81, 82, 83, 84, 85, 254, 87, 88, 89}));
}

TEST_F(ApconfigUpdate, the_marker_binds_the_radio_to_the_named_policy)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(3, 36), "set_rf_policy", "fast")), 0);
    EXPECT_EQ(text_of(node->p_wl_rf_policy_name[1]), "fast");
    EXPECT_EQ(node->p_wl_rf_policy_name[0][0], 0);
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(2, 1), "set_rf_policy", "slow")), 0);
    EXPECT_EQ(text_of(node->p_wl_rf_policy_name[0]), "slow");
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_RF, 1, mac}, {CONFIG_SQL_RF, 0, mac}}));
}

TEST_F(ApconfigUpdate, any_other_marker_leaves_the_policy_name)
{
    APCONFIG* node = record();
    set_text(node->p_wl_rf_policy_name[0], "kept");
    for (const char* marker : {"", "set_rf_polic", "set_rf_policy2", "SET_RF_POLICY", "xxxxxxxxxxxxxxxx"}) {
        EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(2, 1), marker, "other")), 0);
        EXPECT_EQ(text_of(node->p_wl_rf_policy_name[0]), "kept") << marker;
    }
}

TEST_F(ApconfigUpdate, a_radio_image_of_a_missing_radio_prints_and_is_noted_all_the_same)
{
    APCONFIG* node = record(SINGLE);
    EXPECT_EQ(printed(command(SET_AP_CONFIG_REQ, 32), rf_request(rf_image(3, 36), "set_rf_policy", "fast"), 0),
              Texts{"node is not exited\n"});
    EXPECT_EQ(text_of(node->p_wl_rf_policy_name[1]), "fast");
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_RF, 1));
}

// --- SSID images
// ---------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigUpdate, an_enabled_ssid_image_replaces_the_ssid)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), wlrf_request({}, {wl_image(3, 2)})), 0);
    EXPECT_EQ(raw(wl_of(node, 3)), wl_changed(3));
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_WLRF));
}

TEST_F(ApconfigUpdate, all_bits_of_an_enabled_ssid_image_are_taken_over_in_either_form)
{
    APCONFIG* node = record();
    wl_of(node, 3).wl_basic_set = 0x40;
    wl_of(node, 9).wl_basic_set = 0x40;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), wlrf_request({}, {wl_image(3, 0x8B)})), 0);
    EXPECT_EQ(raw(wl_of(node, 3)), wl_image(3, 0x8B));
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), wl_all_request({wl_all_image(9, 0x8B)})), 0);
    EXPECT_EQ(raw(wl_of(node, 9)), wl_image(9, 0x8B));
}

TEST_F(ApconfigUpdate, a_disabled_ssid_image_changes_nothing_but_the_switch)
{
    APCONFIG* node = record();
    for (const UINT8 id : Bytes{1, 7, 9, 11}) {
        SCOPED_TRACE(int{id});
        wl_of(node, id).wl_basic_set = 0xFF;
        Bytes expected = raw(wl_of(node, id));
        expected[1] = 0xFD;
        EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), wlrf_request({}, {wl_image(id, 0xFD)})), 0);
        EXPECT_EQ(raw(wl_of(node, id)), expected);
        EXPECT_EQ(rf_of(node, 0).RF_basic_setting & 2, 2);
        EXPECT_EQ(rf_of(node, 1).RF_basic_setting & 2, 2);
    }
}

TEST_F(ApconfigUpdate, a_disabled_image_of_the_longer_form_changes_nothing_but_the_switch)
{
    APCONFIG* node = record();
    wl_of(node, 3).wl_basic_set = 0xFF;
    Bytes expected = raw(wl_of(node, 3));
    expected[1] = 0xFD;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), wl_all_request({wl_all_image(3, 0xFD)})), 0);
    EXPECT_EQ(raw(wl_of(node, 3)), expected);
}

TEST_F(ApconfigUpdate, switching_ssid_0_off_switches_radio_0_off)
{
    APCONFIG* node = record();
    rf_of(node, 0).RF_basic_setting = 0x5E;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), wlrf_request({}, {wl_image(0, 0)})), 0);
    EXPECT_EQ(rf_of(node, 0).RF_basic_setting, 0x5C);
    EXPECT_EQ(rf_of(node, 1).RF_basic_setting & 2, 2);
}

TEST_F(ApconfigUpdate, switching_ssid_8_off_switches_radio_1_off)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), wl_all_request({wl_all_image(8, 0)})), 0);
    EXPECT_EQ(rf_of(node, 1).RF_basic_setting & 2, 0);
    EXPECT_EQ(rf_of(node, 0).RF_basic_setting & 2, 2);
}

TEST_F(ApconfigUpdate, switching_ssid_8_off_does_no_harm_without_radio_1)
{
    APCONFIG* node = record();
    drop_rf(node, 1);
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), wlrf_request({}, {wl_image(8, 0)})), 0);
    EXPECT_EQ(wl_of(node, 8).wl_basic_set, 0);
}

TEST_F(ApconfigUpdate, a_batch_applies_its_radios_first_and_then_its_ssids)
{
    APCONFIG* node = record();
    const Bytes request = wlrf_request({rf_image(0x02, 1), rf_image(0x43, 36)}, {wl_image(0, 0), wl_image(8, 2)});
    EXPECT_EQ(request.size(), 386U + 20 + 220);
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), request), 0);
    EXPECT_EQ(rf_of(node, 0).RF_basic_setting, 0x00); // on by its image, then off with its main SSID
    EXPECT_EQ(rf_of(node, 0).channel, 1);
    EXPECT_EQ(rf_of(node, 1).RF_basic_setting, 0x43);
    EXPECT_EQ(raw(wl_of(node, 8)), wl_changed(8));
    EXPECT_EQ(node->p_wl_basic_policy_name[8][0], 0);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_WLRF));
}

TEST_F(ApconfigUpdate, a_batch_without_images_is_only_noted)
{
    APCONFIG* node = record();
    const Bytes before = image_of(node);
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), wlrf_request({}, {})), 0);
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), wl_all_request({})), 0);
    EXPECT_EQ(image_of(node), before);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_WLRF, 0, mac}, {CONFIG_SQL_WLRF, 0, mac}}));
}

TEST_F(ApconfigUpdate, missing_nodes_of_a_batch_are_skipped_with_a_line_each)
{
    APCONFIG* node = record(SINGLE);
    const Bytes request = wlrf_request({rf_image(3, 36), rf_image(2, 7)}, {wl_image(200, 2), wl_image(1, 2)});
    EXPECT_EQ(printed(command(SET_AP_CONFIG_REQ, 2), request, 0),
              (Texts{"node is not exited\n", "node is not exited\n"}));
    EXPECT_EQ(rf_of(node, 0).channel, 7);
    EXPECT_EQ(raw(wl_of(node, 1)), wl_changed(1));
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_WLRF));
}

TEST_F(ApconfigUpdate, counts_that_the_data_do_not_hold_are_refused_whole)
{
    APCONFIG* node = record();
    const Bytes before = image_of(node);
    Bytes request = wlrf_request({rf_image(3, 36)}, {wl_image(1, 2)});
    request[384] = 255;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), request), 255);
    request[384] = 1;
    request[385] = 255;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 2), request), 255);
    request = wl_all_request({wl_all_image(1, 2)});
    request[384] = 2;
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), request), 255);
    EXPECT_EQ(image_of(node), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, the_longer_ssid_image_is_taken_over_without_its_radius_server)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), wl_all_request({wl_all_image(9, 2), wl_all_image(2, 2)})), 0);
    EXPECT_EQ(raw(wl_of(node, 9)), wl_changed(9));
    EXPECT_EQ(raw(wl_of(node, 2)), wl_changed(2));
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_WLRF));
}

TEST_F(ApconfigUpdate, the_longer_request_binds_the_ssids_it_names_to_their_policies)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 16), wl_all_request({wl_all_image(9, 2), wl_all_image(2, 0)})), 0);
    for (int i = 0; i < 12; i++)
        EXPECT_EQ(text_of(node->p_wl_basic_policy_name[i]), i == 9 || i == 2 ? "policy" + std::to_string(i) : "");
}

TEST_F(ApconfigUpdate, an_ssid_number_out_of_range_binds_nothing)
{
    APCONFIG* node = record();
    EXPECT_EQ(printed(command(SET_AP_CONFIG_REQ, 16), wl_all_request({wl_all_image(12, 2), wl_all_image(255, 2)}), 0),
              (Texts{"node is not exited\n", "node is not exited\n"}));
    EXPECT_EQ(raw(node->p_wl_basic_policy_name), Bytes(384));
    EXPECT_EQ(raw(node->p_wl_rf_policy_name), Bytes(64)); // what lies behind the names of SSIDs
}
