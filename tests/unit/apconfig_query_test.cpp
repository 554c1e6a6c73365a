#include "ac_mib/apconfig_query.h"

#include "ac_mib/apconfig_update.h"
#include "ac_mib/sql_flash_queue.h"
#include "acwtp_msg/mac_list.h"
#include "apconfig_fixture.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "common/config_ap_type.h"
#include "platform/ac_clock.h"

namespace {

constexpr UINT16 SINGLE = 1; // one radio, SSIDs 0 and 1
constexpr UINT16 DUAL = 67;  // two radios, SSIDs 0 to 11

class ApconfigQuery : public TestWorld {
protected:
    Mac mac = test_mac(0x123);

    // Far from the last ageing pass of the process, whichever test made it.
    void SetUp() override
    {
        TestWorld::SetUp();
        static int later = 0;
        ac_clock_advance(later += 1000);
    }

    // Records without radios or SSIDs of `count` APs from `first` on.
    void make_many(int first, int count, UINT8 status)
    {
        for (int i = first; i < first + count; i++) {
            APCONFIG* node = apconfig_alloc();
            memcpy(node->ethaddr, test_mac(i).data(), 6);
            node->ap_type = SINGLE;
            node->status = status;
            apconfig_link(node);
        }
    }
    std::vector<Mac> walk()
    {
        std::vector<Mac> macs;
        ac_lock lock(g_apconfig_mutex);
        for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
            Mac found;
            memcpy(found.data(), node->ethaddr, 6);
            macs.push_back(found);
        }
        return macs;
    }
    std::vector<Mac> macs_of(const list_node& head)
    {
        std::vector<Mac> macs;
        for (list_node* at = head.next; at != &head; at = at->next) {
            Mac found;
            memcpy(found.data(), list_entry(at, MAC_LIST, list)->ethaddr, 6);
            macs.push_back(found);
        }
        return macs;
    }
};

} // namespace

// --- one AP
// ------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigQuery, the_ssids_of_an_ap_are_copied_by_their_numbers)
{
    APCONFIG* node = make_record(mac, DUAL, 0);
    for (UINT8 i = 0; i < 12; i++)
        wl_of(node, i).client_number = static_cast<UINT8>(10 + i);
    drop_wl(node, 3);
    CONFIG_WL_BASIC wl[AC_SSID_MAX];
    memset(static_cast<void*>(wl), 0xEE, sizeof wl);
    EXPECT_EQ(obtain_apconfig_all_ssid(mac.data(), wl), 11);
    for (UINT8 i = 0; i < 12; i++) {
        if (i == 3) continue;
        EXPECT_EQ(raw(wl[i]), raw(wl_of(node, i)));
    }
    EXPECT_EQ(wl[3].ssid_id, 0xEE);
}

TEST_F(ApconfigQuery, an_ssid_number_out_of_range_has_no_place_in_the_copy)
{
    APCONFIG* node = make_record(mac, DUAL, 0);
    wl_of(node, 11).ssid_id = 12;
    wl_of(node, 10).ssid_id = 255;
    CONFIG_WL_BASIC wl[AC_SSID_MAX] = {};
    EXPECT_EQ(obtain_apconfig_all_ssid(mac.data(), wl), 10);
}

TEST_F(ApconfigQuery, the_radios_of_an_ap_are_copied_by_their_numbers_in_either_form)
{
    APCONFIG* node = make_record(mac, DUAL, 0);
    const Bytes first = {2,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13,
                         14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27};
    const Bytes second = {67, 31, 32, 33, 34, 35, 36, 37, 38, 39, 40, 41, 42, 43,
                          44, 45, 46, 47, 48, 49, 50, 51, 52, 53, 54, 55, 56, 57};
    rf_of(node, 0) = from_bytes<CONFIG_WL_RF>(first);
    rf_of(node, 1) = from_bytes<CONFIG_WL_RF>(second);
    CONFIG_WL_RF rf[AC_RADIO_MAX];
    EXPECT_EQ(obtain_apconfig_all_rf(mac.data(), rf), 2);
    EXPECT_EQ(raw(rf[0]), first);
    EXPECT_EQ(raw(rf[1]), second);
    CONFIG_WL_RF_V1 v1[AC_RADIO_MAX];
    EXPECT_EQ(obtain_apconfig_all_rf_v1(mac.data(), v1), 2);
    EXPECT_EQ(raw(v1[0]), cut(first, 10));
    EXPECT_EQ(raw(v1[1]), cut(second, 10));
}

TEST_F(ApconfigQuery, an_ap_with_one_radio_fills_one_place)
{
    make_record(mac, SINGLE, 0);
    CONFIG_WL_RF rf[AC_RADIO_MAX];
    memset(static_cast<void*>(rf), 0xEE, sizeof rf);
    EXPECT_EQ(obtain_apconfig_all_rf(mac.data(), rf), 1);
    EXPECT_EQ(raw(rf[1]), Bytes(28, 0xEE));
    CONFIG_WL_BASIC wl[AC_SSID_MAX] = {};
    EXPECT_EQ(obtain_apconfig_all_ssid(mac.data(), wl), 2);
}

TEST_F(ApconfigQuery, radio_1_has_its_place_also_where_radio_0_is_missing)
{
    drop_rf(make_record(mac, DUAL, 0), 0);
    CONFIG_WL_RF rf[AC_RADIO_MAX];
    CONFIG_WL_RF_V1 v1[AC_RADIO_MAX];
    memset(static_cast<void*>(rf), 0xEE, sizeof rf);
    memset(static_cast<void*>(v1), 0xEE, sizeof v1);
    EXPECT_EQ(obtain_apconfig_all_rf(mac.data(), rf), 1);
    EXPECT_EQ(obtain_apconfig_all_rf_v1(mac.data(), v1), 1);
    EXPECT_EQ(raw(rf[0]), Bytes(28, 0xEE));
    EXPECT_EQ(raw(v1[0]), Bytes(10, 0xEE));
    EXPECT_EQ(rf[1].RF_basic_setting & 1, 1);
    EXPECT_EQ(v1[1].RF_basic_setting & 1, 1);
}

TEST_F(ApconfigQuery, the_address_settings_of_an_ap_are_copied)
{
    APCONFIG* node = make_record(mac, DUAL, 0);
    const Bytes bytes = {1, 10, 0, 0, 5, 255, 255, 254, 0, 10, 0, 0, 1, 8, 8, 8, 8, 9, 9, 9, 9};
    node->info_basic.ip = from_bytes<CONFIG_IP>(bytes);
    CONFIG_IP ip;
    EXPECT_EQ(obtain_apconfig_ip(mac.data(), &ip), 1);
    EXPECT_EQ(raw(ip), bytes);
}

TEST_F(ApconfigQuery, an_unknown_ap_gives_0_and_leaves_the_callers_copies)
{
    CONFIG_WL_BASIC wl[AC_SSID_MAX];
    CONFIG_WL_RF rf[AC_RADIO_MAX];
    CONFIG_WL_RF_V1 v1[AC_RADIO_MAX];
    CONFIG_IP ip;
    memset(static_cast<void*>(wl), 0xEE, sizeof wl);
    memset(static_cast<void*>(rf), 0xEE, sizeof rf);
    memset(static_cast<void*>(v1), 0xEE, sizeof v1);
    memset(static_cast<void*>(&ip), 0xEE, sizeof ip);
    EXPECT_EQ(obtain_apconfig_all_ssid(mac.data(), wl), 0);
    EXPECT_EQ(obtain_apconfig_all_rf(mac.data(), rf), 0);
    EXPECT_EQ(obtain_apconfig_all_rf_v1(mac.data(), v1), 0);
    EXPECT_EQ(obtain_apconfig_ip(mac.data(), &ip), 0);
    EXPECT_EQ(raw(wl), Bytes(sizeof wl, 0xEE));
    EXPECT_EQ(raw(rf), Bytes(sizeof rf, 0xEE));
    EXPECT_EQ(raw(v1), Bytes(sizeof v1, 0xEE));
    EXPECT_EQ(raw(ip), Bytes(21, 0xEE));
}

// --- counts
// ------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigQuery, every_record_counts_and_those_of_status_neither_0_nor_5_are_online)
{
    for (int status = 0; status <= 6; status++)
        make_record(test_mac(status), SINGLE, static_cast<UINT8>(status));
    UINT32 total = 0;
    UINT32 online = 0;
    obtain_ap_num(&total, &online);
    EXPECT_EQ(total, 7U);
    EXPECT_EQ(online, 5U);
}

TEST_F(ApconfigQuery, the_counts_are_added_to_the_callers)
{
    make_record(mac, SINGLE, 1);
    UINT32 total = 100;
    UINT32 online = 50;
    obtain_ap_num(&total, &online);
    EXPECT_EQ(total, 101U);
    EXPECT_EQ(online, 51U);
}

TEST_F(ApconfigQuery, an_upgraded_ap_counts_as_offline_but_is_listed)
{
    make_record(mac, SINGLE, AP_UPGRAD_SUCCESS);
    UINT32 total = 0;
    UINT32 online = 0;
    obtain_ap_num(&total, &online);
    EXPECT_EQ(total, 1U);
    EXPECT_EQ(online, 0U);
    list_node head;
    INIT_LIST_HEAD(&head);
    EXPECT_EQ(get_apmac_from_mib(&head), 1);
    EXPECT_EQ(macs_of(head), std::vector<Mac>{mac});
    mac_list_free_all(&head);
}

TEST_F(ApconfigQuery, the_clients_of_online_aps_are_summed)
{
    for (int status = 0; status <= 6; status++)
        make_record(test_mac(status), SINGLE, static_cast<UINT8>(status))->info_client.num = 1 << status;
    int num = 77;
    EXPECT_EQ(obtain_online_client_num(&num), 0);
    EXPECT_EQ(num, 2 + 4 + 8 + 16 + 64);
    apconfig_del_all();
    obtain_online_client_num(&num);
    EXPECT_EQ(num, 0);
}

TEST_F(ApconfigQuery, the_aps_that_are_not_down_are_listed_each_new_one_at_the_head)
{
    for (int i = 0; i < 20; i++)
        make_record(test_mac(i), SINGLE, static_cast<UINT8>(i % 4 == 0 ? 0 : i % 7));
    std::vector<Mac> expected;
    for (const Mac& found : walk()) {
        if (record_of(found)->status != 0) expected.insert(expected.begin(), found);
    }
    list_node head;
    INIT_LIST_HEAD(&head);
    EXPECT_EQ(get_apmac_from_mib(&head), static_cast<int>(expected.size()));
    EXPECT_EQ(macs_of(head), expected);
    mac_list_free_all(&head);
    EXPECT_TRUE(list_empty(&head));
}

TEST_F(ApconfigQuery, the_list_of_an_empty_table_is_empty)
{
    list_node head;
    INIT_LIST_HEAD(&head);
    EXPECT_EQ(get_apmac_from_mib(&head), 0);
    EXPECT_TRUE(list_empty(&head));
}

TEST_F(ApconfigQuery, without_memory_the_list_gives_minus_1_and_keeps_what_it_has)
{
    for (int i = 0; i < 5; i++)
        make_record(test_mac(i), SINGLE, 1);
    const std::vector<Mac> order = walk();
    list_node head;
    INIT_LIST_HEAD(&head);
    ac_alloc_fail_after(2);
    testing::internal::CaptureStderr();
    EXPECT_EQ(get_apmac_from_mib(&head), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0U);
    EXPECT_EQ(macs_of(head), (std::vector<Mac>{order[1], order[0]}));
    mac_list_free_all(&head);
}

// --- clients of an AP that goes down
// ---------------------------------------------------------------------------------------

TEST_F(ApconfigQuery, taking_an_unknown_aps_clients_down_gives_255)
{
    EXPECT_EQ(turn_online_client_down(mac.data(), 1), 255);
}

TEST_F(ApconfigQuery, taking_an_aps_clients_down_gives_0_with_and_without_clients)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    EXPECT_EQ(turn_online_client_down(mac.data(), 1), 0);
    node->info_client.num = 2;
    EXPECT_EQ(turn_online_client_down(mac.data(), 1), 0);
    EXPECT_EQ(node->info_client.num, 2);
}

// --- ageing
// ------------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigQuery, two_thousand_offline_aps_are_kept)
{
    make_many(0, 2000, AP_LINK_DOWN);
    make_many(2000, 100, AP_LINK_UP);
    take_notes();
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2100U);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigQuery, fewer_than_2000_offline_aps_are_kept)
{
    make_many(0, 1999, AP_LINK_DOWN);
    take_notes();
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 1999U);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigQuery, of_2001_offline_aps_the_first_of_the_walk_is_deleted_with_its_rows)
{
    make_many(0, 2001, AP_LINK_DOWN);
    make_many(3000, 10, AP_LINK_UP);
    take_notes();
    Mac first{};
    for (const Mac& found : walk()) {
        if (record_of(found)->status != 0) continue;
        first = found;
        break;
    }
    const UINT32 before = ac_load(g_acwtp_joined_ap_num);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2010U);
    EXPECT_EQ(record_of(first), nullptr);
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before - 1);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_DELETE_AP, 0, first}}));
}

TEST_F(ApconfigQuery, the_excess_is_deleted_in_walking_order)
{
    make_many(0, 2100, AP_LINK_DOWN);
    take_notes();
    const std::vector<Mac> order = walk();
    apconfig_check_unonline_num();
    EXPECT_EQ(walk(), std::vector<Mac>(order.begin() + 100, order.end()));
    const std::vector<FlashNote> notes = take_notes();
    ASSERT_EQ(notes.size(), 100U);
    for (std::size_t i = 0; i < 100; i++)
        EXPECT_EQ(notes[i], (FlashNote{CONFIG_SQL_DELETE_AP, 0, order[i]}));
}

TEST_F(ApconfigQuery, the_next_pass_runs_at_51_seconds_and_not_at_50)
{
    make_many(0, 2001, AP_LINK_DOWN);
    apconfig_check_unonline_num();
    ASSERT_EQ(walk().size(), 2000U);
    make_many(2001, 1, AP_LINK_DOWN);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2001U);
    ac_clock_advance(50);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2001U);
    ac_clock_advance(1);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2000U);
}

TEST_F(ApconfigQuery, a_pass_that_finds_nothing_to_delete_counts_as_a_pass)
{
    apconfig_check_unonline_num();
    make_many(0, 2001, AP_LINK_DOWN);
    ac_clock_advance(50);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2001U);
}

TEST_F(ApconfigQuery, a_clock_set_back_by_more_than_50_seconds_lets_the_pass_run)
{
    apconfig_check_unonline_num();
    make_many(0, 2001, AP_LINK_DOWN);
    ac_clock_advance(-50);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2001U);
    ac_clock_advance(-1);
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2000U);
}

TEST_F(ApconfigQuery, upgraded_aps_count_towards_the_excess_but_are_never_deleted)
{
    make_many(0, 500, AP_LINK_DOWN);
    make_many(1000, 2600, AP_UPGRAD_SUCCESS); // 1100 too many, of which only 500 may go
    apconfig_check_unonline_num();
    EXPECT_EQ(walk().size(), 2600U);
    for (const Mac& found : walk())
        EXPECT_EQ(record_of(found)->status, AP_UPGRAD_SUCCESS);
}

// --- to all APs
// --------------------------------------------------------------------------------------------------------------

TEST_F(ApconfigQuery, a_frame_goes_to_every_record_online_or_not)
{
    for (int i = 0; i < 10; i++) {
        APCONFIG* node = make_record(test_mac(i), i % 2 == 0 ? SINGLE : DUAL, static_cast<UINT8>(i % 2));
        node->proto_vendor = static_cast<UINT16>(3 + i % 2);
        node->port = static_cast<UINT16>(6000 + i);
        memcpy(node->ip, Bytes{10, 0, 0, static_cast<UINT8>(i)}.data(), 4);
    }
    sent().clear();
    struct {
        CLOUD_AP_UDP_PKT head;
        UINT8 payload[4];
    } frame = {};
    frame.head.msg_length = 4;
    frame.head.vendor = AC_VENDOR;
    frame.head.seq_num = 9;
    memcpy(frame.payload, "data", 4);
    EXPECT_EQ(send_pkt_to_all_ap(&frame.head), 0);
    const std::vector<Mac> order = walk();
    ASSERT_EQ(sent().size(), 10U);
    for (std::size_t i = 0; i < 10; i++) {
        const SentFrame& out = sent()[i];
        const int number = order[i][5];
        EXPECT_EQ(out.ip, "10.0.0." + std::to_string(number));
        EXPECT_EQ(out.port, 6000 + number);
        const CLOUD_AP_UDP_PKT head = out.head();
        EXPECT_EQ(memcmp(head.ap_mac, order[i].data(), 6), 0);
        EXPECT_EQ(head.ap_type, number % 2 == 0 ? SINGLE : DUAL);
        EXPECT_EQ(head.ap_proto_type, 3 + number % 2);
        EXPECT_EQ(head.seq_num, 9);
        EXPECT_EQ(Bytes(out.bytes.begin() + 28, out.bytes.end()), Bytes({'d', 'a', 't', 'a'}));
    }
}

TEST_F(ApconfigQuery, a_failed_send_does_not_end_the_round)
{
    make_record(test_mac(1), SINGLE, 1);
    make_record(test_mac(2), SINGLE, 1);
    CLOUD_AP_UDP_PKT frame{};
    fail_sends(true);
    EXPECT_EQ(send_pkt_to_all_ap(&frame), 0);
    fail_sends(false);
    EXPECT_EQ(memcmp(frame.ap_mac, walk().back().data(), 6), 0); // the last one had its turn
}

TEST_F(ApconfigQuery, a_null_frame_gives_1001)
{
    make_record(mac, SINGLE, 1);
    sent().clear();
    EXPECT_EQ(send_pkt_to_all_ap(nullptr), 1001);
    EXPECT_TRUE(sent().empty());
}

TEST_F(ApconfigQuery, a_frame_to_an_empty_table_goes_nowhere)
{
    sent().clear();
    CLOUD_AP_UDP_PKT frame{};
    EXPECT_EQ(send_pkt_to_all_ap(&frame), 0);
    EXPECT_TRUE(sent().empty());
}

// --- an AP with one radio
// --------------------------------------------------------------------------------------------------------

TEST_F(ApconfigQuery, nothing_that_asks_for_radio_1_minds_an_ap_without_it)
{
    APCONFIG* node = make_record(mac, SINGLE, 1);
    std::vector<AC_WTP_WTP_TABLE> list(1);
    std::vector<AC_WTP_Ssid_Cfg_t> scan(1);
    std::vector<ACWTP_ADVANCE_CONFIG> advance(1);
    int count = 0;
    EXPECT_EQ(apconfig_Traversal(list, &count), 1);
    EXPECT_EQ(apconfig_ssid_scan_obtain(scan, &count), 0);
    EXPECT_EQ(apconfig_advance_obtain(advance), 1);
    EXPECT_EQ(apconfig_mib_update(SET_AP_CHANNEL, mac.data(), Bytes{1, 0, 36}), 0);
    ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(apconfig_mib_update_rf_radio(node, 1, 1), 255);
}
