// ac_list - intrusive lists: list_node for queues, hlist_node for hash chains.
//
// Shape    list_node: circular, a head object of the same type; an empty head points at itself. hlist: singly anchored,
//          a node knows the address of the pointer that leads to it, so it unlinks itself without its head.
// Threads  none of these takes a lock; the list's owner does.
#pragma once

#include <cstddef>

struct list_node {
    list_node* next;
    list_node* prev;
};

struct hlist_node {
    hlist_node* next;
    hlist_node** pprev;
};

struct hlist_head {
    hlist_node* first;
};

inline void INIT_LIST_HEAD(list_node* head)
{
    head->next = head;
    head->prev = head;
}

inline void ac_list_link(list_node* node, list_node* prev, list_node* next)
{
    next->prev = node;
    node->next = next;
    node->prev = prev;
    prev->next = node;
}

inline void list_add(list_node* node, list_node* head)
{
    ac_list_link(node, head, head->next);
}

inline void list_add_tail(list_node* node, list_node* head)
{
    ac_list_link(node, head->prev, head);
}

// Unlinks and leaves the node pointing at itself, so that a second list_del harms nothing.
inline void list_del(list_node* node)
{
    node->next->prev = node->prev;
    node->prev->next = node->next;
    INIT_LIST_HEAD(node);
}

inline bool list_empty(const list_node* head)
{
    return head->next == head;
}

// Moves all nodes of `from` to the empty head `to`.
inline void list_take_all(list_node* from, list_node* to)
{
    INIT_LIST_HEAD(to);
    if (list_empty(from)) return;
    *to = *from;
    to->next->prev = to;
    to->prev->next = to;
    INIT_LIST_HEAD(from);
}

inline void hlist_add_head(hlist_node* node, hlist_head* head)
{
    node->next = head->first;
    if (head->first != nullptr) head->first->pprev = &node->next;
    head->first = node;
    node->pprev = &head->first;
}

inline void hlist_del(hlist_node* node)
{
    if (node->pprev == nullptr) return;
    *node->pprev = node->next;
    if (node->next != nullptr) node->next->pprev = node->pprev;
    node->next = nullptr;
    node->pprev = nullptr;
}

// The record around a link: list_entry(node, AC_UDP_SKB_INFO, list).
#define list_entry(node, type, member) (reinterpret_cast<type*>(reinterpret_cast<char*>(node) - offsetof(type, member)))
