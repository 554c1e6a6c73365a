#include "ac_mib/apconfig_update.h"

#include <cstdio>
#include <cstring>

#include "ac_mib/apconfig_intake.h"
#include "ac_mib/sql_flash_queue.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/ac_wire.h"
#include "common/config_ap_type.h"

namespace {

constexpr int SQL_NONE = -1; // CONFIG_SQL_LED is 0
constexpr int ANY_FLAG = -1;
constexpr std::size_t NAMES_LEN = AC_SSID_MAX * AC_NAME_LEN; // one policy name per ssid_id
constexpr std::size_t MARKER_LEN = 16;
constexpr char RF_POLICY_MARKER[] = "set_rf_policy";

// A row's function changes the record and may set the note's index. false: the data contradict themselves and nothing
// was changed.
struct update_row {
    int command;
    int flag;           // ANY_FLAG: the sub-flag does not matter
    std::size_t needed; // bytes that the function may read without a further look at the length
    bool (*apply)(APCONFIG* node, std::span<const UINT8> data, int& index);
    int sql;
};

template <typename T> T image_of(std::span<const UINT8> data)
{
    wire_reader reader{data};
    return wire_take<T>(reader);
}

// An AP reports version 0 until it was given a configuration; 1 lifts the controller's copy above it.
void version_one_set(APCONFIG* node)
{
    node->AP_config_version[0] = '1';
    node->AP_config_version[1] = 0;
}

template <std::size_t N> void name_set(UINT8 (&name)[N], std::span<const UINT8> data)
{
    memcpy(name, data.data(), N);
}

// The images of type T at the start of `data`, one after the other, each given to `apply`. The count, or 255.
template <typename T>
int images_apply(APCONFIG* node, std::span<const UINT8> data, int num, void (*apply)(APCONFIG* node, const T& image))
{
    if (node == nullptr || data.data() == nullptr) return AC_RET_ERROR;
    if (num < 0 || data.size() / sizeof(T) < static_cast<std::size_t>(num)) {
        AC_ERR("%d images do not fit into %zu bytes\n", num, data.size());
        return AC_RET_ERROR;
    }
    wire_reader reader{data};
    for (int i = 0; i < num; i++)
        apply(node, wire_take<T>(reader));
    return num;
}

void rf_image_apply(APCONFIG* node, const CONFIG_WL_RF_V1& image)
{
    CONFIG_WL_RF_LIST* found = apconfig_find_rf_node(&node->list_rf, image.RF_basic_setting & AC_RF_5G);
    if (found == nullptr) {
        AC_ERR("node is not exited\n");
        return;
    }
    CONFIG_WL_RF& rf = found->rf;
    rf.bandwidth = image.bandwidth;
    if (image.channel != AC_CHANNEL_KEEP) {
        rf.channel = image.channel;
        rf.expand_channel = image.expand_channel;
    }
    rf.country_code = image.country_code;
    rf.network_mode = image.network_mode;
    rf.RF_basic_setting = image.RF_basic_setting;
    rf.TXpower = image.TXpower;
    rf.rssi = image.rssi;
    rf.interface_mode = image.interface_mode;
    rf.sta_timeout = image.sta_timeout;
}

// An SSID that is switched off keeps its name, key and VLAN. A radio without its main SSID is off.
void wl_switch_off(APCONFIG* node, CONFIG_WL_BASIC& wl) AC_REQUIRES(g_apconfig_mutex)
{
    wl.wl_basic_set = static_cast<UINT8>(wl.wl_basic_set & ~AC_WL_ON);
    if (wl.ssid_id == 0) (void)apconfig_mib_update_rf_radio(node, 0, 0); // an AP may lack the radio
    if (wl.ssid_id == AC_SSID_5G_FIRST) (void)apconfig_mib_update_rf_radio(node, 1, 0);
}

void wl_image_apply(APCONFIG* node, const CONFIG_WL_BASIC& image) AC_REQUIRES(g_apconfig_mutex)
{
    CONFIG_WL_BASIC_LIST* found = apconfig_find_wlbasic_node(&node->list_wl, image.ssid_id);
    if (found == nullptr) {
        AC_ERR("node is not exited\n");
        return;
    }
    CONFIG_WL_BASIC& wl = found->wl_basic;
    if ((image.wl_basic_set & AC_WL_ON) == 0) {
        wl_switch_off(node, wl);
        return;
    }
    wl.client_number = image.client_number;
    wl.ssid_id = image.ssid_id;
    wl.vlan_id = image.vlan_id;
    wl.wl_basic_set = image.wl_basic_set;
    wl.wlSecure = image.wlSecure;
    wl.ssid = image.ssid;
}

// The RADIUS server of the longer form is not kept per AP.
void wl_all_image_apply(APCONFIG* node, const CONFIG_WL_BASIC_ALL& image) AC_REQUIRES(g_apconfig_mutex)
{
    CONFIG_WL_BASIC wl{};
    wl.ssid_id = image.ssid_id;
    wl.wl_basic_set = image.wl_basic_set;
    wl.client_number = image.client_number;
    wl.vlan_id = image.vlan_id;
    wl.ssid = image.ssid;
    wl.wlSecure.secure_mode = image.wlSecure.secure_mode;
    wl.wlSecure.wpapsk_secure_mode.auth_type = image.wlSecure.wpa_secure_mode.auth_type;
    wl.wlSecure.wpapsk_secure_mode.key = image.wlSecure.wpa_secure_mode.key;
    memcpy(wl.wlSecure.wpapsk_secure_mode.key_time, image.wlSecure.wpa_secure_mode.key_time,
           sizeof wl.wlSecure.wpapsk_secure_mode.key_time);
    wl_image_apply(node, wl);
}

bool on_ip(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->info_basic.ip = image_of<CONFIG_IP>(data);
    return true;
}

// Names, two counts, radio images, SSID images. The names belong to the policy store.
bool on_wlrf(APCONFIG* node, std::span<const UINT8> data, int&) AC_REQUIRES(g_apconfig_mutex)
{
    const std::size_t ssids = data[NAMES_LEN];
    const std::size_t radios = data[NAMES_LEN + 1];
    wire_reader reader{data};
    wire_skip(reader, NAMES_LEN + 2);
    const std::span<const UINT8> rf = wire_take_bytes(reader, radios * sizeof(CONFIG_WL_RF_V1));
    const std::span<const UINT8> wl = wire_take_bytes(reader, ssids * sizeof(CONFIG_WL_BASIC));
    if (reader.bad) return false;
    (void)apconfig_mib_update_rf(node, rf, static_cast<int>(radios));
    (void)apconfig_mib_update_wl(node, wl, static_cast<int>(ssids));
    return true;
}

bool on_apname(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->info_basic.apname = image_of<CONFIG_APNAME>(data);
    return true;
}

// A policy name by ssid_id, the count, SSID images of the longer form.
bool on_wl_basic_all(APCONFIG* node, std::span<const UINT8> data, int&) AC_REQUIRES(g_apconfig_mutex)
{
    const std::size_t ssids = data[NAMES_LEN];
    wire_reader reader{data};
    wire_skip(reader, NAMES_LEN + 1);
    const std::span<const UINT8> images = wire_take_bytes(reader, ssids * sizeof(CONFIG_WL_BASIC_ALL));
    if (reader.bad) return false;
    (void)apconfig_mib_update_wl_basic_all(node, images, static_cast<int>(ssids));
    for (std::size_t i = 0; i < ssids; i++) {
        const UINT8 id = images[i * sizeof(CONFIG_WL_BASIC_ALL)];
        if (id < AC_SSID_MAX) name_set(node->p_wl_basic_policy_name[id], data.subspan(id * AC_NAME_LEN));
    }
    return true;
}

// One radio image, a marker, the name of the radio policy.
bool on_rf(APCONFIG* node, std::span<const UINT8> data, int& index) AC_REQUIRES(g_apconfig_mutex)
{
    index = data[0] & AC_RF_5G;
    (void)apconfig_mib_update_rf(node, data, 1);
    char marker[MARKER_LEN + 1];
    (void)field_to_text(data.subspan(sizeof(CONFIG_WL_RF_V1), MARKER_LEN), marker);
    if (strcmp(marker, RF_POLICY_MARKER) == 0)
        name_set(node->p_wl_rf_policy_name[index], data.subspan(sizeof(CONFIG_WL_RF_V1) + MARKER_LEN));
    return true;
}

bool on_reboot(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->info_reboot = image_of<CONFIG_SCHED_REBOOT>(data);
    return true;
}

bool on_alarm(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->info_alarm = image_of<CONFIG_ALARM>(data);
    return true;
}

bool on_led(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->info_basic.led_status = data[0];
    return true;
}

bool on_status(APCONFIG* node, std::span<const UINT8> data, int&)
{
    ac_store(node->status, data[0]);
    return true;
}

bool on_ssid_clients(APCONFIG* node, std::span<const UINT8> data, int&)
{
    if (data[0] >= AC_SSID_MAX) return false;
    node->main_ssid_client[data[0]] = data[1];
    return true;
}

// The name of the policy that the AP is bound to, in the field of that kind.
template <auto field> bool on_policy_name(APCONFIG* node, std::span<const UINT8> data, int&)
{
    name_set(node->*field, data);
    return true;
}

constexpr auto on_reboot_name = on_policy_name<&APCONFIG::p_reboot_name>;
constexpr auto on_alarm_name = on_policy_name<&APCONFIG::p_alarm_name>;
constexpr auto on_password_name = on_policy_name<&APCONFIG::p_pass_name>;
constexpr auto on_wl_deploy_name = on_policy_name<&APCONFIG::p_wl_deploy_name>;
constexpr auto on_qvlan_name = on_policy_name<&APCONFIG::p_qvlan_name>;

bool on_alarm_event(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->info_event = image_of<CONFIG_ALARM_EVENT>(data);
    return true;
}

// One byte only: a zero in front makes the number 0, whatever follows.
bool on_version(APCONFIG* node, std::span<const UINT8> data, int&)
{
    node->AP_config_version[0] = data[0];
    return true;
}

// An AP that missed a command gets the stored configuration at its next join.
bool on_resend_failed(APCONFIG* node, std::span<const UINT8>, int&)
{
    ac_store(node->status, static_cast<UINT8>(AP_LINK_DOWN));
    version_one_set(node);
    return true;
}

bool on_restore(APCONFIG* node, std::span<const UINT8>, int&)
{
    node->restore = 1;
    return true;
}

// The index names SSID 0 or 1 whatever the SSID: the limit of any other reaches flash with the next whole record.
bool on_limit(APCONFIG* node, std::span<const UINT8> data, int& index) AC_REQUIRES(g_apconfig_mutex)
{
    const auto limit = image_of<CONFIG_CLI_LIMIT>(data);
    index = limit.ssid_id & 1;
    (void)apconfig_mib_update_limit(node, &limit);
    return true;
}

bool on_channel(APCONFIG* node, std::span<const UINT8> data, int& index) AC_REQUIRES(g_apconfig_mutex)
{
    const auto channel = image_of<CONFIG_CHANNEL>(data);
    index = channel.radio;
    (void)apconfig_mib_update_channel(node, &channel);
    return true;
}

bool on_wl_policy_name(APCONFIG*, std::span<const UINT8> data, int& index)
{
    index = data[0];
    return true;
}

constexpr std::size_t RF_POLICY_LEN = sizeof(CONFIG_WL_RF_V1) + MARKER_LEN + AC_NAME_LEN;

// clang-format off
constexpr update_row g_update_rows[] = {
    // command                  sub-flag  data at least                apply              note
    {SET_AP_CONFIG_ADVANCE_REQ, 0x04,     1,                           on_led,            CONFIG_SQL_LED},
    {SET_AP_CONFIG_ADVANCE_REQ, 0x40,     sizeof(CONFIG_SCHED_REBOOT), on_reboot,         CONFIG_SQL_REBOOT},
    {SET_AP_CONFIG_ADVANCE_REQ, 0x80,     sizeof(CONFIG_ALARM),        on_alarm,          CONFIG_SQL_ALARM},
    {SET_AP_STATUS_REQ,         ANY_FLAG, 1,                           on_status,         CONFIG_SQL_STATUS},
    {SET_AP_REMARK_REQ,         ANY_FLAG, sizeof(CONFIG_APNAME),       on_apname,         CONFIG_SQL_APNAME},
    {SET_AP_MAIN_SSID_NUM_REQ,  ANY_FLAG, 2,                           on_ssid_clients,   SQL_NONE},
    {SET_REBOOT_POLICY_NAME,    ANY_FLAG, AC_NAME_LEN,                 on_reboot_name,    CONFIG_SQL_REBOOT_NAME},
    {SET_ALARM_POLICY_NAME,     ANY_FLAG, AC_NAME_LEN,                 on_alarm_name,     CONFIG_SQL_ALARM_NAME},
    {SET_ALARM_EVENT,           ANY_FLAG, sizeof(CONFIG_ALARM_EVENT),  on_alarm_event,    CONFIG_SQL_ALARM_EVENT},
    {SET_AP_CONFIG_REQ,         1,        sizeof(CONFIG_IP),           on_ip,             CONFIG_SQL_IP},
    {SET_AP_CONFIG_REQ,         2,        NAMES_LEN + 2,               on_wlrf,           CONFIG_SQL_WLRF},
    {SET_AP_CONFIG_REQ,         8,        sizeof(CONFIG_APNAME),       on_apname,         CONFIG_SQL_APNAME},
    {SET_AP_CONFIG_REQ,         16,       NAMES_LEN + 1,               on_wl_basic_all,   CONFIG_SQL_WLRF},
    {SET_AP_CONFIG_REQ,         32,       RF_POLICY_LEN,               on_rf,             CONFIG_SQL_RF},
    {SET_AP_VERSION,            ANY_FLAG, 1,                           on_version,        SQL_NONE},
    {SET_RESEND_FAILED_AP,      ANY_FLAG, 0,                           on_resend_failed,  CONFIG_SQL_VERSION},
    {SET_RESTORE_FLAG,          ANY_FLAG, 0,                           on_restore,        SQL_NONE},
    {SET_AP_CLI_LIMIT,          ANY_FLAG, sizeof(CONFIG_CLI_LIMIT),    on_limit,          CONFIG_SQL_CLI_LIMIT},
    {SET_AP_CHANNEL,            ANY_FLAG, sizeof(CONFIG_CHANNEL),      on_channel,        CONFIG_SQL_CHANNEL},
    {SET_PASSWORD_NAME,         ANY_FLAG, AC_NAME_LEN,                 on_password_name,  CONFIG_SQL_PASSWORD_NAME},
    {SET_WL_POLICY_NAME,        ANY_FLAG, 1,                           on_wl_policy_name, CONFIG_SQL_WL_POLICY_NAME},
    {SET_WL_DEPLOY_POLICY_NAME, ANY_FLAG, AC_NAME_LEN,                 on_wl_deploy_name, CONFIG_SQL_WL_DEPLOY_NAME},
    {SET_AP_CONFIG_QVLAN_REQ,   ANY_FLAG, AC_NAME_LEN,                 on_qvlan_name,     CONFIG_SQL_QVLAN_NAME},
};
// clang-format on

const update_row* row_find(UINT16 type)
{
    const int command = type & 0xFF;
    const int flag = type >> 8;
    for (const update_row& row : g_update_rows) {
        if (row.command == command && (row.flag == ANY_FLAG || row.flag == flag)) return &row;
    }
    return nullptr;
}

struct update_note {
    int sql = SQL_NONE;
    int index = 0;
    bool version = false; // the version was raised and needs a note of its own
};

enum update_result { UPDATE_DONE, UPDATE_NO_RECORD, UPDATE_NO_DATA, UPDATE_BAD_DATA };

// A change to an AP that is offline must reach it at its next join, so the controller's version rises above the AP's 0.
// A mere change of status is no change of configuration.
bool version_must_rise(const APCONFIG* node, int sql) AC_REQUIRES(g_apconfig_mutex)
{
    return sql != CONFIG_SQL_STATUS && node->status == AP_LINK_DOWN &&
           apconfig_version_number(node->AP_config_version) == 0;
}

update_result update_apply(const update_row* row, const UINT8* mac, std::span<const UINT8> data, update_note& note)
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(mac);
    if (node == nullptr) return UPDATE_NO_RECORD;
    if (data.data() == nullptr) return UPDATE_NO_DATA;
    if (row == nullptr) return UPDATE_DONE;
    if (data.size() < row->needed || !row->apply(node, data, note.index)) return UPDATE_BAD_DATA;
    note.sql = row->sql;
    note.version = note.sql != SQL_NONE && version_must_rise(node, note.sql);
    if (note.version) version_one_set(node);
    return UPDATE_DONE;
}

} // namespace

int apconfig_mib_update(UINT16 type, const UINT8* ethaddr, std::span<const UINT8> data)
{
    UINT8 mac[AC_MAC_LEN]; // the argument may lie in the record
    memcpy(mac, ethaddr, sizeof mac);
    update_note note;
    switch (update_apply(row_find(type), mac, data, note)) {
    case UPDATE_NO_RECORD:
        AC_ERR("mac is not exited\n");
        return AC_RET_ERROR;
    case UPDATE_NO_DATA:
        AC_ERR("data is null\n");
        return AC_RET_ERROR;
    case UPDATE_BAD_DATA:
        AC_ERR("data do not fit, type:%04x len:%zu\n", type, data.size());
        return AC_RET_ERROR;
    case UPDATE_DONE:
        break;
    }
    // A lost note is reported by the queue; the table keeps the change.
    if (note.sql != SQL_NONE) (void)sql_flash_queue_in(note.sql, note.index, mac);
    if (note.version) (void)sql_flash_queue_in(CONFIG_SQL_VERSION, note.index, mac);
    return AC_RET_OK;
}

int apconfig_mib_update_rf(APCONFIG* node, std::span<const UINT8> data, int num)
{
    return images_apply<CONFIG_WL_RF_V1>(node, data, num, rf_image_apply);
}

int apconfig_mib_update_rf_radio(APCONFIG* node, int rate, int radio_en)
{
    if (node == nullptr || rate < 0 || rate >= AC_RADIO_MAX) return AC_RET_ERROR;
    CONFIG_WL_RF_LIST* found = apconfig_find_rf_node(&node->list_rf, static_cast<UINT8>(rate));
    if (found == nullptr) return AC_RET_ERROR;
    UINT8& setting = found->rf.RF_basic_setting;
    setting = static_cast<UINT8>(radio_en != 0 ? setting | AC_RF_ON : setting & ~AC_RF_ON);
    return AC_RET_OK;
}

int apconfig_mib_update_wl(APCONFIG* node, std::span<const UINT8> data, int num)
{
    return images_apply<CONFIG_WL_BASIC>(node, data, num, wl_image_apply);
}

int apconfig_mib_update_wl_basic_all(APCONFIG* node, std::span<const UINT8> data, int num)
{
    return images_apply<CONFIG_WL_BASIC_ALL>(node, data, num, wl_all_image_apply);
}

int apconfig_mib_update_channel(APCONFIG* node, const CONFIG_CHANNEL* data)
{
    CONFIG_WL_RF_LIST* found = apconfig_find_rf_node(&node->list_rf, data->radio);
    if (found == nullptr) {
        AC_ERR("node is not exited\n");
        return AC_RET_ERROR;
    }
    found->rf.channel = data->channel;
    found->rf.expand_channel = data->expand_channel;
    return AC_RET_OK;
}

int apconfig_mib_update_limit(APCONFIG* node, const CONFIG_CLI_LIMIT* data)
{
    CONFIG_WL_BASIC_LIST* found = apconfig_find_wlbasic_node(&node->list_wl, data->ssid_id);
    if (found == nullptr) {
        AC_ERR("node is not exited\n");
        return AC_RET_ERROR;
    }
    found->wl_basic.client_number = data->limit;
    return AC_RET_OK;
}

UINT8 get_ap_status(const UINT8* ethaddr)
{
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    return node == nullptr ? UINT8{AP_LINK_DOWN} : ac_load(node->status);
}

namespace {

update_result clients_replace(const UINT8* ethaddr, std::span<const UINT8> data, int num)
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    if (node == nullptr) return UPDATE_NO_RECORD;
    if (data.data() == nullptr) return UPDATE_NO_DATA;
    if (num < 0 || num > APCONFIG_CLIENT_MAX) return UPDATE_BAD_DATA;
    const std::size_t length = static_cast<std::size_t>(num) * AC_MAC_LEN;
    if (data.size() < length) return UPDATE_BAD_DATA;
    node->info_client = CONFIG_ONLIENT_CLIENT{};
    node->info_client.num = num;
    memcpy(node->info_client.online_client, data.data(), length);
    return UPDATE_DONE;
}

} // namespace

int apconfig_mib_update_client(const UINT8* ethaddr, std::span<const UINT8> data, int num)
{
    switch (clients_replace(ethaddr, data, num)) {
    case UPDATE_NO_RECORD:
        AC_ERR("mac is not exited\n");
        return AC_RET_ERROR;
    case UPDATE_NO_DATA:
        AC_ERR("data is null\n");
        return AC_RET_ERROR;
    case UPDATE_BAD_DATA:
        AC_ERR("client list does not fit, num:%d len:%zu\n", num, data.size());
        return AC_RET_ERROR;
    case UPDATE_DONE:
        break;
    }
    return AC_RET_OK;
}
