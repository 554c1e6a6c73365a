// The joined list: slots, updates, its timers and the scan of each tick.
#include "ac_wtp_protocol/ac_joined_list.h"

#include <sys/stat.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "ac_mib/apconfig.h"
#include "ac_mib/sql_flash_queue.h"
#include "ac_wtp_protocol/acwtp_alarm.h"
#include "ac_wtp_protocol/timer.h"
#include "acwtp_msg/acwtp_msg.h"
#include "common/ac_alloc.h"
#include "common/ac_atomic.h"
#include "joining_ap.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"

namespace {

ACWTP_JOIN_LIST new_entry(int number, int state = AC_CONFIG_UPGRADE)
{
    ACWTP_JOIN_LIST entry = {};
    const Mac mac = test_mac(number);
    memcpy(entry.ap_mac, mac.data(), mac.size());
    const UINT8 ip[4] = {192, 168, static_cast<UINT8>(number >> 8), static_cast<UINT8>(number)};
    memcpy(entry.ap_ip, ip, sizeof ip);
    entry.port = 5000 + number;
    entry.ap_status = 1;
    entry.current_status = state;
    return entry;
}

void insert(int number, int state = AC_CONFIG_UPGRADE)
{
    const ACWTP_JOIN_LIST entry = new_entry(number, state);
    EXPECT_EQ(insert_to_wtp_listinfo(&entry), 0);
}

// Where slot i lies; the table itself never moves.
ACWTP_JOIN_LIST* at(int i)
{
    ac_lock lock(g_apjioned_mutex);
    return &g_online_list->online_list[i];
}

ACWTP_JOIN_LIST slot(int i)
{
    ac_lock lock(g_apjioned_mutex);
    return g_online_list->online_list[i];
}

int slot_of(int number)
{
    const ACWTP_JOIN_LIST* found = acwtp_joined_node_find(test_mac(number).data(), 0);
    ac_lock lock(g_apjioned_mutex);
    return found == nullptr ? -1 : static_cast<int>(found - g_online_list->online_list);
}

bool all_zero(const ACWTP_JOIN_LIST& entry)
{
    const ACWTP_JOIN_LIST none = {};
    return memcmp(&entry, &none, sizeof entry) == 0;
}

void set_timeout_num(int number, int value)
{
    ac_lock lock(g_apjioned_mutex);
    acwtp_joined_node_find_locked(test_mac(number).data())->timeout_num = value;
}

struct Armed {
    void (*func)(void*);
    void* arg;
    time_t due;
    bool operator==(const Armed&) const = default;
};

std::vector<Armed> armed()
{
    std::vector<Armed> timers;
    ac_lock lock(g_echo_timer_mutex);
    for (const callout* timer = echo_callout_list; timer != nullptr; timer = timer->c_next)
        timers.push_back({timer->c_func, timer->c_arg, timer->c_time.tv_sec});
    return timers;
}

int update(int number, int flag, int value = 0)
{
    return update_wtp_jioned_list_status(test_mac(number).data(), value, flag);
}

// Until `done`, at most a minute of real time, so that a broken run ends.
template <typename Done> bool wait_until(Done&& done)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!done()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::yield();
    }
    return true;
}

} // namespace

// --- the table -------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, the_table_has_528_zeroed_slots)
{
    static_assert(sizeof(ACWTP_JIONED_HTABLE) == 528 * sizeof(ACWTP_JOIN_LIST));
    for (int i = 0; i < 528; i++)
        EXPECT_TRUE(all_zero(slot(i))) << i;
}

TEST_F(TestWorld, a_start_without_memory_for_the_table_ends_the_process_with_status_0)
{
    EXPECT_EXIT(
        {
            ac_alloc_fail_after(0);
            acwtp_joined_htable_init();
            _exit(9);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(TestWorld, every_mac_hashes_to_0_and_the_search_ignores_the_hash)
{
    insert(7);
    EXPECT_EQ(acwtp_joined_hash_func(test_mac(7).data()), 0U);
    EXPECT_EQ(acwtp_joined_hash_func(test_mac(8).data()), 0U);
    const ACWTP_JOIN_LIST* found = acwtp_joined_node_find(test_mac(7).data(), 0);
    EXPECT_NE(found, nullptr);
    EXPECT_EQ(acwtp_joined_node_find(test_mac(7).data(), 4711), found);
}

TEST_F(TestWorld, the_search_gives_the_slot_itself_and_null_for_an_unknown_mac)
{
    insert(7);
    insert(8);
    EXPECT_EQ(slot_of(7), 0);
    EXPECT_EQ(slot_of(8), 1);
    EXPECT_EQ(slot_of(7), 0);
    EXPECT_EQ(acwtp_joined_node_find(test_mac(9).data(), 0), nullptr);
    EXPECT_EQ(acwtp_joined_node_find(Mac{}.data(), 0), nullptr);
}

TEST_F(TestWorld, the_search_skips_a_slot_whose_status_is_not_1)
{
    insert(7);
    ASSERT_EQ(update(7, UPDATE_STATUS, 2), 0);
    EXPECT_EQ(slot(0).ap_status, 2);
    EXPECT_EQ(acwtp_joined_node_find(test_mac(7).data(), 0), nullptr);
    ACWTP_JOIN_LIST copy;
    EXPECT_FALSE(acwtp_joined_copy(test_mac(7).data(), &copy));
}

TEST_F(TestWorld, two_macs_that_differ_in_any_byte_are_two_aps)
{
    for (int byte = 0; byte < 6; byte++) {
        ACWTP_JOIN_LIST entry = new_entry(0);
        entry.ap_mac[byte] = static_cast<UINT8>(entry.ap_mac[byte] + 1);
        EXPECT_EQ(acwtp_joined_node_find(entry.ap_mac, 0), nullptr) << byte;
        insert_to_wtp_listinfo(&entry);
        EXPECT_EQ(acwtp_joined_node_find(entry.ap_mac, 0), at(byte)) << byte;
    }
}

TEST_F(TestWorld, the_address_of_a_joined_ap_is_copied_and_its_buffer_returned)
{
    insert(7);
    UINT8 ip[4] = {1, 1, 1, 1};
    EXPECT_EQ(acwtp_join_find_ip(test_mac(7).data(), ip), ip);
    const UINT8 want[4] = {192, 168, 0, 7};
    EXPECT_EQ(memcmp(ip, want, sizeof want), 0);
    EXPECT_EQ(acwtp_join_find_ip(test_mac(8).data(), ip), nullptr);
    EXPECT_EQ(memcmp(ip, want, sizeof want), 0);
}

// --- insert and delete -----------------------------------------------------------------------------------------------

TEST_F(TestWorld, an_insertion_copies_five_fields_and_sets_the_counters)
{
    ACWTP_JOIN_LIST entry = new_entry(7);
    entry.timeout_num = 3;
    entry.discover_num = 9;
    entry.echo_times = 2;
    entry.upgrade_timeout = 1;
    entry.config_timeout = 1;
    EXPECT_EQ(insert_to_wtp_listinfo(&entry), 0);
    const ACWTP_JOIN_LIST got = slot(0);
    EXPECT_EQ(memcmp(got.ap_mac, entry.ap_mac, 6), 0);
    EXPECT_EQ(memcmp(got.ap_ip, entry.ap_ip, 4), 0);
    EXPECT_EQ(got.port, 5007);
    EXPECT_EQ(got.ap_status, 1);
    EXPECT_EQ(got.current_status, AC_CONFIG_UPGRADE);
    EXPECT_EQ(got.timeout_num, 0);
    EXPECT_EQ(got.discover_num, 1);
    EXPECT_EQ(got.echo_times, 0);
    EXPECT_EQ(got.upgrade_timeout, 0);
    EXPECT_EQ(got.config_timeout, 0);
    EXPECT_EQ(got.hlist.next, nullptr);
    EXPECT_EQ(got.hlist.pprev, nullptr);
}

TEST_F(TestWorld, an_insertion_into_a_slot_that_an_update_freed_starts_its_counters_anew)
{
    insert(7);
    {
        ac_lock lock(g_apjioned_mutex);
        ACWTP_JOIN_LIST& used = g_online_list->online_list[0];
        used.timeout_num = 3;
        used.discover_num = 9;
        used.echo_times = 2;
        used.upgrade_timeout = 1;
        used.config_timeout = 1;
    }
    update(7, UPDATE_STATUS, 0);
    insert(8);
    ASSERT_EQ(slot_of(8), 0);
    EXPECT_EQ(slot(0).timeout_num, 0);
    EXPECT_EQ(slot(0).discover_num, 1);
    EXPECT_EQ(slot(0).echo_times, 0);
    EXPECT_EQ(slot(0).upgrade_timeout, 0);
    EXPECT_EQ(slot(0).config_timeout, 0);
}

TEST_F(TestWorld, an_insertion_arms_the_60_second_timer_of_its_slot)
{
    insert(7);
    EXPECT_EQ(armed(), (std::vector<Armed>{{config_timeout, &at(0)->config_timeout, ac_time() + 60}}));
}

TEST_F(TestWorld, an_insertion_without_memory_for_its_timer_stands_and_never_times_out)
{
    ac_alloc_fail_after(0);
    EXPECT_EQ(output_of([] { insert(7); }), "");
    EXPECT_TRUE(armed().empty());
    for (int i = 0; i < 20; i++) {
        ac_clock_advance(10);
        echo_timer_tick();
    }
    EXPECT_EQ(slot_of(7), 0);
}

TEST_F(TestWorld, inserting_nothing_gives_1001)
{
    EXPECT_EQ(insert_to_wtp_listinfo(nullptr), 1001);
    EXPECT_TRUE(all_zero(slot(0)));
}

TEST_F(TestWorld, an_insertion_takes_the_first_free_slot)
{
    for (int i = 1; i <= 4; i++)
        insert(i);
    delete_wtp_listinfo(test_mac(3).data());
    delete_wtp_listinfo(test_mac(2).data());
    insert(5);
    EXPECT_EQ(slot_of(5), 1);
    insert(6);
    EXPECT_EQ(slot_of(6), 2);
    insert(7);
    EXPECT_EQ(slot_of(7), 4);
}

TEST_F(TestWorld, the_list_holds_512_aps_and_the_513th_is_silently_left_out)
{
    for (int i = 1; i <= 512; i++)
        insert(i);
    EXPECT_EQ(slot_of(512), 511);
    const std::size_t timers = armed().size();
    EXPECT_EQ(output_of([] { insert(513); }), "");
    EXPECT_EQ(slot_of(513), -1);
    EXPECT_EQ(armed().size(), timers);
    for (int i = 512; i < 528; i++)
        EXPECT_TRUE(all_zero(slot(i))) << i;
    delete_wtp_listinfo(test_mac(100).data());
    insert(513);
    EXPECT_EQ(slot_of(513), 99);
}

TEST_F(TestWorld, a_deletion_cancels_both_timers_of_its_slot_and_zeroes_it)
{
    insert(7);
    insert(8);
    acwtp_joined_to_running(test_mac(7).data());
    ASSERT_EQ(armed().size(), 3U);
    EXPECT_EQ(delete_wtp_listinfo(test_mac(7).data()), 0);
    EXPECT_TRUE(all_zero(slot(0)));
    EXPECT_EQ(slot_of(7), -1);
    EXPECT_EQ(armed(), (std::vector<Armed>{{config_timeout, &at(1)->config_timeout, ac_time() + 60}}));
}

TEST_F(TestWorld, deleting_an_unknown_ap_gives_0_and_changes_nothing)
{
    insert(7);
    EXPECT_EQ(output_of([] {
                  EXPECT_EQ(delete_wtp_listinfo(test_mac(8).data()), 0);
                  EXPECT_EQ(manage_joined_list_del(test_mac(8).data()), 0);
              }),
              "");
    EXPECT_EQ(slot_of(7), 0);
    EXPECT_EQ(armed().size(), 1U);
}

TEST_F(TestWorld, managed_deletion_deletes_a_joined_ap)
{
    insert(7);
    EXPECT_EQ(manage_joined_list_del(test_mac(7).data()), 0);
    EXPECT_EQ(slot_of(7), -1);
    EXPECT_TRUE(armed().empty());
}

TEST_F(TestWorld, deleting_all_zeroes_the_table_and_leaves_no_timer)
{
    for (int i = 1; i <= 512; i++)
        insert(i);
    acwtp_joined_to_running(test_mac(1).data());
    update(2, UPDATE_STATUS, 2);
    update(3, UPDATE_STATUS, 0);
    acwtp_join_list_del_all();
    for (int i = 0; i < 528; i++)
        EXPECT_TRUE(all_zero(slot(i))) << i;
    EXPECT_TRUE(armed().empty());
    EXPECT_EQ(slot_of(1), -1);
    insert(600);
    EXPECT_EQ(slot_of(600), 0);
}

// --- updates ---------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, updating_an_unknown_ap_prints_a_line_and_gives_1001)
{
    for (const int flag :
         {UPDATE_CURRENT_STATUS, UPDATE_STATUS, UPDATE_ECHO_STATUS, UPDATE_DISCOVER_NUM, CLEAR_DISCOVER_NUM})
        EXPECT_EQ(said(output_of([flag] { EXPECT_EQ(update(7, flag, 1), 1001); })), "this ap is not exist\n");
    EXPECT_TRUE(take_items().empty());
    EXPECT_TRUE(take_notes().empty());
}

TEST_F(TestWorld, the_second_echo_saves_the_record_the_third_announces_the_link_and_the_count_stops_at_4)
{
    insert(7, AC_RUNNING);
    const Mac mac = test_mac(7);
    EXPECT_EQ(update(7, UPDATE_ECHO_STATUS), 0);
    EXPECT_EQ(slot(0).echo_times, 1);
    EXPECT_TRUE(take_notes().empty());
    EXPECT_TRUE(alarms(mac).empty());

    EXPECT_EQ(update(7, UPDATE_ECHO_STATUS), 0);
    EXPECT_EQ(slot(0).echo_times, 2);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_ADD_AP, 0, mac}}));
    EXPECT_TRUE(alarms(mac).empty());

    EXPECT_EQ(update(7, UPDATE_ECHO_STATUS), 0);
    EXPECT_EQ(slot(0).echo_times, 3);
    EXPECT_TRUE(take_notes().empty());
    EXPECT_EQ(alarms(mac), (std::vector<int>{HALDE_ALARM_STATUS_LINKUP}));

    for (int i = 0; i < 5; i++) {
        EXPECT_EQ(update(7, UPDATE_ECHO_STATUS), 0);
        EXPECT_EQ(slot(0).echo_times, 4);
    }
    EXPECT_TRUE(take_notes().empty());
    EXPECT_EQ(alarms(mac).size(), 1U);
}

TEST_F(TestWorld, an_echo_sets_the_missed_periods_to_the_given_value)
{
    insert(7, AC_RUNNING);
    set_timeout_num(7, 5);
    update(7, UPDATE_ECHO_STATUS, 0);
    EXPECT_EQ(slot(0).timeout_num, 0);
    update(7, UPDATE_ECHO_STATUS, 3);
    EXPECT_EQ(slot(0).timeout_num, 3);
}

TEST_F(TestWorld, discoveries_are_counted_to_13_with_one_alarm_at_exactly_10)
{
    insert(7);
    const Mac mac = test_mac(7);
    for (int want = 2; want <= 9; want++) {
        EXPECT_EQ(update(7, UPDATE_DISCOVER_NUM), 0);
        EXPECT_EQ(slot(0).discover_num, want);
    }
    EXPECT_TRUE(alarms(mac).empty());
    update(7, UPDATE_DISCOVER_NUM);
    EXPECT_EQ(slot(0).discover_num, 10);
    EXPECT_EQ(alarms(mac), (std::vector<int>{HALDE_ALARM_AP_DISCOVER_FAILED}));
    for (const int want : {11, 12, 13, 13, 13}) {
        update(7, UPDATE_DISCOVER_NUM);
        EXPECT_EQ(slot(0).discover_num, want);
    }
    EXPECT_EQ(alarms(mac).size(), 1U);
}

TEST_F(TestWorld, the_count_of_discoveries_can_be_cleared)
{
    insert(7);
    EXPECT_EQ(update(7, CLEAR_DISCOVER_NUM, 5), 0);
    EXPECT_EQ(slot(0).discover_num, 0);
}

TEST_F(TestWorld, state_and_slot_status_take_the_given_value_and_nothing_else_changes)
{
    insert(7);
    const ACWTP_JOIN_LIST before = slot(0);
    EXPECT_EQ(update(7, UPDATE_CURRENT_STATUS, AC_UPGRADE), 0);
    ACWTP_JOIN_LIST want = before;
    want.current_status = AC_UPGRADE;
    EXPECT_EQ(memcmp(&want, at(0), sizeof want), 0);
    EXPECT_EQ(update(7, UPDATE_STATUS, 0), 0);
    EXPECT_EQ(slot(0).ap_status, 0);
    EXPECT_EQ(slot_of(7), -1);
    insert(8); // the slot counts as free
    EXPECT_EQ(slot_of(8), 0);
}

TEST_F(TestWorld, an_update_with_an_unknown_flag_gives_0_and_changes_nothing)
{
    insert(7);
    const ACWTP_JOIN_LIST before = slot(0);
    EXPECT_EQ(output_of([] { EXPECT_EQ(update(7, 5, 9), 0); }), "");
    const ACWTP_JOIN_LIST after = slot(0);
    EXPECT_EQ(memcmp(&before, &after, sizeof before), 0);
}

TEST_F(TestWorld, going_to_running_counts_the_ap_and_arms_its_echo_timer_and_leaves_the_configuration_timer)
{
    insert(7);
    ac_clock_advance(5);
    EXPECT_EQ(g_echo_interval, 30);
    EXPECT_EQ(output_of([] { acwtp_joined_to_running(test_mac(7).data()); }), "");
    EXPECT_EQ(slot(0).current_status, AC_RUNNING);
    EXPECT_EQ(ac_load(wtp_online_num_count), 1);
    ACWTP_JOIN_LIST* entry = at(0);
    EXPECT_EQ(armed(), (std::vector<Armed>{{echo_timeout, &entry->timeout_num, ac_time() + 30},
                                           {config_timeout, &entry->config_timeout, ac_time() + 55}}));
}

TEST_F(TestWorld, going_to_running_of_an_ap_that_is_gone_prints_a_line_and_arms_nothing)
{
    EXPECT_EQ(said(output_of([] { acwtp_joined_to_running(test_mac(7).data()); })), "this ap is not exist\n");
    EXPECT_TRUE(armed().empty());
}

TEST_F(TestWorld, an_ap_whose_echo_timer_found_no_memory_can_never_time_out)
{
    insert(7);
    ac_alloc_fail_after(0);
    acwtp_joined_to_running(test_mac(7).data());
    for (int i = 0; i < 60; i++) {
        ac_clock_advance(10);
        EXPECT_EQ(output_of([] { echo_timer_tick(); }), "");
    }
    EXPECT_EQ(slot_of(7), 0);
    EXPECT_EQ(slot(0).timeout_num, 0);
}

// --- timer functions -------------------------------------------------------------------------------------------------

TEST_F(TestWorld, both_timer_functions_take_a_null_argument_without_effect)
{
    EXPECT_EQ(output_of([] {
                  echo_timeout(nullptr);
                  config_timeout(nullptr);
              }),
              "");
    EXPECT_TRUE(armed().empty());
}

TEST_F(TestWorld, the_echo_timer_counts_and_arms_itself_again_until_the_count_is_6)
{
    int timeout_num = 4;
    echo_timeout(&timeout_num);
    EXPECT_EQ(timeout_num, 5);
    EXPECT_EQ(armed(), (std::vector<Armed>{{echo_timeout, &timeout_num, ac_time() + 30}}));
    echo_timeout_delall();
    echo_timeout(&timeout_num);
    EXPECT_EQ(timeout_num, 6);
    EXPECT_TRUE(armed().empty());
}

TEST_F(TestWorld, the_echo_timer_counts_the_low_byte_alone)
{
    int timeout_num = 0x1FF;
    echo_timeout(&timeout_num);
    EXPECT_EQ(timeout_num, 0x100);
    EXPECT_EQ(armed().size(), 1U);
    echo_timeout_delall();
}

TEST_F(TestWorld, the_echo_timer_arms_itself_with_the_echo_interval_of_that_moment)
{
    int timeout_num = 0;
    g_echo_interval = 45;
    echo_timeout(&timeout_num);
    g_echo_interval = 30;
    EXPECT_EQ(armed().at(0).due, ac_time() + 45);
    echo_timeout_delall();
}

TEST_F(TestWorld, the_configuration_timer_sets_its_flag_to_1_and_does_not_come_again)
{
    int flag = 0;
    config_timeout(&flag);
    EXPECT_EQ(flag, 1);
    config_timeout(&flag);
    EXPECT_EQ(flag, 1);
    EXPECT_TRUE(armed().empty());
}

// --- the scan --------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, the_scan_drops_a_silent_ap_with_line_status_count_and_alarm)
{
    make_record(test_mac(7), 1, AP_LINK_UP);
    insert(7);
    acwtp_joined_to_running(test_mac(7).data());
    set_timeout_num(7, 6);
    EXPECT_EQ(said(output_of([] { check_joined_list_status(); })), "ip:[192.168.0.7] echo time out\n");
    EXPECT_EQ(apconfig_find(test_mac(7).data())->status, AP_LINK_DOWN);
    EXPECT_EQ(take_notes(), (std::vector<FlashNote>{{CONFIG_SQL_STATUS, 0, test_mac(7)}}));
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    EXPECT_EQ(alarms(test_mac(7)), (std::vector<int>{HALDE_ALARM_ECHO_FAILED}));
    EXPECT_TRUE(all_zero(slot(0)));
    EXPECT_TRUE(sent().empty()); // the AP is told nothing
}

TEST_F(TestWorld, the_scan_leaves_an_ap_that_missed_five_echoes)
{
    insert(7, AC_RUNNING);
    set_timeout_num(7, 5);
    EXPECT_EQ(output_of([] { check_joined_list_status(); }), "");
    EXPECT_EQ(slot_of(7), 0);
    EXPECT_EQ(slot(0).timeout_num, 5);
}

TEST_F(TestWorld, the_scan_drops_an_ap_with_more_than_6_missed_echoes_too)
{
    insert(7, AC_RUNNING);
    set_timeout_num(7, 0x100);
    EXPECT_EQ(said(output_of([] { check_joined_list_status(); })),
              "ip:[192.168.0.7] echo time out\nmac is not exited\n");
    EXPECT_EQ(slot_of(7), -1);
}

TEST_F(TestWorld, the_scan_announces_no_silent_ap_that_waits_for_its_configuration)
{
    make_record(test_mac(7), 1, AP_LINK_UP);
    insert(7);
    set_timeout_num(7, 6);
    EXPECT_EQ(said(output_of([] { check_joined_list_status(); })), "ip:[192.168.0.7] echo time out\n");
    EXPECT_EQ(apconfig_find(test_mac(7).data())->status, AP_LINK_UP);
    EXPECT_EQ(ac_load(wtp_online_num_count), 0);
    EXPECT_TRUE(alarms(test_mac(7)).empty());
    EXPECT_TRUE(take_notes().empty());
    EXPECT_TRUE(all_zero(slot(0)));
}

TEST_F(TestWorld, the_scan_drops_an_ap_whose_configuration_time_is_out_with_a_line_alone)
{
    make_record(test_mac(7), 1, AP_LINK_UP);
    insert(7);
    config_timeout(&at(0)->config_timeout);
    EXPECT_EQ(said(output_of([] { check_joined_list_status(); })), "ip:[192.168.0.7] config time out\n");
    EXPECT_EQ(apconfig_find(test_mac(7).data())->status, AP_LINK_UP);
    EXPECT_TRUE(alarms(test_mac(7)).empty());
    EXPECT_TRUE(all_zero(slot(0)));
}

TEST_F(TestWorld, the_configuration_flag_means_nothing_to_an_ap_that_runs_or_is_upgraded)
{
    for (const int state : {AC_RUNNING, AC_UPGRADE}) {
        insert(state, state);
        const int i = slot_of(state);
        config_timeout(&at(i)->config_timeout);
        EXPECT_EQ(output_of([] { check_joined_list_status(); }), "");
        EXPECT_EQ(slot_of(state), i);
    }
}

TEST_F(TestWorld, the_scan_clears_the_missed_echoes_of_an_ap_that_is_upgraded)
{
    insert(7, AC_UPGRADE);
    set_timeout_num(7, 6);
    EXPECT_EQ(output_of([] { check_joined_list_status(); }), "");
    EXPECT_EQ(slot(0).timeout_num, 0);
    EXPECT_EQ(slot_of(7), 0);
}

TEST_F(TestWorld, the_scan_sees_slots_with_a_status_other_than_1_and_not_the_free_ones)
{
    insert(7, AC_RUNNING);
    insert(8, AC_RUNNING);
    set_timeout_num(7, 6);
    set_timeout_num(8, 6);
    update(7, UPDATE_STATUS, 2);
    update(8, UPDATE_STATUS, 0);
    EXPECT_EQ(said(output_of([] { check_joined_list_status(); })),
              "ip:[192.168.0.7] echo time out\nmac is not exited\n");
    EXPECT_TRUE(all_zero(slot(0)));
    EXPECT_FALSE(all_zero(slot(1)));
}

TEST_F(TestWorld, the_scan_goes_through_512_slots_in_order)
{
    for (int i = 1; i <= 512; i++)
        insert(i);
    config_timeout(&at(511)->config_timeout);
    config_timeout(&at(0)->config_timeout);
    EXPECT_EQ(said(output_of([] { check_joined_list_status(); })),
              "ip:[192.168.0.1] config time out\nip:[192.168.2.0] config time out\n");
}

TEST_F(TestWorld, a_slot_dropped_by_the_scan_keeps_no_timer_even_after_the_time_of_day_was_set_back)
{
    insert(7);
    ac_clock_advance(-7200);
    acwtp_joined_to_running(test_mac(7).data());
    (void)output_of([] {
        for (int i = 0; i < 19; i++) {
            ac_clock_advance(10);
            echo_timer_tick();
        }
    });
    EXPECT_EQ(slot_of(7), -1);
    EXPECT_TRUE(armed().empty()); // or it would strike the next owner of the slot
}

namespace {

// Stops a scan in the middle of the actions for an AP that it found silent: the status is set, the count is down, and
// the alarm waits for a lock that is held here. `meanwhile` runs on a thread of its own.
template <typename Action> bool during_the_drop_of(int number, Action&& meanwhile)
{
    insert(number);
    acwtp_joined_to_running(test_mac(number).data());
    set_timeout_num(number, 6);
    std::thread clock_thread;
    bool stopped = false;
    {
        ac_lock alarm_waits(acwtp_mutex);
        clock_thread = std::thread([] { check_joined_list_status(); });
        stopped = wait_until([] { return ac_load(wtp_online_num_count) == 0; });
        std::thread(meanwhile).join();
    }
    clock_thread.join();
    return stopped;
}

} // namespace

TEST_F(TestWorld, an_echo_that_comes_while_the_scan_drops_its_ap_does_not_keep_the_entry)
{
    make_record(test_mac(7), 1, AP_LINK_UP);
    (void)output_of([] { EXPECT_TRUE(during_the_drop_of(7, [] { update(7, UPDATE_ECHO_STATUS, 0); })); });
    EXPECT_TRUE(all_zero(slot(0)));
    EXPECT_EQ(slot_of(7), -1);
}

TEST_F(TestWorld, the_scan_marks_and_counts_a_silent_ap_before_its_alarm_and_frees_the_slot_last)
{
    const APCONFIG* record = make_record(test_mac(7), 1, AP_LINK_UP);
    int status = -1;
    int slot_seen = -1;
    (void)output_of([&] {
        EXPECT_TRUE(during_the_drop_of(7, [&] {
            status = ac_load(record->status);
            slot_seen = slot_of(7);
        }));
    });
    EXPECT_EQ(status, AP_LINK_DOWN);
    EXPECT_EQ(slot_seen, 0);
    EXPECT_EQ(alarms(test_mac(7)), (std::vector<int>{HALDE_ALARM_ECHO_FAILED}));
    EXPECT_EQ(slot_of(7), -1);
}

TEST_F(TestWorld, an_ap_that_rejoins_while_the_scan_drops_it_keeps_its_new_entry)
{
    make_record(test_mac(7), 1, AP_LINK_UP);
    (void)output_of([] {
        EXPECT_TRUE(during_the_drop_of(7, [] {
            delete_wtp_listinfo(test_mac(7).data());
            insert(7);
            acwtp_joined_to_running(test_mac(7).data());
        }));
    });
    EXPECT_EQ(slot_of(7), 0);
    EXPECT_EQ(slot(0).current_status, AC_RUNNING);
    EXPECT_EQ(armed().size(), 2U);
}

// The clock thread has taken the timer from the list and waits for the slot's lock, which its canceller holds.
TEST_F(TestWorld, an_echo_timer_cancelled_while_it_runs_does_not_touch_the_slot)
{
    insert(7);
    acwtp_joined_to_running(test_mac(7).data());
    ac_clock_advance(30);
    ACWTP_JOIN_LIST* entry = at(0);
    std::thread clock_thread;
    {
        ac_lock lock(g_apjioned_mutex);
        clock_thread = std::thread([] { echo_calltimeout(); });
        EXPECT_TRUE(wait_until([] { return armed().size() == 1; }));
        acwtp_echo_untimeout(echo_timeout, &entry->timeout_num);
    }
    clock_thread.join();
    EXPECT_EQ(slot(0).timeout_num, 0);
    EXPECT_EQ(armed(), (std::vector<Armed>{{config_timeout, &entry->config_timeout, ac_time() + 30}}));
}

TEST_F(TestWorld, a_configuration_timer_cancelled_while_it_runs_does_not_touch_the_slot)
{
    insert(7);
    ac_clock_advance(60);
    ACWTP_JOIN_LIST* entry = at(0);
    std::thread clock_thread;
    {
        ac_lock lock(g_apjioned_mutex);
        clock_thread = std::thread([] { echo_calltimeout(); });
        EXPECT_TRUE(wait_until([] { return armed().empty(); }));
        acwtp_echo_untimeout(config_timeout, &entry->config_timeout);
    }
    clock_thread.join();
    EXPECT_EQ(slot(0).config_timeout, 0);
}

// --- the dump --------------------------------------------------------------------------------------------------------

TEST_F(TestWorld, the_dump_has_a_line_for_each_slot_in_use_and_replaces_the_file)
{
    write_file("/var/tag.cfg",
               "what stood there before, and longer than what is written now: " + std::string(200, 'x'));
    insert(7);
    insert(9, AC_RUNNING);
    update(9, UPDATE_STATUS, 2);
    insert(0x1234);
    update(0x1234, UPDATE_STATUS, 0);
    EXPECT_EQ(output_of([] { EXPECT_EQ(acwtp_join_list_print(), 0); }), "");
    EXPECT_EQ(read_file("/var/tag.cfg"), "MAC:[02:00:00:00:00:07]\tip:[192.168.0.7]\tstatus=[3]\n"
                                         "MAC:[02:00:00:00:00:09]\tip:[192.168.0.9]\tstatus=[4]\n");
}

TEST_F(TestWorld, a_dump_that_can_not_be_opened_gives_0)
{
    mkdir(ac_path("/var/tag.cfg").c_str(), 0700);
    EXPECT_EQ(output_of([] { EXPECT_EQ(acwtp_join_list_print(), 0); }), "");
}
