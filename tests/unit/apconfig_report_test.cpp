// The rows of the web interface's lists.
#include "ac_mib/apconfig_query.h"
#include "apconfig_fixture.h"

namespace {

constexpr UINT16 SINGLE = 1; // one radio, SSIDs 0 and 1
constexpr UINT16 DUAL = 67;  // two radios, SSIDs 0 to 11

void set_name(CONFIG_APNAME& name, const std::string& text)
{
    set_text(name.ap_name, text);
    name.ap_name_length = static_cast<UINT8>(text.size());
}

class ApconfigReport : public TestWorld {
protected:
    Mac mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};

    // An AP of two radios with all that the rows show. SSID 0, 8 and 11 are on, the others off.
    APCONFIG* full_record()
    {
        APCONFIG* node = make_record(mac, DUAL, AP_UPGRADING);
        memcpy(node->ip, Bytes{10, 20, 30, 40}.data(), 4);
        set_name(node->info_basic.apname, "lobby");
        set_text(node->info_basic.version.version, "V7.1");
        node->info_basic.version.version_length = 4;
        node->info_basic.led_status = 6;
        for (UINT8 i = 0; i < 12; i++)
            node->main_ssid_client[i] = static_cast<UINT8>(i + 1);
        rf_of(node, 0) = from_bytes<CONFIG_WL_RF>(
            {0x02, 0, 44, 0, 45, 17, 11, 60, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        rf_of(node, 1) = from_bytes<CONFIG_WL_RF>(
            {0x43, 0, 99, 0, 98, 23, 149, 61, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0});
        for (UINT8 i = 0; i < 12; i++) {
            wl_of(node, i).wl_basic_set = i == 0 || i == 8 || i == 11 ? 2 : 0;
            wl_of(node, i).client_number = static_cast<UINT8>(50 + i);
        }
        set_text(node->p_reboot_name, "rb");
        set_text(node->p_alarm_name, "al");
        set_text(node->p_pass_name, "pw");
        set_text(node->p_wl_deploy_name, "dp");
        set_text(node->p_qvlan_name, "qv");
        set_text(node->p_wl_basic_policy_name[0], "wb");
        set_text(node->p_wl_basic_policy_name[1], "not shown");
        set_text(node->p_wl_rf_policy_name[0], "wr");
        set_text(node->p_wl_rf_policy_name[1], "not shown");
        return node;
    }

    // Whatever stood in the caller's buffer is no part of a row.
    template <typename Row> std::vector<Row> buffer(std::size_t rows)
    {
        std::vector<Row> info(rows);
        if (rows != 0) memset(static_cast<void*>(info.data()), 0xEE, rows * sizeof(Row));
        return info;
    }

    AC_WTP_WTP_TABLE list_row()
    {
        auto info = buffer<AC_WTP_WTP_TABLE>(1);
        int len = -1;
        EXPECT_EQ(apconfig_Traversal(info, &len), 1);
        EXPECT_EQ(len, 1);
        return info[0];
    }
    ACWTP_ADVANCE_CONFIG advance_row()
    {
        auto info = buffer<ACWTP_ADVANCE_CONFIG>(1);
        EXPECT_EQ(apconfig_advance_obtain(info), 1);
        return info[0];
    }
    AC_WTP_Ssid_Cfg_t scan_row()
    {
        auto info = buffer<AC_WTP_Ssid_Cfg_t>(1);
        int num = -1;
        EXPECT_EQ(apconfig_ssid_scan_obtain(info, &num), 0);
        EXPECT_EQ(num, 1);
        return info[0];
    }
    int scan_count()
    {
        auto info = buffer<AC_WTP_Ssid_Cfg_t>(4);
        int num = -1;
        EXPECT_EQ(apconfig_ssid_scan_obtain(info, &num), 0);
        return num;
    }
};

} // namespace

// --- the AP list
// ---------------------------------------------------------------------------------------------------------

TEST_F(ApconfigReport, a_row_of_the_ap_list_has_its_golden_bytes)
{
    full_record();
    Bytes row(528);
    put(row, 0, "mdl67");
    put(row, 33, "lobby");
    put(row, 68, {10, 20, 30, 40});
    put(row, 72, {0x02, 0x11, 0x22, 0x33, 0x44, 0x55});
    put(row, 79, {1 + 2 + 3 + 4 + 5 + 6 + 7 + 8, 9 + 10 + 11 + 12, 50, 58});
    put(row, 83, "ssid0");
    put(row, 83 + 33 * 8, "ssid8");
    put(row, 83 + 33 * 11, "ssid11");
    put(row, 479, {11, 149, 17, 23, 60, 61, 1});
    put(row, 486, "V7.1");
    put(row, 518, {4, 44, 45, 1, 1, 8, 4, 2});
    EXPECT_EQ(raw(list_row()), row);
}

TEST_F(ApconfigReport, a_row_of_an_ap_with_one_radio_leaves_the_second_radios_fields_0)
{
    APCONFIG* node = make_record(mac, SINGLE, AP_LINK_DOWN);
    memset(node->main_ssid_client, 1, 12);
    wl_of(node, 0).client_number = 33;
    rf_of(node, 0).channel = 6;
    const AC_WTP_WTP_TABLE row = list_row();
    EXPECT_EQ(row.clientNum, 8);
    EXPECT_EQ(row.clientNum_5g, 0);
    EXPECT_EQ(row.maxNum, 33);
    EXPECT_EQ(row.maxNum_5g, 0);
    EXPECT_EQ(row.real_channel, 6);
    EXPECT_EQ(row.real_channel_5g, 0);
    EXPECT_EQ(row.tx_pwr_5g, 0);
    EXPECT_EQ(row.rssi_5g, 0);
    EXPECT_EQ(row.precedence_5g, 0);
    EXPECT_EQ(row.ssid_status_5g, 0);
    EXPECT_EQ(row.currentststus, 0);
    EXPECT_EQ(row.ssid_num_24g, 2);
    EXPECT_EQ(row.ssid_num_5g, 0);
    EXPECT_EQ(row.rf_num, 1);
}

TEST_F(ApconfigReport, the_5ghz_priority_is_bit_6_of_radio_1)
{
    APCONFIG* node = full_record();
    rf_of(node, 1).RF_basic_setting = 0xBF;
    rf_of(node, 0).RF_basic_setting = 0x42;
    EXPECT_EQ(list_row().precedence_5g, 0);
    rf_of(node, 1).RF_basic_setting = 0x41;
    EXPECT_EQ(list_row().precedence_5g, 1);
}

TEST_F(ApconfigReport, with_radio_0_off_the_name_of_ssid_0_is_shown_all_the_same)
{
    APCONFIG* node = full_record();
    wl_of(node, 0).wl_basic_set = 0;
    rf_of(node, 0).RF_basic_setting = 0;
    const AC_WTP_WTP_TABLE row = list_row();
    EXPECT_EQ(row.ssid_status, 0);
    EXPECT_EQ(text_of(row.ssid[0]), "ssid0");
    EXPECT_EQ(text_of(row.ssid[1]), "");
}

TEST_F(ApconfigReport, with_radio_0_on_a_disabled_ssid_0_is_not_shown)
{
    wl_of(full_record(), 0).wl_basic_set = 0xFD;
    const AC_WTP_WTP_TABLE row = list_row();
    EXPECT_EQ(row.ssid_status, 1);
    EXPECT_EQ(text_of(row.ssid[0]), "");
    EXPECT_EQ(row.maxNum, 50);
}

TEST_F(ApconfigReport, a_disabled_ssid_8_is_not_named_and_shows_its_limit)
{
    wl_of(full_record(), 8).wl_basic_set = 0xFD;
    const AC_WTP_WTP_TABLE row = list_row();
    EXPECT_EQ(row.ssid_status_5g, 1);
    EXPECT_EQ(text_of(row.ssid[8]), "");
    EXPECT_EQ(row.maxNum_5g, 58);
}

TEST_F(ApconfigReport, radio_0_off_does_no_harm_to_an_ap_without_ssid_0)
{
    APCONFIG* node = full_record();
    rf_of(node, 0).RF_basic_setting = 0;
    drop_wl(node, 0);
    EXPECT_EQ(text_of(list_row().ssid[0]), "");
    EXPECT_EQ(list_row().maxNum, 0);
}

TEST_F(ApconfigReport, radio_1_off_shows_its_status_0_and_its_other_fields)
{
    rf_of(full_record(), 1).RF_basic_setting = 0x41;
    EXPECT_EQ(list_row().ssid_status_5g, 0);
    EXPECT_EQ(list_row().real_channel_5g, 149);
    EXPECT_EQ(list_row().clientNum_5g, 42);
}

TEST_F(ApconfigReport, an_ap_without_radio_0_is_missing_from_the_list)
{
    make_record(test_mac(1), DUAL, 1);
    drop_rf(record_of(test_mac(1)), 0);
    make_record(test_mac(2), DUAL, 1);
    make_record(test_mac(3), SINGLE, 1);
    drop_rf(record_of(test_mac(3)), 0);
    auto info = buffer<AC_WTP_WTP_TABLE>(3);
    int len = -1;
    EXPECT_EQ(apconfig_Traversal(info, &len), 1);
    EXPECT_EQ(len, 1);
    EXPECT_EQ(cut(raw(info[0].macAddr), 6), Bytes({2, 0, 0, 0, 0, 2}));
}

TEST_F(ApconfigReport, texts_are_taken_by_their_length_and_never_beyond_32)
{
    APCONFIG* node = full_record();
    set_name(node->info_basic.apname, "abcdefgh");
    node->info_basic.apname.ap_name_length = 3;
    node->info_basic.version.version_length = 2;
    wl_of(node, 0).ssid.ssid_length = 4;
    EXPECT_EQ(text_of(list_row().text), "abc");
    EXPECT_EQ(text_of(list_row().fversion), "V7");
    EXPECT_EQ(text_of(list_row().ssid[0]), "ssid");
    memset(node->info_basic.apname.ap_name, 'n', 32);
    memset(node->info_basic.version.version, 'v', 32);
    memset(wl_of(node, 0).ssid.ssid, 's', 32);
    for (UINT8 length : {UINT8{32}, UINT8{33}, UINT8{255}}) {
        node->info_basic.apname.ap_name_length = length;
        node->info_basic.version.version_length = length;
        wl_of(node, 0).ssid.ssid_length = length;
        const AC_WTP_WTP_TABLE row = list_row();
        EXPECT_EQ(text_of(row.text), std::string(32, 'n'));
        EXPECT_EQ(text_of(row.fversion), std::string(32, 'v'));
        EXPECT_EQ(text_of(row.ssid[0]), std::string(32, 's'));
        EXPECT_EQ(row.currentststus, AP_UPGRADING);
    }
}

TEST_F(ApconfigReport, a_product_name_of_32_bytes_is_shown_whole_and_terminated)
{
    APCONFIG* node = full_record();
    memset(node->product_name, 'p', 32);
    EXPECT_EQ(raw(list_row().apName)[32], 0);
    EXPECT_EQ(text_of(list_row().apName), std::string(32, 'p'));
}

TEST_F(ApconfigReport, an_ssid_number_out_of_range_is_not_shown_and_reaches_no_neighbour)
{
    APCONFIG* node = full_record();
    drop_wl(node, 11);
    drop_wl(node, 10);
    const Bytes list = raw(list_row());
    const Bytes advance = raw(advance_row());
    const Bytes scan = raw(scan_row());
    memset(wl_of(node, 9).ssid.ssid, 's', 32); // long enough to be seen wherever it lands
    wl_of(node, 9).ssid.ssid_length = 32;
    for (UINT8 id : {UINT8{12}, UINT8{255}}) {
        wl_of(node, 9).wl_basic_set = 2;
        wl_of(node, 9).ssid_id = id;
        EXPECT_EQ(raw(list_row()), list);
        EXPECT_EQ(raw(advance_row()), advance);
        EXPECT_EQ(raw(scan_row()), scan);
        wl_of(node, id).ssid_id = 9;
    }
}

TEST_F(ApconfigReport, an_empty_table_gives_no_rows)
{
    auto list = buffer<AC_WTP_WTP_TABLE>(2);
    int len = -1;
    EXPECT_EQ(apconfig_Traversal(list, &len), 0);
    EXPECT_EQ(len, 0);
    auto advance = buffer<ACWTP_ADVANCE_CONFIG>(2);
    EXPECT_EQ(apconfig_advance_obtain(advance), 0);
    EXPECT_EQ(scan_count(), 0);
}

TEST_F(ApconfigReport, a_null_buffer_gives_255_and_prints)
{
    make_record(mac, DUAL, 1);
    int count = 7;
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(apconfig_Traversal({}, &count), 255); })),
              Texts{"malloc failed\n"});
    EXPECT_EQ(error_texts(output_of([] { EXPECT_EQ(apconfig_advance_obtain({}), 255); })), Texts{"malloc failed\n"});
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(apconfig_ssid_scan_obtain({}, &count), 255); })),
              Texts{"malloc failed\n"});
}

TEST_F(ApconfigReport, no_more_rows_are_written_than_fit)
{
    for (int i = 0; i < 5; i++)
        make_record(test_mac(i), DUAL, 1);
    auto list = buffer<AC_WTP_WTP_TABLE>(3);
    auto advance = buffer<ACWTP_ADVANCE_CONFIG>(3);
    auto scan = buffer<AC_WTP_Ssid_Cfg_t>(3);
    int count = 0;
    EXPECT_EQ(apconfig_Traversal(list, &count), 3);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(apconfig_advance_obtain(advance), 3);
    EXPECT_EQ(apconfig_ssid_scan_obtain(scan, &count), 0);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(apconfig_Traversal(std::span(list).first(0), &count), 0);
}

TEST_F(ApconfigReport, rows_stand_in_the_order_of_the_walk)
{
    for (int i = 0; i < 50; i++)
        make_record(test_mac(i), DUAL, 1);
    auto list = buffer<AC_WTP_WTP_TABLE>(60);
    auto advance = buffer<ACWTP_ADVANCE_CONFIG>(60);
    auto scan = buffer<AC_WTP_Ssid_Cfg_t>(60);
    int count = 0;
    ASSERT_EQ(apconfig_Traversal(list, &count), 50);
    ASSERT_EQ(apconfig_advance_obtain(advance), 50);
    ASSERT_EQ(apconfig_ssid_scan_obtain(scan, &count), 0);
    ASSERT_EQ(count, 50);
    ac_lock lock(g_apconfig_mutex);
    std::size_t i = 0;
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node), i++) {
        EXPECT_EQ(memcmp(list[i].macAddr, node->ethaddr, 6), 0);
        EXPECT_EQ(memcmp(advance[i].macAddr, node->ethaddr, 6), 0);
        EXPECT_EQ(memcmp(scan[i].macAddr, node->ethaddr, 6), 0);
    }
    EXPECT_EQ(i, 50U);
}

// --- the advanced page
// ---------------------------------------------------------------------------------------------------

TEST_F(ApconfigReport, a_row_of_the_advanced_page_has_its_golden_bytes)
{
    full_record();
    Bytes row(707);
    put(row, 0, "mdl67");
    put(row, 33, "lobby");
    put(row, 66, {0x02, 0x11, 0x22, 0x33, 0x44, 0x55});
    put(row, 73, "ssid0");
    put(row, 337, "ssid8");
    put(row, 337 + 33 * 3, "ssid11");
    put(row, 469, {6, 0, 4});
    put(row, 472, "rb");
    put(row, 505, "al");
    put(row, 538, "pw");
    put(row, 571, "dp");
    put(row, 604, "qv");
    put(row, 637, "wb");
    put(row, 670, "wr");
    put(row, 703, {0, 8, 4, 2});
    EXPECT_EQ(raw(advance_row()), row);
}

TEST_F(ApconfigReport, an_ap_without_ssid_0_is_skipped_on_the_advanced_page_with_a_line)
{
    drop_wl(full_record(), 0);
    auto info = buffer<ACWTP_ADVANCE_CONFIG>(2);
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(apconfig_advance_obtain(info), 0); })), Texts{""});
}

TEST_F(ApconfigReport, an_ap_without_radio_0_is_skipped_on_the_advanced_page_with_a_line)
{
    drop_rf(full_record(), 0);
    make_record(test_mac(1), SINGLE, 0);
    auto info = buffer<ACWTP_ADVANCE_CONFIG>(2);
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(apconfig_advance_obtain(info), 1); })), Texts{""});
    EXPECT_EQ(cut(raw(info[0].macAddr), 6), Bytes({2, 0, 0, 0, 0, 1}));
}

TEST_F(ApconfigReport, the_advanced_page_lists_offline_aps_too)
{
    make_record(mac, SINGLE, AP_LINK_DOWN);
    EXPECT_EQ(advance_row().status, 0);
}

// --- the SSIDs of online APs
// ---------------------------------------------------------------------------------------------

TEST_F(ApconfigReport, a_row_of_an_online_aps_ssids_has_its_golden_bytes)
{
    full_record();
    Bytes row(495);
    put(row, 0, "mdl67");
    put(row, 33, "lobby");
    put(row, 66, {11, 149, 0x02, 0x11, 0x22, 0x33, 0x44, 0x55});
    put(row, 75, "ssid0");
    put(row, 75 + 33 * 8, "ssid8");
    put(row, 75 + 33 * 11, "ssid11");
    put(row, 471, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    put(row, 483, {50, 0, 0, 0, 0, 0, 0, 0, 58, 0, 0, 61});
    EXPECT_EQ(raw(scan_row()), row);
}

TEST_F(ApconfigReport, an_offline_aps_ssids_are_left_out)
{
    APCONFIG* node = full_record();
    node->status = AP_LINK_DOWN;
    EXPECT_EQ(scan_count(), 0);
    node->status = AP_UPGRAD_SUCCESS;
    EXPECT_EQ(scan_count(), 1);
}

TEST_F(ApconfigReport, the_ssids_of_an_ap_with_both_radios_off_are_left_out)
{
    APCONFIG* node = full_record();
    rf_of(node, 0).RF_basic_setting = 0x00;
    rf_of(node, 1).RF_basic_setting = 0x41;
    EXPECT_EQ(scan_count(), 0);
}

TEST_F(ApconfigReport, the_ssids_of_an_ap_whose_only_radio_is_off_are_left_out)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    rf_of(node, 0).RF_basic_setting = 0;
    EXPECT_EQ(scan_count(), 0);
}

TEST_F(ApconfigReport, with_radio_0_off_only_5ghz_ssids_are_shown)
{
    APCONFIG* node = full_record();
    rf_of(node, 0).RF_basic_setting = 0;
    const AC_WTP_Ssid_Cfg_t row = scan_row();
    EXPECT_EQ(row.real_channel, 0);
    EXPECT_EQ(row.real_channel_5g, 149);
    EXPECT_EQ(text_of(row.ssid[0]), "");
    EXPECT_EQ(row.maxNum[0], 0);
    EXPECT_EQ(text_of(row.ssid[8]), "ssid8");
}

TEST_F(ApconfigReport, with_radio_1_off_only_24ghz_ssids_are_shown)
{
    APCONFIG* node = full_record();
    rf_of(node, 1).RF_basic_setting = 0x41;
    const AC_WTP_Ssid_Cfg_t row = scan_row();
    EXPECT_EQ(row.real_channel, 11);
    EXPECT_EQ(row.real_channel_5g, 0);
    EXPECT_EQ(text_of(row.ssid[0]), "ssid0");
    EXPECT_EQ(text_of(row.ssid[8]), "");
    EXPECT_EQ(row.maxNum[8], 0);
}

TEST_F(ApconfigReport, an_ap_with_one_radio_shows_its_ssids)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    rf_of(node, 0).channel = 6;
    wl_of(node, 1).wl_basic_set = 0xFD;
    const AC_WTP_Ssid_Cfg_t row = scan_row();
    EXPECT_EQ(row.real_channel, 6);
    EXPECT_EQ(text_of(row.ssid[0]), "ssid0");
    EXPECT_EQ(text_of(row.ssid[1]), "");
}

TEST_F(ApconfigReport, a_5ghz_ssid_of_an_ap_without_radio_1_is_left_out_of_the_scan)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    wl_of(node, 1).ssid_id = 8; // a report may say so
    const AC_WTP_Ssid_Cfg_t row = scan_row();
    EXPECT_EQ(row.real_channel, 6);
    EXPECT_EQ(row.real_channel_5g, 0);
    EXPECT_EQ(text_of(row.ssid[8]), "");
    EXPECT_EQ(row.maxNum[8], 0);
}

TEST_F(ApconfigReport, a_channel_without_an_enabled_ssid_is_not_shown)
{
    APCONFIG* node = full_record();
    wl_of(node, 0).wl_basic_set = 0;
    EXPECT_EQ(scan_row().real_channel, 0);
    EXPECT_EQ(scan_row().real_channel_5g, 149);
}

TEST_F(ApconfigReport, an_ap_without_radio_0_is_passed_over_in_the_scan)
{
    drop_rf(full_record(), 0);
    EXPECT_EQ(scan_count(), 0);
    make_record(test_mac(1), SINGLE, 1);
    EXPECT_EQ(scan_count(), 1);
}
