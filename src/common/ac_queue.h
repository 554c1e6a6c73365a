// ac_queue - what every work queue of the process does with its list and its mutex.
//
// Shape    The queue is a list head, a mutex and a semaphore that its owner declares under their names. A consumer looks
//          at the first entry, works on it without the lock while it stays linked, then unlinks it. Entries added
//          meanwhile are met in the same pass or by their own post.
// Threads  any number of producers, one consumer.
#pragma once

#include "common/ac_list.h"
#include "common/ac_lock.h"

// Tail if `tail`, else head.
inline void ac_queue_put(list_node& queue, ac_mutex& mutex, list_node* node, bool tail)
{
    ac_lock lock(mutex);
    if (tail)
        list_add_tail(node, &queue);
    else
        list_add(node, &queue);
}

// The first entry, still linked, or null.
inline list_node* ac_queue_first(list_node& queue, ac_mutex& mutex)
{
    ac_lock lock(mutex);
    return list_empty(&queue) ? nullptr : queue.next;
}

inline void ac_queue_unlink(ac_mutex& mutex, list_node* node)
{
    ac_lock lock(mutex);
    list_del(node);
}
