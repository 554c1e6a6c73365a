// The web interface's end of the control channel, against a daemon that answers what a test wants.
#include "cgi_socket_handle/acmsg_client.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <cerrno>
#include <climits>
#include <filesystem>
#include <functional>
#include <iterator>
#include <thread>

#include "cgi_socket_handle/acmsg_server.h"
#include "child_process.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "control_kit.h"
#include "platform/ac_clock.h"

namespace {

class AcmsgClient : public ControlWorld {};

// A daemon for one connection: takes the request, answers with the given bytes, closes.
class OneAnswer {
public:
    explicit OneAnswer(const Bytes& answer, const std::function<void()>& meanwhile = nullptr)
        : server_(acmsg_initserver()), thread_([this, answer, meanwhile] {
              const int fd = accept_client(server_, nullptr);
              AC_MSG_PKT* msg = nullptr;
              if (acmsg_recvfrom_cgi(fd, &msg) >= 0) {
                  const auto* bytes = reinterpret_cast<const UINT8*>(msg);
                  request_.assign(bytes, bytes + 20 + ac_msg_data(msg).size());
                  ac_msg_free(msg);
              }
              if (meanwhile) meanwhile();
              for (const UINT8 byte : answer)
                  EXPECT_EQ(write(fd, &byte, 1), 1);
              shut_down(fd);
          })
    {}
    ~OneAnswer() { request(); }
    OneAnswer(const OneAnswer&) = delete;
    OneAnswer& operator=(const OneAnswer&) = delete;
    // What it got; waits for its end.
    const Bytes& request()
    {
        if (thread_.joinable()) thread_.join();
        shut_down(server_);
        server_ = -1;
        return request_;
    }

private:
    int server_;
    Bytes request_;
    std::thread thread_;
};

struct Reply {
    ~Reply() { ac_msg_free(msg); }
    AC_MSG_PKT* msg = reinterpret_cast<AC_MSG_PKT*>(this); // not null, so that a null shows
};

int timeout_ms(int fd, int option)
{
    struct timeval limit = {};
    socklen_t length = sizeof limit;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, option, &limit, &length), 0);
    return static_cast<int>(limit.tv_sec * 1000 + limit.tv_usec / 1000);
}

std::ptrdiff_t open_descriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

// Whether somebody holds the mutex; leaves it as it is.
bool mutex_is_held()
{
    if (pthread_mutex_trylock(&send_msg_mutex.m) != 0) return true;
    pthread_mutex_unlock(&send_msg_mutex.m);
    return false;
}

} // namespace

// --- the exchange ----------------------------------------------------------------------------------------------------

TEST_F(AcmsgClient, a_request_goes_out_as_it_lies_and_a_reply_of_its_type_and_1_is_success)
{
    OneAnswer daemon(control_head(17, 2) + Bytes{8, 9});
    Reply reply;
    EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {1, 2, 3}, 5).get(), &reply.msg), 1);
    EXPECT_EQ(daemon.request(), control_head(16, 3, 5) + Bytes({1, 2, 3}));
    ASSERT_NE(reply.msg, nullptr);
    EXPECT_EQ(reply.msg->ac_msg_type, 17);
    EXPECT_EQ(ac_msg_data(reply.msg).size(), 2U);
}

TEST_F(AcmsgClient, a_reply_of_another_type_is_a_failure_and_stored_all_the_same)
{
    for (const int type : {18, 16, 0x0111}) {
        OneAnswer daemon(control_head(type, 1) + Bytes{8});
        Reply reply;
        EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg), 0);
        ASSERT_NE(reply.msg, nullptr);
        EXPECT_EQ(reply.msg->ac_msg_type, type);
        EXPECT_EQ(ac_msg_data(reply.msg).size(), 1U);
    }
}

TEST_F(AcmsgClient, a_plain_response_to_a_request_with_a_sub_flag_is_not_accepted)
{
    OneAnswer daemon(control_head(0x08, 0));
    Reply reply;
    EXPECT_EQ(cgi_send_and_recv_msg(Message(0x0107, {}).get(), &reply.msg), 0);
    EXPECT_NE(reply.msg, nullptr);
}

TEST_F(AcmsgClient, types_are_compared_without_a_wrap_at_16_bits)
{
    OneAnswer daemon(control_head(0, 0));
    Reply reply;
    EXPECT_EQ(cgi_send_and_recv_msg(Message(0xFFFF, {}).get(), &reply.msg), 0);
}

TEST_F(AcmsgClient, a_connection_that_closes_without_a_reply_is_a_failure)
{
    OneAnswer daemon({});
    Reply reply;
    int result = 1;
    const std::string out = output_of([&] { result = cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(reply.msg, nullptr);
    EXPECT_EQ(out.compare(0, 31, "bad read msgheader, rc=0 errno="), 0) << out;
}

TEST_F(AcmsgClient, a_reply_in_one_byte_pieces_is_whole_in_the_end)
{
    OneAnswer daemon(control_head(17, 3) + Bytes{1, 2, 3}); // it writes them so
    Reply reply;
    EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg), 1);
}

TEST_F(AcmsgClient, a_message_without_a_reply_gives_the_bytes_sent)
{
    OneAnswer daemon({});
    EXPECT_EQ(cgi_send_msg(Message(SET_SYS_LANG, {'c', 'n'}).get()), 22);
    EXPECT_EQ(daemon.request(), control_head(43, 2) + Bytes({'c', 'n'}));
}

TEST_F(AcmsgClient, a_message_that_is_cut_short_while_it_is_sent_is_a_failure)
{
    {
        OneAnswer daemon({});
        io_script_send({{5}, {-1, EPIPE}});
        EXPECT_EQ(cgi_send_msg(Message(43, {}).get()), 0);
    }
    OneAnswer daemon({});
    io_script_send({{-1, EPIPE}});
    Reply reply;
    EXPECT_EQ(cgi_send_and_recv_msg(Message(43, {}).get(), &reply.msg), 0);
    EXPECT_EQ(reply.msg, nullptr);
}

TEST_F(AcmsgClient, a_daemon_that_is_gone_fails_the_write_and_nothing_else)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    close(ends[0]);
    EXPECT_EQ(send_msg_to_acmsg(ends[1], Message(16, {}).get(), 20), -1);
    close(ends[1]);
}

TEST_F(AcmsgClient, a_message_with_a_negative_length_or_none_at_all_is_not_sent)
{
    const Message message(16, {});
    for (const int length : {-1, -20, INT_MIN}) {
        message->msg_data_len = length;
        OneAnswer daemon({});
        Reply reply;
        EXPECT_EQ(cgi_send_and_recv_msg(message.get(), &reply.msg), 0);
        EXPECT_EQ(daemon.request(), Bytes());
    }
    OneAnswer daemon({});
    EXPECT_EQ(cgi_send_msg(nullptr), 0);
}

TEST_F(AcmsgClient, with_nothing_listening_every_call_fails_after_a_line)
{
    Reply reply;
    EXPECT_EQ(printed([] { EXPECT_EQ(cgi_connect_server(), -1); }), "! connect");
    EXPECT_EQ(printed([] { EXPECT_EQ(acmsg_connect_server(), -1); }), "! connect");
    EXPECT_EQ(printed([&] { EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg), 0); }), "! connect");
    EXPECT_EQ(reply.msg, nullptr);
    EXPECT_EQ(printed([] { EXPECT_EQ(cgi_send_msg(Message(16, {}).get()), 0); }), "! connect");
}

TEST_F(AcmsgClient, a_failed_connect_is_told_under_the_name_of_its_function)
{
    EXPECT_EQ(output_of([] { (void)cgi_connect_server(); }).compare(0, 26, "Error->cgi_connect_server("), 0);
    EXPECT_EQ(output_of([] { (void)acmsg_connect_server(); }).compare(0, 28, "Error->acmsg_connect_server("), 0);
}

// --- the connection --------------------------------------------------------------------------------------------------

TEST_F(AcmsgClient, a_connection_has_time_outs_of_a_second)
{
    const int server = acmsg_initserver();
    for (const auto connect_to : {cgi_connect_server, acmsg_connect_server}) {
        const int fd = connect_to();
        EXPECT_GT(fd, 0);
        EXPECT_EQ(timeout_ms(fd, SO_SNDTIMEO), 1000);
        EXPECT_EQ(timeout_ms(fd, SO_RCVTIMEO), 1000);
        EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        EXPECT_EQ(cgi_disconnect_server(fd), 0);
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    }
    shut_down(server);
}

TEST_F(AcmsgClient, time_outs_of_what_is_no_socket_fail)
{
    EXPECT_EQ(ac_set_socket_timeout(-1), -1);
}

TEST_F(AcmsgClient, without_a_time_out_for_sending_none_is_set_for_receiving_and_the_connection_stands)
{
    const ChildOutcome child = in_child([] {
        io_refuse_option(SO_SNDTIMEO);
        const int server = acmsg_initserver();
        const int fd = cgi_connect_server();
        EXPECT_GT(fd, 0);
        EXPECT_EQ(ac_set_socket_timeout(fd), -1);
        EXPECT_EQ(timeout_ms(fd, SO_RCVTIMEO), 0);
        io_refuse_option(SO_RCVTIMEO);
        EXPECT_EQ(ac_set_socket_timeout(fd), -1);
        EXPECT_EQ(timeout_ms(fd, SO_SNDTIMEO), 1000);
        cgi_disconnect_server(fd);
        shut_down(server);
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(AcmsgClient, a_descriptor_is_closed_from_1_on)
{
    const ChildOutcome child = in_child([] {
        const int out = dup(STDOUT_FILENO);
        dup2(out, 0);
        EXPECT_EQ(cgi_disconnect_server(1), 0);
        const int closed = fcntl(1, F_GETFD);
        dup2(out, 1);
        EXPECT_EQ(closed, -1);
        EXPECT_EQ(cgi_disconnect_server(0), 0);
        EXPECT_NE(fcntl(0, F_GETFD), -1);
        errno = 0;
        EXPECT_EQ(cgi_disconnect_server(-1), 0);
        EXPECT_EQ(errno, 0) << "not tried";
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(AcmsgClient, descriptor_0_is_no_connection)
{
    const ChildOutcome child = in_child([] {
        const int server = acmsg_initserver();
        close(0); // the next descriptor
        Reply reply;
        EXPECT_EQ(cgi_send_msg(Message(16, {}).get()), 0);
        close(0); // it stayed open
        EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg), 0);
        EXPECT_EQ(reply.msg, nullptr);
        for (int connection = 0; connection < 2; connection++) {
            const int fd = accept_client(server, nullptr);
            EXPECT_GE(fd, 0);
            UINT8 byte = 0;
            EXPECT_LE(recv(fd, &byte, 1, MSG_DONTWAIT), 0) << "nothing was sent";
            shut_down(fd);
        }
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(AcmsgClient, without_a_descriptor_a_connect_fails_silently)
{
    const ChildOutcome child = in_child([] {
        const struct rlimit none = {3, 3};
        setrlimit(RLIMIT_NOFILE, &none);
        for (int fd = 3; fd < 1024; fd++)
            close(fd);
        EXPECT_EQ(cgi_connect_server(), -1);
        EXPECT_EQ(acmsg_connect_server(), -1);
        EXPECT_EQ(cgi_send_msg(Message(16, {}).get()), 0);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_EQ(child.out, "");
}

TEST_F(AcmsgClient, an_exchange_leaves_no_descriptor_behind_however_it_ends)
{
    const std::ptrdiff_t before = open_descriptors();
    const Message message(16, {});
    Reply reply;
    (void)output_of([&] { // nobody listens
        (void)cgi_send_and_recv_msg(message.get(), &reply.msg);
        (void)cgi_send_msg(message.get());
    });
    EXPECT_EQ(open_descriptors(), before);
    for (const Bytes& answer : {control_head(17, 0), control_head(18, 0)}) {
        OneAnswer daemon(answer);
        ac_msg_free(reply.msg);
        (void)cgi_send_and_recv_msg(message.get(), &reply.msg);
        daemon.request();
        EXPECT_EQ(open_descriptors(), before);
    }
    OneAnswer daemon({});
    EXPECT_EQ(cgi_send_msg(message.get()), 20);
    daemon.request();
    EXPECT_EQ(open_descriptors(), before);
}

// --- messages --------------------------------------------------------------------------------------------------------

TEST_F(AcmsgClient, a_write_that_is_cut_short_goes_on_at_its_byte)
{
    Connection connection;
    io_script_send({{1}, {-1, EAGAIN}, {7}, {-1, EINTR}, {20}});
    EXPECT_EQ(send_msg_to_acmsg(connection.client(), Message(16, Bytes(60, 0x5A)).get(), 80), 80);
    EXPECT_EQ(connection.unread(), control_head(16, 60) + Bytes(60, 0x5A));
    io_script_send({{-1, EIO}});
    EXPECT_EQ(send_msg_to_acmsg(connection.client(), Message(16, {}).get(), 20), -1);
}

TEST_F(AcmsgClient, a_time_out_starts_the_wait_for_the_reply_again_and_loses_what_had_come_of_its_header)
{
    Connection connection;
    connection.request(Bytes(3, 0xEE) + control_head(17, 0));
    io_script_read({{-1, EAGAIN}, {3}, {-1, EAGAIN}});
    AC_MSG_PKT* reply = nullptr;
    EXPECT_EQ(recv_msg_from_acmsg(connection.fd(), &reply), 20);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->ac_msg_type, 17);
    ac_msg_free(reply);
}

TEST_F(AcmsgClient, a_reply_that_is_cut_is_told_in_the_client_s_own_words)
{
    for (std::size_t length = 0; length < 24; length++) {
        Connection connection;
        Bytes bytes = control_head(17, 4) + Bytes(4, 1);
        bytes.resize(length);
        connection.request(bytes);
        AC_MSG_PKT* reply = reinterpret_cast<AC_MSG_PKT*>(this);
        const std::string out = output_of([&] { EXPECT_EQ(recv_msg_from_acmsg(connection.fd(), &reply), -1); });
        EXPECT_EQ(reply, nullptr);
        const std::string start = length < 20 ? "bad read msgheader, rc=" + std::to_string(length) + " errno="
                                              : "bad read msg, rc=" + std::to_string(length - 20) + " errno=";
        EXPECT_EQ(out.compare(0, start.size(), start), 0) << out;
        EXPECT_EQ(out.substr(out.size() - 2), "\r\n");
    }
}

TEST_F(AcmsgClient, without_a_place_or_memory_for_the_reply_it_says_so)
{
    Connection connection;
    connection.request(control_head(17, 0));
    std::string said = complaint_of([&] { EXPECT_EQ(recv_msg_from_acmsg(connection.fd(), nullptr), -1); });
    EXPECT_EQ(said.compare(0, 13, "msg is nul.: "), 0) << said;
    ac_alloc_fail_after(0);
    AC_MSG_PKT* reply = reinterpret_cast<AC_MSG_PKT*>(this);
    said = complaint_of([&] { EXPECT_EQ(recv_msg_from_acmsg(connection.fd(), &reply), -1); });
    EXPECT_EQ(said.compare(0, 29, "alloc of msg header failed.: "), 0) << said;
    EXPECT_EQ(reply, nullptr);
}

TEST_F(AcmsgClient, a_reply_whose_body_has_no_memory_is_its_header_and_the_count_of_all)
{
    Connection connection;
    connection.request(control_head(17, 4) + Bytes(4, 1));
    ac_alloc_fail_after(1);
    AC_MSG_PKT* reply = nullptr;
    EXPECT_EQ(recv_msg_from_acmsg(connection.fd(), &reply), 24);
    ASSERT_NE(reply, nullptr);
    EXPECT_TRUE(ac_msg_data(reply).empty());
    ac_msg_free(reply);
}

// --- the mutex -------------------------------------------------------------------------------------------------------

TEST_F(AcmsgClient, an_exchange_holds_the_mutex_from_the_connect_to_the_reply)
{
    bool held = false;
    OneAnswer daemon(control_head(17, 0), [&] { held = mutex_is_held(); });
    Reply reply;
    EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg), 1);
    EXPECT_TRUE(held);
    EXPECT_EQ(lockAcMsgMutex(), 1) << "and gives it back";
    EXPECT_EQ(unlockAcMsgMutex(), 1);
}

TEST_F(AcmsgClient, a_message_without_a_reply_is_sent_under_the_mutex)
{
    bool held = false;
    const int server = acmsg_initserver();
    io_before_send([&] { held = mutex_is_held(); });
    EXPECT_EQ(cgi_send_msg(Message(16, {}).get()), 20);
    EXPECT_TRUE(held);
    EXPECT_EQ(lockAcMsgMutex(), 1) << "and gives it back";
    EXPECT_EQ(unlockAcMsgMutex(), 1);
    shut_down(server);
}

TEST_F(AcmsgClient, the_mutex_is_given_back_also_after_a_failure)
{
    (void)output_of([] {
        Reply reply;
        (void)cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg);
        (void)cgi_send_msg(Message(16, {}).get());
    });
    EXPECT_EQ(lockAcMsgMutex(), 1);
    EXPECT_EQ(unlockAcMsgMutex(), 1);
}

TEST_F(AcmsgClient, a_mutex_that_cannot_be_locked_or_unlocked_is_told)
{
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
    GTEST_SKIP() << "the sanitizer takes the misuse for a mistake of the program";
#endif
#endif
    const ChildOutcome child = in_child([] {
        pthread_mutexattr_t checked;
        pthread_mutexattr_init(&checked);
        pthread_mutexattr_settype(&checked, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&send_msg_mutex.m, &checked);
        std::string said = complaint_of([] { EXPECT_EQ(unlockAcMsgMutex(), 0); });
        EXPECT_EQ(said.compare(0, 22, "Mutex unlock failed.: "), 0) << said;
        pthread_mutex_lock(&send_msg_mutex.m);
        said = complaint_of([] { EXPECT_EQ(lockAcMsgMutex(), 0); });
        EXPECT_EQ(said.compare(0, 20, "Mutex lock failed.: "), 0) << said;
        const int server = acmsg_initserver();
        Reply reply;
        EXPECT_EQ(cgi_send_msg(Message(16, {}).get()), 0);
        EXPECT_EQ(cgi_send_and_recv_msg(Message(16, {}).get(), &reply.msg), 0);
        EXPECT_EQ(ac_wait_readable(server, 0, 0), 0) << "nobody has connected";
        shut_down(server);
    });
    EXPECT_EQ(child.status, 0) << child.out;
}
