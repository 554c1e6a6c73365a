#include "link.h"

#include <gtest/gtest.h>

#include "bytes.h"

using namespace apsim;

namespace {

// What comes out of a link until `end` when one numbered datagram goes in each simulated millisecond.
std::vector<UINT8> through(Link& link, int count, micros end)
{
    std::vector<UINT8> order;
    for (int i = 0; i < count; i++) {
        const Bytes one = {static_cast<UINT8>(i)};
        link.push(0, one, i * millisecond);
        while (auto item = link.pop(i * millisecond))
            order.push_back(item->datagram[0]);
    }
    while (auto item = link.pop(end))
        order.push_back(item->datagram[0]);
    return order;
}

} // namespace

TEST(Link, without_faults_there_is_nothing_to_do)
{
    EXPECT_FALSE(Link(LinkFaults{}, 1).faulty());
}

TEST(Link, all_lost_means_none_comes_out)
{
    LinkFaults faults;
    faults.loss = 1;
    Link link(faults, 1);
    EXPECT_TRUE(through(link, 50, second).empty());
    EXPECT_EQ(link.stats().lost, 50u);
    EXPECT_EQ(link.next_due(), never);
}

TEST(Link, a_doubled_datagram_comes_twice_and_the_second_time_later)
{
    LinkFaults faults;
    faults.dup = 1;
    Link link(faults, 1);
    link.push(3, Bytes{9}, 100);
    ASSERT_TRUE(link.pop(100).has_value());
    EXPECT_FALSE(link.pop(100 + faults.hold - 1).has_value());
    const auto second_copy = link.pop(100 + faults.hold);
    ASSERT_TRUE(second_copy.has_value());
    EXPECT_EQ(second_copy->ap, 3u);
    EXPECT_EQ(second_copy->datagram, Bytes{9});
    EXPECT_FALSE(link.pop(never).has_value());
}

TEST(Link, delay_holds_to_the_microsecond_and_keeps_the_order)
{
    LinkFaults faults;
    faults.delay = 5 * millisecond;
    Link link(faults, 1);
    link.push(0, Bytes{1}, 0);
    link.push(0, Bytes{2}, 0);
    EXPECT_EQ(link.next_due(), 5 * millisecond);
    EXPECT_FALSE(link.pop(5 * millisecond - 1).has_value());
    EXPECT_EQ(link.pop(5 * millisecond)->datagram, Bytes{1});
    EXPECT_EQ(link.pop(5 * millisecond)->datagram, Bytes{2});
}

TEST(Link, reordering_loses_nothing_and_changes_the_order)
{
    LinkFaults faults;
    faults.reorder = 0.3;
    Link link(faults, 7);
    std::vector<UINT8> order = through(link, 100, second);
    ASSERT_EQ(order.size(), 100u);
    EXPECT_FALSE(std::is_sorted(order.begin(), order.end()));
    std::sort(order.begin(), order.end());
    for (int i = 0; i < 100; i++)
        EXPECT_EQ(order[static_cast<std::size_t>(i)], i);
}

TEST(Link, the_same_seed_repeats_the_run_and_another_does_not)
{
    LinkFaults faults;
    faults.loss = faults.dup = faults.reorder = 0.3;
    Link a(faults, 5), b(faults, 5), c(faults, 6);
    const auto first = through(a, 200, second);
    EXPECT_EQ(first, through(b, 200, second));
    EXPECT_NE(first, through(c, 200, second));
}
