#include "channel.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <thread>

#include <fmt/format.h>

#include "cgi_socket_handle/ac_msg_block.h"
#include "cgi_socket_handle/acmsg_client.h"

namespace acctl {

namespace {

using Clock = std::chrono::steady_clock;

class Socket {
public:
    explicit Socket(int fd) : fd_(fd) {}
    ~Socket()
    {
        if (fd_ >= 0) close(fd_);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    int fd() const { return fd_; }

private:
    int fd_;
};

// Ends whatever waits on the socket when time is up: reads then see its end, writes fail.
class Deadline {
public:
    Deadline(int fd, Clock::time_point end) : thread_([this, fd, end] { watch(fd, end); }) {}
    ~Deadline()
    {
        {
            const std::lock_guard lock(mutex_);
            over_ = true;
        }
        wake_.notify_one();
        thread_.join();
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;
    bool passed() const { return passed_; }

private:
    void watch(int fd, Clock::time_point end)
    {
        std::unique_lock lock(mutex_);
        if (wake_.wait_until(lock, end, [this] { return over_; })) return;
        passed_ = true;
        shutdown(fd, SHUT_RDWR);
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    bool over_ = false;
    std::atomic<bool> passed_ = false;
    std::thread thread_; // last: it uses the others
};

// The library prints its own lines to standard output, which is ours for results.
class Hush {
public:
    Hush()
    {
        std::fflush(stdout);
        before_ = dup(STDOUT_FILENO);
        const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (before_ >= 0 && nowhere >= 0) dup2(nowhere, STDOUT_FILENO);
        if (nowhere >= 0) close(nowhere);
    }
    ~Hush()
    {
        std::fflush(stdout);
        if (before_ < 0) return;
        dup2(before_, STDOUT_FILENO);
        close(before_);
    }
    Hush(const Hush&) = delete;
    Hush& operator=(const Hush&) = delete;

private:
    int before_;
};

using Message = std::unique_ptr<AC_MSG_PKT, decltype([](AC_MSG_PKT* msg) { ac_msg_free(msg); })>;

bool is_socket(const std::string& path)
{
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISSOCK(info.st_mode);
}

[[noreturn]] void unreachable(const std::string& path, int error)
{
    std::string why;
    if (error == ENOENT)
        why = "there is no such socket. Is it running? AC_ROOT or --socket tell where it lives";
    else if (error == ECONNREFUSED)
        why = is_socket(path) ? "is it running?" : "this is no socket; AC_ROOT or --socket tell where it lives";
    else if (error == EACCES || error == EPERM)
        why = "you may not use this socket; run acctl as the user that the controller runs as";
    else if (error == EAGAIN)
        why = "it takes no more connections; it is busy or hangs";
    else if (error == EPROTOTYPE)
        why = "this is not a controller's socket";
    else
        why = std::strerror(error);
    throw ChannelError(Failure::unreachable, fmt::format("no controller answers at {}: {}", path, why));
}

// Not blocking: a controller that hangs with a full queue would hold us for ever.
void connect_until(const Socket& socket, const std::string& path, Clock::time_point end)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    while (connect(socket.fd(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        if (errno == EINTR) continue;
        const bool busy = errno == EAGAIN;
        if (!busy || Clock::now() >= end) unreachable(path, errno);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    fcntl(socket.fd(), F_SETFL, 0);
}

bool send_request(int fd, const Request& request)
{
    const Message message(ac_msg_alloc(request.data.size()));
    if (!message) throw std::bad_alloc();
    message->ap_flag = request.ap_flag;
    message->ac_msg_type = request.type;
    message->ap_num = request.ap_num;
    message->msg_data_len = static_cast<int>(request.data.size());
    std::copy(request.data.begin(), request.data.end(), ac_msg_room(message.get()).begin());
    const std::size_t total = sizeof(AC_MSG_PKT) + request.data.size();
    return send_msg_to_acmsg(fd, message.get(), total) == static_cast<std::int64_t>(total);
}

enum class Received { whole, broken, too_long };

Received receive_reply(int fd, Reply& reply)
{
    AC_MSG_PKT* received = nullptr;
    const std::int64_t got = recv_msg_from_acmsg(fd, &received);
    const Message message(received);
    if (got < 0 || !message) return Received::broken;
    const std::span<const UINT8> data = ac_msg_data(message.get());
    reply.header = *message;
    reply.data.assign(data.begin(), data.end());
    // The library leaves unread what it has no room for, and counts it.
    const bool whole = static_cast<std::int64_t>(sizeof(AC_MSG_PKT) + data.size()) == got;
    return whole ? Received::whole : Received::too_long;
}

} // namespace

std::string default_socket()
{
    const char* root = std::getenv("AC_ROOT");
    return std::string(root == nullptr ? "" : root) + "/var/ac_socket";
}

Channel::Channel(std::string path, double seconds) : path_(std::move(path)), seconds_(seconds)
{
    constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if (path_.empty()) throw std::invalid_argument("the path of the controller's socket is empty");
    if (path_.size() > longest)
        throw std::invalid_argument(
            fmt::format("{} has {} bytes: a socket's path has at most {}", path_, path_.size(), longest));
}

Reply Channel::exchange(const Request& request) const
{
    const Clock::time_point end =
        Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds_));
    const Socket socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.fd() < 0) unreachable(path_, errno);
    connect_until(socket, path_, end);
    const Deadline deadline(socket.fd(), end);
    const Hush hush;
    Reply reply;
    const Received received = send_request(socket.fd(), request) ? receive_reply(socket.fd(), reply) : Received::broken;
    if (received == Received::broken && deadline.passed())
        throw ChannelError(Failure::no_answer,
                           fmt::format("the controller at {} has not answered within {:g} s: it is busy or hangs; try "
                                       "again, or with a longer --timeout",
                                       path_, seconds_));
    if (received == Received::broken)
        throw ChannelError(Failure::closed,
                           fmt::format("the controller at {} closed the connection without a whole answer: is it a "
                                       "controller, and does it know this request (type {})?",
                                       path_, request.type & 0xFF));
    if (received == Received::too_long)
        throw ChannelError(Failure::bad_answer, fmt::format("the answer from {} claims {} bytes: is this a controller?",
                                                            path_, reply.header.msg_data_len));
    if (reply.header.ac_msg_type != request.reply_type)
        throw ChannelError(Failure::bad_answer,
                           fmt::format("the answer from {} has type {} where {} belongs: acctl and "
                                       "the controller don't fit together",
                                       path_, reply.header.ac_msg_type, request.reply_type));
    return reply;
}

} // namespace acctl
