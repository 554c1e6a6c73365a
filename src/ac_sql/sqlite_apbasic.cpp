#include "ac_sql/sqlite_apbasic.h"

#include <algorithm>
#include <cstring>

#include "ac_sql/sqlite_schema.h"
#include "common/ac_err.h"
#include "common/ac_text.h"

namespace {

constexpr std::size_t VERSION_LEN = 2; // AP_config_version

// What the two forms of the statement are made of; texts are ready to stand between quotes.
struct basic_row {
    ac_mac_text mac;
    const CONFIG_BASIC& basic;
    const CONFIG_SCHED_REBOOT& reboot;
    const CONFIG_ALARM& alarm;
    const CONFIG_ALARM_EVENT& event;
    sql_quoted apname;
    char version[AC_NAME_LEN + 1];
    sql_quoted mail_name;
    sql_quoted mail_pwd;
    sql_quoted reboot_name;
    sql_quoted alarm_name;
    sql_quoted config_version;
    sql_quoted pass_name;
    sql_quoted wl_deploy_name;
    sql_quoted qvlan_name;
    sql_quoted product_name;
    int type;
    int status;
    int product_id;
};

sql_quoted name_of(const UINT8* field)
{
    return sql_quoted(std::span(field, AC_NAME_LEN));
}

void form_update(sql_text& sql, const basic_row& row, int router_ip)
{
    const CONFIG_IP& ip = row.basic.ip;
    sql.append(
        "update %s set ledstatus=%d,ipmode=%d,\t\t\t\t\tip=%d,mask=%d,gateway=%d,hostdns=%d,dns =%d,apname ='%s',"
        "\t\t\t\t\tapname_len=%d,version='%s',version_len=%d,reboot_en=%d,"
        "\t\t\t\t\treboot_type=%d,time=%d,alarm_switch=%d,"
        "\t\t\t\t\thostnum_limit=%d,stream_limit=%d,mailEnable=%d,"
        "\t\t\t\t\tmailName='%s',mailPwd='%s',mailInterTime=%d,"
        "\t\t\t\t\tpcEnable=%d,pcIpAddr=%d,reboot_name='%s',alarm_name='%s',"
        "\t\t\t\t\taptype=%d,status=%d,config_version='%s',pass_name='%s',router_ip=%d,wl_deploy_name ='%s',"
        "\t\t\tqvlan_name = '%s',product_id=%d,product_name='%s' where apmac='%s'",
        AP_BASIC_TABLE, row.basic.led_status, ip.mode, sql_ip_number(ip.ip), sql_ip_number(ip.mask),
        sql_ip_number(ip.gateway), sql_ip_number(ip.hostdns), sql_ip_number(ip.dns), row.apname.c_str(),
        row.basic.apname.ap_name_length, row.version, row.basic.version.version_length, row.reboot.reboot_en,
        row.reboot.reboot_type, row.reboot.time, row.alarm.alarm_switch, row.alarm.hostnum_limit,
        static_cast<int>(row.alarm.stream_limit), row.event.mailEnable, row.mail_name.c_str(), row.mail_pwd.c_str(),
        row.event.mailInterTime, row.event.pcEnable, static_cast<int>(row.event.pcIpAddr), row.reboot_name.c_str(),
        row.alarm_name.c_str(), row.type, row.status, row.config_version.c_str(), row.pass_name.c_str(), router_ip,
        row.wl_deploy_name.c_str(), row.qvlan_name.c_str(), row.product_id, row.product_name.c_str(), row.mac.c_str());
}

void form_insert(sql_text& sql, const basic_row& row, int router_ip)
{
    const CONFIG_IP& ip = row.basic.ip;
    sql.append("insert into %s values(", AP_BASIC_TABLE);
    sql.append("'%s',%d,%d,%d,%d,%d,%d,%d,'%s',%d,'%s',%d,"
               "\t\t\t%d,%d,%d,%d,%d,%d,%d,'%s','%s',%d,%d,%d,'%s','%s',%d,%d,'%s','%s',%d,'%s','%s',%d,'%s'",
               row.mac.c_str(), row.basic.led_status, ip.mode, sql_ip_number(ip.ip), sql_ip_number(ip.mask),
               sql_ip_number(ip.gateway), sql_ip_number(ip.hostdns), sql_ip_number(ip.dns), row.apname.c_str(),
               row.basic.apname.ap_name_length, row.version, row.basic.version.version_length, row.reboot.reboot_en,
               row.reboot.reboot_type, row.reboot.time, row.alarm.alarm_switch, row.alarm.hostnum_limit,
               static_cast<int>(row.alarm.stream_limit), row.event.mailEnable, row.mail_name.c_str(),
               row.mail_pwd.c_str(), row.event.mailInterTime, row.event.pcEnable, static_cast<int>(row.event.pcIpAddr),
               row.reboot_name.c_str(), row.alarm_name.c_str(), row.type, row.status, row.config_version.c_str(),
               row.pass_name.c_str(), router_ip, row.wl_deploy_name.c_str(), row.qvlan_name.c_str(), row.product_id,
               row.product_name.c_str());
    sql.append(")");
}

// Whether there is a row after the write, by the count before it and the write's result.
bool row_stands(int rows_before, int ret, const char* mac)
{
    if (rows_before > 0) return true;
    if (rows_before == 0) return ret == SQLITE_OK;
    return query_apbasic_exist(mac) > 0;
}

} // namespace

int sql_count_of_mac(const char* table, const char* eth_str, int& rows, const char* function, int line)
{
    sql_text sql;
    sql.append("select count(*) from %s where apmac='%s' ", table, eth_str);
    sql_table result;
    sql_message message;
    const int ret = result.load(db, sql, message);
    if (ret == SQLITE_OK)
        rows = sql_cell_int(result.cell(0, 0));
    else
        printf("Error->%s(%d)--insert error ret=%d,errmsg=%s\n", function, line, ret, message.c_str());
    return ret;
}

int sql_delete_of_mac(const char* table, const UINT8* ethaddr, const char* function, int line)
{
    sql_text sql;
    sql.append("delete from %s where apmac='%s'", table, ac_mac_text(ethaddr).c_str());
    sql_message message;
    const int ret = sql_exec(db, sql, message);
    if (ret != SQLITE_OK)
        printf("Error->%s(%d)--delete error,Error code:%d,Reason:%s\n", function, line, ret, message.c_str());
    return ret;
}

int query_apbasic_exist(const char* eth_str)
{
    int rows = -1;
    (void)sql_count_of_mac(AP_BASIC_TABLE, eth_str, rows); // it has printed its line, and the number says it too
    return rows;
}

int sqlite_apbasic_del(const UINT8* ethaddr)
{
    return sql_delete_of_mac(AP_BASIC_TABLE, ethaddr) == SQLITE_OK ? AC_RET_OK : AC_RET_ERROR;
}

int sqlite_add_apbasic(const UINT8* ethaddr, const UINT8* router_ip, CONFIG_BASIC* basic,
                       const CONFIG_SCHED_REBOOT* reboot, const CONFIG_ALARM* alarm,
                       const CONFIG_ALARM_EVENT* alarm_event, const UINT8* reboot_name, const UINT8* alarm_name,
                       UINT16 type, UINT8 status, const UINT8* config_version, const UINT8* pass_name,
                       const UINT8* wl_deploy_name, const UINT8* qvlan_name, UINT32 product_id,
                       const UINT8* product_name, bool* stands)
{
    if (basic == nullptr || reboot == nullptr || alarm == nullptr || alarm_event == nullptr) {
        AC_ERR("\n");
        return AC_RET_NULL_POINTER;
    }
    basic->apname.ap_name_length = std::min<UINT8>(basic->apname.ap_name_length, AC_NAME_LEN);
    basic->version.version_length = std::min<UINT8>(basic->version.version_length, AC_NAME_LEN);
    basic_row row = {
        ac_mac_text(ethaddr),
        *basic,
        *reboot,
        *alarm,
        *alarm_event,
        sql_quoted(field_by_length(basic->apname.ap_name, basic->apname.ap_name_length)),
        {},
        name_of(alarm_event->mailName),
        name_of(alarm_event->mailPwd),
        name_of(reboot_name),
        name_of(alarm_name),
        sql_quoted(std::span(config_version, VERSION_LEN)),
        name_of(pass_name),
        name_of(wl_deploy_name),
        name_of(qvlan_name),
        name_of(product_name),
        type,
        status,
        static_cast<int>(product_id),
    };
    field_to_text(field_by_length(basic->version.version, basic->version.version_length), row.version);

    sql_text sql(1024);
    const int rows = query_apbasic_exist(row.mac.c_str());
    if (rows != 0)
        // The update stores the place of the address in memory, not the address: after it the column router_ip means
        // nothing, and a load gives the record a false `ip` until its AP joins again. Only the load reads the column.
        form_update(sql, row, static_cast<int>(reinterpret_cast<std::uintptr_t>(router_ip)));
    else
        form_insert(sql, row, sql_ip_number(router_ip));
    sql_message message;
    int ret = SQLITE_ERROR;
    // The version goes into the statement as it is. With a quote in it the text would end there, and what follows,
    // which an AP chose, would be read as SQL: such a statement fails here instead of in SQLite's parser.
    const bool quote_in_version = strchr(row.version, '\'') != nullptr;
    if (quote_in_version)
        message.settle(ret);
    else
        ret = sql_exec(db, sql, message);
    if (ret != SQLITE_OK) AC_ERR("insert error ret=%d,errmsg=%s\n", ret, message.c_str());
    if (stands != nullptr) *stands = row_stands(rows, ret, row.mac.c_str());
    return AC_RET_OK;
}
