#include "ac_sql/sqlite_text.h"

#include <cstring>
#include <string>

#include "common/ac_alloc.h"
#include "test_world.h"

static std::string quoted(const std::string& text)
{
    return sql_quoted(std::span(reinterpret_cast<const UINT8*>(text.data()), text.size())).c_str();
}

TEST_F(TestWorld, each_quote_is_doubled_and_all_else_copied)
{
    char dst[13] = {};
    EXPECT_EQ(encode_sql_ssid(reinterpret_cast<const UINT8*>("a'b'\"\\"), 6, dst), dst);
    EXPECT_STREQ(dst, "a''b''\"\\");
}

TEST_F(TestWorld, encoding_copies_the_given_length_zero_bytes_included)
{
    char dst[8];
    memset(dst, 'x', sizeof dst);
    encode_sql_ssid(reinterpret_cast<const UINT8*>("a\0'"), 3, dst);
    EXPECT_EQ(memcmp(dst, "a\0''xxxx", 8), 0);
}

TEST_F(TestWorld, encoding_nothing_gives_null_and_leaves_the_target)
{
    char dst[4] = "abc";
    EXPECT_EQ(encode_sql_ssid(reinterpret_cast<const UINT8*>("q"), 0, dst), nullptr);
    EXPECT_EQ(encode_sql_ssid(nullptr, 3, dst), nullptr);
    EXPECT_STREQ(dst, "abc");
}

TEST_F(TestWorld, thirty_two_quotes_become_sixty_four)
{
    EXPECT_EQ(quoted(std::string(32, '\'')), std::string(64, '\''));
}

TEST_F(TestWorld, the_widest_field_full_of_quotes_fits)
{
    EXPECT_EQ(quoted(std::string(64, '\'')), std::string(128, '\''));
}

TEST_F(TestWorld, a_quoted_field_ends_at_its_first_zero_byte)
{
    EXPECT_EQ(quoted(std::string("ab\0cd", 5)), "ab");
}

TEST_F(TestWorld, a_length_beyond_the_field_means_the_field)
{
    const UINT8 field[4] = {1, 2, 3, 4};
    EXPECT_EQ(field_by_length(field, 4).size(), 4u);
    EXPECT_EQ(field_by_length(field, 5).size(), 4u);
    EXPECT_EQ(field_by_length(field, 0).size(), 0u);
}

TEST_F(TestWorld, a_statement_grows_past_its_first_buffer_without_loss)
{
    sql_text sql(4);
    std::string expected;
    for (int i = 0; i < 300; i++) {
        sql.append("%d,", i);
        expected += std::to_string(i) + ",";
    }
    ASSERT_TRUE(sql.ok());
    EXPECT_EQ(sql.c_str(), expected);
    EXPECT_EQ(sql.length(), expected.size());
}

TEST_F(TestWorld, a_text_that_fills_its_buffer_to_the_last_byte_is_whole)
{
    sql_text exact(4);
    exact.append("%s", "abc");
    EXPECT_STREQ(exact.c_str(), "abc");
    sql_text over(4);
    over.append("%s", "abcd");
    EXPECT_STREQ(over.c_str(), "abcd");
}

TEST_F(TestWorld, a_cleared_statement_is_empty)
{
    sql_text sql;
    sql.append("%s", "delete");
    sql.clear();
    EXPECT_STREQ(sql.c_str(), "");
    EXPECT_EQ(sql.length(), 0u);
}

TEST_F(TestWorld, a_statement_without_memory_turns_bad_and_is_never_cut)
{
    sql_text sql(8);
    sql.append("%s", "delete");
    ac_alloc_fail_after(0);
    sql.append("%s", " from ap_basic where apmac='x'");
    EXPECT_FALSE(sql.ok());
    EXPECT_STREQ(sql.c_str(), "");
    sql.append("%s", "more");
    EXPECT_FALSE(sql.ok());
    sql.clear();
    sql.append("%s", "more");
    EXPECT_STREQ(sql.c_str(), "more");
}

static bool parses(const char* text, Mac& mac)
{
    mac.fill(0xEE);
    return ethaddr_aton(text, mac.data()) == mac.data();
}

TEST_F(TestWorld, a_mac_text_is_parsed_in_either_case)
{
    Mac mac;
    EXPECT_TRUE(parses("02:aB:00:ff:FF:0c", mac));
    EXPECT_EQ(mac, (Mac{0x02, 0xAB, 0x00, 0xFF, 0xFF, 0x0C}));
}

TEST_F(TestWorld, separators_of_a_mac_text_are_not_tested)
{
    Mac mac;
    EXPECT_TRUE(parses("02-ab 00.ff_ff/0c", mac));
    EXPECT_EQ(mac, (Mac{0x02, 0xAB, 0x00, 0xFF, 0xFF, 0x0C}));
}

TEST_F(TestWorld, a_mac_field_must_end_after_exactly_two_characters)
{
    Mac mac;
    const Mac untouched = {0xEE, 0xEE, 0xEE, 0xEE, 0xEE, 0xEE};
    for (const char* bad : {"2:000:00:00:00:01", "02:00:00:00:00:1", "02:00:00:00:00:011", "02:0g:00:00:00:01",
                            "02:00:00", "", "0", "02:", "02:00:00:00:00:", "-1:00:00:00:00:01"}) {
        const std::string printed = output_of([&] { EXPECT_FALSE(parses(bad, mac)) << bad; });
        EXPECT_EQ(printed, std::string("Bad mac address '") + bad + "'\n");
        EXPECT_EQ(mac, untouched);
    }
}

TEST_F(TestWorld, a_null_mac_text_is_a_bad_one)
{
    Mac mac;
    EXPECT_EQ(output_of([&] { EXPECT_FALSE(parses(nullptr, mac)); }), "Bad mac address ''\n");
}

TEST_F(TestWorld, an_address_is_a_signed_number_in_host_order)
{
    const UINT8 low[4] = {192, 168, 0, 1};
    const UINT8 high[4] = {10, 0, 0, 254};
    EXPECT_EQ(sql_ip_number(low), 16820416);   // 0x0100A8C0
    EXPECT_EQ(sql_ip_number(high), -33554422); // 0xFE00000A
    UINT8 back[4];
    sql_ip_bytes(-33554422, back);
    EXPECT_EQ(memcmp(back, high, 4), 0);
}
