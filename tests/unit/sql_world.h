// sql_world - TestWorld with its databases made and open, and eyes for what is in them and what is run on them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ac_sql/sqlite_db.h"
#include "test_world.h"

using SqlRows = std::vector<std::vector<std::string>>; // an SQL null reads "<null>"

class SqlWorld : public TestWorld {
protected:
    void SetUp() override; // both flash files, empty tables
    void TearDown() override;

    SqlRows rows(ac_db& file, const std::string& sql);
    std::string cell(ac_db& file, const std::string& sql); // "<none>" without a row
    void run(ac_db& file, const std::string& sql);         // must succeed
    // The statements that `action` runs on a file, as their texts.
    std::vector<std::string> statements(ac_db& file, const std::function<void()>& action);
    // Standard output with each "Error->name(line)--" as "E|".
    std::string lines_of(const std::function<void()>& action);
    // Column names and types in lower case: "name type,name type".
    std::string columns(ac_db& file, const std::string& table);
};

// Another process's hold on a database file: nobody else reads or writes it while one lives.
class SqlHold {
public:
    explicit SqlHold(const char* appliance_path);
    ~SqlHold();

private:
    sqlite3* handle_ = nullptr;
};

inline const char AP_FILE[] = "/mnt/l_brcmnand/Wlc_database.db";
inline const char POLICY_FILE[] = "/mnt/s_brcmnand/Wlc_database.db";
inline const char LOGS_FILE[] = "/var/Wlc_datalogs.db";

// 02:00:00:00:00:01 for 1.
std::string mac_text(const Mac& mac);
