// The control channel of the real daemon: what the web interface asks, and what hostile clients do.
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>

#include "cgi_socket_handle/ac_msg_block.h"
#include "cgi_socket_handle/acmsg_client.h"
#include "common/config_ap_type.h"
#include "platform/ac_platform.h"
#include "site.h"

using namespace std::chrono_literals;

namespace {

Bytes head(int ac_msg_type, int msg_data_len, int ap_num = 0)
{
    Bytes bytes(20);
    bytes[4] = static_cast<unsigned char>(ac_msg_type);
    bytes[5] = static_cast<unsigned char>(ac_msg_type >> 8);
    bytes[6] = static_cast<unsigned char>(ap_num);
    bytes[7] = static_cast<unsigned char>(ap_num >> 8);
    memcpy(&bytes[16], &msg_data_len, 4);
    return bytes;
}

Bytes with_macs(int ac_msg_type, const std::vector<Mac>& macs)
{
    Bytes bytes = head(ac_msg_type, static_cast<int>(6 * macs.size()), static_cast<int>(macs.size()));
    for (const Mac& mac : macs)
        bytes.insert(bytes.end(), mac.begin(), mac.end());
    return bytes;
}

// A client of the control socket, well behaved or not.
class Client {
public:
    explicit Client(const Daemon& daemon) : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        const std::string path = daemon.root() + "/var/ac_socket";
        memcpy(address.sun_path, path.c_str(), path.size());
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }
    ~Client() { close(fd_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    bool connected() const { return connected_; }
    // False where the daemon had closed before all was written.
    bool send(const Bytes& bytes) const
    {
        for (std::size_t at = 0; at < bytes.size();) {
            const ssize_t step = ::send(fd_, bytes.data() + at, bytes.size() - at, MSG_NOSIGNAL);
            if (step <= 0) return false;
            at += static_cast<std::size_t>(step);
        }
        return true;
    }
    void finish() const { shutdown(fd_, SHUT_WR); }
    // All that comes until the daemon closes.
    Bytes answer() const
    {
        Bytes all;
        unsigned char part[4096];
        for (;;) {
            pollfd ready = {fd_, POLLIN, 0};
            if (poll(&ready, 1, static_cast<int>(PATIENCE.count())) != 1) {
                ADD_FAILURE() << "the connection stays open";
                return all;
            }
            const ssize_t got = recv(fd_, part, sizeof part, 0);
            if (got <= 0) return all;
            all.insert(all.end(), part, part + got);
        }
    }

private:
    int fd_;
    bool connected_ = false;
};

Bytes ask(const Daemon& daemon, const Bytes& request)
{
    const Client client(daemon);
    EXPECT_TRUE(client.connected());
    EXPECT_TRUE(client.send(request));
    return client.answer();
}

const Mac NOBODY = {0x02, 0xEE, 0, 0, 0, 1};

void expect_service(const Daemon& daemon)
{
    EXPECT_EQ(ask(daemon, with_macs(DELETE_CLIENT_REQ, {NOBODY})), head(DELETE_CLIENT_REQ + 1, 0));
}

std::size_t open_files(const Daemon& daemon)
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& entry :
         std::filesystem::directory_iterator("/proc/" + std::to_string(daemon.pid()) + "/fd"))
        count++;
    return count;
}

} // namespace

TEST(ControlChannel, the_socket_is_for_the_owner_and_the_group_alone)
{
    Daemon daemon(1);
    daemon.start();
    struct stat found = {};
    ASSERT_EQ(stat((daemon.root() + "/var/ac_socket").c_str(), &found), 0);
    EXPECT_TRUE(S_ISSOCK(found.st_mode));
    EXPECT_EQ(found.st_mode & 07777, 0660U);
}

TEST(ControlChannel, a_reboot_and_a_restore_reach_their_aps)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 3));
    ASSERT_TRUE(all_run(daemon, fleet));
    EXPECT_EQ(ask(daemon, with_macs(SET_AP_REBOOT_REQ, {mac_of(fleet, 0), mac_of(fleet, 2)})), head(8, 0));
    EXPECT_TRUE(fleet.run_until(
        [&] { return fleet.ap(0).counters().reboots == 1 && fleet.ap(2).counters().reboots == 1; }, PATIENCE));
    EXPECT_EQ(ask(daemon, with_macs(SET_AP_RESTORE_REQ, {mac_of(fleet, 1)})), head(9, 0));
    EXPECT_TRUE(fleet.run_until([&] { return fleet.ap(1).counters().restores == 1; }, PATIENCE));
    EXPECT_EQ(fleet.ap(0).counters().restores, 0U);
    EXPECT_TRUE(all_run(daemon, fleet)) << "all come back";
}

TEST(ControlChannel, the_client_library_finds_the_daemon)
{
    Daemon daemon(1);
    daemon.start();
    setenv("AC_ROOT", daemon.root().c_str(), 1);
    setenv("AC_LAN_IF", "lo", 1);
    platform_init();
    AC_MSG_PKT* request = ac_msg_alloc(6);
    ASSERT_NE(request, nullptr);
    request->ac_msg_type = SET_AP_REBOOT_REQ;
    request->ap_num = 1;
    request->msg_data_len = 6;
    AC_MSG_PKT* reply = nullptr;
    EXPECT_EQ(cgi_send_and_recv_msg(request, &reply), 1);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->ac_msg_type, 8);
    ac_msg_free(reply);
    request->ac_msg_type = 0x0107; // its response has lost the sub-flag
    EXPECT_EQ(cgi_send_and_recv_msg(request, &reply), 0);
    ASSERT_NE(reply, nullptr);
    EXPECT_EQ(reply->ac_msg_type, 8);
    ac_msg_free(reply);
    EXPECT_EQ(cgi_send_msg(request), 26);
    ac_msg_free(request);
}

TEST(ControlChannel, a_thousand_connections_in_a_row_are_all_served_and_leave_nothing_open)
{
    Daemon daemon(1);
    daemon.start();
    expect_service(daemon);
    const std::size_t before = open_files(daemon);
    for (int i = 0; i < 1000; i++)
        ASSERT_EQ(ask(daemon, with_macs(DELETE_CLIENT_REQ, {NOBODY})), head(18, 0)) << i;
    EXPECT_EQ(ask(daemon, head(1, 0)), Bytes()); // the last one served is closed by now
    EXPECT_LE(open_files(daemon), before + 1);
}

TEST(ControlChannel, what_is_cut_short_is_told_and_not_answered)
{
    Daemon daemon(1);
    daemon.start();
    for (const std::size_t length :
         {std::size_t{0}, std::size_t{1}, std::size_t{10}, std::size_t{19}, std::size_t{20}, std::size_t{25}}) {
        Bytes request = with_macs(SET_AP_REBOOT_REQ, {NOBODY});
        request.resize(length);
        const Client client(daemon);
        EXPECT_TRUE(client.send(request));
        client.finish();
        EXPECT_EQ(client.answer(), Bytes());
    }
    expect_service(daemon);
    EXPECT_EQ(daemon.log_count("bad read msgheader, rc=10 errno="), 1);
    EXPECT_EQ(daemon.log_count("bad read msg, rc=5 errno="), 1);
    EXPECT_EQ(daemon.log_count("--recived error\n"), 6);
}

TEST(ControlChannel, a_request_byte_by_byte_is_served_like_any_other)
{
    Daemon daemon(1);
    daemon.start();
    const Client client(daemon);
    for (const unsigned char byte : with_macs(SET_AP_REBOOT_REQ, {NOBODY})) {
        EXPECT_TRUE(client.send({byte}));
        std::this_thread::sleep_for(5ms); // each byte wakes the daemon on its own
    }
    EXPECT_EQ(client.answer(), head(8, 0));
}

TEST(ControlChannel, a_silent_client_holds_the_others_up_until_it_leaves)
{
    Daemon daemon(1);
    daemon.start();
    auto silent = std::make_unique<Client>(daemon);
    const Client next(daemon);
    EXPECT_TRUE(next.send(with_macs(DELETE_CLIENT_REQ, {NOBODY})));
    silent.reset();
    EXPECT_EQ(next.answer(), head(18, 0));
}

TEST(ControlChannel, clients_that_vanish_before_their_answer_do_no_harm)
{
    Daemon daemon(1);
    daemon.start();
    for (int i = 0; i < 200; i++) {
        const Client client(daemon);
        ASSERT_TRUE(client.send(with_macs(i % 2 == 0 ? SET_AP_REBOOT_REQ : DELETE_CLIENT_REQ, {NOBODY})));
    }
    expect_service(daemon);
}

TEST(ControlChannel, a_body_of_100_megabytes_is_answered_and_never_held)
{
    Daemon daemon(1);
    daemon.start();
    const int length = 100 * 1000 * 1000;
    Bytes request = head(SET_AP_REBOOT_REQ, length, 1);
    request.resize(20 + static_cast<std::size_t>(length), 0x5A);
    EXPECT_EQ(ask(daemon, request), head(8, 0));
    EXPECT_EQ(ask(daemon, request), head(8, 0));
    expect_service(daemon);
    EXPECT_EQ(daemon.log_count("--bad read"), 0);
}

TEST(ControlChannel, lengths_that_lie_are_answered_as_requests_without_a_body)
{
    Daemon daemon(1);
    daemon.start();
    for (const int length : {16 * 1024 * 1024 + 1, 0x7FFFFFEB, 0x7FFFFFEC, 0x7FFFFFFF, -1, -20, -0x7FFFFFFF}) {
        const Client client(daemon);
        EXPECT_TRUE(client.send(head(SET_AP_REBOOT_REQ, length, 1)));
        client.finish();
        EXPECT_EQ(client.answer(), head(8, 0)) << length;
    }
    expect_service(daemon);
}

TEST(ControlChannel, aps_that_the_body_does_not_name_are_no_work)
{
    Daemon daemon(1);
    daemon.start();
    for (const int ap_num : {2, 100, 101, 65535}) {
        Bytes request = head(SET_AP_REBOOT_REQ, 9, ap_num);
        request.resize(29, 2);
        EXPECT_EQ(ask(daemon, request), head(8, 0));
    }
    expect_service(daemon); // by then the last of them is done, not only answered
    EXPECT_EQ(daemon.log_count("--Add new node failed.\n"), 4);
}

TEST(ControlChannel, garbage_of_every_kind_ends_no_service)
{
    Daemon daemon(1);
    daemon.start();
    std::mt19937 random(51);
    for (int i = 0; i < 400; i++) {
        Bytes request(random() % 300);
        for (unsigned char& byte : request)
            byte = static_cast<unsigned char>(random());
        const bool headed = i % 2 == 0 && request.size() >= 20;
        if (headed) { // so that it is dispatched
            const int length = static_cast<int>(request.size()) - 20;
            memcpy(&request[16], &length, 4);
        }
        if (request.size() > 4 && request[4] == SET_AC_SQL_CLOSED_REQ) request[4] = 0;
        const Client client(daemon);
        (void)client.send(request); // refused where the daemon has seen enough
        client.finish();
        (void)client.answer();
    }
    expect_service(daemon);
}

TEST(ControlChannel, requests_are_served_during_a_flood_of_frames)
{
    Daemon daemon(1);
    daemon.start();
    std::atomic<bool> over = false;
    std::thread flood([&] {
        const Wire wire(daemon.port());
        for (unsigned i = 0; !over && i < 5000000; i++)
            wire.send(frame({0x06, 0, 0, 0, static_cast<unsigned char>(i >> 8), static_cast<unsigned char>(i)}, 2,
                            Bytes(44, 1), static_cast<int>(i & 255)));
    });
    for (int i = 0; i < 50; i++)
        EXPECT_EQ(ask(daemon, with_macs(DELETE_CLIENT_REQ, {NOBODY})), head(18, 0));
    over = true;
    flood.join();
}

TEST(ControlChannel, the_closing_of_the_databases_gets_no_reply_and_the_daemon_goes_on)
{
    Daemon daemon(20);
    daemon.start();
    apsim::Fleet fleet(fleet_options(daemon, 2));
    ASSERT_TRUE(all_run(daemon, fleet));
    EXPECT_EQ(ask(daemon, head(SET_AC_SQL_CLOSED_REQ, 0)), Bytes());
    EXPECT_EQ(daemon.log_count("] SET_AC_SQL_CLOSED_REQ\n\n"), 1);
    EXPECT_EQ(ask(daemon, with_macs(SET_AP_REBOOT_REQ, {mac_of(fleet, 0)})), head(8, 0));
    EXPECT_TRUE(fleet.run_until([&] { return fleet.ap(0).counters().reboots == 1; }, PATIENCE));
    EXPECT_TRUE(all_run(daemon, fleet));
}

TEST(ControlChannel, a_killed_daemon_s_socket_is_no_obstacle_to_the_next)
{
    Daemon daemon(1);
    daemon.start();
    expect_service(daemon);
    daemon.stop(9);
    EXPECT_TRUE(std::filesystem::exists(daemon.root() + "/var/ac_socket"));
    EXPECT_FALSE(Client(daemon).connected());
    daemon.start();
    expect_service(daemon);
}

TEST(ControlChannel, a_connection_in_progress_keeps_no_one_from_ending_the_daemon)
{
    Daemon daemon(1);
    daemon.start();
    const Client client(daemon);
    EXPECT_TRUE(client.send(Bytes(10, 7)));
    EXPECT_EQ(daemon.stop(), 0);
}
