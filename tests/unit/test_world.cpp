#include "test_world.h"

#include <arpa/inet.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

#include "ac_mib/ac_product.h"
#include "ac_mib/apconfig_query.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/timer.h"
#include "ac_wtp_protocol/udp_skb_queue.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "platform/ac_clock.h"
#include "platform/ac_net.h"
#include "platform/ac_platform.h"
#include "pool_end.h"

namespace {

constexpr time_t WORLD_START = 1700000000;

std::vector<SentFrame> g_sent;
bool g_fail_sends = false;

long capture(std::span<const UINT8> datagram, const struct sockaddr_in* to)
{
    if (g_fail_sends) {
        errno = ENETUNREACH;
        return -1;
    }
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &to->sin_addr, text, sizeof text);
    g_sent.push_back({text, ntohs(to->sin_port), {datagram.begin(), datagram.end()}});
    return static_cast<long>(datagram.size());
}

int remove_entry(const char* path, const struct stat*, int, struct FTW*)
{
    return remove(path);
}

void set_environment(const std::string& root)
{
    setenv("AC_ROOT", root.c_str(), 1);
    setenv("AC_LAN_IF", "lo", 1);
    unsetenv("AC_TIME_SCALE");
    unsetenv("AC_TIME_START");
}

// The platform reads its environment once per process; a second test of the same process keeps the first one's root.
std::string process_root()
{
    static std::string root;
    if (!root.empty()) {
        mkdir(root.c_str(), 0700);
        set_environment(root);
        return root;
    }
    char name[] = "/tmp/wtp-unit-XXXXXX";
    // The process that a death test starts ends without a TearDown: it lives in the root of the test that waits for it.
    const char* given = getenv("WTP_UNIT_ROOT");
    root = given != nullptr ? given : mkdtemp(name);
    setenv("WTP_UNIT_ROOT", root.c_str(), 1);
    set_environment(root);
    platform_init();
    return root;
}

void make_semaphores_and_pools()
{
    for (sem_t* semaphore : {&sem_protocol, &udp_sem_sig, &udp_discvr_sem_sig, &sql_flash_sig})
        sem_init(semaphore, 0, 0);
    ASSERT_TRUE(udp_skb_pools_make() && udp_discvr_pools_make() && sql_flash_pools_make());
}

// A pool keeps what a test did to it: its growth, and the blocks that other pools gave it. So none outlives its test.
void pools_end()
{
    for (CWMemoryPool** pool : {&g_ac_pthread[PTHREAD_AC_SQL].mempool, &g_ac_pthread[PTHREAD_DISCORVER].mempool_1,
                                &g_ac_pthread[PTHREAD_UDP_QUEUE].mempool, &g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1}) {
        if (*pool == nullptr) continue;
        pool_end(*pool);
        ac_free(*pool);
        *pool = nullptr;
    }
}

// The rows that a test before this one has filled, as a start of the process would find them.
void products_reset()
{
    static const std::vector<PRODUCT_AP> builtin(std::begin(g_ap_product), std::end(g_ap_product));
    std::copy(builtin.begin(), builtin.end(), g_ap_product);
}

// An ageing that a test before this one has made keeps the next one waiting. A pass over the empty table, long ago,
// lets it be the last.
void ageing_reset()
{
    ac_clock_manual(1);
    apconfig_check_unonline_num();
    ac_clock_manual(WORLD_START);
}

void drain_frames()
{
    while (AC_UDP_SKB_INFO* frame = udp_skb_first())
        udp_skb_done(frame);
    while (AC_UDP_SKB_INFO* frame = udp_discvr_skb_first())
        udp_discvr_skb_done(frame);
}

} // namespace

CLOUD_AP_UDP_PKT SentFrame::head() const
{
    CLOUD_AP_UDP_PKT head = {};
    memcpy(&head, bytes.data(), std::min(bytes.size(), sizeof head));
    return head;
}

Mac test_mac(int number)
{
    return {0x02, 0, 0, 0, static_cast<UINT8>(number >> 8), static_cast<UINT8>(number)};
}

void TestWorld::SetUp()
{
    root = process_root();
    ac_alloc_fail_after(-1);
    ac_clock_manual(WORLD_START);
    ac_clock_fail(false);
    g_sent.clear();
    g_fail_sends = false;
    ac_net_capture(capture);
    make_semaphores_and_pools();
    echo_timeout_delall();
    products_reset();
    apconfig_del_all();
    apconfig_htable_init();
    ageing_reset();
    acwtp_joined_htable_init();
    ac_store(wtp_online_num_count, 0);
    acwtp_msg_list_del_all();
    acwtp_msged_list_del_all();
}

void TestWorld::TearDown()
{
    ac_alloc_fail_after(-1);
    ac_net_capture(nullptr);
    ac_clock_fail(false);
    ac_clock_release();
    drain_frames();
    take_notes();
    pools_end();
    nftw(root.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
}

std::vector<SentFrame>& TestWorld::sent()
{
    return g_sent;
}

void TestWorld::fail_sends(bool failing)
{
    g_fail_sends = failing;
}

std::vector<FlashNote> TestWorld::take_notes()
{
    std::vector<FlashNote> notes;
    ac_lock lock(g_sql_flash_mutex);
    while (!list_empty(&g_sql_flash_queue)) {
        SQL_FLASH_QUEUE* note = list_entry(g_sql_flash_queue.next, SQL_FLASH_QUEUE, list);
        Mac mac;
        memcpy(mac.data(), note->ethaddr, mac.size());
        notes.push_back({note->type, note->index, mac});
        list_del(&note->list);
        CWPool_free(g_ac_pthread[PTHREAD_AC_SQL].mempool, note);
    }
    return notes;
}

static WorkItem as_work_item(const ACWTP_MSG_TABLE* item)
{
    const auto* bytes = reinterpret_cast<const UINT8*>(item->msg);
    std::vector<UINT8> msg;
    if (bytes != nullptr) msg.assign(bytes, bytes + item->length);
    return {item->send_times, item->type, item->num_flag, item->ap_num, item->flags, msg};
}

std::vector<WorkItem> TestWorld::take_items()
{
    std::vector<WorkItem> items;
    while (ACWTP_MSG_TABLE* item = acwtp_msg_first()) {
        items.push_back(as_work_item(item));
        acwtp_msg_done(item);
    }
    return items;
}

std::vector<int> TestWorld::alarms(const Mac& mac)
{
    std::vector<int> kinds;
    ac_lock lock(acwtp_mutex);
    for (list_node* link = g_msg_queue.next; link != &g_msg_queue; link = link->next) {
        const WorkItem item = as_work_item(list_entry(link, ACWTP_MSG_TABLE, list));
        if (item.flags != PROTO_MSG || item.type != HALDE_APAlarmReq || item.msg.size() != 10) continue;
        if (memcmp(item.msg.data(), mac.data(), mac.size()) != 0) continue;
        int kind = 0;
        memcpy(&kind, item.msg.data() + mac.size(), sizeof kind);
        kinds.push_back(kind);
    }
    return kinds;
}

void TestWorld::write_file(const std::string& appliance_path, const std::string& content)
{
    std::ofstream(ac_path(appliance_path.c_str()).c_str(), std::ios::binary) << content;
}

std::string TestWorld::read_file(const std::string& appliance_path)
{
    std::ifstream file(ac_path(appliance_path.c_str()).c_str(), std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
}

static void add_radio(APCONFIG* node, UINT8 radio)
{
    CONFIG_WL_RF_LIST* rf = rfconfig_alloc();
    rf->rf = CONFIG_WL_RF{};
    rf->rf.RF_basic_setting = static_cast<UINT8>(radio | AC_RF_ON);
    rf->rf.channel = radio == 0 ? 6 : 36;
    rf->rf.TXpower = 20;
    list_add_tail(&rf->list, &node->list_rf);
}

static void add_ssid(APCONFIG* node, UINT8 ssid_id)
{
    CONFIG_WL_BASIC_LIST* wl = wlconfig_alloc();
    wl->wl_basic = CONFIG_WL_BASIC{};
    wl->wl_basic.ssid_id = ssid_id;
    wl->wl_basic.wl_basic_set = AC_WL_ON;
    wl->wl_basic.client_number = 32;
    const int length =
        snprintf(reinterpret_cast<char*>(wl->wl_basic.ssid.ssid), sizeof wl->wl_basic.ssid.ssid, "ssid%d", ssid_id);
    wl->wl_basic.ssid.ssid_length = static_cast<UINT8>(length);
    list_add_tail(&wl->list, &node->list_wl);
}

APCONFIG* TestWorld::make_record(const Mac& mac, UINT16 ap_type, UINT8 status, const char* version)
{
    APCONFIG* node = apconfig_alloc();
    PRODUCT_AP row = {};
    acwtp_product_obtain(ap_type, &row);
    memcpy(node->ethaddr, mac.data(), mac.size());
    memcpy(node->product_name, row.ap_name, sizeof node->product_name);
    memcpy(node->AP_config_version, version, strnlen(version, sizeof node->AP_config_version));
    node->product_id = row.product_id;
    node->ap_type = ap_type;
    node->proto_vendor = AC_LAYOUT_V2;
    node->status = status;
    node->sql_flag = 1;
    static constexpr UINT8 loopback[4] = {127, 0, 0, 1};
    memcpy(node->ip, loopback, sizeof node->ip);
    node->port = 40000;
    for (int radio = 0; radio < row.rf_num; radio++)
        add_radio(node, static_cast<UINT8>(radio));
    for (int ssid = 0; ssid < row.ssid_num_24g; ssid++)
        add_ssid(node, static_cast<UINT8>(ssid));
    for (int ssid = 0; ssid < row.ssid_num_5g; ssid++)
        add_ssid(node, static_cast<UINT8>(AC_SSID_5G_FIRST + ssid));
    apconfig_link(node);
    return node;
}
