// records - what the controller tells about its APs, as values, and the bodies of the requests that change them.
//
// Decoding throws ChannelError (bad_answer) for data that doesn't have its layout. Texts are UTF-8 (see to_utf8) but
// may hold any character: they go through `shown` on their way to a terminal.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ac_mib/apconfig_report_wire.h"
#include "main/wtp_control_wire.h"

namespace acctl {

using Mac = std::array<UINT8, AC_MAC_LEN>;

std::string to_string(const Mac& mac); // "02:a9:51:00:00:10"
// 12 hexadecimal digits, in pairs with ':' or '-' between them or without; nothing for any other text.
std::optional<Mac> parse_mac(std::string_view text);

// The link or upgrade state of an AP.
enum class ApStatus : UINT8 {
    offline = 0,
    online = 1,
    upgrade_waiting = 2,
    upgrade_receiving = 3,
    upgrade_writing = 4,
    upgrade_done = 5, // restarting; the controller counts it as offline
    upgrade_failed = 6,
};
const char* to_string(ApStatus status); // a stable word: "offline", "online", "upgrade-waiting" ...

struct RadioState { // of a list row
    bool on = false;
    int channel = 0;
    int power = 0;
    int rssi = 0;
    int clients = 0;
    int limit = 0; // of the radio's main SSID
};

struct SsidName {
    int id = 0; // 0 to 7: 2.4 GHz, 8 to 11: 5 GHz
    std::string name;
};

struct Ap {
    Mac mac{};
    std::string name;
    std::string product;
    std::string ip;
    std::string firmware;
    ApStatus status = ApStatus::offline;
    int country = 0;   // of the 2.4 GHz radio
    int bandwidth = 0; // of the 2.4 GHz radio
    bool prefers_5g = false;
    std::vector<RadioState> radios; // 1 or 2
    std::vector<SsidName> ssids;    // the enabled ones; the main SSID of a radio that is off, too
    int ssid_count[2] = {};

    bool online() const { return status != ApStatus::offline && status != ApStatus::upgrade_done; }
    int clients() const;
};

struct Counts {
    int aps = 0;
    int online = 0;
    int clients = 0;
};

struct SsidUse { // of an online AP, where its radio is on
    int id = 0;
    std::string name;
    int clients = 0;
    int limit = 0;
};

struct ApSsids {
    Mac mac{};
    std::vector<SsidUse> ssids;
};

struct RadioPage { // all that the request for an AP's radios carries of one
    UINT8 on = 0, country = 0, bandwidth = 0, channel = 0, extend_channel = 0, power = 0, mode = 0, rssi = 0,
          interface_mode = 0, sta_timeout = 0, wmm = 0, ssid_isolation = 0, apsd = 0, g5_priority = 0;
    bool operator==(const RadioPage&) const = default;
};

struct ApPage {
    int ip_mode = 0;
    std::string ip, mask, gateway, dns1, dns2;
    std::array<RadioPage, 2> radios; // the second is zero where there is none
    AC_WTP_Cfg_Block_t raw{};
};

enum class Policy { reboot, alarm, password, deploy, qvlan };
inline constexpr std::size_t policy_count = 5;
const char* to_string(Policy policy);

struct ApPolicies {
    Mac mac{};
    bool led = false;
    std::array<std::string, policy_count> bound; // by Policy; empty: none
    std::string wl_basic, wl_rf;                 // of SSID 0 and radio 0
};

struct AdvancedPage {
    std::array<std::vector<std::string>, policy_count> policies; // the names of those that exist, by Policy
    std::vector<ApPolicies> aps;
};

std::vector<Ap> decode_aps(std::span<const UINT8> data, std::size_t rows);
std::vector<ApSsids> decode_ssids(std::span<const UINT8> data);
AdvancedPage decode_advanced(std::span<const UINT8> data);
std::optional<ApPage> decode_page(std::span<const UINT8> data); // nothing for no data: the AP is unknown

// Throw std::invalid_argument where a name has more bytes than its field.
std::vector<UINT8> body_of_macs(const std::vector<Mac>& macs);
std::vector<UINT8> body_rename(const Mac& mac, const std::string& name);
std::vector<UINT8> body_channel(const Mac& mac, const CONFIG_CHANNEL& channel);
std::vector<UINT8> body_limit(const Mac& mac, const CONFIG_CLI_LIMIT& limit);
std::vector<UINT8> body_radios(const Mac& mac, const ApPage& page); // its `radios`, the rest as it came
std::vector<UINT8> body_bind(const std::vector<Mac>& macs, const std::array<std::string, policy_count>& names);
std::vector<UINT8> body_bind_qvlan(const std::vector<Mac>& macs, const std::string& name);

} // namespace acctl
