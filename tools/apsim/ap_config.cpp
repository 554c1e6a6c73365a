#include "ap_config.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <optional>
#include <string_view>

#include <fmt/format.h>

namespace apsim {

namespace {

constexpr std::size_t at_basic = 2;
constexpr std::size_t at_reboot = 90;
constexpr std::size_t at_alarm = 96;
constexpr std::size_t at_radios = 104;
constexpr std::size_t password_size = 65;
constexpr std::size_t reboot_block_size = sizeof(CONFIG_SCHED_REBOOT) + sizeof(CONFIG_TIME);

std::size_t radio_size(UINT16 layout)
{
    return layout == AC_LAYOUT_V1 ? sizeof(CONFIG_WL_RF_V1) : sizeof(CONFIG_WL_RF);
}

template <typename Record> void put(Bytes& out, std::size_t at, const Record& record, std::size_t size = sizeof(Record))
{
    std::memcpy(out.data() + at, &record, size);
}

template <typename Record> Record get(ByteView in, std::size_t at, std::size_t size = sizeof(Record))
{
    Record record{};
    std::memcpy(&record, in.subspan(at, size).data(), size);
    return record;
}

template <std::size_t N> UINT8 set_text(UINT8 (&field)[N], std::string_view text)
{
    const std::size_t length = std::min(N, text.size());
    std::fill(std::begin(field), std::end(field), UINT8{0});
    std::memcpy(field, text.data(), length);
    return static_cast<UINT8>(length);
}

CONFIG_WL_RF factory_radio(std::size_t index)
{
    CONFIG_WL_RF radio{};
    radio.RF_basic_setting = static_cast<UINT8>((index == 0 ? 0 : AC_RF_5G) | AC_RF_ON | AC_RF_WMM);
    radio.country_code = 1;
    radio.network_mode = index == 0 ? 3 : 5;
    radio.bandwidth = 1;
    radio.TXpower = 20;
    radio.channel = index == 0 ? 6 : 36;
    radio.rssi = 75;
    radio.interface_mode = 2;
    radio.sta_timeout = 5;
    return radio;
}

// In layout 3 the controller reads the second radio from inside the first SSID record, at the third letter of its name.
// An odd third letter there makes it a 5 GHz radio in the controller's eyes, so that a two-radio AP shows as one.
CONFIG_WL_BASIC factory_ssid(UINT8 ssid_id)
{
    CONFIG_WL_BASIC wl{};
    wl.ssid_id = ssid_id;
    wl.wl_basic_set = AC_WL_ON | (ssid_id >= AC_SSID_5G_FIRST ? 1 : 0);
    wl.client_number = 32;
    const std::string_view band = ssid_id >= AC_SSID_5G_FIRST ? "5g" : "24g";
    wl.ssid.ssid_length = set_text(wl.ssid.ssid, fmt::format("apsim-{}-{}", band, ssid_id));
    return wl;
}

CONFIG_WL_RF* find_radio(ApConfig& config, UINT8 radio)
{
    for (CONFIG_WL_RF& rf : config.radios)
        if ((rf.RF_basic_setting & AC_RF_5G) == (radio & AC_RF_5G)) return &rf;
    return nullptr;
}

CONFIG_WL_BASIC* find_ssid(ApConfig& config, UINT8 ssid_id)
{
    for (CONFIG_WL_BASIC& wl : config.ssids)
        if (wl.ssid_id == ssid_id) return &wl;
    return nullptr;
}

void apply_radio_image(ApConfig& config, const CONFIG_WL_RF_V1& image)
{
    CONFIG_WL_RF* radio = find_radio(config, image.RF_basic_setting);
    if (radio == nullptr) return;
    const UINT8 channel = radio->channel;
    const UINT8 expand_channel = radio->expand_channel;
    std::memcpy(radio, &image, sizeof(image)); // the ten fields lead the longer record too
    if (image.channel == AC_CHANNEL_KEEP) {
        radio->channel = channel;
        radio->expand_channel = expand_channel;
    }
}

// Switching the main SSID of a radio off switches the radio off.
void switch_ssid_off(ApConfig& config, CONFIG_WL_BASIC& wl)
{
    wl.wl_basic_set = static_cast<UINT8>(wl.wl_basic_set & ~AC_WL_ON);
    if (wl.ssid_id != 0 && wl.ssid_id != AC_SSID_5G_FIRST) return;
    CONFIG_WL_RF* radio = find_radio(config, wl.ssid_id == 0 ? 0 : AC_RF_5G);
    if (radio != nullptr) radio->RF_basic_setting = static_cast<UINT8>(radio->RF_basic_setting & ~AC_RF_ON);
}

void apply_ssid_image(ApConfig& config, const CONFIG_WL_BASIC_ALL& image)
{
    CONFIG_WL_BASIC* wl = find_ssid(config, image.ssid_id);
    if (wl == nullptr) return;
    if ((image.wl_basic_set & AC_WL_ON) == 0) return switch_ssid_off(config, *wl);
    wl->wl_basic_set = image.wl_basic_set;
    wl->client_number = image.client_number;
    wl->vlan_id = image.vlan_id;
    wl->ssid = image.ssid;
    wl->wlSecure.secure_mode = image.wlSecure.secure_mode;
    std::memcpy(&wl->wlSecure.wpapsk_secure_mode, &image.wlSecure.wpa_secure_mode, sizeof(WPAPSK_AUTH));
}

bool apply_radio_images(ApConfig& config, ByteView images)
{
    const std::size_t count = images.size() / sizeof(CONFIG_WL_RF_V1);
    if (images.size() % sizeof(CONFIG_WL_RF_V1) != 0 || count == 0 || count > AC_RADIO_MAX) return false;
    for (std::size_t i = 0; i < count; i++)
        apply_radio_image(config, get<CONFIG_WL_RF_V1>(images, i * sizeof(CONFIG_WL_RF_V1)));
    return true;
}

// Sub-type 0x02 carries SSID images or radio images; both have two bytes of counts in front. The sizes tell them apart:
// no number of 118-byte images makes one or two of 10 bytes.
bool apply_wireless(ApConfig& config, ByteView payload)
{
    if (payload.size() < 2) return false;
    const ByteView images = payload.subspan(2);
    const std::size_t count = images.size() / sizeof(CONFIG_WL_BASIC_ALL);
    if (count == 0 || count != payload[0] || images.size() % sizeof(CONFIG_WL_BASIC_ALL) != 0)
        return apply_radio_images(config, images);
    for (std::size_t i = 0; i < count; i++)
        apply_ssid_image(config, get<CONFIG_WL_BASIC_ALL>(images, i * sizeof(CONFIG_WL_BASIC_ALL)));
    return true;
}

// Sub-types 0x80, 0x40 and 0x04 may stand together; their blocks follow one another in this order.
bool apply_advanced(ApConfig& config, UINT8 bits, ByteView payload)
{
    const std::size_t size = ((bits & 0x80) != 0 ? sizeof(CONFIG_ALARM) : 0) +
                             ((bits & 0x40) != 0 ? reboot_block_size : 0) + ((bits & 0x04) != 0 ? 1 : 0);
    if (payload.size() != size) return false;
    std::size_t at = 0;
    if ((bits & 0x80) != 0) {
        config.alarm = get<CONFIG_ALARM>(payload, at);
        at += sizeof(CONFIG_ALARM);
    }
    if ((bits & 0x40) != 0) {
        config.reboot = get<CONFIG_SCHED_REBOOT>(payload, at);
        config.time = get<CONFIG_TIME>(payload, at + sizeof(CONFIG_SCHED_REBOOT));
        at += reboot_block_size;
    }
    if ((bits & 0x04) != 0) config.basic.led_status = payload[at];
    return true;
}

bool apply_config_setting(ApConfig& config, UINT8 sub_type, ByteView payload)
{
    switch (sub_type) {
    case 0x01:
        if (payload.size() != sizeof(CONFIG_IP)) return false;
        config.basic.ip = get<CONFIG_IP>(payload, 0);
        return true;
    case 0x02:
        return apply_wireless(config, payload);
    case 0x08:
        if (payload.size() != sizeof(CONFIG_APNAME)) return false;
        config.basic.apname = get<CONFIG_APNAME>(payload, 0);
        return true;
    case 0x20:
        if (payload.size() != 1 + payload.front() * sizeof(CONFIG_WL_RF_V1)) return false;
        return apply_radio_images(config, payload.subspan(1));
    default:
        if (sub_type == 0 || (sub_type & ~0xC4) != 0) return false;
        return apply_advanced(config, sub_type, payload);
    }
}

bool apply_channel(ApConfig& config, const CONFIG_CHANNEL& setting)
{
    CONFIG_WL_RF* radio = find_radio(config, setting.radio);
    if (radio == nullptr) return false;
    radio->channel = setting.channel;
    radio->expand_channel = setting.expand_channel;
    return true;
}

bool apply_client_limit(ApConfig& config, const CONFIG_CLI_LIMIT& setting)
{
    CONFIG_WL_BASIC* wl = find_ssid(config, setting.ssid_id);
    if (wl == nullptr) return false;
    wl->client_number = setting.limit;
    return true;
}

bool apply_password(ApConfig& config, ByteView payload)
{
    if (payload.size() != password_size) return false;
    std::copy_n(payload.begin(), 32, config.web_user.begin());
    std::copy_n(payload.begin() + 32, 32, config.web_password.begin());
    config.web_on_off = payload[64];
    return true;
}

bool apply_simple(ApConfig& config, UINT8 sub_type, ByteView payload)
{
    switch (sub_type) {
    case 0x01:
        return payload.size() == sizeof(CONFIG_CHANNEL) && apply_channel(config, get<CONFIG_CHANNEL>(payload, 0));
    case 0x02:
        return payload.size() == sizeof(CONFIG_CLI_LIMIT) &&
               apply_client_limit(config, get<CONFIG_CLI_LIMIT>(payload, 0));
    case 0x04:
        return apply_password(config, payload);
    case 0x08:
        if (payload.size() != config.deploy.size()) return false;
        std::copy(payload.begin(), payload.end(), config.deploy.begin());
        return true;
    case 0x10: // 65 bytes, of which the first 22 carry data
        if (payload.size() < config.qvlan.size()) return false;
        std::copy_n(payload.begin(), config.qvlan.size(), config.qvlan.begin());
        return true;
    default:
        return false;
    }
}

} // namespace

int ApConfig::version_number() const
{
    int number = 0;
    const char* text = reinterpret_cast<const char*>(version.data());
    std::from_chars(text, text + version.size(), number);
    return number;
}

void ApConfig::set_version(int number)
{
    const std::string text = fmt::format("{}", std::clamp(number, 0, 99));
    version = {};
    std::copy(text.begin(), text.end(), version.begin());
}

ApConfig factory_config(const Mac& mac, const ApKind& kind)
{
    ApConfig config;
    config.set_version(0);
    config.basic.led_status = 1;
    const UINT8 ip[] = {10, mac[3], mac[4], mac[5]};
    const UINT8 mask[] = {255, 0, 0, 0};
    const UINT8 gateway[] = {10, 0, 0, 1};
    std::memcpy(config.basic.ip.ip, ip, sizeof(ip));
    std::memcpy(config.basic.ip.mask, mask, sizeof(mask));
    std::memcpy(config.basic.ip.gateway, gateway, sizeof(gateway));
    std::memcpy(config.basic.ip.hostdns, gateway, sizeof(gateway));
    CONFIG_APNAME& name = config.basic.apname;
    name.ap_name_length = set_text(name.ap_name, fmt::format("ap-{:02x}{:02x}{:02x}", mac[3], mac[4], mac[5]));
    CONFIG_VERSION& firmware = config.basic.version;
    firmware.version_length = set_text(firmware.version, "V1.0.0");
    for (std::size_t i = 0; i < kind.rf_num; i++)
        config.radios.push_back(factory_radio(i));
    for (UINT8 i = 0; i < kind.ssid_num_24g; i++)
        config.ssids.push_back(factory_ssid(i));
    for (UINT8 i = 0; i < kind.ssid_num_5g; i++)
        config.ssids.push_back(factory_ssid(static_cast<UINT8>(AC_SSID_5G_FIRST + i)));
    return config;
}

std::size_t report_size(UINT16 layout, std::size_t radios, std::size_t ssids)
{
    return at_radios + radios * radio_size(layout) + ssids * sizeof(CONFIG_WL_BASIC);
}

Bytes encode_report(const ApConfig& config, UINT16 layout)
{
    Bytes out(report_size(layout, config.radios.size(), config.ssids.size()), 0);
    put(out, 0, config.version);
    put(out, at_basic, config.basic);
    put(out, at_reboot, config.reboot);
    put(out, at_alarm, config.alarm);
    std::size_t at = at_radios;
    for (const CONFIG_WL_RF& radio : config.radios) {
        put(out, at, radio, radio_size(layout));
        at += radio_size(layout);
    }
    for (const CONFIG_WL_BASIC& wl : config.ssids) {
        put(out, at, wl);
        at += sizeof(wl);
    }
    return out;
}

bool take_stored_config(ApConfig& config, UINT16 layout, ByteView payload)
{
    if (payload.size() < report_size(layout, config.radios.size(), config.ssids.size())) return false;
    config.version = get<std::array<UINT8, 2>>(payload, 0);
    config.basic = get<CONFIG_BASIC>(payload, at_basic);
    config.reboot = get<CONFIG_SCHED_REBOOT>(payload, at_reboot);
    config.alarm = get<CONFIG_ALARM>(payload, at_alarm);
    std::size_t at = at_radios;
    for (CONFIG_WL_RF& radio : config.radios) {
        std::memcpy(&radio, payload.subspan(at, radio_size(layout)).data(), radio_size(layout));
        at += radio_size(layout);
    }
    for (CONFIG_WL_BASIC& wl : config.ssids) {
        wl = get<CONFIG_WL_BASIC>(payload, at);
        at += sizeof(wl);
    }
    return true;
}

Applied apply_setting(ApConfig& config, UINT16 msg_type, ByteView payload)
{
    const UINT8 sub_type = acwtp_msg_high(msg_type);
    const bool simple = acwtp_msg_low(msg_type) == HALDE_APSimpleConfigSetReq;
    const bool known = !payload.empty() && (simple ? apply_simple(config, sub_type, payload)
                                                   : apply_config_setting(config, sub_type, payload));
    if (known) return Applied::done;
    config.raw[msg_type] = Bytes(payload.begin(), payload.end());
    return Applied::kept_raw;
}

} // namespace apsim
