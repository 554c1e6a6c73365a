// The text converter between GB2312 and UTF-8.
#include <string>
#include <vector>

#include "platform/ac_platform.h"
#include "test_world.h"

class PlatformEncode : public TestWorld {
protected:
    // The target has `size` bytes on the heap, so that a write behind it is a write out of bounds.
    std::string encoded(const char* charset, const std::string& source, std::size_t size = 64)
    {
        std::vector<char> target(size, 'x');
        const std::size_t length = set_cn_ssid_encode(charset, source.c_str(), target);
        EXPECT_LT(length, size);
        EXPECT_EQ(target[length], '\0');
        return {target.data(), length};
    }
};

static const char GB_LABEL[] = "\xCE\xDE\xB2\xDF\xC2\xD4";               // three characters
static const char UTF8_LABEL[] = "\xE6\x97\xA0\xE7\xAD\x96\xE7\x95\xA5"; // the same

TEST_F(PlatformEncode, gb2312_becomes_utf_8_and_utf_8_gb2312)
{
    EXPECT_EQ(encoded("utf-8", GB_LABEL), UTF8_LABEL);
    EXPECT_EQ(encoded("gb2312", UTF8_LABEL), GB_LABEL);
    EXPECT_EQ(encoded("UTF-8", GB_LABEL), UTF8_LABEL);
}

TEST_F(PlatformEncode, ascii_stays_as_it_is_in_both_directions)
{
    EXPECT_EQ(encoded("utf-8", "lobby's 1"), "lobby's 1");
    EXPECT_EQ(encoded("gb2312", "lobby's 1"), "lobby's 1");
    EXPECT_EQ(encoded("utf-8", ""), "");
}

TEST_F(PlatformEncode, characters_of_gb18030_beyond_gb2312_are_taken_too)
{
    EXPECT_EQ(encoded("utf-8", "\x81\x30\x84\x36"), "\xC2\xA5"); // yen sign, four bytes
}

TEST_F(PlatformEncode, a_text_that_is_not_valid_in_its_charset_is_copied_whole)
{
    EXPECT_EQ(encoded("utf-8", "\xCE\xDE\xFF\xFF"), "\xCE\xDE\xFF\xFF");
    EXPECT_EQ(encoded("utf-8", "ab\xCE"), "ab\xCE") << "half a character at the end";
    EXPECT_EQ(encoded("gb2312", GB_LABEL), GB_LABEL) << "not UTF-8";
}

TEST_F(PlatformEncode, a_text_that_gb2312_cannot_express_is_copied_whole)
{
    EXPECT_EQ(encoded("gb2312", "a\xF0\x9F\x98\x80"), "a\xF0\x9F\x98\x80");
}

TEST_F(PlatformEncode, an_unknown_charset_copies)
{
    EXPECT_EQ(encoded("latin1", GB_LABEL), GB_LABEL);
}

TEST_F(PlatformEncode, the_target_takes_whole_characters_and_a_terminator)
{
    EXPECT_EQ(encoded("utf-8", GB_LABEL, 10), UTF8_LABEL);
    EXPECT_EQ(encoded("utf-8", GB_LABEL, 9), std::string(UTF8_LABEL).substr(0, 6));
    EXPECT_EQ(encoded("utf-8", GB_LABEL, 4), std::string(UTF8_LABEL).substr(0, 3));
    EXPECT_EQ(encoded("utf-8", GB_LABEL, 3), "");
    EXPECT_EQ(encoded("utf-8", GB_LABEL, 1), "");
    EXPECT_EQ(encoded("latin1", "four", 4), "fou");
    EXPECT_EQ(set_cn_ssid_encode("utf-8", GB_LABEL, {}), 0u);
}

TEST_F(PlatformEncode, a_long_text_is_judged_whole_before_any_of_it_is_converted)
{
    std::string text;
    for (int i = 0; i < 100; i++)
        text += GB_LABEL;
    EXPECT_EQ(encoded("utf-8", text, 31),
              std::string(UTF8_LABEL) + UTF8_LABEL + UTF8_LABEL + std::string(UTF8_LABEL).substr(0, 3));
    EXPECT_EQ(encoded("utf-8", text + "\xFF\xFF", 7), text.substr(0, 6)) << "invalid at its end: copied";
}

TEST_F(PlatformEncode, the_kind_of_a_text_is_told)
{
    EXPECT_EQ(is_cn_encode("lobby"), 0);
    EXPECT_EQ(is_cn_encode(""), 0);
    EXPECT_EQ(is_cn_encode(UTF8_LABEL), 2);
    EXPECT_EQ(is_cn_encode("caf\xC3\xA9"), 2);
    EXPECT_EQ(is_cn_encode(GB_LABEL), 1);
    EXPECT_EQ(is_cn_encode("a\xFF"), 1);
}
