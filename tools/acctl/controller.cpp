#include "controller.h"

#include <algorithm>
#include <stdexcept>

#include <fmt/format.h>

#include "common/config_ap_type.h"

namespace acctl {

namespace {

// MACs of one request. The count has 16 bits; a smaller bound keeps the controller's other clients served.
constexpr std::size_t macs_at_once = 1000;

// A request for data: the answer has the request's own type.
Request question(UINT16 type, std::vector<UINT8> data = {})
{
    Request request;
    request.type = type;
    request.reply_type = type;
    request.ap_num = data.empty() ? 0 : 1;
    request.data = std::move(data);
    return request;
}

template <typename Send> void in_portions(const std::vector<Mac>& macs, Send&& send)
{
    for (std::size_t at = 0; at < macs.size(); at += macs_at_once) {
        const auto first = macs.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t count = std::min(macs_at_once, macs.size() - at);
        send(std::vector<Mac>(first, first + static_cast<std::ptrdiff_t>(count)));
    }
}

} // namespace

Counts Controller::counts() const
{
    const AC_MSG_PKT header = channel_.exchange(question(GET_WTP_NUM_REQ)).header;
    return {header.ap_flag, header.action, header.ap_num}; // a bare header whose own fields carry the figures
}

std::vector<Ap> Controller::aps() const
{
    Request request = question(GET_AP_ALL_REQ);
    request.reply_type = GET_AP_CONFIG_REQ; // the list comes under the number of the single AP's page
    const Reply reply = channel_.exchange(request);
    return decode_aps(reply.data, reply.header.ap_num);
}

std::optional<ApPage> Controller::page(const Mac& mac) const
{
    return decode_page(channel_.exchange(question(GET_AP_CONFIG_REQ, body_of_macs({mac}))).data);
}

AdvancedPage Controller::advanced() const
{
    return decode_advanced(channel_.exchange(question(GET_AP_CONFIG_ADVANCE_REQ)).data);
}

std::optional<std::vector<ApSsids>> Controller::ssids() const
{
    try {
        return decode_ssids(channel_.exchange(question(GET_AP_SSID_ALL_REQ)).data);
    } catch (const ChannelError& error) {
        // It only adds to what the list of APs tells, so that all else still works without it.
        if (error.kind == Failure::closed) return std::nullopt;
        throw;
    }
}

void Controller::change(UINT16 type, std::size_t ap_num, std::vector<UINT8> body) const
{
    Request request;
    request.type = type;
    request.reply_type = static_cast<UINT16>((type & 0xFF) + 1); // a plain response drops the sub-flag
    request.ap_num = static_cast<UINT16>(ap_num);
    request.data = std::move(body);
    channel_.exchange(request);
}

// For all APs the data is payload, without MACs. It can't be empty: work without data is dropped.
void Controller::tell_all(UINT16 type) const
{
    Request request;
    request.type = type;
    request.reply_type = static_cast<UINT16>(type + 1);
    request.ap_num = 1;
    request.ap_flag = 1;
    request.data = {0};
    channel_.exchange(request);
}

void Controller::rename(const Mac& mac, const std::string& name) const
{
    change(SET_AP_REMARK_REQ, 1, body_rename(mac, name));
}

void Controller::set_channel(const Mac& mac, const CONFIG_CHANNEL& channel) const
{
    change(SET_AP_CHANNEL, 1, body_channel(mac, channel));
}

void Controller::set_limit(const Mac& mac, const CONFIG_CLI_LIMIT& limit) const
{
    change(SET_AP_CLI_LIMIT, 1, body_limit(mac, limit));
}

void Controller::set_radios(const Mac& mac, const ApPage& page) const
{
    change(SET_AP_CONFIG_REQ, 1, body_radios(mac, page));
}

void Controller::bind(const std::vector<Mac>& macs, const std::array<std::string, policy_count>& names) const
{
    const std::string& qvlan = names[static_cast<std::size_t>(Policy::qvlan)];
    const bool others = std::any_of(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(Policy::qvlan),
                                    [](const std::string& name) { return !name.empty(); });
    in_portions(macs, [&](const std::vector<Mac>& portion) {
        if (others) change(SET_AP_CONFIG_ADVANCE_REQ, portion.size(), body_bind(portion, names));
        if (!qvlan.empty()) change(SET_AP_CONFIG_QVLAN_REQ, portion.size(), body_bind_qvlan(portion, qvlan));
    });
}

void Controller::reboot(const std::vector<Mac>& macs) const
{
    in_portions(macs, [&](const std::vector<Mac>& portion) {
        change(SET_AP_REBOOT_REQ, portion.size(), body_of_macs(portion));
    });
}

void Controller::restore(const std::vector<Mac>& macs) const
{
    in_portions(macs, [&](const std::vector<Mac>& portion) {
        change(SET_AP_RESTORE_REQ, portion.size(), body_of_macs(portion));
    });
}

void Controller::reboot_all() const
{
    tell_all(SET_AP_REBOOT_REQ);
}

void Controller::restore_all() const
{
    tell_all(SET_AP_RESTORE_REQ);
}

void Controller::remove(const std::vector<Mac>& macs) const
{
    in_portions(macs,
                [&](const std::vector<Mac>& portion) { change(DELETE_AP_REQ, portion.size(), body_of_macs(portion)); });
}

void Controller::dump(Dump what) const
{
    change(static_cast<UINT16>(static_cast<unsigned>(what) << 8 | AC_DEBUG_REQ), 0, {});
}

} // namespace acctl
