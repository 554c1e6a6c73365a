#include "table.h"

#include <gtest/gtest.h>

#include "text.h"

using namespace acctl;

namespace {

Table sample()
{
    Table table({{"NAME", false, 4, 0}, {"N", true, 0, 0}, {"EXTRA", false, 0, 1}, {"MORE", false, 3, 2}});
    table.add({{"lobby-north", Paint::good}, {"7", Paint::plain}, {"abc", Paint::plain}, {"moremore", Paint::plain}});
    table.add({{"x", Paint::plain}, {"123", Paint::plain}, {"d", Paint::plain}, {"", Paint::plain}});
    return table;
}

} // namespace

TEST(Table, is_as_wide_as_its_texts_where_nothing_limits_it)
{
    EXPECT_EQ(sample().lines(0, false),
              (std::vector<std::string>{"NAME           N  EXTRA  MORE", "lobby-north    7  abc    moremore",
                                        "x            123  d"}));
}

TEST(Table, cuts_texts_first)
{
    EXPECT_EQ(
        sample().lines(30, false),
        (std::vector<std::string>{"NAME        N  EXTRA  MORE", "lobby-n…    7  abc    moremore", "x         123  d"}));
}

TEST(Table, then_leaves_columns_out)
{
    EXPECT_EQ(sample().lines(16, false),
              (std::vector<std::string>{"NAME    N  EXTRA", "lob…    7  abc", "x     123  d"}));
    EXPECT_EQ(sample().lines(9, false), (std::vector<std::string>{"NAME    N", "lob…    7", "x     123"}));
}

TEST(Table, fits_every_width_that_its_last_columns_fit)
{
    for (std::size_t columns = 9; columns < 60; columns++)
        for (const std::string& line : sample().lines(columns, false))
            EXPECT_LE(width(line), columns) << line;
}

TEST(Table, colours_only_where_they_are_wanted)
{
    const std::vector<std::string> lines = sample().lines(0, true);
    EXPECT_NE(lines[1].find("\x1b[32mlobby-north\x1b[0m"), std::string::npos);
    for (const std::string& line : sample().lines(0, false))
        EXPECT_EQ(line.find('\x1b'), std::string::npos);
}

TEST(Table, wide_characters_take_their_columns)
{
    Table table({{"NAME", false, 0, 0}, {"N", true, 0, 0}});
    table.add({{"大厅", Paint::plain}, {"1", Paint::plain}});
    table.add({{"hall", Paint::plain}, {"2", Paint::plain}});
    EXPECT_EQ(table.lines(0, false), (std::vector<std::string>{"NAME  N", "大厅  1", "hall  2"}));
}

TEST(Screen, a_pipe_has_neither_colour_nor_a_width)
{
    testing::internal::CaptureStdout();
    const Screen screen = look_at_screen(true);
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(screen.terminal);
    EXPECT_FALSE(screen.colour);
    EXPECT_EQ(screen.columns, 0u);
}
