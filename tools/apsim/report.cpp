#include "report.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <sstream>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace apsim {

namespace {

constexpr auto redraw = std::chrono::milliseconds(500);
constexpr std::size_t log_lines = 10;
constexpr auto line_pause = std::chrono::seconds(5);

double seconds(micros time)
{
    return static_cast<double>(time) / static_cast<double>(second);
}

double ms(std::int64_t real_micros)
{
    return static_cast<double>(real_micros) / 1000.0;
}

std::string state_text(const FleetStats& stats)
{
    std::string text;
    for (std::size_t i = 0; i < ap_state_count; i++) {
        if (stats.states[i] == 0 && static_cast<ApState>(i) != ApState::running) continue;
        text += fmt::format("{}{} {}", text.empty() ? "" : "   ", to_string(static_cast<ApState>(i)), stats.states[i]);
    }
    return text;
}

std::string answer_line(const char* name, const Histogram& h)
{
    return fmt::format("  {:<10} {:>9} {:>10.3f} {:>10.3f} {:>10.3f} {:>10.3f}\n", name, h.count(),
                       ms(h.percentile(50)), ms(h.percentile(95)), ms(h.percentile(99)), ms(h.max()));
}

std::string answer_table(const FleetStats& stats)
{
    std::string text = fmt::format("  {:<10} {:>9} {:>10} {:>10} {:>10} {:>10}\n", "answers", "count", "p50 ms",
                                   "p95 ms", "p99 ms", "max ms");
    for (std::size_t i = 0; i < exchange_count; i++)
        text += answer_line(to_string(static_cast<Exchange>(i)), stats.answers[i]);
    return text;
}

std::string fault_text(const char* direction, const LinkStats& link)
{
    if (link.taken == 0) return "";
    return fmt::format("  faults {:<4} lost {}   duplicated {}   reordered {}   of {}\n", direction, link.lost,
                       link.duplicated, link.reordered, link.taken);
}

std::string noise_text(const FleetStats& stats)
{
    std::string text;
    for (std::size_t i = 0; i < noise_count; i++)
        if (stats.noise_out[i] > 0)
            text += fmt::format("   {} {}", to_string(static_cast<Noise>(i)), stats.noise_out[i]);
    if (text.empty()) return text;
    return fmt::format("  noise out{}\n  noise answers   link-down {}   to frames that must be dropped {}\n", text,
                       stats.noise_link_downs, stats.noise_answered);
}

std::string facts_text(const FleetStats& stats)
{
    const ApCounters& sum = stats.sum;
    std::string text = fmt::format("  APs        {}   (of {})\n", state_text(stats), stats.aps);
    text += fmt::format("  joins      {}   lost {}   restarted {}   link-down {}   reboots {}   outages {}\n",
                        sum.joins, sum.lost, sum.join_restarted, sum.link_down, sum.reboots, sum.outages);
    text += fmt::format("  frames     in {}   out {}   retransmissions {}   echoes missed {}   bad in {}\n",
                        stats.frames_in, stats.frames_out, sum.retransmissions, sum.echoes_missed, sum.bad_in);
    text += fmt::format(
        "  requests   applied {}   kept raw {}   refused {}   repeated {}   duplicates {}   configurations taken {}\n",
        sum.applied, sum.kept_raw, sum.refused, sum.repeats, sum.duplicates, sum.config_taken);
    if (stats.send_errors + stats.receive_errors > 0)
        text += fmt::format("  errors     send {}   receive {}   (is the controller up?)\n", stats.send_errors,
                            stats.receive_errors);
    return text + fault_text("up", stats.up) + fault_text("down", stats.down) + noise_text(stats);
}

// The values of a line stand three blanks apart. Where they don't all fit, the line goes on below, beneath the first.
std::string folded(const std::string& line, std::size_t columns)
{
    constexpr std::size_t first_value = 13;
    std::string out, left = line;
    while (left.size() > columns) {
        const std::size_t at = left.rfind("   ", columns);
        if (at == std::string::npos || at <= first_value) break;
        out += left.substr(0, at) + "\n";
        left = std::string(first_value, ' ') + left.substr(at + 3);
    }
    return out + left.substr(0, columns) + "\n";
}

// Each line of a text by one of the two rules, folded or cut off.
std::string fitted(const std::string& text, std::size_t columns, bool fold)
{
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);)
        out += fold ? folded(line, columns) : line.substr(0, columns) + "\n";
    return out;
}

std::size_t lines_in(const std::string& text)
{
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

winsize terminal_size()
{
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0) size = {};
    if (size.ws_col == 0) size.ws_col = 80;
    if (size.ws_row == 0) size.ws_row = 24;
    return size;
}

double rate(std::uint64_t now, std::uint64_t before, double passed)
{
    return passed <= 0 ? 0 : static_cast<double>(now - before) / passed;
}

std::string field_text(const UINT8* text, std::size_t width, std::size_t length)
{
    std::string out;
    for (std::size_t i = 0; i < std::min(width, length) && text[i] != 0; i++)
        out += text[i] >= 0x20 && text[i] < 0x7F ? static_cast<char>(text[i]) : '?';
    return out;
}

std::string ip_text(const UINT8 (&ip)[4])
{
    return fmt::format("{}.{}.{}.{}", ip[0], ip[1], ip[2], ip[3]);
}

template <typename Range> std::string hex_text(const Range& bytes)
{
    return fmt::format("{:02x}", fmt::join(bytes, ""));
}

nlohmann::json radio_json(const CONFIG_WL_RF& radio)
{
    return {{"radio", radio.RF_basic_setting & AC_RF_5G},
            {"on", (radio.RF_basic_setting & AC_RF_ON) != 0},
            {"basic_setting", radio.RF_basic_setting},
            {"country", radio.country_code},
            {"mode", radio.network_mode},
            {"bandwidth", radio.bandwidth},
            {"power", radio.TXpower},
            {"channel", radio.channel},
            {"expand_channel", radio.expand_channel},
            {"rssi", radio.rssi},
            {"interface_mode", radio.interface_mode},
            {"sta_timeout", radio.sta_timeout}};
}

nlohmann::json ssid_json(const CONFIG_WL_BASIC& wl)
{
    const CONFIG_KEY& key = wl.wlSecure.wpapsk_secure_mode.key;
    return {{"id", wl.ssid_id},
            {"on", (wl.wl_basic_set & AC_WL_ON) != 0},
            {"name", field_text(wl.ssid.ssid, sizeof(wl.ssid.ssid), wl.ssid.ssid_length)},
            {"client_limit", wl.client_number},
            {"vlan", wl.vlan_id},
            {"secure_mode", wl.wlSecure.secure_mode},
            {"auth_type", wl.wlSecure.wpapsk_secure_mode.auth_type},
            {"key", field_text(key.key, sizeof(key.key), key.key_length)}};
}

// What the controller tells and never hears back.
nlohmann::json told_json(const ApConfig& c)
{
    nlohmann::json told = {
        {"web_user", field_text(c.web_user.data(), c.web_user.size(), c.web_user.size())},
        {"web_password", field_text(c.web_password.data(), c.web_password.size(), c.web_password.size())},
        {"web_on", c.web_on_off},
        {"deploy", c.deploy},
        {"qvlan", hex_text(c.qvlan)},
        {"time", UINT32{c.time.time}}, // a copy: the record is packed
        {"zone", UINT16{c.time.zone}}};
    nlohmann::json raw = nlohmann::json::object();
    for (const auto& [msg_type, payload] : c.raw)
        raw[fmt::format("0x{:04x}", msg_type)] = hex_text(payload);
    told["raw"] = raw;
    return told;
}

} // namespace

LiveView::LiveView(bool quiet, std::string title, LogTail* log)
    : quiet_(quiet), terminal_(isatty(STDERR_FILENO) != 0), title_(std::move(title)), log_(log)
{}

void LiveView::update(const FleetStats& stats)
{
    const auto now = std::chrono::steady_clock::now();
    if (quiet_ || now < next_) return;
    next_ = now + (terminal_ ? std::chrono::milliseconds(redraw) : std::chrono::milliseconds(line_pause));
    if (log_ != nullptr) log_->read_on();
    draw(stats);
}

void LiveView::draw(const FleetStats& stats)
{
    const double passed = stats.real_seconds - last_.real_seconds;
    const std::string head =
        fmt::format("{}   {:.0f} s simulated, {:.1f} s real   {:.0f} frames/s in, {:.0f} out", title_,
                    seconds(stats.now), stats.real_seconds, rate(stats.frames_in, last_.frames_in, passed),
                    rate(stats.frames_out, last_.frames_out, passed));
    if (!terminal_) {
        const Histogram all = stats.all_answers();
        fmt::print(stderr, "{}   {}   retransmissions {}   p50 {:.3f} p99 {:.3f} ms\n", head, state_text(stats),
                   stats.sum.retransmissions, ms(all.percentile(50)), ms(all.percentile(99)));
    } else {
        const winsize size = terminal_size();
        const std::string text = live_text(head, stats, log_, size.ws_col, size.ws_row);
        std::string shown;
        if (lines_ > 0) shown = fmt::format("\033[{}A\033[J", lines_);
        shown += text;
        std::fwrite(shown.data(), 1, shown.size(), stderr);
        lines_ = static_cast<int>(lines_in(text));
    }
    std::fflush(stderr);
    last_ = stats;
}

// On a terminal the summary takes the place of the last table.
void LiveView::finish(const FleetStats&)
{
    if (quiet_ || !terminal_ || lines_ == 0) return;
    fmt::print(stderr, "\033[{}A\033[J", lines_);
    std::fflush(stderr);
    lines_ = 0;
}

std::string summary_text(const FleetStats& stats)
{
    const std::string within =
        stats.joined_within == never
            ? fmt::format("{} of {} APs have ever joined", stats.ever_joined, stats.aps)
            : fmt::format("all {} APs joined within {:.1f} s", stats.aps, seconds(stats.joined_within));
    return fmt::format("{:.0f} s simulated, {:.1f} s real; {}\n", seconds(stats.now), stats.real_seconds, within) +
           facts_text(stats) + answer_table(stats);
}

std::string live_text(const std::string& head, const FleetStats& stats, const LogTail* log, std::size_t columns,
                      std::size_t rows)
{
    std::string text = fitted(head + "\n" + facts_text(stats), columns, true);
    text += fitted(answer_table(stats), columns, false);
    const std::size_t limit = std::max<std::size_t>(rows, 2) - 1; // the cursor has the last row
    const std::size_t left = limit - std::min(limit, lines_in(text));
    if (log != nullptr && left > 1) text += fitted(log->text(std::min(log_lines, left - 1)), columns, false);
    std::size_t end = 0;
    for (std::size_t line = 0; line < limit && end < text.size(); line++)
        end = text.find('\n', end) + 1;
    return text.substr(0, end);
}

std::string verdict_text(const std::vector<Verdict>& verdicts)
{
    std::string text;
    for (const Verdict& v : verdicts)
        text += fmt::format("{} {} ({})\n", v.holds ? "held:  " : "FAILED:", v.text,
                            v.measured ? fmt::format("is {:g}", v.actual) : "this mode doesn't measure it");
    return text;
}

std::string config_text(const ApModel& ap)
{
    return config_json(ap).dump(2, ' ', false, nlohmann::json::error_handler_t::replace) + "\n";
}

nlohmann::json histogram_json(const Histogram& h)
{
    return {{"count", h.count()},
            {"mean_ms", h.mean() / 1000.0},
            {"p50_ms", ms(h.percentile(50))},
            {"p95_ms", ms(h.percentile(95))},
            {"p99_ms", ms(h.percentile(99))},
            {"max_ms", ms(h.max())}};
}

nlohmann::json stats_json(const FleetStats& stats)
{
    nlohmann::json out;
    for (std::size_t i = 0; i < ap_state_count; i++)
        out["states"][to_string(static_cast<ApState>(i))] = stats.states[i];
    for (std::size_t i = 0; i < exchange_count; i++)
        out["answers"][to_string(static_cast<Exchange>(i))] = histogram_json(stats.answers[i]);
    out["answers"]["all"] = histogram_json(stats.all_answers());
    for (const auto& [name, value] : measures_of(stats))
        if (std::isfinite(value)) out["measures"][name] = value;
    for (std::size_t i = 0; i < noise_count; i++)
        out["noise"][to_string(static_cast<Noise>(i))] = stats.noise_out[i];
    const auto link = [](const LinkStats& l) {
        return nlohmann::json{
            {"taken", l.taken}, {"lost", l.lost}, {"duplicated", l.duplicated}, {"reordered", l.reordered}};
    };
    out["faults"] = {{"up", link(stats.up)}, {"down", link(stats.down)}};
    out["simulated_seconds"] = seconds(stats.now);
    out["real_seconds"] = stats.real_seconds;
    return out;
}

nlohmann::json verdict_json(const std::vector<Verdict>& verdicts)
{
    nlohmann::json list = nlohmann::json::array();
    for (const Verdict& v : verdicts) {
        nlohmann::json one = {{"condition", v.text}, {"holds", v.holds}};
        if (v.measured && std::isfinite(v.actual)) one["actual"] = v.actual;
        list.push_back(one);
    }
    return list;
}

nlohmann::json config_json(const ApModel& ap)
{
    const ApConfig& c = ap.config();
    const CONFIG_BASIC& b = c.basic;
    nlohmann::json out = {
        {"mac", ap.mac_text()},
        {"type", ap.options().kind.ap_type},
        {"layout", ap.options().layout},
        {"state", to_string(ap.state())},
        {"version", c.version_number()},
        {"name", field_text(b.apname.ap_name, 32, b.apname.ap_name_length)},
        {"firmware", field_text(b.version.version, 32, b.version.version_length)},
        {"led", b.led_status},
        {"ip",
         {{"mode", b.ip.mode},
          {"ip", ip_text(b.ip.ip)},
          {"mask", ip_text(b.ip.mask)},
          {"gateway", ip_text(b.ip.gateway)},
          {"hostdns", ip_text(b.ip.hostdns)},
          {"dns", ip_text(b.ip.dns)}}},
        {"reboot", {{"on", c.reboot.reboot_en}, {"type", c.reboot.reboot_type}, {"time", c.reboot.time}}},
        {"alarm",
         {{"switch", c.alarm.alarm_switch},
          {"host_limit", c.alarm.hostnum_limit},
          {"stream_limit", c.alarm.stream_limit}}},
        {"told", told_json(c)}};
    out["radios"] = nlohmann::json::array();
    for (const CONFIG_WL_RF& radio : c.radios)
        out["radios"].push_back(radio_json(radio));
    out["ssids"] = nlohmann::json::array();
    for (const CONFIG_WL_BASIC& wl : c.ssids)
        out["ssids"].push_back(ssid_json(wl));
    return out;
}

} // namespace apsim
