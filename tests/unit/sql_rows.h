// sql_rows - an AP with a value of its own in each field, and what of it stands in the tables.
#pragma once

#include <cstring>

#include "ac_sql/sqlite_apbasic.h"
#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_sql/sqlite_apssid.h"
#include "sql_world.h"

inline const Mac M1 = test_mac(1);
inline const char W1[] = " where apmac='02:00:00:00:00:01'";

template <std::size_t N> void put(UINT8 (&field)[N], const std::string& text)
{
    memset(field, 0, N);
    memcpy(field, text.data(), std::min(text.size(), N));
}

// A record in which each field has a value of its own.
inline void fill_distinct(APCONFIG& record)
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

inline void fill_radio_distinct(CONFIG_WL_RF& rf, UINT8 setting)
{
    rf = {setting, 21, 22, 23, 24, 25, 26, 27, 28, 29, 300, 301, 302, 65535, {}};
    put(rf.qvlan_truck_port, "1,2");
}

inline void fill_ssid_distinct(CONFIG_WL_BASIC& wl)
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
