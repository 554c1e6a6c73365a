#include "cgi_socket_handle/acmsg_client.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "cgi_socket_handle/ac_msg_io.h"
#include "common/ac_types.h"

ac_mutex send_msg_mutex("send_msg_mutex", AC_RANK_SEND_MSG);

int lockAcMsgMutex() AC_NO_TSA
{
    errno = ac_mutex_acquire(send_msg_mutex);
    if (errno == 0) return 1;
    perror("Mutex lock failed.");
    return 0;
}

int unlockAcMsgMutex() AC_NO_TSA
{
    errno = ac_mutex_release(send_msg_mutex);
    if (errno == 0) return 1;
    perror("Mutex unlock failed.");
    return 0;
}

// --- the connection --------------------------------------------------------------------------------------------------

int ac_set_socket_timeout(int sock)
{
    const struct timeval limit = {1, 0};
    if (setsockopt(sock, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0) return -1;
    return setsockopt(sock, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0 ? 0 : -1;
}

static int connect_server(const char* function)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return fd;
    const struct sockaddr_un address = ac_msg_address();
    if (connect(fd, reinterpret_cast<const struct sockaddr*>(&address), AC_MSG_ADDRESS_LEN) == -1) {
        printf("Error->%s(%d)--connect", function, __LINE__);
        close(fd);
        return -1;
    }
    (void)ac_set_socket_timeout(fd); // without time-outs a wait is one long one instead of many
    return fd;
}

int acmsg_connect_server()
{
    return connect_server(__func__);
}

int cgi_connect_server()
{
    return connect_server(__func__);
}

int cgi_disconnect_server(int fd)
{
    if (fd >= 1) close(fd);
    return 0;
}

// --- messages --------------------------------------------------------------------------------------------------------

std::int64_t send_msg_to_acmsg(int sock, const AC_MSG_PKT* msg, std::size_t totalLen)
{
    const auto* bytes = reinterpret_cast<const UINT8*>(msg);
    std::size_t sent = 0;
    while (sent < totalLen) {
        // Without a signal: a web program has other uses for SIGPIPE than to die of a daemon's restart.
        const ssize_t step = send(sock, bytes + sent, totalLen - sent, MSG_NOSIGNAL);
        if (step >= 0)
            sent += static_cast<std::size_t>(step);
        else if (errno != EINTR && errno != EAGAIN)
            return -1;
    }
    return static_cast<std::int64_t>(sent);
}

static void print_fault(const ac_msg_input& input)
{
    if (input.fault == AC_MSG_NO_MEMORY) perror("alloc of msg header failed.");
    if (input.fault == AC_MSG_BAD_HEADER) printf("bad read msgheader, rc=%d errno=%d\r\n", input.rc, input.error);
    if (input.fault == AC_MSG_BAD_BODY) printf("bad read msg, rc=%d errno=%d\r\n", input.rc, input.error);
}

std::int64_t recv_msg_from_acmsg(int sock, AC_MSG_PKT** info)
{
    if (info == nullptr) {
        perror("msg is nul.");
        return -1;
    }
    const ac_msg_input input = ac_msg_read(sock);
    *info = input.msg;
    print_fault(input);
    return input.count;
}

// --- the exchange ----------------------------------------------------------------------------------------------------

// Bytes of a whole message; 0 for one that can't be sent.
static std::size_t length_of(const AC_MSG_PKT* msg)
{
    if (msg == nullptr || msg->msg_data_len < 0) return 0;
    return static_cast<std::size_t>(msg->msg_data_len) + sizeof *msg;
}

static bool send_whole(int fd, const AC_MSG_PKT* msg)
{
    const std::size_t length = length_of(msg);
    return length != 0 && send_msg_to_acmsg(fd, msg, length) == static_cast<std::int64_t>(length);
}

static bool exchange(int fd, const AC_MSG_PKT* msg, AC_MSG_PKT** replyMsg)
{
    if (!send_whole(fd, msg)) return false;
    if (recv_msg_from_acmsg(fd, replyMsg) < 0) return false;
    return (*replyMsg)->ac_msg_type == msg->ac_msg_type + 1;
}

int cgi_send_and_recv_msg(const AC_MSG_PKT* msg, AC_MSG_PKT** replyMsg)
{
    if (replyMsg != nullptr) *replyMsg = nullptr;
    if (lockAcMsgMutex() == 0) return 0;
    const int fd = cgi_connect_server();
    const bool answered = fd > 0 && exchange(fd, msg, replyMsg);
    (void)unlockAcMsgMutex(); // printed there
    cgi_disconnect_server(fd);
    return answered ? 1 : 0;
}

int cgi_send_msg(const AC_MSG_PKT* msg)
{
    if (lockAcMsgMutex() == 0) return 0;
    const int fd = cgi_connect_server();
    const bool sent = fd > 0 && send_whole(fd, msg);
    (void)unlockAcMsgMutex(); // printed there
    cgi_disconnect_server(fd);
    return sent ? static_cast<int>(length_of(msg)) : 0;
}
