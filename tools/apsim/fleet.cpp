#include "fleet.h"

#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>

#include <fmt/format.h>

namespace apsim {

namespace {

using clock = std::chrono::steady_clock;

constexpr rlim_t spare_files = 64;
constexpr std::size_t noise_slot = std::size_t{1} << 32; // epoll data from here on: noise sockets
constexpr int ticks_per_round = 64;  // then the sockets are looked at: a storm must not sit on its own answers
constexpr int frames_per_turn = 64;  // from one socket, so that the others get their turn
constexpr double noise_burst = 0.05; // seconds of noise that may be caught up on

void raise_file_limit(std::size_t sockets)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t wanted = sockets + spare_files;
    if (limit.rlim_cur >= wanted) return;
    if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < wanted)
        throw std::invalid_argument(fmt::format("{} APs need {} open files, and the limit is {}: raise it with "
                                                "\"ulimit -Hn {}\" as root, or take fewer --aps",
                                                sockets, wanted, limit.rlim_max, wanted));
    limit.rlim_cur = wanted;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        throw std::system_error(errno, std::generic_category(),
                                "can't raise the limit of open files; take fewer --aps");
}

void add(ApCounters& sum, const ApCounters& one)
{
    sum.joins += one.joins;
    sum.lost += one.lost;
    sum.link_down += one.link_down;
    sum.reboots += one.reboots;
    sum.restores += one.restores;
    sum.config_taken += one.config_taken;
    sum.config_refused += one.config_refused;
    sum.applied += one.applied;
    sum.kept_raw += one.kept_raw;
    sum.refused += one.refused;
    sum.duplicates += one.duplicates;
    sum.repeats += one.repeats;
    sum.retransmissions += one.retransmissions;
    sum.echoes_sent += one.echoes_sent;
    sum.echoes_answered += one.echoes_answered;
    sum.echoes_missed += one.echoes_missed;
    sum.bad_in += one.bad_in;
    sum.stale_in += one.stale_in;
    sum.other_in += one.other_in;
    sum.upgrades += one.upgrades;
}

Mac mac_at(const Mac& first, std::uint64_t offset)
{
    std::uint64_t number = 0;
    for (UINT8 byte : first)
        number = number << 8 | byte;
    number += offset;
    Mac mac;
    for (std::size_t i = 0; i < mac.size(); i++)
        mac[i] = static_cast<UINT8>(number >> (8 * (mac.size() - 1 - i)));
    return mac;
}

} // namespace

Histogram FleetStats::all_answers() const
{
    Histogram all;
    for (const Histogram& one : answers)
        all.merge(one);
    return all;
}

Fleet::Ap::Ap(Fleet& owner, std::size_t number, ApOptions ap_options)
    : fleet(owner), index(number), model(std::move(ap_options), *this)
{}

void Fleet::Ap::send(ByteView datagram)
{
    fleet.transmit(*this, datagram);
}

void Fleet::Ap::answered(Exchange exchange, micros time_taken)
{
    fleet.totals_.answers[static_cast<std::size_t>(exchange)].add(time_taken / fleet.options_.scale);
}

// A link's delays are given in real time, and it lives in simulated time.
LinkFaults Fleet::in_sim_time(LinkFaults faults) const
{
    faults.delay *= options_.scale;
    faults.hold *= options_.scale;
    return faults;
}

Fleet::Fleet(const FleetOptions& options)
    : options_(options), start_(clock::now()), up_(in_sim_time(options.up), options.seed * 2 + 1),
      down_(in_sim_time(options.down), options.seed * 2 + 2), random_(options.seed), noise_(options.seed),
      noise_at_(start_)
{
    if (options_.aps == 0 || options_.scale == 0 || options_.layouts.empty())
        throw std::invalid_argument("a fleet needs at least one AP, a scale of at least 1 and a layout");
    if (options_.silent + options_.refusing > options_.aps)
        throw std::invalid_argument("more silent and refusing APs than there are APs: lower --silent or --refusing");
    if (options_.types.empty()) options_.types = default_types();
    raise_file_limit(options_.aps);
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    if (epoll_ < 0) throw std::system_error(errno, std::generic_category(), "epoll_create1");
    try {
        for (std::size_t i = 0; i < options_.aps; i++) {
            aps_.push_back(std::make_unique<Ap>(*this, i, options_of(i)));
            aps_.back()->socket = open_socket(i);
        }
        for (std::size_t i = 0; i < 2; i++)
            noise_sockets_[i] = open_socket(noise_slot + i);
    } catch (...) {
        close_sockets();
        throw;
    }
    start_ = noise_at_ = clock::now(); // opening 2000 sockets takes a moment
    for (const auto& ap : aps_) {
        ap->model.power_on(options_.start_spread * static_cast<micros>(ap->index) / static_cast<micros>(aps_.size()));
        plan(*ap);
    }
    if (options_.reboot_every > 0) next_reboot_ = 0;
}

Fleet::~Fleet()
{
    close_sockets();
}

void Fleet::close_sockets()
{
    for (const auto& ap : aps_)
        if (ap->socket >= 0) close(ap->socket);
    for (int socket : noise_sockets_)
        if (socket >= 0) close(socket);
    if (epoll_ >= 0) close(epoll_);
}

ApOptions Fleet::options_of(std::size_t index) const
{
    ApOptions ap;
    ap.mac = mac_at(options_.first_mac, static_cast<std::uint64_t>(index) * options_.mac_step);
    ap.kind = ap_kind(options_.types[index % options_.types.size()]);
    ap.layout = options_.layouts[index / options_.types.size() % options_.layouts.size()];
    ap.config_version = options_.config_version;
    ap.timers = options_.timers;
    const std::size_t from_last = options_.aps - 1 - index;
    if (from_last < options_.silent)
        ap.silent_after = options_.silent_after;
    else if (from_last < options_.silent + options_.refusing)
        ap.refusing = true;
    return ap;
}

// Connected, so that the kernel hands on nothing but what the controller sends.
int Fleet::open_socket(std::size_t index)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) throw std::system_error(errno, std::generic_category(), "can't open a socket; take fewer --aps");
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr = options_.source;
    if (options_.source.s_addr != 0 && bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof(local)) != 0) {
        const int reason = errno;
        close(fd);
        throw std::system_error(reason, std::generic_category(),
                                "can't bind to the --source address; it must be one of this machine's");
    }
    if (connect(fd, reinterpret_cast<const sockaddr*>(&options_.controller), sizeof(options_.controller)) != 0) {
        const int reason = errno;
        close(fd);
        throw std::system_error(reason, std::generic_category(),
                                fmt::format("no way to {}; check --controller and the routes of this machine",
                                            to_string(options_.controller)));
    }
    watch(fd, index);
    return fd;
}

void Fleet::watch(int socket, std::size_t index)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = index;
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, socket, &event) != 0)
        throw std::system_error(errno, std::generic_category(), "epoll_ctl");
}

micros Fleet::now() const
{
    const auto real = std::chrono::duration_cast<std::chrono::microseconds>(clock::now() - start_).count();
    return static_cast<micros>(real) * options_.scale;
}

void Fleet::run_for(std::chrono::milliseconds real)
{
    run_until([] { return false; }, real);
}

bool Fleet::run_until(const std::function<bool()>& condition, std::chrono::milliseconds at_most)
{
    const clock::time_point until = clock::now() + at_most;
    while (!stopped_) {
        if (condition()) return true;
        if (clock::now() >= until) return false;
        round(until);
    }
    return condition();
}

void Fleet::round(clock::time_point until)
{
    tick_aps();
    drain_links();
    reboot_some();
    make_noise();
    epoll_event events[256];
    const int ready = epoll_wait(epoll_, events, 256, wait_ms(until));
    for (int i = 0; i < ready; i++) {
        const std::size_t slot = events[i].data.u64;
        if (slot >= noise_slot)
            receive_noise(slot - noise_slot);
        else
            receive(*aps_[slot]);
    }
}

int Fleet::wait_ms(clock::time_point until) const
{
    const bool noisy =
        std::any_of(std::begin(options_.noise), std::end(options_.noise), [](double r) { return r > 0; });
    if (noisy) return 1;
    micros due =
        std::min({timers_.empty() ? never : timers_.top().due, up_.next_due(), down_.next_due(), next_reboot_});
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - clock::now()).count();
    if (due == never) return static_cast<int>(std::clamp<std::int64_t>(left, 0, 1000));
    const std::int64_t wait = (std::max<micros>(due - now(), 0) / options_.scale + millisecond - 1) / millisecond;
    return static_cast<int>(std::clamp<std::int64_t>(std::min<std::int64_t>(wait, left), 0, 1000));
}

// One live entry per AP in the heap; an entry that the AP no longer stands by is passed over when it comes up.
void Fleet::plan(Ap& ap)
{
    if (ap.model.next_due() == ap.planned) return;
    ap.planned = ap.model.next_due();
    if (ap.planned != never) timers_.push({ap.planned, ap.index});
}

void Fleet::tick_aps()
{
    const micros moment = now();
    for (int ticks = 0; ticks < ticks_per_round && !timers_.empty() && timers_.top().due <= moment; ticks++) {
        const Timer timer = timers_.top();
        timers_.pop();
        Ap& ap = *aps_[timer.ap];
        if (ap.planned != timer.due) continue;
        ap.planned = never;
        ap.model.on_tick(moment);
        plan(ap);
    }
}

void Fleet::drain_links()
{
    const micros moment = now();
    while (auto item = up_.pop(moment)) {
        const Bytes& bytes = item->datagram;
        if (::send(aps_[item->ap]->socket, bytes.data(), bytes.size(), 0) < 0) totals_.send_errors++;
    }
    while (auto item = down_.pop(moment))
        deliver(item->ap, item->datagram);
}

void Fleet::reboot_some()
{
    const micros moment = now();
    while (next_reboot_ <= moment) {
        std::exponential_distribution<double> pause(1.0 / options_.reboot_every);
        // The first pass only draws the moment of the first reboot.
        if (next_reboot_ != 0) {
            Ap& ap = *aps_[std::uniform_int_distribution<std::size_t>(0, aps_.size() - 1)(random_)];
            if (ap.model.state() == ApState::running) ap.model.reboot(moment);
            plan(ap);
        }
        next_reboot_ += std::max<micros>(1, static_cast<micros>(pause(random_) * static_cast<double>(second)));
    }
}

void Fleet::make_noise()
{
    const clock::time_point moment = clock::now();
    const double passed = std::min(std::chrono::duration<double>(moment - noise_at_).count(), noise_burst);
    noise_at_ = moment;
    for (std::size_t kind = 0; kind < noise_count; kind++) {
        noise_owed_[kind] += options_.noise[kind] * passed;
        for (; noise_owed_[kind] >= 1; noise_owed_[kind] -= 1) {
            const Mac& victim = aps_[random_() % aps_.size()]->model.options().mac;
            const Bytes frame = noise_.make(static_cast<Noise>(kind), victim);
            const int socket = noise_sockets_[kind == static_cast<std::size_t>(Noise::unknown) ? 0 : 1];
            if (::send(socket, frame.data(), frame.size(), 0) < 0) totals_.send_errors++;
            totals_.noise_out[kind]++;
        }
    }
}

void Fleet::transmit(Ap& ap, ByteView datagram)
{
    totals_.frames_out++;
    totals_.bytes_out += datagram.size();
    if (up_.faulty()) return up_.push(ap.index, datagram, now());
    if (::send(ap.socket, datagram.data(), datagram.size(), 0) < 0) totals_.send_errors++;
}

void Fleet::receive(Ap& ap)
{
    UINT8 buffer[AC_FRAME_MAX];
    for (int i = 0; i < frames_per_turn; i++) {
        const ssize_t length = recv(ap.socket, buffer, sizeof(buffer), 0);
        if (length < 0) {
            if (errno != EAGAIN && errno != EINTR) totals_.receive_errors++; // nobody listens there, as a rule
            return;
        }
        totals_.frames_in++;
        totals_.bytes_in += static_cast<std::size_t>(length);
        const ByteView datagram(buffer, static_cast<std::size_t>(length));
        if (down_.faulty())
            down_.push(ap.index, datagram, now());
        else
            deliver(ap.index, datagram);
    }
}

void Fleet::deliver(std::size_t index, ByteView datagram)
{
    Ap& ap = *aps_[index];
    const bool joined_before = ap.model.joined_at() != never;
    ap.model.on_frame(datagram, now());
    if (!joined_before && ap.model.joined_at() != never) ever_joined_++;
    plan(ap);
}

void Fleet::receive_noise(std::size_t slot)
{
    UINT8 buffer[AC_FRAME_MAX];
    for (int i = 0; i < frames_per_turn; i++) {
        const ssize_t length = recv(noise_sockets_[slot], buffer, sizeof(buffer), 0);
        if (length < 0) {
            if (errno != EAGAIN && errno != EINTR) totals_.receive_errors++;
            return;
        }
        (slot == 0 ? totals_.noise_link_downs : totals_.noise_answered)++;
    }
}

FleetStats Fleet::stats() const
{
    FleetStats stats = totals_;
    stats.aps = aps_.size();
    stats.silent_wanted = options_.silent;
    stats.ever_joined = ever_joined_;
    micros last_join = 0;
    for (const auto& ap : aps_) {
        stats.states[static_cast<std::size_t>(ap->model.state())]++;
        add(stats.sum, ap->model.counters());
        if (ap->model.joined_at() == never) continue;
        last_join = std::max(last_join, ap->model.joined_at());
    }
    if (stats.ever_joined == stats.aps) stats.joined_within = last_join;
    stats.up = up_.stats();
    stats.down = down_.stats();
    stats.now = now();
    stats.real_seconds = std::chrono::duration<double>(clock::now() - start_).count();
    return stats;
}

} // namespace apsim
