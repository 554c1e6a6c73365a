#include "ac_sql/sqlite_schema.h"

#include "common/ac_alloc.h"
#include "platform/ac_platform.h"
#include "sql_world.h"

struct GoldenTable {
    const char* name;
    ac_db* file;
    const char* columns;
};

// clang-format off
static const GoldenTable g_golden[] = {
    {"ap_basic", &db,
     "apmac char(32), \t\t\tledstatus char(1) ,ipmode char(1),ip interger,mask interger,gateway inter"
     "ger, \t\t\thostdns interger,dns interger, apname char(64),apname_len char(1), \t\t\tversion cha"
     "r(64), version_len char(1),reboot_en char(1),\t\t\treboot_type char(1),time smallint,alarm_swit"
     "ch char(1),\t\t\thostnum_limit char(1),stream_limit interger,mailEnable char(1),\t\t\tmailName "
     "char(64),mailPwd char(64),mailInterTime interger,\t\t\tpcEnable char(1),pcIpAddr interger,reboo"
     "t_name char(64),alarm_name char(64),\t\t\taptype smallint,status char(1),config_version char(4)"
     ",pass_name char(34),\t\t\trouter_ip interger,wl_deploy_name char(64),qvlan_name char(64),produc"
     "t_id interger,product_name char(32)"},
    {"ap_ssid", &db,
     "apmac char(32),ssid_id char(1),wl_basic_set char(1),\t\t\tclient_number char(1),vlan_id smallin"
     "t,ssid char(64),ssid_length char(1),\t\t\tsecure_mode char(1),auth_type char(1),key char(65),ke"
     "y_length char(1), key_time int,\t\t\tradio char(1),RF_basic_setting char(1),expand_channel char"
     "(1),country_code char(1),network_mode char(1), bandwidth char(1),\t\t\tTXpower char(1),channel "
     "char(1),ssid_en char(1),rssi char(1),interface_mode char(1),sta_timeout char(1),\t\t\tlan_num i"
     "nterger,lan0_vlanid interger,lan1_vlanid interger,lan2_vlanid interger,qvlan_truck_port char(10"
     "),\t\t\twl_basic_name char(70),wl_rf_name char(70)"},
    {"ap_client", &db,
     "id INTEGER PRIMARY KEY,apmac char(18), cli_mac char(18), cli_ip interger, status char(1),\t\tap"
     "name char(34),ssid char(34),signel smallint,\t\tauth_type char(1),auth_info char(18),client_typ"
     "e char(1),auth_index char(1),\t\tlogin_time char(24),times int,radio char(1)"},
    {"client_time", &db,
     "id INTEGER PRIMARY KEY,cli_mac char(18),day int,month char(32),my_date char(32),login_time char"
     "(32),logout_time char(32),\tlink_time int,flow float,internet_time int"},
    {"password_policy", &policy_db,
     "enable int ,name char(34),user char(34),pwd char(34),web_on_off interger"},
    {"wl_deploy_policy", &policy_db,
     "enable interger,name char(64),penetration interger,deploy interger,drivpwr interger"},
    {"wl_basic_policy", &policy_db,
     "enable char(1),name char(34),ssid_id char(1),wl_basic_set char(1),\t\tclient_number char(1),vla"
     "n_id smallint,ssid char(64),ssid_length char(1),\t\tsecure_mode char(1),auth_type char(1),key c"
     "har(65),key_length char(1),\t\tkey_time int,radius_server interger,radius_port smallint"},
    {"wl_radio_policy", &policy_db,
     "enable char(1),name char(34),RF_basic_setting_24g char(1),expand_channel_24g char(1),\t\tcountr"
     "y_code_24g char(1),network_mode_24g char(1), bandwidth_24g char(1),TXpower_24g char(1),\t\tchan"
     "nel_24g char(1),RF_basic_setting_5g char(1),expand_channel_5g char(1),country_code_5g char(1),\t"
     "\tnetwork_mode_5g char(1), bandwidth_5g char(1),TXpower_5g char(1),channel_5g char(1),\t\trssi_"
     "24g int,rssi_5g int,sta_timeout_24g int,sta_timeout_5g int"},
    {"wl_policy", &policy_db,
     "enable char(1),ssid_id char(1),wl_basic_set char(1),\t\t\tclient_number char(1),vlan_id smallin"
     "t,ssid char(64),ssid_length char(1),\t\t\tsecure_mode char(1),auth_type char(1),key char(65),ke"
     "y_length char(1), key_time int,\t\t\tRF_basic_setting_24g char(1),expand_channel_24g char(1),\t"
     "\t\tcountry_code_24g char(1),network_mode_24g char(1), bandwidth_24g char(1),\t\t\tTXpower_24g "
     "char(1),channel_24g char(1),\t\t\tRF_basic_setting_5g char(1),expand_channel_5g char(1),\t\t\tc"
     "ountry_code_5g char(1),network_mode_5g char(1), bandwidth_5g char(1),\t\t\tTXpower_5g char(1),c"
     "hannel_5g char(1),name char(34),rssi_24g int,rssi_5g int,\t\t\tsta_timeout_24g int,sta_timeout_"
     "5g int"},
    {"reboot_policy", &policy_db,
     "enable char(1), led_status char(1),name char(64),reboot_en char(1),\t\treboot_type char(1),time"
     " smallint"},
    {"alarm_policy", &policy_db,
     "enable interger,name char(64),mailEnable interger,\t        mailName char(64),mailPwd char(64),"
     "mailInterTime interger,\t        pcEnable interger,pcIpAddr interger,alarm_switch interger,\t  "
     "      hostnum_limit interger,stream_limit interger,mailPort interger,SSLEnable interger"},
    {"qvlan_policy", &policy_db,
     "enable interger ,name char(32),open_qvlan interger,qvlan_pvid interger,manage_vlan interger    "
     "     ,lan0_vlanid interger,lan1_vlanid interger,lan2_vlanid interger,qvlan_truck_port char(10)"},
    {"ap_product_info", &db,
     "ap_type interger primary key,ap_name char(32),product_id interger,ssid_number_24g char(1),\t\ts"
     "sid_number_5g char(1),rf_number char(1),flag_old_crc char(1)"},
    {"portal_ad_config", &policy_db,
     "id INTEGER PRIMARY KEY,name char(32), mould interger,mould_url char(32), jumplink char(128), lo"
     "go char(32),\t\tcopyright char(256),picture_one char(32),picture_two char(32),picture_three cha"
     "r(32),picture_four char(32),\t\tpic_name_one char(32),pic_name_two char(32),pic_name_three char"
     "(32),pic_name_four char(32),\t\tpic_link_one char(128),pic_link_two char(128),pic_link_three ch"
     "ar(128),pic_link_four char(128),\t\tnavigation_name_one char(32),navigation_name_two char(32),n"
     "avigation_name_three char(32),navigation_name_four char(32),\t\tnavigation_one char(128),naviga"
     "tion_two char(128),navigation_three char(128),navigation_four char(128),\t\tauth_type interger,"
     "duanxin_ser interger,duanxin_id char(64),duanxin_pswd char(64),\t\tduanxin_signature char(32),d"
     "uanxin_content char(128),weixin_id char(32),\t\tweixin_name char(32),weixin_qrcode char(32),tim"
     "e_id char(32),status interger,user_num int"},
    {"portal_ad_config_cn_back", &policy_db,
     "id INTEGER PRIMARY KEY,name char(32), mould interger,mould_url char(32), jumplink char(128), lo"
     "go char(32),\t\tcopyright char(256),picture_one char(32),picture_two char(32),picture_three cha"
     "r(32),picture_four char(32),\t\tpic_name_one char(32),pic_name_two char(32),pic_name_three char"
     "(32),pic_name_four char(32),\t\tpic_link_one char(128),pic_link_two char(128),pic_link_three ch"
     "ar(128),pic_link_four char(128),\t\tnavigation_name_one char(32),navigation_name_two char(32),n"
     "avigation_name_three char(32),navigation_name_four char(32),\t\tnavigation_one char(128),naviga"
     "tion_two char(128),navigation_three char(128),navigation_four char(128),\t\tauth_type interger,"
     "duanxin_ser interger,duanxin_id char(64),duanxin_pswd char(64),\t\tduanxin_signature char(32),d"
     "uanxin_content char(128),weixin_id char(32),\t\tweixin_name char(32),weixin_qrcode char(32),tim"
     "e_id char(32),status interger,user_num int"},
    {"portal_ad_config_en_back", &policy_db,
     "id INTEGER PRIMARY KEY,name char(32), mould interger,mould_url char(32), jumplink char(128), lo"
     "go char(32),\t\tcopyright char(256),picture_one char(32),picture_two char(32),picture_three cha"
     "r(32),picture_four char(32),\t\tpic_name_one char(32),pic_name_two char(32),pic_name_three char"
     "(32),pic_name_four char(32),\t\tpic_link_one char(128),pic_link_two char(128),pic_link_three ch"
     "ar(128),pic_link_four char(128),\t\tnavigation_name_one char(32),navigation_name_two char(32),n"
     "avigation_name_three char(32),navigation_name_four char(32),\t\tnavigation_one char(128),naviga"
     "tion_two char(128),navigation_three char(128),navigation_four char(128),\t\tauth_type interger,"
     "duanxin_ser interger,duanxin_id char(64),duanxin_pswd char(64),\t\tduanxin_signature char(32),d"
     "uanxin_content char(128),weixin_id char(32),\t\tweixin_name char(32),weixin_qrcode char(32),tim"
     "e_id char(32),status interger,user_num int"},
    {"portal_ad_put", &policy_db,
     "id INTEGER PRIMARY KEY,ssid char(32),os_type interger, name char(32),time_id char(32),wechat_en"
     "able char,app_id char(32),shop_id char(16),secretkey char(64)"},
    {"portal_ad_limit", &policy_db,
     "interval_auth_time interger,no_rate_time interger,interval_auth_type interger,ip_auth_type inte"
     "rger,call_auth_type interger,third_auth char(128)"},
    {"portal_ad_ip", &policy_db,
     "ip char(32)"},
    {"portal_ad_phone", &policy_db,
     "phone_num char(12)"},
    {"portal_ad_mac", &policy_db,
     "white_mac char(18)"},
    {"portal_ad_web", &policy_db,
     "id INTEGER PRIMARY KEY,user_name char(16),psward char(16),describe char(32),time char(32),use_l"
     "imit int,state int"},
    {"portal_ad_weixin", &policy_db,
     "ssid char(32),store_name char(32),qrcode_url char(128),bar_id char(32),brand_name char(32),acti"
     "on_code char(32),\t\tad_module int,logo_pic char(32),back_pic char(32),web_brand_name char(32),"
     "weixin_name char(32),title char(32),\t\ttitle_url char(128),ad_url char(256),pic_title_first_1 "
     "char(32),pic_title_first_2 char(32),pic_title_first_3 char(32),\t\tpic_title_second_1 char(32),"
     "pic_title_second_2 char(32),pic_title_second_3 char(32),pic_title_url_1 char(128),\t\tpic_title"
     "_url_2 char(128),pic_title_url_3 char(128),pic_name_1 char(32),pic_name_2 char(32),pic_name_3 c"
     "har(32),dev_no char(32)"},
    {"portal_ad_access_code", &policy_db,
     "type INTEGER,use_time INTEGER,expire_time INTEGER\t\t,describe char(128),logo_pic_name char(64)"},};
// clang-format on

// Makes `table` anew with other columns, as a file of an earlier release holds it.
#define OLD_TABLE(file, table, cols) run(file, "drop table " table "; create table " table "(" cols ")")

static const char TIME_INDEX_LINE[] = "E|Create idnex failue ,Error code:1,Reason:index time_index already exists\n";

TEST_F(SqlWorld, a_fresh_start_makes_24_tables_word_for_word)
{
    ASSERT_EQ(std::size(g_golden), 24u);
    for (const GoldenTable& golden : g_golden) {
        const std::string sql =
            cell(*golden.file,
                 std::string("select sql from sqlite_master where type='table' and name='") + golden.name + "'");
        EXPECT_EQ(sql, std::string("CREATE TABLE ") + golden.name + "(" + golden.columns + ")");
    }
    EXPECT_EQ(cell(db, "select count(*) from sqlite_master where type='table'"), "5");
    EXPECT_EQ(cell(policy_db, "select count(*) from sqlite_master where type='table'"), "19");
}

TEST_F(SqlWorld, tables_are_made_in_their_fixed_order)
{
    const auto names = [this](ac_db& file) {
        std::string text;
        for (const auto& row : rows(file, "select name from sqlite_master where type='table' order by rowid"))
            text += row[0] + " ";
        return text;
    };
    EXPECT_EQ(names(db), "ap_basic ap_ssid ap_client client_time ap_product_info ");
    EXPECT_EQ(names(policy_db), "wl_policy password_policy qvlan_policy wl_basic_policy wl_radio_policy reboot_policy "
                                "alarm_policy wl_deploy_policy portal_ad_config portal_ad_config_cn_back "
                                "portal_ad_config_en_back portal_ad_put portal_ad_limit portal_ad_ip portal_ad_phone "
                                "portal_ad_mac portal_ad_web portal_ad_weixin portal_ad_access_code ");
}

static int collect_created_table(unsigned, void* arg, void*, void* text)
{
    const std::string sql = static_cast<const char*>(text);
    for (const std::string words : {"create table if not exists ", "create table "}) {
        if (sql.compare(0, words.size(), words) != 0) continue;
        *static_cast<std::string*>(arg) += sql.substr(words.size(), sql.find('(') - words.size()) + " ";
        return 0;
    }
    return 0;
}

TEST_F(SqlWorld, the_tables_of_both_files_are_made_in_one_order)
{
    for (const GoldenTable& golden : g_golden)
        run(*golden.file, std::string("drop table ") + golden.name);
    std::string made;
    for (const ac_db* file : {&db, &policy_db})
        sqlite3_trace_v2(file->handle.load(), SQLITE_TRACE_STMT, collect_created_table, &made);
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table(), 0); }), "");
    for (const ac_db* file : {&db, &policy_db})
        sqlite3_trace_v2(file->handle.load(), 0, nullptr, nullptr);
    EXPECT_EQ(made, "ap_basic ap_ssid wl_policy password_policy qvlan_policy wl_basic_policy wl_radio_policy "
                    "reboot_policy alarm_policy wl_deploy_policy ap_client client_time ap_product_info "
                    "portal_ad_config portal_ad_config_cn_back portal_ad_config_en_back portal_ad_put portal_ad_limit "
                    "portal_ad_ip portal_ad_phone portal_ad_mac portal_ad_web portal_ad_weixin "
                    "portal_ad_access_code ");
}

TEST_F(SqlWorld, the_two_indexes_are_made_with_their_tables)
{
    EXPECT_EQ(cell(db, "select sql from sqlite_master where name='search_index'"),
              "CREATE INDEX search_index on ap_client(cli_mac,login_time)");
    EXPECT_EQ(cell(db, "select sql from sqlite_master where name='time_index'"),
              "CREATE INDEX time_index on client_time(cli_mac,login_time,logout_time)");
}

TEST_F(SqlWorld, a_second_start_changes_nothing_and_prints_the_time_index_failure)
{
    const std::string all = "select group_concat(sql,';') from sqlite_master";
    const std::string before = cell(db, all) + cell(policy_db, all);
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table(), 0); }), TIME_INDEX_LINE);
    EXPECT_EQ(cell(db, all) + cell(policy_db, all), before);
}

TEST_F(SqlWorld, the_row_widths_that_the_loaders_test_are_those_of_the_tables)
{
    EXPECT_EQ(cell(db, "select count(*) from pragma_table_info('ap_basic')"), std::to_string(AP_BASIC_TABLE_COL_LEN));
    EXPECT_EQ(cell(db, "select count(*) from pragma_table_info('ap_ssid')"), std::to_string(AP_WL_SSID_TABLE_COL_LEN));
    EXPECT_EQ(cell(db, "select count(*) from pragma_table_info('ap_product_info')"),
              std::to_string(AP_PRODUCT_TABLE_COL_LEN));
}

TEST_F(SqlWorld, interger_columns_hold_numbers_and_char_columns_any_length)
{
    run(policy_db, "insert into portal_ad_ip values('" + std::string(100, 'i') + "')");
    EXPECT_EQ(cell(policy_db, "select length(ip) from portal_ad_ip"), "100");
    run(policy_db, "insert into portal_ad_limit(no_rate_time) values('12')");
    EXPECT_EQ(cell(policy_db, "select typeof(no_rate_time) from portal_ad_limit"), "integer");
}

TEST_F(SqlWorld, ap_basic_without_both_markers_gains_one_a_start)
{
    OLD_TABLE(db, "ap_basic", "apmac char(32)");
    EXPECT_EQ(sqlite_create_table_ap_basic(), 0);
    EXPECT_EQ(columns(db, "ap_basic"), "apmac char(32),wl_deploy_name char(64)");
    EXPECT_EQ(sqlite_create_table_ap_basic(), 0);
    EXPECT_EQ(columns(db, "ap_basic"), "apmac char(32),wl_deploy_name char(64),qvlan_name char(64)");
    EXPECT_EQ(statements(db, [] { sqlite_create_table_ap_basic(); }),
              (std::vector<std::string>{"select wl_deploy_name from ap_basic", "select qvlan_name from ap_basic"}));
}

TEST_F(SqlWorld, columns_added_to_ap_basic_are_null_or_empty_in_older_rows)
{
    OLD_TABLE(db, "ap_basic", "apmac char(32)");
    run(db, "insert into ap_basic values('02:00:00:00:00:01')");
    sqlite_create_table_ap_basic();
    sqlite_create_table_ap_basic();
    EXPECT_EQ(rows(db, "select wl_deploy_name,qvlan_name from ap_basic"), (SqlRows{{"<null>", ""}}));
}

TEST_F(SqlWorld, ap_ssid_from_before_the_lan_columns_gains_only_qvlan_truck_port)
{
    OLD_TABLE(db, "ap_ssid", "apmac char(32),sta_timeout char(1),wl_rf_name char(70)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_ssid(), 0); }), "");
    EXPECT_EQ(columns(db, "ap_ssid"),
              "apmac char(32),sta_timeout char(1),wl_rf_name char(70),qvlan_truck_port interger");
}

TEST_F(SqlWorld, each_later_start_repeats_the_attempt_on_ap_ssid_and_gets_a_duplicate_column)
{
    OLD_TABLE(db, "ap_ssid", "apmac char(32),sta_timeout char(1),wl_rf_name char(70)");
    sqlite_create_table_ap_ssid();
    for (int start = 0; start < 2; start++)
        EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_ssid(), 0); }),
                  "E|Error code:1,Reason:duplicate column name: qvlan_truck_port\n");
}

TEST_F(SqlWorld, ap_ssid_without_policy_names_gains_only_wl_rf_name)
{
    OLD_TABLE(db, "ap_ssid", "apmac char(32),sta_timeout char(1),lan0_vlanid interger");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_ssid(), 0); }), "");
    EXPECT_EQ(columns(db, "ap_ssid"), "apmac char(32),sta_timeout char(1),lan0_vlanid interger,wl_rf_name char(70)");
}

TEST_F(SqlWorld, ap_ssid_of_the_oldest_kind_gains_sta_timeout_and_wl_rf_name_first)
{
    OLD_TABLE(db, "ap_ssid", "apmac char(32)");
    sqlite_create_table_ap_ssid();
    EXPECT_EQ(columns(db, "ap_ssid"), "apmac char(32),sta_timeout char(1),wl_rf_name char(70)");
    sqlite_create_table_ap_ssid();
    EXPECT_EQ(columns(db, "ap_ssid"),
              "apmac char(32),sta_timeout char(1),wl_rf_name char(70),qvlan_truck_port interger");
}

TEST_F(SqlWorld, the_migration_of_ap_ssid_runs_these_statements)
{
    OLD_TABLE(db, "ap_ssid", "apmac char(32),sta_timeout char(1)");
    EXPECT_EQ(statements(db, [] { sqlite_create_table_ap_ssid(); }),
              (std::vector<std::string>{"select sta_timeout from ap_ssid",
                                        "alter table ap_ssid add column "
                                        "qvlan_truck_port interger default '';",
                                        "alter table ap_ssid add column wl_rf_name char(70) default '';"}));
}

TEST_F(SqlWorld, ap_client_gains_times)
{
    OLD_TABLE(db, "ap_client", "id INTEGER PRIMARY KEY,cli_mac char(18),login_time char(24)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_client(), 0); }), "");
    EXPECT_EQ(columns(db, "ap_client"), "id integer,cli_mac char(18),login_time char(24),times int");
    EXPECT_EQ(cell(db, "select count(*) from sqlite_master where name='search_index'"), "0");
}

TEST_F(SqlWorld, a_failing_index_of_ap_client_is_a_line_and_passed_over)
{
    run(db, "drop table ap_client; create index search_index on ap_basic(apmac)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_client(), 0); }),
              "E|Create index failue ,Error code:1,Reason:index search_index already exists\n");
}

TEST_F(SqlWorld, password_policy_gains_web_on_off)
{
    OLD_TABLE(policy_db, "password_policy", "enable int");
    EXPECT_EQ(sqlite_create_table_password_policy(), 0);
    EXPECT_EQ(columns(policy_db, "password_policy"), "enable int,web_on_off interger");
}

TEST_F(SqlWorld, wl_deploy_policy_gains_drivpwr)
{
    OLD_TABLE(policy_db, "wl_deploy_policy", "enable interger");
    EXPECT_EQ(sqlite_create_table_wl_deploy_policy(), 0);
    EXPECT_EQ(columns(policy_db, "wl_deploy_policy"), "enable interger,drivpwr interger");
}

TEST_F(SqlWorld, wl_policy_gains_both_timeouts)
{
    OLD_TABLE(policy_db, "wl_policy", "enable char(1)");
    EXPECT_EQ(sqlite_create_table_wl_policy(), 0);
    EXPECT_EQ(columns(policy_db, "wl_policy"), "enable char(1),sta_timeout_24g int,sta_timeout_5g int");
}

TEST_F(SqlWorld, alarm_policy_gains_port_and_ssl_with_0_in_older_rows)
{
    OLD_TABLE(policy_db, "alarm_policy", "enable interger");
    run(policy_db, "insert into alarm_policy values(1)");
    EXPECT_EQ(sqlite_create_table_alarm_policy(), 0);
    EXPECT_EQ(rows(policy_db, "select * from alarm_policy"), (SqlRows{{"1", "0", "0"}}));
    EXPECT_EQ(columns(policy_db, "alarm_policy"), "enable interger,mailPort interger,SSLEnable interger");
}

TEST_F(SqlWorld, portal_ad_put_gains_all_four_of_its_columns)
{
    OLD_TABLE(policy_db, "portal_ad_put", "id INTEGER PRIMARY KEY");
    EXPECT_EQ(sqlite_create_table_portal_ad_put(), 0);
    EXPECT_EQ(columns(policy_db, "portal_ad_put"),
              "id integer,wechat_enable char,app_id char(32),shop_id char(16),secretkey char(64)");
}

TEST_F(SqlWorld, the_alterations_are_worded_as_fixed)
{
    // What runs on a table that lacks its marker; the look at the marker itself never starts.
    const auto run_on = [this](ac_db& file, const std::string& table, int (*create)()) {
        run(file, "drop table " + table + "; create table " + table + "(first int)");
        return statements(file, [create] { EXPECT_EQ(create(), 0); });
    };
    using Texts = std::vector<std::string>;
    EXPECT_EQ(run_on(db, "ap_basic", sqlite_create_table_ap_basic),
              Texts{"alter table ap_basic add column wl_deploy_name char(64)"});
    EXPECT_EQ(statements(db, [] { sqlite_create_table_ap_basic(); }),
              (Texts{"select wl_deploy_name from ap_basic",
                     "alter table ap_basic add column qvlan_name char(64) default ''"}));
    EXPECT_EQ(run_on(db, "ap_ssid", sqlite_create_table_ap_ssid),
              (Texts{"alter table ap_ssid add column sta_timeout char(1)",
                     "alter table ap_ssid add column wl_rf_name char(70) default '';"}));
    EXPECT_EQ(run_on(db, "ap_client", sqlite_create_table_ap_client),
              Texts{"alter table ap_client add column times int"});
    EXPECT_EQ(run_on(policy_db, "password_policy", sqlite_create_table_password_policy),
              Texts{"alter table password_policy add column web_on_off interger default ''"});
    EXPECT_EQ(run_on(policy_db, "wl_deploy_policy", sqlite_create_table_wl_deploy_policy),
              Texts{"alter table wl_deploy_policy add column drivpwr interger default ''"});
    EXPECT_EQ(run_on(policy_db, "wl_policy", sqlite_create_table_wl_policy),
              (Texts{"alter table wl_policy add column sta_timeout_24g int",
                     "alter table wl_policy add column sta_timeout_5g int"}));
    EXPECT_EQ(run_on(policy_db, "alarm_policy", sqlite_create_table_alarm_policy),
              (Texts{"alter table alarm_policy add column mailPort interger default 0",
                     "alter table alarm_policy add column SSLEnable interger default 0"}));
    EXPECT_EQ(run_on(policy_db, "portal_ad_put", sqlite_create_table_portal_ad_put),
              (Texts{"alter table portal_ad_put add column wechat_enable char default '';",
                     "alter table portal_ad_put add column app_id char(32) default '';",
                     "alter table portal_ad_put add column shop_id char(16) default '';",
                     "alter table portal_ad_put add column secretkey char(64) default '';"}));
}

TEST_F(SqlWorld, only_what_is_there_already_passes_for_a_success_of_the_strict_creators)
{
    run(policy_db, "drop table password_policy; create view password_policy as select 1 as enable");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_password_policy(), 255); }),
              "E|Create database failue ,Error code:1,Reason:Cannot add a column to a view\n");
    run(db, "drop table ap_product_info; create index ap_product_info on ap_basic(apmac)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_product_info(), 255); }),
              "E|Create database ap_type_table failue ,Error code:1,Reason:there is already an index named "
              "ap_product_info\n");
}

TEST_F(SqlWorld, a_failing_alteration_is_a_line_and_the_next_one_follows)
{
    OLD_TABLE(policy_db, "alarm_policy", "enable interger,SSLEnable interger");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_alarm_policy(), 0); }),
              "E|Error code:1,Reason:duplicate column name: SSLEnable\n");
    EXPECT_EQ(columns(policy_db, "alarm_policy"), "enable interger,SSLEnable interger,mailPort interger");
    OLD_TABLE(policy_db, "portal_ad_put", "app_id char(32),shop_id char(16)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_portal_ad_put(), 0); }),
              "E|Error code:1,Reason:duplicate column name: app_id\n"
              "E|Error code:1,Reason:duplicate column name: shop_id\n");
    EXPECT_EQ(columns(policy_db, "portal_ad_put"),
              "app_id char(32),shop_id char(16),wechat_enable char,secretkey char(64)");
    OLD_TABLE(db, "ap_ssid", "sta_timeout char(1),qvlan_truck_port char(10)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_ssid(), 0); }),
              "E|Error code:1,Reason:duplicate column name: qvlan_truck_port\n");
    EXPECT_EQ(columns(db, "ap_ssid"), "sta_timeout char(1),qvlan_truck_port char(10),wl_rf_name char(70)");
}

TEST_F(SqlWorld, tables_without_a_marker_are_never_altered)
{
    OLD_TABLE(policy_db, "reboot_policy", "enable char(1)");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_reboot_policy(), 0); }), "");
    EXPECT_EQ(columns(policy_db, "reboot_policy"), "enable char(1)");
}

TEST_F(SqlWorld, ap_product_info_that_exists_is_success)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_ap_product_info(), 0); }), "");
    run(db, "drop table ap_product_info");
    EXPECT_EQ(statements(db, [] { EXPECT_EQ(sqlite_create_table_ap_product_info(), 0); })[0].substr(0, 37),
              "create table ap_product_info(ap_type ");
}

TEST_F(SqlWorld, ap_product_info_without_memory_gives_255)
{
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(sqlite_create_table_ap_product_info(), 255);
    EXPECT_EQ(testing::internal::GetCapturedStderr().substr(0, 7), "malloc:");
}

// Nothing can be made through a handle that only reads.
static void reopen_read_only(ac_db& file, const char* appliance_path)
{
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open_v2(ac_path(appliance_path).c_str(), &handle, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_close(file.handle.exchange(handle));
}

TEST_F(SqlWorld, each_failing_creation_has_the_words_of_its_table)
{
    static constexpr struct {
        int (*create)();
        const char* what;
        int result;
        const char* index; // the table whose index then fails too
        const char* index_what;
    } creators[] = {
        {sqlite_create_table_ap_basic, "database", 0, nullptr, nullptr},
        {sqlite_create_table_ap_ssid, "database", 0, nullptr, nullptr},
        {sqlite_create_table_wl_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_password_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_qvlan_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_wl_basic_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_wl_rf_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_reboot_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_alarm_policy, "database", 0, nullptr, nullptr},
        {sqlite_create_table_wl_deploy_policy, "database", 255, nullptr, nullptr},
        {sqlite_create_table_ap_client, "client", 0, "ap_client", "index"},
        {sqlite_create_client_time_table, "table", 0, "client_time", "idnex"},
        {sqlite_create_table_ap_product_info, "database ap_type_table", 255, nullptr, nullptr},
        {sqlite_create_table_portal_ad_config, "table", 0, nullptr, nullptr},
        {sqlite_create_table_ad_cn_back_config, "table", 0, nullptr, nullptr},
        {sqlite_create_table_ad_en_back_config, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_put, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_limit, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_ip, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_phone, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_mac, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_web, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_weixin, "table", 0, nullptr, nullptr},
        {sqlite_create_table_portal_ad_access_code, "table", 0, nullptr, nullptr},
    };
    ASSERT_EQ(std::size(creators), std::size(g_golden));
    for (const GoldenTable& golden : g_golden)
        run(*golden.file, std::string("drop table ") + golden.name);
    reopen_read_only(db, AP_FILE);
    reopen_read_only(policy_db, POLICY_FILE);
    for (const auto& [create, what, result, index, index_what] : creators) {
        std::string expected =
            std::string("E|Create ") + what + " failue ,Error code:8,Reason:attempt to write a readonly database\n";
        if (index != nullptr)
            expected += std::string("E|Create ") + index_what + " failue ,Error code:1,Reason:no such table: main." +
                        index + "\n";
        EXPECT_EQ(lines_of([&, create = create, result = result] { EXPECT_EQ(create(), result); }), expected);
    }
}

TEST_F(SqlWorld, a_failing_creation_names_its_creator)
{
    run(policy_db, "drop table portal_ad_mac");
    reopen_read_only(policy_db, POLICY_FILE);
    EXPECT_EQ(output_of([] { sqlite_create_table_portal_ad_mac(); }).find("Error->sqlite_create_table_portal_ad_mac("),
              0u);
}

TEST_F(SqlWorld, a_failing_alteration_of_password_or_deploy_policy_stops_the_creation_of_tables)
{
    OLD_TABLE(policy_db, "password_policy", "enable int");
    OLD_TABLE(policy_db, "wl_deploy_policy", "enable int");
    reopen_read_only(policy_db, POLICY_FILE);
    const std::string line = "E|Create database failue ,Error code:8,Reason:attempt to write a readonly database\n";
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_password_policy(), 255); }), line);
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table_wl_deploy_policy(), 255); }), line);
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table(), 255); }), line);
}

TEST_F(SqlWorld, on_a_locked_file_nothing_is_made_and_ap_client_ends_the_creation)
{
    run(policy_db, "drop table portal_ad_mac");
    run(db, "drop table ap_basic");
    sqlite_exit(); // as at a start: SQLite has not read the file yet
    ASSERT_EQ(sqlite_init(), 0);
    sqlite3_busy_timeout(db.handle.load(), 0);
    {
        const SqlHold hold(AP_FILE);
        EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table(), SQLITE_BUSY); }), "");
    }
    EXPECT_EQ(cell(db, "select count(*) from sqlite_master where name='ap_basic'"), "0");
    EXPECT_EQ(cell(policy_db, "select count(*) from sqlite_master where name='portal_ad_mac'"), "0");
}

TEST_F(SqlWorld, on_a_locked_file_no_table_with_a_marker_is_made_or_altered)
{
    struct Locked {
        ac_db& file;
        const char* table;
        int (*create)();
    };
    static constexpr Locked locked[] = {{db, "ap_basic", sqlite_create_table_ap_basic},
                                        {db, "ap_ssid", sqlite_create_table_ap_ssid},
                                        {policy_db, "password_policy", sqlite_create_table_password_policy},
                                        {policy_db, "wl_deploy_policy", sqlite_create_table_wl_deploy_policy},
                                        {policy_db, "wl_policy", sqlite_create_table_wl_policy},
                                        {policy_db, "alarm_policy", sqlite_create_table_alarm_policy},
                                        {policy_db, "portal_ad_put", sqlite_create_table_portal_ad_put}};
    for (const char* columns_now : {"(first int)", ""}) {
        for (const auto& [file, table, create] : locked) {
            run(file, std::string("drop table if exists ") + table);
            if (*columns_now != '\0') run(file, std::string("create table ") + table + columns_now);
        }
        sqlite_exit(); // as at a start: SQLite has not read the files yet
        ASSERT_EQ(sqlite_init(), 0);
        for (ac_db* file : {&db, &policy_db})
            sqlite3_busy_timeout(file->handle.load(), 0);
        const SqlHold ap_hold(AP_FILE);
        const SqlHold policy_hold(POLICY_FILE);
        for (const auto& [file, table, create] : locked)
            EXPECT_EQ(lines_of([&, create = create] { EXPECT_EQ(create(), 0); }), "") << table << columns_now;
    }
}
