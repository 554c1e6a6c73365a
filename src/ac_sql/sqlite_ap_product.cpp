#include "ac_sql/sqlite_ap_product.h"

#include "ac_mib/ac_product.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

namespace {

enum product_column {
    PRODUCT_AP_TYPE,
    PRODUCT_AP_NAME,
    PRODUCT_ID,
    PRODUCT_SSID_24G,
    PRODUCT_SSID_5G,
    PRODUCT_RF,
    PRODUCT_OLD_CRC,
    PRODUCT_COLUMNS,
};
static_assert(PRODUCT_COLUMNS == AP_PRODUCT_TABLE_COL_LEN);

int load_ap_product_callback(void*, int n_column, char** column_value, char**)
{
    if (n_column != AP_PRODUCT_TABLE_COL_LEN) {
        AC_ERR("ap_type column=%d,MAX_LEN=%d", n_column, AP_PRODUCT_TABLE_COL_LEN);
        return AC_RET_ERROR;
    }
    const std::span cells(column_value, PRODUCT_COLUMNS);
    const int ap_type = sql_cell_int(cells[PRODUCT_AP_TYPE]);
    if (ap_type < 1 || ap_type >= static_cast<int>(AC_PRODUCT_NUM)) {
        AC_ERR("load ap_type error, ap_type=%d\n", ap_type);
        return AC_RET_ERROR;
    }
    PRODUCT_AP row = {};
    text_to_field(cells[PRODUCT_AP_NAME] != nullptr ? cells[PRODUCT_AP_NAME] : "", row.ap_name);
    row.product_id = static_cast<UINT32>(sql_cell_int(cells[PRODUCT_ID]));
    row.ssid_num_24g = static_cast<UINT8>(sql_cell_int(cells[PRODUCT_SSID_24G]));
    row.ssid_num_5g = static_cast<UINT8>(sql_cell_int(cells[PRODUCT_SSID_5G]));
    row.rf_num = static_cast<UINT8>(sql_cell_int(cells[PRODUCT_RF]));
    row.flag_old_crc = static_cast<UINT8>(sql_cell_int(cells[PRODUCT_OLD_CRC]));
    row.ap_type = static_cast<UINT16>(ap_type);
    (void)acwtp_product_load(&row); // the stored row rules, also over a built-in one; the type was checked above
    return 0;
}

} // namespace

int query_ap_type_exist(UINT16 ap_type)
{
    sql_text sql;
    sql.append("select count(*) from %s where ap_type=%d ", AP_PRODUCT_TABLE, ap_type);
    sql_table rows;
    sql_message message;
    const int ret = rows.load(db, sql, message);
    if (ret == SQLITE_OK) return sql_cell_int(rows.cell(0, 0));
    AC_ERR("select ap_type error ret=%d,errmsg=%s\n", ret, message.c_str());
    return 0;
}

int sqlite_add_ap_type(UINT16 ap_type, const UINT8* ap_name, UINT32 product_id, UINT8 ssid_num_24g, UINT8 ssid_num_5g,
                       UINT8 rf_num, UINT8 flag_old_crc)
{
    if (ap_type == 0) {
        AC_ERR("add ap_type error. \n");
        return AC_RET_ERROR;
    }
    const std::span name(ap_name, AC_NAME_LEN);
    sql_text sql; // stays empty for a type that is stored, and an empty statement succeeds
    if (query_ap_type_exist(ap_type) == 0) {
        sql.append("insert into %s values(", AP_PRODUCT_TABLE);
        sql.append("%d,'%s',%d,%d,%d,%d,%d", ap_type, sql_quoted(name).c_str(), static_cast<int>(product_id),
                   ssid_num_24g, ssid_num_5g, rf_num, flag_old_crc);
        sql.append(")");
    } else {
        char text[AC_NAME_LEN + 1];
        field_to_text(name, text);
        AC_ERR("this ap %s already exist;\n", text);
    }
    sql_message message;
    const int ret = sql_exec(db, sql, message);
    if (ret != SQLITE_OK) {
        AC_ERR("insert error ret=%d,errmsg=%s\n", ret, message.c_str());
        return AC_RET_ERROR;
    }
    printf("\n\n insert new ap type success\n");
    return AC_RET_OK;
}

int load_apconfig_ap_product()
{
    sql_text sql;
    sql.append("select * from %s", AP_PRODUCT_TABLE);
    sql_message message;
    const int ret = sql_exec(db, sql, message, load_ap_product_callback);
    if (ret == SQLITE_OK) return AC_RET_OK;
    AC_ERR("load_apconfig_ap_product error,Error code:%d,Reason:%s\n", ret, message.c_str());
    return AC_RET_ERROR;
}
