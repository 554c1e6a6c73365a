#include "channel.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "fake_controller.h"

using namespace acctl;

namespace {

Request ask(unsigned type = 35)
{
    Request request;
    request.type = static_cast<UINT16>(type);
    request.reply_type = static_cast<UINT16>(type);
    return request;
}

struct Refused {
    Failure kind = Failure::bad_answer;
    std::string text;
};

Refused failure_of(const Channel& channel, const Request& request)
{
    try {
        channel.exchange(request);
    } catch (const ChannelError& error) {
        return {error.kind, error.what()};
    }
    ADD_FAILURE() << "the exchange went well";
    return {};
}

} // namespace

TEST(Channel, sends_a_header_and_its_data_and_reads_the_same)
{
    const FakeController controller([](const Bytes&) { return message(24, 2, {1, 2, 3}); });
    Request request = ask(0x0296);
    request.reply_type = 24;
    request.ap_num = 7;
    request.ap_flag = 1;
    request.data = {9, 8};
    const Reply reply = Channel(controller.path(), 10).exchange(request);
    EXPECT_EQ(reply.header.ap_num, 2);
    EXPECT_EQ(reply.data, (std::vector<UINT8>{1, 2, 3}));
    const Bytes expected = {1, 0, 0, 0, 0x96, 2, 7, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 0, 0, 0, 9, 8};
    EXPECT_EQ(controller.requests(), std::vector<Bytes>{expected});
}

TEST(Channel, a_long_answer_comes_whole)
{
    Bytes data(3'000'000);
    for (std::size_t i = 0; i < data.size(); i++)
        data[i] = static_cast<std::uint8_t>(i * 31 >> 3);
    const FakeController controller([&](const Bytes&) { return message(35, 0, data); });
    EXPECT_EQ(Channel(controller.path(), 60).exchange(ask()).data, data);
}

TEST(Channel, prints_nothing_of_its_own)
{
    Bytes cut_short = message(35, 0, Bytes(100));
    cut_short.resize(60);
    const FakeController controller([&](const Bytes&) { return cut_short; });
    testing::internal::CaptureStdout();
    failure_of(Channel(controller.path(), 10), ask());
    printf("result\n");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "result\n");
}

TEST(Channel, a_missing_socket_is_told_with_its_path)
{
    const Refused refused = failure_of(Channel("/nonexistent/ac_socket", 10), ask());
    EXPECT_EQ(refused.kind, Failure::unreachable);
    EXPECT_EQ(refused.text, "no controller answers at /nonexistent/ac_socket: there is no such socket. Is it running? "
                            "AC_ROOT or --socket tell where it lives");
}

TEST(Channel, a_socket_that_nobody_listens_at_is_told)
{
    const std::string path = testing::TempDir() + "/dead_socket";
    std::filesystem::remove(path);
    const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    close(fd);
    const Refused refused = failure_of(Channel(path, 10), ask());
    EXPECT_EQ(refused.kind, Failure::unreachable);
    EXPECT_EQ(refused.text, "no controller answers at " + path + ": is it running?");
    std::filesystem::remove(path);
}

TEST(Channel, a_file_that_is_no_socket_is_told)
{
    const std::string path = testing::TempDir() + "/plain_file";
    std::ofstream(path) << "text";
    for (const std::string& wrong : {path, testing::TempDir()}) {
        const Refused refused = failure_of(Channel(wrong, 10), ask());
        EXPECT_EQ(refused.kind, Failure::unreachable);
        EXPECT_EQ(refused.text,
                  "no controller answers at " + wrong + ": this is no socket; AC_ROOT or --socket tell where it lives");
    }
    std::filesystem::remove(path);
}

TEST(Channel, a_late_answer_is_not_waited_for_beyond_the_time)
{
    FakeController controller([](const Bytes&) { return Bytes(); });
    controller.hold_answers(true);
    const Refused refused = failure_of(Channel(controller.path(), 0.2), ask());
    EXPECT_EQ(refused.kind, Failure::no_answer);
    EXPECT_EQ(refused.text, "the controller at " + controller.path() +
                                " has not answered within 0.2 s: it is busy or hangs; try again, or with a longer "
                                "--timeout");
}

TEST(Channel, an_answer_that_stalls_half_way_is_not_waited_for_either)
{
    const Bytes whole = message(35, 0, Bytes(100));
    for (const std::size_t length : {1u, 19u, 20u, 60u}) {
        FakeController controller(
            [&](const Bytes&) { return Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)); });
        controller.stay_connected(true);
        const Refused refused = failure_of(Channel(controller.path(), 0.2), ask());
        EXPECT_EQ(refused.kind, Failure::no_answer);
        EXPECT_NE(refused.text.find("has not answered within 0.2 s"), std::string::npos) << refused.text;
    }
}

TEST(Channel, an_answer_that_breaks_off_is_told)
{
    Bytes half = message(35, 0, Bytes(100));
    half.resize(30);
    const FakeController controller([&](const Bytes&) { return half; });
    const Refused refused = failure_of(Channel(controller.path(), 10), ask());
    EXPECT_NE(refused.text.find("closed the connection without a whole answer"), std::string::npos);
}

TEST(Channel, a_controller_that_takes_no_connection_is_given_up)
{
    const std::string path = testing::TempDir() + "/full_socket";
    std::filesystem::remove(path);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    const int first = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(connect(first, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    const Refused refused = failure_of(Channel(path, 0.2), ask());
    EXPECT_EQ(refused.kind, Failure::unreachable);
    EXPECT_EQ(refused.text, "no controller answers at " + path + ": it takes no more connections; it is busy or hangs");
    close(first);
    close(listener);
    std::filesystem::remove(path);
}

TEST(Channel, a_connection_that_closes_without_an_answer_is_told)
{
    const FakeController controller([](const Bytes&) { return Bytes(); });
    const Refused refused = failure_of(Channel(controller.path(), 10), ask(0x0116));
    EXPECT_EQ(refused.kind, Failure::closed);
    EXPECT_EQ(refused.text,
              "the controller at " + controller.path() +
                  " closed the connection without a whole answer: is it a controller, and does it know this "
                  "request (type 22)?");
}

TEST(Channel, an_answer_cut_at_any_byte_is_refused)
{
    const Bytes whole = message(35, 0, {1, 2, 3});
    for (std::size_t length = 0; length < whole.size(); length++) {
        const FakeController controller(
            [&](const Bytes&) { return Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)); });
        EXPECT_EQ(failure_of(Channel(controller.path(), 10), ask()).kind, Failure::closed) << length;
    }
}

TEST(Channel, an_answer_of_another_type_is_refused)
{
    const FakeController controller([](const Bytes&) { return message(36, 0); });
    const Refused refused = failure_of(Channel(controller.path(), 10), ask());
    EXPECT_EQ(refused.kind, Failure::bad_answer);
    EXPECT_NE(refused.text.find("has type 36 where 35 belongs"), std::string::npos);
}

TEST(Channel, an_answer_that_claims_too_much_is_refused_unread)
{
    Bytes header = message(35, 0);
    put32(header, 16, 0x7FFFFFFF);
    const FakeController controller([&](const Bytes&) { return header; });
    const Refused refused = failure_of(Channel(controller.path(), 10), ask());
    EXPECT_EQ(refused.kind, Failure::bad_answer);
    EXPECT_NE(refused.text.find("claims 2147483647 bytes"), std::string::npos);
}

TEST(Channel, a_negative_length_is_no_data)
{
    Bytes header = message(35, 0);
    put32(header, 16, 0xFFFFFFFF);
    const FakeController controller([&](const Bytes&) { return header; });
    EXPECT_TRUE(Channel(controller.path(), 10).exchange(ask()).data.empty());
}

TEST(Channel, a_path_that_no_socket_can_have_is_refused)
{
    EXPECT_NO_THROW(Channel(std::string(107, 'x'), 1));
    EXPECT_THROW(Channel(std::string(108, 'x'), 1), std::invalid_argument);
    EXPECT_THROW(Channel("", 1), std::invalid_argument);
}

TEST(Channel, the_default_path_lies_below_the_root)
{
    setenv("AC_ROOT", "/tmp/somewhere", 1);
    EXPECT_EQ(default_socket(), "/tmp/somewhere/var/ac_socket");
    unsetenv("AC_ROOT");
    EXPECT_EQ(default_socket(), "/var/ac_socket");
}
