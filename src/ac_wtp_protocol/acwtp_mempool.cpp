#include "ac_wtp_protocol/acwtp_mempool.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/ac_alloc.h"

ac_mutex g_malloc_mutex("g_malloc_mutex", AC_RANK_MALLOC);

namespace {

// The back pointer in front of the usable bytes: 4 bytes where a pointer has 4. Where it has more, the caller's address
// is a multiple of the strictest alignment.
constexpr std::size_t pointer_bytes = sizeof(CWMemoryBlock*);
constexpr std::size_t back_bytes = pointer_bytes > 4 ? alignof(std::max_align_t) : 4;
constexpr unsigned int GROWTH_STEP = 16;

std::size_t storage_bytes(unsigned int block_size)
{
    const std::size_t bytes = block_size + back_bytes;
    const std::size_t unit = pointer_bytes > 4 ? alignof(std::max_align_t) : 4;
    return (bytes + unit - 1) / unit * unit;
}

void append_free(CWMemoryPool* memory, CWMemoryBlock* block)
{
    block->pNext = nullptr;
    block->pPrev = memory->freeTail;
    if (memory->freeTail != nullptr)
        memory->freeTail->pNext = block;
    else
        memory->freeHead = block;
    memory->freeTail = block;
}

CWMemoryBlock* take_free_head(CWMemoryPool* memory)
{
    CWMemoryBlock* block = memory->freeHead;
    if (block == nullptr) return nullptr;
    memory->freeHead = block->pNext;
    if (memory->freeHead != nullptr)
        memory->freeHead->pPrev = nullptr;
    else
        memory->freeTail = nullptr; // or a later release would link behind a block that is in use
    return block;
}

void append_used(CWMemoryPool* memory, CWMemoryBlock* block)
{
    block->pNext = nullptr;
    block->pPrev = memory->usedTail;
    if (memory->usedTail != nullptr)
        memory->usedTail->pNext = block;
    else
        memory->usedHead = block;
    memory->usedTail = block;
    block->usedBy = memory;
}

// From the used list of the pool that gave it out, which need not be the pool it is released to.
void unlink_used(CWMemoryBlock* block)
{
    CWMemoryPool* owner = block->usedBy;
    if (owner == nullptr) return;
    if (block->pPrev != nullptr)
        block->pPrev->pNext = block->pNext;
    else
        owner->usedHead = block->pNext;
    if (block->pNext != nullptr)
        block->pNext->pPrev = block->pPrev;
    else
        owner->usedTail = block->pPrev;
    block->usedBy = nullptr;
}

void zone_free_storage(CWMemoryZone* zone)
{
    ac_free(zone->pBlockMemoryHead);
    ac_free(zone->pDataMemoryHead);
    zone->pBlockMemoryHead = nullptr;
    zone->pDataMemoryHead = nullptr;
}

CWMemoryZone* zone_alloc(unsigned int block_count, unsigned int block_size)
{
    ac_lock lock(g_malloc_mutex);
    auto* zone = static_cast<CWMemoryZone*>(ac_calloc(sizeof(CWMemoryZone)));
    if (zone == nullptr) return nullptr;
    zone->pBlockMemoryHead = static_cast<CWMemoryBlock*>(ac_calloc(block_count * sizeof(CWMemoryBlock)));
    zone->pDataMemoryHead = static_cast<char*>(ac_calloc(block_count * storage_bytes(block_size)));
    if (zone->pBlockMemoryHead != nullptr && zone->pDataMemoryHead != nullptr) return zone;
    zone_free_storage(zone);
    ac_free(zone);
    return nullptr;
}

} // namespace

int CWPool_init(CWMemoryPool* memory, unsigned int blockCount, unsigned int blockSize)
{
    *memory = CWMemoryPool{};
    memory->blockCount = blockCount;
    memory->blockSize = blockSize;
    memory->freeCount = blockCount;
    memory->blockCountStep = GROWTH_STEP;
    if (CWPool_block(memory, blockCount, blockSize) == AC_RET_OK) return AC_RET_OK;
    perror("malloc"); // the pools are the daemon's budget: nothing can go on without them
    abort();
}

int CWPool_block(CWMemoryPool* memory, unsigned int blockCount, unsigned int blockSize)
{
    CWMemoryZone* zone = zone_alloc(blockCount, blockSize);
    if (zone == nullptr) return AC_RET_ERROR;
    for (unsigned int i = 0; i < blockCount; i++) {
        CWMemoryBlock* block = &zone->pBlockMemoryHead[i];
        block->data = zone->pDataMemoryHead + i * storage_bytes(blockSize);
        append_free(memory, block);
    }
    zone->pNext = nullptr;
    if (memory->pMemTail != nullptr)
        memory->pMemTail->pNext = zone;
    else
        memory->pMemHead = zone;
    memory->pMemTail = zone;
    return AC_RET_OK;
}

void* CWPool_alloc(CWMemoryPool* memory, unsigned int /*size*/)
{
    if (memory->freeHead == nullptr) (void)CWPool_block(memory, memory->blockCountStep, memory->blockSize);
    CWMemoryBlock* block = take_free_head(memory);
    if (block == nullptr) return nullptr;
    memory->freeCount--;
    append_used(memory, block);
    memcpy(block->data, &block, pointer_bytes);
    return block->data + back_bytes;
}

int CWPool_free(CWMemoryPool* memory, void* ptr)
{
    CWMemoryBlock* block = nullptr;
    memcpy(&block, static_cast<char*>(ptr) - back_bytes, pointer_bytes);
    if (block == nullptr) return 0;
    unlink_used(block);
    append_free(memory, block);
    block->data = static_cast<char*>(ptr) - back_bytes;
    memory->freeCount++;
    return 0;
}

const CWMemoryPool* CWPool_owner(const void* ptr)
{
    const CWMemoryBlock* block = nullptr;
    memcpy(&block, static_cast<const char*>(ptr) - back_bytes, pointer_bytes);
    return block == nullptr ? nullptr : block->usedBy;
}

int CWPool_destroy(CWMemoryPool* memory)
{
    ac_lock lock(g_malloc_mutex);
    for (CWMemoryZone* zone = memory->pMemHead; zone != nullptr; zone = zone->pNext)
        zone_free_storage(zone);
    return 0;
}
