#include "ac_mib/apconfig_intake.h"

#include "apconfig_reports.h"
#include "common/ac_atomic.h"

// --- offsets and validation -----------------------------------------------------------------------------------------

TEST_F(ApconfigIntake, members_of_the_first_generation_lie_where_the_layout_says)
{
    for (UINT16 type : {SINGLE, DUAL}) {
        EXPECT_EQ(get_offsetof_member_v1(type, 1), 2);
        EXPECT_EQ(get_offsetof_member_v1(type, 2), 90);
        EXPECT_EQ(get_offsetof_member_v1(type, 3), 96);
        EXPECT_EQ(get_offsetof_member_v1(type, 4), 104);
    }
    EXPECT_EQ(get_offsetof_member_v1(SINGLE, 5), 114);
    EXPECT_EQ(get_offsetof_member_v1(DUAL, 5), 124);
}

TEST_F(ApconfigIntake, members_of_the_second_generation_lie_where_the_layout_says)
{
    for (UINT16 type : {SINGLE, DUAL}) {
        EXPECT_EQ(get_offsetof_member_v2(type, 1), 2);
        EXPECT_EQ(get_offsetof_member_v2(type, 2), 90);
        EXPECT_EQ(get_offsetof_member_v2(type, 3), 96);
        EXPECT_EQ(get_offsetof_member_v2(type, 4), 104);
    }
    EXPECT_EQ(get_offsetof_member_v2(SINGLE, 5), 132);
    EXPECT_EQ(get_offsetof_member_v2(DUAL, 5), 160);
    EXPECT_EQ(get_offsetof_member_v2(SINGLE, 6), 1012);
    EXPECT_EQ(get_offsetof_member_v2(DUAL, 6), 1480);
}

TEST_F(ApconfigIntake, an_unknown_member_has_no_offset)
{
    for (UINT16 type : {SINGLE, DUAL}) {
        for (int bit : {-1, 0, 7, 1000}) {
            EXPECT_EQ(get_offsetof_member_v1(type, bit), -1);
            EXPECT_EQ(get_offsetof_member_v2(type, bit), -1);
        }
        EXPECT_EQ(get_offsetof_member_v1(type, 6), -1);
    }
}

TEST_F(ApconfigIntake, a_radio_count_other_than_1_or_2_has_no_offsets)
{
    test_product(100, 2, 0, 0);
    test_product(101, 2, 0, 3);
    for (UINT16 type : {UINT16{100}, UINT16{101}, UINT16{199}, UINT16{200}, UINT16{65535}}) {
        for (int bit = 1; bit <= 6; bit++) {
            EXPECT_EQ(get_offsetof_member_v1(type, bit), -1);
            EXPECT_EQ(get_offsetof_member_v2(type, bit), -1);
        }
    }
}

TEST_F(ApconfigIntake, a_range_includes_both_its_ends)
{
    const char* range[] = {"1", "32", nullptr};
    EXPECT_EQ(validate_range("0", range), 255);
    EXPECT_EQ(validate_range("1", range), 0);
    EXPECT_EQ(validate_range("32", range), 0);
    EXPECT_EQ(validate_range("33", range), 255);
    EXPECT_EQ(validate_range("-1", range), 255);
    EXPECT_EQ(validate_range("12abc", range), 0);
    EXPECT_EQ(validate_range("abc", range), 255);
}

TEST_F(ApconfigIntake, a_range_without_arguments_is_failed)
{
    const char* none[] = {nullptr};
    const char* half[] = {"1", nullptr};
    const char* range[] = {"1", "32", nullptr};
    EXPECT_EQ(validate_range(nullptr, range), 255);
    EXPECT_EQ(validate_range("1", nullptr), 255);
    EXPECT_EQ(validate_range("1", none), 255);
    EXPECT_EQ(validate_range("1", half), 255);
}

TEST_F(ApconfigIntake, a_choice_is_one_string_of_its_list)
{
    const char* list[] = {"on", "off", nullptr};
    const char* empty[] = {nullptr};
    EXPECT_EQ(validate_choice("on", list), 0);
    EXPECT_EQ(validate_choice("off", list), 0);
    EXPECT_EQ(validate_choice("o", list), 255);
    EXPECT_EQ(validate_choice("offf", list), 255);
    EXPECT_EQ(validate_choice("on", empty), 255);
    EXPECT_EQ(validate_choice(nullptr, list), 255);
    EXPECT_EQ(validate_choice("on", nullptr), 255);
}

TEST_F(ApconfigIntake, the_validation_table_has_its_four_rows)
{
    const struct {
        const char* name;
        const char* low;
        const char* high;
    } rows[] = {
        {"tx_power_24g", "1", "99"}, {"tx_power_5g", "1", "99"}, {"common_length", "1", "32"}, {"ssid_id", "0", "11"}};
    for (std::size_t i = 0; i < 4; i++) {
        EXPECT_STREQ(g_ac_valid[i].name, rows[i].name);
        EXPECT_STREQ(g_ac_valid[i].agrv[0], rows[i].low);
        EXPECT_STREQ(g_ac_valid[i].agrv[1], rows[i].high);
        EXPECT_EQ(g_ac_valid[i].validate, validate_range);
    }
}

TEST_F(ApconfigIntake, validation_by_name_holds_each_rows_limits)
{
    const struct {
        const char* name;
        int low, high;
    } rows[] = {{"tx_power_24g", 1, 99}, {"tx_power_5g", 1, 99}, {"common_length", 1, 32}, {"ssid_id", 0, 11}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(ac_validate(row.name, row.low - 1), 255);
        EXPECT_EQ(ac_validate(row.name, row.low), 0);
        EXPECT_EQ(ac_validate(row.name, row.high), 0);
        EXPECT_EQ(ac_validate(row.name, row.high + 1), 255);
    }
}

TEST_F(ApconfigIntake, a_failed_validation_prints_its_name_and_number)
{
    const std::string out = output_of([] { EXPECT_EQ(ac_validate("ssid_id", 12), 255); });
    EXPECT_EQ(error_texts(out), Texts{"validation[ssid_id]=[12] failed\n"});
    EXPECT_EQ(output_of([] { EXPECT_EQ(ac_validate("ssid_id", 11), 0); }), "");
}

TEST_F(ApconfigIntake, a_name_without_a_row_is_failed)
{
    EXPECT_EQ(ac_validate("no_such_row", 1), 255);
    EXPECT_EQ(ac_validate("", 1), 255);
}

TEST_F(ApconfigIntake, no_radio_record_is_ever_refused)
{
    CONFIG_WL_RF rf;
    memset(&rf, 0xFF, sizeof rf);
    EXPECT_EQ(validate_rf(&rf, 0), 0);
    EXPECT_EQ(validate_rf(&rf, 1), 0);
}

TEST_F(ApconfigIntake, a_report_is_accepted_whatever_stands_in_its_radios)
{
    for (UINT8 byte : Bytes{0, 255}) {
        Bytes report = report_v2_dual();
        std::fill_n(report.begin() + 104, 56, byte);
        EXPECT_EQ(add_v2(DUAL, report), 0);
        EXPECT_EQ(add_v1(DUAL, report_v1_dual()), 0);
    }
}

TEST_F(ApconfigIntake, an_ssid_record_needs_a_number_and_a_name_length_in_range)
{
    CONFIG_WL_BASIC wl{};
    wl.ssid_id = 11;
    wl.ssid.ssid_length = 32;
    EXPECT_EQ(validate_wl(&wl), 0);
    wl.ssid_id = 12;
    EXPECT_EQ(validate_wl(&wl), 255);
    wl.ssid_id = 0;
    wl.ssid.ssid_length = 33;
    EXPECT_EQ(validate_wl(&wl), 255);
    wl.ssid.ssid_length = 0;
    EXPECT_EQ(validate_wl(&wl), 255);
    wl.ssid.ssid_length = 1;
    EXPECT_EQ(validate_wl(&wl), 0);
}

TEST_F(ApconfigIntake, a_version_is_read_as_up_to_two_digits)
{
    EXPECT_EQ(apconfig_version_number(Bytes{'1', '2'}.data()), 12);
    EXPECT_EQ(apconfig_version_number(Bytes{'7', 0}.data()), 7);
    EXPECT_EQ(apconfig_version_number(Bytes{0, '9'}.data()), 0);
    EXPECT_EQ(apconfig_version_number(Bytes{'x', '9'}.data()), 0);
    EXPECT_EQ(apconfig_version_number(Bytes{0xFF, 0xFF}.data()), 0);
}

// --- refusals --------------------------------------------------------------------------------------------------------

TEST_F(ApconfigIntake, a_report_cut_at_any_length_is_refused_and_changes_nothing)
{
    const struct {
        Intake intake;
        UINT16 ap_type;
        Bytes report;
    } cases[] = {{apconfig_mib_add, SINGLE, report_v1_single()},
                 {apconfig_mib_add, DUAL, report_v1_dual()},
                 {apconfig_mib_add_v2, SINGLE, report_v2_single()},
                 {apconfig_mib_add_v2, DUAL, report_v2_dual()}};
    for (const auto& c : cases) {
        APCONFIG* old = make_record(mac, c.ap_type, 5, "3");
        const UINT32 before = ac_load(g_acwtp_joined_ap_num);
        for (std::size_t length = 0; length < c.report.size(); length++) {
            SCOPED_TRACE(length);
            int result = 0;
            const std::string out = output_of([&] { result = add(c.intake, c.ap_type, cut(c.report, length)); });
            ASSERT_EQ(result, 255);
            ASSERT_EQ(error_texts(out), Texts{"config report too short, len:" + std::to_string(length) +
                                              ",aptype:" + std::to_string(c.ap_type) + "\n"});
            ASSERT_EQ(record(), old);
            ASSERT_EQ(old->status, 5);
            ASSERT_EQ(ac_load(g_acwtp_joined_ap_num), before);
        }
        EXPECT_EQ(add(c.intake, c.ap_type, cut(c.report, c.report.size())), 0);
        EXPECT_NE(record(), old);
        apconfig_mib_node_del(mac.data(), 0);
    }
}

TEST_F(ApconfigIntake, a_first_generation_report_of_two_radios_and_one_ssid_ends_with_its_ssid)
{
    test_product(OWN_TYPE, 1, 0, 2); // 124 to 234; the second radio, read at 132, lies within
    Bytes report(234);
    put_head(report, "1");
    put(report, 104, {0x06, 1, 2, 3, 4, 5, 6, 7, 8, 9});
    put_ssid(report, 124, 0, "s");
    EXPECT_EQ(add_v1(OWN_TYPE, cut(report, 233)), 255);
    EXPECT_EQ(add_v1(OWN_TYPE, cut(report, 234)), 0);
}

TEST_F(ApconfigIntake, an_empty_payload_is_refused)
{
    EXPECT_EQ(apconfig_mib_add(mac.data(), IP, PORT, SINGLE, {}), 255);
    EXPECT_EQ(apconfig_mib_add_v2(mac.data(), IP, PORT, DUAL, {}), 255);
    EXPECT_EQ(record(), nullptr);
}

TEST_F(ApconfigIntake, ssid_number_12_in_any_record_is_refused_and_the_existing_record_stays)
{
    APCONFIG* old = make_record(mac, DUAL, 1, "1");
    for (std::size_t i = 0; i < 12; i++) {
        Bytes v1 = report_v1_dual();
        put(v1, 124 + 110 * i, {12});
        EXPECT_EQ(add_v1(DUAL, v1), 255);
        Bytes v2 = report_v2_dual();
        put(v2, 160 + 110 * i, {12});
        EXPECT_EQ(add_v2(DUAL, v2), 255);
        EXPECT_EQ(record(), old);
        EXPECT_EQ(length_of(&old->list_wl), 12U);
    }
}

TEST_F(ApconfigIntake, ssid_number_11_is_accepted)
{
    Bytes report = report_v2_single();
    put(report, 132, {11});
    EXPECT_EQ(add_v2(SINGLE, report), 0);
}

TEST_F(ApconfigIntake, an_ssid_without_a_name_is_refused_enabled_or_not)
{
    for (int set : {0, 2}) {
        Bytes report = report_v2_single();
        put(report, 133, {set});
        put(report, 132 + 38, {0});
        EXPECT_EQ(add_v2(SINGLE, report), 255);
        EXPECT_EQ(record(), nullptr);
    }
}

TEST_F(ApconfigIntake, an_ssid_name_of_32_bytes_is_accepted_and_a_length_of_33_refused)
{
    Bytes report = report_v2_single();
    put(report, 132 + 6, std::string(32, 'n'));
    put(report, 132 + 38, {33});
    EXPECT_EQ(add_v2(SINGLE, report), 255);
    put(report, 132 + 38, {32});
    EXPECT_EQ(add_v2(SINGLE, report), 0);
}

TEST_F(ApconfigIntake, a_refused_ssid_prints_the_failed_test_and_the_refusal)
{
    Bytes report = report_v2_single();
    put(report, 242, {12});
    const std::string out = output_of([&] { EXPECT_EQ(add_v2(SINGLE, report), 255); });
    EXPECT_EQ(error_texts(out), (Texts{"validation[ssid_id]=[12] failed\n", "config wl error\n"}));
}

TEST_F(ApconfigIntake, type_200_has_no_radios_and_is_refused)
{
    const std::string v1 = output_of([&] { EXPECT_EQ(add_v1(200, report_v1_dual()), 255); });
    EXPECT_EQ(error_texts(v1), (Texts{"aptype:200 is big than Max:200", "rf_len:0"}));
    const std::string v2 = output_of([&] { EXPECT_EQ(add_v2(200, report_v2_dual()), 255); });
    EXPECT_EQ(error_texts(v2), (Texts{"aptype:200 is big than Max:200", "rf_len:0,aptype:200"}));
    EXPECT_EQ(record(), nullptr);
}

TEST_F(ApconfigIntake, an_unknown_type_has_no_radios_and_is_refused)
{
    APCONFIG* old = make_record(mac, SINGLE, 1, "1");
    for (int type : {0, 62, 199}) {
        const auto ap_type = static_cast<UINT16>(type);
        EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v1(ap_type, report_v1_dual()), 255); })),
                  Texts{"rf_len:0"});
        EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v2(ap_type, report_v2_dual()), 255); })),
                  Texts{"rf_len:0,aptype:" + std::to_string(type)});
    }
    EXPECT_EQ(record(), old);
}

TEST_F(ApconfigIntake, a_product_of_three_radios_is_refused)
{
    test_product(OWN_TYPE, 2, 0, 3);
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v1(OWN_TYPE, Bytes(2000, 1)), 255); })), Texts{"rf_len:3"});
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v2(OWN_TYPE, Bytes(2000, 1)), 255); })),
              Texts{"rf_len:3,aptype:100"});
    EXPECT_EQ(record(), nullptr);
}

TEST_F(ApconfigIntake, a_product_without_ssids_is_refused_with_a_line_in_the_second_generation_only)
{
    test_product(OWN_TYPE, 0, 0, 1);
    EXPECT_EQ(output_of([&] { EXPECT_EQ(add_v1(OWN_TYPE, Bytes(2000, 1)), 255); }), "");
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v2(OWN_TYPE, Bytes(2000, 1)), 255); })), Texts{"ssid_len:0"});
    EXPECT_EQ(record(), nullptr);
}

TEST_F(ApconfigIntake, a_product_of_12_ssids_is_taken_and_one_of_13_refused)
{
    test_product(OWN_TYPE, 8, 4, 2);
    EXPECT_EQ(add_v2(OWN_TYPE, report_v2_dual()), 0);
    test_product(OWN_TYPE, 9, 4, 2);
    APCONFIG* old = record();
    Bytes report = report_v2_dual();
    report.resize(4000, 1);
    EXPECT_EQ(add_v1(OWN_TYPE, report), 255);
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v2(OWN_TYPE, report), 255); })), Texts{"ssid_len:13"});
    test_product(OWN_TYPE, 255, 255, 1);
    EXPECT_EQ(error_texts(output_of([&] { EXPECT_EQ(add_v2(OWN_TYPE, report), 255); })), Texts{"ssid_len:510"});
    EXPECT_EQ(record(), old);
}
