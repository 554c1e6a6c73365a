#include "acwtp_msg/mac_list.h"

#include <cstdio>
#include <cstring>

#include "common/ac_alloc.h"

MAC_LIST* mac_list_alloc(const UINT8* ethaddr)
{
    auto* node = static_cast<MAC_LIST*>(ac_malloc(sizeof(MAC_LIST)));
    if (node == nullptr) {
        perror("malloc");
        return nullptr;
    }
    INIT_LIST_HEAD(&node->list);
    memcpy(node->ethaddr, ethaddr, AC_MAC_LEN);
    return node;
}

void mac_list_free_all(list_node* head)
{
    while (!list_empty(head)) {
        list_node* link = head->next;
        list_del(link);
        ac_free(list_entry(link, MAC_LIST, list));
    }
}
