// sqlite_db - the database files: opening, recovery, closing, and the one way by which statements run.
//
// Files    db:        "/mnt/l_brcmnand/Wlc_database.db", APs and clients
//          policy_db: "/mnt/s_brcmnand/Wlc_database.db", policies and portal data
//          db_logs:   "/var/Wlc_datalogs.db", the system log; on a RAM path
//          Every statement is a transaction of its own; no pragma is set.
// Threads  any. The handles are opened in SQLite's serialized mode and shared. No lock is kept around a handle;
//          ac_db_use only counts who works on it, so that sqlite_exit in one thread never frees a handle under another.
// Errors   a statement's result is SQLite's own code, its reason is kept in an sql_message. A statement on a closed
// file
//          gives SQLITE_MISUSE and touches nothing.
#pragma once

#include <sqlite3.h>

#include <atomic>

#include "ac_sql/sqlite_text.h"

struct ac_db {
    std::atomic<sqlite3*> handle{nullptr}; // null while the file is closed
    std::atomic<int> users{0};             // statements running on it, in all threads
};
extern ac_db db;
extern ac_db policy_db;
extern ac_db db_logs;

inline constexpr int AC_DB_BUSY_MS = 200; // a statement waits that long for another process that holds the file

// While one lives, the handle it gives stays open. Null where the file is closed. Not around sqlite_exit.
class [[nodiscard]] ac_db_use {
public:
    explicit ac_db_use(ac_db& file);
    ~ac_db_use();
    ac_db_use(const ac_db_use&) = delete;
    ac_db_use& operator=(const ac_db_use&) = delete;
    sqlite3* handle() const { return handle_; }

private:
    ac_db& file_;
    sqlite3* handle_;
};

// The reason of a failed statement.
class sql_message {
public:
    sql_message() = default;
    ~sql_message();
    sql_message(const sql_message&) = delete;
    sql_message& operator=(const sql_message&) = delete;
    const char* c_str() const { return text_ != nullptr ? text_ : fallback_; }
    // For the functions below: where SQLite puts its text, and the code's own words for when it gives none.
    char** renew();
    void settle(int ret);

private:
    char* text_ = nullptr;
    const char* fallback_ = "";
};

// Runs a statement. A text that could not be formed whole is never run: SQLITE_NOMEM.
int sql_exec(ac_db& file, const char* sql, sql_message& message);
int sql_exec(ac_db& file, const sql_text& sql, sql_message& message);

// One row of a select, valid inside the callback.
class sql_row {
public:
    explicit sql_row(sqlite3_stmt* statement) : statement_(statement) {}
    int columns() const;
    const char* operator[](int column) const; // null for an SQL null and outside the row

private:
    sqlite3_stmt* statement_;
};

// Non-zero ends the select at this row with SQLITE_ABORT.
typedef int (*sql_row_callback)(void* arg, const sql_row& row);

// Runs a select and calls back per row. No lock of SQLite is held in the callback, so that it may take
// g_apconfig_mutex, under which the flash thread takes those of SQLite. The file can't be closed meanwhile.
int sql_each_row(ac_db& file, const sql_text& sql, sql_message& message, sql_row_callback callback, void* arg);

// The rows of a select, all in memory.
class sql_table {
public:
    sql_table() = default;
    ~sql_table();
    sql_table(const sql_table&) = delete;
    sql_table& operator=(const sql_table&) = delete;
    int load(ac_db& file, const sql_text& sql, sql_message& message); // once
    int rows() const { return rows_; }
    int columns() const { return columns_; }
    const char* cell(int row, int column) const; // null for an SQL null and outside the table

private:
    char** cells_ = nullptr;
    int rows_ = 0;
    int columns_ = 0;
};

// Number in a cell as the loaders take it: leading decimal digits with sign, 0 for null or other text, cut to 32 bits.
int sql_cell_int(const char* cell);

// Opens db and policy_db. A file that can't be opened is thrown away and the process kills itself, to be started afresh
// by the appliance; the call still returns: 0, or 255.
int sqlite_init();
int sqlite_exit(); // 0. The process may run on with closed files.

int sqlite_logs_init(); // 0, or -1 after "sql open error"
int sqlite_logs_exit(); // 0

// 0 where the column exists, 1 where it is missing, 2 where the table is, -1 for a null name, else SQLite's code. Reads
// the whole column.
int query_field_exist(ac_db& file, const char* field, const char* table);

// Runs a ready statement on db; a failure is a line, the result 0 all the same.
int sqlite_exec_buf(const char* buf);
