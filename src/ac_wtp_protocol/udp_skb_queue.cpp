#include "ac_wtp_protocol/udp_skb_queue.h"

#include <zlib.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"

ac_mutex g_udp_skb_mutex("g_udp_skb_mutex", AC_RANK_SKB);
list_node g_udp_skb_queue = {&g_udp_skb_queue, &g_udp_skb_queue};
int udp_data_num_in_queue = 0;
sem_t udp_sem_sig;

ac_mutex g_discvr_udp_skb_mutex("g_discvr_udp_skb_mutex", AC_RANK_SKB);
list_node g_discvr_udp_skb_queue = {&g_discvr_udp_skb_queue, &g_discvr_udp_skb_queue};
int udp_discvr_data_num_in_queue = 0;
sem_t udp_discvr_sem_sig;

// Large blocks that have joined the small pool: after a bad compressed report, and after one that is small when
// inflated. Bounded, or a flood of them would eat the machine's memory 4 KiB at a time; beyond the bound such a block
// goes home.
static constexpr unsigned int STRAY_BLOCKS_MAX = 600;
static unsigned int g_stray_blocks AC_GUARDED_BY(g_udp_skb_mutex) = 0;

static CWMemoryPool*& large_pool()
{
    return g_ac_pthread[PTHREAD_UDP_QUEUE].mempool;
}

static CWMemoryPool*& small_pool()
{
    return g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1;
}

static CWMemoryPool*& discvr_pool()
{
    return g_ac_pthread[PTHREAD_DISCORVER].mempool_1;
}

bool udp_skb_pools_make()
{
    CWMemoryPool* large = acwtp_pool_record();
    if (large == nullptr) return false;
    CWMemoryPool* small = acwtp_pool_record();
    if (small == nullptr) {
        ac_free(large);
        return false;
    }
    CWPool_init(large, 600, AC_SKB_LARGE + AC_SKB_EXTRA);
    CWPool_init(small, 1000, AC_SKB_SMALL + AC_SKB_EXTRA);
    large_pool() = large;
    small_pool() = small;
    {
        ac_lock lock(g_udp_skb_mutex);
        g_stray_blocks = 0;
    }
    acwtp_pools_ready(PTHREAD_UDP_QUEUE);
    return true;
}

bool udp_discvr_pools_make()
{
    CWMemoryPool* pool = acwtp_pool_record();
    if (pool == nullptr) return false;
    CWPool_init(pool, 1000, AC_SKB_SMALL + AC_SKB_EXTRA);
    discvr_pool() = pool;
    acwtp_pools_ready(PTHREAD_DISCORVER);
    return true;
}

static_assert(alignof(AC_UDP_SKB_INFO) <= alignof(void*)); // what a pool's block grants

static AC_UDP_SKB_INFO* block_as_record(CWMemoryPool* pool)
{
    auto* record = static_cast<AC_UDP_SKB_INFO*>(pool == nullptr ? nullptr : CWPool_alloc(pool, 0));
    if (record == nullptr) {
        perror("malloc");
        return nullptr;
    }
    memset(static_cast<void*>(record), 0, sizeof *record + AC_FRAME_HEAD); // the payload is always written whole
    INIT_LIST_HEAD(&record->list);
    return record;
}

AC_UDP_SKB_INFO* udp_skb_alloc(UINT32 size)
{
    return block_as_record(size < AC_SKB_SMALL + 1 ? small_pool() : large_pool());
}

AC_UDP_SKB_INFO* udp_discvr_skb_alloc(UINT32 /*size*/)
{
    return block_as_record(discvr_pool());
}

static void fill_source(AC_UDP_SKB_INFO* frame, const UINT8* ip, UINT16 port, const struct sockaddr_in* from_addr)
{
    frame->port = port;
    memcpy(frame->ipaddr, ip, sizeof frame->ipaddr);
    memcpy(&frame->portal_addr, from_addr, sizeof frame->portal_addr);
}

static void fill_plain(AC_UDP_SKB_INFO* frame, const CLOUD_AP_UDP_PKT* pkt)
{
    frame->toltal_len = pkt->msg_length + AC_SKB_HEAD;
    memcpy(static_cast<void*>(frame->udp_pkt()), pkt, pkt->msg_length + AC_FRAME_HEAD);
}

// Inflates a client report behind the header's place. The plain size in `reserve` is the whole test.
static bool fill_inflated(AC_UDP_SKB_INFO* frame, const CLOUD_AP_UDP_PKT* pkt)
{
    uLongf plain = AC_REPORT_PLAIN_MAX;
    (void)uncompress(frame->udp_pkt()->msg_data(), &plain, pkt->msg_data(), pkt->msg_length); // the size tells enough
    if (plain != pkt->reserve) return false;
    memcpy(static_cast<void*>(frame->udp_pkt()), pkt, AC_FRAME_HEAD);
    frame->udp_pkt()->msg_length = pkt->reserve;
    frame->toltal_len = pkt->reserve + AC_SKB_HEAD;
    return true;
}

static void release_to_small(AC_UDP_SKB_INFO* frame) AC_REQUIRES(g_udp_skb_mutex)
{
    const bool stray = CWPool_owner(frame) == large_pool();
    if (stray && g_stray_blocks >= STRAY_BLOCKS_MAX) {
        CWPool_free(large_pool(), frame);
        return;
    }
    if (stray) g_stray_blocks++;
    CWPool_free(small_pool(), frame);
}

static void release_frame(AC_UDP_SKB_INFO* frame) AC_REQUIRES(g_udp_skb_mutex)
{
    list_del(&frame->list);
    ac_add(udp_data_num_in_queue, -1);
    if (frame->toltal_len < AC_SKB_SMALL + 1)
        release_to_small(frame);
    else
        CWPool_free(large_pool(), frame);
}

// A block whose report was bad joins the small pool, although it came from the large one: the large pool loses it.
static void drop_bad_report(AC_UDP_SKB_INFO* frame)
{
    ac_lock lock(g_udp_skb_mutex);
    release_to_small(frame);
}

static AC_UDP_SKB_INFO* alloc_if_room(UINT32 size) AC_REQUIRES(g_udp_skb_mutex)
{
    if (udp_data_num_in_queue > AC_SKB_QUEUE_MAX) return nullptr;
    return udp_skb_alloc(size);
}

static void link_frame(AC_UDP_SKB_INFO* frame) AC_REQUIRES(g_udp_skb_mutex)
{
    list_add_tail(&frame->list, &g_udp_skb_queue);
    ac_add(udp_data_num_in_queue, 1);
}

// A report is inflated without the lock: that takes longer than the consumer should wait.
static AC_RET queue_in_compressed(const UINT8* ip, UINT16 port, const struct sockaddr_in* from_addr,
                                  const CLOUD_AP_UDP_PKT* pkt)
{
    AC_UDP_SKB_INFO* frame = nullptr;
    {
        ac_lock lock(g_udp_skb_mutex);
        frame = alloc_if_room(1024);
    }
    if (frame == nullptr) return AC_RET_ERROR;
    fill_source(frame, ip, port, from_addr);
    if (!fill_inflated(frame, pkt)) {
        AC_ERR("data error.\n");
        drop_bad_report(frame);
        return AC_RET_ERROR;
    }
    ac_lock lock(g_udp_skb_mutex);
    link_frame(frame);
    return AC_RET_OK;
}

AC_RET udp_skb_queue_in(const UINT8* ip, UINT16 port, const struct sockaddr_in* from_addr, const CLOUD_AP_UDP_PKT* pkt)
{
    if (pkt == nullptr) return AC_RET_ERROR;
    if (pkt->msg_type == HALDE_APClientUpdateReq && pkt->msg_length != pkt->reserve)
        return queue_in_compressed(ip, port, from_addr, pkt);
    ac_lock lock(g_udp_skb_mutex);
    AC_UDP_SKB_INFO* frame = alloc_if_room(pkt->msg_length + AC_SKB_HEAD);
    if (frame == nullptr) return AC_RET_ERROR;
    fill_source(frame, ip, port, from_addr);
    fill_plain(frame, pkt);
    link_frame(frame);
    return AC_RET_OK;
}

AC_RET udp_discvr_skb_queue_in(const UINT8* ip, UINT16 port, const struct sockaddr_in* from_addr,
                               const CLOUD_AP_UDP_PKT* pkt)
{
    if (pkt == nullptr) return AC_RET_ERROR;
    ac_lock lock(g_discvr_udp_skb_mutex);
    if (udp_discvr_data_num_in_queue > AC_SKB_QUEUE_MAX) return AC_RET_ERROR;
    AC_UDP_SKB_INFO* frame = udp_discvr_skb_alloc(AC_SKB_HEAD);
    if (frame == nullptr) return AC_RET_ERROR;
    fill_source(frame, ip, port, from_addr);
    fill_plain(frame, pkt);
    list_add_tail(&frame->list, &g_discvr_udp_skb_queue);
    udp_discvr_data_num_in_queue++;
    return AC_RET_OK;
}

void trim_sig(sem_t* sem)
{
    sem_post(sem);
}

// Without the lock, for every frame that comes asks; written under it.
int udp_skb_waiting() AC_NO_TSA
{
    return ac_load(udp_data_num_in_queue);
}

static constexpr std::size_t STRANGER_SEARCH =
    16; // frames looked at from the tail; in a flood the first is a stranger's

struct waiting_frame {
    AC_UDP_SKB_INFO* frame;
    UINT8 mac[AC_MAC_LEN];
};

// The last frames of the queue, newest first, without the one at the head, which is being handled.
static std::size_t look_at_tail(std::array<waiting_frame, STRANGER_SEARCH>& tail)
{
    ac_lock lock(g_udp_skb_mutex);
    std::size_t count = 0;
    for (list_node* link = g_udp_skb_queue.prev; link != g_udp_skb_queue.next && count < tail.size();
         link = link->prev) {
        tail[count].frame = list_entry(link, AC_UDP_SKB_INFO, list);
        memcpy(tail[count].mac, tail[count].frame->udp_pkt()->ap_mac, AC_MAC_LEN);
        count++;
    }
    return count;
}

// The frame may have been handled since it was looked at, so it is searched for again before it is touched.
static bool drop_waiting(const AC_UDP_SKB_INFO* victim)
{
    ac_lock lock(g_udp_skb_mutex);
    std::size_t looked = 0;
    for (list_node* link = g_udp_skb_queue.prev; link != g_udp_skb_queue.next && looked < STRANGER_SEARCH;
         link = link->prev, looked++) {
        AC_UDP_SKB_INFO* frame = list_entry(link, AC_UDP_SKB_INFO, list);
        if (frame != victim) continue;
        release_frame(frame);
        return true;
    }
    return false;
}

bool udp_skb_drop_stranger(bool (*is_known)(const UINT8* mac))
{
    std::array<waiting_frame, STRANGER_SEARCH> tail;
    const std::size_t count = look_at_tail(tail);
    for (std::size_t i = 0; i < count; i++)
        if (!is_known(tail[i].mac)) return drop_waiting(tail[i].frame);
    return false;
}

static AC_UDP_SKB_INFO* first_frame() AC_REQUIRES(g_udp_skb_mutex)
{
    return list_empty(&g_udp_skb_queue) ? nullptr : list_entry(g_udp_skb_queue.next, AC_UDP_SKB_INFO, list);
}

AC_UDP_SKB_INFO* udp_skb_first()
{
    ac_lock lock(g_udp_skb_mutex);
    return first_frame();
}

AC_UDP_SKB_INFO* udp_skb_done_and_next(AC_UDP_SKB_INFO* frame)
{
    ac_lock lock(g_udp_skb_mutex);
    release_frame(frame);
    return first_frame();
}

void udp_skb_done(AC_UDP_SKB_INFO* frame)
{
    ac_lock lock(g_udp_skb_mutex);
    release_frame(frame);
}

AC_UDP_SKB_INFO* udp_discvr_skb_first()
{
    ac_lock lock(g_discvr_udp_skb_mutex);
    return list_empty(&g_discvr_udp_skb_queue) ? nullptr
                                               : list_entry(g_discvr_udp_skb_queue.next, AC_UDP_SKB_INFO, list);
}

void udp_discvr_skb_done(AC_UDP_SKB_INFO* frame)
{
    ac_lock lock(g_discvr_udp_skb_mutex);
    list_del(&frame->list);
    udp_discvr_data_num_in_queue--;
    CWPool_free(discvr_pool(), frame);
}
