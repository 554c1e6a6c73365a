#include "cgi_socket_handle/acmsg_server.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "cgi_socket_handle/ac_msg_block.h"
#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "platform/ac_clock.h"

static constexpr int BACKLOG = 5;
static constexpr mode_t SOCKET_MODE = 0660; // the web interface's group, nobody else
static constexpr int RECEIVE_BUFFER = 700000;
static constexpr int WAIT_SECONDS = 2;
static constexpr int WAIT_MICROSECONDS = 1000;
static constexpr int PAUSE_AFTER_FAILURE = 1; // seconds
static constexpr int DISCARD_PAUSE = 2;       // seconds without a byte after which a client has stopped sending

// --- the socket ------------------------------------------------------------------------------------------------------

int acmsg_initserver()
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return 0;
    const struct sockaddr_un address = ac_msg_address();
    (void)unlink(address.sun_path);
    // The file takes the descriptor's mode, less the umask, so it is never wider than this. The umask itself belongs to
    // all threads and is left alone; what it took away is given back once the file is there.
    (void)fchmod(fd, SOCKET_MODE);
    if (bind(fd, reinterpret_cast<const struct sockaddr*>(&address), AC_MSG_ADDRESS_LEN) == 0)
        (void)chmod(address.sun_path, SOCKET_MODE);
    (void)listen(fd, BACKLOG);
    return fd;
}

int accept_client(int server_fd, struct sockaddr* /*out_addr*/)
{
    struct sockaddr_un peer = {};
    socklen_t length = 1; // no address is wanted
    // Not for the commands that handlers run: one in the background would keep the connection open.
    return accept4(server_fd, reinterpret_cast<struct sockaddr*>(&peer), &length, SOCK_CLOEXEC);
}

void shut_down(int sock)
{
    if (sock >= 0) close(sock);
}

// --- messages --------------------------------------------------------------------------------------------------------

std::int64_t acmsg_recvfrom_cgi(int sock, AC_MSG_PKT** info)
{
    if (info == nullptr) return -1;
    const ac_msg_input input = ac_msg_read(sock);
    *info = input.msg;
    if (input.fault == AC_MSG_NO_MEMORY) AC_ERR("alloc of msg header failed.");
    if (input.fault == AC_MSG_BAD_HEADER) AC_ERR("bad read msgheader, rc=%d errno=%d\r\n", input.rc, input.error);
    if (input.fault == AC_MSG_BAD_BODY) AC_ERR("bad read msg, rc=%d errno=%d\r\n", input.rc, input.error);
    return input.count;
}

void acmsg_discard_body(int sock, const AC_MSG_PKT* msg)
{
    std::int64_t left = std::int64_t{msg->msg_data_len} - static_cast<std::int64_t>(ac_msg_data(msg).size());
    UINT8 scrap[16384];
    while (left > 0 && ac_wait_readable(sock, DISCARD_PAUSE, 0) == 1) {
        const std::int64_t wanted = std::min<std::int64_t>(left, sizeof scrap);
        const ssize_t got = recv(sock, scrap, static_cast<std::size_t>(wanted), MSG_DONTWAIT);
        if (got <= 0) return;
        left -= got;
    }
}

namespace {

// A signal would cut a long write in two, and a reply cut in two is lost. The daemon's other threads take signals
// meanwhile; what a thread brings upon itself is not held.
class [[nodiscard]] signals_held {
public:
    signals_held()
    {
        sigset_t all;
        sigfillset(&all);
        for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
            sigdelset(&all, own);
        pthread_sigmask(SIG_BLOCK, &all, &before_);
    }
    ~signals_held() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    signals_held(const signals_held&) = delete;
    signals_held& operator=(const signals_held&) = delete;

private:
    sigset_t before_;
};

} // namespace

std::int64_t acmsg_sendto_cgi(int sock, const AC_MSG_PKT* msg, std::size_t totalLen)
{
    const signals_held held;
    const ac_reader_pause pause; // a client that doesn't read its reply is waited for without an end
    const std::span<const UINT8> whole(reinterpret_cast<const UINT8*>(msg), totalLen);
    std::size_t written = 0;
    while (written < totalLen) {
        // Counted in headers, not in bytes: right for the first write, which is a whole one but for rare exceptions.
        const std::uint64_t at = std::uint64_t{written} * sizeof(AC_MSG_PKT);
        const std::size_t length = totalLen - written;
        if (at + length > totalLen) return -1;
        const ssize_t step = send(sock, whole.data() + at, length, MSG_NOSIGNAL);
        if (step >= 0)
            written += static_cast<std::size_t>(step);
        else if (errno != EINTR && errno != EAGAIN)
            return -1;
    }
    return static_cast<std::int64_t>(written);
}

// --- the thread ------------------------------------------------------------------------------------------------------

void acmsg_serve_connection(int fd)
{
    (void)acmsg_handle_socket(fd); // the web interface learns from the reply, if at all
    shut_down(fd);
}

void acmsg_serve_round(int server_fd)
{
    const int ready = ac_wait_readable(server_fd, WAIT_SECONDS, WAIT_MICROSECONDS);
    if (ready == -1) AC_ERR("select:errno[%d]\n", errno);
    if (ready != 1) return;
    const int fd = accept_client(server_fd, nullptr);
    if (fd == -1) {
        perror("accept.\n");
        // Descriptors have run out, or the path could not be taken: both last, and the socket stays ready meanwhile.
        ac_sleep(PAUSE_AFTER_FAILURE);
        return;
    }
    acmsg_serve_connection(fd);
}

// So that large batch requests fit.
static void widen_receive_buffer(int server_fd)
{
    int bytes = 0;
    socklen_t length = sizeof bytes;
    if (server_fd > 0) (void)getsockopt(server_fd, SOL_SOCKET, SO_RCVBUF, &bytes, &length);
    printf("-------len=%d\n", bytes);
    bytes = RECEIVE_BUFFER;
    if (server_fd > 0 && setsockopt(server_fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof bytes) == 0) printf("set ok");
}

void* acmsg_cgi_thread(void* /*unused*/)
{
    const int server_fd = acmsg_initserver();
    widen_receive_buffer(server_fd);
    if (server_fd <= 0) {
        AC_ERR("Init Server Socket failed.\n");
        return nullptr;
    }
    acwtp_thread_row(PTHREAD_AC_MSG);
    acwtp_thread_log("acmsg_cgi_thread", "\n");
    for (;;)
        acmsg_serve_round(server_fd);
}
