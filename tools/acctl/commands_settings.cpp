// The commands that change a setting of APs one by one: name, channel, client limit, radios.
#include <algorithm>
#include <charconv>
#include <functional>

#include <fmt/format.h>

#include "outcome.h"
#include "text.h"
#include "view.h"

namespace acctl {

namespace {

// A change that is worked out before the first request leaves, so that a wrong line changes nothing.
struct Step {
    std::size_t outcome; // its place among the outcomes
    std::function<void()> send;
    std::function<bool()> seen; // none: no read shows this effect
    std::string done;           // the text for the effect
    std::string doubt{};        // what the user must know when it wasn't seen
};

// Sends the steps in order, then waits until all are seen. `look` is called before each round of questions.
void carry_out(
    const Session& session, const std::vector<Step>& steps, std::vector<Outcome>& outcomes,
    const std::function<void()>& look = [] {})
{
    for (const Step& step : steps) {
        step.send();
        outcomes[step.outcome].result = Result::sent;
        outcomes[step.outcome].text = "will be told by the controller";
    }
    if (!session.options.wait) return;
    std::vector<const Step*> open;
    for (const Step& step : steps) {
        if (step.seen) {
            open.push_back(&step);
            continue;
        }
        outcomes[step.outcome].result = Result::not_seen;
        outcomes[step.outcome].text += "; " + step.doubt;
    }
    wait_until(session, [&] {
        if (!open.empty()) look();
        std::erase_if(open, [&](const Step* step) {
            if (!step->seen()) return false;
            outcomes[step->outcome].result = Result::done;
            outcomes[step->outcome].text = step->done + offline_note(outcomes[step->outcome].ap);
            return true;
        });
        return open.empty();
    });
    for (const Step* step : open) {
        outcomes[step->outcome].result = Result::not_seen;
        outcomes[step->outcome].text =
            fmt::format("does not show the change after {:g} s: the controller has "
                        "acknowledged the request, its output may tell why{}{}",
                        session.options.wait_limit, step->doubt.empty() ? "" : "; ", step->doubt);
    }
}

std::string band_name(int radio)
{
    return fmt::format("{} GHz", band_of(static_cast<std::size_t>(radio)));
}

bool has_radio(const Ap& ap, int radio)
{
    return static_cast<std::size_t>(radio) < ap.radios.size();
}

// Of an AP that can't do what is asked for: with --all the others are what was meant.
Outcome cannot(const Session& session, const Ap& ap, const std::string& text)
{
    return {ap, session.options.all ? Result::skipped : Result::impossible, text};
}

void check_channel(int radio, int channel)
{
    const bool good = channel == 0 || (radio == 0 ? channel <= 14 : channel >= 34 && channel <= 196);
    if (!good)
        throw std::invalid_argument(fmt::format("channel {} is none of {}: there are {} and 0", channel,
                                                band_name(radio), radio == 0 ? "1 to 14" : "34 to 196"));
}

// The radio that the line means; for a channel, the one it belongs to.
int radio_of_channel(const Options& options)
{
    const int channel = options.channel.value_or(0);
    const int radio = options.radio.value_or(channel >= 34 ? 1 : 0);
    if (!options.radio && channel == 0)
        throw std::invalid_argument("channel 0 belongs to either radio: say which with --radio 2.4 or --radio 5");
    check_channel(radio, channel);
    return radio;
}

ApPage page_of(const Session& session, const Ap& ap)
{
    std::optional<ApPage> page = session.controller.page(ap.mac);
    if (!page) throw NotFound(fmt::format("{} has just left the controller's table", label(ap)));
    return *page;
}

// ---- limit ----------------------------------------------------------------------------------------------------------

// The ids that a word of --ssid means on this AP; empty: none.
std::vector<int> ssid_ids(const Ap& ap, const std::string& word)
{
    int id = -1;
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), id);
    if (error == std::errc() && end == word.data() + word.size()) {
        const bool second = id >= AC_SSID_5G_FIRST;
        const int index = second ? id - AC_SSID_5G_FIRST : id;
        return id >= 0 && index < ap.ssid_count[second ? 1 : 0] ? std::vector{id} : std::vector<int>();
    }
    std::vector<int> ids;
    for (const SsidName& ssid : ap.ssids)
        if (ssid.name == word || shown(ssid.name) == word) ids.push_back(ssid.id);
    return ids;
}

// The SSIDs whose limits stand in the list of APs.
bool is_main(int id)
{
    return id == 0 || id == AC_SSID_5G_FIRST;
}

struct Limits { // what the controller shows about limits, from one look
    std::vector<Ap> aps;
    std::optional<std::vector<ApSsids>> ssids; // nothing: the controller doesn't tell

    bool shown(int id) const { return is_main(id) || ssids; }
};

Limits limits_now(const Session& session)
{
    return {session.controller.aps(), session.controller.ssids()};
}

// The limit, as far as it can be read: the list shows the main SSIDs', the list of SSIDs those in use.
std::optional<int> limit_of(const Limits& limits, const Mac& mac, int id)
{
    const Ap* ap = find_ap(limits.aps, mac);
    const std::size_t radio = id >= AC_SSID_5G_FIRST ? 1 : 0;
    if (ap != nullptr && is_main(id) && radio < ap->radios.size()) return ap->radios[radio].limit;
    if (!limits.ssids) return std::nullopt;
    for (const ApSsids& one : *limits.ssids)
        if (one.mac == mac)
            for (const SsidUse& use : one.ssids)
                if (use.id == id) return use.limit;
    return std::nullopt;
}

struct LimitPlan {
    std::vector<Outcome> outcomes; // one for each AP and SSID
    std::vector<Step> steps;
    Limits now; // the newest look, shared by the steps
};

void plan_limit(const Session& session, const Ap& ap, int id, LimitPlan& plan)
{
    const int wanted = session.options.clients;
    const std::string is = fmt::format("takes {} clients on SSID {}", wanted, id);
    if (limit_of(plan.now, ap.mac, id) == wanted) {
        plan.outcomes.push_back({ap, Result::unchanged, is + " already"});
        return;
    }
    plan.outcomes.push_back({ap, Result::sent, ""});
    const Mac mac = ap.mac;
    Step step;
    step.outcome = plan.outcomes.size() - 1;
    step.send = [&session, mac, id, wanted] {
        session.controller.set_limit(mac, {static_cast<UINT8>(id), static_cast<UINT8>(wanted)});
    };
    step.done = is + " now";
    if (plan.now.shown(id)) step.seen = [&plan, mac, id, wanted] { return limit_of(plan.now, mac, id) == wanted; };
    if (!step.seen)
        step.doubt = fmt::format("whether it took can't be seen, for this controller shows the limits of SSID 0 and "
                                 "SSID {} alone",
                                 AC_SSID_5G_FIRST);
    else if (!is_main(id))
        step.doubt = "a limit is shown only while its SSID and radio are on and the AP is online";
    plan.steps.push_back(std::move(step));
}

// ---- radio ----------------------------------------------------------------------------------------------------------

void apply(const Options& options, RadioPage& radio)
{
    const auto set = [](UINT8& field, const std::optional<int>& value) {
        if (value) field = static_cast<UINT8>(*value);
    };
    set(radio.power, options.power);
    set(radio.channel, options.channel);
    set(radio.extend_channel, options.extend);
    set(radio.bandwidth, options.bandwidth);
    set(radio.country, options.country);
    if (options.on) radio.on = *options.on ? 1 : 0;
}

std::string radio_text(int index, const RadioPage& radio)
{
    return fmt::format("{} is {}: channel {}, power {}, bandwidth {}, country {}", band_name(index),
                       radio.on != 0 ? "on" : "off", radio.channel, radio.power, radio.bandwidth, radio.country);
}

int radio_to_change(const Options& options, const Ap& ap)
{
    if (options.radio) return *options.radio;
    if (ap.radios.size() > 1)
        throw std::invalid_argument(
            fmt::format("{} has two radios: say which with --radio 2.4 or --radio 5", label(ap)));
    return 0;
}

void plan_radio(const Session& session, const Ap& ap, std::vector<Outcome>& outcomes, std::vector<Step>& steps)
{
    const int index = radio_to_change(session.options, ap);
    if (!has_radio(ap, index)) {
        outcomes.push_back(cannot(session, ap, fmt::format("has no {} radio", band_name(index))));
        return;
    }
    if (session.options.channel) check_channel(index, *session.options.channel);
    ApPage page = page_of(session, ap);
    const ApPage before = page;
    RadioPage& radio = page.radios[static_cast<std::size_t>(index)];
    apply(session.options, radio);
    if (page.radios == before.radios) {
        outcomes.push_back({ap, Result::unchanged, radio_text(index, radio) + ", as before"});
        return;
    }
    outcomes.push_back({ap, Result::sent, ""});
    const Mac mac = ap.mac;
    steps.push_back({outcomes.size() - 1, [&session, mac, page] { session.controller.set_radios(mac, page); },
                     [&session, mac, wanted = page.radios] {
                         const std::optional<ApPage> now = session.controller.page(mac);
                         return now && now->radios == wanted;
                     },
                     radio_text(index, radio)});
}

} // namespace

int run_rename(const Session& session)
{
    const std::string& name = session.options.name;
    const std::vector<Ap> all = session.controller.aps();
    const Ap ap = chosen_aps(session, all).front();
    std::vector<Outcome> outcomes = {{ap, Result::unchanged, "is called so already"}};
    if (ap.name == name) return report(session, outcomes);
    for (const Ap& other : all)
        if (other.name == name) fmt::print(stderr, "acctl: note: {} is called so, too\n", label(other));
    const auto seen = [&] {
        const std::vector<Ap> now = session.controller.aps();
        const Ap* one = find_ap(now, ap.mac);
        return one != nullptr && one->name == name;
    };
    carry_out(
        session,
        {{0, [&] { session.controller.rename(ap.mac, name); }, seen, fmt::format("is called \"{}\" now", shown(name))}},
        outcomes);
    return report(session, outcomes);
}

int run_channel(const Session& session)
{
    const int radio = radio_of_channel(session.options);
    const auto index = static_cast<std::size_t>(radio);
    std::vector<Outcome> outcomes;
    std::vector<Step> steps;
    for (const Ap& ap : chosen_aps(session, session.controller.aps())) {
        if (!has_radio(ap, radio)) {
            outcomes.push_back(cannot(session, ap, fmt::format("has no {} radio", band_name(radio))));
            continue;
        }
        const RadioPage before = page_of(session, ap).radios[index];
        const auto channel = static_cast<UINT8>(session.options.channel.value_or(0));
        const auto extend = static_cast<UINT8>(session.options.extend.value_or(before.extend_channel));
        const std::string is = fmt::format("has channel {} on {}", channel, band_name(radio));
        if (before.channel == channel && before.extend_channel == extend) {
            outcomes.push_back({ap, Result::unchanged, is + " already"});
            continue;
        }
        outcomes.push_back({ap, Result::sent, ""});
        const Mac mac = ap.mac;
        steps.push_back({outcomes.size() - 1,
                         [&session, mac, radio, extend, channel] {
                             session.controller.set_channel(mac, {static_cast<UINT8>(radio), extend, channel});
                         },
                         [&session, mac, index, extend, channel] {
                             const std::optional<ApPage> now = session.controller.page(mac);
                             return now && now->radios[index].channel == channel &&
                                    now->radios[index].extend_channel == extend;
                         },
                         is + " now"});
    }
    carry_out(session, steps, outcomes);
    return report(session, outcomes);
}

int run_limit(const Session& session)
{
    LimitPlan plan;
    plan.now = limits_now(session);
    for (const Ap& ap : chosen_aps(session, plan.now.aps))
        for (const std::string& word : session.options.ssids) {
            const std::vector<int> ids = ssid_ids(ap, word);
            for (const int id : ids)
                plan_limit(session, ap, id, plan);
            if (ids.empty())
                plan.outcomes.push_back(cannot(session, ap, fmt::format("has no SSID {}", shown(to_utf8(word)))));
        }
    carry_out(session, plan.steps, plan.outcomes, [&] { plan.now = limits_now(session); });
    return report(session, plan.outcomes);
}

int run_radio(const Session& session)
{
    if (!session.options.changes_radio()) return run_radios_shown(session);
    std::vector<Outcome> outcomes;
    std::vector<Step> steps;
    for (const Ap& ap : chosen_aps(session, session.controller.aps()))
        plan_radio(session, ap, outcomes, steps);
    carry_out(session, steps, outcomes);
    return report(session, outcomes);
}

} // namespace acctl
