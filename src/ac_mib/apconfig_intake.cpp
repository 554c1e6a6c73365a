#include "ac_mib/apconfig_intake.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_wtp_protocol/ac_frame_wire.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/ac_wire.h"
#include "platform/ac_clock.h"

namespace {

enum report_member {
    MEMBER_BASIC = 1,
    MEMBER_REBOOT = 2,
    MEMBER_ALARM = 3,
    MEMBER_RF = 4,
    MEMBER_SSID = 5,
    MEMBER_END = 6,
};

// From one radio record to the next, in the first generation as well, though its records have 10 bytes: the second one
// is then taken from inside the SSID records. The APs in the field are served so.
constexpr std::size_t RF_STRIDE = sizeof(CONFIG_WL_RF);

// All that differs between the generations of the report.
struct report_layout {
    UINT16 proto_vendor;
    bool prints_type;              // failure lines name the product, and the SSID count gets a line
    std::size_t rf_read;           // bytes of a radio record in the report
    std::size_t rf_kept;           // bytes of it that the record keeps
    int ssid_offset[AC_RADIO_MAX]; // by the number of radios
    int end_offset[AC_RADIO_MAX];
};

// The first generation has never kept sta_timeout, the last byte it reads. That field and the wired ports, which such
// an AP does not report at all, are zeros in its records, so that nothing undefined is ever sent back.
constexpr report_layout LAYOUT_V1 = {
    AC_LAYOUT_V1, false, sizeof(CONFIG_WL_RF_V1), offsetof(CONFIG_WL_RF, sta_timeout), {114, 124}, {-1, -1}};
constexpr report_layout LAYOUT_V2 = {AC_LAYOUT_V2,         true,       sizeof(CONFIG_WL_RF),
                                     sizeof(CONFIG_WL_RF), {132, 160}, {1012, 1480}};

struct report {
    UINT8 version[2];
    CONFIG_BASIC basic;
    CONFIG_SCHED_REBOOT reboot;
    CONFIG_ALARM alarm;
    int rf_num;
    int ssid_num;
    CONFIG_WL_RF rf[AC_RADIO_MAX];
    CONFIG_WL_BASIC wl[AC_SSID_MAX];
};

// What the controller alone knows of an AP and carries over from its old record.
struct kept_bindings {
    UINT8 reboot_name[AC_NAME_LEN];
    UINT8 alarm_name[AC_NAME_LEN];
    UINT8 pass_name[AC_NAME_LEN];
    UINT8 wl_deploy_name[AC_NAME_LEN];
    UINT8 qvlan_name[AC_NAME_LEN];
    UINT8 wl_basic_name[AC_SSID_MAX][AC_NAME_LEN];
    UINT8 wl_rf_name[AC_RADIO_MAX][AC_NAME_LEN];
    UINT8 ssid[AC_SSID_MAX][sizeof(CONFIG_SSID::ssid)]; // the names that wl_basic_name belongs to
    CONFIG_ALARM_EVENT event;
};

struct report_source {
    UINT8 ethaddr[AC_MAC_LEN];
    UINT8 ip[4];
    UINT16 port;
    UINT16 ap_type;
};

int member_offset(const report_layout& layout, UINT16 aptype, int bit)
{
    PRODUCT_AP product;
    if (!acwtp_product_obtain(aptype, &product)) return -1;
    if (product.rf_num < 1 || product.rf_num > AC_RADIO_MAX) return -1;
    switch (bit) {
    case MEMBER_BASIC:
        return 2;
    case MEMBER_REBOOT:
        return 90;
    case MEMBER_ALARM:
        return 96;
    case MEMBER_RF:
        return 104;
    case MEMBER_SSID:
        return layout.ssid_offset[product.rf_num - 1];
    case MEMBER_END:
        return layout.end_offset[product.rf_num - 1];
    default:
        return -1;
    }
}

// The numbers of radios and SSIDs that the product reports; false after the generation's line.
bool counts_read(const report_layout& layout, UINT16 aptype, report& in)
{
    in.rf_num = get_rf_len(aptype);
    if (in.rf_num == 0 || member_offset(layout, aptype, MEMBER_RF) == -1) {
        if (layout.prints_type)
            AC_ERR("rf_len:%d,aptype:%d", in.rf_num, aptype);
        else
            AC_ERR("rf_len:%d", in.rf_num);
        return false;
    }
    in.ssid_num = get_ssid_len(aptype);
    if (in.ssid_num == 0 || in.ssid_num > AC_SSID_MAX || member_offset(layout, aptype, MEMBER_SSID) == -1) {
        if (layout.prints_type) AC_ERR("ssid_len:%d", in.ssid_num);
        return false;
    }
    return true;
}

template <typename T>
T member_read(const report_layout& layout, UINT16 aptype, int bit, std::span<const UINT8> data, bool& ok)
{
    const int offset = member_offset(layout, aptype, bit);
    return offset == -1 ? T{} : wire_at<T>(data, static_cast<std::size_t>(offset), ok);
}

CONFIG_WL_RF rf_read(const report_layout& layout, std::span<const UINT8> data, std::size_t offset, bool& ok)
{
    CONFIG_WL_RF rf{};
    wire_reader reader{data};
    wire_skip(reader, offset);
    const std::span<const UINT8> image = wire_take_bytes(reader, layout.rf_read);
    if (reader.bad)
        ok = false;
    else
        memcpy(&rf, image.data(), layout.rf_read);
    return rf;
}

// Takes the whole report apart; false where the payload ends before it does.
bool members_read(const report_layout& layout, UINT16 aptype, std::span<const UINT8> data, report& in)
{
    bool ok = true;
    wire_reader head{data};
    in.version[0] = wire_take<UINT8>(head);
    in.version[1] = wire_take<UINT8>(head);
    in.basic = member_read<CONFIG_BASIC>(layout, aptype, MEMBER_BASIC, data, ok);
    in.reboot = member_read<CONFIG_SCHED_REBOOT>(layout, aptype, MEMBER_REBOOT, data, ok);
    in.alarm = member_read<CONFIG_ALARM>(layout, aptype, MEMBER_ALARM, data, ok);

    const auto rf_at = static_cast<std::size_t>(member_offset(layout, aptype, MEMBER_RF));
    for (int i = 0; i < in.rf_num; i++)
        in.rf[i] = rf_read(layout, data, rf_at + static_cast<std::size_t>(i) * RF_STRIDE, ok);

    const auto wl_at = static_cast<std::size_t>(member_offset(layout, aptype, MEMBER_SSID));
    for (int i = 0; i < in.ssid_num; i++)
        in.wl[i] = wire_at<CONFIG_WL_BASIC>(data, wl_at + static_cast<std::size_t>(i) * sizeof(CONFIG_WL_BASIC), ok);
    return ok && !head.bad;
}

bool report_valid(const report& in)
{
    for (int i = 0; i < in.rf_num; i++) {
        if (validate_rf(&in.rf[i], in.rf[i].RF_basic_setting & AC_RF_5G) == 0) continue;
        AC_ERR("config rf error\n");
        return false;
    }
    for (int i = 0; i < in.ssid_num; i++) {
        if (validate_wl(&in.wl[i]) == 0) continue;
        AC_ERR("config wl error\n");
        return false;
    }
    return true;
}

bool report_read(const report_layout& layout, UINT16 aptype, std::span<const UINT8> data, report& in)
{
    if (!counts_read(layout, aptype, in)) return false;
    if (!members_read(layout, aptype, data, in)) {
        AC_ERR("config report too short, len:%zu,aptype:%d\n", data.size(), aptype);
        return false;
    }
    return report_valid(in);
}

void bindings_keep(APCONFIG* node, kept_bindings& kept) AC_REQUIRES(g_apconfig_mutex)
{
    memcpy(kept.reboot_name, node->p_reboot_name, sizeof kept.reboot_name);
    memcpy(kept.alarm_name, node->p_alarm_name, sizeof kept.alarm_name);
    memcpy(kept.pass_name, node->p_pass_name, sizeof kept.pass_name);
    memcpy(kept.wl_deploy_name, node->p_wl_deploy_name, sizeof kept.wl_deploy_name);
    memcpy(kept.qvlan_name, node->p_qvlan_name, sizeof kept.qvlan_name);
    memcpy(kept.wl_basic_name, node->p_wl_basic_policy_name, sizeof kept.wl_basic_name);
    memcpy(kept.wl_rf_name, node->p_wl_rf_policy_name, sizeof kept.wl_rf_name);
    kept.event = node->info_event;
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next) {
        const CONFIG_WL_BASIC& wl = apconfig_wl_of(at)->wl_basic;
        if (wl.ssid_id < AC_SSID_MAX) memcpy(kept.ssid[wl.ssid_id], wl.ssid.ssid, sizeof wl.ssid.ssid);
    }
}

// Takes the AP's old record, if any, out of the table and keeps its bindings. Search, comparison and removal are one
// hold, so that no binding made meanwhile is lost. 3 where the stored configuration is newer: nothing is changed then.
int old_record_take(const report_source& from, const UINT8* version, kept_bindings& kept)
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(from.ethaddr);
    if (node == nullptr) return AC_RET_OK;
    // A record without SSIDs was cut off between its two writes. It is no configuration to hand out: the AP would lose
    // its SSIDs, and its next report, having none, would be refused for good.
    const int ssids = get_ssid_num_24g(node->ap_type) + get_ssid_num_5g(node->ap_type);
    const bool cut_off = ssids > 0 && list_empty(&node->list_wl);
    if (!cut_off && apconfig_version_number(version) < apconfig_version_number(node->AP_config_version))
        return AC_RET_CONFIG_TIME_OUT;
    if (node->restore == 0) bindings_keep(node, kept);
    apconfig_unlink_locked(node);
    return AC_RET_OK;
}

void record_fill(APCONFIG* node, const report_source& from, const report& in, const kept_bindings& kept)
{
    memcpy(node->p_alarm_name, kept.alarm_name, sizeof node->p_alarm_name);
    memcpy(node->p_reboot_name, kept.reboot_name, sizeof node->p_reboot_name);
    memcpy(node->p_pass_name, kept.pass_name, sizeof node->p_pass_name);
    memcpy(node->p_wl_deploy_name, kept.wl_deploy_name, sizeof node->p_wl_deploy_name);
    memcpy(node->p_wl_rf_policy_name, kept.wl_rf_name, sizeof node->p_wl_rf_policy_name);
    memcpy(node->p_qvlan_name, kept.qvlan_name, sizeof node->p_qvlan_name);
    node->info_event = kept.event;

    PRODUCT_AP product;
    (void)acwtp_product_obtain(from.ap_type, &product); // counts_read has seen the row
    memcpy(node->product_name, product.ap_name, sizeof node->product_name);
    node->product_id = product.product_id;
    node->ap_type = from.ap_type;
    node->status = AP_LINK_UP;
    node->sql_flag = 0;
    node->restore = 0;
    memcpy(node->ip, from.ip, sizeof node->ip);
    node->port = from.port;
    memcpy(node->ethaddr, from.ethaddr, sizeof node->ethaddr);
    memcpy(node->AP_config_version, in.version, sizeof node->AP_config_version);
    node->time = static_cast<UINT32>(ac_time());
    node->info_basic = in.basic;
    node->info_reboot = in.reboot;
    node->info_alarm = in.alarm;
}

bool radios_add(APCONFIG* node, const report_layout& layout, const report& in)
{
    for (int i = 0; i < in.rf_num; i++) {
        CONFIG_WL_RF_LIST* rf = rfconfig_alloc();
        if (rf == nullptr) return false;
        rf->rf = CONFIG_WL_RF{};
        memcpy(&rf->rf, &in.rf[i], layout.rf_kept);
        list_add_tail(&rf->list, &node->list_rf);
    }
    return true;
}

// A policy binding survives only while the AP still has the SSID under the same name.
bool ssids_add(APCONFIG* node, const report& in, const kept_bindings& kept)
{
    for (int i = 0; i < in.ssid_num; i++) {
        CONFIG_WL_BASIC_LIST* wl = wlconfig_alloc();
        if (wl == nullptr) return false;
        wl->wl_basic = in.wl[i];
        list_add_tail(&wl->list, &node->list_wl);
        const UINT8 id = in.wl[i].ssid_id; // validate_wl has bounded it
        if (memcmp(in.wl[i].ssid.ssid, kept.ssid[id], sizeof kept.ssid[id]) == 0)
            memcpy(node->p_wl_basic_policy_name[id], kept.wl_basic_name[id], AC_NAME_LEN);
    }
    return true;
}

int record_build(const report_layout& layout, const report_source& from, const report& in, const kept_bindings& kept)
{
    APCONFIG* node = apconfig_alloc();
    if (node == nullptr) return AC_RET_NULL_POINTER;
    record_fill(node, from, in, kept);
    if (!radios_add(node, layout, in) || !ssids_add(node, in, kept)) {
        AC_ERR("null pointer\n");
        apconfig_free_unlinked(node);
        return AC_RET_ERROR;
    }
    node->proto_vendor = layout.proto_vendor;
    apconfig_link(node);
    return AC_RET_OK;
}

int intake(const report_layout& layout, const report_source& from, std::span<const UINT8> data)
{
    report in{};
    if (!report_read(layout, from.ap_type, data, in)) return AC_RET_ERROR;
    kept_bindings kept{};
    const int old = old_record_take(from, in.version, kept);
    return old != AC_RET_OK ? old : record_build(layout, from, in, kept);
}

report_source source_of(const UINT8* ethaddr, const UINT8* ipaddr, UINT16 port, UINT16 aptype)
{
    report_source from{};
    memcpy(from.ethaddr, ethaddr, sizeof from.ethaddr);
    memcpy(from.ip, ipaddr, sizeof from.ip);
    from.port = port;
    from.ap_type = aptype;
    return from;
}

constexpr const char* TX_POWER_ARGS[] = {"1", "99", nullptr};
constexpr const char* LENGTH_ARGS[] = {"1", "32", nullptr};
constexpr const char* SSID_ID_ARGS[] = {"0", "11", nullptr};

} // namespace

const ac_validatation g_ac_valid[4] = {
    {"tx_power_24g", TX_POWER_ARGS, validate_range},
    {"tx_power_5g", TX_POWER_ARGS, validate_range},
    {"common_length", LENGTH_ARGS, validate_range},
    {"ssid_id", SSID_ID_ARGS, validate_range},
};

int get_offsetof_member_v1(UINT16 aptype, int bit)
{
    return member_offset(LAYOUT_V1, aptype, bit);
}

int get_offsetof_member_v2(UINT16 aptype, int bit)
{
    return member_offset(LAYOUT_V2, aptype, bit);
}

int apconfig_mib_add(const UINT8* ethaddr, const UINT8* ipaddr, UINT16 port, UINT16 aptype, std::span<const UINT8> data)
{
    return intake(LAYOUT_V1, source_of(ethaddr, ipaddr, port, aptype), data);
}

int apconfig_mib_add_v2(const UINT8* ethaddr, const UINT8* ipaddr, UINT16 port, UINT16 aptype,
                        std::span<const UINT8> data)
{
    return intake(LAYOUT_V2, source_of(ethaddr, ipaddr, port, aptype), data);
}

int validate_range(const char* value, const char* const* argv)
{
    if (value == nullptr || argv == nullptr || argv[0] == nullptr || argv[1] == nullptr) return AC_RET_ERROR;
    const int number = atoi(value);
    return number >= atoi(argv[0]) && number <= atoi(argv[1]) ? AC_RET_OK : AC_RET_ERROR;
}

int validate_choice(const char* value, const char* const* argv)
{
    if (value == nullptr || argv == nullptr) return AC_RET_ERROR;
    for (; *argv != nullptr; argv++) {
        if (strcmp(value, *argv) == 0) return AC_RET_OK;
    }
    return AC_RET_ERROR;
}

int ac_validate(const char* name, int data)
{
    char text[16];
    snprintf(text, sizeof text, "%d", data);
    for (const ac_validatation& row : g_ac_valid) {
        if (strcmp(row.name, name) != 0) continue;
        const int result = row.validate(text, row.agrv);
        if (result != AC_RET_OK) AC_ERR("validation[%s]=[%d] failed\n", name, data);
        return result;
    }
    return AC_RET_ERROR;
}

int validate_rf(const CONFIG_WL_RF*, int)
{
    return AC_RET_OK; // no range of a radio record is tested today
}

int validate_wl(const CONFIG_WL_BASIC* basic)
{
    if (ac_validate("ssid_id", basic->ssid_id) != AC_RET_OK) return AC_RET_ERROR;
    return ac_validate("common_length", basic->ssid.ssid_length) != AC_RET_OK ? AC_RET_ERROR : AC_RET_OK;
}

int apconfig_version_number(const UINT8* version)
{
    const char text[3] = {static_cast<char>(version[0]), static_cast<char>(version[1]), '\0'};
    return atoi(text);
}
