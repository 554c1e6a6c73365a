#include "ac_wtp_protocol/acwtp_mempool.h"

#include <climits>
#include <cstring>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/udp_skb_queue.h"
#include "common/ac_alloc.h"
#include "pool_end.h"
#include "test_world.h"

namespace {

int zones_of(const CWMemoryPool& pool)
{
    int count = 0;
    for (const CWMemoryZone* zone = pool.pMemHead; zone != nullptr; zone = zone->pNext)
        count++;
    return count;
}

// The blocks of a list as usable addresses, checked in both directions.
std::vector<const void*> list_of(const CWMemoryBlock* head, const CWMemoryBlock* tail, std::ptrdiff_t behind)
{
    std::vector<const void*> found;
    const CWMemoryBlock* before = nullptr;
    for (const CWMemoryBlock* block = head; block != nullptr; block = block->pNext) {
        EXPECT_EQ(block->pPrev, before);
        found.push_back(block->data + behind);
        before = block;
    }
    EXPECT_EQ(tail, before);
    return found;
}

class AcwtpMempool : public ::testing::Test {
protected:
    void SetUp() override
    {
        ac_alloc_fail_after(-1);
        CWPool_init(&pool, 3, 40);
        CWPool_init(&other, 2, 40);
        char* first = static_cast<char*>(CWPool_alloc(&pool, 0));
        behind = first - pool.usedHead->data;
        CWPool_free(&pool, first);
    }
    void TearDown() override
    {
        ac_alloc_fail_after(-1);
        pool_end(&pool);
        pool_end(&other);
    }
    std::vector<const void*> used(const CWMemoryPool& p) const { return list_of(p.usedHead, p.usedTail, behind); }
    std::vector<const void*> free_ones(const CWMemoryPool& p) const { return list_of(p.freeHead, p.freeTail, behind); }

    CWMemoryPool pool, other;
    std::ptrdiff_t behind = 0; // from a storage's start to its usable bytes
};

using List = std::vector<const void*>;

} // namespace

TEST_F(AcwtpMempool, a_new_pool_has_its_blocks_free_and_grows_by_16)
{
    CWMemoryPool fresh;
    memset(&fresh, 0xEE, sizeof fresh);
    EXPECT_EQ(CWPool_init(&fresh, 5, 100), 0);
    EXPECT_EQ(fresh.blockCount, 5U);
    EXPECT_EQ(fresh.blockSize, 100U);
    EXPECT_EQ(fresh.freeCount, 5U);
    EXPECT_EQ(fresh.blockCountStep, 16U);
    EXPECT_EQ(fresh.usedHead, nullptr);
    EXPECT_EQ(fresh.usedTail, nullptr);
    EXPECT_EQ(fresh.next, nullptr);
    EXPECT_EQ(free_ones(fresh).size(), 5U);
    EXPECT_EQ(zones_of(fresh), 1);
    EXPECT_EQ(fresh.pMemHead, fresh.pMemTail);
    pool_end(&fresh);
}

TEST_F(AcwtpMempool, an_allocation_takes_the_head_of_the_free_list_to_the_tail_of_the_used_list)
{
    const List before = free_ones(pool);
    const void* a = CWPool_alloc(&pool, 0);
    const void* b = CWPool_alloc(&pool, 0);
    EXPECT_EQ(a, before[0]);
    EXPECT_EQ(b, before[1]);
    EXPECT_EQ(used(pool), (List{a, b}));
    EXPECT_EQ(free_ones(pool), (List{before[2]}));
    EXPECT_EQ(pool.freeCount, 1U);
}

TEST_F(AcwtpMempool, the_size_asked_for_is_ignored)
{
    const void* a = CWPool_alloc(&pool, 1000000);
    EXPECT_EQ(used(pool), (List{a}));
}

TEST_F(AcwtpMempool, a_release_goes_to_the_tail_of_the_free_list)
{
    void* a = CWPool_alloc(&pool, 0);
    const void* rest_1 = free_ones(pool)[0];
    const void* rest_2 = free_ones(pool)[1];
    EXPECT_EQ(CWPool_free(&pool, a), 0);
    EXPECT_EQ(free_ones(pool), (List{rest_1, rest_2, a}));
    EXPECT_EQ(pool.freeCount, 3U);
    EXPECT_TRUE(used(pool).empty());
}

TEST_F(AcwtpMempool, a_release_unlinks_head_middle_and_tail_of_the_used_list)
{
    void* a = CWPool_alloc(&pool, 0);
    void* b = CWPool_alloc(&pool, 0);
    void* c = CWPool_alloc(&pool, 0);
    CWPool_free(&pool, b);
    EXPECT_EQ(used(pool), (List{a, c}));
    CWPool_free(&pool, c);
    EXPECT_EQ(used(pool), (List{a}));
    b = CWPool_alloc(&pool, 0);
    CWPool_free(&pool, a);
    EXPECT_EQ(used(pool), (List{b}));
}

TEST_F(AcwtpMempool, a_block_released_to_an_empty_free_list_is_used_again)
{
    void* a = CWPool_alloc(&pool, 0);
    CWPool_alloc(&pool, 0);
    CWPool_alloc(&pool, 0);
    EXPECT_EQ(pool.freeHead, nullptr);
    EXPECT_EQ(pool.freeTail, nullptr);
    CWPool_free(&pool, a);
    EXPECT_EQ(free_ones(pool), (List{a}));
    EXPECT_EQ(CWPool_alloc(&pool, 0), a);
    EXPECT_EQ(zones_of(pool), 1);
}

TEST_F(AcwtpMempool, blocks_do_not_overlap_and_are_aligned)
{
    List blocks;
    for (int i = 0; i < 3; i++) {
        void* block = CWPool_alloc(&pool, 0);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignof(void*), 0U);
        memset(block, i + 1, pool.blockSize);
        blocks.push_back(block);
    }
    for (int i = 0; i < 3; i++) {
        const auto* bytes = static_cast<const UINT8*>(blocks[static_cast<std::size_t>(i)]);
        EXPECT_EQ(bytes[0], i + 1);
        EXPECT_EQ(bytes[pool.blockSize - 1], i + 1);
        CWPool_free(&pool, const_cast<UINT8*>(bytes));
    }
    EXPECT_EQ(pool.freeCount, 3U);
    EXPECT_EQ(free_ones(pool), blocks);
}

TEST_F(AcwtpMempool, a_dry_pool_grows_by_16_blocks_and_its_count_wraps_below_0)
{
    for (int i = 0; i < 3; i++)
        CWPool_alloc(&pool, 0);
    EXPECT_EQ(pool.freeCount, 0U);
    EXPECT_EQ(zones_of(pool), 1);
    EXPECT_NE(CWPool_alloc(&pool, 0), nullptr);
    EXPECT_EQ(zones_of(pool), 2);
    EXPECT_EQ(free_ones(pool).size(), 15U);
    EXPECT_EQ(pool.freeCount, UINT_MAX);
    EXPECT_EQ(pool.blockCount, 3U);
}

TEST_F(AcwtpMempool, a_pool_never_shrinks)
{
    List blocks;
    for (int i = 0; i < 4; i++)
        blocks.push_back(CWPool_alloc(&pool, 0));
    for (const void* block : blocks)
        CWPool_free(&pool, const_cast<void*>(block));
    EXPECT_EQ(free_ones(pool).size(), 19U);
    for (int i = 0; i < 19; i++)
        CWPool_alloc(&pool, 0);
    EXPECT_EQ(zones_of(pool), 2);
}

TEST_F(AcwtpMempool, a_block_released_to_another_pool_joins_that_one)
{
    void* strayed = CWPool_alloc(&pool, 0);
    CWPool_free(&other, strayed);
    EXPECT_EQ(other.freeCount, 3U);
    EXPECT_EQ(free_ones(other).size(), 3U);
    EXPECT_EQ(free_ones(other).back(), strayed);
    EXPECT_EQ(pool.freeCount, 2U);
    EXPECT_EQ(free_ones(pool).size(), 2U);
    CWPool_alloc(&other, 0);
    CWPool_alloc(&other, 0);
    EXPECT_EQ(CWPool_alloc(&other, 0), strayed);
}

TEST_F(AcwtpMempool, a_stray_release_leaves_the_used_lists_of_both_pools_right)
{
    void* a = CWPool_alloc(&pool, 0);
    void* b = CWPool_alloc(&pool, 0);
    void* c = CWPool_alloc(&pool, 0);
    const void* x = CWPool_alloc(&other, 0);
    CWPool_free(&other, b);
    EXPECT_EQ(used(pool), (List{a, c}));
    EXPECT_EQ(used(other), (List{x}));
    CWPool_free(&other, a);
    CWPool_free(&other, c);
    EXPECT_TRUE(used(pool).empty());
    EXPECT_EQ(used(other), (List{x}));
}

TEST_F(AcwtpMempool, a_block_knows_the_pool_that_gave_it_out)
{
    void* a = CWPool_alloc(&pool, 0);
    EXPECT_EQ(CWPool_owner(a), &pool);
    CWPool_free(&other, a);
    for (int i = 0; i < 3; i++)
        a = CWPool_alloc(&other, 0);
    EXPECT_EQ(CWPool_owner(a), &other);
}

TEST_F(AcwtpMempool, a_release_without_a_back_pointer_does_nothing)
{
    char* block = static_cast<char*>(CWPool_alloc(&pool, 0));
    const List before = free_ones(pool);
    CWMemoryBlock* back = nullptr;
    memcpy(&back, block - behind, sizeof back);
    const CWMemoryBlock* none = nullptr;
    memcpy(block - behind, &none, sizeof none);
    EXPECT_EQ(CWPool_free(&pool, block), 0);
    EXPECT_EQ(CWPool_owner(block), nullptr);
    EXPECT_EQ(free_ones(pool), before);
    EXPECT_EQ(pool.freeCount, 2U);
    memcpy(block - behind, &back, sizeof back);
    EXPECT_EQ(used(pool), (List{block}));
}

TEST_F(AcwtpMempool, the_back_pointer_stands_at_the_start_of_the_storage)
{
    const void* a = CWPool_alloc(&pool, 0);
    const CWMemoryBlock* back = nullptr;
    memcpy(&back, pool.usedHead->data, sizeof back);
    EXPECT_EQ(back, pool.usedHead);
    EXPECT_EQ(back->data + behind, a);
    EXPECT_GE(behind, std::ptrdiff_t{sizeof(void*)});
}

TEST_F(AcwtpMempool, growth_without_memory_gives_null_and_the_pool_stays_usable)
{
    List blocks;
    for (int i = 0; i < 3; i++)
        blocks.push_back(CWPool_alloc(&pool, 0));
    for (int refused = 0; refused < 3; refused++) { // the zone, its descriptors, its storage
        ac_alloc_fail_after(refused);
        EXPECT_EQ(CWPool_alloc(&pool, 0), nullptr);
        EXPECT_EQ(used(pool), blocks);
        EXPECT_EQ(pool.freeCount, 0U);
        EXPECT_EQ(zones_of(pool), 1);
    }
    ac_alloc_fail_after(-1);
    EXPECT_NE(CWPool_alloc(&pool, 0), nullptr);
    EXPECT_EQ(zones_of(pool), 2);
}

TEST_F(AcwtpMempool, a_zone_can_be_added_by_hand_and_leaves_the_counts)
{
    EXPECT_EQ(CWPool_block(&pool, 4, pool.blockSize), 0);
    EXPECT_EQ(free_ones(pool).size(), 7U);
    EXPECT_EQ(pool.freeCount, 3U);
    EXPECT_EQ(pool.blockCount, 3U);
    ac_alloc_fail_after(0);
    EXPECT_EQ(CWPool_block(&pool, 4, pool.blockSize), 255);
    EXPECT_EQ(free_ones(pool).size(), 7U);
}

TEST_F(AcwtpMempool, destruction_frees_the_storage_and_leaves_the_zone_records)
{
    CWPool_block(&pool, 4, pool.blockSize);
    EXPECT_EQ(CWPool_destroy(&pool), 0);
    EXPECT_EQ(zones_of(pool), 2);
    for (const CWMemoryZone* zone = pool.pMemHead; zone != nullptr; zone = zone->pNext) {
        EXPECT_EQ(zone->pBlockMemoryHead, nullptr);
        EXPECT_EQ(zone->pDataMemoryHead, nullptr);
    }
}

TEST(AcwtpMempoolDeathTest, a_pool_that_cannot_be_made_ends_the_process)
{
    for (int refused = 0; refused < 3; refused++) {
        EXPECT_EXIT(
            {
                CWMemoryPool pool;
                ac_alloc_fail_after(refused);
                CWPool_init(&pool, 3, 40);
            },
            ::testing::KilledBySignal(SIGABRT), "malloc: ");
    }
}

TEST_F(TestWorld, the_daemon_s_pools_have_their_blocks)
{
    const CWMemoryPool* notes = g_ac_pthread[PTHREAD_AC_SQL].mempool;
    EXPECT_EQ(notes->blockCount, 1000U);
    EXPECT_EQ(notes->blockSize, 64U);
    EXPECT_EQ(g_ac_pthread[PTHREAD_AC_SQL].mempool_1, nullptr);
    const CWMemoryPool* discovery = g_ac_pthread[PTHREAD_DISCORVER].mempool_1;
    EXPECT_EQ(g_ac_pthread[PTHREAD_DISCORVER].mempool, nullptr);
    EXPECT_EQ(discovery->blockCount, 1000U);
    EXPECT_EQ(discovery->blockSize, 256U + AC_SKB_EXTRA);
    const CWMemoryPool* large = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool;
    EXPECT_EQ(large->blockCount, 600U);
    EXPECT_EQ(large->blockSize, 4096U + AC_SKB_EXTRA);
    const CWMemoryPool* small = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1;
    EXPECT_EQ(small->blockCount, 1000U);
    EXPECT_EQ(small->blockSize, 256U + AC_SKB_EXTRA);
    for (const ac_pthread row : {PTHREAD_AC_MSG, PTHREAD_RUNNING, PTHREAD_AC_CHECK, PTHREAD_AC_UPGRADE}) {
        EXPECT_EQ(g_ac_pthread[row].mempool, nullptr);
        EXPECT_EQ(g_ac_pthread[row].mempool_1, nullptr);
    }
}

TEST_F(TestWorld, the_601st_simultaneous_large_frame_grows_the_pool_by_16_blocks)
{
    CWMemoryPool* large = g_ac_pthread[PTHREAD_UDP_QUEUE].mempool;
    std::vector<AC_UDP_SKB_INFO*> frames;
    ac_lock lock(g_udp_skb_mutex);
    for (int i = 0; i < 600; i++)
        frames.push_back(udp_skb_alloc(257));
    EXPECT_EQ(large->freeCount, 0U);
    EXPECT_EQ(zones_of(*large), 1);
    frames.push_back(udp_skb_alloc(257));
    EXPECT_EQ(large->freeCount, UINT_MAX);
    EXPECT_EQ(zones_of(*large), 2);
    for (int i = 0; i < 15; i++)
        frames.push_back(udp_skb_alloc(257));
    EXPECT_EQ(large->freeHead, nullptr);
    for (AC_UDP_SKB_INFO* frame : frames) {
        ASSERT_NE(frame, nullptr);
        CWPool_free(large, frame);
    }
    EXPECT_EQ(large->freeCount, 600U);
}
