// The commands that only read.
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "session.h"
#include "text.h"
#include "view.h"

namespace acctl {

namespace {

// ---- show -----------------------------------------------------------------------------------------------------------

// An AP with all that the different reads tell about it.
struct Whole {
    Ap ap;
    std::optional<ApPage> page;
    const ApSsids* ssids = nullptr;       // null: not online, or its radios are off
    const ApPolicies* policies = nullptr; // null: the controller leaves it out
};

template <typename Record> const Record* record_of(const std::vector<Record>& all, const Mac& mac)
{
    const auto at = std::find_if(all.begin(), all.end(), [&](const Record& record) { return record.mac == mac; });
    return at == all.end() ? nullptr : &*at;
}

const SsidUse* use_of(const Whole& whole, int id)
{
    if (whole.ssids == nullptr) return nullptr;
    const auto& ssids = whole.ssids->ssids;
    const auto at = std::find_if(ssids.begin(), ssids.end(), [id](const SsidUse& use) { return use.id == id; });
    return at == ssids.end() ? nullptr : &*at;
}

// The list shows the limits of the main SSIDs also where the SSIDs in use are not told.
std::optional<int> limit_of(const Whole& whole, int id)
{
    const SsidUse* use = use_of(whole, id);
    if (use != nullptr) return use->limit;
    const std::size_t radio = id == AC_SSID_5G_FIRST ? 1 : 0;
    const bool main = (id == 0 || id == AC_SSID_5G_FIRST) && radio < whole.ap.radios.size();
    return main ? std::optional(whole.ap.radios[radio].limit) : std::nullopt;
}

void add_page(nlohmann::ordered_json& json, const ApPage& page)
{
    json["address"] = {{"mode", page.ip_mode},
                       {"ip", page.ip},
                       {"mask", page.mask},
                       {"gateway", page.gateway},
                       {"dns", {page.dns1, page.dns2}}};
    for (std::size_t i = 0; i < json["radios"].size() && i < page.radios.size(); i++) {
        const RadioPage& radio = page.radios[i];
        json["radios"][i].update({{"country", radio.country},
                                  {"bandwidth", radio.bandwidth},
                                  {"extend_channel", radio.extend_channel},
                                  {"mode", radio.mode},
                                  {"interface_mode", radio.interface_mode},
                                  {"sta_timeout", radio.sta_timeout},
                                  {"wmm", radio.wmm != 0},
                                  {"apsd", radio.apsd != 0},
                                  {"ssid_isolation", radio.ssid_isolation != 0},
                                  {"g5_priority", radio.g5_priority != 0}});
    }
}

nlohmann::ordered_json whole_json(const Whole& whole)
{
    nlohmann::ordered_json json = ap_json(whole.ap);
    if (whole.page) add_page(json, *whole.page);
    for (nlohmann::ordered_json& ssid : json["ssids"]) {
        const SsidUse* use = use_of(whole, ssid["id"]);
        ssid["clients"] = use != nullptr ? nlohmann::ordered_json(use->clients) : nlohmann::ordered_json();
        const std::optional<int> limit = limit_of(whole, ssid["id"]);
        ssid["limit"] = limit ? nlohmann::ordered_json(*limit) : nlohmann::ordered_json();
    }
    if (whole.policies == nullptr) return json;
    json["led"] = whole.policies->led;
    for (std::size_t kind = 0; kind < policy_count; kind++)
        json["policies"][to_string(static_cast<Policy>(kind))] = whole.policies->bound[kind];
    json["policies"]["wl_basic"] = whole.policies->wl_basic;
    json["policies"]["wl_rf"] = whole.policies->wl_rf;
    return json;
}

std::string or_dash(const std::string& text)
{
    return text.empty() ? "-" : shown(text);
}

std::string line(const char* key, const std::string& value)
{
    return fmt::format("  {:<10} {}\n", key, value);
}

std::string indented(const Table& table, const Screen& screen)
{
    std::string out;
    const std::size_t columns = screen.columns > 12 ? screen.columns - 2 : screen.columns;
    for (const std::string& text : table.lines(columns, screen.colour))
        out += "  " + text + "\n";
    return out;
}

Table radio_table(const Whole& whole)
{
    Table table({{"RADIO", false, 0, 0},
                 {"STATE", false, 0, 0},
                 {"CHANNEL", true, 0, 0},
                 {"EXTEND", true, 0, 4},
                 {"POWER", true, 0, 0},
                 {"BANDWIDTH", true, 0, 1},
                 {"COUNTRY", true, 0, 2},
                 {"RSSI", true, 0, 3},
                 {"CLIENTS", true, 0, 0}});
    for (std::size_t i = 0; i < whole.ap.radios.size(); i++) {
        const RadioState& radio = whole.ap.radios[i];
        const auto of_page = [&](UINT8 RadioPage::*field) {
            return Cell{whole.page ? fmt::format("{}", whole.page->radios[i].*field) : "-", Paint::plain};
        };
        table.add({{fmt::format("{} GHz", band_of(i)), Paint::plain},
                   {radio.on ? "on" : "off", radio.on ? Paint::good : Paint::dim},
                   {fmt::format("{}", radio.channel), Paint::plain},
                   of_page(&RadioPage::extend_channel),
                   {fmt::format("{}", radio.power), Paint::plain},
                   of_page(&RadioPage::bandwidth),
                   of_page(&RadioPage::country),
                   {fmt::format("{}", radio.rssi), Paint::plain},
                   {fmt::format("{}", radio.clients), Paint::plain}});
    }
    return table;
}

Table ssid_table(const Whole& whole)
{
    Table table({{"SSID", true, 0, 0}, {"NAME", false, 8, 0}, {"CLIENTS", true, 0, 0}, {"LIMIT", true, 0, 0}});
    for (const SsidName& ssid : whole.ap.ssids) {
        const SsidUse* use = use_of(whole, ssid.id);
        const std::optional<int> limit = limit_of(whole, ssid.id);
        table.add({{fmt::format("{}", ssid.id), Paint::plain},
                   {shown(ssid.name), Paint::plain},
                   {use != nullptr ? fmt::format("{}", use->clients) : "-", Paint::plain},
                   {limit ? fmt::format("{}", *limit) : "-", Paint::plain}});
    }
    return table;
}

std::string policies_text(const ApPolicies& policies)
{
    std::string text;
    for (std::size_t kind = 0; kind < policy_count; kind++)
        if (!policies.bound[kind].empty())
            text += fmt::format("{}{} \"{}\"", text.empty() ? "" : ", ", to_string(static_cast<Policy>(kind)),
                                shown(policies.bound[kind]));
    return text.empty() ? "none" : text;
}

std::string whole_text(const Whole& whole, const Screen& screen)
{
    const Ap& ap = whole.ap;
    const Cell status = status_cell(ap);
    std::string text = painted(label(ap), Paint::bold, screen.colour) + "\n";
    text += line("status", painted(status.text, status.paint, screen.colour));
    text += line("product", fmt::format("{}, firmware {}", or_dash(ap.product), or_dash(ap.firmware)));
    text += line("ip", ap.ip);
    if (whole.page)
        text +=
            line("set to", fmt::format("{}/{}, gateway {}, DNS {} {} (mode {})", whole.page->ip, whole.page->mask,
                                       whole.page->gateway, whole.page->dns1, whole.page->dns2, whole.page->ip_mode));
    if (whole.policies != nullptr) {
        text += line("LED", whole.policies->led ? "on" : "off");
        text += line("policies", policies_text(*whole.policies));
    }
    text += "\n" + indented(radio_table(whole), screen);
    const Table ssids = ssid_table(whole);
    if (!ssids.empty()) text += "\n" + indented(ssids, screen);
    return text;
}

std::vector<Whole> wholes(const Session& session, const std::vector<ApSsids>& ssids, const AdvancedPage& advanced)
{
    std::vector<Whole> all;
    for (const Ap& ap : chosen_aps(session, session.controller.aps()))
        all.push_back({ap, session.controller.page(ap.mac), record_of(ssids, ap.mac), record_of(advanced.aps, ap.mac)});
    return all;
}

// ---- debug ----------------------------------------------------------------------------------------------------------

struct FileState {
    bool exists = false;
    timespec changed{};
    off_t size = 0;
    bool operator==(const FileState& other) const
    {
        return exists == other.exists && size == other.size && changed.tv_sec == other.changed.tv_sec &&
               changed.tv_nsec == other.changed.tv_nsec;
    }
};

FileState state_of(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0) return {};
    return {true, info.st_mtim, info.st_size};
}

std::string content_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::vector<std::string> lines_of(const std::string& content, Dump what)
{
    // The dump of the clients has no line ends: each entry begins with "mac(".
    const std::string separator = what == Dump::clients ? "mac(" : "\n";
    std::vector<std::string> lines;
    std::size_t at = 0;
    while (at < content.size()) {
        const std::size_t next = content.find(separator, at + 1);
        std::string one = content.substr(at, next == std::string::npos ? next : next - at);
        std::replace(one.begin(), one.end(), '\t', ' ');
        std::erase(one, '\n');
        if (!one.empty()) lines.push_back(shown(to_utf8(one)));
        if (next == std::string::npos) break;
        at = next;
    }
    return lines;
}

} // namespace

int run_status(const Session& session)
{
    const auto begin = std::chrono::steady_clock::now();
    const Counts counts = session.controller.counts();
    const std::chrono::duration<double, std::milli> took = std::chrono::steady_clock::now() - begin;
    if (session.options.json) {
        fmt::print("{}\n", json_text({{"controller",
                                       {{"socket", to_utf8(session.controller.path())}, {"answer_ms", took.count()}}},
                                      {"counts", counts_json(counts)}}));
        return EXIT_DONE;
    }
    fmt::print("controller  answers at {} ({:.1f} ms)\n", shown(session.controller.path()), took.count());
    fmt::print("APs         {}: {} online, {} offline\n", counts.aps, counts.online, counts.aps - counts.online);
    fmt::print("clients     {}\n", counts.clients);
    return EXIT_DONE;
}

int run_list(const Session& session)
{
    std::vector<Ap> aps = session.controller.aps();
    sort_aps(aps, session.options.order);
    if (session.options.json) {
        nlohmann::ordered_json json = {{"aps", nlohmann::ordered_json::array()}};
        for (const Ap& ap : aps)
            json["aps"].push_back(ap_json(ap));
        fmt::print("{}\n", json_text(json));
    } else if (session.options.plain) {
        for (const Ap& ap : aps)
            fmt::print("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", to_string(ap.mac), shown(ap.name), ap.ip,
                       to_string(ap.status), ap.radios.front().clients, ap.radios.size() > 1 ? ap.radios[1].clients : 0,
                       shown(ap.product), shown(ap.firmware));
    } else if (aps.empty()) {
        fmt::print("The controller knows no APs.\n");
    } else {
        fmt::print("{}", ap_table(aps).text(session.screen));
    }
    return EXIT_DONE;
}

int run_show(const Session& session)
{
    const std::vector<ApSsids> ssids = session.controller.ssids().value_or(std::vector<ApSsids>());
    const AdvancedPage advanced = session.controller.advanced();
    nlohmann::ordered_json json = {{"aps", nlohmann::ordered_json::array()}};
    std::string text;
    for (const Whole& whole : wholes(session, ssids, advanced)) {
        if (session.options.json)
            json["aps"].push_back(whole_json(whole));
        else
            text += (text.empty() ? "" : "\n") + whole_text(whole, session.screen);
    }
    fmt::print("{}", session.options.json ? json_text(json) + "\n" : text);
    return EXIT_DONE;
}

int run_radios_shown(const Session& session)
{
    nlohmann::ordered_json json = {{"aps", nlohmann::ordered_json::array()}};
    std::string text;
    for (const Whole& whole : wholes(session, {}, {})) {
        nlohmann::ordered_json radios = whole_json(whole)["radios"];
        json["aps"].push_back(
            {{"mac", to_string(whole.ap.mac)}, {"name", whole.ap.name}, {"radios", std::move(radios)}});
        text += painted(label(whole.ap), Paint::bold, session.screen.colour) + "\n" +
                indented(radio_table(whole), session.screen);
    }
    fmt::print("{}", session.options.json ? json_text(json) + "\n" : text);
    return EXIT_DONE;
}

int run_debug(const Session& session)
{
    const bool joined = session.options.command == Command::debug_joined;
    const Dump what = joined ? Dump::joined : Dump::clients;
    const std::string& socket = session.controller.path();
    const std::string folder = socket.substr(0, socket.rfind('/') + 1); // with its slash; empty: here
    const std::string path = folder + (joined ? "tag.cfg" : "user.cfg");

    const FileState before = state_of(path);
    session.controller.dump(what);
    (void)session.controller.counts(); // answered only when the dump is written: one request is served after the other
    const FileState after = state_of(path);
    const bool fresh = after.exists && !(after == before);
    const std::vector<std::string> lines = fresh ? lines_of(content_of(path), what) : std::vector<std::string>();
    if (session.options.json) {
        nlohmann::ordered_json json = {{"file", to_utf8(path)}, {"fresh", fresh}, {"lines", lines}};
        fmt::print("{}\n", json_text(json));
    } else if (fresh) {
        fmt::print("The controller has written {}:\n", shown(path));
        for (const std::string& one : lines)
            fmt::print("{}\n", one);
        if (lines.empty()) fmt::print("(nothing: the table is empty)\n");
    }
    if (fresh) return EXIT_DONE;
    fmt::print(stderr,
               "acctl: the controller has acknowledged the request, but {} {}: either it doesn't dump this table, or "
               "var/{} below its root is another file or can't be written\n",
               shown(path), after.exists ? "has not changed" : "is not there", joined ? "tag.cfg" : "user.cfg");
    return EXIT_NOT_SEEN;
}

} // namespace acctl
