#include "ac_mib/apconfig_intake.h"
#include "ac_mib/sql_flash_queue.h"

#include "apconfig_reports.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"

namespace {

Bytes bytes_of(std::initializer_list<int> values, std::size_t length)
{
    Bytes bytes(values.size());
    put(bytes, 0, values);
    return cut(bytes, length);
}

void expect_head(APCONFIG* node)
{
    EXPECT_EQ(node->info_basic.led_status, 1);
    EXPECT_EQ(raw(node->info_basic.ip),
              (Bytes{2, 192, 168, 5, 6, 255, 255, 255, 0, 192, 168, 5, 1, 8, 8, 4, 4, 1, 1, 1, 1}));
    EXPECT_EQ(text_of(node->info_basic.apname.ap_name), "lobby");
    EXPECT_EQ(node->info_basic.apname.ap_name_length, 5);
    EXPECT_EQ(text_of(node->info_basic.version.version), "V7.1");
    EXPECT_EQ(node->info_basic.version.version_length, 4);
    EXPECT_EQ(raw(node->info_reboot), (Bytes{1, 2, 0x2C, 0x01}));
    EXPECT_EQ(node->info_alarm.alarm_switch, 1);
    EXPECT_EQ(node->info_alarm.hostnum_limit, 50);
    EXPECT_EQ(node->info_alarm.stream_limit, 1000000U);
}

void expect_ssid(APCONFIG* node, UINT8 id, const std::string& name)
{
    SCOPED_TRACE(static_cast<int>(id));
    Bytes image(110);
    put_ssid(image, 0, id, name);
    EXPECT_EQ(raw(wl_of(node, id)), image);
}

// A policy's name as long as it can be.
std::string policy(std::string name)
{
    name.resize(32, '.');
    return name;
}

// A record with every binding set, its SSIDs named "ssid<n>".
void bind_all(APCONFIG* node)
{
    set_text(node->p_reboot_name, policy("reboot"));
    set_text(node->p_alarm_name, policy("alarm"));
    set_text(node->p_pass_name, policy("pass"));
    set_text(node->p_wl_deploy_name, policy("deploy"));
    set_text(node->p_qvlan_name, policy("qvlan"));
    set_text(node->p_wl_rf_policy_name[0], policy("rf0"));
    set_text(node->p_wl_rf_policy_name[1], policy("rf1"));
    for (int i = 0; i < 12; i++)
        set_text(node->p_wl_basic_policy_name[i], policy("basic" + std::to_string(i)));
    node->info_event.mailPort = 2525;
    set_text(node->info_event.mailName, "ops@example.net");
}

} // namespace

// --- records built from reports --------------------------------------------------------------------------------------

TEST_F(ApconfigIntake, a_first_generation_report_of_one_radio_becomes_a_record)
{
    ASSERT_EQ(add_v1(SINGLE, report_v1_single()), 0);
    APCONFIG* node = record();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->proto_vendor, 3);
    expect_head(node);
    ASSERT_EQ(length_of(&node->list_rf), 1U);
    ASSERT_EQ(length_of(&node->list_wl), 2U);
    expect_ssid(node, 0, "ssid0");
    expect_ssid(node, 1, "ssid1");
}

TEST_F(ApconfigIntake, a_first_generation_record_keeps_nine_fields_of_a_radio_and_zeros_behind_them)
{
    ASSERT_EQ(add_v1(SINGLE, report_v1_single()), 0);
    Bytes expected(28);
    put(expected, 0, {0x06, 1, 2, 3, 4, 5, 6, 7, 8});
    EXPECT_EQ(raw(rf_of(record(), 0)), expected);
}

TEST_F(ApconfigIntake, a_first_generation_report_of_two_radios_becomes_a_record)
{
    ASSERT_EQ(add_v1(DUAL, report_v1_dual()), 0);
    APCONFIG* node = record();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->proto_vendor, 3);
    expect_head(node);
    ASSERT_EQ(length_of(&node->list_rf), 2U);
    ASSERT_EQ(length_of(&node->list_wl), 12U);
    for (UINT8 i = 0; i < 12; i++)
        expect_ssid(node, i, dual_ssid_name(i));
}

TEST_F(ApconfigIntake, the_second_radio_of_a_first_generation_report_is_read_28_bytes_behind_the_first)
{
    Bytes report = report_v1_dual();
    put(report, 132, {0x43, 11, 12, 13, 14, 15, 16, 17, 18, 19}); // also bytes 2 to 11 of the name of SSID 0
    ASSERT_EQ(add_v1(DUAL, report), 0);
    Bytes expected(28);
    put(expected, 0, {0x43, 11, 12, 13, 14, 15, 16, 17, 18});
    EXPECT_EQ(raw(apconfig_rf_of(record()->list_rf.next->next)->rf), expected);
    EXPECT_EQ(wl_of(record(), 0).ssid.ssid[2], 0x43);
}

TEST_F(ApconfigIntake, a_second_generation_report_of_one_radio_becomes_a_record)
{
    ASSERT_EQ(add_v2(SINGLE, report_v2_single()), 0);
    APCONFIG* node = record();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->proto_vendor, 4);
    expect_head(node);
    ASSERT_EQ(length_of(&node->list_rf), 1U);
    EXPECT_EQ(raw(rf_of(node, 0)), bytes_of(RADIO_0, 28));
    EXPECT_EQ(rf_of(node, 0).lan_num, 0x0102);
    EXPECT_EQ(rf_of(node, 0).lan0_vlanid, 0x0304);
    ASSERT_EQ(length_of(&node->list_wl), 2U);
    expect_ssid(node, 0, "ssid0");
    expect_ssid(node, 1, "ssid1");
}

TEST_F(ApconfigIntake, a_second_generation_report_of_two_radios_becomes_a_record)
{
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    APCONFIG* node = record();
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(node->proto_vendor, 4);
    expect_head(node);
    ASSERT_EQ(length_of(&node->list_rf), 2U);
    EXPECT_EQ(raw(rf_of(node, 0)), bytes_of(RADIO_0, 28));
    EXPECT_EQ(raw(rf_of(node, 1)), bytes_of(RADIO_1, 28));
    ASSERT_EQ(length_of(&node->list_wl), 12U);
    for (UINT8 i = 0; i < 12; i++)
        expect_ssid(node, i, dual_ssid_name(i));
}

TEST_F(ApconfigIntake, radios_and_ssids_stand_in_the_order_of_the_report)
{
    Bytes report = report_v2_dual();
    put(report, 104, RADIO_1);
    put(report, 132, RADIO_0);
    put_ssid(report, 160, 11, "last");
    put_ssid(report, 160 + 11 * 110, 0, "first");
    ASSERT_EQ(add_v2(DUAL, report), 0);
    EXPECT_EQ(apconfig_rf_of(record()->list_rf.next)->rf.RF_basic_setting, 0x47);
    EXPECT_EQ(apconfig_wl_of(record()->list_wl.next)->wl_basic.ssid_id, 11);
    EXPECT_EQ(apconfig_wl_of(record()->list_wl.prev)->wl_basic.ssid_id, 0);
}

TEST_F(ApconfigIntake, a_new_record_is_online_unsaved_and_carries_product_and_source)
{
    for (Intake intake : {apconfig_mib_add, apconfig_mib_add_v2}) {
        ASSERT_EQ(add(intake, DUAL, report_dual(intake, "12")), 0);
        APCONFIG* node = record();
        EXPECT_EQ(node->status, AP_LINK_UP);
        EXPECT_EQ(node->sql_flag, 0);
        EXPECT_EQ(node->restore, 0);
        EXPECT_EQ(raw(node->ip), (Bytes{10, 20, 30, 40}));
        EXPECT_EQ(node->port, PORT);
        EXPECT_EQ(node->time, 1700000000U);
        EXPECT_EQ(raw(node->ethaddr), Bytes(mac.begin(), mac.end()));
        EXPECT_EQ(raw(node->AP_config_version), (Bytes{'1', '2'}));
        EXPECT_EQ(node->ap_type, DUAL);
        EXPECT_EQ(node->product_id, 0x54001U);
        EXPECT_EQ(text_of(node->product_name), "mdl67");
    }
}

TEST_F(ApconfigIntake, a_product_name_of_32_bytes_is_taken_over_whole)
{
    PRODUCT_AP row{};
    ASSERT_TRUE(acwtp_product_obtain(SINGLE, &row));
    memset(row.ap_name, 'n', sizeof row.ap_name);
    row.ap_type = OWN_TYPE;
    ASSERT_TRUE(acwtp_product_load(&row));
    ASSERT_EQ(add_v2(OWN_TYPE, report_v2_single()), 0);
    EXPECT_EQ(raw(record()->product_name), Bytes(32, 'n'));
}

TEST_F(ApconfigIntake, a_new_ap_has_no_bindings_and_no_alarm_delivery)
{
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    APCONFIG* node = record();
    for (const UINT8* name :
         {node->p_reboot_name, node->p_alarm_name, node->p_pass_name, node->p_wl_deploy_name, node->p_qvlan_name})
        EXPECT_EQ(name[0], 0);
    EXPECT_EQ(raw(node->p_wl_basic_policy_name), Bytes(384));
    EXPECT_EQ(raw(node->p_wl_rf_policy_name), Bytes(64));
    EXPECT_EQ(raw(node->info_event), Bytes(80));
}

TEST_F(ApconfigIntake, a_new_record_is_counted_and_nothing_is_queued_for_flash)
{
    const UINT32 before = ac_load(g_acwtp_joined_ap_num);
    take_notes();
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before + 1);
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0); // rebuilt
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before + 1);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigIntake, a_rebuilt_record_has_no_clients)
{
    APCONFIG* old = make_record(mac, DUAL, 1, "1");
    memset(old->main_ssid_client, 9, sizeof old->main_ssid_client);
    old->info_client.num = 3;
    memset(old->info_client.online_client, 0xAA, 18);
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    EXPECT_EQ(raw(record()->main_ssid_client), Bytes(12));
    EXPECT_EQ(record()->info_client.num, 0);
    EXPECT_EQ(raw(record()->info_client.online_client), Bytes(384));
}

TEST_F(ApconfigIntake, an_ap_that_changes_its_product_gets_a_record_of_the_new_one)
{
    ASSERT_EQ(add_v2(SINGLE, report_v2_single()), 0);
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    EXPECT_EQ(record()->ap_type, DUAL);
    EXPECT_EQ(length_of(&record()->list_wl), 12U);
}

TEST_F(ApconfigIntake, bytes_behind_the_report_do_not_matter)
{
    Bytes report = report_v2_single();
    report.resize(report.size() + 8, 0xEE);
    EXPECT_EQ(add_v2(SINGLE, report), 0);
}

// --- the election between the AP's and the stored configuration
// ----------------------------------------------------------

TEST_F(ApconfigIntake, a_report_older_than_the_table_returns_3_and_the_record_stays)
{
    for (Intake intake : {apconfig_mib_add, apconfig_mib_add_v2}) {
        APCONFIG* old = make_record(mac, DUAL, 0, "2");
        set_text(old->p_alarm_name, "kept");
        EXPECT_EQ(add(intake, DUAL, report_dual(intake, "1")), 3);
        EXPECT_EQ(record(), old);
        EXPECT_EQ(old->status, 0);
        EXPECT_EQ(text_of(old->p_alarm_name), "kept");
        EXPECT_EQ(length_of(&old->list_wl), 12U);
        apconfig_mib_node_del(mac.data(), 0);
    }
}

// As a power cut between the two writes of an AP leaves it.
TEST_F(ApconfigIntake, a_record_without_ssids_takes_any_report_and_is_never_handed_out)
{
    APCONFIG* old = make_record(mac, DUAL, 0, "2");
    set_text(old->p_alarm_name, "kept");
    free_list_node(old);
    EXPECT_EQ(add_v2(DUAL, report_v2_dual("1")), 0);
    EXPECT_EQ(length_of(&record()->list_wl), 12U);
    EXPECT_EQ(text_of(record()->p_alarm_name), "kept");
}

TEST_F(ApconfigIntake, a_record_of_a_product_without_ssids_is_as_new_as_its_version_says)
{
    APCONFIG* old = make_record(mac, OWN_TYPE, 0, "2"); // the product is not known
    ASSERT_TRUE(list_empty(&old->list_wl));
    EXPECT_EQ(add_v2(DUAL, report_v2_dual("1")), 3);
    EXPECT_EQ(record(), old);
}

TEST_F(ApconfigIntake, a_report_of_the_stored_version_rebuilds_the_record)
{
    make_record(mac, DUAL, 0, "1");
    EXPECT_EQ(add_v2(DUAL, report_v2_dual("1")), 0);
    EXPECT_EQ(record()->status, AP_LINK_UP);
    EXPECT_EQ(record()->proto_vendor, 4);
}

TEST_F(ApconfigIntake, versions_are_compared_as_numbers)
{
    make_record(mac, DUAL, 0, "9");
    EXPECT_EQ(add_v2(DUAL, report_v2_dual("10")), 0);
    EXPECT_EQ(add_v2(DUAL, report_v2_dual("9")), 3);
    EXPECT_EQ(raw(record()->AP_config_version), (Bytes{'1', '0'}));
}

TEST_F(ApconfigIntake, an_old_report_that_is_also_bad_is_refused_as_bad)
{
    make_record(mac, DUAL, 0, "2");
    Bytes report = report_v2_dual("1");
    put(report, 160, {12});
    EXPECT_EQ(add_v2(DUAL, report), 255);
}

TEST_F(ApconfigIntake, a_rebuilt_record_keeps_every_binding_and_the_alarm_delivery)
{
    for (Intake intake : {apconfig_mib_add, apconfig_mib_add_v2}) {
        bind_all(make_record(mac, DUAL, 0, "1"));
        ASSERT_EQ(add(intake, DUAL, report_dual(intake, "7")), 0);
        APCONFIG* node = record();
        EXPECT_EQ(text_of(node->p_reboot_name), policy("reboot"));
        EXPECT_EQ(text_of(node->p_alarm_name), policy("alarm"));
        EXPECT_EQ(text_of(node->p_pass_name), policy("pass"));
        EXPECT_EQ(text_of(node->p_wl_deploy_name), policy("deploy"));
        EXPECT_EQ(text_of(node->p_qvlan_name), policy("qvlan"));
        EXPECT_EQ(text_of(node->p_wl_rf_policy_name[0]), policy("rf0"));
        EXPECT_EQ(text_of(node->p_wl_rf_policy_name[1]), policy("rf1"));
        EXPECT_EQ(node->info_event.mailPort, 2525);
        EXPECT_EQ(text_of(node->info_event.mailName), "ops@example.net");
        for (int i = 0; i < 12; i++)
            EXPECT_EQ(text_of(node->p_wl_basic_policy_name[i]), policy("basic" + std::to_string(i)));
        apconfig_mib_node_del(mac.data(), 0);
    }
}

TEST_F(ApconfigIntake, a_factory_reset_ap_loses_its_bindings_and_the_mark)
{
    APCONFIG* old = make_record(mac, DUAL, 0, "1");
    bind_all(old);
    old->restore = 1;
    ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    APCONFIG* node = record();
    EXPECT_EQ(node->restore, 0);
    for (const UINT8* name :
         {node->p_reboot_name, node->p_alarm_name, node->p_pass_name, node->p_wl_deploy_name, node->p_qvlan_name})
        EXPECT_EQ(name[0], 0);
    EXPECT_EQ(raw(node->p_wl_basic_policy_name), Bytes(384));
    EXPECT_EQ(raw(node->p_wl_rf_policy_name), Bytes(64));
    EXPECT_EQ(raw(node->info_event), Bytes(80));
}

TEST_F(ApconfigIntake, an_ssid_renamed_on_the_ap_loses_its_policy_and_the_others_keep_theirs)
{
    bind_all(make_record(mac, DUAL, 0, "1"));
    Bytes report = report_v2_dual();
    put_ssid(report, 160 + 3 * 110, 3, "renamed");
    ASSERT_EQ(add_v2(DUAL, report), 0);
    for (int i = 0; i < 12; i++)
        EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[i]), i == 3 ? "" : policy("basic" + std::to_string(i)));
}

TEST_F(ApconfigIntake, a_name_that_moved_to_another_ssid_does_not_take_the_policy_along)
{
    bind_all(make_record(mac, DUAL, 0, "1"));
    Bytes report = report_v2_dual();
    put_ssid(report, 160, 0, "ssid1");
    put_ssid(report, 160 + 110, 1, "ssid0");
    ASSERT_EQ(add_v2(DUAL, report), 0);
    EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[0]), "");
    EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[1]), "");
    EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[2]), policy("basic2"));
}

TEST_F(ApconfigIntake, a_policy_goes_by_the_number_of_its_ssid_wherever_that_stands_in_the_report)
{
    test_product(OWN_TYPE, 2, 1, 2); // SSIDs 0, 1 and 8
    APCONFIG* old = make_record(mac, DUAL, 0, "1");
    bind_all(old);
    Bytes report = report_v2_dual();
    put_ssid(report, 160, 8, "ssid8");
    put_ssid(report, 160 + 110, 1, "ssid1");
    put_ssid(report, 160 + 220, 0, "other");
    ASSERT_EQ(add_v2(OWN_TYPE, cut(report, 160 + 330)), 0);
    for (int i = 0; i < 12; i++)
        EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[i]),
                  i == 1 || i == 8 ? policy("basic" + std::to_string(i)) : "");
}

TEST_F(ApconfigIntake, ssid_names_are_compared_over_all_32_bytes)
{
    bind_all(make_record(mac, DUAL, 0, "1"));
    Bytes report = report_v2_dual();
    put(report, 160 + 6 + 31, {'x'}); // behind the length of SSID 0, yet part of the field
    ASSERT_EQ(add_v2(DUAL, report), 0);
    EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[0]), "");
    EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[1]), policy("basic1"));
}

TEST_F(ApconfigIntake, an_ssid_number_out_of_range_in_the_old_record_does_no_harm_to_what_is_kept)
{
    for (UINT8 id : {UINT8{12}, UINT8{255}}) {
        APCONFIG* old = make_record(mac, DUAL, 0, "1");
        bind_all(old);
        old->info_event.mailEnable = 1;
        const Bytes event = raw(old->info_event);
        wl_of(old, 11).ssid_id = id;
        ASSERT_EQ(add_v2(DUAL, report_v2_dual()), 0);
        EXPECT_EQ(raw(record()->info_event), event);
        EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[10]), policy("basic10"));
        EXPECT_EQ(text_of(record()->p_wl_basic_policy_name[11]), ""); // the old record had no SSID 11
        apconfig_mib_node_del(mac.data(), 0);
    }
}

// --- missing memory
// ------------------------------------------------------------------------------------------------------

TEST_F(ApconfigIntake, without_memory_for_the_record_1001_is_given)
{
    ac_alloc_fail_after(0);
    const std::string out = output_of([&] { EXPECT_EQ(add_v2(SINGLE, report_v2_single()), 1001); });
    EXPECT_EQ(error_texts(out), Texts{"malloc failed\n"});
    EXPECT_EQ(record(), nullptr);
    EXPECT_EQ(add_v2(SINGLE, report_v2_single()), 0);
}

TEST_F(ApconfigIntake, without_memory_for_any_node_255_is_given_and_the_old_record_is_gone)
{
    for (int node = 1; node <= 14; node++) { // two radios and twelve SSIDs behind the record
        SCOPED_TRACE(node);
        make_record(mac, DUAL, 0, "1");
        const UINT32 before = ac_load(g_acwtp_joined_ap_num);
        ac_alloc_fail_after(node);
        const std::string out = output_of([&] { EXPECT_EQ(add_v2(DUAL, report_v2_dual()), 255); });
        EXPECT_EQ(error_texts(out), (Texts{"malloc failed\n", "null pointer\n"}));
        EXPECT_EQ(record(), nullptr);
        EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before - 1);
    }
    ac_alloc_fail_after(15);
    EXPECT_EQ(add_v2(DUAL, report_v2_dual()), 0);
    ac_alloc_fail_after(-1);
}
