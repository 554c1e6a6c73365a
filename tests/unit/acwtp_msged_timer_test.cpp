// The retransmission timers, and the recording variant for firmware.
#include "ac_mib/ac_product.h"
#include "acwtp_msg/acwtp_msged.h"
#include "common/ac_alloc.h"
#include "exchange_kit.h"
#include "platform/ac_clock.h"

class AcwtpMsgedTimer : public ExchangeWorld {
protected:
    void SetUp() override;
};

static std::vector<int> g_ran;

static void run(int arg)
{
    g_ran.push_back(arg);
}

static void run_other(int arg)
{
    g_ran.push_back(-arg);
}

static void run_and_arm(int arg)
{
    g_ran.push_back(arg);
    if (arg < 3) acwtp_msged_timeout(run_and_arm, arg + 1, 0, 0);
}

void AcwtpMsgedTimer::SetUp()
{
    ExchangeWorld::SetUp();
    g_ran.clear();
}

typedef std::vector<int> Ran;

TEST_F(AcwtpMsgedTimer, a_timer_runs_when_its_time_has_come_and_not_before_and_only_once)
{
    acwtp_msged_timeout(run, 5, 3, 0);
    ac_clock_advance(2);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{});
    ac_clock_advance(1);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{5});
    ac_clock_advance(10);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{5});
}

TEST_F(AcwtpMsgedTimer, timers_run_in_the_order_of_their_times_and_equal_ones_in_the_order_of_arming)
{
    acwtp_msged_timeout(run, 1, 5, 0);
    acwtp_msged_timeout(run, 2, 3, 0);
    acwtp_msged_timeout(run, 3, 5, 0);
    acwtp_msged_timeout(run, 4, 3, 0);
    acwtp_msged_timeout(run, 5, 4, 0);
    ac_clock_advance(10);
    msged_calltimeout();
    EXPECT_EQ(g_ran, (Ran{2, 4, 5, 1, 3}));
}

TEST_F(AcwtpMsgedTimer, microseconds_above_a_second_are_carried)
{
    acwtp_msged_timeout(run, 1, 0, 2500000);
    acwtp_msged_timeout(run, 2, 2, 999999);
    ac_clock_advance(2);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{});
    ac_clock_advance(1);
    msged_calltimeout();
    EXPECT_EQ(g_ran, (Ran{1, 2}));
}

TEST_F(AcwtpMsgedTimer, a_timer_is_cancelled_by_function_and_argument_the_first_of_equal_ones_only)
{
    acwtp_msged_timeout(run, 1, 1, 0);
    acwtp_msged_timeout(run, 2, 2, 0);
    acwtp_msged_timeout(run, 2, 3, 0);
    acwtp_msged_timeout(run_other, 2, 4, 0);
    acwtp_msged_untimeout(run, 2);
    acwtp_msged_untimeout(run, 9); // none is fine
    acwtp_msged_untimeout(run_other, 1);
    ac_clock_advance(10);
    msged_calltimeout();
    EXPECT_EQ(g_ran, (Ran{1, 2, -2}));
}

TEST_F(AcwtpMsgedTimer, a_timer_may_arm_timers_and_those_that_are_due_run_in_the_same_tick)
{
    acwtp_msged_timeout(run_and_arm, 1, 1, 0);
    ac_clock_advance(1);
    msged_calltimeout();
    EXPECT_EQ(g_ran, (Ran{1, 2, 3}));
}

TEST_F(AcwtpMsgedTimer, a_timer_without_a_function_is_not_armed_and_one_without_memory_is_not_either)
{
    acwtp_msged_timeout(nullptr, 1, 0, 0);
    ac_alloc_fail_after(0);
    EXPECT_EQ(printed([] { acwtp_msged_timeout(run, 2, 0, 0); }), "");
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{});
}

TEST_F(AcwtpMsgedTimer, a_clock_that_can_not_be_read_runs_nothing)
{
    acwtp_msged_timeout(run, 1, 0, 0);
    ac_clock_fail(true);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{});
    ac_clock_fail(false);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{1});
}

TEST_F(AcwtpMsgedTimer, a_timer_armed_while_the_clock_can_not_be_read_is_due_at_once)
{
    ac_clock_fail(true);
    acwtp_msged_timeout(run, 1, 3, 0);
    ac_clock_fail(false);
    msged_calltimeout();
    EXPECT_EQ(g_ran, Ran{1});
}

// --- the variant for firmware
// --------------------------------------------------------------------------------------------

class AcwtpMsgedUpgrade : public ExchangeWorld {
protected:
    // The image uploaded last is one for type 7.
    void SetUp() override
    {
        ExchangeWorld::SetUp();
        PRODUCT_AP row;
        acwtp_product_obtain(7, &row);
        write_file("/var/cur_apimage_product_id", std::to_string(row.product_id) + "\n");
        make_record(test_mac(1), 7, AP_LINK_UP);
        make_record(test_mac(2), 6, AP_LINK_UP);
        make_record(test_mac(3), 7, AP_LINK_DOWN);
        make_record(test_mac(4), 7, AP_LINK_UP);
    }
    AC_RET record(const Work& work)
    {
        const ACWTP_MSG_TABLE item = work.table();
        return list_add_msged_queue_for_upgrade(&item, 5, MSG_ADD_TAIL);
    }
};

static const char NOT_TAKEN[] = "! node null or node is timeout\n";

TEST_F(AcwtpMsgedUpgrade, the_variant_records_the_aps_of_the_images_type_that_are_up_with_a_line_for_each_other)
{
    EXPECT_EQ(printed([&] {
                  EXPECT_EQ(record({.type = 9, .msg = mac_bytes({1, 2, 3, 4, 5}) + Bytes{7}, .ap_num = 5}), AC_RET_OK);
              }),
              std::string(NOT_TAKEN) + NOT_TAKEN + NOT_TAKEN); // another type, down, unknown
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 2);
    EXPECT_EQ(outstanding()[0].macs, (std::vector<Mac>{test_mac(4), test_mac(1)}));
}

TEST_F(AcwtpMsgedUpgrade, the_variant_records_nothing_if_no_ap_qualifies)
{
    output_of([&] { EXPECT_EQ(record({.type = 9, .msg = mac_bytes({2, 3}) + Bytes{7}, .ap_num = 2}), AC_RET_OK); });
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsgedUpgrade, the_variant_for_all_aps_records_those_of_the_images_type)
{
    EXPECT_EQ(printed([&] { EXPECT_EQ(record({.type = 9, .msg = {7}, .num_flag = 1}), AC_RET_OK); }), NOT_TAKEN);
    ASSERT_EQ(outstanding().size(), 1U);
    EXPECT_EQ(outstanding()[0].ap_num, 2);
    EXPECT_EQ(outstanding()[0].macs.size(), 2U);
}

TEST_F(AcwtpMsgedUpgrade, without_an_uploaded_image_no_ap_qualifies)
{
    write_file("/var/cur_apimage_product_id", "");
    EXPECT_EQ(printed([&] { record({.type = 9, .msg = mac_bytes({1}) + Bytes{7}}); }),
              "! not found aptype.\n! node null or node is timeout\n! online mac num is zero\n");
    EXPECT_TRUE(outstanding().empty());
}

TEST_F(AcwtpMsgedUpgrade, the_variant_passes_a_refusal_on_with_a_line)
{
    EXPECT_EQ(printed([&] { EXPECT_EQ(record({.type = 9, .msg = {}}), AC_RET_NULL_POINTER); }),
              "! Add new node failed.\n! Insert list failed.");
}
