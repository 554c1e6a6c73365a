#include "ac_mib/apconfig_update.h"

#include "apconfig_requests.h"

namespace {

// Every command with a row, by the number under which it comes from the control channel, its data as long as they must
// be, and its note; SQL_LED is 0, so none is -1.
struct Row {
    UINT16 type;
    Bytes data;
    int sql;
};

std::vector<Row> rows()
{
    return {
        {command(18, 1), Bytes(21), CONFIG_SQL_IP},
        {command(18, 2), wlrf_request({rf_image(2, 1)}, {wl_image(0, 2)}), CONFIG_SQL_WLRF},
        {command(18, 8), apname("n"), CONFIG_SQL_APNAME},
        {command(18, 16), wl_all_request({wl_all_image(0, 2)}), CONFIG_SQL_WLRF},
        {command(18, 32), rf_request(rf_image(2, 1), "set_rf_policy", "n"), CONFIG_SQL_RF},
        {command(4, 0x40), Bytes(4), CONFIG_SQL_REBOOT},
        {command(4, 0x80), Bytes(8), CONFIG_SQL_ALARM},
        {command(4, 4), Bytes(1), CONFIG_SQL_LED},
        {command(6), Bytes(1, AP_LINK_UP), CONFIG_SQL_STATUS},
        {command(10), apname("n"), CONFIG_SQL_APNAME},
        {command(11), Bytes(2), -1},
        {command(13), name32("n"), CONFIG_SQL_REBOOT_NAME},
        {command(14), name32("n"), CONFIG_SQL_ALARM_NAME},
        {command(15), Bytes(80), CONFIG_SQL_ALARM_EVENT},
        {command(39), Bytes(1), -1},
        {command(44), Bytes(2), CONFIG_SQL_CLI_LIMIT},
        {command(45), Bytes(3), CONFIG_SQL_CHANNEL},
        {command(46), name32("n"), CONFIG_SQL_PASSWORD_NAME},
        {command(47), Bytes(1), CONFIG_SQL_WL_POLICY_NAME},
        {command(128), name32("n"), CONFIG_SQL_WL_DEPLOY_NAME},
        {command(141), name32("n"), CONFIG_SQL_QVLAN_NAME},
    };
}

} // namespace

// --- the call
// ------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigUpdate, an_unknown_mac_gives_255_and_prints)
{
    EXPECT_EQ(printed(command(SET_AP_STATUS_REQ), {1}, 255), Texts{"mac is not exited\n"});
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, null_data_give_255_and_print)
{
    record();
    const std::string out =
        output_of([&] { EXPECT_EQ(apconfig_mib_update(command(SET_AP_STATUS_REQ), mac.data(), {}), 255); });
    EXPECT_EQ(error_texts(out), Texts{"data is null\n"});
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, of_an_unknown_mac_and_null_data_the_mac_is_reported)
{
    const std::string out =
        output_of([&] { EXPECT_EQ(apconfig_mib_update(command(SET_AP_STATUS_REQ), mac.data(), {}), 255); });
    EXPECT_EQ(error_texts(out), Texts{"mac is not exited\n"});
}

TEST_F(ApconfigUpdate, null_data_are_refused_even_where_the_command_does_not_read_them)
{
    APCONFIG* node = record();
    EXPECT_EQ(apconfig_mib_update(command(SET_RESTORE_FLAG), mac.data(), {}), 255);
    EXPECT_EQ(apconfig_mib_update(command(200), mac.data(), {}), 255);
    EXPECT_EQ(node->restore, 0);
}

TEST_F(ApconfigUpdate, every_command_with_full_data_gives_0_and_its_own_note)
{
    record();
    for (const Row& row : rows()) {
        SCOPED_TRACE(row.type);
        EXPECT_EQ(update(row.type, row.data), 0);
        EXPECT_EQ(take_notes(), row.sql == -1 ? Notes{} : one_note(row.sql));
    }
}

TEST_F(ApconfigUpdate, data_cut_at_any_length_are_refused_whole)
{
    APCONFIG* node = record();
    const Bytes before = image_of(node);
    for (const Row& row : rows()) {
        for (std::size_t length = 0; length < row.data.size(); length++) {
            Bytes data = cut(row.data, length);
            data.reserve(1); // an empty image still is no null image
            int result = 0;
            const std::string out = output_of([&] { result = apconfig_mib_update(row.type, mac.data(), data); });
            ASSERT_EQ(result, 255) << row.type << " " << length;
            ASSERT_EQ(error_texts(out).size(), 1U);
            ASSERT_EQ(error_texts(out)[0].rfind("data do not fit, type:", 0), 0U);
        }
    }
    EXPECT_EQ(image_of(node), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, a_command_without_a_row_does_nothing)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    const Bytes before = image_of(node);
    std::vector<bool> known(256);
    for (const Row& row : rows())
        known[row.type & 0xFF] = true;
    known[40] = true;
    known[41] = true;
    for (int number = 0; number < 256; number++) {
        if (known[static_cast<std::size_t>(number)]) continue;
        EXPECT_EQ(output_of([&] { EXPECT_EQ(update(command(number, 1), Bytes(1000, 2)), 0); }), "") << number;
    }
    EXPECT_EQ(image_of(node), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, the_qvlan_parameters_have_no_row)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    const Bytes before = image_of(node);
    EXPECT_EQ(update(command(SET_AP_CONFIG_QVLAN_PARA_REQ), Bytes(200, 3)), 0);
    EXPECT_EQ(image_of(node), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, sub_flags_of_command_18_without_a_row_do_nothing)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    const Bytes before = image_of(node);
    for (int flag = 0; flag < 256; flag++) {
        if (flag == 1 || flag == 2 || flag == 8 || flag == 16 || flag == 32) continue;
        EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, flag), Bytes(600, 1)), 0) << flag;
    }
    EXPECT_EQ(image_of(node), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, sub_flags_of_command_4_without_a_row_do_nothing)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    const Bytes before = image_of(node);
    for (int flag = 0; flag < 256; flag++) {
        if (flag == 4 || flag == 0x40 || flag == 0x80) continue;
        EXPECT_EQ(update(command(SET_AP_CONFIG_ADVANCE_REQ, flag), Bytes(600, 1)), 0) << flag;
    }
    EXPECT_EQ(image_of(node), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, commands_of_one_row_take_any_sub_flag)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_STATUS_REQ, 0xFF), {AP_UPGRADING}), 0);
    EXPECT_EQ(node->status, AP_UPGRADING);
    EXPECT_EQ(update(command(SET_AP_REMARK_REQ, 8), apname("flagged")), 0);
    EXPECT_EQ(text_of(node->info_basic.apname.ap_name), "flagged");
    take_notes();
    for (const Row& row : rows()) {
        const int number = row.type & 0xFF;
        if (number == 4 || number == 18) continue;
        EXPECT_EQ(update(command(number, 0xFF), row.data), 0) << number;
        EXPECT_EQ(take_notes(), row.sql == -1 ? Notes{} : one_note(row.sql)) << number;
    }
    EXPECT_EQ(update(command(41, 0xFF), {0}), 0);
    EXPECT_EQ(node->restore, 1);
    EXPECT_EQ(update(command(40, 0xFF), {0}), 0);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_VERSION));
}

TEST_F(ApconfigUpdate, the_commands_that_read_no_data_take_any_length)
{
    APCONFIG* node = record();
    const UINT8 nothing = 0;
    for (int number : {40, 41})
        EXPECT_EQ(apconfig_mib_update(command(number), mac.data(), std::span(&nothing, 0)), 0);
    EXPECT_EQ(node->status, AP_LINK_DOWN);
    EXPECT_EQ(node->restore, 1);
}

TEST_F(ApconfigUpdate, the_mac_may_be_the_records_own_field)
{
    APCONFIG* node = record();
    EXPECT_EQ(apconfig_mib_update_byte(SET_AP_STATUS_REQ, node->ethaddr, AP_UPGRADING), 0);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_STATUS));
}

// --- the version of an offline AP
// ------------------------------------------------------------------------------------------

TEST_F(ApconfigUpdate, a_change_of_status_alone_never_raises_the_version)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    EXPECT_EQ(update(command(SET_AP_STATUS_REQ), {0}), 0);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_STATUS));
    EXPECT_EQ(raw(node->AP_config_version)[0], '0');
}

TEST_F(ApconfigUpdate, a_remark_on_an_offline_ap_of_version_0_raises_it_to_1_with_two_notes)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    EXPECT_EQ(update(command(SET_AP_REMARK_REQ), apname("roof")), 0);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_APNAME, 0, mac}, {CONFIG_SQL_VERSION, 0, mac}}));
    EXPECT_EQ(raw(node->AP_config_version), (Bytes{'1', 0}));
}

TEST_F(ApconfigUpdate, a_version_cleared_by_a_zero_byte_counts_as_0)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "12");
    EXPECT_EQ(update(command(SET_AP_VERSION), {0}), 0);
    EXPECT_EQ(raw(node->AP_config_version), (Bytes{0, '2'}));
    EXPECT_EQ(update(command(SET_AP_CONFIG_ADVANCE_REQ, 4), {1}), 0);
    EXPECT_EQ(raw(node->AP_config_version), (Bytes{'1', 0}));
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_LED, 0, mac}, {CONFIG_SQL_VERSION, 0, mac}}));
}

TEST_F(ApconfigUpdate, a_version_that_is_not_0_is_not_raised_again)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    update(command(SET_AP_REMARK_REQ), apname("one"));
    take_notes();
    EXPECT_EQ(update(command(SET_AP_REMARK_REQ), apname("two")), 0);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_APNAME));
    EXPECT_EQ(raw(node->AP_config_version), (Bytes{'1', 0}));
}

TEST_F(ApconfigUpdate, the_version_of_an_ap_that_is_not_offline_is_not_raised)
{
    for (UINT8 status : {AP_LINK_UP, AP_UPGRAD_SUCCESS, AP_UPGRAD_FAILED}) {
        APCONFIG* node = record(DUAL, status, "0");
        EXPECT_EQ(update(command(SET_AP_REMARK_REQ), apname("one")), 0);
        EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_APNAME));
        EXPECT_EQ(raw(node->AP_config_version)[0], '0');
        apconfig_mib_node_del(mac.data(), 0);
    }
}

TEST_F(ApconfigUpdate, a_change_without_a_note_does_not_raise_the_version)
{
    APCONFIG* node = record(DUAL, AP_LINK_DOWN, "0");
    EXPECT_EQ(update(command(SET_AP_MAIN_SSID_NUM_REQ), {0, 5}), 0);
    EXPECT_EQ(update(command(SET_RESTORE_FLAG), {0}), 0);
    EXPECT_EQ(raw(node->AP_config_version)[0], '0');
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, the_note_of_the_version_carries_the_index_of_the_change)
{
    record(DUAL, AP_LINK_DOWN, "0");
    EXPECT_EQ(update(command(SET_AP_CHANNEL), {1, 0, 36}), 0);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_CHANNEL, 1, mac}, {CONFIG_SQL_VERSION, 1, mac}}));
}

TEST_F(ApconfigUpdate, the_status_after_the_change_decides_on_the_version)
{
    record(DUAL, AP_LINK_UP, "0");
    EXPECT_EQ(update(command(SET_RESEND_FAILED_AP), {0}), 0); // takes it offline, but gives it version 1 itself
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_VERSION));
}

// --- single commands
// ---------------------------------------------------------------------------------------------------------

TEST_F(ApconfigUpdate, the_address_settings_are_replaced)
{
    APCONFIG* node = record();
    const Bytes ip = {1, 10, 0, 0, 5, 255, 255, 254, 0, 10, 0, 0, 1, 8, 8, 8, 8, 9, 9, 9, 9};
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 1), ip), 0);
    EXPECT_EQ(raw(node->info_basic.ip), ip);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_IP));
}

TEST_F(ApconfigUpdate, the_name_of_an_ap_is_replaced_by_command_18_and_by_the_remark)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_REQ, 8), apname("first")), 0);
    EXPECT_EQ(raw(node->info_basic.apname), apname("first"));
    EXPECT_EQ(update(command(SET_AP_REMARK_REQ), apname("second")), 0);
    EXPECT_EQ(raw(node->info_basic.apname), apname("second"));
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_APNAME, 0, mac}, {CONFIG_SQL_APNAME, 0, mac}}));
}

TEST_F(ApconfigUpdate, reboot_alarm_and_led_are_replaced)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CONFIG_ADVANCE_REQ, 0x40), {1, 2, 0x34, 0x12}), 0);
    EXPECT_EQ(raw(node->info_reboot), (Bytes{1, 2, 0x34, 0x12}));
    EXPECT_EQ(update(command(SET_AP_CONFIG_ADVANCE_REQ, 0x80), {1, 60, 0, 0, 9, 8, 7, 6}), 0);
    EXPECT_EQ(raw(node->info_alarm), (Bytes{1, 60, 0, 0, 9, 8, 7, 6}));
    EXPECT_EQ(update(command(SET_AP_CONFIG_ADVANCE_REQ, 4), {7}), 0);
    EXPECT_EQ(node->info_basic.led_status, 7);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_REBOOT, 0, mac}, {CONFIG_SQL_ALARM, 0, mac}, {CONFIG_SQL_LED, 0, mac}}));
}

TEST_F(ApconfigUpdate, the_status_is_replaced_and_can_be_asked_for)
{
    record();
    EXPECT_EQ(apconfig_mib_update_byte(command(SET_AP_STATUS_REQ), mac.data(), AP_UPGRAD_FAILED), 0);
    EXPECT_EQ(get_ap_status(mac.data()), AP_UPGRAD_FAILED);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_STATUS));
    EXPECT_EQ(get_ap_status(test_mac(1).data()), 0);
}

TEST_F(ApconfigUpdate, the_clients_of_an_ssid_are_set_without_a_note)
{
    APCONFIG* node = record();
    for (UINT8 clients : Bytes{9, 3})
        EXPECT_EQ(update(command(SET_AP_MAIN_SSID_NUM_REQ), {0, clients}), 0);
    EXPECT_EQ(update(command(SET_AP_MAIN_SSID_NUM_REQ), {11, 200}), 0);
    EXPECT_EQ(node->main_ssid_client[0], 3);
    EXPECT_EQ(node->main_ssid_client[11], 200);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, the_clients_of_ssid_12_are_refused)
{
    APCONFIG* node = record();
    const Bytes before = image_of(node);
    EXPECT_EQ(update(command(SET_AP_MAIN_SSID_NUM_REQ), {12, 3}), 255);
    EXPECT_EQ(update(command(SET_AP_MAIN_SSID_NUM_REQ), {255, 3}), 255);
    EXPECT_EQ(image_of(node), before);
}

TEST_F(ApconfigUpdate, policy_names_go_to_their_fields_all_32_bytes_of_them)
{
    APCONFIG* node = record();
    const struct {
        int number;
        const UINT8* field;
        int sql;
    } names[] = {{SET_REBOOT_POLICY_NAME, node->p_reboot_name, CONFIG_SQL_REBOOT_NAME},
                 {SET_ALARM_POLICY_NAME, node->p_alarm_name, CONFIG_SQL_ALARM_NAME},
                 {SET_PASSWORD_NAME, node->p_pass_name, CONFIG_SQL_PASSWORD_NAME},
                 {SET_WL_DEPLOY_POLICY_NAME, node->p_wl_deploy_name, CONFIG_SQL_WL_DEPLOY_NAME},
                 {SET_AP_CONFIG_QVLAN_REQ, node->p_qvlan_name, CONFIG_SQL_QVLAN_NAME}};
    for (const auto& name : names) {
        SCOPED_TRACE(name.number);
        Bytes data(32);
        for (std::size_t i = 0; i < 32; i++)
            data[i] = static_cast<UINT8>(name.number + static_cast<int>(i));
        EXPECT_EQ(update(command(name.number), data), 0);
        EXPECT_EQ(Bytes(name.field, name.field + 32), data);
        EXPECT_EQ(take_notes(), one_note(name.sql));
    }
}

TEST_F(ApconfigUpdate, the_alarm_delivery_is_replaced)
{
    APCONFIG* node = record();
    Bytes event(80);
    for (std::size_t i = 0; i < 80; i++)
        event[i] = static_cast<UINT8>(i + 1);
    EXPECT_EQ(update(command(SET_ALARM_EVENT), event), 0);
    EXPECT_EQ(raw(node->info_event), event);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_ALARM_EVENT));
}

TEST_F(ApconfigUpdate, the_version_command_replaces_one_byte_without_a_note)
{
    APCONFIG* node = record(DUAL, AP_LINK_UP, "35");
    EXPECT_EQ(update(command(SET_AP_VERSION), {'4'}), 0);
    EXPECT_EQ(raw(node->AP_config_version), (Bytes{'4', '5'}));
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, an_ap_that_missed_a_command_goes_offline_with_version_1)
{
    APCONFIG* node = record(DUAL, AP_LINK_UP, "35");
    EXPECT_EQ(update(command(40), {0xFF}), 0);
    EXPECT_EQ(node->status, AP_LINK_DOWN);
    EXPECT_EQ(raw(node->AP_config_version), (Bytes{'1', 0}));
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_VERSION));
}

TEST_F(ApconfigUpdate, the_restore_mark_is_set_whatever_the_byte)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(41), {0}), 0);
    EXPECT_EQ(node->restore, 1);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigUpdate, the_wireless_policy_name_only_queues_its_byte)
{
    APCONFIG* node = record();
    const Bytes before = image_of(node);
    EXPECT_EQ(update(command(SET_WL_POLICY_NAME), {9}), 0);
    EXPECT_EQ(image_of(node), before);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_WL_POLICY_NAME, 9));
}

TEST_F(ApconfigUpdate, a_client_limit_goes_to_its_ssid_and_its_note_to_ssid_0_or_1)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CLI_LIMIT), {8, 40}), 0);
    EXPECT_EQ(wl_of(node, 8).client_number, 40);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_CLI_LIMIT, 0));
    EXPECT_EQ(update(command(SET_AP_CLI_LIMIT), {3, 41}), 0);
    EXPECT_EQ(wl_of(node, 3).client_number, 41);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_CLI_LIMIT, 1));
}

TEST_F(ApconfigUpdate, a_client_limit_of_a_missing_ssid_prints_and_is_noted_all_the_same)
{
    APCONFIG* node = record(SINGLE);
    const Bytes before = image_of(node);
    EXPECT_EQ(printed(command(SET_AP_CLI_LIMIT), {8, 40}, 0), Texts{"node is not exited\n"});
    EXPECT_EQ(image_of(node), before);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_CLI_LIMIT, 0));
}

TEST_F(ApconfigUpdate, a_channel_goes_to_its_radio_and_names_it_in_the_note)
{
    APCONFIG* node = record();
    EXPECT_EQ(update(command(SET_AP_CHANNEL), {1, 2, 36}), 0);
    EXPECT_EQ(rf_of(node, 1).channel, 36);
    EXPECT_EQ(rf_of(node, 1).expand_channel, 2);
    EXPECT_EQ(take_notes(), one_note(CONFIG_SQL_CHANNEL, 1));
}

TEST_F(ApconfigUpdate, a_channel_of_a_missing_radio_prints_and_is_noted_all_the_same)
{
    APCONFIG* node = record(SINGLE);
    const Bytes before = image_of(node);
    EXPECT_EQ(printed(command(SET_AP_CHANNEL), {1, 2, 36}, 0), Texts{"node is not exited\n"});
    EXPECT_EQ(printed(command(SET_AP_CHANNEL), {200, 2, 36}, 0), Texts{"node is not exited\n"});
    EXPECT_EQ(image_of(node), before);
    EXPECT_EQ(take_notes(), (Notes{{CONFIG_SQL_CHANNEL, 1, mac}, {CONFIG_SQL_CHANNEL, 200, mac}}));
}
