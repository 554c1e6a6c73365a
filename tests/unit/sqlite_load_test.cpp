#include "ac_sql/sqlite_load.h"

#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_ap_product.h"
#include "ac_sql/sqlite_apconfig_update.h"
#include "common/ac_alloc.h"
#include "sql_world.h"

static const Mac M1 = test_mac(1);

class SqlLoadWorld : public SqlWorld {
protected:
    PRODUCT_AP built_in[AC_PRODUCT_NUM]; // the tests lay rows over them
    void SetUp() override
    {
        SqlWorld::SetUp();
        memcpy(built_in, g_ap_product, sizeof built_in);
    }
    void TearDown() override
    {
        memcpy(g_ap_product, built_in, sizeof built_in);
        SqlWorld::TearDown();
    }
    // Rows by column name; what isn't given is 0 or empty.
    void basic_row(const Mac& mac, int aptype, const std::string& changes = "")
    {
        std::string values = "'" + mac_text(mac) + "'";
        for (int i = 1; i < 35; i++)
            values += ",0";
        run(db, "insert into ap_basic values(" + values + ")");
        run(db, "update ap_basic set aptype=" + std::to_string(aptype) + changes + " where rowid=last_insert_rowid()");
    }
    void ssid_row(const Mac& mac, const std::string& ssid_id, const std::string& changes = "")
    {
        std::string values = "'" + mac_text(mac) + "'," + ssid_id;
        for (int i = 2; i < 31; i++)
            values += ",0";
        run(db, "insert into ap_ssid values(" + values + ")");
        if (!changes.empty()) run(db, "update ap_ssid set " + changes + " where rowid=last_insert_rowid()");
    }
    // The load's result and what it printed; the table is empty before.
    std::string load(int result)
    {
        apconfig_del_all();
        return lines_of([result] { EXPECT_EQ(load_apconfig_from_flash(), result); });
    }
    APCONFIG* found(const Mac& mac) { return apconfig_find(mac.data()); }
    static int count(const list_node& head)
    {
        int number = 0;
        for (const list_node* at = head.next; at != &head; at = at->next)
            number++;
        return number;
    }
    static std::string text(std::span<const UINT8> field)
    {
        return {reinterpret_cast<const char*>(field.data()), field.size()};
    }
    static std::string padded(std::string value, std::size_t width = 32)
    {
        value.resize(width, '\0');
        return value;
    }
    static std::string good_lines(int aps, int ssids)
    {
        return "**********************apnum:" + std::to_string(aps) + "," + std::to_string(ssids) +
               "*************\n\n\n\n*************g_real_ssid_num:" + std::to_string(ssids) + "**************\n\n";
    }
};

TEST_F(SqlLoadWorld, empty_tables_load_as_no_aps)
{
    EXPECT_EQ(load(0), good_lines(0, 0));
    EXPECT_EQ(g_acwtp_joined_ap_num, 0u);
}

TEST_F(SqlLoadWorld, every_basic_column_returns_to_its_field)
{
    run(db, "insert into ap_basic values('02:00:00:00:00:01',1,2,3,4,5,6,-1,'lobby',5,'V1.2',4,7,8,65535,9,10,-2,11,"
            "'m@x','pw',12,13,-2147483648,'rb','al',1,1,'42','pa',14,'de','qv',-1,'mdl1')");
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    EXPECT_EQ(load(0), good_lines(1, 2));
    const APCONFIG* ap = found(M1);
    ASSERT_NE(ap, nullptr);
    EXPECT_EQ(ap->info_basic.led_status, 1);
    EXPECT_EQ(ap->info_basic.ip.mode, 2);
    EXPECT_EQ(text(ap->info_basic.ip.ip), std::string("\3\0\0\0", 4));
    EXPECT_EQ(text(ap->info_basic.ip.mask), std::string("\4\0\0\0", 4));
    EXPECT_EQ(text(ap->info_basic.ip.gateway), std::string("\5\0\0\0", 4));
    EXPECT_EQ(text(ap->info_basic.ip.hostdns), std::string("\6\0\0\0", 4));
    EXPECT_EQ(text(ap->info_basic.ip.dns), "\xff\xff\xff\xff");
    EXPECT_EQ(text(ap->info_basic.apname.ap_name), padded("lobby"));
    EXPECT_EQ(ap->info_basic.apname.ap_name_length, 5);
    EXPECT_EQ(text(ap->info_basic.version.version), padded("V1.2"));
    EXPECT_EQ(ap->info_basic.version.version_length, 4);
    EXPECT_EQ(ap->info_reboot.reboot_en, 7);
    EXPECT_EQ(ap->info_reboot.reboot_type, 8);
    EXPECT_EQ(ap->info_reboot.time, 65535);
    EXPECT_EQ(ap->info_alarm.alarm_switch, 9);
    EXPECT_EQ(ap->info_alarm.hostnum_limit, 10);
    EXPECT_EQ(ap->info_alarm.stream_limit, 0xFFFFFFFEu);
    EXPECT_EQ(ap->info_event.mailEnable, 11);
    EXPECT_EQ(text(ap->info_event.mailName), padded("m@x", 33));
    EXPECT_EQ(text(ap->info_event.mailPwd), padded("pw", 33));
    EXPECT_EQ(ap->info_event.mailInterTime, 12);
    EXPECT_EQ(ap->info_event.mailPort, 0);
    EXPECT_EQ(ap->info_event.SSLEnable, 0);
    EXPECT_EQ(ap->info_event.pcEnable, 13);
    EXPECT_EQ(ap->info_event.pcIpAddr, 0x80000000u);
    EXPECT_EQ(text(ap->p_reboot_name), padded("rb"));
    EXPECT_EQ(text(ap->p_alarm_name), padded("al"));
    EXPECT_EQ(ap->ap_type, 1);
    EXPECT_EQ(text(ap->AP_config_version), "42");
    EXPECT_EQ(text(ap->p_pass_name), padded("pa"));
    EXPECT_EQ(text(ap->ip), std::string("\x0e\0\0\0", 4));
    EXPECT_EQ(text(ap->p_wl_deploy_name), padded("de"));
    EXPECT_EQ(text(ap->p_qvlan_name), padded("qv"));
    EXPECT_EQ(ap->product_id, 0xFFFFFFFFu);
    EXPECT_EQ(text(ap->product_name), padded("mdl1"));
}

TEST_F(SqlLoadWorld, every_loaded_ap_is_offline_and_unwritten)
{
    basic_row(M1, 1, ",status=1");
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    load(0);
    const APCONFIG* ap = found(M1);
    ASSERT_NE(ap, nullptr);
    EXPECT_EQ(ap->status, 0);
    EXPECT_EQ(ap->proto_vendor, 0);
    EXPECT_EQ(ap->port, 0);
    EXPECT_EQ(ap->sql_flag, 0);
    EXPECT_EQ(g_acwtp_joined_ap_num, 1u);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(SqlLoadWorld, every_ssid_column_returns_to_its_field)
{
    basic_row(M1, 1);
    run(db,
        "insert into ap_ssid values('02:00:00:00:00:01',0,7,31,-25536,'cafe',4,3,4,'secret',6,3600,1,66,21,22,23,24,25,"
        "26,2,27,28,29,300,301,302,65535,'1,2','bp','rp')");
    ssid_row(M1, "1");
    load(0);
    APCONFIG* ap = found(M1);
    ASSERT_NE(ap, nullptr);
    const CONFIG_WL_BASIC& wl = apconfig_find_wlbasic_node(&ap->list_wl, 0)->wl_basic;
    EXPECT_EQ(wl.wl_basic_set, 7);
    EXPECT_EQ(wl.client_number, 31);
    EXPECT_EQ(wl.pad, 0);
    EXPECT_EQ(wl.vlan_id, 40000);
    EXPECT_EQ(text(wl.ssid.ssid), padded("cafe"));
    EXPECT_EQ(wl.ssid.ssid_length, 4);
    EXPECT_EQ(wl.wlSecure.secure_mode, 3);
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.auth_type, 4);
    EXPECT_EQ(text(wl.wlSecure.wpapsk_secure_mode.key.key), padded("secret", 64));
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.key.key_length, 6);
    EXPECT_EQ(text(wl.wlSecure.wpapsk_secure_mode.key_time), std::string("\x10\x0e\0\0", 4));
    ASSERT_EQ(count(ap->list_rf), 1); // by the setting's bit 0; the column radio is not read
    const CONFIG_WL_RF& rf = apconfig_find_rf_node(&ap->list_rf, 0)->rf;
    const CONFIG_WL_RF expected = {66, 21, 22, 23, 24, 25, 26, 27, 28, 29, 300, 301, 302, 65535, {'1', ',', '2'}};
    EXPECT_EQ(memcmp(&rf, &expected, sizeof rf), 0);
    EXPECT_EQ(text(ap->p_wl_basic_policy_name[0]), padded("bp"));
    EXPECT_EQ(text(ap->p_wl_rf_policy_name[0]), padded("0")); // the last row of the radio rules
}

TEST_F(SqlLoadWorld, ssids_end_in_reverse_row_order)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    load(0);
    const APCONFIG* ap = found(M1);
    EXPECT_EQ(apconfig_wl_of(ap->list_wl.next)->wl_basic.ssid_id, 1);
    EXPECT_EQ(apconfig_wl_of(ap->list_wl.prev)->wl_basic.ssid_id, 0);
}

TEST_F(SqlLoadWorld, radios_come_from_the_rows_of_ssid_0_and_8_alone)
{
    basic_row(M1, 7);
    for (int ssid_id = 0; ssid_id < 12; ssid_id++)
        ssid_row(M1, std::to_string(ssid_id),
                 "RF_basic_setting=" + std::to_string(ssid_id < 8 ? 2 : 3) +
                     ",channel=" + std::to_string(100 + ssid_id) + ",wl_rf_name='rf" + std::to_string(ssid_id) +
                     "',wl_basic_name='b" + std::to_string(ssid_id) + "'");
    EXPECT_EQ(load(0), good_lines(1, 12));
    APCONFIG* ap = found(M1);
    ASSERT_EQ(count(ap->list_rf), 2);
    EXPECT_EQ(apconfig_rf_of(ap->list_rf.next)->rf.channel, 108); // in reverse order as well
    EXPECT_EQ(apconfig_find_rf_node(&ap->list_rf, 0)->rf.channel, 100);
    EXPECT_EQ(apconfig_find_rf_node(&ap->list_rf, 1)->rf.channel, 108);
    EXPECT_EQ(text(ap->p_wl_rf_policy_name[0]), padded("rf7"));
    EXPECT_EQ(text(ap->p_wl_rf_policy_name[1]), padded("rf11"));
    for (std::size_t i = 0; i < 12; i++)
        EXPECT_EQ(text(ap->p_wl_basic_policy_name[i]), padded("b" + std::to_string(i)));
}

TEST_F(SqlLoadWorld, a_record_survives_store_and_load)
{
    APCONFIG* dual = make_record(M1, 7, AP_LINK_UP, "3");
    memcpy(dual->info_basic.apname.ap_name, "O'Brien", 7);
    dual->info_basic.apname.ap_name_length = 7;
    sqlite_apconfig_add(dual);
    EXPECT_EQ(load(0), good_lines(1, 12));
    APCONFIG* ap = found(M1);
    ASSERT_NE(ap, nullptr);
    EXPECT_EQ(text(ap->info_basic.apname.ap_name), padded("O'Brien"));
    EXPECT_EQ(ap->info_basic.apname.ap_name_length, 7);
    EXPECT_EQ(text(ap->AP_config_version), std::string("3\0", 2));
    EXPECT_EQ(text(apconfig_find_wlbasic_node(&ap->list_wl, 11)->wl_basic.ssid.ssid), padded("ssid11"));
}

TEST_F(SqlLoadWorld, rows_from_before_the_two_policy_columns_load_with_null_as_empty)
{
    basic_row(M1, 1, ",wl_deploy_name=null,qvlan_name=null");
    ssid_row(M1, "0", "sta_timeout=null");
    ssid_row(M1, "1");
    EXPECT_EQ(load(0), good_lines(1, 2));
    APCONFIG* ap = found(M1);
    EXPECT_EQ(text(ap->p_wl_deploy_name), padded(""));
    EXPECT_EQ(text(ap->p_qvlan_name), padded(""));
    EXPECT_EQ(apconfig_find_rf_node(&ap->list_rf, 0)->rf.sta_timeout, 0);
}

TEST_F(SqlLoadWorld, a_row_of_nothing_but_nulls_names_no_ap)
{
    basic_row(M1, 1);
    run(db, "insert into ap_basic(apmac) values(null)");
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    EXPECT_EQ(load(0), "Bad mac address ''\n" + good_lines(1, 2));
}

TEST_F(SqlLoadWorld, nulls_in_all_columns_but_the_key_read_as_zeros)
{
    run(db, "insert into ap_basic(apmac) values('02:00:00:00:00:01')");
    run(db, "insert into ap_ssid(apmac) values('02:00:00:00:00:01')");
    load(255); // type 0 has no SSIDs
    APCONFIG* ap = found(M1);
    ASSERT_NE(ap, nullptr);
    EXPECT_EQ(ap->ap_type, 0);
    EXPECT_EQ(count(ap->list_wl), 1);
    EXPECT_EQ(count(ap->list_rf), 1);
}

TEST_F(SqlLoadWorld, an_unreadable_mac_is_passed_over_and_the_other_aps_load)
{
    run(db, "insert into ap_basic(apmac) values('not a mac')");
    basic_row(M1, 1);
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    EXPECT_EQ(load(0), "Bad mac address 'not a mac'\n" + good_lines(1, 2));
    EXPECT_NE(found(M1), nullptr);
}

TEST_F(SqlLoadWorld, numbers_are_cut_to_the_width_of_their_field)
{
    basic_row(M1, 1, ",ledstatus='257',time=65537,stream_limit=4294967297,hostnum_limit=-1,mailInterTime='x'");
    ssid_row(M1, "0", "vlan_id=65537,channel='99999999999999999999'");
    ssid_row(M1, "1");
    load(0);
    APCONFIG* ap = found(M1);
    EXPECT_EQ(ap->info_basic.led_status, 1);
    EXPECT_EQ(ap->info_reboot.time, 1);
    EXPECT_EQ(ap->info_alarm.stream_limit, 1u);
    EXPECT_EQ(ap->info_alarm.hostnum_limit, 255);
    EXPECT_EQ(ap->info_event.mailInterTime, 0);
    EXPECT_EQ(apconfig_find_wlbasic_node(&ap->list_wl, 0)->wl_basic.vlan_id, 1);
}

TEST_F(SqlLoadWorld, texts_longer_than_their_fields_are_cut)
{
    const std::string text_of_200 = "'" + std::string(200, 't') + "'";
    basic_row(M1, 1,
              ",apname=" + text_of_200 + ",apname_len=200,version=" + text_of_200 +
                  ",version_len=33,reboot_name=" + text_of_200 + ",mailName=" + text_of_200 +
                  ",mailPwd=" + text_of_200 + ",config_version='123',product_name=" + text_of_200);
    ssid_row(M1, "0",
             "ssid=" + text_of_200 + ",ssid_length=33,key=" + text_of_200 +
                 ",key_length=65,wl_basic_name=" + text_of_200 + ",qvlan_truck_port=" + text_of_200);
    ssid_row(M1, "1");
    load(0);
    APCONFIG* ap = found(M1);
    const std::string full(32, 't');
    EXPECT_EQ(text(ap->info_basic.apname.ap_name), full);
    EXPECT_EQ(ap->info_basic.apname.ap_name_length, 32);
    EXPECT_EQ(ap->info_basic.version.version_length, 32);
    EXPECT_EQ(text(ap->p_reboot_name), full);
    EXPECT_EQ(text(ap->info_event.mailName), padded(full, 33));
    EXPECT_EQ(text(ap->info_event.mailPwd), padded(full, 33));
    EXPECT_EQ(text(ap->AP_config_version), "12");
    EXPECT_EQ(text(ap->product_name), full);
    const CONFIG_WL_BASIC& wl = apconfig_find_wlbasic_node(&ap->list_wl, 0)->wl_basic;
    EXPECT_EQ(wl.ssid.ssid_length, 32);
    EXPECT_EQ(text(wl.ssid.ssid), full);
    EXPECT_EQ(wl.wlSecure.wpapsk_secure_mode.key.key_length, 64);
    EXPECT_EQ(text(wl.wlSecure.wpapsk_secure_mode.key.key), std::string(64, 't'));
    EXPECT_EQ(text(ap->p_wl_basic_policy_name[0]), full);
    EXPECT_EQ(text(apconfig_find_rf_node(&ap->list_rf, 0)->rf.qvlan_truck_port), std::string(10, 't'));
}

TEST_F(SqlLoadWorld, a_text_longer_than_its_length_column_says_is_cut_to_it)
{
    basic_row(M1, 1, ",apname='lobby',apname_len=3");
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    load(0);
    EXPECT_EQ(text(found(M1)->info_basic.apname.ap_name), padded("lob"));
}

TEST_F(SqlLoadWorld, a_second_row_of_an_ap_replaces_the_first_and_shows_in_the_numbers)
{
    basic_row(M1, 1, ",ledstatus=1");
    basic_row(M1, 1, ",ledstatus=2");
    ssid_row(M1, "0");
    ssid_row(M1, "1");
    EXPECT_EQ(load(255), "**********************apnum:1,4*************\n\n\n\n*************g_real_ssid_num:2"
                         "**************\n\nE|4,2********\nE|load apconfig err,clear all\n"
                         "*********************************don't delete it*******");
    EXPECT_EQ(found(M1)->info_basic.led_status, 2);
    EXPECT_EQ(g_acwtp_joined_ap_num, 1u);
    EXPECT_TRUE(take_notes().empty()); // the rows stay
}

TEST_F(SqlLoadWorld, missing_ssid_rows_are_reported_and_nothing_is_cleared)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    EXPECT_EQ(load(255), "**********************apnum:1,2*************\n\n\n\n*************g_real_ssid_num:1"
                         "**************\n\nE|2,1********\nE|load apconfig err,clear all\n"
                         "*********************************don't delete it*******");
    ASSERT_NE(found(M1), nullptr);
    EXPECT_EQ(count(found(M1)->list_wl), 1);
}

TEST_F(SqlLoadWorld, an_ssid_id_that_does_not_exist_is_passed_over)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    for (const int bad : {12, 200, -1, 256}) {
        const std::string text = std::to_string(bad);
        run(db, "delete from ap_ssid where ssid_id!='0'");
        ssid_row(M1, text);
        const std::string printed = load(255);
        EXPECT_NE(printed.find("E|ssid_id:" + text + "\n\n\n***"), std::string::npos) << bad;
        EXPECT_NE(printed.find("E|2,1********\n"), std::string::npos) << bad;
        EXPECT_EQ(count(found(M1)->list_wl), 1) << bad;
    }
}

TEST_F(SqlLoadWorld, ssid_id_11_is_the_last_that_exists)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    ssid_row(M1, "11", "wl_basic_name='last'");
    EXPECT_EQ(load(0), good_lines(1, 2));
    EXPECT_EQ(text(found(M1)->p_wl_basic_policy_name[11]), padded("last"));
}

TEST_F(SqlLoadWorld, no_ap_gets_more_than_12_ssids_and_2_radios)
{
    basic_row(M1, 7);
    for (int i = 0; i < 20; i++)
        ssid_row(M1, "0");
    const std::string printed = load(255);
    EXPECT_NE(printed.find("E|12,20********\n"), std::string::npos);
    EXPECT_EQ(count(found(M1)->list_wl), 12);
    EXPECT_EQ(count(found(M1)->list_rf), 2);
}

TEST_F(SqlLoadWorld, an_overfull_ap_keeps_the_rows_of_its_first_set)
{
    basic_row(M1, 7);
    for (int set = 0; set < 2; set++)
        for (int ssid_id = 0; ssid_id < 12; ssid_id++)
            ssid_row(M1, std::to_string(ssid_id), "RF_basic_setting=" + std::to_string(ssid_id < 8 ? 2 : 3));
    load(255);
    APCONFIG* ap = found(M1);
    for (UINT8 ssid_id = 0; ssid_id < 12; ssid_id++)
        EXPECT_NE(apconfig_find_wlbasic_node(&ap->list_wl, ssid_id), nullptr);
    EXPECT_NE(apconfig_find_rf_node(&ap->list_rf, 0), nullptr);
    EXPECT_NE(apconfig_find_rf_node(&ap->list_rf, 1), nullptr);
}

TEST_F(SqlLoadWorld, an_ssid_of_an_unknown_ap_stops_the_load_at_its_row)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    ssid_row(test_mac(9), "0");
    ssid_row(M1, "1");
    EXPECT_EQ(load(255), "**********************apnum:1,2*************\n\nE|load ap rf error\n"
                         "E|load apconfig of wl basic error,Error code:4,Reason:query aborted\nE|");
    EXPECT_EQ(count(found(M1)->list_wl), 1);
    EXPECT_EQ(g_real_ssid_num, 1);
}

TEST_F(SqlLoadWorld, an_ssid_without_a_mac_stops_the_load_at_its_row)
{
    basic_row(M1, 1);
    run(db, "insert into ap_ssid(ssid_id) values(0)");
    EXPECT_NE(load(255).find("Bad mac address ''\nE|load ap rf error\n"), std::string::npos);
    basic_row(Mac{}, 1); // no AP can have what isn't an address, not even the one of zeros
    EXPECT_NE(load(255).find("Bad mac address ''\nE|load ap rf error\n"), std::string::npos);
}

TEST_F(SqlLoadWorld, a_basic_table_of_another_width_loads_no_ap_and_skips_the_rest)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    run(db, "alter table ap_basic add column more int");
    EXPECT_EQ(load(255), "E|n_column:36,AP_BASIC_TABLE_COL_LEN:35\n"
                         "E|load apconfig of basic error,Error code:4,Reason:query aborted\nE|");
    EXPECT_EQ(g_acwtp_joined_ap_num, 0u);
    run(db, "alter table ap_basic drop column more; alter table ap_basic drop column product_name");
    EXPECT_EQ(load(255), "E|n_column:34,AP_BASIC_TABLE_COL_LEN:35\n"
                         "E|load apconfig of basic error,Error code:4,Reason:query aborted\nE|");
    EXPECT_EQ(g_acwtp_joined_ap_num, 0u);
}

TEST_F(SqlLoadWorld, an_ssid_table_of_another_width_loads_no_ssid)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    run(db, "alter table ap_ssid drop column wl_rf_name");
    EXPECT_EQ(load(255), "**********************apnum:1,2*************\n\nE|n_column:30,AP_WL_SSID_TABLE_COL_LEN:31"
                         "E|load apconfig of wl basic error,Error code:4,Reason:query aborted\nE|");
    EXPECT_NE(found(M1), nullptr);
    run(db, "alter table ap_ssid add column one int; alter table ap_ssid add column two int");
    EXPECT_NE(load(255).find("E|n_column:32,AP_WL_SSID_TABLE_COL_LEN:31E|"), std::string::npos);
    EXPECT_TRUE(list_empty(&found(M1)->list_wl));
}

TEST_F(SqlLoadWorld, a_missing_table_ends_the_load_with_its_reason)
{
    run(db, "drop table ap_basic");
    EXPECT_EQ(load(255), "E|load apconfig of basic error,Error code:1,Reason:no such table: ap_basic\nE|");
}

TEST_F(SqlLoadWorld, a_closed_file_loads_nothing)
{
    sqlite_exit();
    EXPECT_NE(load(255).find("E|load_apconfig_ap_product error,Error code:21,"), std::string::npos);
}

TEST_F(SqlLoadWorld, an_ap_type_out_of_range_has_no_ssids_and_harms_nothing)
{
    basic_row(M1, 200);
    basic_row(test_mac(2), 65535);
    basic_row(test_mac(3), 65537); // cut to 16 bits: type 1
    EXPECT_EQ(load(255).substr(0, 29), "E|aptype:200E|aptype:65535***");
    EXPECT_EQ(found(test_mac(3))->ap_type, 1);
    EXPECT_EQ(g_ap_ssid_num, 2);
}

TEST_F(SqlLoadWorld, memory_missing_for_a_record_ends_the_load_there)
{
    basic_row(M1, 1);
    basic_row(test_mac(2), 1);
    // Statement texts come from the same memory: one for the products, one for the APs, then the records.
    EXPECT_EQ(lines_of([] {
                  ac_alloc_fail_after(3);
                  EXPECT_EQ(load_apconfig_from_flash(), 255);
                  ac_alloc_fail_after(-1);
              }),
              "E|malloc failed\nE|malloc failedE|load apconfig of basic error,Error code:4,Reason:query aborted\nE|");
    EXPECT_EQ(g_acwtp_joined_ap_num, 1u);
}

TEST_F(SqlLoadWorld, memory_missing_for_an_ssid_or_its_radio_ends_the_load_there)
{
    basic_row(M1, 1);
    ssid_row(M1, "0");
    for (int after : {4, 5}) { // texts of three selects, the record, then SSID and radio
        apconfig_del_all();
        const std::string printed = lines_of([after] {
            ac_alloc_fail_after(after);
            EXPECT_EQ(load_apconfig_from_flash(), 255);
            ac_alloc_fail_after(-1);
        });
        const std::string words = after == 4 ? "E|wl basic config malloc error\n" : "E|wl rf config malloc error\n";
        const std::string ended = "E|load apconfig of wl basic error,Error code:4,Reason:query aborted\nE|";
        EXPECT_NE(printed.find(words + ended), std::string::npos) << printed;
        EXPECT_EQ(count(found(M1)->list_wl), after == 4 ? 0 : 1);
    }
}

// --- products -------------------------------------------------------------------------------------------------------

TEST_F(SqlLoadWorld, stored_products_overlay_the_table)
{
    run(db, "insert into ap_product_info values(70,'new70',-1,8,4,2,1)");
    run(db, "insert into ap_product_info values(1,'other',9,4,0,1,0)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(load_apconfig_ap_product(), 0); }), "");
    PRODUCT_AP row;
    ASSERT_TRUE(acwtp_product_obtain(70, &row));
    EXPECT_EQ(text(row.ap_name), padded("new70"));
    EXPECT_EQ(text(row.image_name), padded("/var/new70_image"));
    EXPECT_EQ(row.product_id, 0xFFFFFFFFu);
    EXPECT_EQ(row.ssid_num_24g, 8);
    EXPECT_EQ(row.ssid_num_5g, 4);
    EXPECT_EQ(row.rf_num, 2);
    EXPECT_EQ(row.flag_old_crc, 1);
    EXPECT_EQ(row.ap_type, 70);
    ASSERT_TRUE(acwtp_product_obtain(1, &row));
    EXPECT_EQ(text(row.ap_name), padded("other"));
}

TEST_F(SqlLoadWorld, a_learnt_product_is_found_again_at_the_next_start)
{
    static const UINT8 name[32] = {'m', 'x'};
    (void)lines_of([] { sqlite_add_ap_type(71, name, 5, 2, 0, 1, 0); });
    (void)lines_of([] { load_apconfig_ap_product(); });
    PRODUCT_AP row;
    ASSERT_TRUE(acwtp_product_obtain(71, &row));
    EXPECT_EQ(get_ssid_len(71), 2);
}

TEST_F(SqlLoadWorld, a_product_of_type_200_stops_the_whole_load)
{
    basic_row(M1, 1);
    run(db, "insert into ap_product_info values(200,'x',1,1,1,1,1)");
    EXPECT_EQ(load(255), "E|load ap_type error, ap_type=200\n"
                         "E|load_apconfig_ap_product error,Error code:4,Reason:query aborted\nE|");
    EXPECT_EQ(g_acwtp_joined_ap_num, 0u);
}

TEST_F(SqlLoadWorld, products_of_type_1_and_199_are_the_first_and_last_that_load)
{
    run(db, "insert into ap_product_info values(1,'a',1,1,1,1,1),(199,'b',1,1,1,1,1)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(load_apconfig_ap_product(), 0); }), "");
    PRODUCT_AP row;
    EXPECT_TRUE(acwtp_product_obtain(1, &row));
    EXPECT_TRUE(acwtp_product_obtain(199, &row));
    for (const char* bad : {"0", "-1", "200", "65537"}) {
        run(db,
            std::string("delete from ap_product_info; insert into ap_product_info values(") + bad + ",'x',1,1,1,1,1)");
        EXPECT_EQ(lines_of([] { EXPECT_EQ(load_apconfig_ap_product(), 255); }),
                  std::string("E|load ap_type error, ap_type=") + bad +
                      "\nE|load_apconfig_ap_product error,Error code:4,Reason:query aborted\n");
    }
}

TEST_F(SqlLoadWorld, a_product_table_of_another_width_is_refused)
{
    run(db, "insert into ap_product_info values(70,'x',1,1,1,1,1)");
    run(db, "alter table ap_product_info add column more int");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(load_apconfig_ap_product(), 255); }),
              "E|ap_type column=8,MAX_LEN=7E|load_apconfig_ap_product error,Error code:4,Reason:query aborted\n");
    run(db, "alter table ap_product_info drop column more; alter table ap_product_info drop column flag_old_crc");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(load_apconfig_ap_product(), 255); }),
              "E|ap_type column=6,MAX_LEN=7E|load_apconfig_ap_product error,Error code:4,Reason:query aborted\n");
}

TEST_F(SqlLoadWorld, a_product_name_that_is_null_or_too_long_is_cut)
{
    run(db, "insert into ap_product_info(ap_type) values(72)");
    run(db, "insert into ap_product_info values(73,'" + std::string(100, 'n') + "',1,1,1,1,1)");
    (void)lines_of([] { EXPECT_EQ(load_apconfig_ap_product(), 0); });
    PRODUCT_AP row;
    ASSERT_TRUE(acwtp_product_obtain(72, &row));
    EXPECT_EQ(text(row.ap_name), padded(""));
    ASSERT_TRUE(acwtp_product_obtain(73, &row));
    EXPECT_EQ(text(row.ap_name), std::string(32, 'n'));
    EXPECT_EQ(row.image_name[31], 0);
}

TEST_F(SqlLoadWorld, a_load_after_an_update_gives_the_ap_a_false_address)
{
    APCONFIG* ap = make_record(M1, 1, AP_LINK_UP);
    const UINT8 address[4] = {10, 0, 0, 7};
    memcpy(ap->ip, address, 4);
    sqlite_apconfig_add(ap);
    load(0);
    EXPECT_EQ(memcmp(found(M1)->ip, address, 4), 0); // true after the insert
    memcpy(found(M1)->ip, address, 4);
    const int place = static_cast<int>(reinterpret_cast<std::uintptr_t>(&found(M1)->ip[0]));
    sqlite_apconfig_add(found(M1));
    load(0);
    EXPECT_EQ(memcmp(found(M1)->ip, &place, 4), 0);
}

TEST_F(SqlLoadWorld, what_the_flash_queue_wrote_is_what_the_next_start_loads)
{
    APCONFIG* ap = make_record(M1, 7, AP_LINK_UP, "5");
    ap->sql_flag = 0;
    sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, M1.data());
    sql_flash_queue_out();
    EXPECT_EQ(load(0), good_lines(1, 12));
    ASSERT_NE(found(M1), nullptr);
    EXPECT_EQ(text(found(M1)->AP_config_version), std::string("5\0", 2));
    // As the daemon does next: the first note after a load writes the record whole.
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "12");
}
