#include "ap_model.h"

#include <algorithm>
#include <cstring>

#include <fmt/format.h>
#include <zlib.h>

namespace apsim {

namespace {

constexpr micros seen_for = 60 * second; // sequence numbers come round again, so an old one is no duplicate
constexpr std::size_t seen_max = 16;
constexpr int upgrade_tries = 12;
constexpr std::size_t discoveries_kept = 32;

UINT32 crc_of(ByteView payload)
{
    return static_cast<UINT32>(crc32(0, payload.data(), static_cast<uInt>(payload.size())));
}

std::size_t index_of(Exchange exchange)
{
    return static_cast<std::size_t>(exchange);
}

Bytes product_info(const ApKind& kind)
{
    AP_PRODUCT_INFO info{};
    std::memcpy(info.ap_name, kind.name.data(), std::min(kind.name.size(), sizeof(info.ap_name)));
    info.product_id = kind.product_id;
    info.ssid_num_24g = kind.ssid_num_24g;
    info.ssid_num_5g = kind.ssid_num_5g;
    info.rf_num = kind.rf_num;
    info.flag_old_crc = kind.flag_old_crc;
    info.ap_type = kind.ap_type;
    Bytes payload(sizeof(info));
    std::memcpy(payload.data(), &info, sizeof(info));
    return payload;
}

bool all_zero(ByteView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](UINT8 byte) { return byte == 0; });
}

} // namespace

const char* to_string(ApState state)
{
    static const char* const names[ap_state_count] = {"off",     "discovering", "configuring", "running",
                                                      "leaving", "upgrading",   "silent"};
    return names[static_cast<std::size_t>(state)];
}

const char* to_string(Exchange exchange)
{
    static const char* const names[exchange_count] = {"discovery", "config", "echo"};
    return names[index_of(exchange)];
}

std::string mac_text(const Mac& mac)
{
    return fmt::format("{:02x}", fmt::join(mac, ":"));
}

ApModel::ApModel(ApOptions options, ApSink& sink)
    : options_(std::move(options)), sink_(sink), config_(factory_config(options_.mac, options_.kind))
{
    config_.set_version(options_.config_version);
}

std::string ApModel::mac_text() const
{
    return apsim::mac_text(options_.mac);
}

// ---- states -------------------------------------------------------------------------------------------------------

void ApModel::enter(ApState state, micros due)
{
    state_ = state;
    if (state == ApState::discovering) unanswered_discoveries_.clear();
    due_ = due;
    tries_ = 0;
    misses_ = 0;
    for (Waiting& waiting : waiting_)
        waiting = {};
}

void ApModel::power_on(micros at)
{
    enter(ApState::discovering, at);
}

void ApModel::reboot(micros now, bool forget)
{
    if (state_ == ApState::silent) return;
    counters_.reboots++;
    seen_.clear();
    if (forget) config_ = factory_config(options_.mac, options_.kind);
    enter(ApState::off, now + options_.timers.boot);
}

void ApModel::fall_silent(micros now, micros duration)
{
    if (state_ != ApState::running) return;
    counters_.outages++;
    enter(ApState::silent, now + duration);
}

void ApModel::rejoin(micros now, micros pause)
{
    enter(ApState::discovering, now + pause);
}

void ApModel::run(micros now)
{
    counters_.joins++;
    if (joined_at_ == never) joined_at_ = now;
    after_outage_ = false;
    enter(ApState::running, now + options_.timers.echo);
    if (options_.silent_after == 0) enter(ApState::silent, never);
}

void ApModel::on_tick(micros now)
{
    if (now < due_) return;
    switch (state_) {
    case ApState::off:
        enter(ApState::discovering, now);
        discover(now);
        break;
    case ApState::discovering:
        discover(now);
        break;
    case ApState::configuring:
        config_tick(now);
        break;
    case ApState::running:
        echo(now);
        break;
    case ApState::leaving:
        if (reboot_after_leave_)
            reboot(now);
        else
            rejoin(now, 0);
        break;
    case ApState::upgrading:
        upgrade_tick(now);
        break;
    case ApState::silent:
        enter(ApState::running, now); // on_tick comes here only at the end of an outage: for good is never due
        after_outage_ = true;
        echo(now);
        break;
    }
}

void ApModel::discover(micros now)
{
    if (tries_ > 0) counters_.retransmissions++;
    tries_++;
    unanswered_discoveries_.push_back(next_seq_);
    if (unanswered_discoveries_.size() > discoveries_kept)
        unanswered_discoveries_.erase(unanswered_discoveries_.begin());
    send_request(Exchange::discovery, HALDE_APDiscoveryReq, product_info(options_.kind), now);
    due_ = now + options_.timers.discovery;
}

void ApModel::request_config(micros now)
{
    if (tries_ > 0) counters_.retransmissions++;
    tries_++;
    send_request(Exchange::config, HALDE_APConfigUpdateReq, encode_report(config_, options_.layout), now);
    due_ = now + options_.timers.config;
}

void ApModel::config_tick(micros now)
{
    if (tries_ >= options_.timers.config_tries) return rejoin(now, 0);
    request_config(now);
}

void ApModel::echo(micros now)
{
    if (waiting_[index_of(Exchange::echo)].sent != never) {
        counters_.echoes_missed++;
        misses_++;
    }
    if (misses_ >= options_.timers.echo_misses) {
        if (!after_outage_) counters_.lost++;
        return rejoin(now, 0);
    }
    counters_.echoes_sent++;
    send_request(Exchange::echo, HALDE_APEchoReq, {}, now);
    // The beat is kept, not drifted from, unless a whole period has been slept through.
    due_ = due_ + options_.timers.echo > now ? due_ + options_.timers.echo : now + options_.timers.echo;
}

// ---- frames out ---------------------------------------------------------------------------------------------------

UINT16 ApModel::send_frame(UINT16 msg_type, UINT16 pkt_type, UINT16 seq, ByteView payload)
{
    CLOUD_AP_UDP_PKT head{};
    std::copy(options_.mac.begin(), options_.mac.end(), head.ap_mac);
    head.ap_proto_type = options_.layout;
    head.seq_num = seq;
    head.pkt_type = pkt_type;
    head.ap_type = options_.kind.ap_type;
    head.vendor = AC_VENDOR;
    head.msg_type = msg_type;
    head.msg_length = static_cast<UINT32>(payload.size());
    head.crc = payload.empty() ? 0 : crc_of(payload);
    UINT8 frame[AC_FRAME_MAX];
    std::memcpy(frame, &head, AC_FRAME_HEAD);
    if (!payload.empty()) std::memcpy(frame + AC_FRAME_HEAD, payload.data(), payload.size());
    sink_.send({frame, AC_FRAME_HEAD + payload.size()});
    return seq;
}

void ApModel::send_request(Exchange exchange, UINT16 msg_type, ByteView payload, micros now)
{
    Waiting& waiting = waiting_[index_of(exchange)]; // set before the send: a link without delay answers inside it
    if (!waiting.any) waiting.first = next_seq_;
    waiting.any = true;
    waiting.seq = next_seq_;
    waiting.sent = now;
    send_frame(msg_type, AC_PKT_NORMAL, next_seq_++, payload);
}

void ApModel::answer(const CLOUD_AP_UDP_PKT& request, UINT8 result)
{
    if (result != 0) counters_.refused++;
    send_frame(request.msg_type, request.pkt_type, request.seq_num, {&result, 1});
}

// An answer to an earlier try counts as an answer, but says nothing of the time taken. One from before the present
// state doesn't: a late acceptance of the last join would make the AP run while the controller still waits for its
// report.
bool ApModel::take_answer(Exchange exchange, UINT16 seq, micros now)
{
    Waiting& waiting = waiting_[index_of(exchange)];
    const bool of_this_state =
        static_cast<UINT16>(seq - waiting.first) <= static_cast<UINT16>(waiting.seq - waiting.first);
    if (waiting.sent == never || !of_this_state) {
        counters_.stale_in++;
        return false;
    }
    if (waiting.seq == seq) sink_.answered(exchange, now - waiting.sent);
    waiting.sent = never;
    return true;
}

// ---- frames in ----------------------------------------------------------------------------------------------------

bool ApModel::accept(const CLOUD_AP_UDP_PKT& head, ByteView payload) const
{
    if (head.vendor != AC_VENDOR) return false;
    if (!std::equal(options_.mac.begin(), options_.mac.end(), head.ap_mac)) return false;
    return payload.empty() || head.crc == 0 || head.crc == crc_of(payload);
}

void ApModel::on_frame(ByteView datagram, micros now)
{
    if (state_ == ApState::off || state_ == ApState::silent) return;
    CLOUD_AP_UDP_PKT head;
    if (datagram.size() < AC_FRAME_HEAD) {
        counters_.bad_in++;
        return;
    }
    std::memcpy(&head, datagram.data(), AC_FRAME_HEAD);
    // An AP of type 0 is answered with a header of zeros.
    if (options_.kind.ap_type == 0 && all_zero(datagram) && datagram.size() == AC_FRAME_HEAD) {
        head.seq_num = waiting_[index_of(Exchange::discovery)].seq;
        return on_discovery_reply(head, now);
    }
    const ByteView body = datagram.subspan(AC_FRAME_HEAD);
    if (head.msg_length > body.size() || !accept(head, body.first(head.msg_length))) {
        counters_.bad_in++;
        return;
    }
    dispatch(head, body.first(head.msg_length), now);
}

void ApModel::dispatch(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now)
{
    if (head.pkt_type == AC_PKT_LINK_DOWN) {
        if (head.msg_type == 0x0100) return on_link_down(now);
        counters_.bad_in++;
        return;
    }
    switch (acwtp_msg_low(head.msg_type)) {
    case HALDE_APEchoResp:
        return on_echo_reply(head, now);
    case HALDE_APDiscoveryResp:
        return on_discovery_reply(head, now);
    case HALDE_APConfigUpdateResp:
        return on_config_reply(head, payload, now);
    case HALDE_APRestartReq:
    case HALDE_APRestoreReq:
    case HALDE_APConfigSettingReq:
    case HALDE_APSimpleConfigSetReq:
        return on_request(head, payload, now);
    case HALDE_APUpgradeReq:
        return on_upgrade_request(head, now);
    case HALDE_APUpgradeResultAckResp:
        return on_upgrade_ack(head, now);
    case HALDE_ACIpChangeReq:
        counters_.other_in++;
        if (state_ == ApState::running) rejoin(now, options_.timers.rejoin);
        return;
    case HALDE_APTimeSyncReq:
        counters_.other_in++;
        std::memcpy(&config_.time, payload.data(), std::min(payload.size(), sizeof(config_.time)));
        return;
    default:
        counters_.other_in++;
        return;
    }
}

void ApModel::on_discovery_reply(const CLOUD_AP_UDP_PKT& head, micros now)
{
    const bool first_answer = std::erase(unanswered_discoveries_, head.seq_num) != 0;
    if (state_ == ApState::running && first_answer) {
        // A busy controller came to a repeated request after the join that the first one began: it has started over,
        // and waits for the report. A second copy of an answer says no such thing.
        counters_.join_restarted++;
    } else if (!take_answer(Exchange::discovery, head.seq_num, now)) {
        return;
    }
    enter(ApState::configuring, now);
    request_config(now);
}

void ApModel::on_config_reply(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now)
{
    if (payload.empty()) {
        counters_.bad_in++;
        return;
    }
    if (!take_answer(Exchange::config, head.seq_num, now)) return;
    if (payload.size() == 1 && payload[0] == 0) return run(now);
    if (payload.size() == 1) { // asked again when the configuration time is over
        counters_.config_refused++;
        return;
    }
    if (!take_stored_config(config_, options_.layout, payload)) {
        counters_.bad_in++;
        return;
    }
    counters_.config_taken++;
    rejoin(now, options_.timers.rejoin);
}

void ApModel::on_echo_reply(const CLOUD_AP_UDP_PKT& head, micros now)
{
    if (!take_answer(Exchange::echo, head.seq_num, now)) return;
    counters_.echoes_answered++;
    misses_ = 0;
    after_outage_ = false;
    if (options_.silent_after >= 0 && counters_.echoes_answered >= static_cast<UINT32>(options_.silent_after))
        enter(ApState::silent, never);
}

void ApModel::on_link_down(micros now)
{
    if (state_ == ApState::discovering || state_ == ApState::leaving) {
        counters_.stale_in++;
        return;
    }
    counters_.link_down++;
    if (state_ == ApState::running && !after_outage_) counters_.lost++;
    // Turned away right after its discovery was answered: the controller has no room, and asking at once won't help.
    rejoin(now, state_ == ApState::configuring ? options_.timers.discovery : options_.timers.rejoin);
}

// ---- requests of the controller -----------------------------------------------------------------------------------

bool ApModel::seen_before(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now)
{
    const Seen request = {head.msg_type, head.seq_num, crc_of(payload), now};
    while (!seen_.empty() && (seen_.size() >= seen_max || now - seen_.front().at > seen_for))
        seen_.pop_front();
    const bool known = std::any_of(seen_.begin(), seen_.end(), [&](const Seen& old) {
        return old.msg_type == request.msg_type && old.seq == request.seq && old.crc == request.crc;
    });
    if (known) return true;
    const bool repeat = std::any_of(seen_.begin(), seen_.end(), [&](const Seen& old) {
        return old.msg_type == request.msg_type && old.crc == request.crc;
    });
    if (repeat) counters_.repeats++;
    seen_.push_back(request);
    return false;
}

void ApModel::on_request(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now)
{
    if (state_ != ApState::running && state_ != ApState::leaving) {
        counters_.stale_in++;
        return;
    }
    const bool duplicate = seen_before(head, payload, now);
    if (duplicate) counters_.duplicates++;
    if (!duplicate && !options_.refusing) obey(head, payload, now);
    answer(head, options_.refusing ? 1 : 0);
}

void ApModel::obey(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now)
{
    const UINT8 number = acwtp_msg_low(head.msg_type);
    const bool restarts = number == HALDE_APRestartReq || number == HALDE_APRestoreReq;
    const bool moves = number == HALDE_APConfigSettingReq && (acwtp_msg_high(head.msg_type) & 0x01) != 0;
    if (number == HALDE_APRestoreReq) {
        counters_.restores++;
        config_ = factory_config(options_.mac, options_.kind);
    }
    if (!restarts) {
        const Applied applied = apply_setting(config_, head.msg_type, payload);
        (applied == Applied::done ? counters_.applied : counters_.kept_raw)++;
    }
    if ((restarts || moves) && state_ == ApState::running) {
        reboot_after_leave_ = restarts;
        enter(ApState::leaving, now + options_.timers.leave);
    } else if (restarts) {
        reboot_after_leave_ = true;
    }
}

// ---- firmware -----------------------------------------------------------------------------------------------------

void ApModel::on_upgrade_request(const CLOUD_AP_UDP_PKT& head, micros now)
{
    const bool repeated = state_ == ApState::upgrading && upgrade_stage_ == 0;
    if (state_ != ApState::running && !repeated) {
        counters_.stale_in++;
        return;
    }
    const UINT8 result = options_.refusing ? '1' : '0'; // decimal text
    if (options_.refusing) counters_.refused++;
    if (!options_.refusing && !repeated) {
        enter(ApState::upgrading, now + options_.timers.download);
        upgrade_stage_ = 0;
    }
    send_frame(head.msg_type, head.pkt_type, head.seq_num, {&result, 1});
}

void ApModel::upgrade_tick(micros now)
{
    if (tries_ >= upgrade_tries) return rejoin(now, 0);
    tries_++;
    due_ = now + options_.timers.config;
    upgrade_seq_ = next_seq_++;
    send_frame(HALDE_APUpgradeResultAck, AC_PKT_NORMAL, upgrade_seq_, {&upgrade_stage_, 1});
}

// The controller answers the acceptance of an upgrade with the same message; the number tells it from the others.
void ApModel::on_upgrade_ack(const CLOUD_AP_UDP_PKT& head, micros now)
{
    if (state_ != ApState::upgrading || tries_ == 0 || head.seq_num != upgrade_seq_) {
        counters_.other_in++;
        return;
    }
    if (upgrade_stage_ == 0) {
        upgrade_stage_ = 2;
        tries_ = 0;
        due_ = now + options_.timers.flash;
        return;
    }
    counters_.upgrades++;
    CONFIG_VERSION& firmware = config_.basic.version;
    const std::string text = fmt::format("V1.0.{}", counters_.upgrades);
    std::memset(firmware.version, 0, sizeof(firmware.version));
    std::memcpy(firmware.version, text.data(), text.size());
    firmware.version_length = static_cast<UINT8>(text.size());
    reboot(now);
}

} // namespace apsim
