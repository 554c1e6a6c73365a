// What is left of the database, and of the daemon, when the flash fails.
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_apbasic.h"
#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_sql/sqlite_load.h"
#include "ac_sql/sqlite_schema.h"
#include "platform/ac_platform.h"
#include "sql_faults.h"
#include "sql_world.h"

static const Mac M1 = test_mac(1);

class SqlFaultWorld : public SqlWorld {
protected:
    APCONFIG* record = nullptr;
    void SetUp() override
    {
        SqlWorld::SetUp();
        record = make_record(M1, 1, AP_LINK_UP);
    }
    void write_record()
    {
        record->sql_flag = 0;
        sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, M1.data());
        sql_flash_queue_out();
    }
    // Every statement happened whole or not at all, and the file is sound.
    void check_rows(int moment)
    {
        EXPECT_EQ(cell(db, "pragma integrity_check"), "ok") << moment;
        const std::string basics = cell(db, "select count(*) from ap_basic");
        const std::string ssids = cell(db, "select count(*) from ap_ssid");
        EXPECT_TRUE(basics == "0" || basics == "1") << moment;
        EXPECT_TRUE(ssids == "0" || ssids == "2") << moment;
    }
    void break_at_each_moment(int code)
    {
        const std::string healthy = lines_of([&] { write_record(); });
        ASSERT_EQ(healthy, "");
        run(db, "delete from ap_basic; delete from ap_ssid");
        sql_faults_clear();
        write_record();
        const int moments = sql_faults_counted();
        ASSERT_GT(moments, 4);
        for (int moment = 0; moment < moments; moment++) {
            run(db, "delete from ap_basic; delete from ap_ssid");
            const std::string printed = lines_of([&] {
                sql_faults_after(moment, code);
                write_record();
                sql_faults_clear();
            });
            EXPECT_NE(printed, "") << moment;
            check_rows(moment);
        }
        run(db, "delete from ap_basic; delete from ap_ssid");
        EXPECT_EQ(lines_of([&] { write_record(); }), ""); // all is well again without a restart
        check_rows(moments);
        EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
    }
};

TEST_F(SqlFaultWorld, a_full_flash_leaves_whole_rows_or_none_at_every_moment)
{
    break_at_each_moment(SQLITE_FULL);
}

TEST_F(SqlFaultWorld, a_failing_flash_leaves_whole_rows_or_none_at_every_moment)
{
    break_at_each_moment(SQLITE_IOERR);
}

TEST_F(SqlFaultWorld, a_flash_that_turns_read_only_leaves_whole_rows_or_none_at_every_moment)
{
    break_at_each_moment(SQLITE_READONLY);
}

TEST_F(SqlFaultWorld, a_flash_that_cannot_be_read_is_a_line_at_every_moment_and_all_is_well_afterwards)
{
    sql_faults_clear();
    write_record();
    const int moments = sql_faults_reads_counted();
    ASSERT_GT(moments, 2);
    for (int moment = 0; moment < moments; moment++) {
        run(db, "delete from ap_ssid; delete from ap_basic");
        const std::string printed = lines_of([&] {
            sql_faults_read_after(moment, SQLITE_IOERR_READ);
            write_record();
            sql_faults_clear();
        });
        EXPECT_NE(printed, "") << moment;
        check_rows(moment);
    }
    EXPECT_EQ(lines_of([&] { write_record(); }), "");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

TEST_F(SqlFaultWorld, a_load_that_cannot_read_ends_with_its_line_and_a_later_one_loads_all)
{
    write_record();
    apconfig_del_all();
    (void)lines_of([] {
        sql_faults_read_after(0, SQLITE_IOERR_READ);
        EXPECT_EQ(load_apconfig_from_flash(), 255);
        sql_faults_clear();
        EXPECT_EQ(load_apconfig_from_flash(), 0);
    });
    EXPECT_NE(apconfig_find(M1.data()), nullptr);
}

TEST_F(SqlFaultWorld, a_file_that_is_no_database_is_kept_and_each_statement_says_so)
{
    const std::string content(5000, 'x');
    sqlite_exit();
    write_file(AP_FILE, content);
    const std::string printed = lines_of([] {
        EXPECT_EQ(sqlite_init(), 0);
        EXPECT_EQ(sqlite_create_table(), 26); // what the look at ap_client gives
        EXPECT_EQ(load_apconfig_from_flash(), 255);
    });
    EXPECT_EQ(printed, "E|load_apconfig_ap_product error,Error code:26,Reason:file is not a database\nE|");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_apbasic_del(M1.data()), 255); }),
              "E|delete error,Error code:26,Reason:file is not a database\n");
    EXPECT_EQ(read_file(AP_FILE), content);
}

TEST_F(SqlFaultWorld, ssids_from_before_the_lan_columns_are_refused_and_the_aps_load)
{
    write_record();
    run(db, "alter table ap_ssid drop column lan_num; alter table ap_ssid drop column lan0_vlanid;"
            "alter table ap_ssid drop column lan1_vlanid; alter table ap_ssid drop column lan2_vlanid;"
            "alter table ap_ssid drop column qvlan_truck_port");
    sqlite_exit();
    apconfig_del_all();
    const std::string printed = lines_of([] {
        EXPECT_EQ(sqlite_init(), 0);
        EXPECT_EQ(sqlite_create_table(), 0);
        EXPECT_EQ(load_apconfig_from_flash(), 255);
    });
    EXPECT_NE(printed.find("apnum:1,2*************\n\nE|n_column:27,AP_WL_SSID_TABLE_COL_LEN:31"
                           "E|load apconfig of wl basic error,Error code:4,Reason:query aborted\nE|"),
              std::string::npos)
        << printed;
    const APCONFIG* ap = apconfig_find(M1.data());
    ASSERT_NE(ap, nullptr);
    EXPECT_TRUE(list_empty(&ap->list_wl));
}

TEST_F(SqlFaultWorld, a_cut_at_any_moment_leaves_a_file_that_opens_and_loads)
{
    sql_faults_clear();
    write_record();
    const int moments = sql_faults_counted();
    for (int moment = 0; moment < moments; moment++) {
        run(db, "delete from ap_basic; delete from ap_ssid");
        (void)lines_of([&] {
            sql_faults_after(moment, SQLITE_IOERR);
            write_record();
        });
        // What lies on the flash now is what a power cut leaves; a process of its own would find it.
        const std::filesystem::path dir = std::filesystem::path(ac_path(AP_FILE).c_str()).parent_path();
        const std::filesystem::path copy = std::filesystem::path(root) / "cut";
        std::filesystem::remove_all(copy);
        std::filesystem::copy(dir, copy);
        sqlite_exit();
        sql_faults_clear();
        std::filesystem::remove_all(dir);
        std::filesystem::copy(copy, dir);
        apconfig_del_all();
        (void)lines_of([] {
            EXPECT_EQ(sqlite_init(), 0);
            EXPECT_EQ(sqlite_create_table(), 0);
            load_apconfig_from_flash();
        });
        check_rows(moment);
        // SSID rows never stand without their AP, which would stop the load for all others.
        const bool has_ssids = cell(db, "select count(*) from ap_ssid") == "2";
        EXPECT_TRUE(!has_ssids || apconfig_find(M1.data()) != nullptr) << moment;
        apconfig_del_all();
        record = make_record(M1, 1, AP_LINK_UP);
    }
}

TEST_F(SqlFaultWorld, a_deletion_broken_at_any_moment_leaves_no_ssid_without_its_ap)
{
    write_record();
    sql_faults_clear();
    sqlite_apconfig_del(M1.data());
    const int moments = sql_faults_counted();
    for (int moment = 0; moment < moments; moment++) {
        (void)lines_of([&] { write_record(); });
        ASSERT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
        (void)lines_of([&] {
            sql_faults_after(moment, SQLITE_IOERR);
            sqlite_apconfig_del(M1.data());
            sql_faults_clear();
        });
        check_rows(moment);
        const bool has_ssids = cell(db, "select count(*) from ap_ssid") == "2";
        EXPECT_TRUE(!has_ssids || cell(db, "select count(*) from ap_basic") == "1") << moment;
    }
}

TEST_F(SqlFaultWorld, a_start_on_a_full_flash_prints_and_goes_on)
{
    sqlite_exit();
    unlink(ac_path(AP_FILE).c_str());
    unlink(ac_path(POLICY_FILE).c_str());
    std::string printed = lines_of([] {
        sql_faults_after(0, SQLITE_FULL);
        EXPECT_EQ(sqlite_init(), 0);
        EXPECT_NE(sqlite_create_table(), 0); // the deployment policies insist
        EXPECT_EQ(load_apconfig_from_flash(), 255);
    });
    EXPECT_EQ(printed.find("E|Create database failue ,Error code:13,Reason:database or disk is full\n"), 0u);
    sql_faults_clear();
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_create_table(), 0); }), "");
}

TEST_F(SqlFaultWorld, a_lock_of_another_process_delays_a_write_and_then_fails_it_with_a_line)
{
    write_record();
    sqlite3_busy_timeout(db.handle.load(), 0);
    {
        const SqlHold hold(AP_FILE);
        record->info_basic.led_status = 9;
        sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
        EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "E|update,Error code:5,Reason:database is locked\n");
    }
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }), "");
    EXPECT_EQ(cell(db, "select ledstatus from ap_basic"), "9");
}

TEST_F(SqlFaultWorld, a_whole_write_under_a_lock_never_doubles_the_basic_row)
{
    write_record();
    sqlite3_busy_timeout(db.handle.load(), 0);
    {
        const SqlHold hold(AP_FILE);
        (void)lines_of([&] { write_record(); });
    }
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

// Runs before each statement: only the deletion of SSIDs can't read.
static int break_the_deletion_of_ssids(unsigned, void*, void*, void* text)
{
    sql_faults_clear();
    if (strncmp(static_cast<const char*>(text), "delete from ap_ssid", 19) == 0)
        sql_faults_read_after(0, SQLITE_IOERR_READ);
    return 0;
}

TEST_F(SqlFaultWorld, ssids_that_cannot_be_deleted_keep_the_row_of_their_ap)
{
    write_record();
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, break_the_deletion_of_ssids, nullptr);
    const std::string printed = lines_of([&] { EXPECT_EQ(sqlite_apconfig_del(M1.data()), 255); });
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    sql_faults_clear();
    EXPECT_EQ(printed, "E|delete error,Error code:10,Reason:disk I/O error\n");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
    EXPECT_EQ(lines_of([&] { EXPECT_EQ(sqlite_apconfig_del(M1.data()), 0); }), "");
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
}

// Runs before each statement: only the count of SSIDs can't read.
static int break_the_count_of_ssids(unsigned, void*, void*, void* text)
{
    sql_faults_clear();
    if (strncmp(static_cast<const char*>(text), "select count(*) from ap_ssid", 28) == 0)
        sql_faults_read_after(0, SQLITE_IOERR_READ);
    return 0;
}

TEST_F(SqlFaultWorld, a_failed_count_of_ssids_is_a_line_and_never_doubles_them)
{
    write_record();
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, break_the_count_of_ssids, nullptr);
    const std::string printed =
        lines_of([&] { EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_WLRF, M1.data(), record), 255); });
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    sql_faults_clear();
    EXPECT_EQ(printed, "E|insert error ret=10,errmsg=disk I/O error\nE|insert error,ret=10,errmsg=disk I/O error\n");
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "2");
}

// Runs before each statement: the count of ap_basic can't read, the first time it comes.
static int break_the_first_count_of_aps(unsigned, void* arg, void*, void* text)
{
    sql_faults_clear();
    const bool count = strncmp(static_cast<const char*>(text), "select count(*) from ap_basic", 29) == 0;
    if (count && (*static_cast<int*>(arg))++ == 0) sql_faults_read_after(0, SQLITE_IOERR_READ);
    return 0;
}

TEST_F(SqlFaultWorld, after_a_failed_count_of_aps_ssids_are_written_only_beside_a_row_of_their_own)
{
    const std::string failed = "E|insert error ret=10,errmsg=disk I/O error\n";
    const std::string refused = failed + "E|ap has no row, its ssids are not written\n";
    const auto lines_without_first_count = [this](const std::function<void()>& action) {
        int counts = 0;
        sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, break_the_first_count_of_aps, &counts);
        const std::string printed = lines_of(action);
        sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
        sql_faults_clear();
        return printed;
    };
    EXPECT_EQ(lines_without_first_count([&] { sqlite_apconfig_add(record); }), refused);
    EXPECT_EQ(
        lines_without_first_count([&] { EXPECT_EQ(sqlite_apconfig_update(CONFIG_SQL_WLRF, M1.data(), record), 255); }),
        refused);
    EXPECT_EQ(cell(db, "select count(*) from ap_ssid"), "0");
    write_record();
    record->info_basic.led_status = 5;
    apconfig_find_wlbasic_node(&record->list_wl, 0)->wl_basic.client_number = 17;
    EXPECT_EQ(lines_without_first_count([&] { sqlite_apconfig_add(record); }), failed);
    EXPECT_EQ(rows(db, "select ledstatus from ap_basic"), (SqlRows{{"5"}})); // changed, not doubled
    EXPECT_EQ(cell(db, "select client_number from ap_ssid where ssid_id=0"), "17");
}

TEST_F(SqlFaultWorld, handles_wait_for_other_processes)
{
    ASSERT_EQ(sqlite_logs_init(), 0);
    for (ac_db* file : {&db, &policy_db, &db_logs})
        EXPECT_EQ(cell(*file, "pragma busy_timeout"), "200");
}

TEST_F(SqlFaultWorld, a_file_removed_while_open_is_missed_only_at_the_next_start)
{
    write_record();
    unlink(ac_path(AP_FILE).c_str());
    record->info_basic.led_status = 4;
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    (void)lines_of([] { sql_flash_queue_out(); });
    sqlite_exit();
    (void)lines_of([] {
        EXPECT_EQ(sqlite_init(), 0);
        EXPECT_EQ(sqlite_create_table(), 0);
    });
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
    (void)lines_of([&] { write_record(); });
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "1");
}

TEST_F(SqlFaultWorld, a_truncated_file_opens_prints_and_harms_nothing)
{
    write_record();
    sqlite_exit();
    const std::string whole = read_file(AP_FILE);
    ASSERT_GT(whole.size(), 4096u);
    for (std::size_t size = 0; size < whole.size(); size += size < 128 ? 16 : whole.size() / 7) {
        write_file(AP_FILE, whole.substr(0, size));
        (void)lines_of([&] {
            EXPECT_EQ(sqlite_init(), 0);
            (void)sqlite_create_table();
            apconfig_del_all();
            (void)load_apconfig_from_flash();
        });
        record = make_record(M1, 1, AP_LINK_UP);
        (void)lines_of([&] { write_record(); });
        sqlite_exit();
    }
}

TEST_F(SqlFaultWorld, a_file_with_flipped_bytes_opens_prints_and_harms_nothing)
{
    write_record();
    sqlite_exit();
    const std::string whole = read_file(AP_FILE);
    unsigned int seed = 1;
    for (int round = 0; round < 60; round++) {
        std::string damaged = whole;
        for (int i = 0; i < 20; i++) {
            seed = seed * 1103515245 + 12345;
            damaged[seed / 7 % damaged.size()] ^= static_cast<char>(1 + seed / 65536 % 255);
        }
        write_file(AP_FILE, damaged);
        (void)lines_of([&] {
            EXPECT_EQ(sqlite_init(), 0);
            (void)sqlite_create_table();
            apconfig_del_all();
            (void)load_apconfig_from_flash();
        });
        record = make_record(test_mac(2), 1, AP_LINK_UP);
        sql_flash_queue_in(CONFIG_SQL_ADD_AP, 0, record->ethaddr);
        (void)lines_of([] { sql_flash_queue_out(); });
        sqlite_exit();
    }
}

TEST_F(SqlFaultWorld, a_read_only_file_still_loads_and_refuses_writes_with_a_line)
{
    write_record();
    sqlite3* handle = nullptr;
    ASSERT_EQ(sqlite3_open_v2(ac_path(AP_FILE).c_str(), &handle, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    sqlite3_close(db.handle.exchange(handle));
    apconfig_del_all();
    (void)lines_of([] { EXPECT_EQ(load_apconfig_from_flash(), 0); });
    APCONFIG* loaded = apconfig_find(M1.data());
    ASSERT_NE(loaded, nullptr);
    loaded->sql_flag = 1;
    sql_flash_queue_in(CONFIG_SQL_LED, 0, M1.data());
    EXPECT_EQ(lines_of([] { sql_flash_queue_out(); }),
              "E|update,Error code:8,Reason:attempt to write a readonly database\n");
}
