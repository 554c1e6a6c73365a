// storage_bench - what the flash queue costs, beside a bare loop of the same statements on the same file system.
//
//     storage_bench fill APS            tables and rows of that many APs below AC_ROOT
//     storage_bench notes KIND NOTES    on such files: KIND "name" (a changed AP name) or "whole" (all rows of an AP)
//
// "notes" measures three times and prints a line each on standard error: seconds of the queue and of the bare loop,
// notes, and bytes that the queue has written, as the kernel accounts for them. bench/storage runs it.
#include <pthread.h>
#include <sqlite3.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_apconfig_update.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_load.h"
#include "ac_sql/sqlite_schema.h"
#include "platform/ac_platform.h"

namespace {

using bench_clock = std::chrono::steady_clock;

constexpr const char* AP_FILE = "/mnt/l_brcmnand/Wlc_database.db";
constexpr int PASSES = 3;
constexpr int SLICE = 32;
constexpr int NAMES_FROM = 100000;          // numbers below are in the names that `fill` gives
constexpr UINT16 AP_TYPES[] = {1, 4, 6, 7}; // one and two radios, 2 to 12 SSIDs

[[noreturn]] void give_up(const char* what)
{
    fprintf(stderr, "storage_bench: %s\n", what);
    exit(1);
}

void mac_of(int number, UINT8* mac)
{
    const auto n = static_cast<unsigned>(number);
    const UINT8 bytes[AC_MAC_LEN] = {
        0x02, 0xA9, 0x51, static_cast<UINT8>(n >> 12), static_cast<UINT8>(n >> 4), static_cast<UINT8>(n << 4)};
    memcpy(mac, bytes, AC_MAC_LEN);
}

void set_name(APCONFIG* node, int number)
{
    CONFIG_APNAME& name = node->info_basic.apname;
    char text[AC_NAME_LEN];
    const int length = snprintf(text, sizeof text, "access point %07d", number);
    memcpy(name.ap_name, text, static_cast<std::size_t>(length));
    name.ap_name_length = static_cast<UINT8>(length);
}

APCONFIG* make_record(int number)
{
    APCONFIG* node = apconfig_alloc();
    if (node == nullptr) give_up("no memory");
    mac_of(number, node->ethaddr);
    node->ap_type = AP_TYPES[static_cast<std::size_t>(number) % std::size(AP_TYPES)];
    set_name(node, number);
    for (int ssid = 0; ssid < get_ssid_len(node->ap_type); ssid++) {
        CONFIG_WL_BASIC_LIST* wl = wlconfig_alloc();
        wl->wl_basic = {};
        const int first_5g = get_ssid_num_24g(node->ap_type);
        wl->wl_basic.ssid_id = static_cast<UINT8>(ssid < first_5g ? ssid : AC_SSID_5G_FIRST + ssid - first_5g);
        const int length = snprintf(reinterpret_cast<char*>(wl->wl_basic.ssid.ssid), AC_NAME_LEN, "network %d", ssid);
        wl->wl_basic.ssid.ssid_length = static_cast<UINT8>(length);
        list_add_tail(&wl->list, &node->list_wl);
    }
    for (int radio = 0; radio < get_rf_len(node->ap_type); radio++) {
        CONFIG_WL_RF_LIST* rf = rfconfig_alloc();
        rf->rf = {};
        rf->rf.RF_basic_setting = static_cast<UINT8>(2 | radio);
        list_add_tail(&rf->list, &node->list_rf);
    }
    return node;
}

void run(const char* sql)
{
    sql_message message;
    if (sql_exec(db, sql, message) != SQLITE_OK) give_up(message.c_str());
}

// One transaction for all, and indexes meanwhile: the daemon would take minutes for what the bench needs as its ground.
void fill(int aps)
{
    run("begin; create index fill_basic on ap_basic(apmac); create index fill_ssid on ap_ssid(apmac)");
    for (int i = 0; i < aps; i++) {
        APCONFIG* node = make_record(i);
        (void)sqlite_apconfig_add(node);
        apconfig_free_unlinked(node);
    }
    run("drop index fill_basic; drop index fill_ssid; commit; vacuum");
}

int collect_text(unsigned, void* texts, void*, void* text)
{
    static_cast<std::vector<std::string>*>(texts)->emplace_back(static_cast<const char*>(text));
    return 0;
}

bool queue_is_empty()
{
    const ac_lock lock(g_sql_flash_mutex);
    return list_empty(&g_sql_flash_queue);
}

double seconds_since(bench_clock::time_point start)
{
    return std::chrono::duration<double>(bench_clock::now() - start).count();
}

// Each note is of another AP than the one before, and each has a new name to write.
void queue_notes(int type, int first, int notes, int aps)
{
    for (int i = first; i < first + notes; i++) {
        UINT8 mac[AC_MAC_LEN];
        mac_of(i % aps, mac);
        {
            const ac_lock lock(g_apconfig_mutex);
            APCONFIG* node = apconfig_hnode_find_locked(mac);
            set_name(node, NAMES_FROM + i);
            node->sql_flag = 1;
        }
        if (sql_flash_queue_in(type, 0, mac) != 0) give_up("a note was lost");
    }
}

double time_of_queue(int type, int first, int notes, int aps)
{
    const auto start = bench_clock::now();
    queue_notes(type, first, notes, aps);
    while (!queue_is_empty())
        usleep(200);
    return seconds_since(start);
}

double time_of_bare_loop(sqlite3* handle, const std::vector<std::string>& texts)
{
    const auto start = bench_clock::now();
    for (const std::string& text : texts)
        if (sqlite3_exec(handle, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) give_up(sqlite3_errmsg(handle));
    return seconds_since(start);
}

long long written_bytes()
{
    long long bytes = -1;
    char line[128];
    FILE* file = fopen("/proc/self/io", "r");
    while (file != nullptr && fgets(line, sizeof line, file) != nullptr)
        if (strncmp(line, "write_bytes:", 12) == 0) bytes = atoll(line + 12);
    if (file != nullptr) fclose(file);
    return bytes;
}

// The bare loop's own file: a copy, so that neither has the other's pages to read again.
sqlite3* open_copy()
{
    const std::string copy = std::string(ac_path(AP_FILE).c_str()) + ".bare";
    run(("vacuum into '" + copy + "'").c_str()); // written as the original was, not shared with it by the file system
    sqlite3* handle = nullptr;
    if (sqlite3_open(copy.c_str(), &handle) != SQLITE_OK) give_up("the copy does not open");
    return handle;
}

struct measured {
    double queue = 0; // seconds
    double bare = 0;
    long long written = 0;
};

// The queue's share of the notes, then the same statements bare: on a copy, which no statement has met yet, for what a
// row holds already costs SQLite no write.
void measure_slice(int type, int first, int notes, int aps, sqlite3* copy, measured& sum)
{
    std::vector<std::string> texts;
    sqlite3_trace_v2(db.handle.load(), SQLITE_TRACE_STMT, collect_text, &texts);
    const long long before = written_bytes();
    sum.queue += time_of_queue(type, first, notes, aps);
    sum.written += written_bytes() - before;
    sqlite3_trace_v2(db.handle.load(), 0, nullptr, nullptr);
    sum.bare += time_of_bare_loop(copy, texts);
}

void bench_notes(int type, int notes)
{
    if (load_apconfig_from_flash() != 0) give_up("the files do not load");
    const int aps = static_cast<int>(g_acwtp_joined_ap_num);
    sqlite3* copy = open_copy();
    pthread_t thread;
    if (pthread_create(&thread, nullptr, thread_write_flash, nullptr) != 0) give_up("no thread");
    int done = 0;
    for (int pass = 1; pass <= PASSES; pass++) {
        measured sum;
        for (int slice = 0; slice < notes / SLICE; slice++, done += SLICE) // both see the same weather
            measure_slice(type, done, SLICE, aps, copy, sum);
        fprintf(stderr, "%f %f %d %lld\n", sum.queue, sum.bare, notes / SLICE * SLICE, sum.written);
    }
    _exit(0); // the thread never ends
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3 || getenv("AC_ROOT") == nullptr) give_up("see bench/storage --help");
    platform_init();
    apconfig_htable_init();
    if (sqlite_init() != 0 || sqlite_create_table() != 0) give_up("no database");
    const std::string what = argv[1];
    if (what == "fill") {
        fill(atoi(argv[2]));
        return 0;
    }
    if (what != "notes" || argc != 4) give_up("see bench/storage --help");
    bench_notes(strcmp(argv[2], "name") == 0 ? CONFIG_SQL_APNAME : CONFIG_SQL_ADD_AP, atoi(argv[3]));
}
