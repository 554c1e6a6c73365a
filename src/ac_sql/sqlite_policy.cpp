#include "ac_sql/sqlite_policy.h"

#include <algorithm>
#include <cstring>

#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_err.h"
#include "common/ac_wire.h"

namespace {

constexpr std::size_t NAME_CLAUSE = 64; // of a statement, for the usual name

sql_quoted name_quoted(std::span<const UINT8> name)
{
    return sql_quoted(name.first(std::min(name.size(), AC_NAME_LEN)));
}

} // namespace

AC_RET sqlite_del_policy(const char* table, const char* c_name, int num, std::span<const UINT8> data)
{
    if (data.data() == nullptr || num <= 0) return AC_RET_ERROR;
    const auto count = static_cast<std::size_t>(num);
    if (data.size() / AC_NAME_LEN < count) return AC_RET_ERROR;
    sql_text sql((count + 1) * NAME_CLAUSE);
    sql.append("delete from %s where ", table);
    wire_reader names{data};
    for (std::size_t i = 0; i < count; i++)
        sql.append("%s%s='%s'", i == 0 ? "" : " or ", c_name, name_quoted(wire_take_bytes(names, AC_NAME_LEN)).c_str());
    sql_message message;
    const int ret = sql_exec(strcmp(table, AP_CLIENT_TABLE) == 0 ? db : policy_db, sql, message);
    if (ret == SQLITE_OK) return AC_RET_OK;
    AC_ERR("delete error,ret=%d,errmsg=%s\n", ret, message.c_str());
    return AC_RET_ERROR;
}

int query_policy_used_info(const char* table, const char* col_name, std::span<const UINT8> policy, UINT8* num)
{
    *num = 0;
    const bool ssids = strcmp(table, AP_SSID_TABLE) == 0; // a policy of an SSID that is off is not in use
    sql_text sql;
    sql.append("select count(*) from %s where %s='%s'%s", table, col_name, name_quoted(policy).c_str(),
               ssids ? " and ssid_en=2" : "");
    sql_table rows;
    sql_message message;
    const int ret = rows.load(db, sql, message);
    if (ret == SQLITE_OK)
        *num = static_cast<UINT8>(sql_cell_int(rows.cell(0, 0)));
    else
        AC_ERR("select error,ret=%d,errmsg=%s\n", ret, message.c_str());
    return AC_RET_OK;
}
