// The operational policies as they are read from their tables, and the deletion of policies by name.
#include "ac_sql/sqlite_policy.h"

#include <climits>
#include <functional>

#include "ac_sql/sqlite_oper_policy.h"
#include "ac_sql/sqlite_schema.h"
#include "apconfig_fixture.h"
#include "common/ac_alloc.h"
#include "sql_world.h"

using namespace apconfig_test;

class SqlitePolicy : public SqlWorld {
protected:
    void insert(const std::string& table, const std::string& values)
    {
        run(policy_db, "insert into " + table + " values(" + values + ")");
    }
    // An AP whose row names a policy in one column.
    void user_of(const std::string& column, const std::string& name)
    {
        run(db, "insert into ap_basic(apmac," + column + ") values('02:00:00:00:00:01','" + name + "')");
    }
    // All policies of a kind as one text of bytes; the result must be 0.
    Bytes obtained(AC_RET (*obtain)(UINT8**, int*))
    {
        UINT8* buf = nullptr;
        int len = 0;
        EXPECT_EQ(obtain(&buf, &len), AC_RET_OK);
        const Bytes bytes = buf == nullptr ? Bytes() : Bytes(buf, buf + len);
        ac_free(buf);
        return bytes;
    }
    // A kind's answer to a failing read: the result and the lines.
    std::string failure_of(AC_RET (*obtain)(UINT8**, int*), int* len, UINT8** buf)
    {
        return lines_of([&] { EXPECT_EQ(obtain(buf, len), AC_RET_ERROR); });
    }
    template <typename Record> Bytes named(AC_RET (*by_name)(Record*, std::span<const UINT8>), const std::string& name)
    {
        Record record = {};
        const Bytes field = name32(name);
        EXPECT_EQ(by_name(&record, field), AC_RET_OK);
        return raw(record);
    }
    Bytes names(const std::vector<std::string>& texts)
    {
        Bytes bytes;
        for (const std::string& one : texts)
            append(bytes, name32(one));
        return bytes;
    }
    std::string left(const std::string& table)
    {
        std::string text;
        for (const auto& row : rows(policy_db, "select name from " + table + " order by name"))
            text += row[0] + ";";
        return text;
    }
};

static Bytes reboot_image(int enable, const std::string& name)
{
    Bytes image(40);
    put(image, 0, {0, enable, 3});
    put(image, 3, name);
    put(image, 36, {1, 2, 0x34, 0x12}); // 4660
    return image;
}

static Bytes alarm_image(int enable, const std::string& name)
{
    Bytes image(124);
    put(image, 0, {0, enable});
    put(image, 2, name);
    put(image, 36, {4});
    put(image, 37, "ops@example.net");
    put(image, 70, "secret");
    put(image, 104, {0x2C, 0x01}); // 300
    put(image, 106, {0xD1, 0x01}); // 465
    put(image, 108, {6, 5});
    put(image, 112, {192, 168, 0, 9});
    put(image, 116, {7, 40, 0, 0, 0x04, 0x03, 0x02, 0x01}); // 16909060
    return image;
}

static const char ALARM_VALUES[] = "1,'%s',4,'ops@example.net','secret',300,5,151038144,7,40,16909060,465,6";

static std::string alarm_values(const std::string& name)
{
    std::string text = ALARM_VALUES;
    return text.replace(text.find("%s"), 2, name);
}

static Bytes password_image(int enable, const std::string& name)
{
    Bytes image(101);
    put(image, 0, {enable});
    put(image, 1, "root");
    put(image, 34, "p'w");
    put(image, 67, name);
    put(image, 100, {2});
    return image;
}

static Bytes qvlan_image(int enable, const std::string& name)
{
    Bytes image(56);
    put(image, 0, {enable});
    put(image, 1, name);
    put(image, 34, {2, 0, 0x0A, 0x00, 0x14, 0x00, 0x2C, 0x01, 0x2D, 0x01, 0x2E, 0x01});
    put(image, 46, "1,2,3");
    return image;
}

static Bytes deploy_image(int enable, const std::string& name)
{
    Bytes image(37);
    put(image, 0, {enable});
    put(image, 1, name);
    put(image, 34, {3, 4, 5});
    return image;
}

// --- all of a kind ---------------------------------------------------------------------------------------------------

TEST_F(SqlitePolicy, reboot_policies_come_as_40_bytes_each_newest_first)
{
    insert("reboot_policy", "1,3,'night',1,2,4660");
    insert("reboot_policy", "1,3,'noon',1,2,4660");
    Bytes expected = reboot_image(0, "noon");
    append(expected, reboot_image(0, "night"));
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), expected);
}

TEST_F(SqlitePolicy, alarm_policies_come_as_124_bytes_each)
{
    insert("alarm_policy", alarm_values("loud"));
    EXPECT_EQ(obtained(sqlite_alarm_policy_obtain), alarm_image(0, "loud"));
}

TEST_F(SqlitePolicy, password_policies_come_as_101_bytes_each)
{
    insert("password_policy", "1,'staff','root','p''w',2");
    EXPECT_EQ(obtained(sqlite_password_policy_obtain), password_image(0, "staff"));
}

TEST_F(SqlitePolicy, qvlan_policies_come_as_56_bytes_each)
{
    insert("qvlan_policy", "1,'floor',2,10,20,300,301,302,'1,2,3'");
    EXPECT_EQ(obtained(sqlite_qvlan_policy_obtain), qvlan_image(0, "floor"));
}

TEST_F(SqlitePolicy, deploy_policies_come_as_37_bytes_each)
{
    insert("wl_deploy_policy", "1,'hall',3,4,5");
    EXPECT_EQ(obtained(sqlite_wl_deploy_policy_obtain), deploy_image(0, "hall"));
}

TEST_F(SqlitePolicy, enable_of_a_listed_policy_is_the_number_of_aps_that_name_it_not_the_stored_column)
{
    insert("reboot_policy", "9,3,'night',1,2,4660");
    insert("alarm_policy", alarm_values("loud"));
    insert("password_policy", "9,'staff','root','p''w',2");
    insert("qvlan_policy", "9,'floor',2,10,20,300,301,302,'1,2,3'");
    insert("wl_deploy_policy", "9,'hall',3,4,5");
    const struct {
        const char* column;
        const char* name;
        int count;
    } users[] = {{"reboot_name", "night", 1},
                 {"alarm_name", "loud", 2},
                 {"pass_name", "staff", 3},
                 {"qvlan_name", "floor", 4},
                 {"wl_deploy_name", "hall", 5}};
    for (const auto& user : users) {
        for (int i = 0; i < user.count; i++)
            user_of(user.column, user.name);
    }
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), reboot_image(1, "night"));
    EXPECT_EQ(obtained(sqlite_alarm_policy_obtain), alarm_image(2, "loud"));
    EXPECT_EQ(obtained(sqlite_password_policy_obtain), password_image(3, "staff"));
    EXPECT_EQ(obtained(sqlite_qvlan_policy_obtain), qvlan_image(4, "floor"));
    EXPECT_EQ(obtained(sqlite_wl_deploy_policy_obtain), deploy_image(5, "hall"));
}

TEST_F(SqlitePolicy, without_rows_buffer_and_length_stay_as_they_are)
{
    for (auto* obtain : {sqlite_reboot_policy_obtain, sqlite_alarm_policy_obtain, sqlite_password_policy_obtain,
                         sqlite_qvlan_policy_obtain, sqlite_wl_deploy_policy_obtain}) {
        UINT8 mark = 0;
        UINT8* buf = &mark;
        int len = 77;
        EXPECT_EQ(obtain(&buf, &len), AC_RET_OK);
        EXPECT_EQ(buf, &mark);
        EXPECT_EQ(len, 77);
    }
}

TEST_F(SqlitePolicy, a_name_of_32_bytes_fills_its_field_and_a_longer_one_is_cut)
{
    const std::string full(32, 'n');
    insert("wl_deploy_policy", "1,'" + full + "tail',3,4,5");
    EXPECT_EQ(obtained(sqlite_wl_deploy_policy_obtain), deploy_image(0, full));
}

TEST_F(SqlitePolicy, a_truck_port_text_is_cut_to_10_bytes)
{
    insert("qvlan_policy", "1,'floor',2,10,20,300,301,302,'0123456789AB'");
    Bytes expected = qvlan_image(0, "floor");
    put(expected, 46, "0123456789");
    EXPECT_EQ(obtained(sqlite_qvlan_policy_obtain), expected);
}

TEST_F(SqlitePolicy, an_address_above_the_middle_of_its_range_is_stored_negative_and_reads_back)
{
    insert("alarm_policy", "1,'loud',4,'ops@example.net','secret',300,5,-1,7,40,16909060,465,6");
    Bytes expected = alarm_image(0, "loud");
    put(expected, 112, {255, 255, 255, 255});
    EXPECT_EQ(obtained(sqlite_alarm_policy_obtain), expected);
}

TEST_F(SqlitePolicy, an_alarm_row_from_before_the_mail_port_reads_as_port_0_without_ssl)
{
    Bytes expected = alarm_image(0, "loud");
    put(expected, 106, {0, 0, 0});
    for (const char* old : {"null,6", "465,null", "null,null"}) {
        run(policy_db, "delete from alarm_policy");
        insert("alarm_policy",
               std::string("1,'loud',4,'ops@example.net','secret',300,5,151038144,7,40,16909060,") + old);
        EXPECT_EQ(obtained(sqlite_alarm_policy_obtain), expected) << old;
        EXPECT_EQ(named(sqlite_alarm_policy_obtain_by_name, "loud")[1], 1);
    }
}

TEST_F(SqlitePolicy, a_null_text_is_an_empty_one)
{
    insert("password_policy", "1,null,null,'p''w',2");
    Bytes expected = password_image(0, "");
    put(expected, 1, std::string(4, '\0'));
    EXPECT_EQ(obtained(sqlite_password_policy_obtain), expected);
}

TEST_F(SqlitePolicy, a_table_of_another_width_is_refused_with_the_list_left_empty)
{
    const struct {
        const char* table;
        AC_RET (*obtain)(UINT8**, int*);
        const char* line;
    } kinds[] = {{"reboot_policy", sqlite_reboot_policy_obtain, "E|n_column:2,6"},
                 {"alarm_policy", sqlite_alarm_policy_obtain, "E|n_column:2,13"},
                 {"qvlan_policy", sqlite_qvlan_policy_obtain, "E|n_column:2,9"},
                 {"wl_deploy_policy", sqlite_wl_deploy_policy_obtain, "E|n_column:2,5"}};
    for (const auto& kind : kinds) {
        run(policy_db, std::string("drop table ") + kind.table);
        run(policy_db, std::string("create table ") + kind.table + "(a,b)");
        insert(kind.table, "1,2");
        UINT8* buf = nullptr;
        int len = 0;
        EXPECT_EQ(failure_of(kind.obtain, &len, &buf),
                  std::string(kind.line) + "E|select error,ret=4,errmsg=query aborted\n");
        EXPECT_EQ(buf, nullptr);
        EXPECT_EQ(len, 0);
    }
}

TEST_F(SqlitePolicy, a_row_of_another_width_is_told_under_the_name_of_its_callback)
{
    const Bytes name = name32("x");
    UINT8* buf = nullptr;
    int len = 0;
    CONFIG_REBOOT_POLICY reboot = {};
    CONFIG_ALARM_POLICY alarm = {};
    CONFIG_QVLAN_POLICY qvlan = {};
    CONFIG_WL_DEPLOY_POLICY deploy = {};
    const struct {
        const char* kind;
        std::function<AC_RET()> obtain;
        std::function<AC_RET()> get;
    } kinds[] = {
        {"reboot", [&] { return sqlite_reboot_policy_obtain(&buf, &len); },
         [&] { return sqlite_reboot_policy_obtain_by_name(&reboot, name); }},
        {"alarm", [&] { return sqlite_alarm_policy_obtain(&buf, &len); },
         [&] { return sqlite_alarm_policy_obtain_by_name(&alarm, name); }},
        {"qvlan", [&] { return sqlite_qvlan_policy_obtain(&buf, &len); },
         [&] { return sqlite_get_qvlan_policy_by_name(&qvlan, name); }},
        {"wl_deploy", [&] { return sqlite_wl_deploy_policy_obtain(&buf, &len); },
         [&] { return sqlite_get_wl_deploy_policy_by_name(&deploy, name); }},
    };
    for (const auto& one : kinds) {
        const std::string kind = one.kind;
        run(policy_db, "drop table " + kind + "_policy");
        run(policy_db, "create table " + kind + "_policy(enable,name)");
        insert(kind + "_policy", "1,'x'");
        std::string out = output_of([&] { EXPECT_EQ(one.obtain(), AC_RET_ERROR); });
        EXPECT_EQ(out.find("Error->sqlite_obtain_" + kind + "_policy_callback("), 0U) << out;
        out = output_of([&] { EXPECT_EQ(one.get(), AC_RET_ERROR); });
        EXPECT_EQ(out.find("Error->sqlite_get_" + kind + "_policy_callback("), 0U) << out;
    }
}

TEST_F(SqlitePolicy, what_is_wrong_with_a_row_is_told_under_the_name_of_its_callback)
{
    run(policy_db, "drop table wl_deploy_policy");
    run(policy_db, "create table wl_deploy_policy(enable,name)");
    insert("wl_deploy_policy", "1,'hall'");
    insert("reboot_policy", "1,3,'night',1,2,4660");
    UINT8* buf = nullptr;
    int len = 0;
    std::string out = output_of([&] { (void)sqlite_wl_deploy_policy_obtain(&buf, &len); });
    EXPECT_EQ(out.find("Error->sqlite_obtain_wl_deploy_policy_callback("), 0U) << out;
    const Bytes name = name32("night");
    out = output_of([&] { (void)sqlite_reboot_policy_obtain_by_name(nullptr, name); });
    EXPECT_EQ(out.find("Error->sqlite_get_reboot_policy_callback("), 0U) << out;
    insert("password_policy", "1,'night','root','pw',1");
    out = output_of([&] { (void)sqlite_get_password_policy_by_name(nullptr, name); });
    EXPECT_EQ(out.find("Error->sqlite_get_password_policy_callback("), 0U) << out;
    ac_alloc_fail_after(1); // the statement is there
    out = output_of([&] { (void)sqlite_password_policy_obtain(&buf, &len); });
    ac_alloc_fail_after(-1);
    EXPECT_EQ(out.find("Error->sqlite_obtain_password_policy_callback("), 0U) << out;
}

TEST_F(SqlitePolicy, the_width_of_a_password_row_is_not_looked_at)
{
    run(policy_db, "drop table password_policy");
    run(policy_db, "create table password_policy(enable,name,user)");
    insert("password_policy", "1,'staff','root'");
    Bytes expected(101);
    put(expected, 1, "root");
    put(expected, 67, "staff");
    EXPECT_EQ(obtained(sqlite_password_policy_obtain), expected);
}

TEST_F(SqlitePolicy, a_failing_select_is_a_line_and_255)
{
    run(policy_db, "drop table reboot_policy");
    UINT8* buf = nullptr;
    int len = 0;
    EXPECT_EQ(failure_of(sqlite_reboot_policy_obtain, &len, &buf),
              "E|select error,ret=1,errmsg=no such table: reboot_policy\n");
    CONFIG_REBOOT_POLICY policy = {};
    const Bytes name = name32("night");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_reboot_policy_obtain_by_name(&policy, name), AC_RET_ERROR); }),
              "E|select error,ret=1,errmsg=no such table: reboot_policy\n");
}

TEST_F(SqlitePolicy, a_missing_node_ends_the_read_and_the_next_read_finds_no_leftovers)
{
    insert("reboot_policy", "1,3,'night',1,2,4660");
    insert("reboot_policy", "1,3,'noon',1,2,4660");
    UINT8* buf = nullptr;
    int len = 0;
    ac_alloc_fail_after(2); // the statement and the first node are there
    EXPECT_EQ(failure_of(sqlite_reboot_policy_obtain, &len, &buf),
              "E|malloc failed\nE|NULL Pointer\nE|select error,ret=4,errmsg=query aborted\n");
    ac_alloc_fail_after(-1);
    EXPECT_EQ(buf, nullptr);
    Bytes expected = reboot_image(0, "noon");
    append(expected, reboot_image(0, "night"));
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), expected);
}

TEST_F(SqlitePolicy, a_read_that_ended_early_leaves_nothing_to_an_empty_table)
{
    insert("reboot_policy", "1,3,'night',1,2,4660");
    insert("reboot_policy", "1,3,'noon',1,2,4660");
    UINT8 mark = 0;
    UINT8* buf = &mark;
    int len = 77;
    ac_alloc_fail_after(2); // the statement and the first node are there
    failure_of(sqlite_reboot_policy_obtain, &len, &buf);
    ac_alloc_fail_after(-1);
    run(policy_db, "delete from reboot_policy");
    EXPECT_EQ(sqlite_reboot_policy_obtain(&buf, &len), AC_RET_OK);
    EXPECT_EQ(buf, &mark);
    EXPECT_EQ(len, 77);
}

TEST_F(SqlitePolicy, a_missing_node_of_a_password_policy_has_one_line_less)
{
    insert("password_policy", "1,'staff','root','p''w',2");
    UINT8* buf = nullptr;
    int len = 0;
    ac_alloc_fail_after(1);
    EXPECT_EQ(failure_of(sqlite_password_policy_obtain, &len, &buf),
              "E|NULL Pointer\nE|select error,ret=4,errmsg=query aborted\n");
}

TEST_F(SqlitePolicy, without_memory_for_the_answer_the_length_is_0)
{
    insert("reboot_policy", "1,3,'night',1,2,4660");
    UINT8* buf = nullptr;
    int len = 77;
    ac_alloc_fail_after(2); // the statement and the node are there
    EXPECT_EQ(failure_of(sqlite_reboot_policy_obtain, &len, &buf), "E|malloc failed\n");
    ac_alloc_fail_after(-1);
    EXPECT_EQ(buf, nullptr);
    EXPECT_EQ(len, 0);
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), reboot_image(0, "night"));
}

// --- one by name -----------------------------------------------------------------------------------------------------

TEST_F(SqlitePolicy, a_policy_by_name_is_the_stored_record_with_its_stored_enable)
{
    insert("reboot_policy", "9,3,'night',1,2,4660");
    insert("reboot_policy", "1,0,'other',0,0,0");
    insert("alarm_policy", "9,'loud',4,'ops@example.net','secret',300,5,151038144,7,40,16909060,465,6");
    insert("password_policy", "9,'staff','root','p''w',2");
    insert("qvlan_policy", "9,'floor',2,10,20,300,301,302,'1,2,3'");
    insert("wl_deploy_policy", "9,'hall',3,4,5");
    user_of("reboot_name", "night");
    EXPECT_EQ(named(sqlite_reboot_policy_obtain_by_name, "night"), reboot_image(9, "night"));
    EXPECT_EQ(named(sqlite_alarm_policy_obtain_by_name, "loud"), alarm_image(9, "loud"));
    EXPECT_EQ(named(sqlite_get_password_policy_by_name, "staff"), password_image(9, "staff"));
    EXPECT_EQ(named(sqlite_get_qvlan_policy_by_name, "floor"), qvlan_image(9, "floor"));
    EXPECT_EQ(named(sqlite_get_wl_deploy_policy_by_name, "hall"), deploy_image(9, "hall"));
}

TEST_F(SqlitePolicy, an_unknown_name_leaves_the_record_zeroed_and_gives_0)
{
    insert("reboot_policy", "9,3,'night',1,2,4660");
    EXPECT_EQ(named(sqlite_reboot_policy_obtain_by_name, "nigh"), Bytes(40));
    EXPECT_EQ(named(sqlite_alarm_policy_obtain_by_name, "loud"), Bytes(124));
    EXPECT_EQ(named(sqlite_get_password_policy_by_name, "staff"), Bytes(101));
    EXPECT_EQ(named(sqlite_get_qvlan_policy_by_name, "floor"), Bytes(56));
    EXPECT_EQ(named(sqlite_get_wl_deploy_policy_by_name, "hall"), Bytes(37));
}

TEST_F(SqlitePolicy, a_name_with_a_quote_and_a_name_of_32_bytes_are_found)
{
    const std::string full = std::string(31, 'n') + "'";
    insert("wl_deploy_policy", "1,'" + std::string(31, 'n') + "''',3,4,5");
    EXPECT_EQ(named(sqlite_get_wl_deploy_policy_by_name, full), deploy_image(1, full));
    insert("wl_deploy_policy", "1,'x'' or 1=1',3,4,5");
    EXPECT_EQ(named(sqlite_get_wl_deploy_policy_by_name, "x' or 1=2"), Bytes(37));
}

TEST_F(SqlitePolicy, more_than_32_bytes_of_a_name_are_not_looked_at)
{
    insert("wl_deploy_policy", "1,'" + std::string(32, 'n') + "',3,4,5");
    CONFIG_WL_DEPLOY_POLICY policy = {};
    const Bytes longer(40, 'n');
    EXPECT_EQ(sqlite_get_wl_deploy_policy_by_name(&policy, longer), AC_RET_OK);
    EXPECT_EQ(raw(policy), deploy_image(1, std::string(32, 'n')));
}

TEST_F(SqlitePolicy, of_two_rows_with_one_name_the_later_counts)
{
    insert("wl_deploy_policy", "1,'hall',9,9,9");
    insert("wl_deploy_policy", "1,'hall',3,4,5");
    EXPECT_EQ(named(sqlite_get_wl_deploy_policy_by_name, "hall"), deploy_image(1, "hall"));
}

TEST_F(SqlitePolicy, of_an_earlier_row_with_the_name_nothing_is_left)
{
    insert("alarm_policy", alarm_values("loud"));
    insert("alarm_policy", "1,'loud',4,'ops@example.net','secret',300,5,151038144,7,40,16909060,null,null");
    Bytes expected = alarm_image(1, "loud");
    put(expected, 106, {0, 0, 0});
    EXPECT_EQ(named(sqlite_alarm_policy_obtain_by_name, "loud"), expected);
}

TEST_F(SqlitePolicy, a_row_of_another_width_by_name_is_refused)
{
    run(policy_db, "drop table wl_deploy_policy");
    run(policy_db, "create table wl_deploy_policy(enable,name)");
    insert("wl_deploy_policy", "1,'hall'");
    CONFIG_WL_DEPLOY_POLICY policy = {};
    const Bytes name = name32("hall");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_get_wl_deploy_policy_by_name(&policy, name), AC_RET_ERROR); }),
              "E|n_column:2,5E|select error,ret=4,errmsg=query aborted\n");
    EXPECT_EQ(raw(policy), Bytes(37));
}

TEST_F(SqlitePolicy, a_null_record_by_name_is_a_line_where_a_row_is_found)
{
    insert("wl_deploy_policy", "1,'hall',3,4,5");
    const Bytes name = name32("hall");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_get_wl_deploy_policy_by_name(nullptr, name), AC_RET_ERROR); }),
              "E|NULL Pointer\nE|select error,ret=4,errmsg=query aborted\n");
}

// --- users -----------------------------------------------------------------------------------------------------------

TEST_F(SqlitePolicy, the_users_of_a_policy_are_counted_by_its_whole_name)
{
    user_of("reboot_name", "night");
    user_of("reboot_name", "night");
    user_of("reboot_name", "nights");
    UINT8 count = 99;
    const Bytes name = name32("night");
    EXPECT_EQ(query_policy_used_info(AP_BASIC_TABLE, "reboot_name", name, &count), 0);
    EXPECT_EQ(count, 2);
}

TEST_F(SqlitePolicy, the_users_of_a_name_with_a_quote_are_counted)
{
    insert("reboot_policy", "1,3,'o''clock',1,2,4660");
    user_of("reboot_name", "o''clock");
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), reboot_image(1, "o'clock"));
}

TEST_F(SqlitePolicy, of_a_name_to_count_no_more_than_32_bytes_are_looked_at)
{
    user_of("reboot_name", std::string(32, 'n'));
    UINT8 count = 99;
    EXPECT_EQ(query_policy_used_info(AP_BASIC_TABLE, "reboot_name", Bytes(40, 'n'), &count), 0);
    EXPECT_EQ(count, 1);
}

TEST_F(SqlitePolicy, of_ssids_only_those_that_are_on_count_as_users)
{
    for (const char* on : {"2", "0", "2", "1"})
        run(db, std::string("insert into ap_ssid(apmac,ssid_en,wl_basic_name) values('02:00:00:00:00:01',") + on +
                    ",'guests')");
    UINT8 count = 99;
    const Bytes name = name32("guests");
    EXPECT_EQ(query_policy_used_info(AP_SSID_TABLE, "wl_basic_name", name, &count), 0);
    EXPECT_EQ(count, 2);
}

TEST_F(SqlitePolicy, a_policy_of_255_users_shows_255_and_one_of_256_none)
{
    insert("reboot_policy", "1,3,'night',1,2,4660");
    for (int i = 0; i < 255; i++)
        user_of("reboot_name", "night");
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), reboot_image(255, "night"));
    user_of("reboot_name", "night");
    EXPECT_EQ(obtained(sqlite_reboot_policy_obtain), reboot_image(0, "night"));
}

TEST_F(SqlitePolicy, a_failing_count_leaves_0)
{
    run(db, "drop table ap_basic");
    UINT8 count = 99;
    const Bytes name = name32("night");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(query_policy_used_info(AP_BASIC_TABLE, "reboot_name", name, &count), 0); }),
              "E|select error,ret=1,errmsg=no such table: ap_basic\n");
    EXPECT_EQ(count, 0);
}

// --- deletion --------------------------------------------------------------------------------------------------------

TEST_F(SqlitePolicy, three_names_are_deleted_in_one_statement)
{
    for (const char* name : {"a", "b''c", "d", "e"})
        insert("reboot_policy", std::string("1,1,'") + name + "',1,2,90");
    const Bytes three = names({"a", "b'c", "d"});
    const std::vector<std::string> run_then =
        statements(policy_db, [&] { EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 3, three), AC_RET_OK); });
    EXPECT_EQ(run_then,
              std::vector<std::string>{"delete from reboot_policy where name='a' or name='b''c' or name='d'"});
    EXPECT_EQ(left("reboot_policy"), "e;");
}

TEST_F(SqlitePolicy, a_name_of_32_quotes_is_deleted_whole)
{
    insert("reboot_policy", "1,1,'" + std::string(64, '\'') + "',1,2,90");
    EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 1, names({std::string(32, '\'')})), AC_RET_OK);
    EXPECT_EQ(left("reboot_policy"), "");
}

TEST_F(SqlitePolicy, deleting_takes_the_policy_in_use_too_and_an_unknown_name_is_no_error)
{
    insert("reboot_policy", "1,3,'night',1,2,4660");
    user_of("reboot_name", "night");
    EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 2, names({"night", "nobody"})), AC_RET_OK);
    EXPECT_EQ(left("reboot_policy"), "");
    EXPECT_EQ(cell(db, "select reboot_name from ap_basic"), "night");
}

TEST_F(SqlitePolicy, the_rows_of_clients_are_deleted_in_the_other_file)
{
    run(db, "insert into ap_client(cli_mac) values('02:00:00:00:00:aa')");
    const Bytes name = name32("02:00:00:00:00:aa");
    EXPECT_EQ(sqlite_del_policy("ap_client", "cli_mac", 1, name), AC_RET_OK);
    EXPECT_EQ(cell(db, "select count(*) from ap_client"), "0");
}

TEST_F(SqlitePolicy, no_data_no_names_and_fewer_bytes_than_names_are_refused)
{
    insert("reboot_policy", "1,1,'a',1,2,90");
    EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 1, {}), AC_RET_ERROR);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 0, names({"a"})), AC_RET_ERROR); }),
              "");
    EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", -1, names({"a"})), AC_RET_ERROR);
    EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 2, cut(names({"a", "b"}), 63)), AC_RET_ERROR);
    EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", INT_MAX, names({"a"})), AC_RET_ERROR);
    EXPECT_EQ(left("reboot_policy"), "a;");
}

TEST_F(SqlitePolicy, a_failing_deletion_is_a_line_and_255)
{
    run(policy_db, "drop table reboot_policy");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 1, names({"a"})), AC_RET_ERROR); }),
              "E|delete error,ret=1,errmsg=no such table: reboot_policy\n");
    ac_alloc_fail_after(0);
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_del_policy("reboot_policy", "name", 1, names({"a"})), AC_RET_ERROR); }),
              "E|delete error,ret=7,errmsg=out of memory\n");
}
