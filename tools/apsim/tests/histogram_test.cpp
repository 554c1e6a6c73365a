#include "histogram.h"

#include <gtest/gtest.h>

using apsim::Histogram;

TEST(Histogram, empty_one_answers_zero)
{
    const Histogram h;
    EXPECT_EQ(h.percentile(50), 0);
    EXPECT_EQ(h.max(), 0);
    EXPECT_EQ(h.mean(), 0);
}

TEST(Histogram, values_below_32_are_exact)
{
    Histogram h;
    for (int i = 1; i <= 20; i++)
        h.add(i);
    EXPECT_EQ(h.percentile(50), 10);
    EXPECT_EQ(h.percentile(95), 19);
    EXPECT_EQ(h.percentile(100), 20);
    EXPECT_EQ(h.percentile(0), 1);
}

TEST(Histogram, a_percentile_is_never_below_the_truth_and_at_most_a_32nd_above)
{
    for (std::int64_t value : {31, 32, 33, 63, 64, 1000, 65535, 65536, 123456789}) {
        Histogram h;
        h.add(value);
        h.add(value * 3); // so that the maximum doesn't cap the answer
        EXPECT_GE(h.percentile(50), value);
        EXPECT_LE(h.percentile(50), value + value / 32 + 1) << value;
    }
}

TEST(Histogram, percentile_is_capped_by_the_exact_maximum)
{
    Histogram h;
    h.add(1'000'001);
    EXPECT_EQ(h.percentile(99), 1'000'001);
    EXPECT_EQ(h.max(), 1'000'001);
}

TEST(Histogram, one_in_a_hundred_shows_above_p99_only)
{
    Histogram h;
    for (int i = 0; i < 99; i++)
        h.add(10);
    h.add(5000);
    EXPECT_EQ(h.percentile(99), 10);
    EXPECT_EQ(h.percentile(99.5), 5000);
}

TEST(Histogram, huge_and_negative_values_do_no_harm)
{
    Histogram h;
    h.add(-5);
    h.add(std::int64_t{1} << 60);
    EXPECT_EQ(h.count(), 2u);
    EXPECT_EQ(h.percentile(50), 0);
    EXPECT_EQ(h.max(), std::int64_t{1} << 60);
}

TEST(Histogram, merging_counts_both)
{
    Histogram a, b;
    a.add(1);
    b.add(7);
    a.merge(b);
    EXPECT_EQ(a.count(), 2u);
    EXPECT_EQ(a.max(), 7);
    EXPECT_EQ(a.mean(), 4);
}
