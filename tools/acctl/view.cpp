#include "view.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "text.h"

namespace acctl {

namespace {

nlohmann::ordered_json radio_json(const RadioState& radio, std::size_t index)
{
    return {{"band", band_of(index)},        {"on", radio.on},     {"channel", radio.channel},
            {"power", radio.power},          {"rssi", radio.rssi}, {"clients", radio.clients},
            {"main_ssid_limit", radio.limit}};
}

// "6/149", with "-" for a radio that is off.
std::string per_radio(const Ap& ap, int RadioState::*field, bool only_on)
{
    std::string text;
    for (const RadioState& radio : ap.radios) {
        if (!text.empty()) text += "/";
        text += only_on && !radio.on ? "-" : fmt::format("{}", radio.*field);
    }
    return text;
}

std::string ssid_names(const Ap& ap)
{
    std::string text;
    for (const SsidName& ssid : ap.ssids)
        text += (text.empty() ? "" : ", ") + shown(ssid.name);
    return text;
}

} // namespace

const char* band_of(std::size_t radio)
{
    return radio == 0 ? "2.4" : "5";
}

nlohmann::ordered_json ap_json(const Ap& ap)
{
    nlohmann::ordered_json json = {{"mac", to_string(ap.mac)},
                                   {"name", ap.name},
                                   {"product", ap.product},
                                   {"ip", ap.ip},
                                   {"firmware", ap.firmware},
                                   {"status", to_string(ap.status)},
                                   {"online", ap.online()},
                                   {"clients", ap.clients()},
                                   {"country", ap.country},
                                   {"bandwidth", ap.bandwidth},
                                   {"prefers_5g", ap.prefers_5g},
                                   {"radios", nlohmann::ordered_json::array()},
                                   {"ssids", nlohmann::ordered_json::array()}};
    for (std::size_t i = 0; i < ap.radios.size(); i++)
        json["radios"].push_back(radio_json(ap.radios[i], i));
    for (const SsidName& ssid : ap.ssids)
        json["ssids"].push_back({{"id", ssid.id}, {"name", ssid.name}});
    return json;
}

nlohmann::ordered_json counts_json(const Counts& counts)
{
    return {{"aps", counts.aps},
            {"online", counts.online},
            {"offline", counts.aps - counts.online},
            {"clients", counts.clients}};
}

Cell status_cell(const Ap& ap)
{
    const Paint paint = ap.status == ApStatus::online           ? Paint::good
                        : ap.status == ApStatus::upgrade_failed ? Paint::bad
                        : ap.online()                           ? Paint::warn
                                                                : Paint::dim;
    return {to_string(ap.status), paint};
}

Table ap_table(const std::vector<Ap>& aps)
{
    Table table({{"NAME", false, 10, 0},
                 {"MAC", false, 0, 0},
                 {"STATUS", false, 0, 0},
                 {"IP", false, 0, 1},
                 {"CLIENTS", true, 0, 2},
                 {"CHANNEL", true, 0, 3},
                 {"POWER", true, 0, 5},
                 {"PRODUCT", false, 8, 4},
                 {"FIRMWARE", false, 8, 6},
                 {"SSIDS", false, 12, 7}});
    for (const Ap& ap : aps)
        table.add({{shown(ap.name), Paint::plain},
                   {to_string(ap.mac), Paint::plain},
                   status_cell(ap),
                   {ap.ip, Paint::plain},
                   {per_radio(ap, &RadioState::clients, false), Paint::plain},
                   {per_radio(ap, &RadioState::channel, true), Paint::plain},
                   {per_radio(ap, &RadioState::power, true), Paint::plain},
                   {shown(ap.product), Paint::plain},
                   {shown(ap.firmware), Paint::plain},
                   {ssid_names(ap), Paint::dim}});
    return table;
}

std::string counts_text(const Counts& counts)
{
    return fmt::format("{} AP{}, {} online, {} offline; {} client{}", counts.aps, counts.aps == 1 ? "" : "s",
                       counts.online, counts.aps - counts.online, counts.clients, counts.clients == 1 ? "" : "s");
}

} // namespace acctl
