#include "sql_world.h"

#include <regex>

#include "ac_sql/sqlite_schema.h"
#include "common/ac_text.h"
#include "platform/ac_platform.h"
#include "sql_faults.h"

static int collect_row(void* arg, int count, char** values, char**)
{
    std::vector<std::string> row;
    for (int i = 0; i < count; i++)
        row.emplace_back(values[i] != nullptr ? values[i] : "<null>");
    static_cast<SqlRows*>(arg)->push_back(row);
    return 0;
}

static int collect_statement(unsigned, void* arg, void*, void* text)
{
    static_cast<std::vector<std::string>*>(arg)->emplace_back(static_cast<const char*>(text));
    return 0;
}

std::string mac_text(const Mac& mac)
{
    return ac_mac_text(mac.data()).c_str();
}

void SqlWorld::SetUp()
{
    sql_faults_install();
    sql_faults_clear();
    TestWorld::SetUp();
    const std::string printed = output_of([] {
        ASSERT_EQ(sqlite_init(), 0);
        ASSERT_EQ(sqlite_create_table(), 0);
    });
    ASSERT_EQ(printed, "");
}

void SqlWorld::TearDown()
{
    sql_faults_clear();
    sqlite_exit();
    sqlite_logs_exit();
    TestWorld::TearDown();
}

SqlRows SqlWorld::rows(ac_db& file, const std::string& sql)
{
    SqlRows result;
    sql_message message;
    EXPECT_EQ(sql_exec(file, sql.c_str(), message, collect_row, &result), SQLITE_OK) << message.c_str();
    return result;
}

std::string SqlWorld::cell(ac_db& file, const std::string& sql)
{
    const SqlRows result = rows(file, sql);
    return result.empty() || result[0].empty() ? "<none>" : result[0][0];
}

void SqlWorld::run(ac_db& file, const std::string& sql)
{
    sql_message message;
    ASSERT_EQ(sql_exec(file, sql.c_str(), message), SQLITE_OK) << message.c_str() << " in " << sql;
}

std::vector<std::string> SqlWorld::statements(ac_db& file, const std::function<void()>& action)
{
    std::vector<std::string> texts;
    sqlite3_trace_v2(file.handle.load(), SQLITE_TRACE_STMT, collect_statement, &texts);
    action();
    sqlite3_trace_v2(file.handle.load(), 0, nullptr, nullptr);
    return texts;
}

std::string SqlWorld::lines_of(const std::function<void()>& action)
{
    static const std::regex prefix("Error->[A-Za-z0-9_]+\\([0-9]+\\)--");
    return std::regex_replace(output_of(action), prefix, "E|");
}

std::string SqlWorld::columns(ac_db& file, const std::string& table)
{
    std::string text;
    for (const auto& row : rows(file, "select name,lower(type) from pragma_table_info('" + table + "')"))
        text += (text.empty() ? "" : ",") + row[0] + " " + row[1];
    return text;
}

SqlHold::SqlHold(const char* appliance_path)
{
    EXPECT_EQ(sqlite3_open(ac_path(appliance_path).c_str(), &handle_), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle_, "begin exclusive", nullptr, nullptr, nullptr), SQLITE_OK);
}

SqlHold::~SqlHold()
{
    sqlite3_close(handle_);
}
