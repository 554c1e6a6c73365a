// A control message in one block that knows what it holds.
#include "cgi_socket_handle/ac_msg_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "common/ac_alloc.h"

namespace {

struct Block {
    explicit Block(std::size_t room, int announced) : msg(ac_msg_alloc(room)) { msg->msg_data_len = announced; }
    ~Block() { ac_msg_free(msg); }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;
    AC_MSG_PKT* msg;
};

} // namespace

TEST(AcMsgBlock, a_new_block_is_zeroed_to_its_last_byte)
{
    const Block block(5, 5);
    block.msg->msg_data_len = 0;
    const auto* bytes = reinterpret_cast<const UINT8*>(block.msg);
    EXPECT_EQ(std::count(bytes, bytes + 25, 0), 25);
    EXPECT_EQ(ac_msg_room(block.msg).size(), 5U);
    EXPECT_EQ(ac_msg_room(block.msg).data(), bytes + 20) << "the message is one piece";
}

TEST(AcMsgBlock, the_data_is_what_is_held_and_announced_whichever_is_less)
{
    EXPECT_EQ(ac_msg_data(Block(5, 5).msg).size(), 5U);
    EXPECT_EQ(ac_msg_data(Block(5, 4).msg).size(), 4U);
    EXPECT_EQ(ac_msg_data(Block(5, 6).msg).size(), 5U);
    EXPECT_EQ(ac_msg_data(Block(5, INT_MAX).msg).size(), 5U);
}

TEST(AcMsgBlock, a_header_without_its_data_has_no_data_whatever_it_announces)
{
    EXPECT_TRUE(ac_msg_data(Block(0, 7).msg).empty());
    EXPECT_TRUE(ac_msg_data(Block(0, INT_MAX).msg).empty());
}

TEST(AcMsgBlock, no_length_and_a_negative_one_mean_no_data)
{
    EXPECT_TRUE(ac_msg_data(Block(5, 0).msg).empty());
    EXPECT_TRUE(ac_msg_data(Block(5, -1).msg).empty());
    EXPECT_TRUE(ac_msg_data(Block(5, INT_MIN).msg).empty());
    EXPECT_TRUE(ac_msg_data(nullptr).empty());
}

TEST(AcMsgBlock, without_memory_or_with_a_length_beyond_an_int_there_is_no_block)
{
    ac_alloc_fail_after(0);
    EXPECT_EQ(ac_msg_alloc(5), nullptr);
    ac_alloc_fail_after(-1);
    EXPECT_EQ(ac_msg_alloc(INT_MAX), nullptr);
    EXPECT_EQ(ac_msg_alloc(static_cast<std::size_t>(-1)), nullptr);
    ac_msg_free(nullptr);
}
