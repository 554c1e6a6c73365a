#include "acwtp_msg/mac_list.h"

#include <cstring>

#include "common/ac_alloc.h"
#include "test_world.h"

namespace {

class MacList : public TestWorld {};

} // namespace

TEST_F(MacList, a_node_holds_its_mac_and_its_link_is_made)
{
    MAC_LIST* node = mac_list_alloc(test_mac(0x0102).data());
    ASSERT_NE(node, nullptr);
    EXPECT_EQ(memcmp(node->ethaddr, test_mac(0x0102).data(), 6), 0);
    EXPECT_TRUE(list_empty(&node->list));
    ac_free(node);
}

TEST_F(MacList, without_memory_a_node_is_null_and_the_reason_is_printed)
{
    ac_alloc_fail_after(0);
    testing::internal::CaptureStderr();
    EXPECT_EQ(mac_list_alloc(test_mac(1).data()), nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("malloc: ", 0), 0U);
}

TEST_F(MacList, freeing_a_list_leaves_its_head_empty_and_usable)
{
    list_node head;
    INIT_LIST_HEAD(&head);
    for (int i = 0; i < 3; i++)
        list_add_tail(&mac_list_alloc(test_mac(i).data())->list, &head);
    mac_list_free_all(&head); // the address sanitizer finds what would be left
    EXPECT_TRUE(list_empty(&head));
    mac_list_free_all(&head);
    EXPECT_TRUE(list_empty(&head));
}
