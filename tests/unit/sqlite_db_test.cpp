#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "ac_sql/sqlite_schema.h"
#include "common/ac_alloc.h"
#include "platform/ac_platform.h"
#include "sql_world.h"

static bool exists(const char* appliance_path)
{
    return access(ac_path(appliance_path).c_str(), F_OK) == 0;
}

// A folder in the file's place can't be opened as a database.
static void put_folder(const char* appliance_path)
{
    ASSERT_EQ(mkdir(ac_path(appliance_path).c_str(), 0755), 0);
}

TEST_F(SqlWorld, the_two_flash_files_lie_on_two_partitions_under_one_name)
{
    EXPECT_TRUE(exists(AP_FILE));
    EXPECT_TRUE(exists(POLICY_FILE));
}

TEST_F(SqlWorld, handles_are_opened_in_serialized_mode)
{
    EXPECT_NE(sqlite3_db_mutex(db.handle.load()), nullptr);
    EXPECT_NE(sqlite3_db_mutex(policy_db.handle.load()), nullptr);
}

TEST_F(SqlWorld, a_file_that_cannot_be_opened_is_thrown_away_and_the_process_killed)
{
    sqlite_exit();
    unlink(ac_path(AP_FILE).c_str());
    put_folder(AP_FILE);
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_init(), 255); }),
              "E|sql open error\nE|sql open error must reboot the wtpmasterd process\n");
    EXPECT_FALSE(exists(AP_FILE));
    EXPECT_EQ(db.handle.load(), nullptr);
    EXPECT_EQ(read_file("/var/log/ac_system_cmd.log"),
              "rm -fr /mnt/l_brcmnand/Wlc_database.db\nkillall -9 wtpmasterd\n");
    EXPECT_TRUE(exists(POLICY_FILE));
}

TEST_F(SqlWorld, the_start_after_a_recovery_finds_a_new_empty_file)
{
    sqlite_exit();
    unlink(ac_path(AP_FILE).c_str());
    put_folder(AP_FILE);
    (void)lines_of([] { EXPECT_EQ(sqlite_init(), 255); });
    (void)lines_of([] {
        EXPECT_EQ(sqlite_init(), 0);
        EXPECT_EQ(sqlite_create_table(), 0);
    });
    EXPECT_EQ(cell(db, "select count(*) from ap_basic"), "0");
}

TEST_F(SqlWorld, a_policy_file_that_cannot_be_opened_leaves_the_ap_file_alone)
{
    run(db, "insert into ap_product_info values(70,'x',1,1,1,1,0)");
    sqlite_exit();
    unlink(ac_path(POLICY_FILE).c_str());
    put_folder(POLICY_FILE);
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_init(), 255); }),
              "E|sql open error\nE|sql open error must reboot the wtpmasterd process\n");
    EXPECT_FALSE(exists(POLICY_FILE));
    EXPECT_EQ(read_file("/var/log/ac_system_cmd.log"),
              "rm -fr /mnt/s_brcmnand/Wlc_database.db\nkillall -9 wtpmasterd\n");
    EXPECT_EQ(cell(db, "select ap_name from ap_product_info"), "x");
}

TEST_F(SqlWorld, a_file_that_is_no_database_opens_and_is_kept)
{
    sqlite_exit();
    write_file(AP_FILE, std::string(4096, 'x'));
    EXPECT_EQ(output_of([] { EXPECT_EQ(sqlite_init(), 0); }), "");
    EXPECT_EQ(read_file(AP_FILE), std::string(4096, 'x'));
    EXPECT_EQ(query_field_exist(db, "apmac", "ap_basic"), SQLITE_NOTADB);
}

TEST_F(SqlWorld, a_start_on_a_file_that_is_no_database_stops_making_tables_at_ap_client)
{
    sqlite_exit();
    write_file(AP_FILE, std::string(4096, 'x'));
    (void)lines_of([] {
        EXPECT_EQ(sqlite_init(), 0);
        EXPECT_EQ(sqlite_create_table(), SQLITE_NOTADB);
    });
    EXPECT_EQ(read_file(AP_FILE), std::string(4096, 'x'));
}

TEST_F(SqlWorld, a_closed_file_refuses_statements_and_the_process_runs_on)
{
    EXPECT_EQ(sqlite_exit(), 0);
    sql_message message;
    EXPECT_EQ(sql_exec(db, "select 1", message), SQLITE_MISUSE);
    EXPECT_STRNE(message.c_str(), "");
    EXPECT_EQ(query_field_exist(policy_db, "name", "wl_policy"), SQLITE_MISUSE);
    EXPECT_EQ(sqlite_exit(), 0);
}

TEST_F(SqlWorld, files_can_be_opened_again_after_they_were_closed)
{
    run(db, "insert into ap_product_info values(70,'x',1,1,1,1,0)");
    sqlite_exit();
    EXPECT_EQ(sqlite_init(), 0);
    EXPECT_EQ(cell(db, "select count(*) from ap_product_info"), "1");
}

TEST_F(SqlWorld, closing_while_other_threads_run_statements_frees_no_handle_under_them)
{
    std::atomic<bool> stop{false};
    auto work = [&stop] {
        while (!stop.load()) {
            sql_message message;
            const int ret = sql_exec(db, "select count(*) from ap_basic", message);
            if (ret != SQLITE_OK && ret != SQLITE_MISUSE) ADD_FAILURE() << ret;
        }
    };
    std::thread one(work), two(work);
    for (int i = 0; i < 200; i++) {
        sqlite_exit();
        EXPECT_EQ(sqlite_init(), 0);
    }
    stop.store(true);
    one.join();
    two.join();
}

TEST_F(SqlWorld, a_file_in_use_is_closed_only_when_its_last_user_is_done)
{
    std::thread closer;
    {
        const ac_db_use use(db);
        closer = std::thread([] { sqlite_exit(); });
        while (db.handle.load() != nullptr)
            std::this_thread::yield(); // from here on the closer waits for us
        for (int i = 0; i < 2000; i++)
            EXPECT_EQ(sqlite3_exec(use.handle(), "select count(*) from ap_basic", nullptr, nullptr, nullptr),
                      SQLITE_OK);
        const ac_db_use late(db);
        EXPECT_EQ(late.handle(), nullptr);
    }
    closer.join();
    EXPECT_EQ(db.users.load(), 0);
}

static int pass_row(void*, const sql_row&)
{
    return 0;
}

TEST_F(SqlWorld, a_failed_select_has_its_own_reason_while_other_threads_fail_on_the_same_file)
{
    std::atomic<bool> stop{false};
    std::thread other([&stop] {
        while (!stop.load()) {
            sql_message message;
            EXPECT_EQ(sql_exec(db, "select theirs from ap_ssid", message), SQLITE_ERROR);
        }
    });
    sql_text sql;
    sql.append("select mine from ap_basic");
    int foreign = 0;
    for (int i = 0; i < 5000; i++) {
        sql_message message;
        EXPECT_EQ(sql_each_row(db, sql, message, pass_row, nullptr), SQLITE_ERROR);
        if (std::string(message.c_str()) != "no such column: mine") foreign++;
    }
    stop.store(true);
    other.join();
    EXPECT_EQ(foreign, 0);
}

TEST_F(SqlWorld, a_select_that_fails_at_a_row_gives_its_own_reason_and_holds_nothing_afterwards)
{
    sql_text sql;
    sql.append("select abs(-9223372036854775808)");
    sql_message message;
    EXPECT_EQ(sql_each_row(db, sql, message, pass_row, nullptr), SQLITE_ERROR);
    EXPECT_STREQ(message.c_str(), "integer overflow");
    EXPECT_EQ(sqlite3_next_stmt(db.handle.load(), nullptr), nullptr);
}

TEST_F(SqlWorld, an_existing_field_gives_0_a_missing_one_1_a_missing_table_2)
{
    EXPECT_EQ(query_field_exist(db, "wl_deploy_name", "ap_basic"), 0);
    EXPECT_EQ(query_field_exist(db, "no_such", "ap_basic"), 1);
    EXPECT_EQ(query_field_exist(db, "apmac", "no_such"), 2);
}

TEST_F(SqlWorld, a_failure_of_neither_kind_gives_the_code_of_sqlite)
{
    EXPECT_EQ(query_field_exist(db, "no_such_function(apmac)", "ap_basic"), SQLITE_ERROR);
}

TEST_F(SqlWorld, a_null_field_or_table_name_gives_minus_1)
{
    EXPECT_EQ(lines_of([] { EXPECT_EQ(query_field_exist(db, nullptr, "ap_basic"), -1); }), "E|NULL pointer...\n");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(query_field_exist(db, "apmac", nullptr), -1); }), "E|NULL pointer...\n");
}

TEST_F(SqlWorld, the_field_test_is_a_plain_select_of_the_column)
{
    EXPECT_EQ(statements(db, [] { query_field_exist(db, "apmac", "ap_ssid"); }),
              std::vector<std::string>{"select apmac from ap_ssid"});
}

TEST_F(SqlWorld, a_field_test_on_a_locked_file_gives_the_code_of_sqlite)
{
    sqlite3_busy_timeout(db.handle.load(), 0);
    const SqlHold hold(AP_FILE);
    EXPECT_EQ(query_field_exist(db, "apmac", "ap_basic"), SQLITE_BUSY);
}

TEST_F(SqlWorld, a_field_test_without_memory_is_neither_missing_nor_there)
{
    ac_alloc_fail_after(0);
    EXPECT_EQ(query_field_exist(db, "apmac", "ap_basic"), SQLITE_NOMEM);
}

TEST_F(SqlWorld, the_log_file_opens_beside_the_flash_files)
{
    EXPECT_EQ(sqlite_logs_init(), 0);
    EXPECT_EQ(cell(db_logs, "select count(*) from sqlite_master"), "0"); // the daemon makes no table in it
    EXPECT_EQ(sqlite_logs_exit(), 0);
    EXPECT_EQ(db_logs.handle.load(), nullptr);
}

TEST_F(SqlWorld, a_log_file_that_cannot_be_opened_is_a_line_and_nothing_else)
{
    put_folder(LOGS_FILE);
    EXPECT_EQ(output_of([] { EXPECT_EQ(sqlite_logs_init(), -1); }), "sql open error");
    EXPECT_TRUE(exists(LOGS_FILE));
}

TEST_F(SqlWorld, a_ready_statement_runs_and_its_failure_is_only_a_line)
{
    run(db, "insert into ap_product_info values(70,'x',1,1,1,1,0)");
    EXPECT_EQ(sqlite_exec_buf("delete from ap_product_info"), 0);
    EXPECT_EQ(cell(db, "select count(*) from ap_product_info"), "0");
    EXPECT_EQ(lines_of([] { EXPECT_EQ(sqlite_exec_buf("delete from nowhere"), 0); }),
              "E|delete error,ret=1,errmsg=no such table: nowhere\n");
}

TEST_F(SqlWorld, cells_outside_a_table_are_null)
{
    sql_text sql;
    sql.append("select 1,null");
    sql_table table;
    sql_message message;
    ASSERT_EQ(table.load(db, sql, message), SQLITE_OK);
    EXPECT_STREQ(table.cell(0, 0), "1");
    EXPECT_EQ(table.cell(0, 1), nullptr);
    EXPECT_EQ(table.cell(1, 0), nullptr);
    EXPECT_EQ(table.cell(-1, 0), nullptr);
    EXPECT_EQ(table.cell(0, 2), nullptr);
}

TEST_F(SqlWorld, numbers_in_cells_are_leading_digits)
{
    EXPECT_EQ(sql_cell_int("17"), 17);
    EXPECT_EQ(sql_cell_int("-3x"), -3);
    EXPECT_EQ(sql_cell_int("010"), 10); // decimal, whatever it begins with
    EXPECT_EQ(sql_cell_int("0x10"), 0);
    EXPECT_EQ(sql_cell_int("x"), 0);
    EXPECT_EQ(sql_cell_int(nullptr), 0);
    EXPECT_EQ(sql_cell_int("4294967295"), -1); // cut to 32 bits
}
