// The receiving side: what becomes of a datagram.
#include "ac_wtp_protocol/thread_manage_handle.h"

#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "ap_frame.h"
#include "child_process.h"
#include "common/ac_atomic.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"
#include "printed.h"

namespace {

int posts_of(sem_t* semaphore)
{
    int count = 0;
    while (sem_trywait(semaphore) == 0)
        count++;
    return count;
}

class Reception : public TestWorld {
protected:
    void SetUp() override
    {
        TestWorld::SetUp();
        from = address_from("10.2.3.4", 7000);
    }

    // What is printed on a datagram; its bytes end where its memory ends.
    std::string receive(const Bytes& datagram)
    {
        return output_of([&] { manage_datagram(datagram, &from); });
    }
    std::string receive(const ApFrame& frame) { return receive(frame.bytes()); }

    static int running_count()
    {
        ac_lock lock(g_udp_skb_mutex);
        return udp_data_num_in_queue;
    }
    static int discovery_count()
    {
        ac_lock lock(g_discvr_udp_skb_mutex);
        return udp_discvr_data_num_in_queue;
    }
    void expect_nothing_queued(const std::string& why)
    {
        EXPECT_EQ(running_count(), 0) << why;
        EXPECT_EQ(discovery_count(), 0) << why;
        EXPECT_EQ(posts_of(&udp_sem_sig), 0) << why;
        EXPECT_EQ(posts_of(&udp_discvr_sem_sig), 0) << why;
    }
    void expect_queued_once(const std::string& why)
    {
        EXPECT_EQ(running_count(), 1) << why;
        EXPECT_EQ(posts_of(&udp_sem_sig), 1) << why;
        EXPECT_EQ(discovery_count(), 0) << why;
        EXPECT_EQ(posts_of(&udp_discvr_sem_sig), 0) << why;
        if (AC_UDP_SKB_INFO* frame = udp_skb_first()) udp_skb_done(frame);
    }

    struct sockaddr_in from = {};
};

} // namespace

TEST_F(Reception, a_datagram_shorter_than_a_header_is_dropped_at_every_length)
{
    const Bytes whole = ApFrame().bytes();
    ASSERT_EQ(whole.size(), 28U);
    for (std::size_t size = 0; size < 28; size++) {
        const std::string out = receive(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        const char* expected = size < 17   ? "this type ap is not support.00\n"
                               : size < 18 ? "this type ap is not support.88\n"
                                           : "CRC error,crc_from_ap:0,crc_check:0,msg_len:0...\n";
        EXPECT_EQ(message_of(out), expected) << size;
        expect_nothing_queued(std::to_string(size));
    }
    EXPECT_EQ(receive(whole), "");
    expect_queued_once("28 bytes are a frame");
}

TEST_F(Reception, a_foreign_vendor_is_dropped_with_its_number_in_hexadecimal)
{
    ApFrame frame;
    frame.vendor = 0x8817; // from a big-endian sender
    EXPECT_EQ(message_of(receive(frame)), "this type ap is not support.8817\n");
    frame.vendor = 0x0005;
    EXPECT_EQ(message_of(receive(frame)), "this type ap is not support.05\n");
    expect_nothing_queued("foreign vendor");
}

TEST_F(Reception, an_all_zero_mac_is_dropped)
{
    ApFrame frame;
    frame.mac = {};
    EXPECT_EQ(message_of(receive(frame)), "ap'mac is all zero.\n");
    expect_nothing_queued("zero mac");
    frame.mac[5] = 1;
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("one byte is enough");
}

TEST_F(Reception, a_frame_with_its_crc_is_accepted_and_with_another_dropped)
{
    ApFrame frame;
    frame.payload = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    frame.crc = 0xCBF43926;
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("right crc");
    frame.crc = 0x00000001;
    EXPECT_EQ(message_of(receive(frame)), "CRC error,crc_from_ap:1,crc_check:-873187034,msg_len:9...\n");
    expect_nothing_queued("wrong crc");
}

TEST_F(Reception, the_crc_covers_the_payload_and_not_the_header)
{
    ApFrame frame;
    frame.payload = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    frame.crc = 0xCBF43926;
    frame.seq_num = 77;
    frame.reserve = 5;
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("another header");
    for (std::size_t i = 0; i < frame.payload.size(); i++) {
        ApFrame flipped = frame;
        flipped.payload[i] ^= 0x10;
        EXPECT_NE(receive(flipped).find("CRC error"), std::string::npos) << i;
    }
    expect_nothing_queued("flipped bits");
}

TEST_F(Reception, a_crc_of_no_payload_is_not_tested)
{
    ApFrame frame;
    frame.crc = 0xDEADBEEF;
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("no payload");
}

TEST_F(Reception, a_payload_without_a_crc_is_not_tested)
{
    ApFrame frame;
    frame.payload = {1, 2, 3};
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("no crc");
}

TEST_F(Reception, the_checks_run_in_the_order_vendor_mac_crc)
{
    ApFrame frame;
    frame.payload = {1, 2, 3};
    frame.crc = 1;
    frame.mac = {};
    frame.vendor = 0x1789;
    EXPECT_EQ(message_of(receive(frame)), "this type ap is not support.1789\n");
    frame.vendor = 0x1788;
    EXPECT_EQ(message_of(receive(frame)), "ap'mac is all zero.\n");
    frame.mac = test_mac(7);
    EXPECT_NE(receive(frame).find("CRC error"), std::string::npos);
}

TEST_F(Reception, a_length_that_ends_with_the_datagram_fits_and_one_byte_more_is_dropped)
{
    ApFrame frame;
    frame.payload = {1, 2, 3};
    frame.msg_length = 3;
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("fits");
    frame.msg_length = 4;
    EXPECT_EQ(message_of(receive(frame)), "CRC error,crc_from_ap:0,crc_check:0,msg_len:4...\n");
    expect_nothing_queued("a byte short");
}

TEST_F(Reception, bytes_behind_the_payload_are_not_part_of_the_frame)
{
    ApFrame frame;
    frame.payload = {1, 2, 3, 4};
    frame.msg_length = 3;
    EXPECT_EQ(receive(frame), "");
    const AC_UDP_SKB_INFO* queued = udp_skb_first();
    ASSERT_NE(queued, nullptr);
    EXPECT_EQ(queued->payload().size(), 3U);
    EXPECT_EQ(queued->toltal_len, 67U);
}

TEST_F(Reception, a_length_near_the_largest_number_is_dropped_for_every_kind_of_frame)
{
    // Plus 28 or plus 64 these would wrap to a small size.
    const UINT32 lengths[] = {0xFFFFFFFF, 0xFFFFFFE4, 0xFFFFFFE3, 0xFFFFFFC0, 0xFFFFFFBF, 0x80000000, 0x7FFFFFFF, 2021};
    for (const unsigned type : {0U, 2U, 8U, 9U, 24U})
        for (const UINT32 length : lengths)
            for (const UINT32 crc : {0U, 1U}) {
                ApFrame frame;
                frame.msg_type = type;
                frame.payload = Bytes(44, 0x5A);
                frame.msg_length = length;
                frame.crc = crc;
                EXPECT_NE(receive(frame).find("CRC error"), std::string::npos) << type << " " << length;
            }
    expect_nothing_queued("too long");
}

TEST_F(Reception, the_largest_datagram_is_accepted)
{
    ApFrame frame;
    frame.payload = Bytes(2020, 0x5A);
    frame.crc = crc_of(frame.payload);
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("2048 bytes");
}

TEST_F(Reception, a_discovery_request_goes_to_its_own_queue)
{
    ApFrame frame;
    frame.msg_type = 2;
    frame.payload = Bytes(44, 0);
    EXPECT_EQ(receive(frame), "");
    EXPECT_EQ(discovery_count(), 1);
    EXPECT_EQ(running_count(), 0);
    EXPECT_EQ(posts_of(&udp_discvr_sem_sig), 1);
    EXPECT_EQ(posts_of(&udp_sem_sig), 0);
}

TEST_F(Reception, only_the_whole_number_2_is_discovery)
{
    ApFrame frame;
    frame.msg_type = 0x0102;
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("a sub-type");
}

TEST_F(Reception, a_discovery_payload_of_192_bytes_is_accepted_and_one_of_193_dropped)
{
    ApFrame frame;
    frame.msg_type = 2;
    frame.payload = Bytes(192, 0);
    EXPECT_EQ(receive(frame), "");
    EXPECT_EQ(discovery_count(), 1);
    frame.payload = Bytes(193, 0);
    EXPECT_EQ(message_of(receive(frame)), "CRC error,crc_from_ap:0,crc_check:0,msg_len:193...\n");
    EXPECT_EQ(discovery_count(), 1);
    frame.msg_type = 0x0102;
    EXPECT_EQ(receive(frame), "") << "the limit is that of the discovery blocks";
}

TEST_F(Reception, the_source_goes_along_in_dotted_and_host_order_and_as_it_came)
{
    from = address_from("192.168.7.254", 0x1234);
    receive(ApFrame());
    const AC_UDP_SKB_INFO* queued = udp_skb_first();
    ASSERT_NE(queued, nullptr);
    const UINT8 ip[4] = {192, 168, 7, 254};
    EXPECT_EQ(memcmp(queued->ipaddr, ip, 4), 0);
    EXPECT_EQ(queued->port, 0x1234);
    EXPECT_EQ(memcmp(&queued->portal_addr, &from, sizeof from), 0);
}

TEST_F(Reception, the_1502nd_frame_is_lost_and_the_consumer_posted_all_the_same)
{
    const Bytes bytes = ApFrame().bytes();
    const std::string out = output_of([&] {
        for (int i = 0; i < 1502; i++)
            manage_datagram(bytes, &from);
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(running_count(), 1501);
    EXPECT_EQ(posts_of(&udp_sem_sig), 1502);
}

TEST_F(Reception, in_a_queue_full_of_strangers_a_joined_ap_takes_the_place_of_the_last_of_them)
{
    const Bytes stranger = ApFrame().bytes();
    for (int i = 0; i < 1501; i++)
        manage_datagram(stranger, &from);
    ACWTP_JOIN_LIST entry = {};
    entry.ap_mac[0] = 0x0A;
    entry.ap_status = 1;
    entry.current_status = AC_RUNNING;
    insert_to_wtp_listinfo(&entry);
    Bytes known = stranger;
    std::copy_n(entry.ap_mac, AC_MAC_LEN, known.begin());
    manage_datagram(known, &from);
    manage_datagram(stranger, &from);
    EXPECT_EQ(running_count(), 1501);
    ac_lock lock(g_udp_skb_mutex);
    EXPECT_EQ(list_entry(g_udp_skb_queue.prev, AC_UDP_SKB_INFO, list)->udp_pkt()->ap_mac[0], 0x0A);
}

TEST_F(Reception, a_joined_ap_takes_nobody_s_place_while_there_is_room_for_one_more)
{
    const Bytes stranger = ApFrame().bytes();
    for (int i = 0; i < 1500; i++)
        manage_datagram(stranger, &from);
    join_ap(test_mac(8), AC_RUNNING);
    ApFrame known;
    known.mac = test_mac(8);
    EXPECT_EQ(receive(known), "");
    EXPECT_EQ(running_count(), 1501);
}

TEST_F(Reception, the_frame_at_the_head_which_may_be_in_its_handler_is_never_dropped_for_another)
{
    const auto nobody_is_known = [](const UINT8*) { return false; };
    const Bytes stranger = ApFrame().bytes();
    manage_datagram(stranger, &from);
    const AC_UDP_SKB_INFO* head = udp_skb_first();
    EXPECT_FALSE(udp_skb_drop_stranger(nobody_is_known));
    manage_datagram(stranger, &from);
    EXPECT_TRUE(udp_skb_drop_stranger(nobody_is_known));
    EXPECT_FALSE(udp_skb_drop_stranger(nobody_is_known));
    EXPECT_EQ(running_count(), 1);
    EXPECT_EQ(udp_skb_first(), head);
}

TEST_F(Reception, in_a_queue_full_of_joined_aps_the_next_joined_ap_loses)
{
    ACWTP_JOIN_LIST entry = {};
    entry.ap_mac[0] = 0x0A;
    entry.ap_status = 1;
    entry.current_status = AC_RUNNING;
    insert_to_wtp_listinfo(&entry);
    Bytes known = ApFrame().bytes();
    std::copy_n(entry.ap_mac, AC_MAC_LEN, known.begin());
    for (int i = 0; i < 1502; i++)
        manage_datagram(known, &from);
    EXPECT_EQ(running_count(), 1501);
    EXPECT_FALSE(udp_skb_drop_stranger([](const UINT8*) { return true; }));
}

TEST_F(Reception, the_1502nd_discovery_is_lost_and_the_consumer_posted_all_the_same)
{
    ApFrame frame;
    frame.msg_type = 2;
    frame.payload = Bytes(44, 0);
    const Bytes bytes = frame.bytes();
    const std::string out = output_of([&] {
        for (int i = 0; i < 1502; i++)
            manage_datagram(bytes, &from);
    });
    EXPECT_EQ(out, "");
    EXPECT_EQ(discovery_count(), 1501);
    EXPECT_EQ(posts_of(&udp_discvr_sem_sig), 1502);
}

TEST_F(Reception, a_full_queue_leaves_room_in_the_other)
{
    const Bytes bytes = ApFrame().bytes();
    for (int i = 0; i < 1502; i++)
        manage_datagram(bytes, &from);
    ApFrame discovery;
    discovery.msg_type = 2;
    EXPECT_EQ(receive(discovery), "");
    EXPECT_EQ(discovery_count(), 1);
}

TEST_F(Reception, a_refused_report_posts_its_consumer_all_the_same)
{
    ApFrame frame;
    frame.msg_type = 9;
    frame.payload = {0x78, 0x9c};
    frame.reserve = 3073;
    EXPECT_EQ(message_of(receive(frame)), "data error.\n");
    EXPECT_EQ(running_count(), 0);
    EXPECT_EQ(posts_of(&udp_sem_sig), 1);
}

TEST_F(Reception, a_report_s_crc_is_that_of_its_compressed_bytes)
{
    const Bytes plain(560, 0x5A);
    ApFrame frame;
    frame.msg_type = 9;
    frame.payload = deflated(plain);
    frame.reserve = 560;
    frame.crc = crc_of(frame.payload);
    EXPECT_EQ(receive(frame), "");
    expect_queued_once("crc of what was sent");
    frame.crc = crc_of(plain);
    EXPECT_NE(receive(frame).find("CRC error"), std::string::npos);
}

namespace {

// A pair of local sockets in the place of the AP socket: datagrams without a network.
class ReceptionSocket : public Reception {
protected:
    void SetUp() override
    {
        Reception::SetUp();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
        gacwtp = ends[0];
    }
    void TearDown() override
    {
        gacwtp = -1;
        close(ends[0]);
        close(ends[1]);
        Reception::TearDown();
    }
    void arrive(const Bytes& bytes) const { ASSERT_GE(send(ends[1], bytes.data(), bytes.size(), 0), 0); }
    int ends[2] = {-1, -1};
};

} // namespace

TEST_F(ReceptionSocket, what_the_socket_holds_is_taken)
{
    ApFrame frame;
    for (unsigned seq = 0; seq < 3; seq++) {
        frame.seq_num = seq;
        arrive(frame.bytes());
    }
    manage_receive_once();
    EXPECT_EQ(running_count(), 3);
    for (unsigned seq = 0; seq < 3; seq++) {
        AC_UDP_SKB_INFO* queued = udp_skb_first();
        ASSERT_NE(queued, nullptr);
        EXPECT_EQ(queued->udp_pkt()->seq_num, seq);
        udp_skb_done(queued);
    }
}

TEST_F(ReceptionSocket, the_consumers_of_what_was_taken_are_woken_and_no_other)
{
    const ApFrame running;
    ApFrame discovery;
    discovery.msg_type = 2;
    ApFrame foreign;
    foreign.vendor = 0x8817;
    const auto woken_by = [this](const std::vector<ApFrame>& frames) {
        for (const ApFrame& frame : frames)
            arrive(frame.bytes());
        (void)output_of([] { manage_receive_once(); });
        return std::pair(posts_of(&udp_discvr_sem_sig) > 0, posts_of(&udp_sem_sig) > 0);
    };
    EXPECT_EQ(woken_by({running, running}), std::pair(false, true));
    EXPECT_EQ(woken_by({discovery, foreign}), std::pair(true, false));
    EXPECT_EQ(woken_by({running, discovery}), std::pair(true, true));
    EXPECT_EQ(woken_by({foreign}), std::pair(false, false));
}

TEST_F(ReceptionSocket, an_empty_datagram_is_passed_over)
{
    arrive({});
    arrive(ApFrame().bytes());
    EXPECT_EQ(output_of([] { manage_receive_once(); }), "");
    EXPECT_EQ(running_count(), 1);
}

TEST_F(ReceptionSocket, a_datagram_of_more_than_2048_bytes_is_cut_and_so_dropped)
{
    ApFrame frame;
    frame.payload = Bytes(2021, 0x5A);
    arrive(frame.bytes());
    const std::string out = output_of([] { manage_receive_once(); });
    EXPECT_EQ(message_of(out), "CRC error,crc_from_ap:0,crc_check:0,msg_len:2021...\n");
    EXPECT_EQ(running_count(), 0);
    frame.payload.pop_back();
    arrive(frame.bytes());
    EXPECT_EQ(output_of([] { manage_receive_once(); }), "");
    EXPECT_EQ(running_count(), 1);
}

TEST_F(ReceptionSocket, nothing_of_an_earlier_datagram_shows_in_a_shorter_one)
{
    ApFrame frame;
    frame.payload = Bytes(100, 0x5A);
    arrive(frame.bytes());
    manage_receive_once();
    Bytes cut = frame.bytes();
    cut.resize(60);
    arrive(cut);
    EXPECT_NE(output_of([] { manage_receive_once(); }).find("CRC error"), std::string::npos);
    EXPECT_EQ(running_count(), 1);
}

TEST_F(ReceptionSocket, without_a_datagram_the_wait_ends_after_2_seconds_and_10_microseconds)
{
    const std::int64_t before = ac_monotonic_us();
    manage_receive_once();
    EXPECT_EQ(ac_monotonic_us() - before, 2000010);
    EXPECT_EQ(running_count(), 0);
}

TEST_F(ReceptionSocket, a_closed_socket_is_waited_for_without_harm)
{
    gacwtp = -1;
    EXPECT_EQ(output_of([] { manage_receive_once(); }), "");
    EXPECT_EQ(running_count(), 0);
}

TEST_F(ReceptionSocket, two_threads_pass_frames_on_in_their_order)
{
    static constexpr unsigned total = 4000;
    ApFrame frame;
    std::atomic<bool> ended{false};
    std::thread consumer([&] {
        while (!ended.load()) {
            acwtp_sem_wait_all(&udp_sem_sig);
            udp_skb_queue_out();
        }
        udp_skb_queue_out();
    });
    testing::internal::CaptureStdout();
    for (unsigned i = 0; i < total; i++) {
        frame.seq_num = i;
        const Bytes bytes = frame.bytes();
        manage_datagram(bytes, &from);
    }
    ended.store(true);
    trim_sig(&udp_sem_sig);
    consumer.join();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(running_count(), 0);
    EXPECT_GE(sent().size(), 1501U) << "what fits the queue is never lost";
    int last = -1;
    for (const SentFrame& reply : sent()) {
        EXPECT_GT(reply.head().seq_num, last);
        last = reply.head().seq_num;
    }
}

TEST_F(Reception, a_socket_that_cannot_be_bound_ends_the_receiving_thread_alone)
{
    const UINT8 foreign[4] = {192, 0, 2, 1}; // for documentation, so no interface has it
    memcpy(g_ac_ip, foreign, sizeof foreign);
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair), 0);
    gacwtp = pair[0];
    testing::internal::CaptureStderr();
    const std::string out = output_of([] { EXPECT_EQ(manage_thread_handle(nullptr), nullptr); });
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(messages_of(out),
              (std::vector<std::string>{"bind local addr is error.\n", "init socket of layer3 is fail and exit.\n"}));
    EXPECT_LT(send(pair[1], "x", 1, MSG_NOSIGNAL), 0) << "the earlier socket was closed first";
    gacwtp = -1;
    close(pair[1]);
}

namespace {

// Sends a discovery request to the AP socket as soon as it is bound, and waits until it has been queued.
void discover_over_loopback()
{
    struct sockaddr_in to = {};
    while (to.sin_port == 0) {
        socklen_t size = sizeof to;
        getsockname(ac_load(gacwtp), reinterpret_cast<struct sockaddr*>(&to), &size);
        std::this_thread::yield();
    }
    ApFrame frame;
    frame.msg_type = 2;
    const Bytes bytes = frame.bytes();
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    EXPECT_EQ(sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<struct sockaddr*>(&to), sizeof to), 28);
    close(fd);
    while (sem_wait(&udp_discvr_sem_sig) != 0) {
    }
}

int receive_buffer_of(int fd)
{
    int length = 0;
    socklen_t size = sizeof length;
    return getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &length, &size) == 0 ? length : -1;
}

// What the machine makes of that wish: it may double it and has a limit.
int receive_buffer_after(int wished)
{
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &wished, sizeof wished);
    const int length = receive_buffer_of(fd);
    close(fd);
    return length;
}

} // namespace

static int policy_of(pthread_t thread)
{
    int policy = -1;
    struct sched_param unused = {};
    EXPECT_EQ(pthread_getschedparam(thread, &policy, &unused), 0);
    return policy;
}

TEST_F(Reception, the_receiving_thread_raises_its_buffer_notes_itself_and_receives)
{
    write_file("/var/config_cloud_ac.cfg", "port=0\n"); // the system chooses
    const UINT8 lan[4] = {127, 0, 0, 1};
    memcpy(g_ac_ip, lan, sizeof lan);
    const ChildOutcome child = in_child([this] {
        std::thread other([this, receiver = pthread_self()] {
            discover_over_loopback();
            EXPECT_EQ(discovery_count(), 1);
            EXPECT_EQ(g_ac_pthread[PTHREAD_RUNNING].pid, getpid());
            EXPECT_NE(pthread_equal(g_ac_pthread[PTHREAD_RUNNING].tid, receiver), 0);
            const int policy = policy_of(receiver);
            const struct sched_param unused = {};
            pthread_setschedparam(receiver, SCHED_BATCH, &unused);
            EXPECT_EQ(policy, policy_of(receiver)) << "it had all that this machine allows";
            EXPECT_EQ(g_ac_pthread[PTHREAD_RUNNING].mempool, nullptr);
            EXPECT_EQ(g_ac_pthread[PTHREAD_RUNNING].mempool_1, nullptr);
            EXPECT_EQ(receive_buffer_of(ac_load(gacwtp)), receive_buffer_after(700000));
            printf("now %d\n%s", receive_buffer_of(ac_load(gacwtp)), read_file("/etc/ac_conf").c_str());
            fflush(stdout);
            _exit(HasFailure() ? 1 : 0);
        });
        manage_thread_handle(nullptr);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    int before = 0, after = 0, now = 0, pid = 0, thread = 0;
    EXPECT_EQ(sscanf(child.out.c_str(),
                     "-------len=%d\nset ok-------len=%d\nnow %d\n manage_thread_handle pid:%d pthread_id:%d", &before,
                     &after, &now, &pid, &thread),
              5)
        << child.out;
    EXPECT_EQ(after, now);
    EXPECT_GT(after, 0);
    EXPECT_EQ(child.out.back(), '\n');
}

namespace {

// A process that has no pools yet, with a root and semaphores of its own.
void start_without_pools(char* root)
{
    setenv("AC_ROOT", mkdtemp(root), 1);
    setenv("AC_LAN_IF", "lo", 1);
    platform_init();
    FILE* port = fopen(ac_path("/var/config_cloud_ac.cfg").c_str(), "w");
    fputs("port=0\n", port);
    fclose(port);
    const UINT8 lan[4] = {127, 0, 0, 1};
    memcpy(g_ac_ip, lan, sizeof lan);
    sem_init(&udp_sem_sig, 0, 0);
    sem_init(&udp_discvr_sem_sig, 0, 0);
}

// A discovery request and an echo go to the AP socket as soon as that is bound.
void send_one_of_each()
{
    struct sockaddr_in to = {};
    while (to.sin_port == 0) {
        socklen_t size = sizeof to;
        getsockname(ac_load(gacwtp), reinterpret_cast<struct sockaddr*>(&to), &size);
        std::this_thread::yield();
    }
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    for (const unsigned type : {2U, 0U}) {
        ApFrame frame;
        frame.msg_type = type;
        const Bytes bytes = frame.bytes();
        (void)sendto(fd, bytes.data(), bytes.size(), 0, reinterpret_cast<struct sockaddr*>(&to), sizeof to);
    }
    close(fd);
}

// Whether the socket still holds both frames after the receiving thread has had many chances to take them.
bool nothing_is_taken()
{
    int length = 0;
    for (int i = 0; i < 200; i++) { // each may cost a turn of everybody else on a busy machine
        std::this_thread::yield();
        ioctl(ac_load(gacwtp), FIONREAD, &length);
    }
    return length == 28;
}

bool frames_wait_for_both_pools(bool (*first)(), bool (*second)())
{
    char root[] = "/tmp/wtp-unit-XXXXXX";
    start_without_pools(root);
    std::thread([] { manage_thread_handle(nullptr); }).detach();
    send_one_of_each();
    bool good = nothing_is_taken();
    good = first() && nothing_is_taken() && good;
    good = second() && good;
    sem_wait(&udp_discvr_sem_sig);
    sem_wait(&udp_sem_sig);
    good = good && udp_discvr_skb_first() != nullptr && udp_skb_first() != nullptr;
    std::filesystem::remove_all(root);
    return good;
}

} // namespace

// The pools are made once in a process: each of these runs in one that was started for it.
TEST(ReceptionDeathTest, no_frame_is_taken_before_the_pools_of_both_queues_stand)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(_exit(frames_wait_for_both_pools(udp_discvr_pools_make, udp_skb_pools_make) ? 0 : 9),
                testing::ExitedWithCode(0), "");
    EXPECT_EXIT(_exit(frames_wait_for_both_pools(udp_skb_pools_make, udp_discvr_pools_make) ? 0 : 9),
                testing::ExitedWithCode(0), "");
}
