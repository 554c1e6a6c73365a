// A database that holds what nobody of ours wrote: rows with any values, loaded at the start, read, sent to their APs
// and written back.
//
// Input: rows, each a byte (low bits: the table, bits 4 to 7: the AP), a byte that says how many of its columns differ
// from those of a plausible row, and for each of these the column, the kind of value, the value.
#include <sqlite3.h>

#include <cstring>

#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_load.h"
#include "ac_sql/sqlite_schema.h"
#include "fuzz_world.h"

namespace {

constexpr int ROWS_MAX = 32;
constexpr std::size_t LONG_TEXT = 4000;

enum value_kind {
    VALUE_NULL,
    VALUE_BYTE,
    VALUE_NUMBER,
    VALUE_TEXT,
    VALUE_BLOB,
    VALUE_LONG_TEXT,
    VALUE_REAL,
    VALUE_KINDS
};

struct fuzz_table {
    const char* insert;
    int columns;
    int mac_column; // or -1
    sqlite3_stmt* statement = nullptr;
};

fuzz_table g_tables[] = {
    {"insert into ap_product_info values(?,?,?,?,?,?,?)", AP_PRODUCT_TABLE_COL_LEN, -1},
    {"insert into ap_basic values(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)",
     AP_BASIC_TABLE_COL_LEN, 0},
    {"insert into ap_ssid values(?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?,?)",
     AP_WL_SSID_TABLE_COL_LEN, 0},
};

sqlite3_stmt* statement_of(fuzz_table& table)
{
    if (table.statement != nullptr) return table.statement;
    fuzz_require(sqlite3_prepare_v2(db.handle.load(), table.insert, -1, &table.statement, nullptr) == SQLITE_OK,
                 "the tables have the loaders' width");
    return table.statement;
}

void bind_text(sqlite3_stmt* statement, int column, const std::string& text)
{
    sqlite3_bind_text(statement, column, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
}

// One in every column; the AP's address and, in ap_product_info, a type that can be learnt.
void bind_plausible(sqlite3_stmt* statement, const fuzz_table& table, unsigned int ap)
{
    char mac[AC_MAC_TEXT];
    snprintf(mac, sizeof mac, "02:00:00:00:00:%02x", ap & 0x0F);
    for (int column = 0; column < table.columns; column++)
        sqlite3_bind_int(statement, column + 1, 1);
    if (table.mac_column >= 0)
        bind_text(statement, table.mac_column + 1, mac);
    else
        sqlite3_bind_int(statement, 1, 100 + static_cast<int>(ap));
}

void bind_value(sqlite3_stmt* statement, int column, wire_reader& in)
{
    switch (wire_take<UINT8>(in) % VALUE_KINDS) {
    case VALUE_NULL:
        sqlite3_bind_null(statement, column);
        break;
    case VALUE_BYTE:
        sqlite3_bind_int(statement, column, wire_take<INT8>(in));
        break;
    case VALUE_NUMBER:
        sqlite3_bind_int64(statement, column, wire_take<std::int64_t>(in));
        break;
    case VALUE_TEXT:
        bind_text(statement, column, fuzz_take_text(in, wire_take<UINT8>(in)));
        break;
    case VALUE_BLOB: {
        const std::span<const UINT8> bytes = fuzz_take_bytes(in, wire_take<UINT8>(in));
        sqlite3_bind_blob(statement, column, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
        break;
    }
    case VALUE_LONG_TEXT:
        bind_text(statement, column, std::string(LONG_TEXT, static_cast<char>(wire_take<UINT8>(in) | 1)));
        break;
    default:
        sqlite3_bind_double(statement, column, wire_take<INT8>(in) * 1e9);
        break;
    }
}

void take_row(wire_reader& in)
{
    const auto first = wire_take<UINT8>(in);
    fuzz_table& table = g_tables[(first & 0x0F) % std::size(g_tables)];
    sqlite3_stmt* statement = statement_of(table);
    bind_plausible(statement, table, first >> 4);
    const int differing = wire_take<UINT8>(in) % (table.columns + 1);
    for (int i = 0; i < differing && !in.left.empty(); i++)
        bind_value(statement, 1 + wire_take<UINT8>(in) % table.columns, in);
    (void)sqlite3_step(statement); // a type that is there twice is refused
    sqlite3_reset(statement);
}

struct loaded_ap {
    fuzz_mac mac;
    UINT16 ap_type;
};

// Each record is written back as a note would do it.
std::vector<loaded_ap> write_back()
{
    std::vector<loaded_ap> all;
    ac_lock lock(g_apconfig_mutex);
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        (void)sqlite_apconfig_add(node); // always 0
        loaded_ap ap = {{}, node->ap_type};
        memcpy(ap.mac.data(), node->ethaddr, ap.mac.size());
        all.push_back(ap);
    }
    return all;
}

// An AP comes back with an older version and is sent what is stored, or with an equal one and is taken.
void come_back(const loaded_ap& ap, UINT8 version)
{
    const UINT16 layout = version == 0 ? AC_LAYOUT_V1 : AC_LAYOUT_V2;
    CLOUD_AP_UDP_PKT head = fuzz_head(0, HALDE_APDiscoveryReq, ap.ap_type, layout);
    memcpy(head.ap_mac, ap.mac.data(), sizeof head.ap_mac);
    fuzz_receive(fuzz_frame(head, {}), 1);
    fuzz_drain();
    head.msg_type = HALDE_APConfigUpdateReq;
    std::vector<UINT8> report(FUZZ_PAYLOAD_MAX, 1); // each SSID has the number 1 and a name of one byte
    report[0] = version;
    report[1] = 0;
    fuzz_receive(fuzz_frame(head, report), 1);
    fuzz_drain();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const UINT8* data, std::size_t size)
{
    fuzz_world_reset();
    fuzz_database_reset();
    wire_reader in{{data, size}};
    for (int i = 0; i < ROWS_MAX && !in.left.empty(); i++)
        take_row(in);
    (void)load_apconfig_from_flash(); // 255 is what such a database deserves
    fuzz_check_table();
    for (const loaded_ap& ap : write_back()) {
        come_back(ap, '0');
        come_back(ap, 0);
    }
    fuzz_ticks(7);
    fuzz_check_table();
    return 0;
}
