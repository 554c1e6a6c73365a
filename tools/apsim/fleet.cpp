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
constexpr int ticks_per_round = 64; // then the sockets are looked at: a storm must not sit on its own answers
constexpr int frames_per_turn = 64; // from one socket, so that the others get their turn

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
    sum.join_restarted += one.join_restarted;
    sum.link_down += one.link_down;
    sum.reboots += one.reboots;
    sum.outages += one.outages;
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

void add(FleetStats& stats, const NoiseStats& noise)
{
    std::copy(std::begin(noise.out), std::end(noise.out), std::begin(stats.noise_out));
    stats.noise_link_downs = noise.link_downs;
    stats.noise_answered = noise.answered;
    stats.send_errors += noise.send_errors;
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

// Noise is made only while the fleet is run, whose sockets would fill up otherwise.
class NoiseWhile {
public:
    explicit NoiseWhile(NoiseSender* noise) : noise_(noise)
    {
        if (noise_ != nullptr) noise_->set_sending(true);
    }
    ~NoiseWhile()
    {
        if (noise_ != nullptr) noise_->set_sending(false);
    }
    NoiseWhile(const NoiseWhile&) = delete;
    NoiseWhile& operator=(const NoiseWhile&) = delete;

private:
    NoiseSender* noise_;
};

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
      down_(in_sim_time(options.down), options.seed * 2 + 2), random_(options.seed)
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
            aps_.back()->socket = open_socket();
            watch(aps_.back()->socket, i);
        }
        start_noise();
    } catch (...) {
        close_sockets();
        throw;
    }
    start_ = clock::now(); // opening 2000 sockets takes a moment
    for (const auto& ap : aps_) {
        ap->model.power_on(options_.start_spread * static_cast<micros>(ap->index) / static_cast<micros>(aps_.size()));
        plan(*ap);
    }
    if (options_.reboot_every > 0) next_reboot_ = 0;
    if (options_.outage_every > 0) next_outage_ = 0;
}

Fleet::~Fleet()
{
    close_sockets();
}

void Fleet::close_sockets()
{
    for (const auto& ap : aps_)
        if (ap->socket >= 0) close(ap->socket);
    if (epoll_ >= 0) close(epoll_);
}

ApOptions Fleet::options_of(std::size_t index) const
{
    ApOptions ap;
    ap.mac = mac_at(options_.first_mac, static_cast<std::uint64_t>(index) * options_.mac_step);
    ap.kind = ap_kind(options_.types[index % options_.types.size()]);
    ap.layout = options_.layouts[(index + index / options_.types.size()) % options_.layouts.size()];
    if (options_.two_radios_in_layout_4 && ap.kind.rf_num > 1) ap.layout = AC_LAYOUT_V2;
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
int Fleet::open_socket()
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
    return fd;
}

void Fleet::start_noise()
{
    const auto& rates = options_.noise;
    if (std::none_of(std::begin(rates), std::end(rates), [](double rate) { return rate > 0; })) return;
    std::vector<Mac> victims;
    for (const auto& ap : aps_)
        victims.push_back(ap->model.options().mac);
    const int unknown = open_socket();
    int dropped = -1;
    try {
        dropped = open_socket();
        noise_ = std::make_unique<NoiseSender>(rates, std::move(victims), options_.seed, unknown, dropped);
    } catch (...) {
        close(unknown);
        if (dropped >= 0) close(dropped);
        throw;
    }
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
    const NoiseWhile noise(noise_.get());
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
    strike_some();
    epoll_event events[256];
    const int ready = epoll_wait(epoll_, events, 256, wait_ms(until));
    for (int i = 0; i < ready; i++)
        receive(*aps_[events[i].data.u64]);
}

int Fleet::wait_ms(clock::time_point until) const
{
    const micros due = std::min(
        {timers_.empty() ? never : timers_.top().due, up_.next_due(), down_.next_due(), next_reboot_, next_outage_});
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

// A running AP for a fault that comes at random moments, every so many seconds on average; null when none is due or
// the AP drawn doesn't run. `next` is 0 before the first draw, which only tells the moment of the first fault.
Fleet::Ap* Fleet::struck(micros& next, double every)
{
    if (next > now()) return nullptr;
    std::exponential_distribution<double> pause(1.0 / every);
    const bool due = next != 0;
    next += std::max<micros>(1, static_cast<micros>(pause(random_) * static_cast<double>(second)));
    if (!due) return nullptr;
    Ap& ap = *aps_[std::uniform_int_distribution<std::size_t>(0, aps_.size() - 1)(random_)];
    return ap.model.state() == ApState::running ? &ap : nullptr;
}

void Fleet::strike_some()
{
    const micros moment = now();
    const auto outage = static_cast<micros>(options_.outage_for * static_cast<double>(second));
    while (next_reboot_ <= moment) {
        Ap* ap = struck(next_reboot_, options_.reboot_every);
        if (ap == nullptr) continue;
        ap->model.reboot(moment, options_.forget);
        plan(*ap);
    }
    while (next_outage_ <= moment) {
        Ap* ap = struck(next_outage_, options_.outage_every);
        if (ap == nullptr) continue;
        ap->model.fall_silent(moment, outage);
        plan(*ap);
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
    if (noise_ != nullptr) add(stats, noise_->stats());
    stats.up = up_.stats();
    stats.down = down_.stats();
    stats.now = now();
    stats.real_seconds = std::chrono::duration<double>(clock::now() - start_).count();
    return stats;
}

} // namespace apsim
