#include "ac_mib/apconfig.h"

#include "ac_mib/sql_flash_queue.h"
#include "apconfig_fixture.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"

namespace {

class ApconfigTable : public TestWorld {};

constexpr UINT16 SINGLE = 1; // one radio, SSIDs 0 and 1
constexpr UINT16 DUAL = 67;  // two radios, SSIDs 0 to 11

// The published mix, one step for each line of its description: subtract the two others, then xor with a shift.
UINT32 lookup2(UINT32 a, UINT32 b, UINT32 c, UINT32 initval)
{
    struct Step {
        int target, first, second, shift; // indexes into v; a shift below 0 goes right
    };
    static constexpr Step STEPS[] = {{0, 1, 2, -13}, {1, 2, 0, 8},  {2, 0, 1, -13}, {0, 1, 2, -12}, {1, 2, 0, 16},
                                     {2, 0, 1, -5},  {0, 1, 2, -3}, {1, 2, 0, 10},  {2, 0, 1, -15}};
    UINT32 v[3] = {a + 0x9E3779B9U, b + 0x9E3779B9U, c + initval};
    for (const Step& step : STEPS) {
        v[step.target] -= v[step.first];
        v[step.target] -= v[step.second];
        v[step.target] ^= step.shift < 0 ? v[step.second] >> -step.shift : v[step.second] << step.shift;
    }
    return v[2];
}

void seed(UINT32 rnd)
{
    ac_lock lock(g_apconfig_mutex);
    apconfig_hash_table.rnd = rnd;
}

std::vector<Mac> walk()
{
    std::vector<Mac> macs;
    ac_lock lock(g_apconfig_mutex);
    for (APCONFIG* node = apconfig_next_locked(nullptr); node != nullptr; node = apconfig_next_locked(node)) {
        Mac mac;
        memcpy(mac.data(), node->ethaddr, 6);
        macs.push_back(mac);
    }
    return macs;
}

} // namespace

TEST_F(ApconfigTable, the_word_hash_gives_the_published_values)
{
    EXPECT_EQ(jhash_3words(0x0, 0x0, 0x0, 0x0), 0xBD49D10DU);
    EXPECT_EQ(jhash_3words(0x1, 0x0, 0x0, 0x0), 0x2027E3EAU);
    EXPECT_EQ(jhash_3words(0x0, 0x1, 0x0, 0x0), 0x6477F51FU);
    EXPECT_EQ(jhash_3words(0x0, 0x0, 0x1, 0x0), 0x6DDFB8C9U);
    EXPECT_EQ(jhash_3words(0xDEADBEEF, 0x12345678, 0x9ABCDEF0, 0xBADF00D), 0x8091A48BU);
    EXPECT_EQ(jhash_3words(0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF), 0x17F43626U);
}

TEST_F(ApconfigTable, the_word_hash_follows_the_nine_steps_of_the_published_mix)
{
    UINT32 x = 1;
    for (int i = 0; i < 1000; i++) {
        UINT32 w[4];
        for (UINT32& word : w)
            word = x = x * 1664525U + 1013904223U;
        EXPECT_EQ(jhash_3words(w[0], w[1], w[2], w[3]), lookup2(w[0], w[1], w[2], w[3]));
        EXPECT_EQ(jhash_2words(w[0], w[1], w[3]), lookup2(w[0], w[1], 0, w[3]));
    }
}

TEST_F(ApconfigTable, the_bucket_folds_a_mac_into_two_words_and_takes_them_modulo_199)
{
    seed(0x1234);
    const Mac mac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    EXPECT_EQ(apconfig_hash_func(mac.data()), lookup2(0x55, 0x77, 0, 0x1234) % 199);
    const Mac other = {0xF0, 0x0F, 0x81, 0xAA, 0x55, 0x01};
    EXPECT_EQ(apconfig_hash_func(other.data()), lookup2(0xFF, 0xFF, 0, 0x1234) % 199);
    for (int i = 0; i < 2000; i++)
        EXPECT_LT(apconfig_hash_func(test_mac(i).data()), 199U);
}

TEST_F(ApconfigTable, the_bucket_changes_with_the_seed)
{
    seed(1);
    const UINT32 first = apconfig_hash_func(test_mac(7).data());
    seed(2);
    EXPECT_NE(apconfig_hash_func(test_mac(7).data()), first);
}

TEST_F(ApconfigTable, the_start_empties_every_bucket_and_takes_a_seed)
{
    APCONFIG* node = apconfig_alloc();
    memcpy(node->ethaddr, test_mac(1).data(), 6);
    apconfig_link(node);
    srand(42);
    const auto expected = static_cast<UINT32>(rand());
    srand(42);
    apconfig_htable_init();
    EXPECT_EQ(record_of(test_mac(1)), nullptr);
    {
        ac_lock lock(g_apconfig_mutex);
        EXPECT_EQ(apconfig_hash_table.rnd, expected);
        for (const hlist_head& head : apconfig_hash_table.table)
            EXPECT_EQ(head.first, nullptr);
    }
    apconfig_free_unlinked(node);
}

TEST_F(ApconfigTable, two_macs_that_the_or_folds_together_share_a_bucket_and_are_both_found)
{
    const Mac a = {0x01, 0x00, 0x10, 0x20, 0x30, 0x01}; // bit 0 set in m[5] and in m[0]^m[1]
    const Mac b = {0x01, 0x00, 0x10, 0x20, 0x30, 0x00}; // bit 0 set in m[0]^m[1] alone
    ASSERT_EQ(apconfig_hash_func(a.data()), apconfig_hash_func(b.data()));
    APCONFIG* ra = make_record(a, SINGLE, 1);
    APCONFIG* rb = make_record(b, SINGLE, 1);
    EXPECT_EQ(record_of(a), ra);
    EXPECT_EQ(record_of(b), rb);
    EXPECT_EQ(apconfig_mib_node_del(a.data(), 0), 0);
    EXPECT_EQ(record_of(a), nullptr);
    EXPECT_EQ(record_of(b), rb);
}

TEST_F(ApconfigTable, a_new_record_is_zeroed_and_its_lists_are_empty)
{
    APCONFIG* node = apconfig_alloc();
    ASSERT_NE(node, nullptr);
    EXPECT_TRUE(list_empty(&node->list_rf));
    EXPECT_TRUE(list_empty(&node->list_wl));
    EXPECT_TRUE(list_empty(&node->list_pmk));
    EXPECT_TRUE(list_empty(&node->list_neighbor));
    EXPECT_EQ(raw(node->info_basic), Bytes(88));
    EXPECT_EQ(raw(node->p_wl_basic_policy_name), Bytes(384));
    EXPECT_EQ(node->info_client.num, 0);
    EXPECT_EQ(node->status, AP_LINK_DOWN);
    apconfig_free_unlinked(node);
}

TEST_F(ApconfigTable, a_new_node_has_its_link_made)
{
    CONFIG_WL_RF_LIST* rf = rfconfig_alloc();
    CONFIG_WL_BASIC_LIST* wl = wlconfig_alloc();
    ASSERT_NE(rf, nullptr);
    ASSERT_NE(wl, nullptr);
    EXPECT_TRUE(list_empty(&rf->list));
    EXPECT_TRUE(list_empty(&wl->list));
    ac_record_free(rf);
    ac_record_free(wl);
}

TEST_F(ApconfigTable, a_record_without_memory_is_null_and_prints)
{
    ac_alloc_fail_after(0);
    const std::string out = output_of([] { EXPECT_EQ(apconfig_alloc(), nullptr); });
    EXPECT_EQ(error_texts(out), Texts{"malloc failed\n"});
}

TEST_F(ApconfigTable, an_ssid_node_without_memory_is_null_and_prints)
{
    ac_alloc_fail_after(0);
    const std::string out = output_of([] { EXPECT_EQ(wlconfig_alloc(), nullptr); });
    EXPECT_EQ(error_texts(out), Texts{"malloc failed\n"});
}

TEST_F(ApconfigTable, a_radio_node_without_memory_is_null_and_prints_to_both_outputs)
{
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    const std::string out = output_of([] { EXPECT_EQ(rfconfig_alloc(), nullptr); });
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0U);
    EXPECT_EQ(error_texts(out), Texts{"malloc failed\n"});
}

TEST_F(ApconfigTable, an_unlinked_record_is_freed_with_its_nodes)
{
    APCONFIG* node = apconfig_alloc();
    list_add_tail(&rfconfig_alloc()->list, &node->list_rf);
    list_add_tail(&wlconfig_alloc()->list, &node->list_wl);
    list_add_tail(&wlconfig_alloc()->list, &node->list_wl);
    const ac_reader section;
    const std::size_t before = ac_retired_sweep();
    apconfig_free_unlinked(node); // the address sanitizer finds what would be left
    apconfig_free_unlinked(nullptr);
    EXPECT_EQ(ac_retired_sweep(), before + 3); // the nodes; the record is gone at once
}

TEST_F(ApconfigTable, a_record_is_found_by_its_mac_and_no_other_is)
{
    APCONFIG* node = make_record(test_mac(1), SINGLE, 1);
    const Mac mac = test_mac(1);
    EXPECT_EQ(apconfig_hnode_find(mac.data(), apconfig_hash_func(mac.data())), node);
    EXPECT_EQ(record_of(test_mac(2)), nullptr);
    EXPECT_EQ(apconfig_hnode_find(mac.data(), 199), nullptr);
    ac_lock lock(g_apconfig_mutex);
    EXPECT_EQ(apconfig_hnode_find_locked(mac.data()), node);
}

TEST_F(ApconfigTable, a_radio_is_found_by_bit_0_of_its_setting_the_first_one_counting)
{
    APCONFIG* node = make_record(test_mac(1), DUAL, 1);
    rf_of(node, 0).RF_basic_setting = 0xFE;
    rf_of(node, 1).RF_basic_setting = 0x41;
    EXPECT_EQ(rf_of(node, 0).RF_basic_setting, 0xFE);
    EXPECT_EQ(rf_of(node, 1).RF_basic_setting, 0x41);
    EXPECT_EQ(apconfig_find_rf_node(&node->list_rf, 2), nullptr);
    rf_of(node, 1).RF_basic_setting = 0x40; // now both are radio 0
    EXPECT_EQ(rf_of(node, 0).RF_basic_setting, 0xFE);
}

TEST_F(ApconfigTable, radio_1_of_an_ap_with_one_radio_is_null)
{
    APCONFIG* node = make_record(test_mac(1), SINGLE, 1);
    EXPECT_NE(apconfig_find_rf_node(&node->list_rf, 0), nullptr);
    EXPECT_EQ(apconfig_find_rf_node(&node->list_rf, 1), nullptr);
}

TEST_F(ApconfigTable, an_ssid_is_found_by_its_number_the_first_one_counting)
{
    APCONFIG* node = make_record(test_mac(1), DUAL, 1);
    EXPECT_EQ(wl_of(node, 11).ssid_id, 11);
    EXPECT_EQ(apconfig_find_wlbasic_node(&node->list_wl, 12), nullptr);
    CONFIG_WL_BASIC_LIST* first = apconfig_find_wlbasic_node(&node->list_wl, 0);
    wl_of(node, 1).ssid_id = 0;
    EXPECT_EQ(apconfig_find_wlbasic_node(&node->list_wl, 0), first);
}

TEST_F(ApconfigTable, an_address_is_a_bssid_up_to_the_ssid_count_and_not_beyond)
{
    const UINT8 a[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x10};
    UINT8 b[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x11};
    EXPECT_EQ(ether_addr_match(a, b, 4), 1);
    b[5] = 0x14;
    EXPECT_EQ(ether_addr_match(a, b, 4), 1);
    b[5] = 0x15;
    EXPECT_EQ(ether_addr_match(a, b, 4), 0);
    EXPECT_EQ(ether_addr_match(a, b, 0), 0);
}

TEST_F(ApconfigTable, an_aps_own_address_is_none_of_its_bssids)
{
    const UINT8 a[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x10};
    EXPECT_EQ(ether_addr_match(a, a, 12), 0);
}

TEST_F(ApconfigTable, a_lower_address_is_no_bssid)
{
    const UINT8 a[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x10};
    const UINT8 b[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x0F};
    EXPECT_EQ(ether_addr_match(a, b, 12), 0);
}

TEST_F(ApconfigTable, a_bssid_does_not_carry_into_byte_4)
{
    const UINT8 a[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xFF};
    const UINT8 b[6] = {0x00, 0x11, 0x22, 0x33, 0x45, 0x00};
    EXPECT_EQ(ether_addr_match(a, b, 12), 0);
}

TEST_F(ApconfigTable, a_difference_in_any_of_the_first_five_bytes_is_no_match)
{
    const UINT8 a[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x10};
    for (int i = 0; i < 5; i++) {
        UINT8 b[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x11};
        b[i] ^= 0x80;
        EXPECT_EQ(ether_addr_match(a, b, 12), 0) << i;
    }
}

TEST_F(ApconfigTable, the_record_of_a_bssid_is_found_up_to_its_products_ssid_count)
{
    APCONFIG* single = make_record(test_mac(0x10), SINGLE, 1); // 2 SSIDs
    APCONFIG* dual = make_record(test_mac(0x40), DUAL, 0);     // 12 SSIDs
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x11).data()), single);
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x12).data()), single);
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x13).data()), nullptr);
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x40).data()), nullptr);
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x4C).data()), dual);
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x4D).data()), nullptr);
}

TEST_F(ApconfigTable, of_two_records_that_match_a_bssid_the_first_of_the_walk_is_given)
{
    make_record(test_mac(0x40), DUAL, 1);
    make_record(test_mac(0x41), DUAL, 1);
    EXPECT_EQ(apconfig_hnode_find_by_bssid(test_mac(0x45).data()), record_of(walk().front()));
}

TEST_F(ApconfigTable, linking_counts_and_puts_the_record_at_the_head_of_its_bucket)
{
    const UINT32 before = ac_load(g_acwtp_joined_ap_num);
    const Mac a = {0x01, 0x00, 0x10, 0x20, 0x30, 0x01};
    const Mac b = {0x01, 0x00, 0x10, 0x20, 0x30, 0x00};
    make_record(a, SINGLE, 1);
    make_record(b, SINGLE, 1);
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before + 2);
    EXPECT_EQ(walk(), (std::vector<Mac>{b, a}));
}

TEST_F(ApconfigTable, the_walk_goes_by_bucket_and_meets_every_record_once)
{
    for (int i = 0; i < 600; i++)
        make_record(test_mac(i), SINGLE, 1);
    const std::vector<Mac> macs = walk();
    ASSERT_EQ(macs.size(), 600U);
    for (std::size_t i = 1; i < macs.size(); i++)
        EXPECT_LE(apconfig_hash_func(macs[i - 1].data()), apconfig_hash_func(macs[i].data()));
    std::vector<Mac> sorted = macs;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(std::adjacent_find(sorted.begin(), sorted.end()), sorted.end());
}

TEST_F(ApconfigTable, a_deletion_with_the_flag_queues_that_of_the_rows)
{
    make_record(test_mac(1), DUAL, 1);
    make_record(test_mac(2), DUAL, 1);
    take_notes();
    const UINT32 before = ac_load(g_acwtp_joined_ap_num);
    EXPECT_EQ(apconfig_mib_node_del(test_mac(1).data(), 1), 0);
    EXPECT_EQ(record_of(test_mac(1)), nullptr);
    EXPECT_NE(record_of(test_mac(2)), nullptr);
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before - 1);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_DELETE_AP, 0, test_mac(1)}}));
}

TEST_F(ApconfigTable, any_flag_but_0_queues_the_deletion_of_the_rows)
{
    for (int flag : {1, 2, -1, 256}) {
        make_record(test_mac(1), SINGLE, 1);
        take_notes();
        EXPECT_EQ(apconfig_mib_node_del(test_mac(1).data(), flag), 0);
        EXPECT_EQ(take_notes().size(), 1U) << flag;
    }
}

TEST_F(ApconfigTable, a_deletion_without_the_flag_leaves_the_rows_and_may_name_the_records_own_field)
{
    APCONFIG* node = make_record(test_mac(1), DUAL, 1);
    take_notes();
    EXPECT_EQ(apconfig_mib_node_del(node->ethaddr, 0), 0);
    EXPECT_EQ(record_of(test_mac(1)), nullptr);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigTable, the_deletion_of_an_unknown_mac_gives_1001_and_changes_nothing)
{
    make_record(test_mac(1), DUAL, 1);
    take_notes();
    const UINT32 before = ac_load(g_acwtp_joined_ap_num);
    const std::string out = output_of([] { EXPECT_EQ(apconfig_mib_node_del(test_mac(2).data(), 1), 1001); });
    EXPECT_EQ(error_texts(out), Texts{"\n"});
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), before);
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(ApconfigTable, a_deleted_record_stays_readable_for_a_section_that_was_open)
{
    const ac_reader section;
    APCONFIG* node = make_record(test_mac(1), DUAL, 1);
    CONFIG_WL_RF_LIST* rf = apconfig_find_rf_node(&node->list_rf, 0);
    rf->rf.channel = 11;
    EXPECT_EQ(apconfig_mib_node_del(test_mac(1).data(), 0), 0);
    EXPECT_GE(ac_retired_sweep(), 15U); // the record, 2 radios, 12 SSIDs
    EXPECT_EQ(node->ap_type, DUAL);
    EXPECT_EQ(rf->rf.channel, 11);
    EXPECT_TRUE(list_empty(&node->list_rf));
    EXPECT_TRUE(list_empty(&node->list_wl));
}

TEST_F(ApconfigTable, a_deletion_leaves_keys_and_neighbours_to_their_owner)
{
    const ac_reader section;
    APCONFIG* node = make_record(test_mac(1), SINGLE, 1);
    list_node key, neighbour;
    list_add_tail(&key, &node->list_pmk);
    list_add_tail(&neighbour, &node->list_neighbor);
    EXPECT_EQ(apconfig_mib_node_del(test_mac(1).data(), 0), 0);
    EXPECT_EQ(node->list_pmk.next, &key);
    EXPECT_EQ(node->list_neighbor.next, &neighbour);
}

TEST_F(ApconfigTable, emptying_the_table_writes_nothing_to_the_database)
{
    for (int i = 0; i < 300; i++)
        make_record(test_mac(i), SINGLE, 1);
    take_notes();
    apconfig_del_all();
    EXPECT_TRUE(walk().empty());
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 0U);
    EXPECT_TRUE(take_notes().empty());
    apconfig_del_all();
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 0U);
}

TEST_F(ApconfigTable, emptying_the_table_overwrites_the_count)
{
    make_record(test_mac(1), SINGLE, 1);
    ac_store(g_acwtp_joined_ap_num, UINT32{9}); // as if others had come in between
    apconfig_del_all();
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 0U);
}

TEST_F(ApconfigTable, the_count_does_not_fall_below_0_after_it_was_overwritten)
{
    make_record(test_mac(1), SINGLE, 1);
    ac_store(g_acwtp_joined_ap_num, UINT32{0});
    EXPECT_EQ(apconfig_mib_node_del(test_mac(1).data(), 0), 0);
    EXPECT_EQ(ac_load(g_acwtp_joined_ap_num), 0U);
}

TEST_F(ApconfigTable, a_target_is_a_copy_of_where_and_how_to_send)
{
    APCONFIG* node = make_record(test_mac(1), DUAL, AP_LINK_UP);
    node->proto_vendor = 4;
    node->port = 5001;
    memcpy(node->ip, Bytes{10, 1, 2, 3}.data(), 4);
    apconfig_target target;
    ASSERT_TRUE(apconfig_target_obtain(test_mac(1).data(), &target));
    EXPECT_EQ(raw(target.ip), (Bytes{10, 1, 2, 3}));
    EXPECT_EQ(target.port, 5001);
    EXPECT_EQ(target.ap_type, DUAL);
    EXPECT_EQ(target.proto_vendor, 4);
    EXPECT_EQ(target.status, AP_LINK_UP);
    EXPECT_FALSE(apconfig_target_obtain(test_mac(2).data(), &target));
}
