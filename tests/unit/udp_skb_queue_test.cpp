#include "ac_wtp_protocol/udp_skb_queue.h"

#include <climits>
#include <cstring>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "ap_frame.h"
#include "child_process.h"
#include "common/ac_alloc.h"
#include "printed.h"

namespace {

constexpr UINT8 SOURCE_IP[4] = {10, 2, 3, 4};
constexpr UINT16 SOURCE_PORT = 7000;

// Bytes that don't repeat soon and don't compress well.
Bytes pattern(std::size_t size)
{
    Bytes bytes;
    UINT32 state = 12345;
    for (std::size_t i = 0; i < size; i++) {
        state = state * 1103515245 + 12345;
        bytes.push_back(static_cast<UINT8>(state >> 16));
    }
    return bytes;
}

class UdpSkbQueue : public TestWorld {
protected:
    void SetUp() override
    {
        TestWorld::SetUp();
        large = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool;
        small = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1;
        discovery = g_ac_pthread[PTHREAD_DISCORVER].mempool_1;
        from = address_from("10.2.3.4", SOURCE_PORT);
    }

    AC_RET queue_in(const ApFrame& frame)
    {
        const Bytes bytes = frame.bytes();
        return udp_skb_queue_in(SOURCE_IP, SOURCE_PORT, &from, as_frame(bytes));
    }
    AC_RET discovery_in(const ApFrame& frame)
    {
        const Bytes bytes = frame.bytes();
        return udp_discvr_skb_queue_in(SOURCE_IP, SOURCE_PORT, &from, as_frame(bytes));
    }
    static const CLOUD_AP_UDP_PKT* as_frame(const Bytes& bytes)
    {
        return static_cast<const CLOUD_AP_UDP_PKT*>(static_cast<const void*>(bytes.data()));
    }
    static int waiting()
    {
        ac_lock lock(g_udp_skb_mutex);
        return udp_data_num_in_queue;
    }
    static int discovery_waiting()
    {
        ac_lock lock(g_discvr_udp_skb_mutex);
        return udp_discvr_data_num_in_queue;
    }

    // A client report: `reserve` holds the length that the sender claims.
    static ApFrame report(const Bytes& payload, std::size_t reserve)
    {
        ApFrame frame;
        frame.msg_type = 9;
        frame.payload = payload;
        frame.reserve = static_cast<unsigned>(reserve);
        return frame;
    }
    // Refused with "data error.", the large pool a block short and the small one a block richer.
    void expect_data_error(const ApFrame& frame)
    {
        const unsigned small_before = small->freeCount;
        const unsigned large_before = large->freeCount;
        AC_RET result = AC_RET_OK;
        const std::string out = output_of([&] { result = queue_in(frame); });
        EXPECT_EQ(result, AC_RET_ERROR);
        EXPECT_EQ(message_of(out), "data error.\n");
        EXPECT_EQ(waiting(), 0);
        EXPECT_EQ(small->freeCount, small_before + 1);
        EXPECT_EQ(large->freeCount, large_before - 1);
    }

    CWMemoryPool* large = nullptr;
    CWMemoryPool* small = nullptr;
    CWMemoryPool* discovery = nullptr;
    struct sockaddr_in from = {};
};

} // namespace

TEST_F(UdpSkbQueue, a_payload_of_192_bytes_goes_to_the_small_pool_and_one_of_193_to_the_large_one)
{
    const unsigned small_before = small->freeCount;
    const unsigned large_before = large->freeCount;
    ApFrame frame;
    frame.payload = pattern(192);
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    EXPECT_EQ(small->freeCount, small_before - 1);
    EXPECT_EQ(large->freeCount, large_before);
    frame.payload = pattern(193);
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    EXPECT_EQ(small->freeCount, small_before - 1);
    EXPECT_EQ(large->freeCount, large_before - 1);
    udp_skb_done(udp_skb_first());
    EXPECT_EQ(small->freeCount, small_before);
    EXPECT_EQ(large->freeCount, large_before - 1);
    udp_skb_done(udp_skb_first());
    EXPECT_EQ(large->freeCount, large_before);
}

TEST_F(UdpSkbQueue, a_size_of_256_takes_a_small_block_and_257_a_large_one)
{
    ac_lock lock(g_udp_skb_mutex);
    AC_UDP_SKB_INFO* at_limit = udp_skb_alloc(256);
    AC_UDP_SKB_INFO* above = udp_skb_alloc(257);
    EXPECT_EQ(CWPool_owner(at_limit), small);
    EXPECT_EQ(CWPool_owner(above), large);
    CWPool_free(small, at_limit);
    CWPool_free(large, above);
}

TEST_F(UdpSkbQueue, a_discovery_frame_of_any_size_takes_a_block_of_its_own_pool)
{
    ac_lock lock(g_discvr_udp_skb_mutex);
    for (const UINT32 size : {64U, 256U, 257U}) {
        AC_UDP_SKB_INFO* frame = udp_discvr_skb_alloc(size);
        EXPECT_EQ(CWPool_owner(frame), discovery);
        CWPool_free(discovery, frame);
    }
}

TEST_F(UdpSkbQueue, a_block_is_cleared_when_it_is_taken_again)
{
    ac_lock lock(g_udp_skb_mutex);
    for (unsigned i = 0; i <= small->blockCount; i++) { // the free list is a queue: once round
        AC_UDP_SKB_INFO* frame = udp_skb_alloc(64);
        EXPECT_EQ(frame->toltal_len, 0U);
        EXPECT_EQ(frame->port, 0);
        EXPECT_EQ(frame->portal_addr.sin_port, 0);
        EXPECT_EQ(frame->udp_pkt()->msg_length, 0U);
        EXPECT_TRUE(list_empty(&frame->list));
        memset(static_cast<void*>(frame), 0xEE, sizeof *frame + AC_FRAME_HEAD);
        CWPool_free(small, frame);
    }
}

TEST_F(UdpSkbQueue, a_queued_frame_has_its_source_its_size_and_its_bytes)
{
    ApFrame frame;
    frame.payload = pattern(300);
    frame.crc = 0x11223344;
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    const AC_UDP_SKB_INFO* queued = udp_skb_first();
    ASSERT_NE(queued, nullptr);
    EXPECT_EQ(queued->toltal_len, 364U);
    EXPECT_EQ(memcmp(queued->ipaddr, SOURCE_IP, 4), 0);
    EXPECT_EQ(queued->port, SOURCE_PORT);
    EXPECT_EQ(memcmp(&queued->portal_addr, &from, sizeof from), 0);
    const Bytes bytes = frame.bytes();
    EXPECT_EQ(memcmp(queued->udp_pkt(), bytes.data(), bytes.size()), 0);
    EXPECT_EQ(queued->payload().size(), 300U);
}

TEST_F(UdpSkbQueue, a_queued_discovery_frame_has_its_source_its_size_and_its_bytes)
{
    ApFrame frame;
    frame.msg_type = 2;
    frame.payload = pattern(44);
    EXPECT_EQ(discovery_in(frame), AC_RET_OK);
    EXPECT_EQ(discovery_waiting(), 1);
    EXPECT_EQ(waiting(), 0);
    AC_UDP_SKB_INFO* queued = udp_discvr_skb_first();
    ASSERT_NE(queued, nullptr);
    EXPECT_EQ(queued->toltal_len, 108U);
    EXPECT_EQ(memcmp(queued->ipaddr, SOURCE_IP, 4), 0);
    EXPECT_EQ(queued->port, SOURCE_PORT);
    EXPECT_EQ(memcmp(&queued->portal_addr, &from, sizeof from), 0);
    const Bytes bytes = frame.bytes();
    EXPECT_EQ(memcmp(queued->udp_pkt(), bytes.data(), bytes.size()), 0);
    const unsigned before = discovery->freeCount;
    udp_discvr_skb_done(queued);
    EXPECT_EQ(discovery->freeCount, before + 1);
    EXPECT_EQ(discovery_waiting(), 0);
}

TEST_F(UdpSkbQueue, the_largest_datagram_fits_a_large_block)
{
    ApFrame frame;
    frame.payload = pattern(2020);
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    const Bytes bytes = frame.bytes();
    EXPECT_EQ(memcmp(udp_skb_first()->udp_pkt(), bytes.data(), bytes.size()), 0);
}

TEST_F(UdpSkbQueue, frames_leave_in_the_order_they_came)
{
    ApFrame frame;
    for (unsigned seq = 0; seq < 3; seq++) {
        frame.seq_num = seq;
        EXPECT_EQ(queue_in(frame), AC_RET_OK);
    }
    EXPECT_EQ(waiting(), 3);
    for (unsigned seq = 0; seq < 3; seq++) {
        AC_UDP_SKB_INFO* queued = udp_skb_first();
        EXPECT_EQ(queued->udp_pkt()->seq_num, seq);
        udp_skb_done(queued);
    }
    EXPECT_EQ(waiting(), 0);
    EXPECT_EQ(udp_skb_first(), nullptr);
    EXPECT_EQ(udp_discvr_skb_first(), nullptr);
}

TEST_F(UdpSkbQueue, no_frame_is_refused_without_a_word)
{
    const std::string out = output_of([&] {
        EXPECT_EQ(udp_skb_queue_in(SOURCE_IP, SOURCE_PORT, &from, nullptr), AC_RET_ERROR);
        EXPECT_EQ(udp_discvr_skb_queue_in(SOURCE_IP, SOURCE_PORT, &from, nullptr), AC_RET_ERROR);
    });
    EXPECT_EQ(out, "");
}

TEST_F(UdpSkbQueue, the_1501st_frame_is_accepted_and_the_1502nd_lost_without_a_word)
{
    ApFrame frame;
    for (int i = 0; i < 1501; i++)
        ASSERT_EQ(queue_in(frame), AC_RET_OK) << i;
    EXPECT_EQ(waiting(), 1501);
    EXPECT_EQ(output_of([&] { EXPECT_EQ(queue_in(frame), AC_RET_ERROR); }), "");
    EXPECT_EQ(waiting(), 1501);
    udp_skb_done(udp_skb_first());
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
}

TEST_F(UdpSkbQueue, the_1501st_discovery_frame_is_accepted_and_the_1502nd_lost_without_a_word)
{
    ApFrame frame;
    frame.msg_type = 2;
    for (int i = 0; i < 1501; i++)
        ASSERT_EQ(discovery_in(frame), AC_RET_OK) << i;
    EXPECT_EQ(discovery_waiting(), 1501);
    EXPECT_EQ(output_of([&] { EXPECT_EQ(discovery_in(frame), AC_RET_ERROR); }), "");
    EXPECT_EQ(discovery_waiting(), 1501);
    EXPECT_EQ(queue_in(frame), AC_RET_OK) << "the other queue has its own count";
}

TEST_F(UdpSkbQueue, a_frame_is_dropped_with_the_system_s_reason_when_no_memory_is_left)
{
    ApFrame frame;
    while (small->freeHead != nullptr)
        ASSERT_EQ(queue_in(frame), AC_RET_OK);
    const int before = waiting();
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(output_of([&] { EXPECT_EQ(queue_in(frame), AC_RET_ERROR); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0U);
    EXPECT_EQ(waiting(), before);
    EXPECT_EQ(queue_in(frame), AC_RET_OK) << "the pool grows as soon as there is memory";
}

TEST_F(UdpSkbQueue, a_discovery_frame_is_dropped_with_the_system_s_reason_when_no_memory_is_left)
{
    ApFrame frame;
    frame.msg_type = 2;
    while (discovery->freeHead != nullptr)
        ASSERT_EQ(discovery_in(frame), AC_RET_OK);
    const int before = discovery_waiting();
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(discovery_in(frame), AC_RET_ERROR);
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0U);
    EXPECT_EQ(discovery_waiting(), before);
}

TEST_F(UdpSkbQueue, a_report_with_equal_lengths_is_stored_as_it_came)
{
    const ApFrame frame = report(pattern(280), 280);
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    const AC_UDP_SKB_INFO* queued = udp_skb_first();
    EXPECT_EQ(queued->toltal_len, 344U);
    const Bytes bytes = frame.bytes();
    EXPECT_EQ(memcmp(queued->udp_pkt(), bytes.data(), bytes.size()), 0);
}

TEST_F(UdpSkbQueue, a_report_with_different_lengths_is_inflated_and_its_header_says_so)
{
    const Bytes plain = pattern(560);
    ApFrame frame = report(deflated(plain), plain.size());
    frame.crc = crc_of(frame.payload);
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    const AC_UDP_SKB_INFO* queued = udp_skb_first();
    ASSERT_NE(queued, nullptr);
    EXPECT_EQ(queued->toltal_len, 624U);
    EXPECT_EQ(queued->udp_pkt()->msg_length, 560U);
    EXPECT_EQ(queued->udp_pkt()->reserve, 560);
    EXPECT_EQ(queued->udp_pkt()->crc, frame.crc) << "that of the compressed bytes";
    EXPECT_EQ(Bytes(queued->payload().begin(), queued->payload().end()), plain);
    const Bytes bytes = frame.bytes();
    EXPECT_EQ(memcmp(queued->udp_pkt(), bytes.data(), 20), 0) << "all in front of the length";
}

TEST_F(UdpSkbQueue, only_message_9_itself_is_inflated)
{
    ApFrame frame = report(pattern(40), 560);
    frame.msg_type = 0x0109;
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
    EXPECT_EQ(udp_skb_first()->udp_pkt()->msg_length, 40U);
    frame.msg_type = 0;
    EXPECT_EQ(queue_in(frame), AC_RET_OK);
}

TEST_F(UdpSkbQueue, a_report_of_3072_plain_bytes_is_accepted_and_one_of_3073_is_a_data_error)
{
    const Bytes most(3072, 0x5A);
    EXPECT_EQ(queue_in(report(deflated(most), most.size())), AC_RET_OK);
    AC_UDP_SKB_INFO* queued = udp_skb_first();
    EXPECT_EQ(queued->toltal_len, 3136U);
    EXPECT_EQ(Bytes(queued->payload().begin(), queued->payload().end()), most);
    udp_skb_done(queued);
    const Bytes too_many(3073, 0x5A);
    expect_data_error(report(deflated(too_many), too_many.size()));
    expect_data_error(report(deflated(too_many), 0xFFFF));
}

TEST_F(UdpSkbQueue, a_report_that_claims_too_little_or_too_much_is_a_data_error)
{
    const Bytes plain = pattern(560);
    expect_data_error(report(deflated(plain), 559));
    expect_data_error(report(deflated(plain), 561));
    expect_data_error(report(deflated(plain), 0));
}

TEST_F(UdpSkbQueue, a_bad_stream_is_a_data_error)
{
    const Bytes plain = pattern(560);
    const Bytes packed = deflated(plain);
    Bytes wrong_head = packed;
    wrong_head[0] ^= 0xFF;
    expect_data_error(report(wrong_head, plain.size()));
    expect_data_error(report(Bytes(200, 0xFF), plain.size()));
    expect_data_error(report({0x78}, plain.size()));
    expect_data_error(report({}, plain.size()));
}

TEST_F(UdpSkbQueue, a_stream_cut_at_any_length_is_a_data_error_or_whole)
{
    Bytes plain = pattern(300);
    for (UINT8& byte : plain)
        byte &= 7;
    const Bytes packed = deflated(plain);
    ASSERT_LT(packed.size(), plain.size()) << "or a cut of equal length would pass as a plain report";
    for (std::size_t size = 0; size < packed.size(); size++) {
        const Bytes cut(packed.begin(), packed.begin() + static_cast<std::ptrdiff_t>(size));
        AC_RET result = AC_RET_OK;
        output_of([&] { result = queue_in(report(cut, plain.size())); });
        if (result != AC_RET_OK) continue;
        EXPECT_GE(size + 5, packed.size()) << "only the end mark and the checksum may be missing";
        AC_UDP_SKB_INFO* queued = udp_skb_first();
        EXPECT_EQ(Bytes(queued->payload().begin(), queued->payload().end()), plain);
        udp_skb_done(queued);
    }
}

TEST_F(UdpSkbQueue, a_stream_that_inflates_to_a_megabyte_stays_inside_its_block)
{
    const Bytes bomb = deflated(Bytes(1 << 20, 0));
    ASSERT_LE(bomb.size(), 2020U);
    for (const std::size_t claimed : {std::size_t{3073}, std::size_t{4096}, std::size_t{65535}})
        expect_data_error(report(bomb, claimed));
}

TEST_F(UdpSkbQueue, the_size_is_the_whole_test_so_a_wrong_checksum_passes)
{
    const Bytes plain = pattern(560);
    Bytes packed = deflated(plain);
    packed.back() ^= 0xFF;
    EXPECT_EQ(queue_in(report(packed, plain.size())), AC_RET_OK);
    EXPECT_EQ(udp_skb_first()->udp_pkt()->msg_length, 560U);
}

TEST_F(UdpSkbQueue, a_report_that_is_small_when_inflated_leaves_its_block_to_the_small_pool)
{
    const unsigned small_before = small->freeCount;
    const unsigned large_before = large->freeCount;
    for (const std::size_t size : {std::size_t{192}, std::size_t{193}}) {
        const Bytes plain(size, 0x5A);
        ASSERT_EQ(queue_in(report(deflated(plain), size)), AC_RET_OK);
        udp_skb_done(udp_skb_first());
    }
    EXPECT_EQ(small->freeCount, small_before + 1) << "of the 192 bytes";
    EXPECT_EQ(large->freeCount, large_before - 1);
}

TEST_F(UdpSkbQueue, a_flood_of_bad_reports_costs_a_bounded_number_of_large_blocks)
{
    const unsigned large_before = large->freeCount;
    const ApFrame bad = report({0x78}, 560);
    output_of([&] {
        for (int i = 0; i < 2000; i++)
            (void)queue_in(bad); // refused, as the tests above show
    });
    EXPECT_EQ(large_before - large->freeCount, 600U);
}

TEST_F(UdpSkbQueue, a_post_wakes_one_wait)
{
    trim_sig(&udp_sem_sig);
    EXPECT_EQ(sem_trywait(&udp_sem_sig), 0);
    EXPECT_NE(sem_trywait(&udp_sem_sig), 0);
}

TEST_F(UdpSkbQueue, pools_without_memory_for_a_record_are_not_made)
{
    for (int refused = 0; refused < 2; refused++) {
        ac_alloc_fail_after(refused);
        EXPECT_FALSE(udp_skb_pools_make()) << refused;
        EXPECT_EQ(g_ac_pthread[PTHREAD_UDP_QUEUE].mempool, large) << "nothing half made";
    }
    ac_alloc_fail_after(0);
    EXPECT_FALSE(udp_discvr_pools_make());
    EXPECT_EQ(g_ac_pthread[PTHREAD_DISCORVER].mempool_1, discovery);
}
