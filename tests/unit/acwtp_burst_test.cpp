// Answers that wait for each other and leave together.
#include "ac_wtp_protocol/acwtp_burst.h"

#include <cerrno>
#include <cstring>

#include "ac_wtp_protocol/acwtp_transport.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ap_frame.h"
#include "platform/ac_net.h"
#include "printed.h"

namespace {

constexpr UINT8 AP_IP[4] = {10, 0, 200, 3};

CLOUD_AP_UDP_PKT answer_of(int seq_num)
{
    CLOUD_AP_UDP_PKT pkt = {};
    pkt.seq_num = static_cast<UINT16>(seq_num);
    return pkt;
}

void answer(int seq_num)
{
    const CLOUD_AP_UDP_PKT pkt = answer_of(seq_num);
    EXPECT_EQ(acwtp_answer(AP_IP, static_cast<UINT16>(6000 + seq_num), &pkt), AC_RET_OK);
}

std::vector<int> g_tried; // sequence numbers
int g_refused = -1;       // the one that never leaves

long refuse_one(std::span<const UINT8> datagram, const struct sockaddr_in*)
{
    CLOUD_AP_UDP_PKT pkt;
    memcpy(&pkt, datagram.data(), sizeof pkt);
    g_tried.push_back(pkt.seq_num);
    errno = ENOBUFS;
    return pkt.seq_num == g_refused ? -1 : static_cast<long>(datagram.size());
}

class Burst : public TestWorld {
protected:
    std::vector<int> numbers()
    {
        std::vector<int> all;
        for (const SentFrame& frame : sent())
            all.push_back(frame.head().seq_num);
        return all;
    }
    void echo_arrives(const Mac& mac, unsigned seq_num, unsigned msg_type = HALDE_APEchoReq)
    {
        ApFrame frame;
        frame.mac = mac;
        frame.seq_num = seq_num;
        frame.msg_type = msg_type;
        const struct sockaddr_in from = address_from("10.2.3.4", 7000);
        manage_datagram(frame.bytes(), &from);
    }
};

} // namespace

TEST_F(Burst, without_one_an_answer_leaves_at_once)
{
    answer(1);
    EXPECT_EQ(numbers(), std::vector<int>({1}));
}

TEST_F(Burst, answers_wait_for_its_end_and_leave_in_their_order_to_their_own_addresses)
{
    {
        const acwtp_burst burst;
        for (int i = 0; i < 5; i++)
            answer(i);
        EXPECT_TRUE(sent().empty());
    }
    EXPECT_EQ(numbers(), std::vector<int>({0, 1, 2, 3, 4}));
    EXPECT_EQ(sent()[4].port, 6004);
    EXPECT_EQ(sent()[4].ip, "10.0.200.3");
    EXPECT_EQ(sent()[4].bytes.size(), 28U);
    answer(5); // no burst is left behind
    EXPECT_EQ(numbers().size(), 6U);
}

TEST_F(Burst, a_full_one_makes_room_by_sending)
{
    {
        const acwtp_burst burst;
        for (int i = 0; i < 32; i++)
            answer(i);
        EXPECT_TRUE(sent().empty());
        answer(32);
        EXPECT_EQ(sent().size(), 32U);
    }
    ASSERT_EQ(sent().size(), 33U);
    for (int i = 0; i < 33; i++)
        EXPECT_EQ(numbers()[static_cast<std::size_t>(i)], i);
}

TEST_F(Burst, what_was_sent_is_not_sent_again)
{
    acwtp_burst burst;
    answer(1);
    burst.send_waiting();
    burst.send_waiting();
    EXPECT_EQ(numbers(), std::vector<int>({1}));
}

TEST_F(Burst, a_frame_with_a_payload_does_not_wait)
{
    const acwtp_burst burst;
    struct {
        CLOUD_AP_UDP_PKT head;
        UINT8 payload[4];
    } frame = {answer_of(3), {}};
    frame.head.msg_length = sizeof frame.payload;
    EXPECT_EQ(acwtp_answer(AP_IP, 1, &frame.head), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes.size(), 32U);
}

TEST_F(Burst, one_that_the_system_refuses_is_reported_and_those_behind_it_leave)
{
    g_tried.clear();
    g_refused = 1;
    ac_net_capture(refuse_one);
    testing::internal::CaptureStderr();
    const std::string out = output_of([] {
        const acwtp_burst burst;
        for (int i = 0; i < 4; i++)
            answer(i);
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("sendto: ", 0), 0U);
    EXPECT_EQ(message_of(out), "msg send error.\n");
    EXPECT_EQ(g_tried, std::vector<int>({0, 1, 1, 2, 3})); // the refused one had its second try
}

TEST_F(Burst, a_pass_answers_all_its_echoes_and_keeps_none)
{
    std::vector<int> expected;
    for (int i = 0; i < 100; i++) {
        make_record(test_mac(i), 4, AP_LINK_UP);
        join_ap(test_mac(i), AC_RUNNING);
        echo_arrives(test_mac(i), static_cast<unsigned>(i));
        expected.push_back(i);
    }
    EXPECT_EQ(udp_skb_queue_out(), 0);
    EXPECT_EQ(numbers(), expected);
}

TEST_F(Burst, an_echo_in_front_of_a_frame_that_may_take_long_is_answered_before_it)
{
    make_record(test_mac(1), 4, AP_LINK_UP);
    join_ap(test_mac(1), AC_RUNNING);
    echo_arrives(test_mac(1), 5);
    echo_arrives(test_mac(2), 6, HALDE_APAlarmReq); // of nobody: its handling prints
    ac_net_capture([](std::span<const UINT8> datagram, const struct sockaddr_in*) {
        fputs(datagram[8] == 5 ? "echo answered\n" : "link down\n", stdout);
        return static_cast<long>(datagram.size());
    });
    const std::string out = output_of([] { EXPECT_EQ(udp_skb_queue_out(), 0); });
    EXPECT_EQ(out.rfind("echo answered\n", 0), 0U) << out;
    EXPECT_NE(out.find("not exited in joined list\nlink down\n"), std::string::npos) << out;
}
