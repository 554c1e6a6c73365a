#include "ac_wtp_protocol/thread_manage_handle.h"

#include <arpa/inet.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_burst.h"
#include "ac_wtp_protocol/acwtp_config.h"
#include "ac_wtp_protocol/acwtp_replies.h"
#include "ac_wtp_protocol/acwtp_running.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/ac_err.h"
#include "common/ac_text.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"

static constexpr int RECEIVE_BUFFER = 700000; // bytes of SO_RCVBUF
static constexpr unsigned RECEIVE_BATCH = 16; // datagrams taken with one system call
static constexpr unsigned RECEIVE_TURNS = 4;  // system calls per wait at most
static constexpr UINT32 DISCOVERY_PAYLOAD_MAX = AC_SKB_SMALL - AC_SKB_HEAD;

static void print_crc_error(const CLOUD_AP_UDP_PKT* pkt, UINT32 crc_check)
{
    AC_ERR("CRC error,crc_from_ap:%d,crc_check:%d,msg_len:%d...\n", static_cast<int>(pkt->crc),
           static_cast<int>(crc_check), static_cast<int>(pkt->msg_length));
}

// The payload must have come whole and match its CRC, where it has one. A discovery frame must fit its block.
static bool payload_is_sound(const CLOUD_AP_UDP_PKT* pkt, std::size_t received)
{
    const bool whole = received >= AC_FRAME_HEAD && pkt->msg_length <= received - AC_FRAME_HEAD;
    const bool fits = pkt->msg_type != HALDE_APDiscoveryReq || pkt->msg_length <= DISCOVERY_PAYLOAD_MAX;
    if (!whole || !fits) {
        print_crc_error(pkt, 0);
        return false;
    }
    if (pkt->msg_length == 0 || pkt->crc == 0) return true;
    const UINT32 crc_check = acwtp_crc({pkt->msg_data(), pkt->msg_length});
    if (crc_check == pkt->crc) return true;
    print_crc_error(pkt, crc_check);
    return false;
}

static bool header_is_ours(const CLOUD_AP_UDP_PKT* pkt)
{
    if (pkt->vendor != AC_VENDOR) {
        AC_ERR("this type ap is not support.%02x\n", pkt->vendor);
        return false;
    }
    if (ac_mac_is_zero(pkt->ap_mac)) {
        AC_ERR("ap'mac is all zero.\n");
        return false;
    }
    return true;
}

static bool is_joined(const UINT8* mac)
{
    return acwtp_joined_node_find(mac, acwtp_joined_hash_func(mac)) != nullptr;
}

// A flood of strangers must not crowd out the echoes of joined APs: in a full queue one of theirs makes room. Nobody is
// looked up while there is room for all.
static void make_room_for_joined(const CLOUD_AP_UDP_PKT* pkt)
{
    if (udp_skb_waiting() > AC_SKB_QUEUE_MAX && is_joined(pkt->ap_mac)) (void)udp_skb_drop_stranger(is_joined);
}

// A full queue loses the frame without a word; its consumer is to be woken all the same. Returns the consumer's
// semaphore.
static sem_t* queue_by_kind(const CLOUD_AP_UDP_PKT* pkt, const struct sockaddr_in* from)
{
    UINT8 ip[4];
    memcpy(ip, &from->sin_addr.s_addr, sizeof ip);
    const UINT16 port = ntohs(from->sin_port);
    if (pkt->msg_type == HALDE_APDiscoveryReq) {
        (void)udp_discvr_skb_queue_in(ip, port, from, pkt);
        return &udp_discvr_sem_sig;
    }
    make_room_for_joined(pkt);
    (void)udp_skb_queue_in(ip, port, from, pkt);
    return &udp_sem_sig;
}

// Checks a datagram and queues it. The semaphore of its queue, or null for one that was dropped.
static sem_t* take_datagram(std::span<const UINT8> datagram, const struct sockaddr_in* from)
{
    CLOUD_AP_UDP_PKT short_frame = {}; // what is missing of a header reads as zero, and fails the checks
    const CLOUD_AP_UDP_PKT* pkt = &short_frame;
    if (datagram.size() >= AC_FRAME_HEAD)
        pkt = static_cast<const CLOUD_AP_UDP_PKT*>(static_cast<const void*>(datagram.data()));
    else if (!datagram.empty())
        memcpy(static_cast<void*>(&short_frame), datagram.data(), datagram.size());
    if (!header_is_ours(pkt) || !payload_is_sound(pkt, datagram.size())) return nullptr;
    return queue_by_kind(pkt, from);
}

void manage_datagram(std::span<const UINT8> datagram, const struct sockaddr_in* from)
{
    sem_t* consumer = take_datagram(datagram, from);
    if (consumer != nullptr) trim_sig(consumer);
}

struct receive_batch {
    alignas(8) UINT8 datagrams[RECEIVE_BATCH][AC_FRAME_MAX];
    struct sockaddr_in from[RECEIVE_BATCH];
    struct iovec pieces[RECEIVE_BATCH];
    struct mmsghdr messages[RECEIVE_BATCH];
};

static int receive_datagrams(receive_batch& batch)
{
    for (unsigned i = 0; i < RECEIVE_BATCH; i++) {
        batch.from[i] = {};
        batch.pieces[i] = {batch.datagrams[i], AC_FRAME_MAX};
        batch.messages[i] = {};
        batch.messages[i].msg_hdr.msg_name = &batch.from[i];
        batch.messages[i].msg_hdr.msg_namelen = sizeof batch.from[i];
        batch.messages[i].msg_hdr.msg_iov = &batch.pieces[i];
        batch.messages[i].msg_hdr.msg_iovlen = 1;
    }
    return recvmmsg(gacwtp, batch.messages, RECEIVE_BATCH, MSG_DONTWAIT, nullptr);
}

struct receive_wakes {
    bool running = false;
    bool discovery = false;
};

// False: the socket is empty.
static bool receive_turn(receive_batch& batch, receive_wakes& wakes)
{
    const int count = receive_datagrams(batch);
    for (int i = 0; i < count; i++) {
        if (batch.messages[i].msg_len == 0) continue;
        const sem_t* consumer = take_datagram({batch.datagrams[i], batch.messages[i].msg_len}, &batch.from[i]);
        wakes.running = wakes.running || consumer == &udp_sem_sig;
        wakes.discovery = wakes.discovery || consumer == &udp_discvr_sem_sig;
    }
    return count > 0;
}

// A consumer is woken once for all that was there for it: it drains its queue anyhow, and a wake for each frame would
// cost more than the frame.
void manage_receive_once()
{
    static receive_batch batch; // the receiving thread alone
    if (ac_wait_readable(gacwtp, 2, 10) != 1) return;
    receive_wakes wakes;
    for (unsigned turn = 0; turn < RECEIVE_TURNS && receive_turn(batch, wakes); turn++) {
    }
    if (wakes.discovery) trim_sig(&udp_discvr_sem_sig);
    if (wakes.running) trim_sig(&udp_sem_sig);
}

static void print_receive_buffer()
{
    int length = 0;
    socklen_t size = sizeof length;
    if (getsockopt(gacwtp, SOL_SOCKET, SO_RCVBUF, &length, &size) == 0) printf("-------len=%d\n", length);
}

static void raise_receive_buffer()
{
    print_receive_buffer();
    const int length = RECEIVE_BUFFER;
    if (setsockopt(gacwtp, SOL_SOCKET, SO_RCVBUF, &length, sizeof length) == 0) printf("set ok");
    print_receive_buffer();
}

void* manage_thread_handle(void* /*unused*/)
{
    if (gacwtp >= 0) close(gacwtp);
    if (init_socket_layer3(&gacwtp) != 1) {
        AC_ERR("init socket of layer3 is fail and exit.\n");
        return nullptr;
    }
    raise_receive_buffer();
    acwtp_thread_row(PTHREAD_RUNNING);
    ac_thread_in_batches(); // else the first datagram of many wakes it, and each that follows wakes it again
    acwtp_thread_log(" manage_thread_handle", "\n");
    acwtp_pools_wait(PTHREAD_UDP_QUEUE); // their threads may still be building the pools
    acwtp_pools_wait(PTHREAD_DISCORVER);
    for (;;)
        manage_receive_once();
}

// Any frame of an AP that has not configured yet is tried as its configuration: one path, whatever the message number.
static void configuration_step(AC_UDP_SKB_INFO* frame, const ACWTP_JOIN_LIST* entry)
{
    const int parsed = config_parse_report(entry->ap_mac, frame);
    if (manage_config_req_handle(frame->udp_pkt(), frame->ipaddr, frame->port, parsed, entry->ap_mac) != AC_RET_OK) {
        AC_ERR("config failed.\n");
        return;
    }
    config_step_accepted(entry->ap_mac, parsed);
}

static void dispatch_by_state(AC_UDP_SKB_INFO* frame, const ACWTP_JOIN_LIST* entry)
{
    switch (entry->current_status) {
    case AC_CONFIG_UPGRADE:
        configuration_step(frame, entry);
        break;
    case AC_RUNNING:
        manage_running_package_handle(entry->ap_mac, entry->ap_ip, frame);
        break;
    case AC_UPGRADE: // frames of an upgrade are handled here once it is part of the build
    default:
        break;
    }
}

void running_handle_frame(AC_UDP_SKB_INFO* frame)
{
    const CLOUD_AP_UDP_PKT* pkt = frame->udp_pkt();
    const bool portal_check = acwtp_msg_low(pkt->msg_type) == HALDE_APPortalCheckAuthReq;
    ACWTP_JOIN_LIST entry;
    const bool joined = portal_check ? acwtp_joined_copy(pkt->ap_mac, &entry)
                                     : acwtp_joined_copy_readdress(pkt->ap_mac, frame->ipaddr, frame->port, &entry);
    if (!joined) {
        AC_ERR("this mac[%02x:%02x:%02x:%02x:%02x:%02x] is not exited in joined list\n", AC_MAC_ARGS(pkt->ap_mac));
        send_link_down_to_ap(frame->ipaddr, frame->port, pkt);
        return;
    }
    if (entry.ap_status >= 1) dispatch_by_state(frame, &entry);
}

// Replies to echoes wait for each other while nothing but echoes is handled; a report may keep this thread busy for the
// time of a database write.
int udp_skb_queue_out()
{
    acwtp_burst answers;
    for (AC_UDP_SKB_INFO* frame = udp_skb_first(); frame != nullptr; frame = udp_skb_done_and_next(frame)) {
        if (acwtp_msg_low(frame->udp_pkt()->msg_type) != HALDE_APEchoReq) answers.send_waiting();
        ac_reader section;
        running_handle_frame(frame);
    }
    return AC_RET_OK;
}

void* manage_udp_data_handle(void* /*unused*/)
{
    acwtp_thread_row(PTHREAD_UDP_QUEUE);
    ac_thread_in_batches(); // likewise
    acwtp_thread_log(" manage_udp_data_handle", " \n");
    if (!udp_skb_pools_make()) exit(1);
    for (;;) {
        acwtp_sem_wait_all(&udp_sem_sig);
        udp_skb_queue_out();
    }
}

int create_manage_thread()
{
    pthread_t thread;
    if (pthread_create(&thread, nullptr, manage_thread_handle, nullptr) == 0 &&
        pthread_create(&thread, nullptr, manage_udp_data_handle, nullptr) == 0)
        return 1;
    AC_ERR("Create discovery thread is fail.\n");
    return 0;
}
