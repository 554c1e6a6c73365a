#include "ac_wtp_protocol/acwtp_transport.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/udp_skb_queue.h"
#include "ap_frame.h"
#include "child_process.h"
#include "platform/ac_net.h"
#include "printed.h"

namespace {

// Taken before any test can: the first number of the process.
const UINT16 g_first_number = get_seq_num();

struct framed {
    CLOUD_AP_UDP_PKT head;
    UINT8 payload[32];
};

framed frame_of(UINT32 length)
{
    framed frame = {};
    frame.head.ap_mac[0] = 0xAA;
    frame.head.msg_length = length;
    for (UINT32 i = 0; i < length; i++)
        frame.payload[i] = static_cast<UINT8>(i + 1);
    return frame;
}

int g_failures_left = 0;
int g_tries = 0;
SentFrame g_last;

long fail_then_send(std::span<const UINT8> datagram, const struct sockaddr_in* to)
{
    g_tries++;
    if (g_failures_left-- > 0) {
        errno = ENOBUFS;
        return -1;
    }
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &to->sin_addr, text, sizeof text);
    g_last = {text, ntohs(to->sin_port), {datagram.begin(), datagram.end()}};
    return static_cast<long>(datagram.size());
}

} // namespace

TEST_F(TestWorld, the_first_sequence_number_is_0)
{
    EXPECT_EQ(g_first_number, 0);
}

TEST_F(TestWorld, sequence_numbers_run_to_255_and_start_again_at_0)
{
    while (get_seq_num() != 255) {
    }
    for (int i = 0; i < 256; i++)
        EXPECT_EQ(get_seq_num(), i);
    EXPECT_EQ(get_seq_num(), 0) << "number 257 repeats the first";
}

TEST_F(TestWorld, the_configured_port_is_taken)
{
    write_file("/var/config_cloud_ac.cfg", "port=5123\n");
    EXPECT_EQ(init_local_port(), 0);
    EXPECT_EQ(ac_port, 5123U);
}

TEST_F(TestWorld, without_the_file_the_port_is_5000)
{
    ac_port = 1;
    EXPECT_EQ(init_local_port(), 255);
    EXPECT_EQ(ac_port, 5000U);
}

TEST_F(TestWorld, without_the_key_the_port_is_5000)
{
    write_file("/var/config_cloud_ac.cfg", "ports=5123\n");
    EXPECT_EQ(init_local_port(), 255);
    EXPECT_EQ(ac_port, 5000U);
}

TEST_F(TestWorld, a_port_text_of_32_characters_is_taken)
{
    write_file("/var/config_cloud_ac.cfg", "port=00000000000000000000000000005123\n");
    EXPECT_EQ(init_local_port(), 0);
    EXPECT_EQ(ac_port, 5123U);
}

TEST_F(TestWorld, a_port_text_of_33_characters_gives_port_5000)
{
    write_file("/var/config_cloud_ac.cfg", "port=000000000000000000000000000005123\n");
    EXPECT_EQ(init_local_port(), 255);
    EXPECT_EQ(ac_port, 5000U);
}

TEST_F(TestWorld, a_port_text_that_is_no_number_gives_port_0)
{
    write_file("/var/config_cloud_ac.cfg", "port=five\n");
    EXPECT_EQ(init_local_port(), 0);
    EXPECT_EQ(ac_port, 0U);
}

TEST_F(TestWorld, the_socket_is_bound_to_the_lan_address_and_may_reuse_it)
{
    write_file("/var/config_cloud_ac.cfg", "port=0\n"); // the system chooses
    const UINT8 lan[4] = {127, 0, 0, 1};
    memcpy(g_ac_ip, lan, sizeof lan);
    int fd = -1;
    ASSERT_EQ(init_socket_layer3(&fd), 1);
    struct sockaddr_in local = {};
    socklen_t size = sizeof local;
    ASSERT_EQ(getsockname(fd, reinterpret_cast<struct sockaddr*>(&local), &size), 0);
    EXPECT_EQ(local.sin_family, AF_INET);
    EXPECT_EQ(ntohl(local.sin_addr.s_addr), 0x7F000001U);
    int value = 0;
    socklen_t value_size = sizeof value;
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &value, &value_size), 0);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(getsockopt(fd, SOL_SOCKET, SO_TYPE, &value, &value_size), 0);
    EXPECT_EQ(value, SOCK_DGRAM);
    close(fd);
}

TEST_F(TestWorld, a_socket_that_cannot_be_bound_is_closed_and_its_number_kept)
{
    const UINT8 foreign[4] = {192, 0, 2, 1}; // for documentation, so no interface has it
    memcpy(g_ac_ip, foreign, sizeof foreign);
    int fd = -1;
    int result = -1;
    testing::internal::CaptureStderr();
    const std::string out = output_of([&] { result = init_socket_layer3(&fd); });
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("bind: ", 0), 0U);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(message_of(out), "bind local addr is error.\n");
    EXPECT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "still open";
}

TEST_F(TestWorld, a_socket_that_cannot_be_made_gives_0_and_a_negative_number)
{
    const ChildOutcome child = in_child([] {
        const struct rlimit none = {0, 0};
        setrlimit(RLIMIT_NOFILE, &none);
        int fd = 5;
        EXPECT_EQ(init_socket_layer3(&fd), 0);
        EXPECT_LT(fd, 0);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_EQ(child.out, "");
}

TEST_F(TestWorld, a_frame_goes_out_whole_to_the_address_in_dotted_order)
{
    const framed frame = frame_of(5);
    const UINT8 ip[4] = {10, 0, 200, 3};
    EXPECT_EQ(send_layer3_udp_data(ip, 0x1234, &frame.head), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.0.200.3");
    EXPECT_EQ(sent()[0].port, 0x1234);
    ASSERT_EQ(sent()[0].bytes.size(), 33U);
    EXPECT_EQ(memcmp(sent()[0].bytes.data(), &frame, 33), 0);
}

TEST_F(TestWorld, a_frame_without_payload_is_28_bytes)
{
    const framed frame = frame_of(0);
    const UINT8 ip[4] = {10, 0, 200, 3};
    EXPECT_EQ(send_layer3_udp_data(ip, 1, &frame.head), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes.size(), 28U);
}

TEST_F(TestWorld, sending_no_frame_prints_a_line_and_gives_1001)
{
    const UINT8 ip[4] = {10, 0, 200, 3};
    AC_RET result = AC_RET_OK;
    const std::string out = output_of([&] { result = send_layer3_udp_data(ip, 1, nullptr); });
    EXPECT_EQ(result, AC_RET_NULL_POINTER);
    EXPECT_EQ(message_of(out), "error.\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(TestWorld, a_failed_send_is_reported_and_not_repeated)
{
    const framed frame = frame_of(5);
    const UINT8 ip[4] = {10, 0, 200, 3};
    g_failures_left = 1;
    g_tries = 0;
    ac_net_capture(fail_then_send);
    AC_RET result = AC_RET_OK;
    testing::internal::CaptureStderr();
    const std::string out = output_of([&] { result = send_layer3_udp_data(ip, 1, &frame.head); });
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("sendto: ", 0), 0U);
    EXPECT_EQ(result, AC_RET_ERROR);
    EXPECT_EQ(message_of(out), "msg send error.\n");
    EXPECT_EQ(g_tries, 1);
}

TEST_F(TestWorld, a_portal_answer_goes_to_the_exact_source_and_not_to_the_recorded_address)
{
    const framed frame = frame_of(7);
    AC_UDP_SKB_INFO node = {};
    const UINT8 recorded[4] = {10, 0, 0, 1};
    memcpy(node.ipaddr, recorded, sizeof recorded);
    node.port = 4000;
    node.portal_addr = address_from("10.9.8.7", 6543);
    EXPECT_EQ(send_layer3_udp_portal_data(&frame.head, &node), 0);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.9.8.7");
    EXPECT_EQ(sent()[0].port, 6543);
    ASSERT_EQ(sent()[0].bytes.size(), 35U);
    EXPECT_EQ(memcmp(sent()[0].bytes.data(), &frame, 35), 0);
}

TEST_F(TestWorld, a_portal_answer_is_sent_again_until_it_is_out_without_a_word_or_a_pause)
{
    const framed frame = frame_of(1);
    AC_UDP_SKB_INFO node = {};
    node.portal_addr = address_from("10.9.8.7", 6543);
    g_failures_left = 5000;
    g_tries = 0;
    ac_net_capture(fail_then_send);
    const std::string out = output_of([&] { EXPECT_EQ(send_layer3_udp_portal_data(&frame.head, &node), 0); });
    EXPECT_EQ(g_tries, 5001);
    EXPECT_EQ(out, "");
    EXPECT_EQ(g_last.ip, "10.9.8.7");
    EXPECT_EQ(g_last.bytes.size(), 29U);
}

TEST_F(TestWorld, no_portal_answer_or_no_source_prints_a_line_and_gives_1001)
{
    const framed frame = frame_of(1);
    const AC_UDP_SKB_INFO node = {};
    EXPECT_EQ(message_of(output_of([&] { EXPECT_EQ(send_layer3_udp_portal_data(nullptr, &node), 1001); })), "error.\n");
    EXPECT_EQ(message_of(output_of([&] { EXPECT_EQ(send_layer3_udp_portal_data(&frame.head, nullptr), 1001); })),
              "error.\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(TestWorld, the_crc_is_that_of_zlib_over_the_payload)
{
    const Bytes check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
    EXPECT_EQ(acwtp_crc(check), 0xCBF43926U);
    EXPECT_EQ(acwtp_crc({}), 0U);
}
