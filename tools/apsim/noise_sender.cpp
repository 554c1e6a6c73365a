#include "noise_sender.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

namespace apsim {

namespace {

constexpr double burst = 0.05;                      // seconds of noise that may be caught up on
constexpr std::size_t batch = 32;                   // frames to a system call; then the answers are looked at
constexpr auto rest = std::chrono::milliseconds(1); // between two looks at what is owed
constexpr int lowest_priority = 19;

} // namespace

NoiseSender::NoiseSender(const double (&rates)[noise_count], std::vector<Mac> victims, UINT32 seed, int unknown_socket,
                         int dropped_socket)
    : victims_(std::move(victims)), maker_(seed), random_(seed), sockets_{unknown_socket, dropped_socket}
{
    std::copy(std::begin(rates), std::end(rates), std::begin(rates_));
    thread_ = std::thread([this] { run(); });
}

NoiseSender::~NoiseSender()
{
    ended_ = true;
    thread_.join();
    for (int socket : sockets_)
        close(socket);
}

NoiseStats NoiseSender::stats() const
{
    NoiseStats stats;
    for (std::size_t i = 0; i < noise_count; i++)
        stats.out[i] = out_[i];
    stats.link_downs = link_downs_;
    stats.answered = answered_;
    stats.send_errors = send_errors_;
    return stats;
}

void NoiseSender::run()
{
    (void)setpriority(PRIO_PROCESS, 0, lowest_priority); // this thread's; a refusal costs only fairness
    while (!ended_) {
        if (sending_)
            send_owed();
        else
            owed_at_ = {};
        drain_answers();
        std::this_thread::sleep_for(rest);
    }
    drain_answers();
}

void NoiseSender::send_owed()
{
    const clock::time_point now = clock::now();
    const double passed = owed_at_ == clock::time_point{} ? 0 : std::chrono::duration<double>(now - owed_at_).count();
    owed_at_ = now;
    for (std::size_t kind = 0; kind < noise_count; kind++)
        owed_[kind] = std::min(owed_[kind] + rates_[kind] * passed, std::max(1.0, rates_[kind] * burst));
    // In turn, so that a high rate of one kind doesn't keep the others waiting.
    for (bool any = true; any && !ended_ && sending_;) {
        any = false;
        for (std::size_t kind = 0; kind < noise_count; kind++) {
            const std::size_t count = std::min(batch, static_cast<std::size_t>(owed_[kind]));
            if (count == 0) continue;
            any = true;
            send_some(kind, count);
            owed_[kind] -= static_cast<double>(count);
        }
        drain_answers();
    }
}

void NoiseSender::send_some(std::size_t kind, std::size_t count)
{
    Bytes frames[batch];
    iovec pieces[batch];
    mmsghdr messages[batch] = {};
    for (std::size_t i = 0; i < count; i++) {
        frames[i] = maker_.make(static_cast<Noise>(kind), victims_[random_() % victims_.size()]);
        pieces[i] = {frames[i].data(), frames[i].size()};
        messages[i].msg_hdr.msg_iov = &pieces[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    const int socket = sockets_[kind == static_cast<std::size_t>(Noise::unknown) ? 0 : 1];
    for (std::size_t done = 0; done < count;) {
        const int sent = sendmmsg(socket, messages + done, static_cast<unsigned>(count - done), 0);
        if (sent > 0) done += static_cast<std::size_t>(sent);
        if (sent > 0) continue;
        send_errors_++; // of the first that is left
        done++;
    }
    out_[kind] += count;
}

void NoiseSender::drain(int socket, std::atomic<std::uint64_t>& counter)
{
    UINT8 buffer[AC_FRAME_MAX];
    for (std::size_t i = 0; i < 2 * batch && recv(socket, buffer, sizeof(buffer), MSG_DONTWAIT) >= 0; i++)
        counter++;
}

void NoiseSender::drain_answers()
{
    drain(sockets_[0], link_downs_);
    drain(sockets_[1], answered_);
}

} // namespace apsim
