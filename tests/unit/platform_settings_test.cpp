#include <cstring>

#include "platform_fixture.h"

namespace {

class PlatformSettings : public PlatformRoot {
protected:
    // The value of "port" in a file of that content, or "none".
    std::string port_of(const std::string& content)
    {
        write("/var/config_cloud_ac.cfg", content);
        std::string result;
        write("/value", "none");
        in_root([this] {
            char value[64] = {};
            if (GetIniFileValue("/var/config_cloud_ac.cfg", "port", value) != 0) write("/value", value);
        });
        return read("/value");
    }
};

} // namespace

TEST_F(PlatformSettings, a_key_of_the_file_gives_its_value)
{
    EXPECT_EQ(port_of("other=1\nport=5000\n"), "5000");
    EXPECT_EQ(port_of("port=5001"), "5001");
}

TEST_F(PlatformSettings, blanks_around_key_and_value_and_a_carriage_return_do_not_count)
{
    EXPECT_EQ(port_of("  port \t=  5000 \r\n"), "5000");
    EXPECT_EQ(port_of("port = a b\n"), "a b");
}

TEST_F(PlatformSettings, comments_and_sections_are_passed_over)
{
    EXPECT_EQ(port_of("# port=1\n  # port=2\n#port=3\n[net]\n\nport=5000\n"), "5000");
    EXPECT_EQ(port_of("# port=1\n"), "none");
}

TEST_F(PlatformSettings, a_key_counts_only_as_a_whole)
{
    EXPECT_EQ(port_of("xport=1\nportx=2\nPORT=3\nport\n"), "none");
}

TEST_F(PlatformSettings, the_first_of_two_equal_keys_counts)
{
    EXPECT_EQ(port_of("port=1\nport=2\n"), "1");
}

TEST_F(PlatformSettings, only_the_first_equals_sign_divides)
{
    EXPECT_EQ(port_of("port=a=b\n"), "a=b");
}

TEST_F(PlatformSettings, an_empty_value_is_a_value)
{
    EXPECT_EQ(port_of("port=\n"), "");
    EXPECT_EQ(port_of("port=   \n"), "");
}

TEST_F(PlatformSettings, a_value_of_63_bytes_fits_and_a_longer_one_is_cut)
{
    EXPECT_EQ(port_of("port=" + std::string(63, '9') + "\n"), std::string(63, '9'));
    EXPECT_EQ(port_of("port=" + std::string(64, '9') + "\n"), std::string(63, '9'));
}

TEST_F(PlatformSettings, the_rest_of_a_very_long_line_is_no_line_of_its_own)
{
    // 1023 bytes of a line count; what follows them here looks like a setting.
    EXPECT_EQ(port_of(std::string(1023, 'x') + "port=1\nport=2\n"), "2");
}

TEST_F(PlatformSettings, a_missing_file_or_key_gives_zero_and_leaves_the_value)
{
    in_root([] {
        char value[64] = "before";
        EXPECT_EQ(GetIniFileValue("/var/nosuch.cfg", "port", value), 0);
        EXPECT_STREQ(value, "before");
    });
    EXPECT_EQ(port_of(""), "none");
}

TEST_F(PlatformSettings, files_are_looked_for_below_the_root)
{
    write("/var/cur_apimage", "x");
    in_root([] {
        EXPECT_EQ(check_file_exist("/var/cur_apimage"), 1);
        EXPECT_EQ(check_file_exist("/var/other"), 0);
        EXPECT_EQ(check_file_exist("/../../bin/sh"), 0);
    });
}

TEST_F(PlatformSettings, texts_are_compared_up_to_the_count)
{
    EXPECT_EQ(vos_strncmp("abcd", "abxx", 2), 0);
    EXPECT_NE(vos_strncmp("abcd", "abxx", 3), 0);
    EXPECT_LT(vos_strncmp("a", "b", 1), 0);
    EXPECT_GT(vos_strncmp("b", "a", 1), 0);
    EXPECT_EQ(vos_strncmp("a", "b", 0), 0);
}

TEST_F(PlatformSettings, null_texts_compare_as_empty_ones)
{
    EXPECT_EQ(vos_strncmp(nullptr, nullptr, 4), 0);
    EXPECT_EQ(vos_strncmp(nullptr, "", 4), 0);
    EXPECT_LT(vos_strncmp(nullptr, "a", 4), 0);
    EXPECT_GT(vos_strncmp("a", nullptr, 4), 0);
}
