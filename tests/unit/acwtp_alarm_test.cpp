// Raising alarms, giving up on APs that do not answer, and the short answers to an AP.
#include "ac_wtp_protocol/acwtp_alarm.h"

#include "ac_mib/apconfig.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/acwtp_replies.h"
#include "acwtp_msg/acwtp_msg.h"
#include "acwtp_msg/mac_list.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "joining_ap.h"

namespace {

int posts_of_protocol()
{
    int value = 0;
    sem_getvalue(&sem_protocol, &value);
    return value;
}

struct Macs {
    list_node head;
    explicit Macs(std::initializer_list<int> numbers)
    {
        INIT_LIST_HEAD(&head);
        for (const int number : numbers)
            list_add_tail(&mac_list_alloc(test_mac(number).data())->list, &head);
    }
    ~Macs() { mac_list_free_all(&head); }
    Macs(const Macs&) = delete;
    Macs& operator=(const Macs&) = delete;
};

} // namespace

// --- raising ---------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, the_alarm_kinds_have_fixed_numbers)
{
    EXPECT_EQ(HALDE_ALARM_QOS, 0);
    EXPECT_EQ(HALDE_ALARM_APNUMBER, 1);
    EXPECT_EQ(HALDE_ALARM_AP_IP_CHANGED, 2);
    EXPECT_EQ(HALDE_ALARM_AP_STATUS_LINK_DOWN, 3);
    EXPECT_EQ(HALDE_ALARM_STATUS_LINKUP, 4);
    EXPECT_EQ(HALDE_ALARM_ECHO_FAILED, 5);
    EXPECT_EQ(HALDE_ALARM_CONFIG_FAILED, 6);
    EXPECT_EQ(HALDE_ALARM_AP_DISCOVER_FAILED, 7);
}

TEST_F(TestWorld, an_alarm_is_an_internal_work_item_of_mac_and_kind)
{
    const Mac mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    EXPECT_EQ(trigger_assem_logs(HALDE_ALARM_CONFIG_FAILED, mac.data()), 0);
    const std::vector<WorkItem> items = take_items();
    ASSERT_EQ(items.size(), 1U);
    EXPECT_EQ(items[0].flags, 3);
    EXPECT_EQ(items[0].type, 11);
    EXPECT_EQ(items[0].ap_num, 1);
    EXPECT_EQ(items[0].num_flag, 0);
    EXPECT_EQ(items[0].send_times, 0);
    EXPECT_EQ(items[0].msg, (Bytes{0x02, 0x11, 0x22, 0x33, 0x44, 0x55, 6, 0, 0, 0}));
}

TEST_F(TestWorld, an_alarm_of_a_negative_kind_keeps_its_sign)
{
    trigger_assem_logs(-56, test_mac(7).data());
    EXPECT_EQ(take_items().at(0).msg, (Bytes{2, 0, 0, 0, 0, 7, 0xC8, 0xFF, 0xFF, 0xFF}));
}

TEST_F(TestWorld, an_alarm_joins_the_tail_and_wakes_the_initial_thread)
{
    trigger_assem_logs(HALDE_ALARM_QOS, test_mac(7).data());
    EXPECT_EQ(posts_of_protocol(), 1);
    trigger_assem_logs(HALDE_ALARM_STATUS_LINKUP, test_mac(7).data());
    EXPECT_EQ(posts_of_protocol(), 2);
    EXPECT_EQ(alarms(test_mac(7)), (std::vector<int>{0, 4}));
}

TEST_F(TestWorld, an_alarm_without_memory_is_lost_with_malloc_s_words_and_255)
{
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(output_of([] { EXPECT_EQ(trigger_assem_logs(HALDE_ALARM_QOS, test_mac(7).data()), 255); }), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0U);
    EXPECT_TRUE(take_items().empty());
}

TEST_F(TestWorld, an_alarm_gives_the_queue_s_result_when_the_item_finds_no_memory)
{
    ac_alloc_fail_after(1);
    EXPECT_EQ(said(output_of([] { EXPECT_EQ(trigger_assem_logs(HALDE_ALARM_QOS, test_mac(7).data()), 1001); })),
              "Add new node failed.\nInsert list failed.");
    ac_alloc_fail_after(2);
    EXPECT_EQ(said(output_of([] { EXPECT_EQ(trigger_assem_logs(HALDE_ALARM_QOS, test_mac(7).data()), 255); })),
              "Insert list failed.");
    EXPECT_TRUE(take_items().empty());
}

// --- giving up -------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, an_ap_that_never_answered_is_marked_announced_and_dropped)
{
    JoiningAp ap(7);
    (void)output_of([&] { ap.join(); });
    ASSERT_EQ(ac_load(wtp_online_num_count), 1);
    take_notes();
    Macs macs({7});
    EXPECT_EQ(output_of([&] { msged_queue_mac_status_change(&macs.head); }), "");
    const APCONFIG* record = apconfig_find(ap.mac.data());
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->status, AP_LINK_DOWN);
    EXPECT_EQ(record->AP_config_version[0], '1');
    EXPECT_EQ(record->AP_config_version[1], 0);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_VERSION, 0, ap.mac}}));
    EXPECT_EQ(alarms(ap.mac), (std::vector<int>{HALDE_ALARM_CONFIG_FAILED}));
    EXPECT_FALSE(ap.joined());
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
}

TEST_F(TestWorld, an_ap_that_is_not_joined_is_announced_but_not_counted_down)
{
    make_record(test_mac(7), 1, AP_LINK_UP, "0");
    ac_store(wtp_online_num_count, 5);
    Macs macs({7});
    msged_queue_mac_status_change(&macs.head);
    EXPECT_EQ(alarms(test_mac(7)), (std::vector<int>{HALDE_ALARM_CONFIG_FAILED}));
    EXPECT_EQ(ac_load(wtp_online_num_count), 5);
}

TEST_F(TestWorld, an_ap_without_a_record_is_passed_over_and_the_next_is_not)
{
    JoiningAp unknown(8);
    (void)output_of([&] { unknown.discover(); });
    make_record(test_mac(7), 1, AP_LINK_UP);
    Macs macs({8, 7});
    EXPECT_EQ(output_of([&] { msged_queue_mac_status_change(&macs.head); }), "");
    EXPECT_TRUE(alarms(test_mac(8)).empty());
    EXPECT_TRUE(unknown.joined());
    EXPECT_EQ(alarms(test_mac(7)), (std::vector<int>{HALDE_ALARM_CONFIG_FAILED}));
}

// --- the short answers -----------------------------------------------------------------------------------------------

TEST_F(TestWorld, an_echo_is_answered_byte_for_byte_to_the_given_address_and_the_record_s_port)
{
    APCONFIG* node = make_record(test_mac(7), 1, AP_LINK_UP);
    node->port = 6007;
    alignas(CLOUD_AP_UDP_PKT) const UINT8 request[] = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
        0x03, 0x00,                         // ap_proto_type
        0x34, 0x12,                         // seq_num
        0x58, 0x58,                         // pkt_type
        0x77, 0x66,                         // reserve
        0x1E, 0x00,                         // ap_type 30
        0x88, 0x17,                         // vendor
        0x00, 0x05,                         // msg_type 0 with a sub-type
        0x04, 0x00, 0x00, 0x00,             // msg_length
        0xDD, 0xCC, 0xBB, 0xAA,             // crc
        1,    2,    3,    4,
    };
    const Bytes reply = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
        0x03, 0x00,                         // ap_proto_type
        0x34, 0x12,                         // seq_num
        0x58, 0x58,                         // pkt_type
        0x77, 0x66,                         // reserve
        0x1E, 0x00,                         // ap_type
        0x88, 0x17,                         // vendor
        0x00, 0x00,                         // msg_type
        0x00, 0x00, 0x00, 0x00,             // msg_length
        0x00, 0x00, 0x00, 0x00,             // crc
    };
    const UINT8 ip[4] = {10, 1, 2, 3};
    EXPECT_EQ(assem_echo_req_package(reinterpret_cast<const CLOUD_AP_UDP_PKT*>(request), node, ip), AC_RET_OK);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(sent()[0].ip, "10.1.2.3");
    EXPECT_EQ(sent()[0].port, 6007);
}

TEST_F(TestWorld, an_echo_answer_needs_request_and_record_and_gives_the_send_s_result)
{
    APCONFIG* node = make_record(test_mac(7), 1, AP_LINK_UP);
    const CLOUD_AP_UDP_PKT request = {};
    const UINT8 ip[4] = {10, 1, 2, 3};
    EXPECT_EQ(assem_echo_req_package(nullptr, node, ip), AC_RET_ERROR);
    EXPECT_EQ(assem_echo_req_package(&request, nullptr, ip), AC_RET_ERROR);
    EXPECT_TRUE(sent().empty());
    fail_sends(true);
    testing::internal::CaptureStderr();
    EXPECT_EQ(said(output_of([&] { EXPECT_EQ(assem_echo_req_package(&request, node, ip), AC_RET_ERROR); })),
              "msg send error.\n");
    (void)testing::internal::GetCapturedStderr();
}

TEST_F(TestWorld, a_forced_link_down_is_the_request_s_header_byte_for_byte_but_for_three_fields)
{
    alignas(CLOUD_AP_UDP_PKT) const UINT8 request[] = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
        0x03, 0x00,                         // ap_proto_type
        0x34, 0x12,                         // seq_num
        0x58, 0x58,                         // pkt_type
        0x77, 0x66,                         // reserve
        0x1E, 0x00,                         // ap_type
        0x88, 0x17,                         // vendor
        0x09, 0x02,                         // msg_type
        0x04, 0x00, 0x00, 0x00,             // msg_length
        0xDD, 0xCC, 0xBB, 0xAA,             // crc
        1,    2,    3,    4,
    };
    const Bytes reply = {
        0x02, 0x00, 0x00, 0x00, 0x00, 0x07, // ap_mac
        0x03, 0x00,                         // ap_proto_type
        0x34, 0x12,                         // seq_num
        0x5A, 0x5A,                         // pkt_type
        0x77, 0x66,                         // reserve
        0x1E, 0x00,                         // ap_type
        0x88, 0x17,                         // vendor
        0x00, 0x01,                         // msg_type
        0x00, 0x00, 0x00, 0x00,             // msg_length
        0xDD, 0xCC, 0xBB, 0xAA,             // crc
    };
    const UINT8 ip[4] = {10, 1, 2, 3};
    EXPECT_EQ(send_link_down_to_ap(ip, 5009, reinterpret_cast<const CLOUD_AP_UDP_PKT*>(request)), 0);
    ASSERT_EQ(sent().size(), 1U);
    EXPECT_EQ(sent()[0].bytes, reply);
    EXPECT_EQ(sent()[0].ip, "10.1.2.3");
    EXPECT_EQ(sent()[0].port, 5009);
}

TEST_F(TestWorld, a_forced_link_down_that_can_not_be_sent_gives_0_all_the_same)
{
    const CLOUD_AP_UDP_PKT request = {};
    const UINT8 ip[4] = {10, 1, 2, 3};
    fail_sends(true);
    testing::internal::CaptureStderr();
    (void)output_of([&] { EXPECT_EQ(send_link_down_to_ap(ip, 5009, &request), 0); });
    (void)testing::internal::GetCapturedStderr();
}
