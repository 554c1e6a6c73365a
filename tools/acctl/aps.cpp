#include "aps.h"

#include <algorithm>

#include <fmt/format.h>

#include "text.h"

namespace acctl {

namespace {

constexpr std::size_t named_in_an_error = 5;

bool is_called(const Ap& ap, const std::string& name)
{
    return ap.name == name || shown(ap.name) == name;
}

std::string macs_of(const std::vector<const Ap*>& aps)
{
    std::string text;
    for (std::size_t i = 0; i < aps.size() && i < named_in_an_error; i++)
        text += (i == 0 ? "" : ", ") + to_string(aps[i]->mac);
    if (aps.size() > named_in_an_error) text += fmt::format(" and {} more", aps.size() - named_in_an_error);
    return text;
}

std::string lower(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// Names that hold what was typed, whatever its case.
std::string similar_to(const std::vector<Ap>& all, const std::string& wanted)
{
    std::string text;
    std::size_t found = 0;
    for (const Ap& ap : all) {
        if (ap.name.empty() || lower(ap.name).find(lower(wanted)) == std::string::npos) continue;
        if (found++ == named_in_an_error) break;
        text += fmt::format("{}\"{}\"", text.empty() ? "" : ", ", shown(ap.name));
    }
    return text;
}

const Ap& find_one(const std::vector<Ap>& all, const std::string& wanted)
{
    if (const std::optional<Mac> mac = parse_mac(wanted)) {
        const auto at = std::find_if(all.begin(), all.end(), [&](const Ap& ap) { return ap.mac == *mac; });
        if (at != all.end()) return *at;
    }
    std::vector<const Ap*> called;
    for (const Ap& ap : all)
        if (!wanted.empty() && is_called(ap, wanted)) called.push_back(&ap);
    if (called.size() == 1) return *called.front();
    if (called.size() > 1)
        throw NotFound(fmt::format("{} APs are called \"{}\": name one by its MAC, {}", called.size(), shown(wanted),
                                   macs_of(called)));
    const std::string similar = wanted.empty() ? "" : similar_to(all, wanted);
    throw NotFound(fmt::format("there is no AP \"{}\"; {}", shown(wanted),
                               similar.empty() ? "`acctl ap list` shows those there are"
                                               : fmt::format("did you mean {}?", similar)));
}

// Negative, zero or positive, as a comparison of `a` with `b`.
int compare(const Ap& a, const Ap& b, Order order)
{
    switch (order) {
    case Order::name:
        return a.name.compare(b.name);
    case Order::status:
        return static_cast<int>(b.online()) - static_cast<int>(a.online());
    case Order::clients:
        return b.clients() - a.clients();
    case Order::mac:
        break;
    }
    return 0;
}

} // namespace

void sort_aps(std::vector<Ap>& aps, Order order)
{
    std::sort(aps.begin(), aps.end(), [order](const Ap& a, const Ap& b) {
        const int difference = compare(a, b, order);
        return difference != 0 ? difference < 0 : a.mac < b.mac;
    });
}

std::vector<Ap> resolve(const std::vector<Ap>& all, const std::vector<std::string>& wanted)
{
    std::vector<Ap> chosen;
    for (const std::string& name : wanted) {
        const Ap& ap = find_one(all, name);
        const bool twice =
            std::any_of(chosen.begin(), chosen.end(), [&](const Ap& other) { return other.mac == ap.mac; });
        if (!twice) chosen.push_back(ap);
    }
    return chosen;
}

std::string label(const Ap& ap)
{
    return ap.name.empty() ? to_string(ap.mac) : fmt::format("{} ({})", shown(ap.name), to_string(ap.mac));
}

} // namespace acctl
