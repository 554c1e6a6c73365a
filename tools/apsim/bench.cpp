#include "bench.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <deque>
#include <system_error>
#include <unordered_map>

namespace apsim {

namespace {

using clock = std::chrono::steady_clock;

constexpr std::size_t batch = 32; // datagrams to a system call
constexpr int buffer_bytes = 1 << 20;

[[noreturn]] void fail(const char* what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

// The sockets of both ends of the bare loop and of the client are plain ones: nothing is tuned for one side only.
class EchoClient {
public:
    EchoClient(const sockaddr_in& server, const std::vector<BenchPeer>& peers, const BenchOptions& options);
    ~EchoClient() { close(fd_); }
    EchoClient(const EchoClient&) = delete;
    EchoClient& operator=(const EchoClient&) = delete;
    BenchResult run(const std::atomic<bool>& stop);

private:
    struct Peer {
        CLOUD_AP_UDP_PKT head{};
        clock::time_point sent{};
        bool waiting = false;
    };

    void fill_window();
    void send_batch(const std::vector<std::size_t>& chosen);
    void receive_batch();
    void take(const UINT8* datagram, std::size_t length, clock::time_point now);
    void give_up_late();
    static std::uint64_t key(const UINT8* mac);

    BenchOptions options_;
    int fd_ = -1;
    std::vector<Peer> peers_;
    std::unordered_map<std::uint64_t, std::size_t> by_mac_;
    std::deque<std::size_t> idle_; // longest idle first
    std::size_t under_way_ = 0;
    bool counting_ = false;
    clock::time_point next_look_{};
    BenchResult result_;
};

std::uint64_t EchoClient::key(const UINT8* mac)
{
    std::uint64_t number = 0;
    std::memcpy(&number, mac, AC_MAC_LEN);
    return number;
}

EchoClient::EchoClient(const sockaddr_in& server, const std::vector<BenchPeer>& peers, const BenchOptions& options)
    : options_(options)
{
    for (const BenchPeer& from : peers) {
        Peer peer;
        std::copy(from.mac.begin(), from.mac.end(), peer.head.ap_mac);
        peer.head.ap_proto_type = from.layout;
        peer.head.pkt_type = AC_PKT_NORMAL;
        peer.head.ap_type = from.ap_type;
        peer.head.vendor = AC_VENDOR;
        peer.head.msg_type = HALDE_APEchoReq;
        by_mac_[key(peer.head.ap_mac)] = peers_.size();
        idle_.push_back(peers_.size());
        peers_.push_back(peer);
    }
    options_.window = std::min(options_.window, peers_.size());
    fd_ = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd_ < 0) fail("socket");
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &buffer_bytes, sizeof(buffer_bytes));
    if (connect(fd_, reinterpret_cast<const sockaddr*>(&server), sizeof(server)) != 0) {
        const int reason = errno;
        close(fd_);
        errno = reason;
        fail("connect");
    }
}

void EchoClient::send_batch(const std::vector<std::size_t>& chosen)
{
    iovec pieces[batch];
    mmsghdr messages[batch] = {};
    const clock::time_point now = clock::now();
    for (std::size_t i = 0; i < chosen.size(); i++) {
        Peer& peer = peers_[chosen[i]];
        peer.head.seq_num++;
        peer.sent = now;
        peer.waiting = true;
        pieces[i] = {&peer.head, AC_FRAME_HEAD};
        messages[i].msg_hdr.msg_iov = &pieces[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    under_way_ += chosen.size();
    // What a full buffer or a closed port swallows counts as unanswered.
    (void)sendmmsg(fd_, messages, static_cast<unsigned>(chosen.size()), 0);
}

void EchoClient::fill_window()
{
    while (under_way_ < options_.window && !idle_.empty()) {
        std::vector<std::size_t> chosen;
        while (chosen.size() < batch && under_way_ + chosen.size() < options_.window && !idle_.empty()) {
            chosen.push_back(idle_.front());
            idle_.pop_front();
        }
        send_batch(chosen);
    }
}

void EchoClient::receive_batch()
{
    UINT8 buffers[batch][64];
    iovec pieces[batch];
    mmsghdr messages[batch] = {};
    for (std::size_t i = 0; i < batch; i++) {
        pieces[i] = {buffers[i], sizeof(buffers[i])};
        messages[i].msg_hdr.msg_iov = &pieces[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
    const int count = recvmmsg(fd_, messages, batch, MSG_DONTWAIT, nullptr);
    const clock::time_point now = clock::now();
    for (int i = 0; i < count; i++)
        take(buffers[i], messages[i].msg_len, now);
}

void EchoClient::take(const UINT8* datagram, std::size_t length, clock::time_point now)
{
    CLOUD_AP_UDP_PKT head;
    if (length < AC_FRAME_HEAD) {
        result_.strange++;
        return;
    }
    std::memcpy(&head, datagram, AC_FRAME_HEAD);
    const auto found = by_mac_.find(key(head.ap_mac));
    if (found == by_mac_.end() || head.msg_type != HALDE_APEchoResp || head.pkt_type != AC_PKT_NORMAL ||
        !peers_[found->second].waiting || peers_[found->second].head.seq_num != head.seq_num) {
        result_.strange++;
        return;
    }
    Peer& peer = peers_[found->second];
    peer.waiting = false;
    under_way_--;
    idle_.push_back(found->second);
    if (!counting_) return;
    result_.rounds++;
    result_.answers.add(std::chrono::duration_cast<std::chrono::microseconds>(now - peer.sent).count());
}

void EchoClient::give_up_late()
{
    const clock::time_point now = clock::now();
    if (now < next_look_) return;
    next_look_ = now + std::chrono::milliseconds(100);
    for (std::size_t i = 0; i < peers_.size(); i++) {
        Peer& peer = peers_[i];
        if (!peer.waiting || std::chrono::duration<double>(now - peer.sent).count() < options_.answer_limit) continue;
        peer.waiting = false;
        under_way_--;
        idle_.push_back(i);
        if (counting_) result_.timeouts++;
    }
}

BenchResult EchoClient::run(const std::atomic<bool>& stop)
{
    const clock::time_point begin = clock::now();
    clock::time_point counted_from = begin;
    while (!stop) {
        const clock::time_point now = clock::now();
        const double passed = std::chrono::duration<double>(now - begin).count();
        if (passed >= options_.warm_up + options_.measured) break;
        if (!counting_ && passed >= options_.warm_up) {
            counting_ = true;
            counted_from = now;
            result_ = {};
        }
        fill_window();
        pollfd waiting = {fd_, POLLIN, 0};
        if (poll(&waiting, 1, 100) > 0) receive_batch();
        give_up_late();
    }
    result_.seconds = counting_ ? std::chrono::duration<double>(clock::now() - counted_from).count() : 0;
    return result_;
}

[[noreturn]] void bare_loop(int fd)
{
    UINT8 buffer[AC_FRAME_MAX];
    for (;;) {
        sockaddr_in from{};
        socklen_t from_length = sizeof(from);
        const ssize_t length =
            recvfrom(fd, buffer, sizeof(buffer), 0, reinterpret_cast<sockaddr*>(&from), &from_length);
        if (length < 0) continue;
        (void)sendto(fd, buffer, static_cast<std::size_t>(length), 0, reinterpret_cast<const sockaddr*>(&from),
                     from_length);
    }
}

} // namespace

BenchResult run_bench(const sockaddr_in& server, const std::vector<BenchPeer>& peers, const BenchOptions& options,
                      const std::atomic<bool>& stop)
{
    return EchoClient(server, peers, options).run(stop);
}

// The socket is bound before the fork, so that its port is known here and a datagram sent at once is not lost.
BareServer::BareServer()
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) fail("socket");
    address_.sin_family = AF_INET;
    address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address_);
    const pid_t parent = getpid();
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address_), length) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address_), &length) != 0 || (child_ = fork()) < 0) {
        const int reason = errno;
        close(fd);
        errno = reason;
        fail("can't start the bare echo loop");
    }
    if (child_ == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != parent) _exit(0);
        signal(SIGINT, SIG_IGN); // the terminal sends it to the whole group; the parent ends us in its own time
        bare_loop(fd);
    }
    close(fd);
}

BareServer::~BareServer()
{
    kill(child_, SIGKILL);
    waitpid(child_, nullptr, 0);
}

} // namespace apsim
