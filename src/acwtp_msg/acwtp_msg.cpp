#include "acwtp_msg/acwtp_msg.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "common/ac_alloc.h"
#include "common/ac_err.h"

ac_mutex acwtp_mutex("acwtp_mutex", AC_RANK_MSG);
list_node g_msg_queue = {&g_msg_queue, &g_msg_queue};
sem_t sem_protocol;

// Internal events come from frames, so a flood of alarm frames must not fill the memory while the initial thread paces
// configuration; this is far above what 512 APs raise between two items.
static constexpr int PROTO_WAITING_MAX = 4096;
static int g_proto_waiting AC_GUARDED_BY(acwtp_mutex) = 0;
// Each part of a split item has a copy of the payload, so one large request for thousands of APs would fill the memory
// by itself. What 512 APs need at once is some hundred kilobytes.
static constexpr std::uint64_t WAITING_BYTES_MAX = 32 * 1024 * 1024;
static std::uint64_t g_waiting_bytes AC_GUARDED_BY(acwtp_mutex) = 0; // the items' own bytes included
// The item that the initial thread is working on; it stays linked meanwhile, and only that thread takes it out.
static ACWTP_MSG_TABLE* g_msg_current AC_GUARDED_BY(acwtp_mutex) = nullptr;

void acwtp_msg_free(ACWTP_MSG_TABLE* item)
{
    if (item == nullptr) return;
    ac_free(item->msg);
    ac_free(item);
}

ACWTP_MSG_TABLE* acwtp_msg_first()
{
    ac_lock lock(acwtp_mutex);
    g_msg_current = list_empty(&g_msg_queue) ? nullptr : list_entry(g_msg_queue.next, ACWTP_MSG_TABLE, list);
    return g_msg_current;
}

static std::uint64_t bytes_of(const ACWTP_MSG_TABLE* item)
{
    return sizeof *item + (item->msg != nullptr ? std::uint64_t{item->length} : 0);
}

static void unlink_item(ACWTP_MSG_TABLE* item) AC_REQUIRES(acwtp_mutex)
{
    list_del(&item->list);
    g_waiting_bytes -= bytes_of(item);
    if (item->flags == PROTO_MSG) g_proto_waiting--;
}

void acwtp_msg_done(ACWTP_MSG_TABLE* item)
{
    {
        ac_lock lock(acwtp_mutex);
        unlink_item(item);
        g_msg_current = nullptr;
    }
    acwtp_msg_free(item);
}

static bool link_if_room(ACWTP_MSG_TABLE* item, int flag)
{
    ac_lock lock(acwtp_mutex);
    if (item->flags == PROTO_MSG) {
        if (g_proto_waiting >= PROTO_WAITING_MAX) return false;
        g_proto_waiting++;
    }
    g_waiting_bytes += bytes_of(item);
    if (flag != MSG_ADD_HEAD)
        list_add_tail(&item->list, &g_msg_queue);
    else
        list_add(&item->list, &g_msg_queue);
    return true;
}

AC_RET acwtp_msg_link(ACWTP_MSG_TABLE* item, int flag)
{
    if (link_if_room(item, flag)) return AC_RET_OK;
    acwtp_msg_free(item);
    return AC_RET_ERROR;
}

ACWTP_MSG_TABLE* acwtp_msg_alloc(const ACWTP_MSG_TABLE* like)
{
    auto* item = static_cast<ACWTP_MSG_TABLE*>(ac_calloc(sizeof(ACWTP_MSG_TABLE)));
    if (item == nullptr) return nullptr;
    item->type = like->type;
    item->num_flag = like->num_flag;
    item->ap_num = like->ap_num;
    item->flags = like->flags;
    item->length = like->length;
    INIT_LIST_HEAD(&item->list);
    return item;
}

static AC_RET add_failed()
{
    AC_ERR("Add new node failed.\n");
    return AC_RET_NULL_POINTER;
}

static bool queue_has_room(std::uint64_t length)
{
    const std::uint64_t bytes = sizeof(ACWTP_MSG_TABLE) + length;
    ac_lock lock(acwtp_mutex);
    return bytes <= WAITING_BYTES_MAX && g_waiting_bytes <= WAITING_BYTES_MAX - bytes;
}

static AC_RET add_whole(const ACWTP_MSG_TABLE* new_node, int flag)
{
    ACWTP_MSG_TABLE* item = acwtp_msg_alloc(new_node);
    if (item == nullptr) return add_failed();
    const UINT32 length = new_node->msg != nullptr ? new_node->length : 0;
    if (!queue_has_room(length)) {
        acwtp_msg_free(item);
        return AC_RET_ERROR;
    }
    if (length != 0) {
        item->msg = static_cast<char*>(ac_malloc(length));
        if (item->msg == nullptr) {
            acwtp_msg_free(item);
            return AC_RET_ERROR;
        }
        memcpy(item->msg, new_node->msg, length);
    }
    return acwtp_msg_link(item, flag);
}

// One item for the `count` APs from number `first` on, each with the whole payload.
static AC_RET add_slice(const ACWTP_MSG_TABLE* new_node, UINT32 first, UINT32 count, int flag)
{
    const std::size_t macs = std::size_t{new_node->ap_num} * AC_MAC_LEN;
    const std::size_t payload = new_node->length - macs;
    ACWTP_MSG_TABLE* item = acwtp_msg_alloc(new_node);
    if (item == nullptr) return add_failed();
    const std::size_t slice = std::size_t{count} * AC_MAC_LEN;
    item->ap_num = static_cast<UINT16>(count);
    item->length = static_cast<UINT32>(slice + payload);
    if (queue_has_room(item->length)) item->msg = static_cast<char*>(ac_malloc(item->length));
    if (item->msg == nullptr) {
        acwtp_msg_free(item);
        return add_failed();
    }
    memcpy(item->msg, new_node->msg + std::size_t{first} * AC_MAC_LEN, slice);
    memcpy(item->msg + slice, new_node->msg + macs, payload);
    return acwtp_msg_link(item, flag);
}

AC_RET acwtp_msg_list_add(const ACWTP_MSG_TABLE* new_node, int flag)
{
    if (new_node == nullptr) return add_failed();
    // Work for all APs carries no MACs, so there is nothing to split it by.
    if (new_node->ap_num == 0 || new_node->length == 0 || new_node->flags == PROTO_MSG ||
        new_node->length < ACWTP_MSG_SPLIT_LENGTH || new_node->num_flag != 0 || new_node->msg == nullptr)
        return add_whole(new_node, flag);
    if (new_node->length < std::size_t{new_node->ap_num} * AC_MAC_LEN) return add_failed();
    for (UINT32 first = 0; first < new_node->ap_num; first += ACWTP_MSG_SPLIT) {
        const UINT32 count = std::min(ACWTP_MSG_SPLIT, new_node->ap_num - first);
        const AC_RET result = add_slice(new_node, first, count, flag);
        if (result != AC_RET_OK) return result; // what is queued already stays
    }
    return AC_RET_OK;
}

void acwtp_send_signal_semaphore(int dir)
{
    if (dir == ACWTP_SIGNAL_SEND_PROTOCOL) sem_post(&sem_protocol);
}

AC_RET acmsg_to_acprotocol(const ACWTP_MSG_TABLE* acmsg, int flag)
{
    const AC_RET result = acwtp_msg_list_add(acmsg, flag);
    if (result != AC_RET_OK) {
        AC_ERR("Insert list failed.");
        return result; // slices queued before the failure wait for the next post
    }
    acwtp_send_signal_semaphore(ACWTP_SIGNAL_SEND_PROTOCOL);
    return AC_RET_OK;
}

void acwtp_msg_list_del_all()
{
    ac_lock lock(acwtp_mutex);
    for (list_node* link = g_msg_queue.next; link != &g_msg_queue;) {
        ACWTP_MSG_TABLE* item = list_entry(link, ACWTP_MSG_TABLE, list);
        link = link->next;
        if (item == g_msg_current) continue;
        unlink_item(item);
        acwtp_msg_free(item);
    }
}

void acwtp_msg_list_print()
{
    ac_lock lock(acwtp_mutex);
    for (const list_node* link = g_msg_queue.next; link != &g_msg_queue; link = link->next) {
    }
}
