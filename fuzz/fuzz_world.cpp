#include "fuzz_world.h"

#include <arpa/inet.h>
#include <semaphore.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_load.h"
#include "ac_sql/sqlite_schema.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ac_wtp_protocol/timer.h"
#include "ac_wtp_protocol/udp_skb_queue.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "platform/ac_clock.h"
#include "platform/ac_net.h"
#include "platform/ac_platform.h"

namespace {

constexpr time_t WORLD_START = 1700000000;
constexpr int TIMERS_RUN_OUT = 3600; // seconds: later than any timer
constexpr std::size_t SENT_MAX = 256;
constexpr UINT16 LAST_SEQ_NUM = 255;

std::string g_root;
std::vector<std::vector<UINT8>> g_sent;
std::array<PRODUCT_AP, AC_PRODUCT_NUM> g_builtin_products;

// Every frame that leaves is a whole one: its header tells its length.
long capture(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    bool whole = true;
    const auto head = wire_at<CLOUD_AP_UDP_PKT>(datagram, 0, whole);
    fuzz_require(whole && datagram.size() == AC_FRAME_HEAD + head.msg_length, "a frame is sent with its own length");
    fuzz_require(datagram.size() <= AC_FRAME_MAX, "a frame is sent that fits a datagram");
    if (g_sent.size() < SENT_MAX) g_sent.emplace_back(datagram.begin(), datagram.end());
    return static_cast<long>(datagram.size());
}

void remove_root()
{
    (void)sqlite_exit();
    std::error_code ignored; // nobody is left to be told
    std::filesystem::remove_all(g_root, ignored);
}

void silence_output()
{
    fuzz_require(freopen("/dev/null", "w", stdout) != nullptr, "/dev/null opens");
    static char buffer[1 << 16];
    setvbuf(stdout, buffer, _IOFBF, sizeof buffer);
}

void make_world()
{
    char name[] = "/tmp/wtp-fuzz-XXXXXX";
    fuzz_require(mkdtemp(name) != nullptr, "a root can be made");
    g_root = name;
    setenv("AC_ROOT", name, 1);
    setenv("AC_LAN_IF", "lo", 1);
    unsetenv("AC_TIME_SCALE");
    unsetenv("AC_TIME_START");
    atexit(remove_root);
    platform_init();
    silence_output();
    std::copy(std::begin(g_ap_product), std::end(g_ap_product), g_builtin_products.begin());
    acwtp_joined_htable_init();
    fuzz_require(udp_skb_pools_make() && udp_discvr_pools_make() && sql_flash_pools_make(), "the pools can be made");
    ac_net_capture(capture);
}

void drop_frames()
{
    while (AC_UDP_SKB_INFO* frame = udp_skb_first())
        udp_skb_done(frame);
    while (AC_UDP_SKB_INFO* frame = udp_discvr_skb_first())
        udp_discvr_skb_done(frame);
}

void drop_notes()
{
    ac_lock lock(g_sql_flash_mutex);
    while (!list_empty(&g_sql_flash_queue)) {
        SQL_FLASH_QUEUE* note = list_entry(g_sql_flash_queue.next, SQL_FLASH_QUEUE, list);
        list_del(&note->list);
        CWPool_free(g_ac_pthread[PTHREAD_AC_SQL].mempool, note);
    }
}

void drop_work_and_timers()
{
    acwtp_msg_list_del_all();
    acwtp_msged_list_del_all();
    echo_timeout_delall();
    ac_clock_advance(TIMERS_RUN_OUT);
    msged_calltimeout(); // without its record a timer does nothing
}

void database_run(const char* sql)
{
    sql_message message;
    fuzz_require(sql_exec(db, sql, message) == SQLITE_OK, sql);
}

void database_open()
{
    fuzz_require(sqlite_init() == AC_RET_OK && sqlite_create_table() == AC_RET_OK, "the database can be made");
    // Nothing here survives a power cut, so nothing waits for the disk.
    database_run("pragma synchronous=off");
    database_run("pragma journal_mode=memory");
    database_run("pragma locking_mode=exclusive");
}

int list_length(const list_node* head)
{
    int length = 0;
    for (const list_node* link = head->next; link != head; link = link->next)
        length++;
    return length;
}

// What a text column gives back of a field: up to its length and its first zero byte.
void normalise_text(std::span<UINT8> field, UINT8& length)
{
    length = static_cast<UINT8>(std::min<std::size_t>(length, field.size()));
    const auto end = std::find(field.begin(), field.begin() + length, UINT8{0});
    std::fill(end, field.end(), UINT8{0});
}

// The content of a record that its rows hold, in the order in which they are loaded.
struct stored_ap {
    fuzz_mac mac;
    CONFIG_BASIC basic;
    CONFIG_SCHED_REBOOT reboot;
    CONFIG_ALARM alarm;
    std::vector<CONFIG_WL_BASIC> wl;
};

stored_ap stored_of(APCONFIG* node)
{
    stored_ap stored = {{}, node->info_basic, node->info_reboot, node->info_alarm, {}};
    memcpy(stored.mac.data(), node->ethaddr, stored.mac.size());
    normalise_text(stored.basic.apname.ap_name, stored.basic.apname.ap_name_length);
    normalise_text(stored.basic.version.version, stored.basic.version.version_length);
    memset(stored.alarm.pad, 0, sizeof stored.alarm.pad);
    for (list_node* link = node->list_wl.next; link != &node->list_wl; link = link->next) {
        CONFIG_WL_BASIC wl = apconfig_wl_of(link)->wl_basic;
        CONFIG_KEY& key = wl.wlSecure.wpapsk_secure_mode.key;
        wl.pad = 0;
        normalise_text(wl.ssid.ssid, wl.ssid.ssid_length);
        normalise_text(key.key, key.key_length);
        stored.wl.push_back(wl);
    }
    return stored;
}

// The firmware version goes into its statement as it is, and with a quote in it the statement fails: such an AP has no
// rows.
bool has_rows(const stored_ap& ap)
{
    return std::find(std::begin(ap.basic.version.version), std::end(ap.basic.version.version), '\'') ==
           std::end(ap.basic.version.version);
}

// What the rows of the records in the table hold.
std::vector<stored_ap> table_content()
{
    std::vector<stored_ap> all;
    ac_lock lock(g_apconfig_mutex);
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        const stored_ap stored = stored_of(node);
        if (has_rows(stored)) all.push_back(stored);
    }
    return all;
}

void require_stored(const stored_ap& before)
{
    ac_lock lock(g_apconfig_mutex);
    APCONFIG* node = apconfig_hnode_find_locked(before.mac.data());
    fuzz_require(node != nullptr, "a stored AP is loaded");
    const stored_ap after = stored_of(node);
    fuzz_require(memcmp(&before.basic, &after.basic, sizeof after.basic) == 0, "info_basic survives a reload");
    fuzz_require(memcmp(&before.reboot, &after.reboot, sizeof after.reboot) == 0, "info_reboot survives a reload");
    fuzz_require(memcmp(&before.alarm, &after.alarm, sizeof after.alarm) == 0, "info_alarm survives a reload");
    fuzz_require(before.wl.size() == after.wl.size(), "the SSIDs survive a reload in number");
    for (std::size_t i = 0; i < after.wl.size(); i++) // the load reverses the list
        fuzz_require(memcmp(&before.wl[after.wl.size() - 1 - i], &after.wl[i], sizeof after.wl[i]) == 0,
                     "an SSID survives a reload");
}

// The web interface's view of the table, into memory that holds a row per record and no more. An AP without radio 0 has
// no row.
void read_reports(std::size_t records)
{
    std::vector<AC_WTP_WTP_TABLE> table(records);
    std::vector<ACWTP_ADVANCE_CONFIG> advanced(records);
    std::vector<AC_WTP_Ssid_Cfg_t> scan(records);
    if (records == 0) return;
    int rows = 0;
    const int most = static_cast<int>(records);
    fuzz_require(apconfig_Traversal(table, &rows) == rows && rows <= most, "an AP has one row at most");
    fuzz_require(apconfig_advance_obtain(advanced) <= most, "an AP has one advanced row at most");
    fuzz_require(apconfig_ssid_scan_obtain(scan, &rows) == AC_RET_OK && rows <= most, "an AP has one scan row at most");
}

} // namespace

fuzz_mac fuzz_mac_of(unsigned int ap)
{
    return {0x02, 0, 0, 0, static_cast<UINT8>(ap >> 8), static_cast<UINT8>(ap)};
}

void fuzz_require(bool holds, const char* what)
{
    if (holds) return;
    fprintf(stderr, "this does not hold: %s\n", what);
    abort();
}

void fuzz_world_reset()
{
    if (g_root.empty()) make_world();
    for (sem_t* semaphore : {&sem_protocol, &udp_sem_sig, &udp_discvr_sem_sig, &sql_flash_sig})
        sem_init(semaphore, 0, 0); // as they may have been posted to
    drop_frames();
    ac_clock_manual(WORLD_START);
    drop_work_and_timers();
    ac_clock_manual(WORLD_START);
    drop_notes();
    acwtp_join_list_del_all();
    apconfig_del_all();
    ac_retired_sweep();
    srand(1); // the table's seed
    apconfig_htable_init();
    ac_store(wtp_online_num_count, 0);
    std::copy(g_builtin_products.begin(), g_builtin_products.end(), std::begin(g_ap_product));
    while (get_seq_num() != LAST_SEQ_NUM) {
        // The next frame carries 0, as the first one of a process does.
    }
    g_sent.clear();
}

void fuzz_database_reset()
{
    if (db.handle.load() == nullptr) database_open();
    static int changes = 0;
    const int now = sqlite3_total_changes(db.handle.load());
    if (now == changes) return;
    for (const char* sql : {"delete from ap_basic", "delete from ap_ssid", "delete from ap_product_info"})
        database_run(sql);
    changes = sqlite3_total_changes(db.handle.load());
}

const std::string& fuzz_root()
{
    return g_root;
}

std::span<const UINT8> fuzz_take_bytes(wire_reader& in, std::size_t count)
{
    return wire_take_bytes(in, std::min(count, in.left.size()));
}

std::string fuzz_take_text(wire_reader& in, std::size_t count)
{
    const std::span<const UINT8> bytes = fuzz_take_bytes(in, count);
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), UINT8{0})};
}

fuzz_exact::fuzz_exact(std::span<const UINT8> bytes)
{
    auto* memory = static_cast<UINT8*>(malloc(bytes.size()));
    fuzz_require(memory != nullptr || bytes.empty(), "there is memory");
    std::copy(bytes.begin(), bytes.end(), memory);
    bytes_ = {memory, bytes.size()};
}

fuzz_exact::~fuzz_exact()
{
    free(bytes_.data());
}

CLOUD_AP_UDP_PKT fuzz_head(unsigned int ap, UINT16 msg_type, UINT16 ap_type, UINT16 layout)
{
    CLOUD_AP_UDP_PKT head = {};
    memcpy(head.ap_mac, fuzz_mac_of(ap).data(), sizeof head.ap_mac);
    head.ap_proto_type = layout;
    head.pkt_type = AC_PKT_NORMAL;
    head.ap_type = ap_type;
    head.vendor = AC_VENDOR;
    head.msg_type = msg_type;
    return head;
}

std::vector<UINT8> fuzz_frame(CLOUD_AP_UDP_PKT head, std::span<const UINT8> payload)
{
    head.msg_length = static_cast<UINT32>(payload.size());
    std::vector<UINT8> frame(AC_FRAME_HEAD + payload.size());
    wire_writer out{frame};
    wire_put(out, head);
    wire_put_bytes(out, payload.data(), payload.size());
    return frame;
}

std::vector<UINT8> fuzz_report(UINT16 ap_type, UINT16 layout)
{
    const auto radios = static_cast<std::size_t>(get_rf_len(ap_type));
    const std::size_t radio_size = layout == AC_LAYOUT_V1 ? sizeof(CONFIG_WL_RF_V1) : sizeof(CONFIG_WL_RF);
    const std::size_t ssids_at = 104 + radios * radio_size;
    std::vector<UINT8> report(ssids_at + static_cast<std::size_t>(get_ssid_len(ap_type)) * sizeof(CONFIG_WL_BASIC));
    report[0] = '1';
    for (std::size_t i = 0; i < radios; i++)
        report[104 + i * radio_size] = static_cast<UINT8>(AC_RF_ON | i);
    const UINT8 ssids_24g = get_ssid_num_24g(ap_type);
    wire_writer out{std::span(report).subspan(ssids_at)};
    for (UINT8 i = 0; !out.left.empty(); i++) {
        CONFIG_WL_BASIC wl = {};
        wl.ssid_id = i < ssids_24g ? i : static_cast<UINT8>(AC_SSID_5G_FIRST + i - ssids_24g);
        wl.wl_basic_set = AC_WL_ON;
        wl.ssid.ssid[0] = static_cast<UINT8>('a' + i);
        wl.ssid.ssid_length = 1;
        wire_put(out, wl);
    }
    return report;
}

std::vector<std::vector<UINT8>>& fuzz_sent()
{
    return g_sent;
}

void fuzz_receive(std::span<const UINT8> datagram, unsigned int ap)
{
    struct sockaddr_in from = {};
    from.sin_family = AF_INET;
    from.sin_addr.s_addr = htonl(0x7F000000 + (ap & 0xFF) + 1);
    from.sin_port = htons(static_cast<UINT16>(40000 + (ap & 0xFF)));
    const fuzz_exact copy(datagram);
    if (!datagram.empty()) manage_datagram(copy.bytes(), &from);
}

void fuzz_drain()
{
    udp_discvr_skb_queue_out();
    udp_skb_queue_out();
    acprotocol_signal_handle();
}

void fuzz_flash()
{
    sql_flash_queue_out();
}

void fuzz_ticks(int number)
{
    for (int i = 0; i < number; i++) {
        ac_clock_advance(ACWTP_TICK_SECONDS);
        echo_timer_tick();
        ac_retired_sweep();
        fuzz_drain();
    }
}

void fuzz_discover(unsigned int ap, UINT16 ap_type, UINT16 layout)
{
    fuzz_receive(fuzz_frame(fuzz_head(ap, HALDE_APDiscoveryReq, ap_type, layout), {}), ap);
    udp_discvr_skb_queue_out();
    fuzz_require(acwtp_joined_node_find(fuzz_mac_of(ap).data(), 0) != nullptr, "a discovered AP has an entry");
}

void fuzz_join(unsigned int ap, UINT16 ap_type, UINT16 layout)
{
    fuzz_discover(ap, ap_type, layout);
    const std::vector<UINT8> report = fuzz_report(ap_type, layout);
    fuzz_receive(fuzz_frame(fuzz_head(ap, HALDE_APConfigUpdateReq, ap_type, layout), report), ap);
    udp_skb_queue_out();
    fuzz_require(acwtp_joined_node_find(fuzz_mac_of(ap).data(), 0)->current_status == AC_RUNNING,
                 "an AP with a good report is running");
}

void fuzz_check_table()
{
    UINT32 records = 0;
    {
        ac_lock lock(g_apconfig_mutex);
        for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
            records++;
            fuzz_require(list_length(&node->list_rf) <= AC_RADIO_MAX, "an AP has two radios at most");
            fuzz_require(list_length(&node->list_wl) <= AC_SSID_MAX, "an AP has twelve SSIDs at most");
            for (list_node* link = node->list_wl.next; link != &node->list_wl; link = link->next)
                fuzz_require(apconfig_wl_of(link)->wl_basic.ssid_id < AC_SSID_MAX, "an SSID's number exists");
            fuzz_require(node->info_client.num >= 0 && node->info_client.num <= APCONFIG_CLIENT_MAX,
                         "the number of clients fits their list");
        }
    }
    fuzz_require(ac_load(g_acwtp_joined_ap_num) == records, "the records are counted");
    read_reports(records);
}

void fuzz_check_reload()
{
    const std::vector<stored_ap> before = table_content();
    apconfig_del_all();
    fuzz_require(load_apconfig_from_flash() == AC_RET_OK, "what was written can be loaded");
    fuzz_require(ac_load(g_acwtp_joined_ap_num) == before.size(), "as many APs are loaded as were written");
    for (const stored_ap& ap : before)
        require_stored(ap);
}
