#include "ac_sql/sqlite_oper_policy.h"

#include "ac_sql/sqlite_policy.h"
#include "ac_sql/sqlite_policy_rows.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_text.h"

namespace {

// A number cut to the width of its field.
template <typename T> void cell_number(const char* cell, T& field)
{
    field = static_cast<T>(sql_cell_int(cell));
}

void cell_text(const char* cell, std::span<UINT8> field)
{
    text_to_field(cell != nullptr ? cell : "", field);
}

// 32 bytes of a text; the field's last byte stays zero.
void cell_name(const char* cell, UINT8 (&field)[POLICY_NAME_FIELD])
{
    cell_text(cell, std::span(field).first(AC_NAME_LEN));
}

void fill_reboot(const sql_row& row, CONFIG_REBOOT_POLICY& policy)
{
    cell_number(row[0], policy.enable);
    cell_number(row[1], policy.led_status);
    cell_name(row[2], policy.name);
    cell_number(row[3], policy.info_reboot.reboot_en);
    cell_number(row[4], policy.info_reboot.reboot_type);
    cell_number(row[5], policy.info_reboot.time);
}

void fill_alarm_event(const sql_row& row, CONFIG_ALARM_EVENT& event)
{
    cell_number(row[2], event.mailEnable);
    cell_name(row[3], event.mailName);
    cell_name(row[4], event.mailPwd);
    cell_number(row[5], event.mailInterTime);
    cell_number(row[6], event.pcEnable);
    cell_number(row[7], event.pcIpAddr);
    if (row[11] == nullptr || row[12] == nullptr) return; // a row from before these columns
    cell_number(row[11], event.mailPort);
    cell_number(row[12], event.SSLEnable);
}

void fill_alarm(const sql_row& row, CONFIG_ALARM_POLICY& policy)
{
    cell_number(row[0], policy.enable);
    cell_name(row[1], policy.name);
    fill_alarm_event(row, policy.info_event);
    cell_number(row[8], policy.info_alarm.alarm_switch);
    cell_number(row[9], policy.info_alarm.hostnum_limit);
    cell_number(row[10], policy.info_alarm.stream_limit);
}

void fill_password(const sql_row& row, CONFIG_PASSWORD_POLICY& policy)
{
    cell_number(row[0], policy.enable);
    cell_name(row[1], policy.name);
    cell_name(row[2], policy.username);
    cell_name(row[3], policy.password);
    cell_number(row[4], policy.web_on_off);
}

void fill_qvlan(const sql_row& row, CONFIG_QVLAN_POLICY& policy)
{
    cell_number(row[0], policy.enable);
    cell_name(row[1], policy.name);
    cell_number(row[2], policy.vlan_en);
    cell_number(row[3], policy.qvlan_pvid);
    cell_number(row[4], policy.manage_vlan);
    cell_number(row[5], policy.lan0_vlanid);
    cell_number(row[6], policy.lan1_vlanid);
    cell_number(row[7], policy.lan2_vlanid);
    cell_text(row[8], policy.qvlan_truck_port);
}

void fill_wl_deploy(const sql_row& row, CONFIG_WL_DEPLOY_POLICY& policy)
{
    cell_number(row[0], policy.enable);
    cell_name(row[1], policy.name);
    cell_number(row[2], policy.penetration);
    cell_number(row[3], policy.deploy);
    cell_number(row[4], policy.drivpwr);
}

template <typename Record> policy_node<Record>* alloc_with_line(const char* function, int line)
{
    policy_node<Record>* node = policy_node_make<Record>();
    if (node == nullptr) printf("Error->%s(%d)--malloc failed\n", function, line);
    return node;
}

using reboot_policy_node = policy_node<CONFIG_REBOOT_POLICY>;
using alarm_policy_node = policy_node<CONFIG_ALARM_POLICY>;
using wl_deploy_policy_node = policy_node<CONFIG_WL_DEPLOY_POLICY>;

reboot_policy_node* reboot_policy_node_alloc()
{
    return alloc_with_line<CONFIG_REBOOT_POLICY>(__func__, __LINE__);
}

alarm_policy_node* alarm_policy_node_alloc()
{
    return alloc_with_line<CONFIG_ALARM_POLICY>(__func__, __LINE__);
}

wl_deploy_policy_node* wl_deploy_policy_node_alloc()
{
    return alloc_with_line<CONFIG_WL_DEPLOY_POLICY>(__func__, __LINE__);
}

list_node g_policy_list_head = {&g_policy_list_head, &g_policy_list_head};
list_node g_alarm_list_head = {&g_alarm_list_head, &g_alarm_list_head};
list_node g_password_list_head = {&g_password_list_head, &g_password_list_head};
list_node g_qvlan_list_head = {&g_qvlan_list_head, &g_qvlan_list_head};
list_node g_wl_deploy_list_head = {&g_wl_deploy_list_head, &g_wl_deploy_list_head};
int g_policy_list_num;
int g_alarm_policy_list_num;
int g_password_policy_list_num;
int g_qvlan_policy_list_num;
int g_wl_deploy_policy_list_num;

policy_kind<CONFIG_REBOOT_POLICY> g_reboot_kind = {
    .table = REBOOT_POLICY_TABLE,
    .obtain_callback = "sqlite_obtain_reboot_policy_callback",
    .get_callback = "sqlite_get_reboot_policy_callback",
    .columns = 6,
    .fill = fill_reboot,
    .alloc = reboot_policy_node_alloc,
    .head = &g_policy_list_head,
    .num = &g_policy_list_num,
};
policy_kind<CONFIG_ALARM_POLICY> g_alarm_kind = {
    .table = ALARM_POLICY_TABLE,
    .obtain_callback = "sqlite_obtain_alarm_policy_callback",
    .get_callback = "sqlite_get_alarm_policy_callback",
    .columns = 13,
    .fill = fill_alarm,
    .alloc = alarm_policy_node_alloc,
    .head = &g_alarm_list_head,
    .num = &g_alarm_policy_list_num,
};
policy_kind<CONFIG_PASSWORD_POLICY> g_password_kind = {
    .table = PASSWORD_POLICY_TABLE,
    .obtain_callback = "sqlite_obtain_password_policy_callback",
    .get_callback = "sqlite_get_password_policy_callback",
    .columns = 0,
    .fill = fill_password,
    .alloc = policy_node_make<CONFIG_PASSWORD_POLICY>,
    .head = &g_password_list_head,
    .num = &g_password_policy_list_num,
};
policy_kind<CONFIG_QVLAN_POLICY> g_qvlan_kind = {
    .table = QVLAN_POLICY_TABLE,
    .obtain_callback = "sqlite_obtain_qvlan_policy_callback",
    .get_callback = "sqlite_get_qvlan_policy_callback",
    .columns = 9,
    .fill = fill_qvlan,
    .alloc = policy_node_make<CONFIG_QVLAN_POLICY>,
    .head = &g_qvlan_list_head,
    .num = &g_qvlan_policy_list_num,
};
policy_kind<CONFIG_WL_DEPLOY_POLICY> g_wl_deploy_kind = {
    .table = WL_DEPLOY_POLICY_TABLE,
    .obtain_callback = "sqlite_obtain_wl_deploy_policy_callback",
    .get_callback = "sqlite_get_wl_deploy_policy_callback",
    .columns = 5,
    .fill = fill_wl_deploy,
    .alloc = wl_deploy_policy_node_alloc,
    .head = &g_wl_deploy_list_head,
    .num = &g_wl_deploy_policy_list_num,
};

// The record itself goes out, `enable` being the number of APs whose row names the policy in `column`.
template <typename Record> void hand_out(const Record& policy, Record& web, const char* column)
{
    web = policy;
    (void)query_policy_used_info(AP_BASIC_TABLE, column, web.name, &web.enable); // always 0
}

} // namespace

AC_RET sqlite_reboot_policy_obtain(UINT8** buf, int* len)
{
    const AC_RET result = policy_list_read(g_reboot_kind);
    if (result != AC_RET_OK) return result;
    return policy_list_hand_out<CONFIG_REBOOT_POLICY>(g_reboot_kind, buf, len, [](const auto& policy, auto& web) {
        hand_out(policy, web, "reboot_name");
        web.type = 0;
    });
}

AC_RET sqlite_alarm_policy_obtain(UINT8** buf, int* len)
{
    const AC_RET result = policy_list_read(g_alarm_kind);
    if (result != AC_RET_OK) return result;
    return policy_list_hand_out<CONFIG_ALARM_POLICY>(
        g_alarm_kind, buf, len, [](const auto& policy, auto& web) { hand_out(policy, web, "alarm_name"); });
}

AC_RET sqlite_password_policy_obtain(UINT8** buf, int* len)
{
    const AC_RET result = policy_list_read(g_password_kind);
    if (result != AC_RET_OK) return result;
    return policy_list_hand_out<CONFIG_PASSWORD_POLICY>(
        g_password_kind, buf, len, [](const auto& policy, auto& web) { hand_out(policy, web, "pass_name"); });
}

AC_RET sqlite_qvlan_policy_obtain(UINT8** buf, int* len)
{
    const AC_RET result = policy_list_read(g_qvlan_kind);
    if (result != AC_RET_OK) return result;
    return policy_list_hand_out<CONFIG_QVLAN_POLICY>(
        g_qvlan_kind, buf, len, [](const auto& policy, auto& web) { hand_out(policy, web, "qvlan_name"); });
}

AC_RET sqlite_wl_deploy_policy_obtain(UINT8** buf, int* len)
{
    const AC_RET result = policy_list_read(g_wl_deploy_kind);
    if (result != AC_RET_OK) return result;
    return policy_list_hand_out<CONFIG_WL_DEPLOY_POLICY>(
        g_wl_deploy_kind, buf, len, [](const auto& policy, auto& web) { hand_out(policy, web, "wl_deploy_name"); });
}

AC_RET sqlite_reboot_policy_obtain_by_name(CONFIG_REBOOT_POLICY* policy, std::span<const UINT8> name)
{
    return policy_by_name(g_reboot_kind, policy, name);
}

AC_RET sqlite_alarm_policy_obtain_by_name(CONFIG_ALARM_POLICY* policy, std::span<const UINT8> name)
{
    return policy_by_name(g_alarm_kind, policy, name);
}

AC_RET sqlite_get_password_policy_by_name(CONFIG_PASSWORD_POLICY* policy, std::span<const UINT8> name)
{
    return policy_by_name(g_password_kind, policy, name);
}

AC_RET sqlite_get_qvlan_policy_by_name(CONFIG_QVLAN_POLICY* policy, std::span<const UINT8> name)
{
    return policy_by_name(g_qvlan_kind, policy, name);
}

AC_RET sqlite_get_wl_deploy_policy_by_name(CONFIG_WL_DEPLOY_POLICY* policy, std::span<const UINT8> name)
{
    return policy_by_name(g_wl_deploy_kind, policy, name);
}
