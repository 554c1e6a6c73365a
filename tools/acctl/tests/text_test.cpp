#include "text.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using namespace acctl;

TEST(Text, a_field_ends_at_its_first_zero_or_its_last_byte)
{
    const std::vector<UINT8> ended = {'a', 'b', 0, 'c'}, full = {'a', 'b', 'c', 'd'}, empty = {0, 'x'};
    EXPECT_EQ(field_bytes(ended), "ab");
    EXPECT_EQ(field_bytes(full), "abcd");
    EXPECT_EQ(field_bytes(empty), "");
}

TEST(Text, utf8_stays_as_it_is)
{
    for (const char* text : {"", "lobby", "Büro", "大厅", "\U0001F4E1", "\uFFFD"})
        EXPECT_EQ(to_utf8(text), text);
}

TEST(Text, a_character_that_the_end_of_the_field_cuts_off_is_dropped)
{
    EXPECT_EQ(to_utf8("ab\xE5\xA4"), "ab");
    EXPECT_EQ(to_utf8("ab\xF0\x9F\x93"), "ab");
    EXPECT_EQ(to_utf8("ab\xC3"), "ab");
}

TEST(Text, the_appliances_other_encoding_is_read)
{
    EXPECT_EQ(to_utf8("\xB4\xF3\xCC\xFC"), "大厅");
}

TEST(Text, bytes_of_no_encoding_become_replacement_characters)
{
    EXPECT_EQ(to_utf8("a\xFF\xFF"
                      "b"),
              "a\uFFFD\uFFFD"
              "b");
    EXPECT_EQ(to_utf8("\x80"), "\uFFFD");
}

TEST(Text, overlong_forms_and_surrogates_are_no_utf8)
{
    for (const char* bytes : {"\xC0\x80\xFF", "\xE0\x80\x80\xFF", "\xED\xA0\x80\xFF", "\xF4\x90\x80\x80\xFF"}) {
        const std::string text = to_utf8(bytes);
        EXPECT_EQ(text.find('\0'), std::string::npos);
        EXPECT_NO_THROW((void)nlohmann::ordered_json(text).dump());
    }
}

TEST(Text, nothing_that_a_terminal_acts_on_gets_through)
{
    EXPECT_EQ(shown("\x1b[2J\x07"), "\\x1b[2J\\x07");
    EXPECT_EQ(shown("a\tb\r\nc\x7f"), "a\\x09b\\x0d\\x0ac\\x7f");
    EXPECT_EQ(shown("\u009b31m"), "\\x9b31m") << "the one-character form of the same";
    EXPECT_EQ(shown("\u202egnp.exe"), "\\u202egnp.exe");
    EXPECT_EQ(shown("\u200b\ufeff"), "\\u200b\\ufeff");
    EXPECT_EQ(shown("a\xff"), "a\\xff");
    EXPECT_EQ(shown("Büro 大厅"), "Büro 大厅");
}

TEST(Text, whatever_the_bytes_a_shown_text_holds_no_control_character)
{
    for (unsigned a = 0; a < 256; a++)
        for (unsigned b = 0; b < 256; b++) {
            const std::string bytes = {static_cast<char>(a), static_cast<char>(b), '[', 'm'};
            for (const std::string& text : {shown(to_utf8(bytes)), shown(bytes)})
                for (std::size_t i = 0; i < text.size(); i++) {
                    const auto c = static_cast<unsigned char>(text[i]);
                    ASSERT_TRUE(c >= 0x20 && c != 0x7F) << a << " " << b;
                    const bool c1 = c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
                    ASSERT_FALSE(c1) << a << " " << b;
                }
        }
}

TEST(Text, width_counts_columns)
{
    EXPECT_EQ(width(""), 0u);
    EXPECT_EQ(width("lobby"), 5u);
    EXPECT_EQ(width("Büro"), 4u);
    EXPECT_EQ(width("大厅"), 4u);
    EXPECT_EQ(width("e\u0301"), 1u) << "an accent on its own stands above the letter";
}

TEST(Text, a_cut_fits_and_says_that_it_is_one)
{
    EXPECT_EQ(cut("lobby", 5), "lobby");
    EXPECT_EQ(cut("lobby", 4), "lob…");
    EXPECT_EQ(cut("lobby", 1), "…");
    EXPECT_EQ(cut("lobby", 0), "");
    EXPECT_EQ(cut("大厅北", 5), "大厅…");
    EXPECT_EQ(cut("大厅北", 4), "大…") << "half a character is none";
    for (std::size_t columns = 0; columns < 12; columns++)
        EXPECT_LE(width(cut("a大b厅c北", columns)), columns);
}

TEST(Text, json_escapes_what_a_terminal_would_act_on_and_stays_the_same_value)
{
    const std::string name = "a\x1b\u009b\x7f\u202e大\U000E0041\"\\";
    const nlohmann::ordered_json json = {{"name", name}};
    const std::string text = json_text(json);
    EXPECT_EQ(text, "{\n  \"name\": \"a\\u001b\\u009b\\u007f\\u202e大\\udb40\\udc41\\\"\\\\\"\n}");
    EXPECT_EQ(nlohmann::ordered_json::parse(text), json);
    EXPECT_EQ(json_text({{"a", 1}}, -1), "{\"a\":1}");
}
