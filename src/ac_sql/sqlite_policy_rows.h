// sqlite_policy_rows - reading one kind of policy from its table: all of them for the web interface, or one by name.
//
// Shape    A kind is described by a policy_kind. Rows come from a callback, which fills nodes of a list that exists
//          during one reading only; the newest row stands first in it.
// Threads  the control thread: the list and its counter belong to the kind.
// Errors   255 after "Error->%s(%d)--select error,ret=%d,errmsg=%s\n" under the name of the function that asked.
#pragma once

#include <algorithm>
#include <cstdio>

#include "ac_sql/sqlite_db.h"
#include "common/ac_alloc.h"
#include "common/ac_list.h"

template <typename Record> struct policy_node {
    list_node list;
    Record policy;
};

template <typename Record> struct policy_kind {
    const char* table;
    const char* obtain_callback;                      // the names that lines about a row bear: in a reading of all,
    const char* get_callback;                         // and by name
    int columns;                                      // of a row; 0: not looked at
    void (*fill)(const sql_row& row, Record& policy); // from a row into a zeroed record
    policy_node<Record>* (*alloc)();                  // null without memory
    list_node* head;
    int* num; // nodes in the list
};

// A node whose link is made; null without memory. The rest of it is as it comes.
template <typename Record> policy_node<Record>* policy_node_make()
{
    auto* node = static_cast<policy_node<Record>*>(ac_malloc(sizeof(policy_node<Record>)));
    if (node != nullptr) INIT_LIST_HEAD(&node->list);
    return node;
}

namespace policy_rows {

inline AC_RET select_failed(int ret, const sql_message& message, const char* function, int line)
{
    printf("Error->%s(%d)--select error,ret=%d,errmsg=%s\n", function, line, ret, message.c_str());
    return AC_RET_ERROR;
}

template <typename Record> bool width_good(const policy_kind<Record>& kind, const sql_row& row, const char* callback)
{
    if (kind.columns == 0 || kind.columns == row.columns()) return true;
    printf("Error->%s(%d)--n_column:%d,%d", callback, __LINE__, row.columns(), kind.columns);
    return false;
}

inline int null_pointer(const char* callback, int line)
{
    printf("Error->%s(%d)--NULL Pointer\n", callback, line);
    return AC_RET_ERROR;
}

template <typename Record> int obtain_row(void* arg, const sql_row& row)
{
    const auto& kind = *static_cast<const policy_kind<Record>*>(arg);
    if (!width_good(kind, row, kind.obtain_callback)) return -1;
    policy_node<Record>* node = kind.alloc();
    if (node == nullptr) return null_pointer(kind.obtain_callback, __LINE__);
    node->policy = Record{};
    kind.fill(row, node->policy);
    list_add(&node->list, kind.head);
    ++*kind.num;
    return AC_RET_OK;
}

// The first node of the list into `policy`, and the node freed.
template <typename Record> void take_first(const policy_kind<Record>& kind, Record& policy)
{
    auto* node = list_entry(kind.head->next, policy_node<Record>, list);
    policy = node->policy;
    list_del(&node->list);
    ac_free(node);
    --*kind.num;
}

template <typename Record> void drop_all(const policy_kind<Record>& kind)
{
    Record dropped;
    while (!list_empty(kind.head))
        take_first(kind, dropped);
}

template <typename Record> struct name_search {
    const policy_kind<Record>& kind;
    Record* found;
};

template <typename Record> int name_row(void* arg, const sql_row& row)
{
    const auto& search = *static_cast<const name_search<Record>*>(arg);
    if (search.found == nullptr) return null_pointer(search.kind.get_callback, __LINE__);
    if (!width_good(search.kind, row, search.kind.get_callback)) return -1;
    *search.found = Record{};
    search.kind.fill(row, *search.found);
    return AC_RET_OK;
}

} // namespace policy_rows

// Reads all rows into the kind's list. 0, or 255 with the list empty.
template <typename Record>
AC_RET policy_list_read(policy_kind<Record>& kind, const char* function = __builtin_FUNCTION(),
                        int line = __builtin_LINE())
{
    *kind.num = 0;
    sql_text sql;
    sql.append("select * from %s", kind.table);
    sql_message message;
    const int ret = sql_each_row(policy_db, sql, message, policy_rows::obtain_row<Record>, &kind);
    if (ret == SQLITE_OK) return AC_RET_OK;
    policy_rows::drop_all(kind);
    return policy_rows::select_failed(ret, message, function, line);
}

// Empties the kind's list into an array of web records, newest row first: `make(policy, web)` forms each one in zeroed
// memory. *buf is from ac_malloc and the caller's to free, *len its bytes; both stay as they are without rows. 0; 255
// after a line with *len 0 without memory.
template <typename Web, typename Record, typename Make>
AC_RET policy_list_hand_out(policy_kind<Record>& kind, UINT8** buf, int* len, Make make,
                            const char* function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    if (list_empty(kind.head)) return AC_RET_OK;
    const auto count = static_cast<std::size_t>(*kind.num);
    auto* web = static_cast<Web*>(ac_calloc(count * sizeof(Web)));
    if (web == nullptr) {
        perror("malloc");
        printf("Error->%s(%d)--malloc failed\n", function, line);
        policy_rows::drop_all(kind);
        *len = 0;
        return AC_RET_ERROR;
    }
    for (std::size_t i = 0; i < count; i++) {
        Record policy;
        policy_rows::take_first(kind, policy);
        make(policy, web[i]);
    }
    *buf = reinterpret_cast<UINT8*>(web);
    *len = static_cast<int>(count * sizeof(Web));
    return AC_RET_OK;
}

// The row with this name, cut to 32 bytes, into *policy, which stays as it is without one: 0 all the same. Of several
// rows the last one counts.
template <typename Record>
AC_RET policy_by_name(policy_kind<Record>& kind, Record* policy, std::span<const UINT8> name,
                      const char* function = __builtin_FUNCTION(), int line = __builtin_LINE())
{
    sql_text sql;
    sql.append("select * from %s where name='%s'", kind.table,
               sql_quoted(name.first(std::min(name.size(), AC_NAME_LEN))).c_str());
    policy_rows::name_search<Record> search{kind, policy};
    sql_message message;
    const int ret = sql_each_row(policy_db, sql, message, policy_rows::name_row<Record>, &search);
    return ret == SQLITE_OK ? AC_RET_OK : policy_rows::select_failed(ret, message, function, line);
}
