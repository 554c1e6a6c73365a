// acwtp_mempool - pools of fixed-size blocks, so that frames and notes need no malloc.
//
// Shape    zones of blocks; a free list and a used list. A pool grows by 16 blocks when dry and never shrinks.
// Threads  list operations take no lock: the owner of the pool calls under its queue's mutex. Only the malloc and free
//          calls of growth and destruction run under g_malloc_mutex.
#pragma once

#include "common/ac_lock.h"
#include "common/ac_types.h"

struct _memory_pool;

struct _memory_block {
    struct _memory_block* pNext;
    struct _memory_block* pPrev;
    char* data;                  // the block's storage: the back pointer, then the usable bytes
    struct _memory_pool* usedBy; // the pool whose used list it is on; null while free
};
typedef struct _memory_block CWMemoryBlock;

struct _big_memory_block {
    struct _big_memory_block* pNext;
    CWMemoryBlock* pBlockMemoryHead;
    char* pDataMemoryHead;
};
typedef struct _big_memory_block CWMemoryZone;

struct _memory_pool {
    unsigned int blockCount;     // made by CWPool_init
    unsigned int blockCountStep; // added when dry: 16
    unsigned int blockSize;      // usable bytes per block
    unsigned int freeCount;      // not changed by growth, so it wraps below 0 once the pool has grown
    CWMemoryBlock* freeHead;
    CWMemoryBlock* freeTail;
    CWMemoryBlock* usedHead;
    CWMemoryBlock* usedTail;
    CWMemoryZone* pMemHead;
    CWMemoryZone* pMemTail;
    struct _memory_pool* next; // not used
};
typedef struct _memory_pool CWMemoryPool;

extern ac_mutex g_malloc_mutex;

// 0. Ends the process without memory.
int CWPool_init(CWMemoryPool* memory, unsigned int blockCount, unsigned int blockSize);
// Adds a zone. 0, or 255 without memory.
int CWPool_block(CWMemoryPool* memory, unsigned int blockCount, unsigned int blockSize);
// A block's usable address; null when the pool is dry and can't grow. `size` is ignored: the caller knows that its
// object fits. Aligned for any record on a 64-bit machine, for pointers and 32-bit fields on a 32-bit one.
void* CWPool_alloc(CWMemoryPool* memory, unsigned int size);
// 0. A block may go to another pool than its own and joins that pool's free list. A null back pointer: nothing happens.
int CWPool_free(CWMemoryPool* memory, void* ptr);
// The pool that gave this block out.
const CWMemoryPool* CWPool_owner(const void* ptr);
// Frees the storage of every zone; the zone records and the pool record stay with the caller.
int CWPool_destroy(CWMemoryPool* memory);
