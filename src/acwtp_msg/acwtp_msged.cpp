#include "acwtp_msg/acwtp_msged.h"

#include <cstdio>
#include <cstring>

#include "ac_mib/apconfig.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/apconfig_update.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "cloud_upgrade/upgrade_image.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "common/config_ap_type.h"

ac_mutex g_msged_send_mutex("g_msged_send_mutex", AC_RANK_MSGED_SEND);
ac_mutex acwtp_msged_mutex("acwtp_msged_mutex", AC_RANK_MSG);
list_node g_msged_queue = {&g_msged_queue, &g_msged_queue};
int g_msged_interval = 3;
int g_maxed_num_interval = 5;

static AC_RET add_failed(AC_RET result)
{
    AC_ERR("Add new node failed.\n");
    return result;
}

// Of a record that is in no list.
static void record_free(ACWTP_MSGED_QUEUE* record)
{
    if (record == nullptr) return;
    mac_list_free_all(&record->mac);
    ac_free(record->msg);
    record->msg = nullptr;
    ac_retire(record); // acwtp_msged_list_find hands out pointers
}

static ACWTP_MSGED_QUEUE* record_alloc(const ACWTP_MSG_TABLE* item, unsigned int seq_num)
{
    auto* record = static_cast<ACWTP_MSGED_QUEUE*>(ac_record_alloc(sizeof(ACWTP_MSGED_QUEUE)));
    if (record == nullptr) return nullptr;
    INIT_LIST_HEAD(&record->mac);
    INIT_LIST_HEAD(&record->list);
    record->send_times = static_cast<UINT8>(item->send_times + 1);
    record->type = item->type;
    record->ap_num = item->ap_num;
    record->flags = item->flags;
    record->seq_num = seq_num;

    const UINT32 macs = item->num_flag != 0 ? 0 : static_cast<UINT32>(item->ap_num * AC_MAC_LEN);
    record->length = item->length - macs;
    if (record->length == 0) return record;
    record->msg = static_cast<char*>(ac_malloc(record->length));
    if (record->msg == nullptr) {
        record_free(record);
        return nullptr;
    }
    memcpy(record->msg, item->msg + macs, record->length);
    return record;
}

// Which MACs are recorded: those that are up, or of them those of one product.
struct mac_filter {
    bool by_type;
    UINT16 ap_type;
};

static bool passes(const mac_filter& filter, const UINT8* mac)
{
    if (!filter.by_type) return get_ap_status(mac) != AP_LINK_DOWN;
    apconfig_target target;
    if (apconfig_target_obtain(mac, &target) && target.status != AP_LINK_DOWN && target.ap_type == filter.ap_type)
        return true;
    AC_ERR("node null or node is timeout\n");
    return false;
}

// The MACs of an item that pass the filter, at the head of `macs` one by one. The count, or -1 without memory.
static int take_macs(const ACWTP_MSG_TABLE* item, list_node* macs, const mac_filter& filter)
{
    int count = 0;
    for (std::size_t i = 0; i < item->ap_num; i++) {
        const UINT8* mac = reinterpret_cast<const UINT8*>(item->msg) + i * AC_MAC_LEN;
        if (!passes(filter, mac)) continue;
        MAC_LIST* node = mac_list_alloc(mac);
        if (node == nullptr) return -1;
        list_add(&node->list, macs);
        count++;
    }
    return count;
}

// The same for an item that goes to all APs; the table lists those that are up.
static int take_all_macs(list_node* macs, const mac_filter& filter)
{
    int count = get_apmac_from_mib(macs);
    if (count <= 0 || !filter.by_type) return count;
    for (list_node* link = macs->next; link != macs;) {
        MAC_LIST* node = list_entry(link, MAC_LIST, list);
        link = link->next;
        if (passes(filter, node->ethaddr)) continue;
        list_del(&node->list);
        ac_free(node);
        count--;
    }
    return count;
}

static bool recordable(const ACWTP_MSG_TABLE* item)
{
    if (item == nullptr || item->length == 0 || item->ap_num == 0 || item->msg == nullptr) return false;
    return item->num_flag != 0 || item->length >= std::size_t{item->ap_num} * AC_MAC_LEN;
}

static AC_RET record_item(const ACWTP_MSG_TABLE* item, unsigned int seq_num, int flag, const mac_filter& filter)
{
    if (!recordable(item)) return add_failed(AC_RET_NULL_POINTER);
    ACWTP_MSGED_QUEUE* record = record_alloc(item, seq_num);
    if (record == nullptr) return add_failed(AC_RET_ERROR);
    const bool all = item->num_flag != 0;
    const int count = all ? take_all_macs(&record->mac, filter) : take_macs(item, &record->mac, filter);
    if (count < 0 || (all && count == 0)) {
        record_free(record);
        return add_failed(AC_RET_ERROR);
    }
    if (count == 0) {
        AC_ERR("online mac num is zero\n");
        record_free(record);
        return AC_RET_OK;
    }
    record->ap_num = static_cast<UINT16>(count);
    ac_lock lock(acwtp_msged_mutex);
    if (flag != MSG_ADD_HEAD)
        list_add_tail(&record->list, &g_msged_queue);
    else
        list_add(&record->list, &g_msged_queue);
    return AC_RET_OK;
}

AC_RET acwtp_msged_list_add(const ACWTP_MSG_TABLE* new_node, unsigned int seq_num, int flag)
{
    return record_item(new_node, seq_num, flag, {false, 0});
}

AC_RET acwtp_msged_list_add_for_upgrade(const ACWTP_MSG_TABLE* new_node, unsigned int seq_num, int flag)
{
    const UINT16 ap_type = get_cur_image_ap_type_by_product_id(get_cur_image_product_id());
    return record_item(new_node, seq_num, flag, {true, ap_type});
}

AC_RET list_add_msged_queue(const ACWTP_MSG_TABLE* acmsg, unsigned int seq_num, int flag)
{
    const AC_RET result = acwtp_msged_list_add(acmsg, seq_num, flag);
    if (result != AC_RET_OK) AC_ERR("Insert list failed.");
    return result;
}

AC_RET list_add_msged_queue_for_upgrade(const ACWTP_MSG_TABLE* acmsg, unsigned int seq_num, int flag)
{
    const AC_RET result = acwtp_msged_list_add_for_upgrade(acmsg, seq_num, flag);
    if (result != AC_RET_OK) AC_ERR("Insert list failed.");
    return result;
}

static ACWTP_MSGED_QUEUE* find_locked(UINT32 seq_num) AC_REQUIRES(acwtp_msged_mutex)
{
    for (list_node* link = g_msged_queue.next; link != &g_msged_queue; link = link->next) {
        ACWTP_MSGED_QUEUE* record = list_entry(link, ACWTP_MSGED_QUEUE, list);
        if (record->seq_num == seq_num) return record;
    }
    return nullptr;
}

ACWTP_MSGED_QUEUE* acwtp_msged_list_find(UINT32 seq_num)
{
    ac_lock lock(acwtp_msged_mutex);
    return find_locked(seq_num);
}

// Out of the queue: from then on it is the caller's alone.
static ACWTP_MSGED_QUEUE* take_record(UINT32 seq_num)
{
    ac_lock lock(acwtp_msged_mutex);
    ACWTP_MSGED_QUEUE* record = find_locked(seq_num);
    if (record != nullptr) list_del(&record->list);
    return record;
}

void acwtp_msged_list_del_node(UINT32 seq_num)
{
    record_free(take_record(seq_num));
}

static void remove_mac(ACWTP_MSGED_QUEUE* record, const UINT8* mac) AC_REQUIRES(acwtp_msged_mutex)
{
    for (list_node* link = record->mac.next; link != &record->mac;) {
        MAC_LIST* node = list_entry(link, MAC_LIST, list);
        link = link->next;
        if (compare_ether_addr(node->ethaddr, mac) != 0) continue;
        list_del(&node->list);
        ac_free(node);
        record->ap_num--;
    }
}

int acwtp_msged_list_del_mac(UINT32 seq_num, const UINT8* mac)
{
    ac_lock sent_and_recorded(g_msged_send_mutex);
    ACWTP_MSGED_QUEUE* answered = nullptr;
    {
        ac_lock lock(acwtp_msged_mutex);
        ACWTP_MSGED_QUEUE* record = find_locked(seq_num);
        if (record == nullptr) return AC_RET_ERROR;
        remove_mac(record, mac);
        if (list_empty(&record->mac)) {
            list_del(&record->list);
            answered = record;
        }
    }
    record_free(answered); // its timer runs on and finds nothing
    return AC_RET_OK;
}

void acwtp_msged_list_del_all()
{
    list_node taken;
    {
        ac_lock lock(acwtp_msged_mutex);
        list_take_all(&g_msged_queue, &taken);
    }
    while (!list_empty(&taken)) {
        ACWTP_MSGED_QUEUE* record = list_entry(taken.next, ACWTP_MSGED_QUEUE, list);
        list_del(&record->list);
        record_free(record);
    }
}

void acwtp_msged_list_print()
{
    ac_lock lock(acwtp_msged_mutex);
    for (const list_node* link = g_msged_queue.next; link != &g_msged_queue; link = link->next) {
    }
}

static ACWTP_MSG_TABLE* item_of_record(const ACWTP_MSGED_QUEUE* elem, std::size_t macs)
{
    ACWTP_MSG_TABLE like = {};
    like.type = elem->type;
    like.flags = elem->flags;
    like.ap_num = static_cast<UINT16>(macs);
    like.length = static_cast<UINT32>(macs * AC_MAC_LEN + elem->length);
    ACWTP_MSG_TABLE* item = acwtp_msg_alloc(&like);
    if (item != nullptr) item->send_times = elem->send_times;
    return item;
}

static std::size_t count_macs(const ACWTP_MSGED_QUEUE* elem)
{
    std::size_t count = 0;
    for (const list_node* link = elem->mac.next; link != &elem->mac; link = link->next)
        count++;
    return count;
}

// First repetition: one item for all that owe a reply, in list order.
static AC_RET back_together(ACWTP_MSGED_QUEUE* elem, int flag)
{
    const std::size_t macs = count_macs(elem);
    ACWTP_MSG_TABLE* item = item_of_record(elem, macs);
    if (item == nullptr) return add_failed(AC_RET_NULL_POINTER);
    item->msg = static_cast<char*>(ac_malloc(item->length));
    if (item->msg == nullptr) {
        AC_ERR("malloc errror,Add new node failed.\n");
        acwtp_msg_free(item);
        return AC_RET_NULL_POINTER;
    }
    char* at = item->msg;
    for (list_node* link = elem->mac.next; link != &elem->mac; link = link->next, at += AC_MAC_LEN)
        memcpy(at, list_entry(link, MAC_LIST, list)->ethaddr, AC_MAC_LEN);
    if (elem->length != 0) memcpy(at, elem->msg, elem->length);
    (void)acwtp_msg_link(item, flag); // only internal events are refused, and none is ever recorded
    return AC_RET_OK;
}

static bool back_alone(const ACWTP_MSGED_QUEUE* elem, const UINT8* mac, int flag)
{
    ACWTP_MSG_TABLE* item = item_of_record(elem, 1);
    if (item != nullptr) item->msg = static_cast<char*>(ac_malloc(item->length));
    if (item == nullptr || item->msg == nullptr) {
        perror("malloc");
        acwtp_msg_free(item);
        return false;
    }
    memcpy(item->msg, mac, AC_MAC_LEN);
    if (elem->length != 0) memcpy(item->msg + AC_MAC_LEN, elem->msg, elem->length);
    (void)acwtp_msg_link(item, flag); // as above
    return true;
}

AC_RET acwtp_msged_list_backto_unmsg(const ACWTP_MSGED_QUEUE* elem, int flag)
{
    if (elem == nullptr || (elem->length == 0 && elem->ap_num == 0)) return add_failed(AC_RET_NULL_POINTER);
    if (list_empty(&elem->mac)) {
        AC_ERR("mac empty,Add new node failed.\n");
        return AC_RET_NULL_POINTER;
    }
    auto* record = const_cast<ACWTP_MSGED_QUEUE*>(elem); // walked, not changed
    if (elem->send_times == 1) return back_together(record, flag);
    for (list_node* link = record->mac.next; link != &record->mac; link = link->next)
        if (!back_alone(elem, list_entry(link, MAC_LIST, list)->ethaddr, flag)) break;
    return AC_RET_OK;
}

void msged_queue_upgrade_failed(list_node* macs)
{
    for (list_node* link = macs->next; link != macs; link = link->next) {
        const UINT8* mac = list_entry(link, MAC_LIST, list)->ethaddr;
        if (apconfig_find(mac) == nullptr) continue;
        (void)apconfig_mib_update_byte(SET_AP_STATUS_REQ, mac, AP_UPGRAD_FAILED); // printed there
    }
}

// The record leaves the queue first, so that nobody else touches it: an answer that comes during these lines is late,
// and the AP answers the repetition too.
void msged_timeout(int arg)
{
    ACWTP_MSGED_QUEUE* record = take_record(static_cast<UINT32>(arg));
    if (record == nullptr) {
        AC_ERR("seq num is not exited,msg response reved\n");
        return;
    }
    if (record->send_times < ACWTP_SEND_TIMES_MAX) {
        AC_ERR("re trasmit........ap_num=[%d].......\n", record->ap_num);
        if (acwtp_msged_list_backto_unmsg(record, MSG_ADD_TAIL) == AC_RET_OK)
            acwtp_send_signal_semaphore(ACWTP_SIGNAL_SEND_PROTOCOL);
    } else {
        AC_ERR("send MAX times aready,quit.\n");
        if ((record->type & 0xFF) == SET_AP_UPGRADE_REQ)
            msged_queue_upgrade_failed(&record->mac);
        else
            msged_queue_mac_status_change(&record->mac);
    }
    record_free(record);
}
