// Single groups of fields, and the deletion of many APs at once.
#include "ac_mib/sql_flash_queue.h"
#include "common/ac_alloc.h"
#include "sql_rows.h"

TEST_F(SqlRowsWorld, each_type_of_update_is_worded_as_fixed)
{
    fill_ssid_distinct(wl(1));
    fill_radio_distinct(rf(0), 0x42);
    sql_rf_data radio = {rf(0), {}};
    put(radio.wl_rf_name, "r'p");
    EXPECT_EQ(update_of(CONFIG_SQL_LED, &record->info_basic.led_status),
              std::string("update ap_basic set ledstatus=1") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_STATUS, &record->status), std::string("update ap_basic set status=1") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_IP, &record->info_basic.ip),
              std::string("update ap_basic set ipmode=2,ip=3,\t\tmask=4,gateway=5,hostdns=6,dns=-1") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_APNAME, &record->info_basic.apname),
              std::string("update ap_basic set apname='lobby',apname_len=5") + W1);
    EXPECT_EQ(
        update_of(CONFIG_SQL_RF, &radio),
        std::string("update ap_ssid set RF_basic_setting=66,\t\texpand_channel=21,country_code=22,network_mode=23,"
                    "\t\tbandwidth=24,TXpower=25,channel='26',rssi=27,interface_mode=28,sta_timeout=29,"
                    "\t\twl_rf_name='r''p'") +
            W1 + " and radio=0");
    EXPECT_EQ(update_of(CONFIG_SQL_WL_BASIC, &wl(1)),
              std::string("update 'ap_ssid' set wl_basic_set=7,\t\tclient_number=31,vlan_id=40000,ssid='cafe',"
                          "\t\tssid_length=4,secure_mode=3,auth_type='4',\t\tkey='secret',key_length=6,key_time=3600,"
                          "ssid_en=2") +
                  W1 + " and ssid_id=1");
    EXPECT_EQ(update_of(CONFIG_SQL_REBOOT, &record->info_reboot),
              std::string("update ap_basic set reboot_en=7,reboot_type=8,\t\ttime=-1") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_ALARM, &record->info_alarm),
              std::string("update ap_basic set alarm_switch=9,hostnum_limit=10,\t\tstream_limit=-2") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_VERSION, record->AP_config_version),
              std::string("update ap_basic set config_version='42'") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_ALARM_EVENT, &record->info_event),
              std::string("update ap_basic set mailEnable=11,mailName='m@x',\t\tmailPwd='pw',mailInterTime=12,"
                          "pcEnable=13,pcIpAddr=-2147483648") +
                  W1);
    EXPECT_EQ(update_of(CONFIG_SQL_ALARM_NAME, record->p_alarm_name),
              std::string("update ap_basic set alarm_name='al'") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_REBOOT_NAME, record->p_reboot_name),
              std::string("update ap_basic set reboot_name='rb'") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_CLI_LIMIT, &wl(1)),
              std::string("update 'ap_ssid' set client_number=31") + W1 + " and ssid_id=1");
    EXPECT_EQ(update_of(CONFIG_SQL_CHANNEL, &rf(0)),
              std::string("update ap_ssid set expand_channel=21,channel=26") + W1 + " and radio=0");
    EXPECT_EQ(update_of(CONFIG_SQL_PASSWORD_NAME, record->p_pass_name),
              std::string("update 'ap_basic' set pass_name='pa'") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_QVLAN_NAME, record->p_qvlan_name),
              std::string("update 'ap_basic' set qvlan_name='qv'") + W1);
    EXPECT_EQ(update_of(CONFIG_SQL_WL_DEPLOY_NAME, record->p_wl_deploy_name),
              std::string("update ap_basic set wl_deploy_name='de'") + W1);
}

TEST_F(SqlRowsWorld, names_of_32_apostrophes_are_updated_whole)
{
    sqlite_apconfig_add(record);
    const std::string quotes(32, '\'');
    UINT8 name[32];
    put(name, quotes);
    const std::pair<int, const char*> names[] = {{CONFIG_SQL_ALARM_NAME, "alarm_name"},
                                                 {CONFIG_SQL_REBOOT_NAME, "reboot_name"},
                                                 {CONFIG_SQL_PASSWORD_NAME, "pass_name"},
                                                 {CONFIG_SQL_QVLAN_NAME, "qvlan_name"},
                                                 {CONFIG_SQL_WL_DEPLOY_NAME, "wl_deploy_name"}};
    for (const auto& [type, column] : names) {
        EXPECT_EQ(sqlite_apconfig_update(type, M1.data(), name), 0);
        EXPECT_EQ(basic(column), quotes) << column;
    }
    sql_rf_data radio = {rf(0), {}};
    put(radio.wl_rf_name, quotes);
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_RF, M1.data(), &radio), 0);
    EXPECT_EQ(ssid("wl_rf_name", 1), quotes);
    put(record->info_event.mailName, std::string(33, '\''));
    put(record->info_event.mailPwd, std::string(33, '\''));
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_ALARM_EVENT, M1.data(), &record->info_event), 0);
    EXPECT_EQ(basic("mailName"), quotes);
    EXPECT_EQ(basic("mailPwd"), quotes);
    memcpy(record->AP_config_version, "''", 2);
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_VERSION, M1.data(), record->AP_config_version), 0);
    EXPECT_EQ(basic("config_version"), "''");
}

TEST_F(SqlRowsWorld, a_policy_name_note_of_ssids_writes_nothing)
{
    int index = 3;
    EXPECT_EQ(update_of(CONFIG_SQL_WL_POLICY_NAME, &index), "0 statements");
}

TEST_F(SqlRowsWorld, whole_record_types_write_one_family_of_rows_each)
{
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_ADVANCE, M1.data(), record), 0);
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_WLRF, M1.data(), record), 0);
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlRowsWorld, types_without_a_routine_are_refused_with_their_number)
{
    UINT8 data = 0;
    for (int type : {12, 13, 22, -1, 255}) {
        EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_apconfig_update(type, M1.data(), &data), 255); }),
                  "E|type=" + std::to_string(type) + "\n");
    }
}

TEST_F(SqlRowsWorld, an_update_without_data_is_refused_like_a_type_without_a_routine)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_LED, M1.data(), nullptr), 255); }),
              "E|type=0\n");
}

TEST_F(SqlRowsWorld, a_failed_field_update_is_a_line_and_255)
{
    run(db, "drop table ap_basic");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_LED, M1.data(), &record->status), 255); }),
              "E|update,Error code:1,Reason:no such table: ap_basic\n");
}

TEST_F(SqlRowsWorld, a_failed_field_update_names_its_routine)
{
    run(db, "drop table ap_basic");
    const std::string printed = output_of([&] { sqlite_apconfig_update(CONFIG_SQL_LED, M1.data(), &record->status); });
    EXPECT_EQ(printed.substr(0, 18), "Error->update_led(");
}

TEST_F(SqlRowsWorld, a_radio_update_changes_every_row_of_its_radio_and_no_other)
{
    APCONFIG* dual = make_record(test_mac(2), 7, AP_LINK_UP);
    sqlite_apconfig_add(dual);
    sqlite_apconfig_add(record);
    CONFIG_WL_RF high = {};
    high.RF_basic_setting = 3;
    high.channel = 157;
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_CHANNEL, dual->ethaddr, &high), 0);
    EXPECT_EQ(rows(db, "select apmac,radio,count(*) from ap_ssid where channel=157 group by apmac,radio"),
              (SqlRows{{"02:00:00:00:00:02", "1", "4"}}));
}

TEST_F(SqlRowsWorld, overlong_lengths_of_single_fields_stay_inside_their_fields)
{
    sqlite_apconfig_add(record);
    CONFIG_APNAME name;
    memset(&name, 'n', sizeof name);
    name.ap_name_length = 255;
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_APNAME, M1.data(), &name), 0);
    EXPECT_EQ(basic("apname"), std::string(32, 'n'));
    EXPECT_EQ(basic("apname_len"), "32");
    CONFIG_WL_BASIC basic_of_0 = wl(0);
    memset(&basic_of_0.ssid, 's', sizeof basic_of_0.ssid);
    memset(&basic_of_0.wlSecure.wpapsk_secure_mode.key, 'k', sizeof basic_of_0.wlSecure.wpapsk_secure_mode.key);
    EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_WL_BASIC, M1.data(), &basic_of_0), 0);
    EXPECT_EQ(ssid("ssid", 0), std::string(32, 's'));
    EXPECT_EQ(ssid("ssid_length", 0), "32");
    EXPECT_EQ(ssid("key", 0), std::string(64, 'k'));
    EXPECT_EQ(ssid("key_length", 0), "64");
}

// --- many at once ---------------------------------------------------------------------------------------------------

TEST_F(SqlRowsWorld, several_macs_are_deleted_in_one_statement)
{
    for (int n = 2; n <= 4; n++)
        sqlite_apconfig_add(make_record(test_mac(n), 1, AP_LINK_UP));
    const UINT8 macs[] = {2, 0, 0, 0, 0, 2, 2, 0, 0, 0, 0, 3};
    const auto texts = statements(db, [&] { EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", 2, macs), 0); });
    EXPECT_EQ(texts, std::vector<std::string>{
                         "delete from ap_ssid where apmac='02:00:00:00:00:02' or apmac='02:00:00:00:00:03'"});
    EXPECT_EQ(cell(db, "select count(distinct apmac) from ap_ssid"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "3");
}

TEST_F(SqlRowsWorld, no_macs_or_no_data_give_255_and_delete_nothing)
{
    sqlite_apconfig_add(record);
    EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", 0, M1.data()), 255);
    EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", -1, M1.data()), 255);
    EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", 1, nullptr), 255);
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlRowsWorld, more_macs_than_sqlite_takes_in_one_expression_are_deleted_too)
{
    constexpr int NUM = 2500;
    std::vector<UINT8> macs;
    std::string values;
    for (int n = 1; n <= NUM; n++) {
        const Mac mac = test_mac(n);
        macs.insert(macs.end(), mac.begin(), mac.end());
        values += (n == 1 ? "('" : ",('") + mac_text(mac) + "')";
    }
    run(db, "insert into ap_ssid(apmac) values " + values + ",('02:00:00:00:ff:ff')");
    EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", NUM, macs.data()), 0);
    EXPECT_EQ(rows(db, "select apmac from ap_ssid"), (SqlRows{{"02:00:00:00:ff:ff"}}));
}

TEST_F(SqlRowsWorld, a_failed_deletion_of_many_is_a_line_and_255)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_del_apconfig_multi("nowhere", 1, M1.data()), 255); }),
              "E|delete error,ret=1,errmsg=no such table: nowhere\n");
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", 1, M1.data()), 255); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 7), "malloc:");
}

TEST_F(SqlRowsWorld, the_client_table_can_be_emptied)
{
    run(db, "insert into ap_client(cli_mac) values('a'),('b')");
    EXPECT_EQ(sqlite_drop_ap_client(), 0);
    EXPECT_EQ(cell(db, "select count(*) from ap_client"), "0");
    run(db, "drop table ap_client");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_drop_ap_client(), 255); }),
              "E|delete error,Error code:1,Reason:no such table: ap_client\n");
}
