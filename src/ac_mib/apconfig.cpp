#include "ac_mib/apconfig.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_mib/ac_product.h"
#include "ac_mib/sql_flash_queue.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

ac_mutex g_apconfig_mutex("g_apconfig_mutex", AC_RANK_APCONFIG);
apconfig_htable apconfig_hash_table{};
UINT32 g_acwtp_joined_ap_num = 0;

namespace {

constexpr UINT32 BUCKETS = static_cast<UINT32>(APCONFIG_HASH_SIZE);

APCONFIG* record_of(hlist_node* link)
{
    return link == nullptr ? nullptr : list_entry(link, APCONFIG, apconfig_node);
}

// The seed is set once, before any thread, so it is read without the lock.
UINT32 hash_seed() AC_NO_TSA
{
    return apconfig_hash_table.rnd;
}

APCONFIG* find_in_bucket(const void* ethaddr, UINT32 key) AC_REQUIRES(g_apconfig_mutex)
{
    if (key >= BUCKETS) return nullptr;
    for (hlist_node* at = apconfig_hash_table.table[key].first; at != nullptr; at = at->next) {
        APCONFIG* node = record_of(at);
        if (compare_ether_addr(node->ethaddr, ethaddr) == 0) return node;
    }
    return nullptr;
}

// First record of the buckets from `bucket` on.
APCONFIG* first_from(UINT32 bucket) AC_REQUIRES(g_apconfig_mutex)
{
    for (; bucket < BUCKETS; bucket++) {
        if (apconfig_hash_table.table[bucket].first != nullptr)
            return record_of(apconfig_hash_table.table[bucket].first);
    }
    return nullptr;
}

} // namespace

void apconfig_htable_init()
{
    ac_lock lock(g_apconfig_mutex);
    for (hlist_head& head : apconfig_hash_table.table)
        head.first = nullptr;
    apconfig_hash_table.rnd = static_cast<UINT32>(rand());
}

UINT32 jhash_3words(UINT32 a, UINT32 b, UINT32 c, UINT32 initval)
{
    constexpr UINT32 GOLDEN_RATIO = 0x9E3779B9;
    a += GOLDEN_RATIO;
    b += GOLDEN_RATIO;
    c += initval;

    a = (a - b - c) ^ (c >> 13);
    b = (b - c - a) ^ (a << 8);
    c = (c - a - b) ^ (b >> 13);
    a = (a - b - c) ^ (c >> 12);
    b = (b - c - a) ^ (a << 16);
    c = (c - a - b) ^ (b >> 5);
    a = (a - b - c) ^ (c >> 3);
    b = (b - c - a) ^ (a << 10);
    c = (c - a - b) ^ (b >> 15);
    return c;
}

UINT32 jhash_2words(UINT32 a, UINT32 b, UINT32 initval)
{
    return jhash_3words(a, b, 0, initval);
}

UINT32 apconfig_hash_func(const void* ethaddr)
{
    UINT8 m[AC_MAC_LEN];
    memcpy(m, ethaddr, AC_MAC_LEN);
    // The OR folds addresses together and is part of the hash on purpose.
    const UINT32 a = static_cast<UINT8>((m[0] ^ m[1]) | m[5]);
    const UINT32 b = static_cast<UINT8>((m[3] ^ m[4]) | m[2]);
    return jhash_2words(a, b, hash_seed()) % BUCKETS;
}

APCONFIG* apconfig_alloc()
{
    auto* node = static_cast<APCONFIG*>(ac_record_alloc(sizeof(APCONFIG)));
    if (node == nullptr) {
        AC_ERR("malloc failed\n");
        return nullptr;
    }
    INIT_LIST_HEAD(&node->list_rf);
    INIT_LIST_HEAD(&node->list_wl);
    INIT_LIST_HEAD(&node->list_pmk);
    INIT_LIST_HEAD(&node->list_neighbor);
    return node;
}

CONFIG_WL_BASIC_LIST* wlconfig_alloc()
{
    auto* node = static_cast<CONFIG_WL_BASIC_LIST*>(ac_record_alloc(sizeof(CONFIG_WL_BASIC_LIST)));
    if (node == nullptr) {
        AC_ERR("malloc failed\n");
        return nullptr;
    }
    INIT_LIST_HEAD(&node->list);
    return node;
}

CONFIG_WL_RF_LIST* rfconfig_alloc()
{
    auto* node = static_cast<CONFIG_WL_RF_LIST*>(ac_record_alloc(sizeof(CONFIG_WL_RF_LIST)));
    if (node == nullptr) {
        perror("malloc");
        AC_ERR("malloc failed\n");
        return nullptr;
    }
    INIT_LIST_HEAD(&node->list);
    return node;
}

void apconfig_free_unlinked(APCONFIG* node)
{
    if (node == nullptr) return;
    free_list_node(node);
    ac_record_free(node);
}

APCONFIG* apconfig_hnode_find(const void* ethaddr, UINT32 key)
{
    ac_lock lock(g_apconfig_mutex);
    return find_in_bucket(ethaddr, key);
}

APCONFIG* apconfig_hnode_find_locked(const void* ethaddr)
{
    return find_in_bucket(ethaddr, apconfig_hash_func(ethaddr));
}

int ether_addr_match(const UINT8* a, const UINT8* b, int ssid_num)
{
    if (memcmp(a, b, AC_MAC_LEN - 1) != 0) return 0;
    return b[5] > a[5] && b[5] - a[5] <= ssid_num ? 1 : 0;
}

APCONFIG* apconfig_hnode_find_by_bssid(const void* ethaddr)
{
    UINT8 bssid[AC_MAC_LEN];
    memcpy(bssid, ethaddr, AC_MAC_LEN);
    ac_lock lock(g_apconfig_mutex);
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        if (ether_addr_match(node->ethaddr, bssid, get_ssid_len(node->ap_type)) != 0) return node;
    }
    return nullptr;
}

CONFIG_WL_RF_LIST* apconfig_find_rf_node(list_node* head, UINT8 radio)
{
    for (list_node* at = head->next; at != head; at = at->next) {
        CONFIG_WL_RF_LIST* node = apconfig_rf_of(at);
        if ((node->rf.RF_basic_setting & AC_RF_5G) == radio) return node;
    }
    return nullptr;
}

CONFIG_WL_BASIC_LIST* apconfig_find_wlbasic_node(list_node* head, UINT8 ssid_id)
{
    for (list_node* at = head->next; at != head; at = at->next) {
        CONFIG_WL_BASIC_LIST* node = apconfig_wl_of(at);
        if (node->wl_basic.ssid_id == ssid_id) return node;
    }
    return nullptr;
}

APCONFIG* apconfig_next_locked(const APCONFIG* node)
{
    if (node == nullptr) return first_from(0);
    if (node->apconfig_node.next != nullptr) return record_of(node->apconfig_node.next);
    return first_from(apconfig_hash_func(node->ethaddr) + 1);
}

void apconfig_link(APCONFIG* node)
{
    const UINT32 key = apconfig_hash_func(node->ethaddr);
    ac_lock lock(g_apconfig_mutex);
    hlist_add_head(&node->apconfig_node, &apconfig_hash_table.table[key]);
    ac_store(g_acwtp_joined_ap_num, ac_load(g_acwtp_joined_ap_num) + 1);
}

void apconfig_unlink_locked(APCONFIG* node)
{
    hlist_del(&node->apconfig_node);
    free_list_node(node);
    ac_retire(node);
    const UINT32 num = ac_load(g_acwtp_joined_ap_num);
    if (num != 0) ac_store(g_acwtp_joined_ap_num, num - 1); // apconfig_del_all may have cleared it over a live record
}

int apconfig_mib_node_del(const UINT8* ethaddr, int flag)
{
    UINT8 mac[AC_MAC_LEN]; // the argument may lie in the record
    memcpy(mac, ethaddr, AC_MAC_LEN);
    bool found = false;
    {
        ac_lock lock(g_apconfig_mutex);
        APCONFIG* node = apconfig_hnode_find_locked(mac);
        found = node != nullptr;
        if (found) {
            apconfig_unlink_locked(node);
            // In the same hold: a record that is built anew queues its notes behind this one, and its rows stay.
            if (flag != 0) (void)sql_flash_queue_in(CONFIG_SQL_DELETE_AP, 0, mac); // it reports a lost note itself
        }
    }
    if (found) return AC_RET_OK;
    AC_ERR("\n");
    return AC_RET_NULL_POINTER;
}

void apconfig_del_all()
{
    {
        ac_lock lock(g_apconfig_mutex);
        for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr;) {
            APCONFIG* next = apconfig_next_locked(node);
            apconfig_unlink_locked(node);
            node = next;
        }
    }
    ac_lock lock(g_apconfig_mutex);
    ac_store(g_acwtp_joined_ap_num, UINT32{0});
}

bool apconfig_target_obtain(const UINT8* ethaddr, apconfig_target* target)
{
    ac_lock lock(g_apconfig_mutex);
    const APCONFIG* node = apconfig_hnode_find_locked(ethaddr);
    if (node == nullptr) return false;
    memcpy(target->ip, node->ip, sizeof target->ip);
    target->port = node->port;
    target->ap_type = node->ap_type;
    target->proto_vendor = node->proto_vendor;
    target->status = ac_load(node->status);
    return true;
}
