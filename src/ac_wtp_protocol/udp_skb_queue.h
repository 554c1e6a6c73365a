// udp_skb_queue - received frames on their way from the receiving thread to their consumer.
//
// Shape    two queues of AC_UDP_SKB_INFO records with the frame right behind each: g_udp_skb_queue for everything but
//          discovery, g_discvr_udp_skb_queue for that. At most 1501 frames each; one more is lost without a word.
// Sizes    what the protocol sees counts 36 bytes for the record in front of a frame, as a 32-bit machine has it; on a
//          machine where the record is larger, the blocks are larger by the difference, and toltal_len and its
//          thresholds stay.
// Threads  one producer, the receiving thread; one consumer each. The queue's mutex guards list, count and pools.
#pragma once

#include <netinet/in.h>
#include <semaphore.h>

#include <span>

#include "ac_wtp_protocol/ac_frame_wire.h"
#include "common/ac_list.h"
#include "common/ac_lock.h"

struct udp_skb_info {
    list_node list;
    UINT32 toltal_len;              // msg_length + 64; below 257: small block
    UINT8 ipaddr[4];                // source, dotted order
    UINT16 port;                    // source, host order
    struct sockaddr_in portal_addr; // source as recvfrom gave it

    CLOUD_AP_UDP_PKT* udp_pkt() { return reinterpret_cast<CLOUD_AP_UDP_PKT*>(this + 1); }
    const CLOUD_AP_UDP_PKT* udp_pkt() const { return reinterpret_cast<const CLOUD_AP_UDP_PKT*>(this + 1); }
    // The payload; msg_length was checked against the datagram before the frame was queued.
    std::span<const UINT8> payload() const { return {udp_pkt()->msg_data(), udp_pkt()->msg_length}; }
};
typedef struct udp_skb_info AC_UDP_SKB_INFO;
static_assert(sizeof(void*) != 4 || sizeof(AC_UDP_SKB_INFO) == 36);
static_assert(sizeof(AC_UDP_SKB_INFO) % alignof(CLOUD_AP_UDP_PKT) == 0);

inline constexpr UINT32 AC_SKB_HEAD = 64;   // record and frame header in the protocol's reckoning
inline constexpr UINT32 AC_SKB_RECORD = 36; // the record alone in it
inline constexpr UINT32 AC_SKB_SMALL = 256; // blocks of the small pools
inline constexpr UINT32 AC_SKB_LARGE = 4096;
inline constexpr UINT32 AC_SKB_EXTRA = sizeof(AC_UDP_SKB_INFO) - AC_SKB_RECORD;
inline constexpr int AC_SKB_QUEUE_MAX = 1500;       // a frame is taken while the count is at most this
inline constexpr UINT32 AC_REPORT_PLAIN_MAX = 3072; // payload of an inflated client report

extern ac_mutex g_udp_skb_mutex;
extern list_node g_udp_skb_queue AC_GUARDED_BY(g_udp_skb_mutex);
extern int udp_data_num_in_queue AC_GUARDED_BY(g_udp_skb_mutex);
extern sem_t udp_sem_sig;

extern ac_mutex g_discvr_udp_skb_mutex;
extern list_node g_discvr_udp_skb_queue AC_GUARDED_BY(g_discvr_udp_skb_mutex);
extern int udp_discvr_data_num_in_queue AC_GUARDED_BY(g_discvr_udp_skb_mutex);
extern sem_t udp_discvr_sem_sig;

// Build the pools of a queue and say so to the producer; false without memory for a pool record.
bool udp_skb_pools_make();
bool udp_discvr_pools_make();

// A cleared record with its list made, or null after perror("malloc"). `size` is a toltal_len.
AC_UDP_SKB_INFO* udp_skb_alloc(UINT32 size) AC_REQUIRES(g_udp_skb_mutex);
AC_UDP_SKB_INFO* udp_discvr_skb_alloc(UINT32 size) AC_REQUIRES(g_discvr_udp_skb_mutex);

// Queue a copy of a checked frame: `pkt` has msg_length bytes behind its header. 0, or 255 with the frame lost.
AC_RET udp_skb_queue_in(const UINT8* ip, UINT16 port, const struct sockaddr_in* from_addr, const CLOUD_AP_UDP_PKT* pkt);
AC_RET udp_discvr_skb_queue_in(const UINT8* ip, UINT16 port, const struct sockaddr_in* from_addr,
                               const CLOUD_AP_UDP_PKT* pkt);

void trim_sig(sem_t* sem); // sem_post

int udp_skb_waiting(); // frames in the running queue; takes no lock

// Loses one of the last frames in the running queue whose sender is not known; never the one that is being handled.
// false if there is none. The receiving thread alone; `is_known` is called without the queue's lock.
bool udp_skb_drop_stranger(bool (*is_known)(const UINT8* mac));

// The consumer's side: the first frame, still linked, or null; and its end, which gives the block back. The middle one
// does both in one hold of the lock.
AC_UDP_SKB_INFO* udp_skb_first();
AC_UDP_SKB_INFO* udp_skb_done_and_next(AC_UDP_SKB_INFO* frame);
void udp_skb_done(AC_UDP_SKB_INFO* frame);
AC_UDP_SKB_INFO* udp_discvr_skb_first();
void udp_discvr_skb_done(AC_UDP_SKB_INFO* frame);
