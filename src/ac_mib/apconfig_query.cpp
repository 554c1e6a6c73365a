#include "ac_mib/apconfig_query.h"

#include <cstring>

#include "ac_mib/ac_mib_upcalls.h"
#include "ac_mib/sql_flash_queue.h"
#include "acwtp_msg/mac_list.h"
#include "common/ac_atomic.h"
#include "platform/ac_clock.h"

namespace {

constexpr UINT32 OFFLINE_KEPT = 2000; // offline APs that ageing leaves alone
constexpr long AGEING_PAUSE = 50;     // seconds that must be exceeded since the last pass

time_t g_last_ageing = 0; // the clock thread's own

bool is_online(const APCONFIG* node)
{
    const UINT8 status = ac_load(node->status);
    return status != AP_LINK_DOWN && status != AP_UPGRAD_SUCCESS;
}

void ap_num_locked(UINT32* total, UINT32* online) AC_REQUIRES(g_apconfig_mutex)
{
    for (const APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        ++*total;
        if (is_online(node)) ++*online;
    }
}

// Deletes the first `excess` records of status 0 in walking order, which says nothing of their age.
void offline_delete(UINT32 excess) AC_REQUIRES(g_apconfig_mutex)
{
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr && excess > 0;) {
        APCONFIG* next = apconfig_next_locked(node);
        if (node->status == AP_LINK_DOWN) {
            UINT8 mac[AC_MAC_LEN];
            memcpy(mac, node->ethaddr, sizeof mac);
            apconfig_unlink_locked(node);
            (void)sql_flash_queue_in(CONFIG_SQL_DELETE_AP, 0, mac); // it reports a lost note itself
            excess--;
        }
        node = next;
    }
}

// The radios of one AP into an array indexed by radio, the leading sizeof(T) bytes of each; the count.
template <typename T> int radios_copy(const UINT8* ethaddr, T (&rf)[AC_RADIO_MAX])
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    if (node == nullptr) return 0;
    int count = 0;
    for (list_node* at = node->list_rf.next; at != &node->list_rf; at = at->next) {
        const CONFIG_WL_RF& from = apconfig_rf_of(at)->rf;
        static_assert(sizeof(T) <= sizeof from);
        memcpy(&rf[from.RF_basic_setting & AC_RF_5G], &from, sizeof(T));
        count++;
    }
    return count;
}

// false for an unknown AP.
bool clients_copy(const UINT8* ethaddr, CONFIG_ONLIENT_CLIENT* clients)
{
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    if (node == nullptr) return false;
    *clients = node->info_client;
    return true;
}

} // namespace

int obtain_apconfig_all_ssid(const UINT8* ethaddr, CONFIG_WL_BASIC (&wl)[AC_SSID_MAX])
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    if (node == nullptr) return 0;
    int count = 0;
    for (list_node* at = node->list_wl.next; at != &node->list_wl; at = at->next) {
        const CONFIG_WL_BASIC& from = apconfig_wl_of(at)->wl_basic;
        if (from.ssid_id >= AC_SSID_MAX) continue; // no place for it
        wl[from.ssid_id] = from;
        count++;
    }
    return count;
}

int obtain_apconfig_all_rf(const UINT8* ethaddr, CONFIG_WL_RF (&rf)[AC_RADIO_MAX])
{
    return radios_copy(ethaddr, rf);
}

int obtain_apconfig_all_rf_v1(const UINT8* ethaddr, CONFIG_WL_RF_V1 (&rf)[AC_RADIO_MAX])
{
    return radios_copy(ethaddr, rf);
}

int obtain_apconfig_ip(const UINT8* ethaddr, CONFIG_IP* ip)
{
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    if (node == nullptr) return 0;
    *ip = node->info_basic.ip;
    return 1;
}

void obtain_ap_num(UINT32* total, UINT32* online)
{
    ac_lock lock(g_apconfig_mutex);
    ap_num_locked(total, online);
}

int obtain_online_client_num(int* num)
{
    int sum = 0;
    ac_lock lock(g_apconfig_mutex);
    for (const APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        if (is_online(node)) sum += node->info_client.num;
    }
    *num = sum;
    return AC_RET_OK;
}

int get_apmac_from_mib(list_node* head)
{
    int count = 0;
    ac_lock lock(g_apconfig_mutex);
    for (const APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        if (ac_load(node->status) == AP_LINK_DOWN) continue;
        MAC_LIST* entry = mac_list_alloc(node->ethaddr);
        if (entry == nullptr) return -1;
        list_add(&entry->list, head);
        count++;
    }
    return count;
}

int turn_online_client_down(const UINT8* ethaddr, int interval)
{
    CONFIG_ONLIENT_CLIENT clients;
    if (!clients_copy(ethaddr, &clients)) return AC_RET_ERROR;
    if (clients.num <= 0) return AC_RET_OK;
    // The client table is told here, with list, count, MAC and interval, once it is part of the build. It gets the copy
    // because its mutex stands before the table's.
    (void)interval;
    return AC_RET_OK;
}

void apconfig_check_unonline_num()
{
    const time_t now = ac_time();
    const time_t passed = now > g_last_ageing ? now - g_last_ageing : g_last_ageing - now;
    if (passed <= AGEING_PAUSE) return;
    g_last_ageing = now;

    ac_lock lock(g_apconfig_mutex);
    UINT32 total = 0;
    UINT32 online = 0;
    ap_num_locked(&total, &online);
    const UINT32 offline = total - online;
    if (offline > OFFLINE_KEPT) offline_delete(offline - OFFLINE_KEPT);
}

int send_pkt_to_all_ap(CLOUD_AP_UDP_PKT* send_pkt)
{
    if (send_pkt == nullptr) return AC_RET_NULL_POINTER;
    ac_lock lock(g_apconfig_mutex);
    for (const APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        memcpy(send_pkt->ap_mac, node->ethaddr, AC_MAC_LEN);
        send_pkt->ap_type = node->ap_type;
        send_pkt->ap_proto_type = node->proto_vendor;
        (void)send_layer3_udp_data(node->ip, node->port,
                                   send_pkt); // reports itself; the others get theirs all the same
    }
    return AC_RET_OK;
}
