// The daemon's end of the control channel: messages read and written, the socket, and one round of the thread.
#include "cgi_socket_handle/acmsg_server.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <thread>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "cgi_socket_handle/acmsg_client.h"
#include "child_process.h"
#include "common/ac_alloc.h"
#include "common/config_ap_type.h"
#include "control_kit.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"

namespace {

class AcmsgServer : public ControlWorld {
protected:
    struct Received {
        std::int64_t count = 0;
        bool whole = false;
        Bytes head;
        Bytes data;
        std::string out;
    };

    Received receive(Connection& connection)
    {
        Received received;
        AC_MSG_PKT* msg = reinterpret_cast<AC_MSG_PKT*>(this); // not null, so that a null shows
        received.out = printed([&] { received.count = acmsg_recvfrom_cgi(connection.fd(), &msg); });
        received.whole = msg != nullptr;
        if (!received.whole) return received;
        const auto* bytes = reinterpret_cast<const UINT8*>(msg);
        received.head.assign(bytes, bytes + 20);
        const std::span<const UINT8> data = ac_msg_data(msg);
        received.data.assign(data.begin(), data.end());
        ac_msg_free(msg);
        return received;
    }

    Received receive(const Bytes& bytes)
    {
        Connection connection;
        connection.request(bytes);
        return receive(connection);
    }
};

bool starts_with(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

} // namespace

// --- reading ---------------------------------------------------------------------------------------------------------

TEST_F(AcmsgServer, a_message_is_taken_field_by_field_as_it_lies)
{
    Connection connection;
    connection.request({0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 10,  11,  12, 13,
                        0x0E, 0x0F, 16,   17,   3,    0,    0,    0,    'a', 'b', 'c'});
    AC_MSG_PKT* msg = nullptr;
    EXPECT_EQ(acmsg_recvfrom_cgi(connection.fd(), &msg), 23);
    ASSERT_NE(msg, nullptr);
    EXPECT_EQ(msg->ap_flag, 0x0201);
    EXPECT_EQ(msg->action, 0x0403);
    EXPECT_EQ(msg->ac_msg_type, 0x0605);
    EXPECT_EQ(msg->ap_num, 0x0807);
    EXPECT_EQ(msg->ip[0], 10);
    EXPECT_EQ(msg->ip[3], 13);
    EXPECT_EQ(msg->port, 0x0F0E);
    EXPECT_EQ(msg->msg_data_len, 3);
    const std::span<const UINT8> data = ac_msg_data(msg);
    EXPECT_EQ(Bytes(data.begin(), data.end()), (Bytes{'a', 'b', 'c'}));
    ac_msg_free(msg);
}

TEST_F(AcmsgServer, a_length_of_0_gives_a_block_of_20_bytes)
{
    const Received received = receive(control_head(7, 0));
    EXPECT_EQ(received.count, 20);
    EXPECT_EQ(received.head, control_head(7, 0));
    EXPECT_TRUE(received.data.empty());
    EXPECT_EQ(received.out, "");
}

TEST_F(AcmsgServer, a_negative_length_means_no_body)
{
    for (const int length : {-1, -20, INT_MIN}) {
        const Received received = receive(control_head(7, length) + Bytes{1, 2, 3});
        EXPECT_EQ(received.count, 20);
        EXPECT_EQ(received.head, control_head(7, length));
        EXPECT_TRUE(received.data.empty());
    }
}

TEST_F(AcmsgServer, what_follows_the_announced_body_stays_in_the_connection)
{
    Connection connection;
    connection.request(control_head(7, 2) + Bytes{1, 2, 3});
    EXPECT_EQ(receive(connection).data, (Bytes{1, 2}));
    EXPECT_EQ(connection.unread(), (Bytes{3}));
}

TEST_F(AcmsgServer, a_header_cut_at_any_length_is_told_and_refused)
{
    for (std::size_t length = 0; length < 20; length++) {
        Bytes bytes = control_head(7, 0);
        bytes.resize(length);
        const Received received = receive(bytes);
        EXPECT_EQ(received.count, -1);
        EXPECT_FALSE(received.whole);
        EXPECT_TRUE(starts_with(received.out, "! bad read msgheader, rc=" + std::to_string(length) + " errno="));
        EXPECT_EQ(received.out.substr(received.out.size() - 2), "\r\n");
    }
}

TEST_F(AcmsgServer, a_body_cut_at_any_length_is_told_and_refused)
{
    for (std::size_t length = 0; length < 8; length++) {
        const Received received = receive(control_head(7, 8) + Bytes(length, 1));
        EXPECT_EQ(received.count, -1);
        EXPECT_FALSE(received.whole);
        EXPECT_TRUE(starts_with(received.out, "! bad read msg, rc=" + std::to_string(length) + " errno="));
        EXPECT_EQ(received.out.substr(received.out.size() - 2), "\r\n");
    }
}

TEST_F(AcmsgServer, a_failed_connection_is_told_with_its_errno)
{
    io_script_read({{-1, ECONNRESET}});
    EXPECT_EQ(receive(control_head(7, 1) + Bytes{1}).out, "! bad read msgheader, rc=-1 errno=104\r\n");
    io_script_read({{20}, {-1, EIO}});
    EXPECT_EQ(receive(control_head(7, 1) + Bytes{1}).out, "! bad read msg, rc=-1 errno=5\r\n");
}

TEST_F(AcmsgServer, without_a_place_for_the_message_it_reads_nothing)
{
    Connection connection;
    connection.request(control_head(7, 0));
    EXPECT_EQ(printed([&] { EXPECT_EQ(acmsg_recvfrom_cgi(connection.fd(), nullptr), -1); }), "");
    EXPECT_EQ(connection.unread().size(), 20U);
}

TEST_F(AcmsgServer, without_memory_for_the_header_the_message_is_refused)
{
    ac_alloc_fail_after(0);
    const Received received = receive(control_head(7, 0));
    EXPECT_EQ(received.count, -1);
    EXPECT_FALSE(received.whole);
    EXPECT_EQ(received.out, "! alloc of msg header failed.");
}

TEST_F(AcmsgServer, without_memory_for_the_body_the_header_comes_alone_and_the_count_still_includes_the_body)
{
    Connection connection;
    connection.request(control_head(7, 4, 1) + Bytes{1, 2, 3, 4});
    ac_alloc_fail_after(1);
    const Received received = receive(connection);
    EXPECT_EQ(received.count, 24);
    EXPECT_EQ(received.head, control_head(7, 4, 1));
    EXPECT_TRUE(received.data.empty());
    EXPECT_EQ(received.out, "");
    EXPECT_EQ(connection.unread(), (Bytes{1, 2, 3, 4}));
}

TEST_F(AcmsgServer, a_body_above_the_limit_counts_as_one_without_memory)
{
    for (const int length : {AC_MSG_DATA_MAX + 1, 100000000, INT_MAX - 19, INT_MAX}) {
        const Received received = receive(control_head(7, length) + Bytes{1, 2});
        EXPECT_EQ(received.count, std::int64_t{length} + 20);
        EXPECT_EQ(received.head, control_head(7, length));
        EXPECT_TRUE(received.data.empty());
        EXPECT_EQ(received.out, "");
    }
}

TEST_F(AcmsgServer, a_body_of_the_limit_is_taken_whole)
{
    Connection connection;
    std::thread client([&] {
        const Bytes message = control_head(7, AC_MSG_DATA_MAX) + Bytes(AC_MSG_DATA_MAX, 0x5A);
        EXPECT_EQ(
            send_msg_to_acmsg(connection.client(), reinterpret_cast<const AC_MSG_PKT*>(message.data()), message.size()),
            static_cast<std::int64_t>(message.size()));
    });
    const Received received = receive(connection);
    client.join();
    EXPECT_EQ(received.count, AC_MSG_DATA_MAX + 20);
    EXPECT_EQ(received.data, Bytes(AC_MSG_DATA_MAX, 0x5A));
}

TEST_F(AcmsgServer, a_message_that_comes_byte_by_byte_is_whole_in_the_end)
{
    io_script_read(std::vector<io_step>(23, {1}));
    const Received received = receive(control_head(7, 3) + Bytes{1, 2, 3});
    EXPECT_EQ(received.count, 23);
    EXPECT_EQ(received.data, (Bytes{1, 2, 3}));
    EXPECT_EQ(io_steps_left(), 0U);
}

TEST_F(AcmsgServer, a_signal_costs_no_byte)
{
    io_script_read({{10}, {-1, EINTR}, {10}, {-1, EINTR}, {1}, {-1, EINTR}});
    EXPECT_EQ(receive(control_head(7, 3) + Bytes{1, 2, 3}).data, (Bytes{1, 2, 3}));
    EXPECT_EQ(io_steps_left(), 0U);
}

TEST_F(AcmsgServer, a_time_out_starts_the_header_again_and_loses_what_had_come_of_it)
{
    io_script_read({{10}, {-1, EAGAIN}});
    const Received received = receive(Bytes(10, 0xEE) + control_head(7, 1) + Bytes{9});
    EXPECT_EQ(received.head, control_head(7, 1));
    EXPECT_EQ(received.data, (Bytes{9}));
}

TEST_F(AcmsgServer, a_time_out_starts_the_body_again_and_loses_what_had_come_of_it)
{
    io_script_read({{20}, {2}, {-1, EAGAIN}});
    EXPECT_EQ(receive(control_head(7, 3) + Bytes{1, 2, 3, 4, 5}).data, (Bytes{3, 4, 5}));
}

TEST_F(AcmsgServer, readn_gives_the_bytes_before_an_end_and_minus_1_for_an_error)
{
    UINT8 bytes[8] = {};
    Connection cut;
    cut.request({1, 2, 3});
    EXPECT_EQ(readn(cut.fd(), bytes, 8), 3);
    EXPECT_EQ(readn(cut.fd(), bytes, 8), 0);
    EXPECT_EQ(readn(cut.fd(), bytes, 0), 0);
    Connection failing;
    failing.request({1, 2, 3});
    io_script_read({{2}, {-1, EIO}});
    EXPECT_EQ(readn(failing.fd(), bytes, 3), -1);
    EXPECT_EQ(readn(failing.fd(), bytes, 1), 1) << "what was read before the error is given up";
    EXPECT_EQ(bytes[0], 3);
}

// --- writing ---------------------------------------------------------------------------------------------------------

TEST_F(AcmsgServer, a_message_is_written_whole)
{
    Connection connection;
    const Message message(0x0119, {1, 2, 3}, 2);
    EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), message.get(), 23), 23);
    EXPECT_EQ(connection.answer(), (Bytes{0, 0, 0, 0, 0x19, 0x01, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 1, 2, 3}));
    EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), message.get(), 0), 0);
}

TEST_F(AcmsgServer, a_write_that_is_cut_short_gives_the_exchange_up)
{
    for (const int written : {1, 5, 22}) {
        Connection connection;
        const Message message(7, {1, 2, 3});
        io_script_send({{written}});
        EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), message.get(), 23), -1);
        EXPECT_EQ(connection.answer().size(), static_cast<std::size_t>(written)) << "and nothing from elsewhere";
    }
}

TEST_F(AcmsgServer, a_write_is_tried_again_after_a_signal_and_a_full_socket_and_no_other_error)
{
    Connection connection;
    const Message message(7, {});
    io_script_send({{-1, EINTR}, {-1, EAGAIN}});
    EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), message.get(), 20), 20);
    EXPECT_EQ(io_steps_left(), 0U);
    io_script_send({{-1, EIO}});
    EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), message.get(), 20), -1);
}

TEST_F(AcmsgServer, a_client_that_is_gone_fails_the_write_and_nothing_else)
{
    Connection connection;
    connection.hang_up();
    EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), Message(7, {}).get(), 20), -1);
}

TEST_F(AcmsgServer, signals_wait_while_a_reply_is_written)
{
    const ChildOutcome child = in_child([] {
        struct sigaction action = {};
        action.sa_handler = [](int) {}; // without SA_RESTART: it would cut the write in two
        sigaction(SIGHUP, &action, nullptr);
        Connection connection;
        const Bytes large(4 * 1024 * 1024, 7);
        const pthread_t writer = pthread_self();
        std::thread client([&] {
            Bytes got(1 << 16);
            std::size_t sum = 0;
            while (sum < large.size()) {
                pthread_kill(writer, SIGHUP);
                const ssize_t step = recv(connection.client(), got.data(), got.size(), 0);
                if (step <= 0) break;
                sum += static_cast<std::size_t>(step);
            }
            EXPECT_EQ(sum, large.size());
        });
        EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), reinterpret_cast<const AC_MSG_PKT*>(large.data()), large.size()),
                  static_cast<std::int64_t>(large.size()));
        shutdown(connection.fd(), SHUT_RDWR);
        client.join();
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(AcmsgServer, what_a_thread_brings_upon_itself_is_not_held_and_after_the_reply_nothing_is)
{
    sigset_t before, during, after;
    pthread_sigmask(SIG_BLOCK, nullptr, &before);
    io_before_send([&] { pthread_sigmask(SIG_BLOCK, nullptr, &during); });
    const Connection connection;
    EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), Message(8, {}).get(), 20), 20);
    pthread_sigmask(SIG_BLOCK, nullptr, &after);
    for (const int sig : {SIGHUP, SIGTERM, SIGALRM, SIGCHLD, SIGPIPE}) {
        EXPECT_EQ(sigismember(&during, sig), 1) << sig;
        EXPECT_EQ(sigismember(&after, sig), sigismember(&before, sig)) << sig;
    }
    for (const int sig : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT})
        EXPECT_EQ(sigismember(&during, sig), 0) << sig;
}

TEST_F(AcmsgServer, a_client_that_does_not_read_its_reply_holds_no_deleted_record_back)
{
    ASSERT_EQ(ac_retired_sweep(), 0U);
    Connection connection;
    const Bytes large(4 * 1024 * 1024, 7);
    std::thread control([&] {
        const ac_reader section; // as around every request
        EXPECT_EQ(acmsg_sendto_cgi(connection.fd(), reinterpret_cast<const AC_MSG_PKT*>(large.data()), large.size()),
                  static_cast<std::int64_t>(large.size()));
    });
    Bytes got(large.size());
    EXPECT_EQ(recv(connection.client(), got.data(), 1, 0), 1); // it is writing now, and can't end
    ac_retire(ac_record_alloc(8));
    EXPECT_EQ(ac_retired_sweep(), 0U);
    EXPECT_EQ(recv(connection.client(), got.data(), got.size() - 1, MSG_WAITALL), static_cast<ssize_t>(got.size() - 1));
    control.join();
}

TEST_F(AcmsgServer, an_unread_body_is_taken_off_the_socket_and_no_more)
{
    Connection connection;
    connection.request(control_head(7, 4) + Bytes{1, 2, 3, 4, 5, 6});
    ac_alloc_fail_after(1);
    AC_MSG_PKT* msg = nullptr;
    ASSERT_EQ(acmsg_recvfrom_cgi(connection.fd(), &msg), 24);
    acmsg_discard_body(connection.fd(), msg);
    ac_msg_free(msg);
    EXPECT_EQ(connection.unread(), (Bytes{5, 6}));
}

TEST_F(AcmsgServer, behind_a_body_that_was_read_nothing_is_taken_off_the_socket)
{
    Connection connection;
    connection.request(control_head(7, 4) + Bytes{1, 2, 3, 4, 5, 6});
    AC_MSG_PKT* msg = nullptr;
    ASSERT_EQ(acmsg_recvfrom_cgi(connection.fd(), &msg), 24);
    acmsg_discard_body(connection.fd(), msg);
    ac_msg_free(msg);
    EXPECT_EQ(connection.unread(), (Bytes{5, 6}));
}

TEST_F(AcmsgServer, a_client_that_stops_sending_its_unread_body_is_left)
{
    Connection connection;
    ASSERT_EQ(write(connection.client(), "xx", 2), 2); // of 2 GiB, and the connection stays open
    const Message message(7, {});
    message->msg_data_len = INT_MAX;
    const std::int64_t before = ac_monotonic_us();
    acmsg_discard_body(connection.fd(), message.get());
    EXPECT_EQ(ac_monotonic_us() - before, 2000000) << "after two seconds without a byte";
    EXPECT_TRUE(connection.unread().empty());
}

TEST_F(AcmsgServer, a_reply_is_read_also_where_the_connection_closed_on_unread_bytes)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    ASSERT_EQ(write(ends[1], "more than was read", 18), 18);
    EXPECT_EQ(acmsg_sendto_cgi(ends[0], Message(8, {}).get(), 20), 20);
    shut_down(ends[0]);
    UINT8 reply[20] = {};
    EXPECT_EQ(read(ends[1], reply, 20), 20);
    EXPECT_EQ(reply[4], 8);
    close(ends[1]);
}

// --- the socket ------------------------------------------------------------------------------------------------------

namespace {

int receive_buffer_of_a_new_socket()
{
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    int bytes = 0;
    socklen_t length = sizeof bytes;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, &length), 0);
    close(fd);
    return bytes;
}

mode_t socket_mode()
{
    struct stat found = {};
    EXPECT_EQ(stat(ac_path("/var/ac_socket").c_str(), &found), 0);
    EXPECT_TRUE(S_ISSOCK(found.st_mode));
    return found.st_mode & 07777;
}

int connect_client(int flags = 0)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM | flags, 0);
    const struct sockaddr_un address = ac_msg_address();
    if (connect(fd, reinterpret_cast<const struct sockaddr*>(&address), 110) == 0) return fd;
    close(fd);
    return -1;
}

} // namespace

TEST_F(AcmsgServer, the_socket_lies_below_the_root)
{
    const struct sockaddr_un address = ac_msg_address();
    EXPECT_EQ(address.sun_family, AF_UNIX);
    EXPECT_EQ(std::string(address.sun_path), root + "/var/ac_socket");
}

TEST_F(AcmsgServer, a_path_of_107_characters_is_taken_whole_and_ended)
{
    const std::string fits = root + "/" + std::string(92 - root.size(), 'r');
    const ChildOutcome child = in_child([&] {
        setenv("AC_ROOT", fits.c_str(), 1);
        platform_init();
        const struct sockaddr_un address = ac_msg_address();
        EXPECT_EQ(std::string(address.sun_path, 107), fits + "/var/ac_socket");
        EXPECT_EQ(address.sun_path[107], '\0');
        const int fd = acmsg_initserver();
        const int client = connect_client();
        EXPECT_GE(client, 0);
        close(client);
        shut_down(fd);
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(AcmsgServer, the_socket_has_mode_0660_whatever_the_umask_and_never_a_wider_one)
{
    for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
        const mode_t before = umask(mask);
        const int fd = acmsg_initserver();
        umask(before);
        EXPECT_GT(fd, 0);
        EXPECT_EQ(socket_mode(), 0660U);
        EXPECT_EQ(io_modes_before_chmod().back(), 0660U & ~mask) << "as bind made it";
        shut_down(fd);
    }
}

TEST_F(AcmsgServer, the_file_of_an_earlier_run_is_replaced)
{
    write_file("/var/ac_socket", "left behind");
    const int fd = acmsg_initserver();
    EXPECT_EQ(socket_mode(), 0660U);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << "commands of the daemon don't keep it open";
    const int client = connect_client();
    EXPECT_GE(client, 0);
    close(client);
    shut_down(fd);
}

TEST_F(AcmsgServer, a_path_that_cannot_be_taken_gives_a_descriptor_that_nobody_reaches)
{
    (void)ac_path("/var/ac_socket/inside"); // its parent is a folder now
    const int fd = acmsg_initserver();
    EXPECT_GT(fd, 0);
    EXPECT_LT(connect_client(), 0);
    struct stat found = {};
    EXPECT_EQ(stat(ac_path("/var/ac_socket").c_str(), &found), 0);
    EXPECT_EQ(found.st_mode & 07777, 0755U) << "what stands there keeps its mode";
    shut_down(fd);
}

TEST_F(AcmsgServer, six_clients_can_wait_to_be_accepted)
{
    const int fd = acmsg_initserver();
    std::vector<int> clients;
    for (int client = connect_client(SOCK_NONBLOCK); client >= 0 && clients.size() < 100;
         client = connect_client(SOCK_NONBLOCK))
        clients.push_back(client);
    EXPECT_EQ(clients.size(), 6U) << "a backlog of 5 and one";
    for (const int client : clients)
        close(client);
    shut_down(fd);
}

TEST_F(AcmsgServer, without_a_socket_the_thread_ends_after_a_line)
{
    const ChildOutcome child = in_child([] {
        const struct rlimit none = {3, 3};
        setrlimit(RLIMIT_NOFILE, &none);
        for (int fd = 3; fd < 1024; fd++)
            close(fd);
        EXPECT_EQ(acmsg_initserver(), 0);
        EXPECT_EQ(acmsg_cgi_thread(nullptr), nullptr);
        printf("\nended\n");
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_NE(child.out.find("-------len=0\nError->acmsg_cgi_thread("), std::string::npos) << child.out;
    EXPECT_NE(child.out.find(")--Init Server Socket failed.\n\nended\n"), std::string::npos) << child.out;
    EXPECT_EQ(child.out.find("set ok"), std::string::npos);
}

TEST_F(AcmsgServer, a_connection_is_accepted_whatever_place_for_its_address_is_given)
{
    const int fd = acmsg_initserver();
    const int clients[2] = {connect_client(), connect_client()};
    struct sockaddr_un address = {};
    address.sun_family = 77;
    const int accepted[2] = {accept_client(fd, nullptr), accept_client(fd, reinterpret_cast<sockaddr*>(&address))};
    for (const int one : accepted) {
        EXPECT_GT(one, 0);
        EXPECT_EQ(fcntl(one, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC) << "commands of the daemon don't keep it open";
        shut_down(one);
    }
    EXPECT_EQ(address.sun_family, 77) << "ignored";
    EXPECT_EQ(io_last_accept_length(), 1U) << "for no address of the client's";
    for (const int one : clients)
        close(one);
    shut_down(fd);
    EXPECT_EQ(accept_client(fd, nullptr), -1);
}

TEST_F(AcmsgServer, only_a_descriptor_that_is_not_negative_is_closed)
{
    errno = 0;
    shut_down(-1);
    EXPECT_EQ(errno, 0) << "not tried";
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    shut_down(ends[0]);
    char end = 0;
    EXPECT_EQ(read(ends[1], &end, 1), 0);
    close(ends[1]);
    const ChildOutcome child = in_child([] {
        dup2(STDOUT_FILENO, 0);
        shut_down(0);
        EXPECT_EQ(fcntl(0, F_GETFD), -1);
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

// --- the thread ------------------------------------------------------------------------------------------------------

TEST_F(AcmsgServer, a_round_without_a_connection_waits_2_seconds_and_a_millisecond)
{
    const int fd = acmsg_initserver();
    const std::int64_t before = ac_monotonic_us();
    EXPECT_EQ(printed([&] { acmsg_serve_round(fd); }), "");
    EXPECT_EQ(ac_monotonic_us() - before, 2001000);
    shut_down(fd);
}

TEST_F(AcmsgServer, a_round_serves_one_connection_and_closes_it)
{
    const int fd = acmsg_initserver();
    const int first = connect_client();
    const int second = connect_client();
    const Bytes request = control_head(SET_AP_REBOOT_REQ, 0);
    for (const int client : {first, second})
        ASSERT_EQ(write(client, request.data(), 20), 20);
    acmsg_serve_round(fd);
    UINT8 reply[40];
    EXPECT_EQ(readn(first, reply, sizeof reply), 20) << "a reply, then the end";
    EXPECT_EQ(recv(second, reply, sizeof reply, MSG_DONTWAIT), -1) << "the next one waits for its round";
    acmsg_serve_round(fd);
    EXPECT_EQ(readn(second, reply, sizeof reply), 20);
    close(first);
    close(second);
    shut_down(fd);
}

TEST_F(AcmsgServer, a_client_that_leaves_before_its_round_costs_two_lines)
{
    const int fd = acmsg_initserver();
    close(connect_client());
    const std::string out = printed([&] { acmsg_serve_round(fd); });
    EXPECT_TRUE(starts_with(out, "! bad read msgheader, rc=0 errno=")) << out;
    EXPECT_NE(out.find("! recived error\n"), std::string::npos) << out;
    shut_down(fd);
}

TEST_F(AcmsgServer, a_wait_that_fails_is_told_with_its_errno)
{
    EXPECT_EQ(printed([] { acmsg_serve_round(9999); }), "! select:errno[9]\n");
}

TEST_F(AcmsgServer, an_accept_that_fails_is_told_and_not_tried_again_at_once)
{
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0); // ready at once, and never listening
    const std::int64_t before = ac_monotonic_us();
    EXPECT_TRUE(starts_with(complaint_of([&] { acmsg_serve_round(fd); }), "accept.\n: "));
    EXPECT_EQ(ac_monotonic_us() - before, 1000000);
    shut_down(fd);
}

namespace {

// Asks until there is an answer.
bool is_served()
{
    const Message request(SET_AP_REBOOT_REQ, {});
    AC_MSG_PKT* reply = nullptr;
    bool answered = false;
    for (int tries = 0; !answered && tries < 100000; tries++) { // until it listens
        answered = cgi_send_and_recv_msg(request.get(), &reply) == 1;
        std::this_thread::yield();
    }
    ac_msg_free(reply);
    return answered;
}

} // namespace

TEST_F(AcmsgServer, the_thread_widens_its_receive_buffer_notes_itself_and_serves)
{
    hd_ac_local_log_clear();
    const ChildOutcome child = in_child([] {
        std::thread control(acmsg_cgi_thread, nullptr);
        EXPECT_TRUE(is_served());
        EXPECT_TRUE(is_served()) << "and goes on";
        EXPECT_EQ(g_ac_pthread[PTHREAD_AC_MSG].pid, getpid());
        EXPECT_NE(pthread_equal(g_ac_pthread[PTHREAD_AC_MSG].tid, control.native_handle()), 0);
        EXPECT_EQ(g_ac_pthread[PTHREAD_AC_MSG].mempool, nullptr);
        EXPECT_EQ(io_last_receive_buffer(), 700000);
        control.detach();
    });
    EXPECT_EQ(child.status, 0) << child.out;
    int bytes = 0;
    const std::size_t at = child.out.find("-------len=");
    ASSERT_NE(at, std::string::npos) << child.out;
    EXPECT_EQ(sscanf(child.out.c_str() + at, "-------len=%d\n", &bytes), 1);
    EXPECT_EQ(bytes, receive_buffer_of_a_new_socket()) << "as it was before";
    EXPECT_NE(child.out.find("\nset ok", at), std::string::npos);
    int pid = 0, thread = 0, used = 0;
    const std::string log = read_file("/etc/ac_conf");
    EXPECT_EQ(sscanf(log.c_str(), "acmsg_cgi_thread pid:%d pthread_id:%d%n", &pid, &thread, &used), 2) << log;
    EXPECT_GT(pid, 1);
    EXPECT_EQ(log.substr(static_cast<std::size_t>(used)), "\n");
}

TEST_F(AcmsgServer, a_receive_buffer_that_cannot_be_widened_is_not_called_set_and_the_thread_goes_on)
{
    const ChildOutcome child = in_child([] {
        io_refuse_option(SO_RCVBUF);
        std::thread(acmsg_cgi_thread, nullptr).detach();
        EXPECT_TRUE(is_served());
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_NE(child.out.find("-------len="), std::string::npos) << child.out;
    EXPECT_EQ(child.out.find("set ok"), std::string::npos) << child.out;
}
