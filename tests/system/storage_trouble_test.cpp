// The real daemon with database files that are bad, held, or gone.
#include <sqlite3.h>

#include <filesystem>
#include <fstream>

#include "common/config_ap_type.h"
#include "site.h"

using namespace std::chrono_literals;

namespace {

std::string ap_file(const Daemon& daemon)
{
    return daemon.root() + "/mnt/l_brcmnand/Wlc_database.db";
}

sqlite3* open_file(const std::string& path)
{
    sqlite3* handle = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &handle), SQLITE_OK);
    sqlite3_busy_timeout(handle, static_cast<int>(PATIENCE.count()));
    return handle;
}

void run(const std::string& path, const std::string& sql)
{
    sqlite3* handle = open_file(path);
    EXPECT_EQ(sqlite3_exec(handle, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(handle);
    sqlite3_close(handle);
}

int stored_names(const std::string& path, const std::string& name)
{
    sqlite3* handle = open_file(path);
    sqlite3_stmt* statement = nullptr;
    const std::string sql = "select count(*) from ap_basic where apname='" + name + "'";
    int count = -1;
    if (sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW)
        count = sqlite3_column_int(statement, 0);
    sqlite3_finalize(statement);
    sqlite3_close(handle);
    return count;
}

void name_all(Daemon& daemon, const apsim::Fleet& fleet, const std::string& name)
{
    for (std::size_t i = 0; i < fleet.size(); i++)
        EXPECT_EQ(daemon.update(SET_AP_REMARK_REQ, mac_of(fleet, i), ap_name(name)), 0);
}

// A file that the daemon has filled with the APs of a small fleet, for tests to spoil.
class SpoiltFile : public ::testing::Test {
protected:
    Daemon daemon{20};

    void SetUp() override
    {
        daemon.start();
        apsim::Fleet fleet(fleet_options(daemon, 6));
        ASSERT_TRUE(all_run(daemon, fleet));
        name_all(daemon, fleet, "before");
        ASSERT_TRUE(fleet.run_until([&] { return stored_names(ap_file(daemon), "before") == 6; }, PATIENCE));
        daemon.stop();
    }
    // It starts, prints that line, and serves its APs.
    void expect_service(const std::string& line)
    {
        daemon.start();
        EXPECT_GT(daemon.log_count(line), 0) << daemon.log();
        apsim::Fleet fleet(fleet_options(daemon, 6));
        EXPECT_TRUE(all_run(daemon, fleet)) << daemon.log();
        EXPECT_EQ(daemon.count()[1], 6);
    }
};

} // namespace

TEST_F(SpoiltFile, one_that_is_no_database_is_kept_and_the_aps_are_served)
{
    std::ofstream(ap_file(daemon), std::ios::trunc) << std::string(5000, 'x');
    expect_service("Error code:26,Reason:file is not a database\n");
    EXPECT_EQ(std::filesystem::file_size(ap_file(daemon)), 5000u);
}

TEST_F(SpoiltFile, one_that_is_cut_off_is_reported_and_the_aps_are_served)
{
    std::filesystem::resize_file(ap_file(daemon), std::filesystem::file_size(ap_file(daemon)) / 2);
    expect_service("Reason:database disk image is malformed\n");
}

TEST_F(SpoiltFile, one_from_before_the_lan_columns_is_reported_and_the_aps_are_served)
{
    std::string columns;
    for (const char* column : {"lan_num", "lan0_vlanid", "lan1_vlanid", "lan2_vlanid", "qvlan_truck_port"})
        columns += std::string("alter table ap_ssid drop column ") + column + ";";
    run(ap_file(daemon), columns);
    expect_service("n_column:27,AP_WL_SSID_TABLE_COL_LEN:31");
}

TEST_F(SpoiltFile, one_with_senseless_rows_is_reported_and_the_aps_are_served)
{
    run(ap_file(daemon), "update ap_basic set aptype=-1,ip=-99999999999,apname=hex(zeroblob(500)),apname_len=250,"
                         "version=null,stream_limit=99999999999999999999;"
                         "insert into ap_ssid(apmac,ssid_id) values('0a:0b:0c:0d:0e:0f',99)");
    expect_service("load ap rf error\n");
}

TEST(StorageTrouble, a_file_that_another_process_holds_for_seconds_delays_rows_and_no_ap)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 6));
    ASSERT_TRUE(all_run(daemon, fleet));
    name_all(daemon, fleet, "before");
    ASSERT_TRUE(fleet.run_until([&] { return stored_names(ap_file(daemon), "before") == 6; }, PATIENCE));

    sqlite3* holder = open_file(ap_file(daemon));
    ASSERT_EQ(sqlite3_exec(holder, "begin exclusive", nullptr, nullptr, nullptr), SQLITE_OK);
    name_all(daemon, fleet, "lost");
    ASSERT_TRUE(fleet.run_until(
        [&] { return daemon.log_count("update,Error code:5,Reason:database is locked\n") >= 6; }, PATIENCE));
    EXPECT_EQ(fleet.stats().in_state(apsim::ApState::running), 6u);
    sqlite3_close(holder);

    name_all(daemon, fleet, "after");
    EXPECT_TRUE(fleet.run_until([&] { return stored_names(ap_file(daemon), "after") == 6; }, PATIENCE));
    EXPECT_EQ(fleet.stats().sum.lost, 0u);
}

TEST(StorageTrouble, a_file_that_is_removed_while_open_costs_no_service_and_is_made_anew_at_the_next_start)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 6));
    ASSERT_TRUE(all_run(daemon, fleet));
    std::filesystem::remove(ap_file(daemon));
    name_all(daemon, fleet, "gone");
    live(fleet, 120);
    EXPECT_TRUE(all_run(daemon, fleet));

    daemon.stop();
    daemon.start();
    EXPECT_EQ(daemon.count()[0], 0);
    ASSERT_TRUE(fleet.run_until([&] { return daemon.count()[1] == 6; }, PATIENCE));
    name_all(daemon, fleet, "after");
    EXPECT_TRUE(fleet.run_until([&] { return stored_names(ap_file(daemon), "after") == 6; }, PATIENCE));
}
