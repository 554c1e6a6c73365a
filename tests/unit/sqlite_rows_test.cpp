// Rows of ap_basic, ap_ssid and ap_product_info as they are written.
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_ap_product.h"
#include "ac_sql/sqlite_apbasic.h"
#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_sql/sqlite_apssid.h"
#include "common/ac_alloc.h"
#include "sql_world.h"

static const Mac M1 = test_mac(1);
static const char W1[] = " where apmac='02:00:00:00:00:01'";

template <std::size_t N> static void put(UINT8 (&field)[N], const std::string& text)
{
    memset(field, 0, N);
    memcpy(field, text.data(), std::min(text.size(), N));
}

// A record in which each field has a value of its own.
static void fill_distinct(APCONFIG& record)
{
    record.info_basic.led_status = 1;
    record.info_basic.ip = {2, {3, 0, 0, 0}, {4, 0, 0, 0}, {5, 0, 0, 0}, {6, 0, 0, 0}, {255, 255, 255, 255}};
    put(record.info_basic.apname.ap_name, "lobby");
    record.info_basic.apname.ap_name_length = 5;
    put(record.info_basic.version.version, "V1.2");
    record.info_basic.version.version_length = 4;
    record.info_reboot = {7, 8, 65535};
    record.info_alarm = {9, 10, {}, 0xFFFFFFFE};
    record.info_event.mailEnable = 11;
    put(record.info_event.mailName, "m@x");
    put(record.info_event.mailPwd, "pw");
    record.info_event.mailInterTime = 12;
    record.info_event.mailPort = 25;
    record.info_event.pcEnable = 13;
    record.info_event.pcIpAddr = 0x80000000;
    put(record.p_reboot_name, "rb");
    put(record.p_alarm_name, "al");
    put(record.p_pass_name, "pa");
    put(record.p_wl_deploy_name, "de");
    put(record.p_qvlan_name, "qv");
    memcpy(record.AP_config_version, "42", 2);
    const UINT8 ip[4] = {14, 0, 0, 0};
    memcpy(record.ip, ip, 4);
    record.product_id = 0xFFFFFFFF;
    put(record.product_name, "mdl1");
}

class SqlRowsWorld : public SqlWorld {
protected:
    APCONFIG* record = nullptr;
    void SetUp() override
    {
        SqlWorld::SetUp();
        record = make_record(M1, 1, AP_LINK_UP, "42"); // two SSIDs, one radio
        fill_distinct(*record);
    }
    int add_basic()
    {
        return sqlite_add_apbasic(record->ethaddr, record->ip, &record->info_basic, &record->info_reboot,
                                  &record->info_alarm, &record->info_event, record->p_reboot_name, record->p_alarm_name,
                                  record->ap_type, record->status, record->AP_config_version, record->p_pass_name,
                                  record->p_wl_deploy_name, record->p_qvlan_name, record->product_id,
                                  record->product_name);
    }
    int add_ssid()
    {
        return sqlite_add_apssid(record->ethaddr, &record->list_wl, &record->list_rf, record->p_wl_basic_policy_name,
                                 record->p_wl_rf_policy_name);
    }
    std::string basic(const std::string& column) { return cell(db, "select " + column + " from ap_basic" + W1); }
    std::string ssid(const std::string& column, int ssid_id)
    {
        return cell(db, "select " + column + " from ap_ssid" + W1 + " and ssid_id=" + std::to_string(ssid_id));
    }
    std::string update_of(int type, void* data)
    {
        const auto texts = statements(db, [&] { EXPECT_EQ(sqlite_apconfig_update(type, M1.data(), data), 0); });
        return texts.size() == 1 ? texts[0] : std::to_string(texts.size()) + " statements";
    }
    CONFIG_WL_BASIC& wl(UINT8 ssid_id) { return apconfig_find_wlbasic_node(&record->list_wl, ssid_id)->wl_basic; }
    CONFIG_WL_RF& rf(UINT8 radio) { return apconfig_find_rf_node(&record->list_rf, radio)->rf; }
};

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

TEST_F(SqlRowsWorld, a_null_basic_gives_1001)
{
    EXPECT_EQ(lines_of([&] {
                  EXPECT_EQ(sqlite_add_apbasic(record->ethaddr, record->ip, nullptr, &record->info_reboot,
                                               &record->info_alarm, &record->info_event, record->p_reboot_name,
                                               record->p_alarm_name, 1, 1, record->AP_config_version,
                                               record->p_pass_name, record->p_wl_deploy_name, record->p_qvlan_name, 0,
                                               record->product_name),
                            1001);
              }),
              "E|\n");
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

static void fill_radio_distinct(CONFIG_WL_RF& rf, UINT8 setting)
{
    rf = {setting, 21, 22, 23, 24, 25, 26, 27, 28, 29, 300, 301, 302, 65535, {}};
    put(rf.qvlan_truck_port, "1,2");
}

static void fill_ssid_distinct(CONFIG_WL_BASIC& wl)
{
    wl.wl_basic_set = 7;
    wl.client_number = 31;
    wl.vlan_id = 40000;
    put(wl.ssid.ssid, "cafe");
    wl.ssid.ssid_length = 4;
    wl.wlSecure.secure_mode = 3;
    wl.wlSecure.wpapsk_secure_mode.auth_type = 4;
    put(wl.wlSecure.wpapsk_secure_mode.key.key, "secret");
    wl.wlSecure.wpapsk_secure_mode.key.key_length = 6;
    const UINT8 key_time[4] = {0x10, 0x0E, 0, 0}; // 3600
    memcpy(wl.wlSecure.wpapsk_secure_mode.key_time, key_time, 4);
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
    const auto texts = statements(db, [&] { EXPECT_EQ(add_ssid(), 0); });
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[1],
              "update ap_ssid set wl_basic_set=7,client_number=31,vlan_id=-25536 \t\t\t\t\t,ssid='cafe',"
              "ssid_length=4,secure_mode=3,auth_type=4,key='secret',key_length=6 \t\t\t\t\t,key_time=3600,"
              "radio=0,RF_basic_setting=66,expand_channel=21,country_code=22\t\t,network_mode=23,bandwidth=24,"
              "TXpower=25,channel=26,ssid_en=2,rssi=27,interface_mode=28,sta_timeout=29 \t\t\t\t\t,lan_num=300,"
              "lan0_vlanid=301,lan1_vlanid=302,lan2_vlanid=65535,qvlan_truck_port='1,2' \t\t\t\t\t,"
              "wl_basic_name='',wl_rf_name='' where apmac='02:00:00:00:00:01' and ssid_id=0");
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
    add_ssid();
    EXPECT_EQ(ssid("wl_basic_name", 1), "first");
    EXPECT_EQ(ssid("wl_basic_name", 0), "second");
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

// --- single groups of fields ----------------------------------------------------------------------------------------

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
    EXPECT_EQ(ssid("key", 0), std::string(64, 'k'));
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
    EXPECT_EQ(sqlite_del_apconfig_multi("ap_ssid", 1, M1.data()), 255);
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

// --- products -------------------------------------------------------------------------------------------------------

static const UINT8 PRODUCT_NAME[32] = {'n', 'e', 'w', '\'', '7'};

TEST_F(SqlRowsWorld, a_new_type_is_stored_once)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(70, PRODUCT_NAME, 0x80000001, 8, 4, 2, 1), 0); }),
              "\n\n insert new ap type success\n");
    EXPECT_EQ(rows(db, "select * from ap_product_info"), (SqlRows{{"70", "new'7", "-2147483647", "8", "4", "2", "1"}}));
    EXPECT_EQ(query_ap_type_exist(70), 1);
    EXPECT_EQ(query_ap_type_exist(71), 0);
}

TEST_F(SqlRowsWorld, a_stored_type_is_left_as_it_is_and_counts_as_success)
{
    (void)lines_of([] { sqlite_add_ap_type(70, PRODUCT_NAME, 1, 8, 4, 2, 0); });
    static const UINT8 other[32] = {'o'};
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(70, other, 2, 1, 1, 1, 1), 0); }),
              "E|this ap o already exist;\n\n\n insert new ap type success\n");
    EXPECT_EQ(rows(db, "select ap_name,product_id from ap_product_info"), (SqlRows{{"new'7", "1"}}));
}

TEST_F(SqlRowsWorld, type_0_is_not_stored)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(0, PRODUCT_NAME, 1, 8, 4, 2, 0), 255); }),
              "E|add ap_type error. \n");
    EXPECT_EQ(cell(db, "select count(*) from ap_product_info"), "0");
}

TEST_F(SqlRowsWorld, a_product_name_of_32_apostrophes_is_stored_whole)
{
    UINT8 name[32];
    memset(name, '\'', sizeof name);
    (void)lines_of([&] { EXPECT_EQ(sqlite_add_ap_type(70, name, 1, 8, 4, 2, 0), 0); });
    EXPECT_EQ(cell(db, "select ap_name from ap_product_info"), std::string(32, '\''));
}

TEST_F(SqlRowsWorld, a_failed_insert_of_a_type_gives_255)
{
    run(db, "drop table ap_product_info");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_add_ap_type(70, PRODUCT_NAME, 1, 8, 4, 2, 0), 255); }),
              "E|select ap_type error ret=1,errmsg=no such table: ap_product_info\n"
              "E|insert error ret=1,errmsg=no such table: ap_product_info\n");
}
