#include "common/ac_list.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

struct entry {
    int number;
    list_node list;
};

struct chained {
    int number;
    hlist_node node;
};

std::vector<int> numbers(list_node* head)
{
    std::vector<int> found;
    for (list_node* link = head->next; link != head; link = link->next)
        found.push_back(list_entry(link, entry, list)->number);
    return found;
}

std::vector<int> numbers_backwards(list_node* head)
{
    std::vector<int> found;
    for (list_node* link = head->prev; link != head; link = link->prev)
        found.push_back(list_entry(link, entry, list)->number);
    return found;
}

std::vector<int> numbers(const hlist_head& head)
{
    std::vector<int> found;
    for (hlist_node* link = head.first; link != nullptr; link = link->next)
        found.push_back(list_entry(link, chained, node)->number);
    return found;
}

class AcList : public ::testing::Test {
protected:
    void SetUp() override { INIT_LIST_HEAD(&head); }
    list_node head;
    entry one{1, {}}, two{2, {}}, three{3, {}};
    void fill()
    {
        for (entry* each : {&one, &two, &three})
            list_add_tail(&each->list, &head);
    }
};

} // namespace

TEST_F(AcList, an_empty_head_points_at_itself)
{
    EXPECT_TRUE(list_empty(&head));
    EXPECT_EQ(head.next, &head);
    EXPECT_EQ(head.prev, &head);
}

TEST_F(AcList, adding_at_the_tail_keeps_the_order_in_both_directions)
{
    fill();
    EXPECT_EQ(numbers(&head), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(numbers_backwards(&head), (std::vector<int>{3, 2, 1}));
}

TEST_F(AcList, adding_at_the_head_goes_in_front)
{
    list_add(&one.list, &head);
    list_add(&two.list, &head);
    EXPECT_EQ(numbers(&head), (std::vector<int>{2, 1}));
    EXPECT_EQ(numbers_backwards(&head), (std::vector<int>{1, 2}));
}

TEST_F(AcList, a_node_leaves_from_the_middle_and_from_either_end)
{
    fill();
    list_del(&two.list);
    EXPECT_EQ(numbers(&head), (std::vector<int>{1, 3}));
    list_del(&three.list);
    EXPECT_EQ(numbers_backwards(&head), (std::vector<int>{1}));
    list_del(&one.list);
    EXPECT_TRUE(list_empty(&head));
}

TEST_F(AcList, a_node_that_left_may_leave_again)
{
    fill();
    list_del(&two.list);
    list_del(&two.list);
    EXPECT_EQ(numbers(&head), (std::vector<int>{1, 3}));
    EXPECT_EQ(numbers_backwards(&head), (std::vector<int>{3, 1}));
}

TEST_F(AcList, taking_all_moves_the_nodes_and_empties_the_source)
{
    fill();
    list_node taken;
    list_take_all(&head, &taken);
    EXPECT_TRUE(list_empty(&head));
    EXPECT_EQ(numbers(&taken), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(numbers_backwards(&taken), (std::vector<int>{3, 2, 1}));
}

TEST_F(AcList, taking_all_of_an_empty_list_gives_an_empty_list)
{
    list_node taken;
    list_take_all(&head, &taken);
    EXPECT_TRUE(list_empty(&taken));
    EXPECT_TRUE(list_empty(&head));
}

TEST(AcHlist, a_new_node_stands_first)
{
    hlist_head head = {};
    chained one{1, {}}, two{2, {}};
    hlist_add_head(&one.node, &head);
    hlist_add_head(&two.node, &head);
    EXPECT_EQ(numbers(head), (std::vector<int>{2, 1}));
}

TEST(AcHlist, a_node_unlinks_itself_without_its_head)
{
    hlist_head head = {};
    chained one{1, {}}, two{2, {}}, three{3, {}};
    for (chained* each : {&one, &two, &three})
        hlist_add_head(&each->node, &head);
    hlist_del(&two.node);
    EXPECT_EQ(numbers(head), (std::vector<int>{3, 1}));
    hlist_del(&three.node);
    EXPECT_EQ(numbers(head), (std::vector<int>{1}));
    hlist_del(&one.node);
    EXPECT_EQ(head.first, nullptr);
}

TEST(AcHlist, a_node_that_was_never_linked_may_be_unlinked)
{
    chained lone{1, {}};
    hlist_del(&lone.node);
    hlist_head head = {};
    hlist_add_head(&lone.node, &head);
    hlist_del(&lone.node);
    hlist_del(&lone.node);
    EXPECT_EQ(head.first, nullptr);
}
