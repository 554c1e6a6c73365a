#include "exchange_kit.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_transport.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_atomic.h"
#include "platform/ac_clock.h"

Bytes operator+(const Bytes& a, const Bytes& b)
{
    Bytes sum = a;
    sum.insert(sum.end(), b.begin(), b.end());
    return sum;
}

Bytes zeros(std::size_t count)
{
    return Bytes(count, 0);
}

Bytes text(const char* characters, std::size_t width)
{
    Bytes field(characters, characters + strlen(characters));
    field.resize(width);
    return field;
}

Bytes mac_bytes(std::initializer_list<int> numbers)
{
    Bytes bytes;
    for (const int number : numbers) {
        const Mac mac = test_mac(number);
        bytes.insert(bytes.end(), mac.begin(), mac.end());
    }
    return bytes;
}

Bytes mac_run(int first, int count)
{
    Bytes bytes;
    for (int i = 0; i < count; i++) {
        const Mac mac = test_mac(first + i);
        bytes.insert(bytes.end(), mac.begin(), mac.end());
    }
    return bytes;
}

void put(Bytes& bytes, std::size_t offset, const Bytes& what)
{
    ASSERT_LE(offset + what.size(), bytes.size());
    std::copy(what.begin(), what.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

ACWTP_MSG_TABLE Work::table() const
{
    ACWTP_MSG_TABLE table = {};
    table.send_times = send_times;
    table.type = type;
    table.num_flag = num_flag;
    table.ap_num = ap_num;
    table.flags = flags;
    table.length = static_cast<UINT32>(msg.size());
    table.msg = msg.empty() ? nullptr : const_cast<char*>(reinterpret_cast<const char*>(msg.data()));
    return table;
}

static Bytes le16(UINT32 value)
{
    return {static_cast<UINT8>(value), static_cast<UINT8>(value >> 8)};
}

static Bytes le32(UINT32 value)
{
    return le16(value) + le16(value >> 16);
}

Bytes ApDatagram::bytes() const
{
    return Bytes(mac.begin(), mac.end()) + le16(proto) + le16(seq) + le16(pkt_type) + le16(reserve) + le16(ap_type) +
           Bytes{0x88, 0x17} + le16(msg_type) + le32(static_cast<UINT32>(payload.size())) + le32(crc) + payload;
}

// ssid_id, on, 32 clients, and a name of five or six characters with its length behind the 32 bytes of the name.
static void put_ssid(Bytes& report, std::size_t offset, int id)
{
    const std::string name = "ssid" + std::to_string(id);
    put(report, offset, {static_cast<UINT8>(id), 2, 32});
    put(report, offset + 6, text(name.c_str(), 32));
    put(report, offset + 38, {static_cast<UINT8>(name.size())});
}

Bytes report_two_radios(const char* version)
{
    Bytes report = zeros(1480);
    put(report, 0, text(version, 2));
    put(report, 104, {2});      // 2.4 GHz, on
    put(report, 104 + 28, {3}); // 5 GHz, on
    for (int id = 0; id < 12; id++)
        put_ssid(report, 160 + 110 * static_cast<std::size_t>(id), id);
    return report;
}

void ExchangeWorld::SetUp()
{
    TestWorld::SetUp();
    while (get_seq_num() != 255) {
    }
}

void ExchangeWorld::TearDown()
{
    acwtp_msg_list_del_all();
    acwtp_msged_list_del_all();
    ac_clock_fail(false);
    ac_clock_advance(1000);
    (void)output_of([] { msged_calltimeout(); });
    TestWorld::TearDown();
}

std::string ExchangeWorld::printed(const std::function<void()>& action)
{
    std::string output = output_of(action);
    for (std::size_t at = output.find("Error->"); at != std::string::npos; at = output.find("Error->", at)) {
        const std::size_t end = output.find(")--", at);
        if (end == std::string::npos) break;
        output.replace(at, end + 3 - at, "! ");
    }
    return output;
}

AC_RET ExchangeWorld::add(const Work& work, int flag)
{
    const ACWTP_MSG_TABLE table = work.table();
    return acwtp_msg_list_add(&table, flag);
}

AC_RET ExchangeWorld::queue(const Work& work, int flag)
{
    const ACWTP_MSG_TABLE table = work.table();
    return acmsg_to_acprotocol(&table, flag);
}

std::vector<WorkItem> ExchangeWorld::waiting()
{
    std::vector<WorkItem> items;
    ac_lock lock(acwtp_mutex);
    for (list_node* link = g_msg_queue.next; link != &g_msg_queue; link = link->next) {
        const ACWTP_MSG_TABLE* item = list_entry(link, ACWTP_MSG_TABLE, list);
        Bytes msg;
        if (item->msg != nullptr) msg.assign(item->msg, item->msg + item->length);
        items.push_back({item->send_times, item->type, item->num_flag, item->ap_num, item->flags, msg});
    }
    return items;
}

std::vector<Outstanding> ExchangeWorld::outstanding()
{
    std::vector<Outstanding> records;
    ac_lock lock(acwtp_msged_mutex);
    for (list_node* link = g_msged_queue.next; link != &g_msged_queue; link = link->next) {
        ACWTP_MSGED_QUEUE* record = list_entry(link, ACWTP_MSGED_QUEUE, list);
        Outstanding seen = {record->send_times, record->type, record->ap_num, record->flags, record->seq_num, {}, {}};
        if (record->msg != nullptr) seen.msg.assign(record->msg, record->msg + record->length);
        for (list_node* at = record->mac.next; at != &record->mac; at = at->next) {
            Mac mac;
            memcpy(mac.data(), list_entry(at, MAC_LIST, list)->ethaddr, mac.size());
            seen.macs.push_back(mac);
        }
        records.push_back(seen);
    }
    return records;
}

int ExchangeWorld::posts()
{
    int count = 0;
    while (sem_trywait(&sem_protocol) == 0)
        count++;
    return count;
}

void ExchangeWorld::from_ap(const ApDatagram& frame, const char* ip, UINT16 port)
{
    struct sockaddr_in from = {};
    from.sin_family = AF_INET;
    from.sin_port = htons(port);
    inet_pton(AF_INET, ip, &from.sin_addr);
    const Bytes datagram = frame.bytes();
    manage_datagram(datagram, &from);
    udp_discvr_skb_queue_out();
    udp_skb_queue_out();
}

void ExchangeWorld::discover(const Mac& mac, UINT16 ap_type, UINT16 proto)
{
    Bytes product = zeros(44); // the type is known, so nothing of it is learnt
    put(product, 40, le16(ap_type));
    from_ap({.mac = mac, .msg_type = 2, .payload = product, .proto = proto, .ap_type = ap_type});
}

void ExchangeWorld::join_running(const Mac& mac)
{
    ACWTP_JOIN_LIST entry = {};
    memcpy(entry.ap_mac, mac.data(), mac.size());
    static constexpr UINT8 loopback[4] = {127, 0, 0, 1};
    memcpy(entry.ap_ip, loopback, sizeof entry.ap_ip);
    entry.port = 40000;
    entry.ap_status = 1;
    entry.current_status = AC_RUNNING;
    ASSERT_EQ(insert_to_wtp_listinfo(&entry), 0);
    ac_add(wtp_online_num_count, 1);
}

int ExchangeWorld::state_of(const Mac& mac)
{
    ACWTP_JOIN_LIST entry;
    return acwtp_joined_copy(mac.data(), &entry) ? entry.current_status : -1;
}

std::string ExchangeWorld::version_of(const APCONFIG* ap)
{
    const auto* at = reinterpret_cast<const char*>(ap->AP_config_version);
    return {at, strnlen(at, sizeof ap->AP_config_version)};
}
