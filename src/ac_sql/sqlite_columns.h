// sqlite_columns - the column texts of all tables, word for word as the files in the field carry them.
//
// Odd type names, column names and runs of blanks are part of the texts: SQLite keeps them in the file. "interger" is
// taken as integer affinity; "char(n)" limits nothing.
#pragma once

inline constexpr const char* AP_BASIC_COLUMNS =
    "apmac char(32), "
    "\t\t\tledstatus char(1) ,ipmode char(1),ip interger,mask interger,gateway interger, "
    "\t\t\thostdns interger,dns interger, apname char(64),apname_len char(1), "
    "\t\t\tversion char(64), version_len char(1),reboot_en char(1),"
    "\t\t\treboot_type char(1),time smallint,alarm_switch char(1),"
    "\t\t\thostnum_limit char(1),stream_limit interger,mailEnable char(1),"
    "\t\t\tmailName char(64),mailPwd char(64),mailInterTime interger,"
    "\t\t\tpcEnable char(1),pcIpAddr interger,reboot_name char(64),alarm_name char(64),"
    "\t\t\taptype smallint,status char(1),config_version char(4),pass_name char(34),"
    "\t\t\trouter_ip interger,wl_deploy_name char(64),qvlan_name char(64),product_id interger,product_name char(32)";
inline constexpr const char* AP_SSID_COLUMNS =
    "apmac char(32),ssid_id char(1),wl_basic_set char(1),"
    "\t\t\tclient_number char(1),vlan_id smallint,ssid char(64),ssid_length char(1),"
    "\t\t\tsecure_mode char(1),auth_type char(1),key char(65),key_length char(1), key_time int,"
    "\t\t\tradio char(1),RF_basic_setting char(1),expand_channel char(1),country_code char(1),network_mode char(1), "
    "bandwidth char(1),"
    "\t\t\tTXpower char(1),channel char(1),ssid_en char(1),rssi char(1),interface_mode char(1),sta_timeout char(1),"
    "\t\t\tlan_num interger,lan0_vlanid interger,lan1_vlanid interger,lan2_vlanid interger,qvlan_truck_port char(10),"
    "\t\t\twl_basic_name char(70),wl_rf_name char(70)";
inline constexpr const char* AP_CLIENT_COLUMNS =
    "id INTEGER PRIMARY KEY,apmac char(18), cli_mac char(18), cli_ip interger, status char(1),"
    "\t\tapname char(34),ssid char(34),signel smallint,"
    "\t\tauth_type char(1),auth_info char(18),client_type char(1),auth_index char(1),"
    "\t\tlogin_time char(24),times int,radio char(1)";
inline constexpr const char* CLIENT_TIME_COLUMNS = "id INTEGER PRIMARY KEY,cli_mac char(18),day int,month "
                                                   "char(32),my_date char(32),login_time char(32),logout_time char(32),"
                                                   "\tlink_time int,flow float,internet_time int";
inline constexpr const char* PASSWORD_POLICY_COLUMNS =
    "enable int ,name char(34),user char(34),pwd char(34),web_on_off interger";
inline constexpr const char* WL_DEPLOY_POLICY_COLUMNS =
    "enable interger,name char(64),penetration interger,deploy interger,drivpwr interger";
inline constexpr const char* WL_BASIC_POLICY_COLUMNS =
    "enable char(1),name char(34),ssid_id char(1),wl_basic_set char(1),"
    "\t\tclient_number char(1),vlan_id smallint,ssid char(64),ssid_length char(1),"
    "\t\tsecure_mode char(1),auth_type char(1),key char(65),key_length char(1),"
    "\t\tkey_time int,radius_server interger,radius_port smallint";
inline constexpr const char* WL_RADIO_POLICY_COLUMNS =
    "enable char(1),name char(34),RF_basic_setting_24g char(1),expand_channel_24g char(1),"
    "\t\tcountry_code_24g char(1),network_mode_24g char(1), bandwidth_24g char(1),TXpower_24g char(1),"
    "\t\tchannel_24g char(1),RF_basic_setting_5g char(1),expand_channel_5g char(1),country_code_5g char(1),"
    "\t\tnetwork_mode_5g char(1), bandwidth_5g char(1),TXpower_5g char(1),channel_5g char(1),"
    "\t\trssi_24g int,rssi_5g int,sta_timeout_24g int,sta_timeout_5g int";
inline constexpr const char* WL_POLICY_COLUMNS =
    "enable char(1),ssid_id char(1),wl_basic_set char(1),"
    "\t\t\tclient_number char(1),vlan_id smallint,ssid char(64),ssid_length char(1),"
    "\t\t\tsecure_mode char(1),auth_type char(1),key char(65),key_length char(1), key_time int,"
    "\t\t\tRF_basic_setting_24g char(1),expand_channel_24g char(1),"
    "\t\t\tcountry_code_24g char(1),network_mode_24g char(1), bandwidth_24g char(1),"
    "\t\t\tTXpower_24g char(1),channel_24g char(1),"
    "\t\t\tRF_basic_setting_5g char(1),expand_channel_5g char(1),"
    "\t\t\tcountry_code_5g char(1),network_mode_5g char(1), bandwidth_5g char(1),"
    "\t\t\tTXpower_5g char(1),channel_5g char(1),name char(34),rssi_24g int,rssi_5g int,"
    "\t\t\tsta_timeout_24g int,sta_timeout_5g int";
inline constexpr const char* REBOOT_POLICY_COLUMNS =
    "enable char(1), led_status char(1),name char(64),reboot_en char(1),"
    "\t\treboot_type char(1),time smallint";
inline constexpr const char* ALARM_POLICY_COLUMNS =
    "enable interger,name char(64),mailEnable interger,"
    "\t        mailName char(64),mailPwd char(64),mailInterTime interger,"
    "\t        pcEnable interger,pcIpAddr interger,alarm_switch interger,"
    "\t        hostnum_limit interger,stream_limit interger,mailPort interger,SSLEnable interger";
inline constexpr const char* QVLAN_POLICY_COLUMNS =
    "enable interger ,name char(32),open_qvlan interger,qvlan_pvid interger,manage_vlan interger         ,lan0_vlanid "
    "interger,lan1_vlanid interger,lan2_vlanid interger,qvlan_truck_port char(10)";
inline constexpr const char* AP_PRODUCT_COLUMNS =
    "ap_type interger primary key,ap_name char(32),product_id interger,ssid_number_24g char(1),"
    "\t\tssid_number_5g char(1),rf_number char(1),flag_old_crc char(1)";
inline constexpr const char* PORTAL_AD_CONFIG_COLUMNS =
    "id INTEGER PRIMARY KEY,name char(32), mould interger,mould_url char(32), jumplink char(128), logo char(32),"
    "\t\tcopyright char(256),picture_one char(32),picture_two char(32),picture_three char(32),picture_four char(32),"
    "\t\tpic_name_one char(32),pic_name_two char(32),pic_name_three char(32),pic_name_four char(32),"
    "\t\tpic_link_one char(128),pic_link_two char(128),pic_link_three char(128),pic_link_four char(128),"
    "\t\tnavigation_name_one char(32),navigation_name_two char(32),navigation_name_three char(32),navigation_name_four "
    "char(32),"
    "\t\tnavigation_one char(128),navigation_two char(128),navigation_three char(128),navigation_four char(128),"
    "\t\tauth_type interger,duanxin_ser interger,duanxin_id char(64),duanxin_pswd char(64),"
    "\t\tduanxin_signature char(32),duanxin_content char(128),weixin_id char(32),"
    "\t\tweixin_name char(32),weixin_qrcode char(32),time_id char(32),status interger,user_num int";
inline constexpr const char* PORTAL_AD_PUT_COLUMNS =
    "id INTEGER PRIMARY KEY,ssid char(32),os_type interger, name char(32),time_id char(32),wechat_enable char,app_id "
    "char(32),shop_id char(16),secretkey char(64)";
inline constexpr const char* PORTAL_AD_LIMIT_COLUMNS =
    "interval_auth_time interger,no_rate_time interger,interval_auth_type interger,ip_auth_type "
    "interger,call_auth_type interger,third_auth char(128)";
inline constexpr const char* PORTAL_AD_IP_COLUMNS = "ip char(32)";
inline constexpr const char* PORTAL_AD_PHONE_COLUMNS = "phone_num char(12)";
inline constexpr const char* PORTAL_AD_MAC_COLUMNS = "white_mac char(18)";
inline constexpr const char* PORTAL_AD_WEB_COLUMNS =
    "id INTEGER PRIMARY KEY,user_name char(16),psward char(16),describe char(32),time char(32),use_limit int,state int";
inline constexpr const char* PORTAL_AD_WEIXIN_COLUMNS =
    "ssid char(32),store_name char(32),qrcode_url char(128),bar_id char(32),brand_name char(32),action_code char(32),"
    "\t\tad_module int,logo_pic char(32),back_pic char(32),web_brand_name char(32),weixin_name char(32),title char(32),"
    "\t\ttitle_url char(128),ad_url char(256),pic_title_first_1 char(32),pic_title_first_2 char(32),pic_title_first_3 "
    "char(32),"
    "\t\tpic_title_second_1 char(32),pic_title_second_2 char(32),pic_title_second_3 char(32),pic_title_url_1 char(128),"
    "\t\tpic_title_url_2 char(128),pic_title_url_3 char(128),pic_name_1 char(32),pic_name_2 char(32),pic_name_3 "
    "char(32),dev_no char(32)";
inline constexpr const char* PORTAL_AD_ACCESS_CODE_COLUMNS = "type INTEGER,use_time INTEGER,expire_time INTEGER"
                                                             "\t\t,describe char(128),logo_pic_name char(64)";
