#include "ac_wtp_protocol/ac_joined_list.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/timer.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/config_ap_type.h"
#include "platform/ac_platform.h"

ac_mutex g_apjioned_mutex("g_apjioned_mutex", AC_RANK_JOINED);
ACWTP_JIONED_HTABLE* g_online_list = nullptr;
int wtp_online_num_count = 0;

static const char TAG_FILE[] = "/var/tag.cfg";

// MAC in the low 48 bits and KEY_IN_USE while ap_status is 1, else 0: the search touches 4 KiB instead of the whole
// table.
static constexpr std::uint64_t KEY_IN_USE = std::uint64_t{1} << 63;
static std::uint64_t g_slot_key[ACWTP_JOIN_USED] AC_GUARDED_BY(g_apjioned_mutex);

// Joins that each slot has seen: tells an AP that has rejoined in its old slot from the join before.
static UINT32 g_slot_joins[ACWTP_JOIN_USED] AC_GUARDED_BY(g_apjioned_mutex);

static std::uint64_t key_of(const void* mac)
{
    std::uint64_t key = 0;
    memcpy(&key, mac, AC_MAC_LEN);
    return key | KEY_IN_USE;
}

static void slot_key_renew(const ACWTP_JOIN_LIST* slot) AC_REQUIRES(g_apjioned_mutex)
{
    g_slot_key[slot - g_online_list->online_list] = slot->ap_status == 1 ? key_of(slot->ap_mac) : 0;
}

// With its timers, or they would strike whoever takes the slot next. A slot that has timed out has none left as a rule;
// a time of day that was set back in between may have kept one.
static void slot_release(ACWTP_JOIN_LIST* slot) AC_REQUIRES(g_apjioned_mutex)
{
    acwtp_echo_untimeout(echo_timeout, &slot->timeout_num);
    acwtp_echo_untimeout(config_timeout, &slot->config_timeout);
    memset(slot, 0, sizeof *slot);
    slot_key_renew(slot);
}

void acwtp_joined_htable_init()
{
    auto* table = static_cast<ACWTP_JIONED_HTABLE*>(ac_calloc(sizeof(ACWTP_JIONED_HTABLE)));
    if (table == nullptr) exit(0);
    ac_lock lock(g_apjioned_mutex);
    ac_free(g_online_list);
    g_online_list = table;
    memset(g_slot_key, 0, sizeof g_slot_key);
}

UINT32 acwtp_joined_hash_func(const void* /*mac*/)
{
    return 0;
}

ACWTP_JOIN_LIST* acwtp_joined_node_find_locked(const void* mac)
{
    // One frame asks for its AP up to three times; an AP has one slot at most, so the last answer may be tried first.
    static int last_found AC_GUARDED_BY(g_apjioned_mutex) = 0;
    const std::uint64_t key = key_of(mac);
    if (g_slot_key[last_found] == key) return &g_online_list->online_list[last_found];
    for (int i = 0; i < ACWTP_JOIN_USED; i++) {
        if (g_slot_key[i] != key) continue;
        last_found = i;
        return &g_online_list->online_list[i];
    }
    return nullptr;
}

ACWTP_JOIN_LIST* acwtp_joined_node_find(const void* mac, UINT32 /*hash*/)
{
    ac_lock lock(g_apjioned_mutex);
    return acwtp_joined_node_find_locked(mac);
}

bool acwtp_joined_copy(const void* mac, ACWTP_JOIN_LIST* entry)
{
    ac_lock lock(g_apjioned_mutex);
    const ACWTP_JOIN_LIST* slot = acwtp_joined_node_find_locked(mac);
    if (slot == nullptr) return false;
    *entry = *slot;
    return true;
}

bool acwtp_joined_copy_readdress(const void* mac, const UINT8* ip, int port, ACWTP_JOIN_LIST* entry)
{
    ac_lock lock(g_apjioned_mutex);
    ACWTP_JOIN_LIST* slot = acwtp_joined_node_find_locked(mac);
    if (slot == nullptr) return false;
    memcpy(slot->ap_ip, ip, sizeof slot->ap_ip);
    slot->port = port;
    *entry = *slot;
    return true;
}

UINT8* acwtp_join_find_ip(const UINT8* mac, UINT8* ip_out)
{
    ac_lock lock(g_apjioned_mutex);
    const ACWTP_JOIN_LIST* slot = acwtp_joined_node_find_locked(mac);
    if (slot == nullptr) return nullptr;
    memcpy(ip_out, slot->ap_ip, sizeof slot->ap_ip);
    return ip_out;
}

static ACWTP_JOIN_LIST* first_free_slot() AC_REQUIRES(g_apjioned_mutex)
{
    for (int i = 0; i < ACWTP_JOIN_USED; i++)
        if (g_online_list->online_list[i].ap_status == 0) return &g_online_list->online_list[i];
    return nullptr;
}

int insert_to_wtp_listinfo_locked(const ACWTP_JOIN_LIST* entry)
{
    if (entry == nullptr) return AC_RET_NULL_POINTER;
    ACWTP_JOIN_LIST* slot = first_free_slot();
    if (slot == nullptr) return AC_RET_OK; // the AP goes on asking
    memcpy(slot->ap_ip, entry->ap_ip, sizeof slot->ap_ip);
    memcpy(slot->ap_mac, entry->ap_mac, sizeof slot->ap_mac);
    slot->ap_status = entry->ap_status;
    slot->current_status = entry->current_status;
    slot->port = entry->port;
    slot->timeout_num = 0;
    slot->echo_times = 0;
    slot->upgrade_timeout = 0;
    slot->config_timeout = 0;
    slot->discover_num = 1;
    slot_key_renew(slot);
    g_slot_joins[slot - g_online_list->online_list]++;
    acwtp_echo_timeout(config_timeout, &slot->config_timeout, ACWTP_CONFIG_SECONDS, 0);
    return AC_RET_OK;
}

int insert_to_wtp_listinfo(const ACWTP_JOIN_LIST* entry)
{
    ac_lock lock(g_apjioned_mutex);
    return insert_to_wtp_listinfo_locked(entry);
}

int delete_wtp_listinfo(const void* mac)
{
    ac_lock lock(g_apjioned_mutex);
    ACWTP_JOIN_LIST* slot = acwtp_joined_node_find_locked(mac);
    if (slot == nullptr) return AC_RET_OK;
    slot_release(slot);
    return AC_RET_OK;
}

int manage_joined_list_del(const UINT8* mac)
{
    if (acwtp_joined_node_find(mac, acwtp_joined_hash_func(mac)) != nullptr) delete_wtp_listinfo(mac);
    return AC_RET_OK;
}

// What an update leaves to be done without the lock.
enum joined_follow_up { FOLLOW_UNKNOWN_AP, FOLLOW_NONE, FOLLOW_SAVE, FOLLOW_LINKUP, FOLLOW_DISCOVER_FAILED };

static joined_follow_up note_echo(ACWTP_JOIN_LIST* slot, int value) AC_REQUIRES(g_apjioned_mutex)
{
    slot->timeout_num = value;
    const int before = slot->echo_times;
    if (slot->echo_times < ACWTP_ECHO_TIMES_LIMIT) slot->echo_times++;
    if (before == 1) return FOLLOW_SAVE;
    return before == 2 ? FOLLOW_LINKUP : FOLLOW_NONE;
}

static joined_follow_up note_discovery(ACWTP_JOIN_LIST* slot) AC_REQUIRES(g_apjioned_mutex)
{
    // Stop at 13: the alarm comes when the count is exactly 10, and a wrapped count would raise it twice.
    if (slot->discover_num >= ACWTP_DISCOVER_LIMIT) return FOLLOW_NONE;
    slot->discover_num++;
    return slot->discover_num == ACWTP_DISCOVER_ALARM ? FOLLOW_DISCOVER_FAILED : FOLLOW_NONE;
}

static joined_follow_up apply_update(ACWTP_JOIN_LIST* slot, int value, int flag) AC_REQUIRES(g_apjioned_mutex)
{
    switch (flag) {
    case UPDATE_ECHO_STATUS:
        return note_echo(slot, value);
    case UPDATE_DISCOVER_NUM:
        return note_discovery(slot);
    case UPDATE_STATUS:
        slot->ap_status = value;
        slot_key_renew(slot);
        break;
    case UPDATE_CURRENT_STATUS:
        slot->current_status = value;
        break;
    case CLEAR_DISCOVER_NUM:
        slot->discover_num = 0;
        break;
    default:
        break;
    }
    return FOLLOW_NONE;
}

int update_wtp_jioned_list_status(const UINT8* mac, int value, int flag)
{
    joined_follow_up follow = FOLLOW_UNKNOWN_AP;
    {
        ac_lock lock(g_apjioned_mutex);
        ACWTP_JOIN_LIST* slot = acwtp_joined_node_find_locked(mac);
        if (slot != nullptr) follow = apply_update(slot, value, flag);
    }
    if (follow == FOLLOW_UNKNOWN_AP) {
        AC_ERR("this ap is not exist\n");
        return AC_RET_NULL_POINTER;
    }
    if (follow == FOLLOW_SAVE) sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, mac);
    if (follow == FOLLOW_LINKUP) trigger_assem_logs(HALDE_ALARM_STATUS_LINKUP, mac);
    if (follow == FOLLOW_DISCOVER_FAILED) trigger_assem_logs(HALDE_ALARM_AP_DISCOVER_FAILED, mac);
    return AC_RET_OK;
}

// State and timer change in one hold: an echo timer must never be armed for whoever has taken the slot meanwhile.
static bool set_running(const UINT8* mac)
{
    ac_lock lock(g_apjioned_mutex);
    ACWTP_JOIN_LIST* slot = acwtp_joined_node_find_locked(mac);
    if (slot == nullptr) return false;
    slot->current_status = AC_RUNNING;
    acwtp_echo_timeout(echo_timeout, &slot->timeout_num, g_echo_interval, 0);
    return true;
}

void acwtp_joined_to_running(const UINT8* mac)
{
    if (!set_running(mac)) AC_ERR("this ap is not exist\n");
    ac_add(wtp_online_num_count, 1);
}

void echo_timeout(void* arg)
{
    if (arg == nullptr) return;
    ac_lock lock(g_apjioned_mutex); // whoever frees the slot cancels this timer under the same lock
    if (echo_timer_cancelled()) return;
    auto* periods = static_cast<UINT8*>(arg); // the low byte of timeout_num
    *periods = static_cast<UINT8>(*periods + 1);
    if (*periods < ACWTP_ECHO_LIMIT) acwtp_echo_timeout(echo_timeout, arg, g_echo_interval, 0);
}

void config_timeout(void* arg)
{
    if (arg == nullptr) return;
    ac_lock lock(g_apjioned_mutex);
    if (echo_timer_cancelled()) return;
    *static_cast<UINT8*>(arg) = 1;
}

enum scan_verdict { SCAN_FINE, SCAN_ECHO_TIME_OUT, SCAN_CONFIG_TIME_OUT };

struct timed_out {
    ACWTP_JOIN_LIST entry; // a copy
    UINT32 joins;          // of its slot at that time
};

// Looks at a slot; on a time-out `found` is filled. An AP that is being upgraded can't be expected to echo.
static scan_verdict scan_slot(int i, timed_out* found)
{
    ac_lock lock(g_apjioned_mutex);
    ACWTP_JOIN_LIST* slot = &g_online_list->online_list[i];
    if (slot->ap_status == 0) return SCAN_FINE;
    if (slot->current_status == AC_UPGRADE) slot->timeout_num = 0;
    *found = {*slot, g_slot_joins[i]};
    if (slot->timeout_num >= ACWTP_ECHO_LIMIT) return SCAN_ECHO_TIME_OUT;
    if (slot->current_status != AC_CONFIG_UPGRADE || slot->config_timeout == 0) return SCAN_FINE;
    slot_release(slot); // at once: a configuration that comes now finds no entry and rejoins
    return SCAN_CONFIG_TIME_OUT;
}

// The actions ran without the lock: the AP may have rejoined in this very slot meanwhile. An echo that came meanwhile
// saves nothing: the AP is shown as down by now and has to rejoin.
static void clear_timed_out_slot(int i, UINT32 joins)
{
    ac_lock lock(g_apjioned_mutex);
    if (g_slot_joins[i] == joins) slot_release(&g_online_list->online_list[i]);
}

static void drop_silent_ap(int i, const timed_out* found)
{
    const UINT8* mac = found->entry.ap_mac;
    AC_ERR("ip:[%u.%u.%u.%u] echo time out\n", AC_IP_ARGS(found->entry.ap_ip));
    if (found->entry.current_status != AC_CONFIG_UPGRADE) {
        (void)apconfig_mib_update_byte(SET_AP_STATUS_REQ, mac, AP_LINK_DOWN); // printed there
        ac_add(wtp_online_num_count, -1);
        trigger_assem_logs(HALDE_ALARM_ECHO_FAILED, mac);
        turn_online_client_down(mac, 1);
    }
    clear_timed_out_slot(i, found->joins);
}

// The AP is told nothing: it learns its fate from the forced link-down reply to its next frame.
void check_joined_list_status()
{
    for (int i = 0; i < ACWTP_JOIN_USED; i++) {
        timed_out found;
        const scan_verdict verdict = scan_slot(i, &found);
        if (verdict == SCAN_ECHO_TIME_OUT) drop_silent_ap(i, &found);
        if (verdict == SCAN_CONFIG_TIME_OUT)
            AC_ERR("ip:[%u.%u.%u.%u] config time out\n", AC_IP_ARGS(found.entry.ap_ip));
    }
}

void acwtp_join_list_del_all()
{
    ac_lock lock(g_apjioned_mutex);
    if (g_online_list == nullptr) return;
    for (int i = 0; i < ACWTP_JOIN_USED; i++)
        slot_release(&g_online_list->online_list[i]); // free ones too: UPDATE_STATUS frees a slot and leaves the rest
}

int acwtp_join_list_print()
{
    const ac_path path(TAG_FILE);
    FILE* file = fopen(path.c_str(), "w+");
    if (file == nullptr) return AC_RET_OK;
    {
        ac_lock lock(g_apjioned_mutex);
        for (const ACWTP_JOIN_LIST& slot : g_online_list->online_list) {
            if (slot.ap_status == 0) continue;
            fprintf(file, "MAC:[%02x:%02x:%02x:%02x:%02x:%02x]\tip:[%u.%u.%u.%u]\tstatus=[%d]\n",
                    AC_MAC_ARGS(slot.ap_mac), AC_IP_ARGS(slot.ap_ip), slot.current_status);
        }
    }
    fclose(file);
    return AC_RET_OK;
}
