#include "ac_sql/sqlite_db.h"

#include <cstdlib>
#include <cstring>

#include "common/ac_err.h"
#include "common/ac_types.h"
#include "platform/ac_platform.h"

ac_db db;
ac_db policy_db;
ac_db db_logs;

namespace {

constexpr const char* AC_DB_PATH = "/mnt/l_brcmnand/Wlc_database.db";
constexpr const char* AC_POLICY_DB_PATH = "/mnt/s_brcmnand/Wlc_database.db";
constexpr const char* AC_LOGS_DB_PATH = "/var/Wlc_datalogs.db";

constexpr int FIELD_EXISTS = 0;
constexpr int FIELD_MISSING = 1;
constexpr int TABLE_MISSING = 2;

void db_close(ac_db& file)
{
    sqlite3* handle = file.handle.exchange(nullptr);
    // Who came before the exchange may still be inside a statement; who comes after it finds no handle.
    for (int users = file.users.load(); users != 0; users = file.users.load())
        file.users.wait(users);
    if (handle != nullptr) sqlite3_close(handle);
}

int db_open(ac_db& file, const char* appliance_path)
{
    db_close(file);
    const ac_path path(appliance_path);
    if (path.text[0] == '\0') return SQLITE_CANTOPEN; // an empty name would open a nameless temporary file
    sqlite3* handle = nullptr;
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
    const int ret = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
    if (ret != SQLITE_OK) {
        if (handle != nullptr) sqlite3_close(handle); // given even by a failed open
        return ret;
    }
    sqlite3_busy_timeout(handle, AC_DB_BUSY_MS);
    file.handle.store(handle);
    return SQLITE_OK;
}

// No repair is tried: with the file gone, the next start makes an empty one.
void db_discard(const char* appliance_path)
{
    AC_ERR("sql open error\n");
    doSystemCmd("rm -fr %s", appliance_path);
    AC_ERR("sql open error must reboot the wtpmasterd process\n");
    doSystemCmd("killall -9 wtpmasterd");
}

// Keeps other threads off a handle between a call and the look at its reason, which the next call on the handle frees.
class handle_hold {
public:
    explicit handle_hold(sqlite3* handle) : mutex_(sqlite3_db_mutex(handle)) { sqlite3_mutex_enter(mutex_); }
    ~handle_hold() { sqlite3_mutex_leave(mutex_); }
    handle_hold(const handle_hold&) = delete;
    handle_hold& operator=(const handle_hold&) = delete;

private:
    sqlite3_mutex* mutex_;
};

int prepare_one(sqlite3* handle, const char* sql, sqlite3_stmt** statement, char** reason)
{
    const handle_hold hold(handle);
    const int ret = sqlite3_prepare_v2(handle, sql, -1, statement, nullptr);
    if (ret != SQLITE_OK) *reason = sqlite3_mprintf("%s", sqlite3_errmsg(handle));
    return ret;
}

int step_one(sqlite3* handle, sqlite3_stmt* statement, char** reason)
{
    const handle_hold hold(handle);
    const int ret = sqlite3_step(statement);
    if (ret != SQLITE_ROW && ret != SQLITE_DONE) *reason = sqlite3_mprintf("%s", sqlite3_errmsg(handle));
    return ret;
}

// Results and reasons as sqlite3_exec gives them.
int step_rows(sqlite3* handle, const char* sql, char** reason, sql_row_callback callback, void* arg)
{
    sqlite3_stmt* statement = nullptr;
    int ret = prepare_one(handle, sql, &statement, reason);
    if (ret == SQLITE_OK) {
        do
            ret = step_one(handle, statement, reason);
        while (ret == SQLITE_ROW && callback(arg, sql_row(statement)) == 0);
    }
    sqlite3_finalize(statement);
    if (ret == SQLITE_DONE) return SQLITE_OK;
    return ret == SQLITE_ROW ? SQLITE_ABORT : ret; // a row was left: the callback has ended the select
}

} // namespace

ac_db_use::ac_db_use(ac_db& file) : file_(file)
{
    // Before the look at the handle: db_close looks at the count after it has taken the handle.
    file_.users.fetch_add(1);
    handle_ = file_.handle.load();
}

ac_db_use::~ac_db_use()
{
    if (file_.users.fetch_sub(1) == 1) file_.users.notify_all();
}

sql_message::~sql_message()
{
    sqlite3_free(text_);
}

char** sql_message::renew()
{
    sqlite3_free(text_);
    text_ = nullptr;
    fallback_ = "";
    return &text_;
}

void sql_message::settle(int ret)
{
    fallback_ = sqlite3_errstr(ret);
}

int sql_exec(ac_db& file, const char* sql, sql_message& message)
{
    const ac_db_use use(file);
    char** reason = message.renew();
    const int ret = use.handle() == nullptr ? SQLITE_MISUSE : sqlite3_exec(use.handle(), sql, nullptr, nullptr, reason);
    message.settle(ret);
    return ret;
}

int sql_exec(ac_db& file, const sql_text& sql, sql_message& message)
{
    if (sql.ok()) return sql_exec(file, sql.c_str(), message);
    message.renew();
    message.settle(SQLITE_NOMEM);
    return SQLITE_NOMEM;
}

int sql_row::columns() const
{
    return sqlite3_column_count(statement_);
}

const char* sql_row::operator[](int column) const
{
    if (column < 0 || column >= columns()) return nullptr;
    return reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
}

int sql_each_row(ac_db& file, const sql_text& sql, sql_message& message, sql_row_callback callback, void* arg)
{
    const ac_db_use use(file);
    char** reason = message.renew();
    int ret = SQLITE_NOMEM;
    if (sql.ok())
        ret = use.handle() == nullptr ? SQLITE_MISUSE : step_rows(use.handle(), sql.c_str(), reason, callback, arg);
    message.settle(ret);
    return ret;
}

sql_table::~sql_table()
{
    sqlite3_free_table(cells_);
}

int sql_table::load(ac_db& file, const sql_text& sql, sql_message& message)
{
    const ac_db_use use(file);
    char** reason = message.renew();
    int ret = SQLITE_NOMEM;
    if (sql.ok() && use.handle() == nullptr) ret = SQLITE_MISUSE;
    if (sql.ok() && use.handle() != nullptr)
        ret = sqlite3_get_table(use.handle(), sql.c_str(), &cells_, &rows_, &columns_, reason);
    if (ret != SQLITE_OK) rows_ = columns_ = 0;
    message.settle(ret);
    return ret;
}

const char* sql_table::cell(int row, int column) const
{
    if (cells_ == nullptr || row < 0 || row >= rows_ || column < 0 || column >= columns_) return nullptr;
    return cells_[(row + 1) * columns_ + column]; // the first row of the array holds the column names
}

int sql_cell_int(const char* cell)
{
    return cell == nullptr ? 0 : static_cast<int>(strtoll(cell, nullptr, 10));
}

int sqlite_init()
{
    static constexpr struct {
        ac_db& file;
        const char* path;
    } files[] = {{db, AC_DB_PATH}, {policy_db, AC_POLICY_DB_PATH}};
    for (const auto& entry : files) {
        if (db_open(entry.file, entry.path) == SQLITE_OK) continue;
        db_discard(entry.path);
        return AC_RET_ERROR;
    }
    return AC_RET_OK;
}

int sqlite_exit()
{
    db_close(db);
    db_close(policy_db);
    return AC_RET_OK;
}

int sqlite_logs_init()
{
    if (db_open(db_logs, AC_LOGS_DB_PATH) == SQLITE_OK) return 0;
    printf("sql open error");
    return -1;
}

int sqlite_logs_exit()
{
    db_close(db_logs);
    return 0;
}

int query_field_exist(ac_db& file, const char* field, const char* table)
{
    if (field == nullptr || table == nullptr) {
        AC_ERR("NULL pointer...\n");
        return -1;
    }
    sql_text sql;
    sql.append("select %s from %s", field, table);
    sql_table rows;
    sql_message message;
    const int ret = rows.load(file, sql, message);
    if (ret == SQLITE_OK) return FIELD_EXISTS;
    if (strstr(message.c_str(), "no such column") != nullptr) return FIELD_MISSING;
    if (strstr(message.c_str(), "no such table") != nullptr) return TABLE_MISSING;
    return ret;
}

int sqlite_exec_buf(const char* buf)
{
    sql_message message;
    const int ret = sql_exec(db, buf, message);
    if (ret != SQLITE_OK) AC_ERR("delete error,ret=%d,errmsg=%s\n", ret, message.c_str());
    return AC_RET_OK;
}
