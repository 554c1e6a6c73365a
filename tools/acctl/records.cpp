#include "records.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include <fmt/format.h>

#include "channel.h"
#include "common/ac_wire.h"
#include "text.h"

namespace acctl {

namespace {

[[noreturn]] void bad_layout(const char* what, std::size_t size)
{
    throw ChannelError(Failure::bad_answer,
                       fmt::format("the controller's {} of {} bytes doesn't have the layout that acctl knows: the two "
                                   "don't fit together",
                                   what, size));
}

std::string text_of(std::span<const UINT8> field)
{
    return to_utf8(field_bytes(field));
}

std::string ip_text(UINT32 address) // bytes in dotted order
{
    std::array<UINT8, 4> bytes{};
    std::memcpy(bytes.data(), &address, sizeof address);
    return fmt::format("{}.{}.{}.{}", bytes[0], bytes[1], bytes[2], bytes[3]);
}

template <std::size_t N> Mac mac_of(const UINT8 (&field)[N])
{
    static_assert(N >= AC_MAC_LEN);
    Mac mac{};
    std::copy_n(field, AC_MAC_LEN, mac.begin());
    return mac;
}

RadioState radio_of(const AC_WTP_WTP_TABLE& row, bool second)
{
    if (second)
        return {row.ssid_status_5g != 0, row.real_channel_5g, row.tx_pwr_5g, row.rssi_5g,
                row.clientNum_5g,        row.maxNum_5g};
    return {row.ssid_status != 0, row.real_channel, row.tx_pwr, row.rssi, row.clientNum, row.maxNum};
}

Ap ap_of(const AC_WTP_WTP_TABLE& row)
{
    Ap ap;
    ap.mac = mac_of(row.macAddr);
    ap.name = text_of(row.text);
    ap.product = text_of(row.apName);
    ap.ip = ip_text(row.ipAddr);
    ap.firmware = text_of(row.fversion);
    ap.status = static_cast<ApStatus>(row.currentststus);
    ap.country = row.country_code;
    ap.bandwidth = row.bandwidth;
    ap.prefers_5g = row.precedence_5g != 0;
    ap.radios.push_back(radio_of(row, false));
    if (row.rf_num > 1) ap.radios.push_back(radio_of(row, true));
    for (int id = 0; id < AC_SSID_MAX; id++)
        if (row.ssid[id][0] != 0) ap.ssids.push_back({id, text_of(row.ssid[id])});
    ap.ssid_count[0] = row.ssid_num_24g;
    ap.ssid_count[1] = row.ssid_num_5g;
    return ap;
}

RadioPage radio_page(const WIFI_RF_CFG_PARAM& rf, std::size_t i)
{
    return {rf.wlEn[i],   rf.country[i],        rf.bandwidth[i], rf.channel[i],        rf.extend_channel[i],
            rf.tx_pwr[i], rf.netmode[i],        rf.rssi[i],      rf.interface_mode[i], rf.sta_timeout[i],
            rf.wmm[i],    rf.ssid_isolation[i], rf.apsd[i],      rf.g5_priority[i]};
}

void put_radio_page(WIFI_RF_CFG_PARAM& rf, std::size_t i, const RadioPage& page)
{
    rf.wlEn[i] = page.on;
    rf.country[i] = page.country;
    rf.bandwidth[i] = page.bandwidth;
    rf.channel[i] = page.channel;
    rf.extend_channel[i] = page.extend_channel;
    rf.tx_pwr[i] = page.power;
    rf.netmode[i] = page.mode;
    rf.rssi[i] = page.rssi;
    rf.interface_mode[i] = page.interface_mode;
    rf.sta_timeout[i] = page.sta_timeout;
    rf.wmm[i] = page.wmm;
    rf.ssid_isolation[i] = page.ssid_isolation;
    rf.apsd[i] = page.apsd;
    rf.g5_priority[i] = page.g5_priority;
}

ApPolicies policies_of(const ACWTP_ADVANCE_CONFIG& row)
{
    ApPolicies out;
    out.mac = mac_of(row.macAddr);
    out.led = row.led != 0;
    out.bound = {text_of(row.reboot_policy), text_of(row.alarm_policy), text_of(row.pass_policy),
                 text_of(row.wl_deploy_policy), text_of(row.qvlan_policy)};
    out.wl_basic = text_of(row.wl_basic_policy);
    out.wl_rf = text_of(row.wl_rf_policy);
    return out;
}

void put(std::vector<UINT8>& body, const void* bytes, std::size_t count)
{
    const UINT8* from = static_cast<const UINT8*>(bytes);
    body.insert(body.end(), from, from + count);
}

void put_name(std::vector<UINT8>& body, const std::string& name)
{
    if (name.size() > AC_NAME_LEN)
        throw std::invalid_argument(
            fmt::format("the name \"{}\" has {} bytes; {} is the most", shown(name), name.size(), AC_NAME_LEN));
    put(body, name.data(), name.size());
    body.resize(body.size() + AC_NAME_LEN - name.size());
}

// The order in which the advanced page lists the kinds.
constexpr Policy page_order[policy_count] = {Policy::alarm, Policy::reboot, Policy::password, Policy::deploy,
                                             Policy::qvlan};
// The order in which the request to bind them names them.
constexpr Policy bind_order[] = {Policy::reboot, Policy::alarm, Policy::password, Policy::deploy};

} // namespace

std::string to_string(const Mac& mac)
{
    return fmt::format("{:02x}", fmt::join(mac, ":"));
}

std::optional<Mac> parse_mac(std::string_view text)
{
    const bool bare = text.size() == 12;
    if (!bare && text.size() != 17) return std::nullopt;
    const std::size_t step = bare ? 2 : 3;
    Mac mac{};
    for (std::size_t i = 0; i < mac.size(); i++) {
        const char* at = text.data() + i * step;
        const auto [end, error] = std::from_chars(at, at + 2, mac[i], 16);
        if (error != std::errc() || end != at + 2) return std::nullopt;
        if (!bare && i + 1 < mac.size() && *end != ':' && *end != '-') return std::nullopt;
    }
    return mac;
}

const char* to_string(ApStatus status)
{
    static const char* const words[] = {"offline",         "online",       "upgrade-waiting", "upgrade-receiving",
                                        "upgrade-writing", "upgrade-done", "upgrade-failed"};
    const std::size_t index = static_cast<std::size_t>(status);
    return index < std::size(words) ? words[index] : "unknown";
}

const char* to_string(Policy policy)
{
    static const char* const words[] = {"reboot", "alarm", "password", "deploy", "qvlan"};
    return words[static_cast<std::size_t>(policy)];
}

int Ap::clients() const
{
    int sum = 0;
    for (const RadioState& radio : radios)
        sum += radio.clients;
    return sum;
}

std::vector<Ap> decode_aps(std::span<const UINT8> data, std::size_t rows)
{
    if (data.size() != rows * sizeof(AC_WTP_WTP_TABLE)) bad_layout("list of APs", data.size());
    std::vector<Ap> aps;
    wire_reader reader{data};
    for (std::size_t i = 0; i < rows; i++)
        aps.push_back(ap_of(wire_take<AC_WTP_WTP_TABLE>(reader)));
    return aps;
}

std::vector<ApSsids> decode_ssids(std::span<const UINT8> data)
{
    if (data.size() % sizeof(AC_WTP_Ssid_Cfg_t) != 0) bad_layout("list of SSIDs", data.size());
    std::vector<ApSsids> aps;
    wire_reader reader{data};
    while (!reader.left.empty()) {
        const auto row = wire_take<AC_WTP_Ssid_Cfg_t>(reader);
        ApSsids ap;
        ap.mac = mac_of(row.macAddr);
        for (int id = 0; id < AC_SSID_MAX; id++)
            if (row.ssid[id][0] != 0)
                ap.ssids.push_back({id, text_of(row.ssid[id]), row.clientNum[id], row.maxNum[id]});
        aps.push_back(std::move(ap));
    }
    return aps;
}

AdvancedPage decode_advanced(std::span<const UINT8> data)
{
    AdvancedPage page;
    wire_reader reader{data};
    std::array<UINT32, policy_count> counts{};
    for (UINT32& count : counts)
        count = wire_take<UINT32>(reader);
    for (std::size_t kind = 0; kind < policy_count; kind++) {
        if (counts[kind] > reader.left.size() / AC_NAME_LEN) reader.bad = true;
        for (UINT32 i = 0; i < counts[kind] && !reader.bad; i++)
            page.policies[static_cast<std::size_t>(page_order[kind])].push_back(
                text_of(wire_take_bytes(reader, AC_NAME_LEN)));
    }
    if (reader.bad || reader.left.size() % sizeof(ACWTP_ADVANCE_CONFIG) != 0)
        bad_layout("page of policies", data.size());
    while (!reader.left.empty()) {
        const auto row = wire_take<ACWTP_ADVANCE_CONFIG>(reader);
        // Room for APs that the controller counted and then left out, as incomplete, is zero.
        if (mac_of(row.macAddr) != Mac{}) page.aps.push_back(policies_of(row));
    }
    return page;
}

std::optional<ApPage> decode_page(std::span<const UINT8> data)
{
    if (data.empty()) return std::nullopt;
    if (data.size() != sizeof(AC_WTP_Cfg_Block_t)) bad_layout("page of an AP", data.size());
    wire_reader reader{data};
    ApPage page;
    page.raw = wire_take<AC_WTP_Cfg_Block_t>(reader);
    page.ip_mode = page.raw.ip_acq_mode;
    page.ip = ip_text(page.raw.ipAddr);
    page.mask = ip_text(page.raw.ip_mask);
    page.gateway = ip_text(page.raw.gateway);
    page.dns1 = ip_text(page.raw.dns1);
    page.dns2 = ip_text(page.raw.dns2);
    for (std::size_t i = 0; i < page.radios.size(); i++)
        page.radios[i] = radio_page(page.raw.rf, i);
    return page;
}

std::vector<UINT8> body_of_macs(const std::vector<Mac>& macs)
{
    std::vector<UINT8> body;
    for (const Mac& mac : macs)
        put(body, mac.data(), mac.size());
    return body;
}

std::vector<UINT8> body_rename(const Mac& mac, const std::string& name)
{
    std::vector<UINT8> body = body_of_macs({mac});
    put_name(body, name);
    return body;
}

std::vector<UINT8> body_channel(const Mac& mac, const CONFIG_CHANNEL& channel)
{
    std::vector<UINT8> body = body_of_macs({mac});
    put(body, &channel, sizeof channel);
    return body;
}

std::vector<UINT8> body_limit(const Mac& mac, const CONFIG_CLI_LIMIT& limit)
{
    std::vector<UINT8> body = body_of_macs({mac});
    put(body, &limit, sizeof limit);
    return body;
}

std::vector<UINT8> body_radios(const Mac& mac, const ApPage& page)
{
    AC_WTP_Cfg_Block_t raw = page.raw;
    for (std::size_t i = 0; i < page.radios.size(); i++)
        put_radio_page(raw.rf, i, page.radios[i]);
    std::vector<UINT8> body = body_of_macs({mac});
    put(body, &raw, sizeof raw);
    return body;
}

std::vector<UINT8> body_bind(const std::vector<Mac>& macs, const std::array<std::string, policy_count>& names)
{
    std::vector<UINT8> body = body_of_macs(macs);
    for (const Policy policy : bind_order)
        put_name(body, names[static_cast<std::size_t>(policy)]);
    return body;
}

std::vector<UINT8> body_bind_qvlan(const std::vector<Mac>& macs, const std::string& name)
{
    std::vector<UINT8> body = body_of_macs(macs);
    put_name(body, name);
    return body;
}

} // namespace acctl
