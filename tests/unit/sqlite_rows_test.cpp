// Rows of ap_basic and ap_ssid as they are written whole.
#include "ac_mib/sql_flash_queue.h"
#include "common/ac_alloc.h"
#include "sql_rows.h"

TEST_F(SqlRowsWorld, a_new_ap_is_inserted_with_every_column_in_its_place)
{
    EXPECT_EQ(add_basic(), 0);
    EXPECT_EQ(rows(db, "select * from ap_basic"), (SqlRows{{"02:00:00:00:00:01",
                                                            "1",
                                                            "2",
                                                            "3",
                                                            "4",
                                                            "5",
                                                            "6",
                                                            "-1",
                                                            "lobby",
                                                            "5",
                                                            "V1.2",
                                                            "4",
                                                            "7",
                                                            "8",
                                                            "65535",
                                                            "9",
                                                            "10",
                                                            "-2",
                                                            "11",
                                                            "m@x",
                                                            "pw",
                                                            "12",
                                                            "13",
                                                            "-2147483648",
                                                            "rb",
                                                            "al",
                                                            "1",
                                                            "1",
                                                            "42",
                                                            "pa",
                                                            "14",
                                                            "de",
                                                            "qv",
                                                            "-1",
                                                            "mdl1"}}));
}

TEST_F(SqlRowsWorld, the_insert_is_worded_as_fixed)
{
    const auto texts = statements(db, [&] { add_basic(); });
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "select count(*) from ap_basic where apmac='02:00:00:00:00:01' ",
                         "insert into ap_basic values('02:00:00:00:00:01',1,2,3,4,5,6,-1,'lobby',5,'V1.2',4,"
                         "\t\t\t7,8,65535,9,10,-2,11,'m@x','pw',12,13,-2147483648,'rb','al',1,1,'42','pa',14,'de','qv',"
                         "-1,'mdl1')"}));
}

TEST_F(SqlRowsWorld, the_update_is_worded_as_fixed_and_carries_the_place_of_the_address)
{
    add_basic();
    const auto texts = statements(db, [&] { add_basic(); });
    const int place = static_cast<int>(reinterpret_cast<std::uintptr_t>(&record->ip[0]));
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_EQ(
        texts[1],
        "update ap_basic set ledstatus=1,ipmode=2,\t\t\t\t\tip=3,mask=4,gateway=5,hostdns=6,dns =-1,apname ='lobby',"
        "\t\t\t\t\tapname_len=5,version='V1.2',version_len=4,reboot_en=7,\t\t\t\t\treboot_type=8,time=65535,"
        "alarm_switch=9,\t\t\t\t\thostnum_limit=10,stream_limit=-2,mailEnable=11,\t\t\t\t\tmailName='m@x',"
        "mailPwd='pw',mailInterTime=12,\t\t\t\t\tpcEnable=13,pcIpAddr=-2147483648,reboot_name='rb',"
        "alarm_name='al',\t\t\t\t\taptype=1,status=1,config_version='42',pass_name='pa',router_ip=" +
            std::to_string(place) +
            ",wl_deploy_name ='de',\t\t\tqvlan_name = 'qv',product_id=-1,product_name='mdl1' where "
            "apmac='02:00:00:00:00:01'");
    EXPECT_EQ(basic("router_ip"), std::to_string(place));
}

TEST_F(SqlRowsWorld, a_second_write_updates_the_one_row)
{
    add_basic();
    put(record->info_basic.apname.ap_name, "hall");
    record->info_basic.apname.ap_name_length = 4;
    add_basic();
    EXPECT_EQ(rows(db, "select apname,apname_len from ap_basic"), (SqlRows{{"hall", "4"}}));
}

TEST_F(SqlRowsWorld, an_apostrophe_in_the_ap_name_is_doubled_in_the_statement_and_single_in_the_row)
{
    put(record->info_basic.apname.ap_name, "O'Brien");
    record->info_basic.apname.ap_name_length = 7;
    const auto texts = statements(db, [&] { add_basic(); });
    EXPECT_NE(texts[1].find("'O''Brien',7"), std::string::npos);
    EXPECT_EQ(basic("apname"), "O'Brien");
}

TEST_F(SqlRowsWorld, every_text_may_be_full_of_apostrophes)
{
    const std::string quotes(32, '\'');
    put(record->info_basic.apname.ap_name, quotes);
    record->info_basic.apname.ap_name_length = 32;
    for (UINT8(*field)[32] : {&record->p_reboot_name, &record->p_alarm_name, &record->p_pass_name,
                              &record->p_wl_deploy_name, &record->p_qvlan_name, &record->product_name})
        put(*field, quotes);
    put(record->info_event.mailName, std::string(33, '\''));
    put(record->info_event.mailPwd, std::string(33, '\''));
    memcpy(record->AP_config_version, "''", 2);
    for (int pass = 0; pass < 2; pass++) { // insert, then update
        EXPECT_EQ(lines_of([&] { add_basic(); }), "");
        for (const char* column : {"apname", "reboot_name", "alarm_name", "pass_name", "wl_deploy_name", "qvlan_name",
                                   "product_name", "mailName", "mailPwd"})
            EXPECT_EQ(basic(column), quotes) << column;
        EXPECT_EQ(basic("config_version"), "''");
    }
}

TEST_F(SqlRowsWorld, names_that_use_all_32_bytes_are_kept_whole)
{
    const std::string full(32, 'n');
    put(record->p_reboot_name, full);
    put(record->info_basic.apname.ap_name, full);
    record->info_basic.apname.ap_name_length = 32;
    add_basic();
    EXPECT_EQ(basic("reboot_name"), full);
    EXPECT_EQ(basic("apname"), full);
}

TEST_F(SqlRowsWorld, the_ap_name_is_cut_by_its_length_byte)
{
    put(record->info_basic.apname.ap_name, "abcdef");
    record->info_basic.apname.ap_name_length = 3;
    put(record->info_basic.version.version, "V9.9");
    record->info_basic.version.version_length = 2;
    add_basic();
    EXPECT_EQ(basic("apname"), "abc");
    EXPECT_EQ(basic("version"), "V9");
}

TEST_F(SqlRowsWorld, lengths_above_32_become_32_in_the_record)
{
    record->info_basic.apname.ap_name_length = 33;
    record->info_basic.version.version_length = 255;
    add_basic();
    EXPECT_EQ(record->info_basic.apname.ap_name_length, 32);
    EXPECT_EQ(record->info_basic.version.version_length, 32);
    EXPECT_EQ(basic("apname_len"), "32");
    EXPECT_EQ(basic("version_len"), "32");
    record->info_basic.apname.ap_name_length = 32;
    add_basic();
    EXPECT_EQ(record->info_basic.apname.ap_name_length, 32);
}

TEST_F(SqlRowsWorld, a_version_with_a_quote_fails_its_row_and_reaches_no_other)
{
    const Mac other = test_mac(2);
    APCONFIG* second = make_record(other, 1, AP_LINK_UP);
    sqlite_apconfig_add(second);
    add_basic();
    put(record->info_basic.version.version, "x' --");
    record->info_basic.version.version_length = 5;
    record->info_basic.led_status = 0;
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_basic(), 0); }), "E|insert error ret=1,errmsg=SQL logic error\n");
    put(record->info_basic.version.version, "x';drop table ap_ssid;--");
    record->info_basic.version.version_length = 24;
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_basic(), 0); }), "E|insert error ret=1,errmsg=SQL logic error\n");
    EXPECT_EQ(basic("version"), "V1.2");
    EXPECT_EQ(basic("ledstatus"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlRowsWorld, an_ap_whose_own_row_fails_leaves_no_ssids_behind_that_would_stop_the_load)
{
    put(record->info_basic.version.version, "x'");
    record->info_basic.version.version_length = 2;
    EXPECT_EQ(lines_of([&] { sqlite_apconfig_add(record); }),
              "E|insert error ret=1,errmsg=SQL logic error\nE|ap has no row, its ssids are not written\n");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_WLRF, M1.data(), record), 255); }),
              "E|ap has no row, its ssids are not written\n");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
}

TEST_F(SqlRowsWorld, a_missing_group_of_fields_gives_1001_and_writes_nothing)
{
    for (int missing = 0; missing < 4; missing++) {
        EXPECT_EQ(lines_of([&] {
                      EXPECT_EQ(
                          sqlite_add_apbasic(record->ethaddr, record->ip, missing == 0 ? nullptr : &record->info_basic,
                                             missing == 1 ? nullptr : &record->info_reboot,
                                             missing == 2 ? nullptr : &record->info_alarm,
                                             missing == 3 ? nullptr : &record->info_event, record->p_reboot_name,
                                             record->p_alarm_name, 1, 1, record->AP_config_version, record->p_pass_name,
                                             record->p_wl_deploy_name, record->p_qvlan_name, 0, record->product_name),
                          1001);
                  }),
                  "E|\n");
    }
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
}

TEST_F(SqlRowsWorld, a_failed_insert_is_a_line_and_the_result_0)
{
    run(db, "create trigger refuse before insert on ap_basic begin select raise(abort,'no'); end");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_basic(), 0); }), "E|insert error ret=19,errmsg=no\n");
}

TEST_F(SqlRowsWorld, a_failed_count_of_ap_basic_never_doubles_a_row)
{
    run(db, "drop table ap_basic");
    EXPECT_EQ(lines_of([] { EXPECT_NE(query_apbasic_exist("02:00:00:00:00:01"), 0); }),
              "E|insert error ret=1,errmsg=no such table: ap_basic\n");
    run(db, "drop table ap_ssid");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(query_apssid_exist("02:00:00:00:00:01"), 0); }),
              "E|insert error ret=1,errmsg=no such table: ap_ssid\n");
}

TEST_F(SqlRowsWorld, counts_are_of_the_rows_of_one_mac)
{
    sqlite_apconfig_add(record);
    EXPECT_EQ(query_apbasic_exist("02:00:00:00:00:01"), 1);
    EXPECT_EQ(query_apssid_exist("02:00:00:00:00:01"), 2);
    EXPECT_EQ(query_apbasic_exist("02:00:00:00:00:02"), 0);
    EXPECT_EQ(query_apssid_exist("02:00:00:00:00:02"), 0);
}

TEST_F(SqlRowsWorld, ssid_rows_carry_every_column_in_its_place)
{
    fill_ssid_distinct(wl(0));
    fill_radio_distinct(rf(0), 0x42);
    put(record->p_wl_basic_policy_name[0], "bp");
    put(record->p_wl_rf_policy_name[0], "rp");
    EXPECT_EQ(add_ssid(), 0);
    EXPECT_EQ(rows(db, "select * from ap_ssid where ssid_id=0"), (SqlRows{{"02:00:00:00:00:01",
                                                                           "0",
                                                                           "7",
                                                                           "31",
                                                                           "-25536",
                                                                           "cafe",
                                                                           "4",
                                                                           "3",
                                                                           "4",
                                                                           "secret",
                                                                           "6",
                                                                           "3600",
                                                                           "0",
                                                                           "66",
                                                                           "21",
                                                                           "22",
                                                                           "23",
                                                                           "24",
                                                                           "25",
                                                                           "26",
                                                                           "2",
                                                                           "27",
                                                                           "28",
                                                                           "29",
                                                                           "300",
                                                                           "301",
                                                                           "302",
                                                                           "65535",
                                                                           "1,2",
                                                                           "bp",
                                                                           "rp"}}));
}

TEST_F(SqlRowsWorld, the_first_write_of_ssids_is_one_statement_worded_as_fixed)
{
    fill_radio_distinct(rf(0), 0x42);
    fill_ssid_distinct(wl(0));
    fill_ssid_distinct(wl(1));
    put(record->p_wl_basic_policy_name[1], "bp");
    put(record->p_wl_rf_policy_name[0], "rp");
    const auto texts = statements(db, [&] { add_ssid(); });
    EXPECT_EQ(texts, (std::vector<std::string>{
                         "select count(*) from ap_ssid where apmac='02:00:00:00:00:01' ",
                         "insert into ap_ssid values "
                         "('02:00:00:00:00:01',0,7,31,-25536,'cafe',4,3,4,'secret',6,3600,0,66,21,22,23,24,25,26,"
                         "2,27,28,29,300,301,302,65535,'1,2','','rp'),"
                         "('02:00:00:00:00:01',1,7,31,-25536,'cafe',4,3,4,'secret',6,3600,0,66,21,22,23,24,25,26,"
                         "2,27,28,29,300,301,302,65535,'1,2','bp','rp')"}));
}

TEST_F(SqlRowsWorld, a_later_write_of_ssids_is_one_update_a_row_in_list_order)
{
    add_ssid();
    fill_ssid_distinct(wl(0));
    fill_radio_distinct(rf(0), 0x42);
    put(record->p_wl_basic_policy_name[0], "bp");
    put(record->p_wl_rf_policy_name[0], "rp");
    const auto texts = statements(db, [&] { EXPECT_EQ(add_ssid(), 0); });
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[1],
              "update ap_ssid set wl_basic_set=7,client_number=31,vlan_id=-25536 \t\t\t\t\t,ssid='cafe',"
              "ssid_length=4,secure_mode=3,auth_type=4,key='secret',key_length=6 \t\t\t\t\t,key_time=3600,"
              "radio=0,RF_basic_setting=66,expand_channel=21,country_code=22\t\t,network_mode=23,bandwidth=24,"
              "TXpower=25,channel=26,ssid_en=2,rssi=27,interface_mode=28,sta_timeout=29 \t\t\t\t\t,lan_num=300,"
              "lan0_vlanid=301,lan1_vlanid=302,lan2_vlanid=65535,qvlan_truck_port='1,2' \t\t\t\t\t,"
              "wl_basic_name='bp',wl_rf_name='rp' where apmac='02:00:00:00:00:01' and ssid_id=0");
    EXPECT_EQ(texts[2].substr(texts[2].size() - 10), " ssid_id=1");
}

TEST_F(SqlRowsWorld, ssids_from_8_on_take_the_5_ghz_radio_and_its_policy)
{
    APCONFIG* dual = make_record(test_mac(2), 7, AP_LINK_UP);
    put(dual->p_wl_rf_policy_name[0], "low");
    put(dual->p_wl_rf_policy_name[1], "high");
    for (UINT8 radio : {UINT8{0}, UINT8{1}})
        apconfig_find_rf_node(&dual->list_rf, radio)->rf.channel = radio == 0 ? 6 : 149;
    sqlite_apconfig_add(dual);
    EXPECT_EQ(rows(db, "select ssid_id,radio,channel,wl_rf_name from ap_ssid where ssid_id in (7,8) order by rowid"),
              (SqlRows{{"7", "0", "6", "low"}, {"8", "1", "149", "high"}}));
}

TEST_F(SqlRowsWorld, each_radio_has_its_own_truck_ports_and_all_ten_bytes_of_them)
{
    APCONFIG* dual = make_record(test_mac(2), 7, AP_LINK_UP);
    put(apconfig_find_rf_node(&dual->list_rf, 0)->rf.qvlan_truck_port, "lower-ten!");
    put(apconfig_find_rf_node(&dual->list_rf, 1)->rf.qvlan_truck_port, "upper-ten!");
    sqlite_apconfig_add(dual);
    EXPECT_EQ(rows(db, "select qvlan_truck_port,count(*) from ap_ssid group by radio"),
              (SqlRows{{"lower-ten!", "8"}, {"upper-ten!", "4"}}));
}

TEST_F(SqlRowsWorld, ssid_and_key_are_cut_by_their_length_bytes)
{
    for (int pass = 0; pass < 2; pass++) { // insert, then update
        CONFIG_WL_BASIC& row = wl(static_cast<UINT8>(pass));
        fill_ssid_distinct(row);
        row.ssid.ssid_length = 3;
        row.wlSecure.wpapsk_secure_mode.key.key_length = 2;
        add_ssid();
        EXPECT_EQ(ssid("ssid", pass), "caf");
        EXPECT_EQ(ssid("key", pass), "se");
    }
}

TEST_F(SqlRowsWorld, a_single_radio_ap_leaves_radio_1_zero)
{
    wl(1).ssid_id = 8;
    rf(0).channel = 6;
    add_ssid();
    EXPECT_EQ(rows(db, "select radio,channel,RF_basic_setting from ap_ssid where ssid_id=8"),
              (SqlRows{{"1", "0", "0"}}));
}

TEST_F(SqlRowsWorld, the_policy_name_of_a_row_goes_by_its_place_in_the_list)
{
    put(record->p_wl_basic_policy_name[0], "first");
    put(record->p_wl_basic_policy_name[1], "second");
    list_node* head = &record->list_wl; // reversed, as a load leaves it
    list_node* front = head->next;
    list_del(front);
    list_add_tail(front, head);
    for (int pass = 0; pass < 2; pass++) { // insert, then update
        add_ssid();
        EXPECT_EQ(ssid("wl_basic_name", 1), "first");
        EXPECT_EQ(ssid("wl_basic_name", 0), "second");
        run(db, "update ap_ssid set wl_basic_name=''");
    }
}

TEST_F(SqlRowsWorld, key_and_ssid_lengths_are_clamped_in_the_nodes_on_insert_and_update)
{
    for (int pass = 0; pass < 2; pass++) {
        wl(0).ssid.ssid_length = 33;
        wl(0).wlSecure.wpapsk_secure_mode.key.key_length = 65;
        add_ssid();
        EXPECT_EQ(wl(0).ssid.ssid_length, 32);
        EXPECT_EQ(wl(0).wlSecure.wpapsk_secure_mode.key.key_length, 64);
        EXPECT_EQ(ssid("key_length", 0), "64");
    }
    wl(0).wlSecure.wpapsk_secure_mode.key.key_length = 64;
    add_ssid();
    EXPECT_EQ(wl(0).wlSecure.wpapsk_secure_mode.key.key_length, 64);
}

TEST_F(SqlRowsWorld, twelve_ssids_of_nothing_but_apostrophes_outgrow_the_buffer_and_are_written_whole)
{
    APCONFIG* dual = make_record(test_mac(2), 7, AP_LINK_UP);
    const std::string quotes(64, '\'');
    for (list_node* at = dual->list_wl.next; at != &dual->list_wl; at = at->next) {
        CONFIG_WL_BASIC& each = apconfig_wl_of(at)->wl_basic;
        put(each.ssid.ssid, quotes);
        each.ssid.ssid_length = 32;
        put(each.wlSecure.wpapsk_secure_mode.key.key, quotes);
        each.wlSecure.wpapsk_secure_mode.key.key_length = 64;
    }
    for (auto& name : dual->p_wl_basic_policy_name)
        put(name, quotes);
    for (auto& name : dual->p_wl_rf_policy_name)
        put(name, quotes);
    put(apconfig_find_rf_node(&dual->list_rf, 0)->rf.qvlan_truck_port, quotes);
    for (int pass = 0; pass < 2; pass++) {
        EXPECT_EQ(lines_of([&] { sqlite_apconfig_add(dual); }), "");
        EXPECT_EQ(cell(db, "select count(*) from ap_ssid where length(key)=64 and length(ssid)=32 and "
                           "length(wl_basic_name)=32 and length(wl_rf_name)=32"),
                  "12");
    }
}

TEST_F(SqlRowsWorld, a_failed_row_of_an_update_is_a_line_and_the_next_row_follows)
{
    add_ssid();
    run(db, "create trigger refuse before update on ap_ssid when old.ssid_id='0' begin select raise(abort,'no'); end");
    wl(1).client_number = 9;
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_ssid(), 0); }), "E|update error,ret=19,errmsg=no\n");
    EXPECT_EQ(ssid("client_number", 1), "9");
}

TEST_F(SqlRowsWorld, a_failed_insert_of_ssids_gives_255_and_writes_none)
{
    run(db, "create trigger refuse before insert on ap_ssid when new.ssid_id='1' begin select raise(abort,'no'); end");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_ssid(), 255); }), "E|insert error,ret=19,errmsg=no\n");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
}

TEST_F(SqlRowsWorld, a_missing_table_of_ssids_counts_as_no_rows_and_the_insert_fails_too)
{
    run(db, "drop table ap_ssid");
    const std::string printed = output_of([&] { EXPECT_EQ(add_ssid(), 255); });
    EXPECT_EQ(printed.find("Error->query_apssid_exist("), 0u) << printed;
    EXPECT_NE(printed.find(")--insert error ret=1,errmsg=no such table: ap_ssid\n"), std::string::npos) << printed;
    EXPECT_NE(printed.find(")--insert error,ret=1,errmsg=no such table: ap_ssid\n"), std::string::npos) << printed;
}

TEST_F(SqlRowsWorld, an_ap_with_any_row_is_updated_and_its_missing_rows_are_not_made)
{
    add_ssid();
    run(db, "delete from ap_ssid where ssid_id=0");
    wl(1).client_number = 9;
    EXPECT_EQ(add_ssid(), 0);
    EXPECT_EQ(rows(db, "select ssid_id,client_number from ap_ssid"), (SqlRows{{"1", "9"}}));
}

TEST_F(SqlRowsWorld, an_ap_without_ssids_has_no_rows_to_write_and_says_so)
{
    free_list_node(record);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_ssid(), 255); }), "E|insert error,ret=1,errmsg=incomplete input\n");
}

TEST_F(SqlRowsWorld, ssids_without_memory_for_the_statement_give_255_and_write_nothing)
{
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(add_ssid(), 255); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 7), "malloc:");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
}

TEST_F(SqlRowsWorld, memory_missing_at_any_moment_of_a_write_never_cuts_a_statement)
{
    for (int after = 0; after < 12; after++) {
        run(db, "delete from ap_basic");
        run(db, "delete from ap_ssid");
        const std::string printed = lines_of([&] {
            ac_alloc_fail_after(after);
            EXPECT_EQ(sqlite_apconfig_add(record), 0);
            ac_alloc_fail_after(-1);
        });
        const std::string basics = cell(db, "select count(*) from ap_basic");
        const std::string ssids = cell(db, "select count(*) from ap_ssid");
        EXPECT_TRUE(basics == "1" ? basic("product_name") == "mdl1" : basics == "0") << after;
        EXPECT_TRUE(ssids == "0" || ssids == "2") << after;
        const bool told = printed.find("E|insert error ret=7,errmsg=out of memory\n") != std::string::npos;
        EXPECT_TRUE(basics == "1" || told) << after;
    }
}

TEST_F(SqlRowsWorld, a_record_is_added_with_both_of_its_families_of_rows)
{
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_apconfig_add(record), 0); }), "");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlRowsWorld, each_field_of_an_added_record_stands_where_the_single_writes_put_it)
{
    fill_ssid_distinct(wl(0));
    fill_radio_distinct(rf(0), 0x42);
    put(record->p_wl_basic_policy_name[0], "bp");
    put(record->p_wl_rf_policy_name[0], "rp");
    const auto written = [this] {
        const SqlRows ssids = rows(db, "select * from ap_ssid");
        SqlRows all = rows(db, "select * from ap_basic");
        all.insert(all.end(), ssids.begin(), ssids.end());
        run(db, "delete from ap_basic; delete from ap_ssid");
        return all;
    };
    add_basic();
    add_ssid();
    const SqlRows expected = written();
    ASSERT_EQ(expected.size(), 3u);
    sqlite_apconfig_add(record);
    EXPECT_EQ(written(), expected);
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_ADVANCE, M1.data(), record), 0);
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_WLRF, M1.data(), record), 0);
    EXPECT_EQ(written(), expected);
}

TEST_F(SqlRowsWorld, a_whole_write_counts_each_family_of_rows_once)
{
    const auto kinds = [this] {
        std::string text;
        for (const std::string& sql : statements(db, [this] { sqlite_apconfig_add(record); }))
            text += sql.substr(0, sql.find(' ')) + " ";
        return text;
    };
    EXPECT_EQ(kinds(), "select insert select insert ");
    EXPECT_EQ(kinds(), "select update select update update ");
}

TEST_F(SqlRowsWorld, adding_a_record_gives_0_even_when_nothing_can_be_written)
{
    sqlite_exit();
    (void)lines_of([&] { EXPECT_EQ(sqlite_apconfig_add(record), 0); });
}

TEST_F(SqlRowsWorld, deleting_an_ap_removes_its_ssids_before_its_basic_row)
{
    sqlite_apconfig_add(record);
    sqlite_apconfig_add(make_record(test_mac(2), 1, AP_LINK_UP));
    const auto texts = statements(db, [] { EXPECT_EQ(sqlite_apconfig_del(M1.data()), 0); });
    EXPECT_EQ(texts, (std::vector<std::string>{"delete from ap_ssid where apmac='02:00:00:00:00:01'",
                                               "delete from ap_basic where apmac='02:00:00:00:00:01'"}));
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlRowsWorld, a_missing_table_of_ssids_keeps_no_ap_and_still_counts_as_a_failed_deletion)
{
    add_basic();
    run(db, "drop table ap_ssid");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_apconfig_del(M1.data()), 255); }),
              "E|delete error,Error code:1,Reason:no such table: ap_ssid\n");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
}

TEST_F(SqlRowsWorld, a_failed_deletion_names_the_routine_of_its_table)
{
    run(db, "drop table ap_basic; drop table ap_ssid");
    const std::string printed = output_of([] { sqlite_apconfig_del(M1.data()); });
    EXPECT_EQ(printed.find("Error->sqlite_apwlbasic_del("), 0u) << printed;
    EXPECT_NE(printed.find("\nError->sqlite_apbasic_del("), std::string::npos) << printed;
}

TEST_F(SqlRowsWorld, a_failed_deletion_gives_255)
{
    run(db, "drop table ap_basic; drop table ap_ssid");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_apbasic_del(M1.data()), 255); }),
              "E|delete error,Error code:1,Reason:no such table: ap_basic\n");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_apwlbasic_del(M1.data()), 255); }),
              "E|delete error,Error code:1,Reason:no such table: ap_ssid\n");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_apconfig_del(M1.data()), 255); }),
              "E|delete error,Error code:1,Reason:no such table: ap_ssid\n"
              "E|delete error,Error code:1,Reason:no such table: ap_basic\n");
}
