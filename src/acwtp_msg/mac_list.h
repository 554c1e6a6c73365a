// mac_list - a MAC address in a list: the APs that owe a reply.
//
// Threads  any; a list that others can reach is changed under its owner's mutex.
#pragma once

#include "common/ac_list.h"
#include "common/ac_types.h"

struct mac_list {
    list_node list;
    UINT8 ethaddr[AC_MAC_LEN];
};
typedef struct mac_list MAC_LIST;

// From ac_malloc; null after perror("malloc").
MAC_LIST* mac_list_alloc(const UINT8* ethaddr);
// Frees every node of the list and leaves it empty.
void mac_list_free_all(list_node* head);
