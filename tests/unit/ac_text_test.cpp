#include "common/ac_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<UINT8>;

TEST(AcText, a_field_ends_at_its_first_zero_byte)
{
    const Bytes field = {'a', 'b', 0, 'c'};
    char text[8] = "xxxxxxx";
    EXPECT_EQ(field_to_text(field, text), 2U);
    EXPECT_STREQ(text, "ab");
}

TEST(AcText, a_field_may_use_every_byte)
{
    const Bytes field = {'a', 'b', 'c', 'd'};
    char text[5];
    EXPECT_EQ(field_length(field), 4U);
    EXPECT_EQ(field_to_text(field, text), 4U);
    EXPECT_STREQ(text, "abcd");
}

TEST(AcText, a_text_too_small_for_the_field_is_cut_and_terminated)
{
    const Bytes field = {'a', 'b', 'c', 'd'};
    char text[4];
    EXPECT_EQ(field_to_text(field, text), 3U);
    EXPECT_STREQ(text, "abc");
}

TEST(AcText, a_text_without_room_stays_untouched)
{
    const Bytes field = {'a'};
    char text[1] = {'x'};
    EXPECT_EQ(field_to_text(field, std::span<char>(text, 0)), 0U);
    EXPECT_EQ(text[0], 'x');
}

TEST(AcText, an_empty_field_gives_an_empty_text)
{
    char text[2] = "x";
    EXPECT_EQ(field_to_text({}, text), 0U);
    EXPECT_STREQ(text, "");
}

TEST(AcText, a_short_text_leaves_the_rest_of_the_field_zero)
{
    Bytes field(4, 0xEE);
    text_to_field("ab", field);
    EXPECT_EQ(field, (Bytes{'a', 'b', 0, 0}));
}

TEST(AcText, a_text_of_the_field_s_width_fills_it_without_a_terminator)
{
    Bytes field(4, 0xEE);
    text_to_field("abcd", field);
    EXPECT_EQ(field, (Bytes{'a', 'b', 'c', 'd'}));
    text_to_field("vwxyz", field);
    EXPECT_EQ(field, (Bytes{'v', 'w', 'x', 'y'}));
}

TEST(AcText, a_mac_is_written_in_lower_case_with_two_digits_each)
{
    const UINT8 mac[6] = {0x00, 0xAB, 0x01, 0xFF, 0x10, 0x0F};
    EXPECT_STREQ(ac_mac_text(mac).c_str(), "00:ab:01:ff:10:0f");
}

TEST(AcText, an_ip_is_written_in_dotted_order)
{
    const UINT8 shortest[4] = {0, 0, 0, 0};
    const UINT8 longest[4] = {255, 254, 253, 252};
    EXPECT_STREQ(ac_ip_text(shortest).c_str(), "0.0.0.0");
    EXPECT_STREQ(ac_ip_text(longest).c_str(), "255.254.253.252");
}

TEST(AcText, addresses_compare_over_all_six_bytes)
{
    const UINT8 a[6] = {1, 2, 3, 4, 5, 6};
    UINT8 b[6] = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(compare_ether_addr(a, b), 0);
    b[5] = 7;
    EXPECT_NE(compare_ether_addr(a, b), 0);
}

TEST(AcText, only_six_zero_bytes_are_the_zero_mac)
{
    UINT8 mac[6] = {};
    EXPECT_TRUE(ac_mac_is_zero(mac));
    for (UINT8& byte : mac) {
        byte = 1;
        EXPECT_FALSE(ac_mac_is_zero(mac));
        byte = 0;
    }
}
