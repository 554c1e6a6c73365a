// pool_end - the end of a pool with all its memory but the record itself; the daemon leaves its zones to the exit.
#pragma once

#include "ac_wtp_protocol/acwtp_mempool.h"
#include "common/ac_alloc.h"

inline void pool_end(CWMemoryPool* pool)
{
    CWPool_destroy(pool);
    while (pool->pMemHead != nullptr) {
        CWMemoryZone* zone = pool->pMemHead;
        pool->pMemHead = zone->pNext;
        ac_free(zone);
    }
}
