#include "ac_wtp_protocol/acwtp_running.h"

#include <cstring>
#include <set>

#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "acwtp_msg/acwtp_msged.h"
#include "ap_frame.h"
#include "printed.h"

namespace {

// A running AP known as test_mac(7), joined at 10.1.1.1 port 4000; frames come from 10.2.3.4 port 7000.
class AcwtpRunning : public TestWorld {
protected:
    void SetUp() override
    {
        TestWorld::SetUp();
        mac = test_mac(7);
        node = make_record(mac, 4, AP_LINK_UP);
        join_ap(mac, AC_RUNNING);
        take_notes();
    }

    // Hands one frame to the handler as the dispatch thread would; its result.
    int handle(unsigned msg_type, const Bytes& payload = {}, unsigned seq_num = 9)
    {
        ApFrame frame;
        frame.msg_type = msg_type;
        frame.payload = payload;
        frame.seq_num = seq_num;
        const Bytes bytes = frame.bytes();
        static constexpr UINT8 ip[4] = {10, 2, 3, 4};
        const struct sockaddr_in from = address_from("10.2.3.4", 7000);
        EXPECT_EQ(udp_skb_queue_in(ip, 7000, &from,
                                   static_cast<const CLOUD_AP_UDP_PKT*>(static_cast<const void*>(bytes.data()))),
                  AC_RET_OK);
        AC_UDP_SKB_INFO* queued = udp_skb_first();
        const int result = manage_running_package_handle(mac.data(), entry_ip, queued);
        udp_skb_done(queued);
        return result;
    }

    // One frame with that number is outstanding for the AP.
    void outstanding(unsigned seq_num)
    {
        Bytes msg(mac.begin(), mac.end());
        msg.push_back(1);
        ACWTP_MSG_TABLE item = {};
        item.type = 18;
        item.ap_num = 1;
        item.flags = CGI_MSG;
        item.length = static_cast<UINT32>(msg.size());
        item.msg = reinterpret_cast<char*>(msg.data());
        ASSERT_EQ(acwtp_msged_list_add(&item, seq_num, MSG_ADD_TAIL), AC_RET_OK);
    }
    bool waits_for(unsigned seq_num) { return acwtp_msged_list_find(seq_num) != nullptr; }
    ACWTP_JOIN_LIST entry()
    {
        ACWTP_JOIN_LIST copy = {};
        EXPECT_TRUE(acwtp_joined_copy(mac.data(), &copy));
        return copy;
    }

    Mac mac;
    APCONFIG* node = nullptr;
    const UINT8 entry_ip[4] = {10, 5, 5, 5};
};

} // namespace

TEST_F(AcwtpRunning, no_frame_prints_a_line_and_gives_255)
{
    int result = 0;
    const std::string out = output_of([&] { result = manage_running_package_handle(mac.data(), entry_ip, nullptr); });
    EXPECT_EQ(result, 255);
    EXPECT_EQ(message_of(out), "null pointer\n");
}

TEST_F(AcwtpRunning, an_ap_without_a_record_prints_the_same_line_and_gives_255)
{
    mac = test_mac(8);
    int result = 0;
    const std::string out = output_of([&] { result = handle(0); });
    EXPECT_EQ(result, 255);
    EXPECT_EQ(message_of(out), "null pointer\n");
    EXPECT_TRUE(sent().empty());
}

TEST_F(AcwtpRunning, a_record_that_is_down_prints_status_time_out_and_gives_255)
{
    node->status = AP_LINK_DOWN;
    int result = 0;
    const std::string out = output_of([&] { result = handle(0); });
    EXPECT_EQ(result, 255);
    EXPECT_EQ(message_of(out), "status time out\n");
    EXPECT_TRUE(sent().empty());
    EXPECT_EQ(node->port, 40000) << "its address is left alone";
}

TEST_F(AcwtpRunning, every_status_but_down_is_served)
{
    for (int status = AP_LINK_UP; status <= AP_UPGRAD_FAILED; status++) {
        node->status = static_cast<UINT8>(status);
        EXPECT_EQ(handle(0), 0);
    }
    EXPECT_EQ(sent().size(), 6U);
}

TEST_F(AcwtpRunning, a_changed_source_goes_to_the_record)
{
    EXPECT_EQ(handle(1), 0);
    const UINT8 source[4] = {10, 2, 3, 4};
    EXPECT_EQ(memcmp(node->ip, source, 4), 0);
    EXPECT_EQ(node->port, 7000);
    node->port = 7001; // a new port at the old address
    handle(1);
    EXPECT_EQ(node->port, 7000);
    node->ip[3] = 5; // and the other way round
    handle(1);
    EXPECT_EQ(memcmp(node->ip, source, 4), 0);
}

TEST_F(AcwtpRunning, a_portal_check_leaves_the_record_s_address)
{
    for (const unsigned type : {24U, 0x0118U}) {
        EXPECT_EQ(handle(type), 0);
        const UINT8 recorded[4] = {127, 0, 0, 1};
        EXPECT_EQ(memcmp(node->ip, recorded, 4), 0);
        EXPECT_EQ(node->port, 40000);
    }
}

TEST_F(AcwtpRunning, an_echo_is_noted_and_answered_to_the_entry_s_address_and_the_record_s_port)
{
    {
        ac_lock lock(g_apjioned_mutex);
        g_online_list->online_list[0].timeout_num = 4;
    }
    EXPECT_EQ(handle(0), 0);
    EXPECT_EQ(entry().timeout_num, 0);
    EXPECT_EQ(entry().echo_times, 1);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].ip, "10.5.5.5");
    EXPECT_EQ(sent()[0].port, 7000);
}

TEST_F(AcwtpRunning, the_high_byte_of_a_message_plays_no_part)
{
    EXPECT_EQ(handle(0x0500), 0);
    EXPECT_EQ(entry().echo_times, 1);
    EXPECT_EQ(sent().size(), 1U);
}

TEST_F(AcwtpRunning, a_failed_echo_reply_is_dropped_and_the_result_is_still_0)
{
    fail_sends(true);
    testing::internal::CaptureStderr();
    output_of([&] { EXPECT_EQ(handle(0), 0); });
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(entry().echo_times, 1);
}

TEST_F(AcwtpRunning, a_success_ends_the_wait_of_a_setting)
{
    outstanding(9);
    EXPECT_EQ(handle(7, {0}), 0);
    EXPECT_FALSE(waits_for(9));
    EXPECT_EQ(entry().current_status, AC_RUNNING);
}

TEST_F(AcwtpRunning, a_success_to_a_restart_or_a_restore_takes_the_ap_off_the_network)
{
    for (const unsigned message : {4U, 5U}) {
        outstanding(9);
        EXPECT_EQ(handle(message, {0}), 0);
        EXPECT_FALSE(waits_for(9));
        EXPECT_EQ(node->status, AP_LINK_DOWN);
        EXPECT_EQ(acwtp_joined_node_find(mac.data(), 0), nullptr);
        node->status = AP_LINK_UP;
        join_ap(mac, AC_RUNNING);
    }
}

TEST_F(AcwtpRunning, the_whole_message_type_reaches_the_configuration_answer)
{
    EXPECT_EQ(handle(0x0107, {0}), 0);
    EXPECT_EQ(node->status, AP_LINK_DOWN) << "bit 0 of the high byte: the AP changed its address";
}

TEST_F(AcwtpRunning, a_refusal_leaves_the_request_outstanding)
{
    for (const unsigned message : {4U, 5U, 7U, 0x0107U}) {
        outstanding(9);
        EXPECT_EQ(handle(message, {1}), 0);
        EXPECT_EQ(handle(message, {255, 0}), 0);
        EXPECT_TRUE(waits_for(9));
        EXPECT_EQ(node->status, AP_LINK_UP);
        acwtp_msged_list_del_all();
    }
}

TEST_F(AcwtpRunning, an_answer_without_a_byte_is_no_success)
{
    for (const unsigned message : {4U, 5U, 7U}) {
        outstanding(9);
        EXPECT_EQ(handle(message), 0);
        EXPECT_TRUE(waits_for(9));
        EXPECT_EQ(node->status, AP_LINK_UP);
        acwtp_msged_list_del_all();
    }
}

TEST_F(AcwtpRunning, what_follows_the_first_byte_of_an_answer_is_not_read)
{
    outstanding(9);
    EXPECT_EQ(handle(7, {0, 1, 2, 3}), 0);
    EXPECT_FALSE(waits_for(9));
}

TEST_F(AcwtpRunning, an_answer_ends_the_wait_of_its_own_number_only)
{
    outstanding(9);
    outstanding(10);
    EXPECT_EQ(handle(7, {0}, 10), 0);
    EXPECT_TRUE(waits_for(9));
    EXPECT_FALSE(waits_for(10));
}

TEST_F(AcwtpRunning, a_simple_answer_ends_the_wait_whatever_it_carries)
{
    for (const Bytes& payload : {Bytes{}, Bytes{0}, Bytes{1}}) {
        outstanding(9);
        EXPECT_EQ(handle(16, payload), 0);
        EXPECT_FALSE(waits_for(9));
    }
    outstanding(9);
    EXPECT_EQ(handle(0x0210, {1}), 0);
    EXPECT_FALSE(waits_for(9));
    EXPECT_EQ(node->status, AP_LINK_UP);
}

TEST_F(AcwtpRunning, an_alarm_is_raised_with_its_first_byte_taken_as_signed)
{
    EXPECT_EQ(handle(11, {0, 99}), 0);
    EXPECT_EQ(handle(11, {7}), 0);
    EXPECT_EQ(handle(11, {0x7F}), 0);
    EXPECT_EQ(handle(11, {0x80}), 0);
    EXPECT_EQ(handle(11, {0xFF}), 0);
    EXPECT_EQ(alarms(mac), (std::vector<int>{0, 7, 127, -128, -1}));
    EXPECT_TRUE(sent().empty()) << "an alarm has no reply";
}

TEST_F(AcwtpRunning, an_alarm_without_a_kind_is_none)
{
    EXPECT_EQ(handle(11), 0);
    EXPECT_TRUE(alarms(mac).empty());
}

TEST_F(AcwtpRunning, any_other_message_is_ignored_and_still_gives_0)
{
    static const std::set<unsigned> handled = {0, 4, 5, 6, 7, 9, 11, 16, 24, 32, 36};
    outstanding(9);
    const std::string out = output_of([&] {
        for (unsigned message = 0; message < 256; message++) {
            if (handled.contains(message)) continue;
            EXPECT_FALSE(acwtp_running_handled(static_cast<UINT8>(message))) << message;
            EXPECT_EQ(handle(message, {0, 1, 2, 3}), 0) << message;
        }
    });
    EXPECT_EQ(out, "");
    EXPECT_TRUE(sent().empty());
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
    EXPECT_TRUE(waits_for(9));
    EXPECT_EQ(entry().echo_times, 0);
    EXPECT_EQ(node->status, AP_LINK_UP);
}

TEST_F(AcwtpRunning, time_answers_and_fast_roaming_uploads_have_no_handler)
{
    for (const UINT8 message : {UINT8{13}, UINT8{38}, UINT8{39}})
        EXPECT_FALSE(acwtp_running_handled(message));
}

TEST_F(AcwtpRunning, echoes_answers_alarms_and_simple_answers_have_a_handler)
{
    for (const UINT8 message : {UINT8{0}, UINT8{4}, UINT8{5}, UINT8{7}, UINT8{11}, UINT8{16}})
        EXPECT_TRUE(acwtp_running_handled(message));
}
