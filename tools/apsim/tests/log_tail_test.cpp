#include "log_tail.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

using namespace apsim;

namespace {

class LogTailTest : public ::testing::Test {
protected:
    LogTailTest()
    {
        const int fd = mkstemp(path);
        if (fd >= 0) close(fd);
    }
    ~LogTailTest() override { unlink(path); }
    void write(const std::string& text) { std::ofstream(path, std::ios::app) << text; }

    char path[64] = "/tmp/apsim-log-XXXXXX";
};

} // namespace

TEST_F(LogTailTest, lines_that_differ_in_numbers_are_one_kind_with_the_last_text)
{
    write("Error->check(12)--ip:[10.0.0.1] echo time out\nError->check(13)--ip:[10.0.0.22] echo time out\n");
    write("Error->crc(1)--CRC error,crc_from_ap:-5,crc_check:7\nError->crc(1)--CRC error,crc_from_ap:5,crc_check:-7\n");
    LogTail tail(path);
    tail.read_on();
    ASSERT_EQ(tail.kinds().size(), 2u);
    EXPECT_EQ(tail.kinds()[0].last, "CRC error,crc_from_ap:5,crc_check:-7");
    EXPECT_EQ(tail.kinds()[0].count, 2u);
    EXPECT_EQ(tail.kinds()[1].last, "ip:[10.0.0.22] echo time out");
    EXPECT_EQ(tail.kinds()[1].count, 2u);
}

TEST_F(LogTailTest, a_line_is_taken_when_its_end_has_come)
{
    LogTail tail(path);
    write("half");
    tail.read_on();
    EXPECT_TRUE(tail.kinds().empty());
    write(" a line\n");
    tail.read_on();
    tail.read_on();
    ASSERT_EQ(tail.kinds().size(), 1u);
    EXPECT_EQ(tail.kinds()[0].last, "half a line");
    EXPECT_EQ(tail.kinds()[0].count, 1u);
}

TEST_F(LogTailTest, what_a_terminal_would_obey_is_taken_out)
{
    write("wild \033[2J line\n");
    LogTail tail(path);
    tail.read_on();
    EXPECT_EQ(tail.kinds().at(0).last, "wild ?[2J line");
}

TEST_F(LogTailTest, a_missing_file_is_told_and_an_empty_one_says_nothing)
{
    LogTail missing("/nonexistent/file");
    missing.read_on();
    EXPECT_EQ(missing.text(5), "  controller's log: /nonexistent/file can't be read\n");
    LogTail empty(path);
    empty.read_on();
    EXPECT_EQ(empty.text(5), "");
}

TEST_F(LogTailTest, text_shows_the_most_recent_kinds_the_frequent_first)
{
    write("old\nseldom\noften\noften\n");
    LogTail tail(path);
    tail.read_on();
    const std::string text = tail.text(2);
    EXPECT_EQ(text.find("old"), std::string::npos);
    EXPECT_LT(text.find("2  often"), text.find("1  seldom"));
}
