// ac_alloc - memory that can be refused, and records that outlive their deletion.
//
// Two needs, two families. ac_malloc and ac_calloc are malloc with a test's finger on them: ac_alloc_fail_after makes a
// later call return null, so that every "no memory" path is a path that runs in a test.
//
// Records that a finder hands out as plain pointers come from ac_record_alloc. Whoever unlinks one gives it to
// ac_retire, not to free: another thread may still hold the pointer. A thread that uses such pointers does so inside an
// ac_reader section (one datagram, one queue item, one tick); a retired record is freed only when every section that
// was open at its retirement has ended. Sections cost two stores, retiring costs no allocation.
//
// Threads  any. The retired list has a mutex of its own, the last in the lock order but the platform's.
#pragma once

#include <cstddef>

#include "common/ac_types.h"

void* ac_malloc(std::size_t size);
void* ac_calloc(std::size_t size); // zeroed
void ac_free(void* memory);

// Tests: the allocation after `count` successful ones fails, once; a negative count means none does. The count is
// process-wide and covers ac_record_alloc too.
void ac_alloc_fail_after(int count);

// A zeroed record of `size` bytes, or null. Freed by ac_retire, or by ac_record_free while no other thread knows it.
void* ac_record_alloc(std::size_t size);
void ac_record_free(void* record);

// Frees `record` once no section that is open now can still hold it. Null is ignored.
void ac_retire(void* record);

// Frees what can be freed now; returns the number still waiting. The clock thread calls it each tick, ac_retire itself
// when many wait.
std::size_t ac_retired_sweep();

// While one lives, no record that was reachable at its start is freed. May nest. Keep it short: it holds memory back.
class [[nodiscard]] ac_reader {
public:
    ac_reader();
    ~ac_reader();
    ac_reader(const ac_reader&) = delete;
    ac_reader& operator=(const ac_reader&) = delete;
};

// Around a wait for somebody outside that may never end: while one lives, this thread's section holds nothing back.
// Pointers from before it are not to be used after it. Outside a section it does nothing.
class [[nodiscard]] ac_reader_pause {
public:
    ac_reader_pause();
    ~ac_reader_pause();
    ac_reader_pause(const ac_reader_pause&) = delete;
    ac_reader_pause& operator=(const ac_reader_pause&) = delete;

private:
    int depth_; // sections that are open around it
};
