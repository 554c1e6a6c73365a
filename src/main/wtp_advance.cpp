#include "main/wtp_advance.h"

#include <cstring>

#include "ac_mib/apconfig_update.h"
#include "ac_sql/sqlite_oper_policy.h"
#include "ac_sql/sqlite_policy.h"
#include "ac_sql/sqlite_schema.h"
#include "ac_wtp_protocol/acwtp_config.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "common/ac_err.h"
#include "common/ac_wire.h"
#include "common/config_ap_type.h"
#include "main/acmsg_handle_socket.h"
#include "main/wtp_work.h"

namespace {

// Where the names stand behind the MACs.
constexpr std::size_t REBOOT_NAME_AT = 0;
constexpr std::size_t ALARM_NAME_AT = 32;
constexpr std::size_t PASSWORD_NAME_AT = 64;
constexpr std::size_t DEPLOY_NAME_AT = 96;
constexpr std::size_t NAMES_LEN = 128;
constexpr std::size_t QVLAN_NAME_AT = 0;

constexpr std::size_t QVLAN_DATA = sizeof(CONFIG_QVLAN_POLICY) - offsetof(CONFIG_QVLAN_POLICY, vlan_en);
constexpr std::size_t QVLAN_PAYLOAD = 65; // the rest is reserved
static_assert(QVLAN_DATA == 22);

constexpr UINT8 PART_ALARM = 0x80;
constexpr UINT8 PART_REBOOT = 0x40;
constexpr UINT8 PART_LED = 0x04;

constexpr UINT16 advance_type(UINT8 parts)
{
    return static_cast<UINT16>(parts << 8 | SET_AP_CONFIG_ADVANCE_REQ);
}

// What one request sends and applies. Parts that are wanted without a policy have zeroed settings.
struct advance_change {
    UINT8 parts = 0;
    bool with_names = false;
    wtp_policy_name alarm_name;
    wtp_policy_name reboot_name;
    CONFIG_ALARM_POLICY alarm = {};
    CONFIG_REBOOT_POLICY reboot = {};
};

// The policy of that name. A record without a name is a row that isn't there.
template <typename Record>
bool policy_find(AC_RET (*by_name)(Record* policy, std::span<const UINT8> name), const wtp_policy_name& name,
                 Record& policy)
{
    policy = {};
    const std::span<const UINT8> wanted(name.field);
    return by_name(&policy, wanted) == AC_RET_OK && policy.name[0] != 0;
}

// The two policies that the body chooses. false for a failed lookup.
bool change_look_up(advance_change& change)
{
    if (wtp_name_chosen(change.alarm_name)) {
        if (!policy_find(sqlite_alarm_policy_obtain_by_name, change.alarm_name, change.alarm)) return false;
        change.parts |= PART_ALARM;
    }
    if (wtp_name_chosen(change.reboot_name)) {
        if (!policy_find(sqlite_reboot_policy_obtain_by_name, change.reboot_name, change.reboot)) return false;
        change.parts |= PART_REBOOT | PART_LED;
    }
    return true;
}

AC_RET change_send(const wtp_targets& aps, const advance_change& change)
{
    UINT8 payload[sizeof(CONFIG_ALARM) + sizeof(CONFIG_SCHED_REBOOT) + sizeof(CONFIG_TIME) + 1];
    wire_writer out{payload};
    if ((change.parts & PART_ALARM) != 0) wire_put(out, change.alarm.info_alarm);
    if ((change.parts & PART_REBOOT) != 0) {
        wire_put(out, change.reboot.info_reboot);
        wire_put(out, acwtp_time_and_zone()); // a schedule is of no use to an AP that does not know the time
    }
    if ((change.parts & PART_LED) != 0) wire_put(out, change.reboot.led_status);
    return wtp_item_queue(advance_type(change.parts), aps, std::span(payload).first(sizeof payload - out.left.size()));
}

void change_apply_to(const wtp_targets& ap, const advance_change& change)
{
    if ((change.parts & PART_ALARM) != 0) {
        if (change.with_names) wtp_update_each(ap, SET_ALARM_POLICY_NAME, change.alarm_name.field);
        wtp_update_each(ap, advance_type(PART_ALARM), wtp_bytes(change.alarm.info_alarm));
        wtp_update_each(ap, SET_ALARM_EVENT, wtp_bytes(change.alarm.info_event));
    }
    if ((change.parts & PART_REBOOT) != 0) {
        if (change.with_names) wtp_update_each(ap, SET_REBOOT_POLICY_NAME, change.reboot_name.field);
        wtp_update_each(ap, advance_type(PART_REBOOT), wtp_bytes(change.reboot.info_reboot));
    }
    if ((change.parts & PART_LED) != 0)
        wtp_update_each(ap, advance_type(PART_LED), wtp_bytes(change.reboot.led_status));
}

// All that a request changes at one AP before the next AP's turn.
void change_apply(const wtp_targets& aps, const advance_change& change)
{
    wire_reader macs{aps.macs};
    for (UINT16 i = 0; i < aps.ap_num; i++) {
        wtp_targets ap;
        ap.ap_num = 1;
        ap.macs = wire_take_bytes(macs, AC_MAC_LEN);
        change_apply_to(ap, change);
    }
}

int change_carry_out(const wtp_targets& aps, const advance_change& change)
{
    const AC_RET queued = change_send(aps, change); // printed there; the table leads all the same
    change_apply(aps, change);
    return queued;
}

// The targets of a binding and the name it makes at `offset`. false for a body that is too short.
bool binding_take(const AC_MSG_PKT* rev, std::size_t offset, wtp_targets& aps, wtp_policy_name& name)
{
    return wtp_targets_take(rev, aps) && wtp_name_take(aps.rest, offset, name);
}

void qvlan_name_apply(const wtp_targets& aps, const wtp_policy_name& name)
{
    wire_reader macs{aps.macs};
    for (UINT16 i = 0; i < aps.ap_num; i++) {
        printf("\n\n------qvlan--times=%d-----------\n\n", i);
        // An unknown AP is a line of the update's own.
        (void)apconfig_mib_update(SET_AP_CONFIG_QVLAN_REQ, wire_take_bytes(macs, AC_MAC_LEN).data(), name.field);
    }
}

} // namespace

int set_wtp_advance_config(const AC_MSG_PKT* rev)
{
    wtp_targets aps;
    if (!wtp_targets_take(rev, aps) || aps.rest.empty()) return AC_RET_ERROR;
    advance_change change;
    if (rev->action == AC_OP_DEL) {
        change.parts = PART_ALARM | PART_REBOOT;
        return change_carry_out(aps, change);
    }
    if (aps.rest.size() < NAMES_LEN || !wtp_name_take(aps.rest, ALARM_NAME_AT, change.alarm_name) ||
        !wtp_name_take(aps.rest, REBOOT_NAME_AT, change.reboot_name)) {
        AC_ERR("names cut short, len:%zu\n", aps.rest.size());
        return AC_RET_ERROR;
    }
    change.with_names = true;
    (void)set_wtp_password_config(rev); // printed there; the other policies are bound all the same
    int result = AC_RET_ERROR;
    if (!change_look_up(change))
        AC_ERR(".\n");
    else if (change.parts == 0)
        AC_ERR("data error\n");
    else
        result = change_carry_out(aps, change);
    (void)set_wl_deploy_config(rev); // printed there
    return result;
}

int set_wtp_password_config(const AC_MSG_PKT* rev)
{
    wtp_targets aps;
    wtp_policy_name name;
    if (!binding_take(rev, PASSWORD_NAME_AT, aps, name)) return AC_RET_ERROR;
    if (!wtp_name_chosen(name)) return AC_RET_OK;
    CONFIG_PASSWORD_POLICY policy;
    if (!policy_find(sqlite_get_password_policy_by_name, name, policy)) {
        AC_ERR(".\n");
        return AC_RET_ERROR;
    }
    UINT8 payload[AC_NAME_LEN + AC_NAME_LEN + 1];
    wire_writer out{payload};
    wire_put_bytes(out, policy.username, AC_NAME_LEN);
    wire_put_bytes(out, policy.password, AC_NAME_LEN);
    wire_put(out, policy.web_on_off);
    const AC_RET queued = wtp_item_queue(SET_PASSWORD_NAME, aps, payload);
    wtp_update_each(aps, SET_PASSWORD_NAME, name.field);
    return queued;
}

int set_wtp_qvlan_config(const AC_MSG_PKT* rev)
{
    wtp_targets aps;
    wtp_policy_name name;
    if (!binding_take(rev, QVLAN_NAME_AT, aps, name)) return AC_RET_ERROR;
    if (!wtp_name_chosen(name)) return AC_RET_OK;
    CONFIG_QVLAN_POLICY policy;
    if (!policy_find(sqlite_get_qvlan_policy_by_name, name, policy)) {
        AC_ERR(".\n");
        return AC_RET_ERROR;
    }
    UINT8 payload[QVLAN_PAYLOAD] = {};
    wire_writer out{payload};
    wire_put_bytes(out, wtp_bytes(policy).subspan(offsetof(CONFIG_QVLAN_POLICY, vlan_en)).data(), QVLAN_DATA);
    const AC_RET queued = wtp_item_queue(SET_AP_CONFIG_QVLAN_REQ, aps, payload);
    qvlan_name_apply(aps, name);
    return queued;
}

int set_wl_deploy_config(const AC_MSG_PKT* rev)
{
    wtp_targets aps;
    wtp_policy_name name;
    if (!binding_take(rev, DEPLOY_NAME_AT, aps, name)) return AC_RET_ERROR;
    if (!wtp_name_chosen(name)) return AC_RET_OK;
    CONFIG_WL_DEPLOY_POLICY policy;
    if (!policy_find(sqlite_get_wl_deploy_policy_by_name, name, policy)) {
        AC_ERR(".\n");
        return AC_RET_ERROR;
    }
    const UINT8 payload[] = {policy.penetration, policy.deploy, policy.drivpwr};
    const AC_RET queued = wtp_item_queue(SET_WL_DEPLOY_POLICY_NAME, aps, payload);
    wtp_update_each(aps, SET_WL_DEPLOY_POLICY_NAME, name.field);
    return queued;
}

int del_advance_policy(int fd, const AC_MSG_PKT* rev)
{
    (void)send_response_to_cgi(fd, SET_AP_CONFIG_ADVANCE_REQ); // printed there; the other request's number, for ever
    if (rev == nullptr || rev->ap_num == 0) return AC_RET_ERROR;
    const std::span<const UINT8> names = ac_msg_data(rev);
    const std::size_t length = std::size_t{rev->ap_num} * AC_NAME_LEN;
    if (static_cast<std::size_t>(rev->msg_data_len) != length || names.size() != length) return AC_RET_ERROR;
    int result = AC_RET_OK;
    for (const char* table : {REBOOT_POLICY_TABLE, ALARM_POLICY_TABLE, PASSWORD_POLICY_TABLE, WL_DEPLOY_POLICY_TABLE})
        result = sqlite_del_policy(table, "name", rev->ap_num, names);
    return result;
}
