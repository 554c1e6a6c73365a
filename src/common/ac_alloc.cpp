#include "common/ac_alloc.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "common/ac_lock.h"

namespace {

std::atomic<int> g_fail_after{-1};

bool alloc_refused()
{
    int left = g_fail_after.load(std::memory_order_relaxed);
    if (left < 0) return false;
    g_fail_after.store(left - 1, std::memory_order_relaxed);
    return left == 0;
}

// In front of every record: the retired list needs no memory of its own.
struct alignas(std::max_align_t) record_head {
    record_head* next;
    std::uint64_t epoch; // of the retirement
};

// One per thread that ever opened a section. Never freed before the thread ends; `epoch` is 0 outside sections.
struct reader_slot {
    std::atomic<std::uint64_t> epoch{0};
    reader_slot* next = nullptr;
    int depth = 0; // touched by its own thread only
    reader_slot();
    ~reader_slot();
};

constexpr std::size_t SWEEP_ABOVE = 64; // waiting records at which ac_retire sweeps by itself

ac_mutex g_retire_mutex("g_retire_mutex", AC_RANK_RETIRE);
reader_slot* g_readers AC_GUARDED_BY(g_retire_mutex) = nullptr;
record_head* g_retired AC_GUARDED_BY(g_retire_mutex) = nullptr;
std::size_t g_retired_num AC_GUARDED_BY(g_retire_mutex) = 0;
std::size_t g_sweep_at AC_GUARDED_BY(g_retire_mutex) = SWEEP_ABOVE;
std::atomic<std::uint64_t> g_epoch{1};

reader_slot::reader_slot()
{
    ac_lock lock(g_retire_mutex);
    next = g_readers;
    g_readers = this;
}

reader_slot::~reader_slot()
{
    ac_lock lock(g_retire_mutex);
    for (reader_slot** link = &g_readers; *link != nullptr; link = &(*link)->next) {
        if (*link != this) continue;
        *link = next;
        return;
    }
}

reader_slot& own_slot()
{
    thread_local reader_slot slot;
    return slot;
}

std::uint64_t oldest_section() AC_REQUIRES(g_retire_mutex)
{
    std::uint64_t oldest = UINT64_MAX;
    for (reader_slot* slot = g_readers; slot != nullptr; slot = slot->next) {
        const std::uint64_t epoch = slot->epoch.load();
        if (epoch != 0 && epoch < oldest) oldest = epoch;
    }
    return oldest;
}

// Unlinks what no section can hold; the caller frees the chain without the lock.
record_head* take_free_records() AC_REQUIRES(g_retire_mutex)
{
    const std::uint64_t oldest = oldest_section();
    record_head* taken = nullptr;
    for (record_head** link = &g_retired; *link != nullptr;) {
        record_head* head = *link;
        if (head->epoch >= oldest) {
            link = &head->next;
            continue;
        }
        *link = head->next;
        head->next = taken;
        taken = head;
        g_retired_num--;
    }
    g_sweep_at = 2 * g_retired_num + SWEEP_ABOVE; // a long section must not make every retirement scan the list
    return taken;
}

void free_chain(record_head* chain)
{
    while (chain != nullptr) {
        record_head* next = chain->next;
        free(chain);
        chain = next;
    }
}

} // namespace

void* ac_malloc(std::size_t size)
{
    return alloc_refused() ? nullptr : malloc(size);
}

void* ac_calloc(std::size_t size)
{
    return alloc_refused() ? nullptr : calloc(1, size);
}

void ac_free(void* memory)
{
    free(memory);
}

void ac_alloc_fail_after(int count)
{
    g_fail_after.store(count, std::memory_order_relaxed);
}

void* ac_record_alloc(std::size_t size)
{
    auto* head = static_cast<record_head*>(ac_calloc(sizeof(record_head) + size));
    return head == nullptr ? nullptr : head + 1;
}

void ac_record_free(void* record)
{
    if (record != nullptr) free(static_cast<record_head*>(record) - 1);
}

void ac_retire(void* record)
{
    if (record == nullptr) return;
    record_head* chain = nullptr;
    {
        ac_lock lock(g_retire_mutex);
        record_head* head = static_cast<record_head*>(record) - 1;
        head->epoch = g_epoch.fetch_add(1); // sections that begin from now on have a higher number
        head->next = g_retired;
        g_retired = head;
        g_retired_num++;
        if (g_retired_num > g_sweep_at) chain = take_free_records();
    }
    free_chain(chain);
}

std::size_t ac_retired_sweep()
{
    record_head* chain = nullptr;
    std::size_t waiting = 0;
    {
        ac_lock lock(g_retire_mutex);
        chain = take_free_records();
        waiting = g_retired_num;
    }
    free_chain(chain);
    return waiting;
}

ac_reader::ac_reader()
{
    reader_slot& slot = own_slot();
    if (slot.depth++ == 0) slot.epoch.store(g_epoch.load());
}

ac_reader::~ac_reader()
{
    reader_slot& slot = own_slot();
    if (--slot.depth == 0) slot.epoch.store(0);
}

ac_reader_pause::ac_reader_pause() : depth_(std::exchange(own_slot().depth, 0))
{
    own_slot().epoch.store(0);
}

ac_reader_pause::~ac_reader_pause()
{
    reader_slot& slot = own_slot();
    slot.depth = depth_;
    if (depth_ > 0) slot.epoch.store(g_epoch.load());
}
