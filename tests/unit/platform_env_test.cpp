#include <csignal>
#include <cstring>

#include "platform/ac_clock.h"
#include "platform_fixture.h"

using PlatformEnv = PlatformRoot;

// --- AC_ROOT ---------------------------------------------------------------------------------------------------------

TEST_F(PlatformEnv, absolute_paths_lie_below_the_root)
{
    in_root([this] { EXPECT_EQ(std::string(ac_path("/var/ac_socket").c_str()), root + "/var/ac_socket"); });
}

TEST_F(PlatformEnv, without_a_root_paths_are_the_appliances_own)
{
    const Outcome outcome = in_process({}, [] { EXPECT_STREQ(ac_path("/var/ac_socket").c_str(), "/var/ac_socket"); });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformEnv, relative_paths_stay_as_they_are)
{
    in_root([] { EXPECT_STREQ(ac_path("webroot/images").c_str(), "webroot/images"); });
}

TEST_F(PlatformEnv, slashes_at_the_end_of_the_root_do_not_count)
{
    const std::string slashed = root + "//";
    const Outcome outcome = in_process({{"AC_ROOT", slashed.c_str()}},
                                       [this] { EXPECT_EQ(std::string(ac_path("/var/x").c_str()), root + "/var/x"); });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformEnv, missing_parent_folders_are_made_and_the_file_is_not)
{
    in_root([] { ac_path("/mnt/s_brcmnand/deep/er/file"); });
    EXPECT_TRUE(exists("/mnt/s_brcmnand/deep/er"));
    EXPECT_FALSE(exists("/mnt/s_brcmnand/deep/er/file"));
}

TEST_F(PlatformEnv, a_missing_root_is_made)
{
    const std::string below = root + "/a/b";
    const Outcome outcome = in_process({{"AC_ROOT", below.c_str()}}, [] {});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(exists("/a/b"));
}

TEST_F(PlatformEnv, a_relative_root_counts_from_the_folder_of_the_start)
{
    const Outcome outcome = in_process({}, [this] {
        ASSERT_EQ(chdir(root.c_str()), 0);
        setenv("AC_ROOT", "here", 1);
        platform_init();
        ASSERT_EQ(chdir("/"), 0);
        EXPECT_EQ(std::string(ac_path("/var/x").c_str()), root + "/here/var/x");
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(exists("/here/var"));
}

TEST_F(PlatformEnv, a_root_may_be_as_long_as_a_socket_path_allows)
{
    // 108 bytes of a Unix address, less 14 of "/var/ac_socket" and the zero byte.
    const std::string fits = root + "/" + std::string(93 - root.size() - 1, 'r');
    ASSERT_EQ(fits.size(), 93U);
    const Outcome outcome = in_process({{"AC_ROOT", fits.c_str()}}, [&fits] {
        EXPECT_EQ(std::string(ac_path("/var/ac_socket").c_str()), fits + "/var/ac_socket");
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    expect_refused("AC_ROOT", (fits + "r").c_str(), "too long for a Unix socket path");
}

TEST_F(PlatformEnv, a_very_long_root_is_refused_too)
{
    expect_refused("AC_ROOT", ("/" + std::string(9000, 'r')).c_str(), "too long for a Unix socket path");
}

TEST_F(PlatformEnv, an_empty_root_is_refused)
{
    expect_refused("AC_ROOT", "", "empty");
}

TEST_F(PlatformEnv, a_root_that_is_a_file_is_refused)
{
    write("/file", "x");
    expect_refused("AC_ROOT", (root + "/file").c_str(), "is no folder");
    expect_refused("AC_ROOT", (root + "/file/below").c_str(), "is no folder");
}

TEST_F(PlatformEnv, a_refused_value_is_shown_in_one_line_whatever_it_holds)
{
    expect_refused("AC_LAN_IF", "two\nlines", "two?lines");
}

TEST_F(PlatformEnv, a_path_that_climbs_above_the_root_is_empty)
{
    in_root([this] {
        EXPECT_STREQ(ac_path("/../etc/passwd").c_str(), "");
        EXPECT_STREQ(ac_path("/var/../../etc/passwd").c_str(), "");
        EXPECT_STREQ(ac_path("/var/..//./../etc/passwd").c_str(), "");
        EXPECT_EQ(std::string(ac_path("/var/../etc/x").c_str()), root + "/var/../etc/x");
        EXPECT_EQ(std::string(ac_path("/var/..x").c_str()), root + "/var/..x");
    });
}

TEST_F(PlatformEnv, a_path_that_fills_the_limit_stands_and_one_byte_more_is_empty)
{
    in_root([this] {
        std::string path = "/v";
        path.resize(PATH_MAX - 1 - root.size(), 'v');
        EXPECT_EQ(std::string(ac_path(path.c_str()).c_str()), root + path);
        path.push_back('v');
        EXPECT_STREQ(ac_path(path.c_str()).c_str(), "");
    });
}

// --- AC_LAN_IF -------------------------------------------------------------------------------------------------------

TEST_F(PlatformEnv, the_lan_interface_is_the_one_named)
{
    const Outcome outcome = in_process({{"AC_LAN_IF", "nosuch0"}}, [] { EXPECT_STREQ(getLanIfName(), "nosuch0"); });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformEnv, an_interface_that_is_not_there_is_told_and_waited_for)
{
    const Outcome missing = in_process({{"AC_LAN_IF", "nosuch0"}}, [] {});
    EXPECT_EQ(missing.status, 0);
    EXPECT_EQ(missing.err, "AC_LAN_IF: no interface is called \"nosuch0\" now; waiting for it and its IPv4 address\n");
    EXPECT_EQ(in_process({{"AC_LAN_IF", "lo"}}, [] {}).err, "");
}

TEST_F(PlatformEnv, an_interface_name_of_15_characters_passes_and_of_16_is_refused)
{
    const Outcome outcome =
        in_process({{"AC_LAN_IF", "abcdefghijklmno"}}, [] { EXPECT_STREQ(getLanIfName(), "abcdefghijklmno"); });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    expect_refused("AC_LAN_IF", "abcdefghijklmnop", "no name of an interface");
}

TEST_F(PlatformEnv, names_that_no_interface_can_have_are_refused)
{
    expect_refused("AC_LAN_IF", "", "no name of an interface");
    expect_refused("AC_LAN_IF", "eth 0", "no name of an interface");
    expect_refused("AC_LAN_IF", "../eth0", "no name of an interface");
}

// --- AC_TIME_SCALE, AC_TIME_START ------------------------------------------------------------------------------------

TEST_F(PlatformEnv, time_scales_outside_1_to_a_million_are_refused)
{
    for (const char* value : {"0", "-1", "1000001", "99999999999999999999", "", "ten", "1.5", " 2", "2 ", "+2", "0x2"})
        expect_refused("AC_TIME_SCALE", value, "no integer from 1");
}

TEST_F(PlatformEnv, time_scales_from_1_to_a_million_are_taken)
{
    for (const char* value : {"1", "10", "1000000"})
        EXPECT_EQ(in_process({{"AC_TIME_SCALE", value}}, [] {}).status, 0) << value;
}

TEST_F(PlatformEnv, starts_of_another_form_are_refused)
{
    for (const char* value :
         {"", "2023-11-14", "2023-11-14T22:13:20", "2023-11-14 22:13", "2023-11-14 22:13:20 ", " 2023-11-14 22:13:20",
          "23-11-14 22:13:20", "2023/11/14 22:13:20", "2023-1a-14 22:13:20", "+023-11-14 22:13:20"})
        expect_refused("AC_TIME_START", value, "YYYY-MM-DD HH:MM:SS");
}

TEST_F(PlatformEnv, moments_that_do_not_exist_are_refused)
{
    for (const char* value : {"2023-02-29 00:00:00", "2023-13-01 00:00:00", "2023-00-01 00:00:00",
                              "2023-04-31 00:00:00", "2023-01-00 00:00:00", "2023-01-01 24:00:00",
                              "2023-01-01 00:60:00", "2023-01-01 00:00:61", "1969-12-31 00:00:00"})
        expect_refused("AC_TIME_START", value, "YYYY-MM-DD HH:MM:SS");
}

TEST_F(PlatformEnv, the_clock_starts_at_the_local_time_given)
{
    const Outcome outcome = in_process({{"TZ", "UTC-8"}, {"AC_TIME_START", "2024-02-29 08:00:00"}}, [] {
        const time_t start = 1709164800; // 2024-02-29 00:00:00 UTC
        EXPECT_GE(ac_time(), start);
        EXPECT_LT(ac_time(), start + 3600); // nobody keeps this process off the processor for an hour
        struct tm local = {};
        const time_t now = ac_time();
        ASSERT_NE(ac_localtime(now, &local), nullptr);
        EXPECT_EQ(local.tm_mday, 29);
        EXPECT_EQ(local.tm_hour, 8);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformEnv, the_clock_may_start_where_31_bits_of_seconds_do_not_reach)
{
    const Outcome outcome = in_process({{"TZ", "UTC0"}, {"AC_TIME_START", "2038-01-19 03:14:08"}}, [] {
        EXPECT_GE(ac_time(), 2147483648);
        EXPECT_LT(ac_time(), 2147483648 + 3600);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(PlatformEnv, standard_output_is_line_buffered)
{
    // Into a pipe, which the C library would otherwise buffer as a whole. The child is killed, so that nothing flushes.
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(ends[1], STDOUT_FILENO);
        platform_init();
        printf("a whole line\nand a part");
        raise(SIGKILL);
    }
    close(ends[1]);
    char seen[64] = "";
    const ssize_t length = ::read(ends[0], seen, sizeof seen - 1);
    close(ends[0]);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(length, 13);
    EXPECT_STREQ(seen, "a whole line\n");
}
