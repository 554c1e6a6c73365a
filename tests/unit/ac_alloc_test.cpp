#include "common/ac_alloc.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <semaphore>
#include <thread>
#include <vector>

#include "common/ac_lock.h"

namespace {

class AcAlloc : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(ac_retired_sweep(), 0U); }
    void TearDown() override
    {
        ac_alloc_fail_after(-1);
        EXPECT_EQ(ac_retired_sweep(), 0U);
    }
    static int* record(int value)
    {
        auto* made = static_cast<int*>(ac_record_alloc(sizeof(int)));
        *made = value;
        return made;
    }
};

} // namespace

TEST_F(AcAlloc, the_allocation_after_the_count_fails_once)
{
    ac_alloc_fail_after(1);
    void* first = ac_malloc(8);
    EXPECT_NE(first, nullptr);
    EXPECT_EQ(ac_malloc(8), nullptr);
    void* third = ac_malloc(8);
    EXPECT_NE(third, nullptr);
    ac_free(first);
    ac_free(third);
}

TEST_F(AcAlloc, a_count_of_zero_fails_the_next_and_a_negative_one_none)
{
    ac_alloc_fail_after(0);
    EXPECT_EQ(ac_calloc(8), nullptr);
    ac_alloc_fail_after(-1);
    void* memory = ac_calloc(8);
    EXPECT_NE(memory, nullptr);
    ac_free(memory);
}

TEST_F(AcAlloc, the_count_covers_records_too)
{
    ac_alloc_fail_after(0);
    EXPECT_EQ(ac_record_alloc(8), nullptr);
}

TEST_F(AcAlloc, cleared_memory_and_records_start_as_zeros)
{
    static constexpr UINT8 zeros[64] = {};
    void* memory = ac_calloc(sizeof zeros);
    void* made = ac_record_alloc(sizeof zeros);
    EXPECT_EQ(memcmp(memory, zeros, sizeof zeros), 0);
    EXPECT_EQ(memcmp(made, zeros, sizeof zeros), 0);
    ac_free(memory);
    ac_record_free(made);
}

TEST_F(AcAlloc, a_record_is_aligned_for_anything)
{
    for (std::size_t size = 1; size < 40; size++) {
        void* made = ac_record_alloc(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(made) % alignof(std::max_align_t), 0U);
        ac_record_free(made);
    }
}

TEST_F(AcAlloc, null_may_be_freed_and_retired)
{
    ac_free(nullptr);
    ac_record_free(nullptr);
    ac_retire(nullptr);
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, a_retired_record_survives_while_a_section_is_open_and_is_freed_after)
{
    int* kept = nullptr;
    {
        ac_reader section;
        kept = record(42);
        ac_retire(kept);
        EXPECT_EQ(ac_retired_sweep(), 1U);
        EXPECT_EQ(*kept, 42);
    }
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, without_a_section_a_retired_record_goes_with_the_next_sweep)
{
    ac_retire(record(1));
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, an_inner_section_s_end_frees_nothing_that_the_outer_one_holds)
{
    ac_reader outer;
    int* kept = record(42);
    {
        ac_reader inner;
        ac_retire(kept);
    }
    EXPECT_EQ(ac_retired_sweep(), 1U);
    EXPECT_EQ(*kept, 42);
    // TearDown sees it freed once `outer` has ended.
}

TEST_F(AcAlloc, a_section_that_began_after_the_retirement_does_not_hold_the_record)
{
    ac_retire(record(1));
    ac_reader section;
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, a_section_holds_what_is_retired_in_it_and_not_what_went_before)
{
    ac_retire(record(1));
    ac_reader section;
    int* kept = record(2);
    ac_retire(kept);
    EXPECT_EQ(ac_retired_sweep(), 1U);
    EXPECT_EQ(*kept, 2);
}

TEST_F(AcAlloc, a_section_that_pauses_holds_nothing_until_it_goes_on)
{
    const ac_reader outer;
    const ac_reader inner;
    ac_retire(record(1));
    EXPECT_EQ(ac_retired_sweep(), 1U);
    {
        const ac_reader_pause pause;
        EXPECT_EQ(ac_retired_sweep(), 0U);
        {
            const ac_reader section;
            ac_retire(record(2));
            EXPECT_EQ(ac_retired_sweep(), 1U) << "a section of its own";
        }
        EXPECT_EQ(ac_retired_sweep(), 0U);
    }
    int* kept = record(3);
    ac_retire(kept);
    EXPECT_EQ(ac_retired_sweep(), 1U);
    EXPECT_EQ(*kept, 3);
    // TearDown sees it freed once both sections have ended.
}

TEST_F(AcAlloc, a_pause_without_a_section_changes_nothing)
{
    {
        const ac_reader_pause pause;
    }
    ac_retire(record(1));
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, another_thread_s_section_holds_the_record)
{
    std::binary_semaphore opened(0), close(0);
    std::thread reader([&] {
        ac_reader section;
        opened.release();
        close.acquire();
    });
    opened.acquire();
    int* kept = record(42);
    ac_retire(kept);
    EXPECT_EQ(ac_retired_sweep(), 1U);
    EXPECT_EQ(*kept, 42);
    close.release();
    reader.join();
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, a_thread_that_ended_holds_nothing)
{
    std::thread([] { ac_reader section; }).join();
    ac_retire(record(1));
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, many_retirements_sweep_by_themselves)
{
    for (int i = 0; i < 1000; i++)
        ac_retire(record(i));
    ac_reader section; // holds none of them, and keeps none that is still there from being counted
    EXPECT_EQ(ac_retired_sweep(), 0U);
}

TEST_F(AcAlloc, many_retirements_in_a_section_all_wait_for_its_end)
{
    static constexpr int count = 1000;
    std::vector<int*> kept;
    ac_reader section;
    for (int i = 0; i < count; i++) {
        kept.push_back(record(i));
        ac_retire(kept.back());
    }
    for (int i = 0; i < count; i++)
        EXPECT_EQ(*kept[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(ac_retired_sweep(), static_cast<std::size_t>(count));
}

// One thread replaces a shared record again and again, others read it: no reader may meet a freed one.
TEST_F(AcAlloc, a_record_replaced_under_many_readers_is_whole_for_each_of_them)
{
    static constexpr int rounds = 3000;
    static constexpr int readers = 3;
    ac_mutex mutex("shared record", AC_RANK_CLIENT);
    int* shared = record(0);
    std::atomic<bool> ended{false};
    std::atomic<int> backwards{0};
    const auto read = [&] {
        int last = 0;
        while (!ended.load()) {
            ac_reader section;
            const int* seen = nullptr;
            {
                ac_lock lock(mutex);
                seen = shared;
            }
            if (*seen < last) backwards++;
            last = *seen;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < readers; i++)
        threads.emplace_back(read);
    for (int i = 1; i <= rounds; i++) {
        int* fresh = record(i);
        int* old = nullptr;
        {
            ac_lock lock(mutex);
            old = shared;
            shared = fresh;
        }
        ac_retire(old);
    }
    ended.store(true);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(backwards.load(), 0);
    ac_retire(shared);
}
