#include <csignal>
#include <cstring>
#include <thread>

#include "common/ac_alloc.h"
#include "platform_fixture.h"

namespace {

class PlatformShell : public PlatformRoot {
protected:
    // What a command sees of `argument`, put into a word of its own.
    std::string seen_by_command(const std::string& argument)
    {
        in_root([&argument] { EXPECT_EQ(doSystemCmd("printf %%s %s > /out", argument.c_str()), 0); });
        return read("/out");
    }

    std::string journal() const { return read("/var/log/ac_system_cmd.log"); }

    // For a process without a root: it must not reach the machine's own journal, even where root runs the tests.
    void as_nobody() const
    {
        std::filesystem::permissions(root, std::filesystem::perms::all);
        ASSERT_TRUE(geteuid() != 0 || setuid(65534) == 0);
    }
};

void ignore_child(int)
{}

} // namespace

// --- running ---------------------------------------------------------------------------------------------------------

TEST_F(PlatformShell, the_exit_status_of_the_command_is_the_result)
{
    in_root([] {
        EXPECT_EQ(doSystemCmd("true"), 0);
        EXPECT_EQ(doSystemCmd("exit %d", 7), 7);
        EXPECT_EQ(doSystemCmd("exit 255"), 255);
        EXPECT_EQ(doSystemCmd("no-such-program-anywhere 2>/dev/null"), 127);
    });
}

TEST_F(PlatformShell, an_end_by_a_signal_counts_128_more_than_its_number)
{
    in_root([] { EXPECT_EQ(doSystemCmd("kill -9 $$"), 128 + 9); });
}

TEST_F(PlatformShell, the_command_has_ended_when_the_call_returns)
{
    in_root([this] {
        EXPECT_EQ(doSystemCmd("echo 1 > %s", "/mnt/s_brcmnand/acPortalFileFlag"), 0);
        EXPECT_EQ(read("/mnt/s_brcmnand/acPortalFileFlag"), "1\n");
    });
}

TEST_F(PlatformShell, a_handler_for_ended_children_does_not_disturb_the_wait)
{
    in_root([] {
        struct sigaction action = {};
        action.sa_handler = ignore_child; // without SA_RESTART: each call that waits is interrupted
        sigaction(SIGCHLD, &action, nullptr);
        for (int i = 0; i < 20; i++)
            EXPECT_EQ(doSystemCmd("exit %d", i), i);
    });
}

TEST_F(PlatformShell, several_threads_run_commands_at_the_same_time)
{
    in_root([this] {
        signal(SIGCHLD, ignore_child);
        std::vector<std::thread> threads;
        for (int number = 1; number <= 4; number++)
            threads.emplace_back([number] {
                for (int i = 0; i < 5; i++)
                    EXPECT_EQ(doSystemCmd("exit %d", number), number);
            });
        for (std::thread& thread : threads)
            thread.join();
        const std::string lines = journal();
        EXPECT_EQ(lines.size(), 20 * strlen("exit 1\n"));
    });
}

TEST_F(PlatformShell, a_closed_pipe_ends_a_command_though_the_daemon_ignores_the_signal)
{
    in_root([this] {
        signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(doSystemCmd("kill -13 $$ ; echo survived > /out"), 128 + 13);
        EXPECT_FALSE(exists("/out"));
    });
}

TEST_F(PlatformShell, a_command_does_not_inherit_the_daemons_files)
{
    in_root([] {
        ASSERT_GE(dup2(STDOUT_FILENO, 9), 0);
        EXPECT_EQ(doSystemCmd("(echo >&1) >/dev/null"), 0);
        EXPECT_NE(doSystemCmd("(echo >&9) 2>/dev/null"), 0);
    });
}

TEST_F(PlatformShell, without_memory_nothing_is_run)
{
    in_root([this] {
        ac_alloc_fail_after(0);
        EXPECT_EQ(doSystemCmd("echo x > /out"), -1);
        EXPECT_FALSE(exists("/out"));
        EXPECT_EQ(doSystemCmd("echo x > /out"), 0);
    });
}

// --- arguments are data ----------------------------------------------------------------------------------------------

TEST_F(PlatformShell, an_argument_arrives_whatever_it_holds)
{
    const char* const arguments[] = {
        "plain",
        "two words  and   blanks",
        " at both ends ",
        "'",
        "''",
        "it's",
        "'; touch owned; '",
        "\"double\"",
        "$(touch owned)",
        "`touch owned`",
        "${HOME} $HOME $$",
        "; touch owned",
        "& touch owned &",
        "| touch owned",
        "> owned",
        "< owned",
        "&& touch owned || touch owned",
        "line\nfeed\ntouch owned\n#",
        "carriage\rreturn\ttab",
        "\\",
        "\\n \\' \\\\ \\$(touch owned)",
        "-rf",
        "--",
        "-",
        "*",
        "?[a-z]*{a,b}",
        "~",
        "~root",
        "#comment",
        "!history",
        "a=b",
        "%s %d %n %%",
        "\xe4\xb8\xad\xe6\x96\x87",
        "\xd6\xd0\xce\xc4", // GB2312
        "\xff\xfe\x80\x01\x7f",
        "",
    };
    for (const char* argument : arguments)
        EXPECT_EQ(seen_by_command(argument), argument);
    EXPECT_FALSE(exists("/owned"));
    EXPECT_FALSE(std::filesystem::exists("owned"));
}

TEST_F(PlatformShell, every_single_byte_arrives)
{
    std::string all;
    for (int c = 1; c < 256; c++)
        all.push_back(static_cast<char>(c));
    EXPECT_EQ(seen_by_command("x" + all), "x" + all);
}

TEST_F(PlatformShell, an_argument_is_one_word_even_when_empty)
{
    in_root([] { EXPECT_EQ(doSystemCmd("set -- %s %s %s ; exit $#", "", "a b", "c\nd"), 3); });
}

TEST_F(PlatformShell, an_argument_inside_a_word_joins_it)
{
    in_root([] { EXPECT_EQ(doSystemCmd("printf %%s --name=%s%d > /out", "a 'b' $c ", 5), 0); });
    EXPECT_EQ(read("/out"), "--name=a 'b' $c 5");
}

TEST_F(PlatformShell, a_number_before_a_redirection_is_text_and_no_descriptor)
{
    in_root([] { EXPECT_EQ(doSystemCmd("echo %d>/out", 1), 0); });
    EXPECT_EQ(read("/out"), "1\n");
}

TEST_F(PlatformShell, an_argument_as_target_of_a_redirection_is_quoted_too)
{
    in_root([] { EXPECT_EQ(doSystemCmd("echo x>%s", "/var/a b;$(c)'d'"), 0); });
    EXPECT_EQ(read("/var/a b;$(c)'d'"), "x\n");
}

TEST_F(PlatformShell, a_leading_dash_of_a_name_below_a_folder_is_no_option)
{
    write("/webroot/-rf", "x");
    write("/webroot/kept", "x");
    in_root([] { EXPECT_EQ(doSystemCmd("rm /webroot/%s", "-rf"), 0); });
    EXPECT_FALSE(exists("/webroot/-rf"));
    EXPECT_TRUE(exists("/webroot/kept"));
}

TEST_F(PlatformShell, a_null_argument_is_an_empty_one)
{
    const char* const volatile nothing = nullptr; // so that the compiler doesn't see through it
    in_root([&nothing] { EXPECT_EQ(doSystemCmd("printf %%s [%s] > /out", nothing), 0); });
    EXPECT_EQ(read("/out"), "[]");
}

TEST_F(PlatformShell, numbers_and_characters_are_formed_with_width_and_zeros)
{
    in_root([] {
        EXPECT_EQ(doSystemCmd("printf %%s. %d %u %x %c %02x %03d %4d %5s %08x %% > /out", -5, 4000000000U, 255U, 'z',
                              10U, 7, 42, "abc", 0xbeefU),
                  0);
    });
    EXPECT_EQ(read("/out"), "-5.4000000000.ff.z.0a.007.  42.  abc.0000beef.%.");
}

// --- paths -----------------------------------------------------------------------------------------------------------

TEST_F(PlatformShell, absolute_paths_are_moved_below_the_root)
{
    write("/var/AP1_image", "x");
    in_root([] { EXPECT_EQ(doSystemCmd("rm -rf %s", "/var/AP1_image"), 0); });
    EXPECT_FALSE(exists("/var/AP1_image"));
}

TEST_F(PlatformShell, absolute_paths_of_the_format_are_moved_too)
{
    write("/mnt/s_brcmnand/portal_ap_1.html", "page");
    in_root([] { EXPECT_EQ(doSystemCmd("cp %s /webroot/", "/mnt/s_brcmnand/portal_ap_1.html"), 0); });
    EXPECT_EQ(read("/webroot/portal_ap_1.html"), "page");
}

TEST_F(PlatformShell, a_path_put_together_from_format_and_arguments_is_moved_once)
{
    write("/mnt/s_brcmnand/a.jpg", "x");
    in_root([] { EXPECT_EQ(doSystemCmd("cat %s%s > /copy", "/mnt/s_brcmnand/", "a.jpg"), 0); });
    EXPECT_EQ(read("/copy"), "x");
}

TEST_F(PlatformShell, the_language_is_written_with_its_line_end)
{
    in_root([] { EXPECT_EQ(doSystemCmd("echo %s>/mnt/s_brcmnand/cur_ad_lang", "cn\n"), 0); });
    EXPECT_EQ(read("/mnt/s_brcmnand/cur_ad_lang"), "cn\n\n");
}

TEST_F(PlatformShell, a_path_that_leads_above_the_root_is_not_run)
{
    in_root([] {
        EXPECT_EQ(doSystemCmd("touch %s", "/../outside_of_root"), -1);
        EXPECT_EQ(doSystemCmd("touch /var/%s", "../../outside_of_root"), -1);
    });
    EXPECT_FALSE(std::filesystem::exists("/tmp/outside_of_root"));
    EXPECT_EQ(journal(), "touch /../outside_of_root\ntouch /var/../../outside_of_root\n");
}

TEST_F(PlatformShell, the_null_device_is_the_machines)
{
    in_root([] { EXPECT_EQ(doSystemCmd("echo x > /dev/null 2>&1"), 0); });
    EXPECT_FALSE(exists("/dev/null"));
}

TEST_F(PlatformShell, the_name_of_the_program_is_not_moved)
{
    in_root([] { EXPECT_EQ(doSystemCmd("/bin/sh -c true"), 0); });
}

TEST_F(PlatformShell, a_root_with_odd_characters_is_quoted_as_well)
{
    const std::string odd = root + "/it's [a] *$(x)";
    const Outcome outcome = in_process({{"AC_ROOT", odd.c_str()}}, [] {
        EXPECT_EQ(doSystemCmd("echo 1 > /var/a1"), 0);
        EXPECT_EQ(doSystemCmd("echo 2 > /var/b1"), 0);
        EXPECT_EQ(doSystemCmd("cat /var/*1 > /out"), 0);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(read("/it's [a] *$(x)/out"), "1\n2\n");
}

TEST_F(PlatformShell, without_a_root_paths_go_to_the_shell_as_they_are)
{
    const std::string file = root + "/plain";
    const Outcome outcome = in_process({}, [&file, this] {
        as_nobody();
        EXPECT_EQ(doSystemCmd("echo x > %s", file.c_str()), 0);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(read("/plain"), "x\n");
}

// --- patterns --------------------------------------------------------------------------------------------------------

TEST_F(PlatformShell, a_pattern_of_format_and_argument_is_expanded)
{
    for (const char* name : {"img_P_17_0.jpg", "portal_ap_17.html", "17", "img_P_18_0.jpg"})
        write(std::string("/mnt/s_brcmnand/") + name, "x");
    in_root([] { EXPECT_EQ(doSystemCmd("rm -rf %s%s", "/mnt/s_brcmnand/", "*17*"), 0); });
    EXPECT_FALSE(exists("/mnt/s_brcmnand/img_P_17_0.jpg"));
    EXPECT_FALSE(exists("/mnt/s_brcmnand/portal_ap_17.html"));
    EXPECT_FALSE(exists("/mnt/s_brcmnand/17"));
    EXPECT_TRUE(exists("/mnt/s_brcmnand/img_P_18_0.jpg"));
    EXPECT_EQ(journal(), "rm -rf /mnt/s_brcmnand/*17*\n");
}

TEST_F(PlatformShell, a_pattern_of_the_format_is_expanded)
{
    write("/webroot/images/push_images/a b.jpg", "1");
    write("/webroot/images/push_images/$(x)'.jpg", "2");
    in_root([] { EXPECT_EQ(doSystemCmd("cp -fr /webroot/images/push_images/* %s", "/mnt/s_brcmnand/"), 0); });
    EXPECT_EQ(read("/mnt/s_brcmnand/a b.jpg"), "1");
    EXPECT_EQ(read("/mnt/s_brcmnand/$(x)'.jpg"), "2");
}

TEST_F(PlatformShell, the_matches_of_a_pattern_come_in_order_and_hidden_files_stay_out)
{
    for (const char* name : {"b", "a", "c", ".hidden"})
        write(std::string("/f/") + name, name);
    in_root([] { EXPECT_EQ(doSystemCmd("cat /f/* > /out"), 0); });
    EXPECT_EQ(read("/out"), "abc");
}

TEST_F(PlatformShell, a_pattern_without_a_match_stays_as_it_is)
{
    in_root([] { EXPECT_EQ(doSystemCmd("printf %%s /f/%s > /out", "*none*"), 0); });
    EXPECT_EQ(read("/out"), root + "/f/*none*");
}

TEST_F(PlatformShell, only_the_star_is_special_in_a_pattern)
{
    for (const char* name : {"ab", "a?", "[ab]", "\\b"})
        write(std::string("/f/") + name, name);
    in_root([] {
        EXPECT_EQ(doSystemCmd("cat /f/%s > /question", "*?*"), 0);
        EXPECT_EQ(doSystemCmd("cat /f/%s > /bracket", "*[ab]*"), 0);
        EXPECT_EQ(doSystemCmd("cat /f/%s > /backslash", "*\\*"), 0);
    });
    EXPECT_EQ(read("/question"), "a?");
    EXPECT_EQ(read("/bracket"), "[ab]");
    EXPECT_EQ(read("/backslash"), "\\b");
}

TEST_F(PlatformShell, a_star_in_a_folder_is_a_plain_character)
{
    write("/a1/file", "wrong");
    write("/a*/file", "right");
    in_root([] { EXPECT_EQ(doSystemCmd("cat /a*/%s > /out", "f*"), 0); });
    EXPECT_EQ(read("/out"), "right");
}

TEST_F(PlatformShell, a_pattern_does_not_leave_its_folder)
{
    write("/webroot/x17", "x");
    write("/etc/x17", "x");
    write("/etc/17", "x");
    in_root([] {
        EXPECT_EQ(doSystemCmd("rm -rf /webroot/%s", "*/../../etc/*"), -1);
        EXPECT_EQ(doSystemCmd("rm -rf /webroot/%s", "../etc/*17*"), -1);
        EXPECT_EQ(doSystemCmd("rm -rf /webroot/%s", "*/etc/17*"), 0); // "*" is no folder
        EXPECT_EQ(doSystemCmd("rm -rf /webroot/%s", "*; rm -rf etc/*"), 0);
        EXPECT_EQ(doSystemCmd("rm -rf /webroot/%s", "* /etc/x17 *"), 0);
    });
    EXPECT_TRUE(exists("/etc/x17"));
    EXPECT_TRUE(exists("/etc/17"));
    EXPECT_TRUE(exists("/webroot/x17"));
}

TEST_F(PlatformShell, a_star_outside_a_path_is_quoted)
{
    in_root([this] {
        ASSERT_EQ(chdir(root.c_str()), 0);
        EXPECT_EQ(doSystemCmd("printf %%s %s > /out", "*"), 0);
    });
    EXPECT_EQ(read("/out"), "*");
}

TEST_F(PlatformShell, more_matches_than_a_command_line_holds_are_refused)
{
    const std::string name(200, 'n');
    for (int i = 0; i < 600; i++)
        write("/f/" + name + std::to_string(i), "");
    in_root([] { EXPECT_EQ(doSystemCmd("rm -f /f/*"), -1); });
    EXPECT_TRUE(exists("/f/" + name + "0"));
}

// --- the journal -----------------------------------------------------------------------------------------------------

TEST_F(PlatformShell, the_journal_has_a_line_for_each_command_as_the_daemon_formed_it)
{
    in_root([] {
        doSystemCmd("rm -rf %s", "/var/it's here");
        doSystemCmd("exit %02x", 10U);
        doSystemCmd("et robowr 0x31 0x00 0x01ff");
    });
    EXPECT_EQ(journal(), "rm -rf /var/it's here\nexit 0a\net robowr 0x31 0x00 0x01ff\n");
}

TEST_F(PlatformShell, a_command_with_line_feeds_is_one_line_of_the_journal)
{
    in_root([] { doSystemCmd("printf %%s %s > /out", "a\nb\r"); });
    EXPECT_EQ(journal(), "printf %s a\\nb\\r > /out\n");
}

TEST_F(PlatformShell, a_word_that_is_too_long_is_journaled_cut_and_not_run)
{
    in_root([] {
        EXPECT_EQ(doSystemCmd("printf %%s %s > /out", std::string(4095, 'x').c_str()), 0);
        EXPECT_EQ(doSystemCmd("printf %%s %s > /out", std::string(4096, 'y').c_str()), -1);
        EXPECT_EQ(doSystemCmd("printf %%s %s > /out", std::string(20000, 'y').c_str()), -1);
        EXPECT_EQ(doSystemCmd("exit 3"), 3);
    });
    EXPECT_EQ(read("/out"), std::string(4095, 'x'));
    const std::string lines = journal();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 4);
    EXPECT_TRUE(lines.ends_with("\nexit 3\n"));
}

// --- the host is left alone ------------------------------------------------------------------------------------------

TEST_F(PlatformShell, with_a_root_commands_for_the_host_are_journaled_and_not_run)
{
    // Stand-ins for the programs, so that a command that is run after all would show.
    for (const char* program : {"et", "arp", "killall", "iptables"}) {
        write(std::string("/bin/") + program, "#!/bin/sh\necho $0 >> '" + root + "/ran'\nexit 9\n");
        std::filesystem::permissions(root + "/bin/" + program, std::filesystem::perms::owner_all);
    }
    in_root([this] {
        setenv("PATH", (root + "/bin:/bin:/usr/bin").c_str(), 1);
        EXPECT_EQ(doSystemCmd("et robowr 0x31 0x00 0x21"), 0);
        EXPECT_EQ(doSystemCmd("arp -s %s %s", "10.0.0.1", "02:00:00:00:00:01"), 0);
        EXPECT_EQ(doSystemCmd("killall -9 wtpmasterd"), 0);
        EXPECT_EQ(doSystemCmd("iptables -t nat -A PREROUTING -d %s", "10.0.0.1"), 0);
        EXPECT_EQ(doSystemCmd("true ; killall x"), 0);
        EXPECT_EQ(doSystemCmd("true && killall x"), 0);
        EXPECT_EQ(doSystemCmd("%s/iptables -L", (root + "/bin").c_str()), 0);
        EXPECT_EQ(doSystemCmd("echo %s > /proc/sys/kernel/core_pattern", "/tmp/core-%e-%p-%t-%s"), 0);
    });
    EXPECT_FALSE(exists("/ran"));
    EXPECT_FALSE(exists("/proc"));
    const std::string lines = journal();
    EXPECT_EQ(lines.find("et robowr 0x31 0x00 0x21\narp -s 10.0.0.1 02:00:00:00:00:01\nkillall -9 wtpmasterd\n"), 0U);
    EXPECT_TRUE(lines.ends_with("\necho /tmp/core-%e-%p-%t-%s > /proc/sys/kernel/core_pattern\n"));
}

TEST_F(PlatformShell, the_name_of_such_a_program_as_an_argument_is_harmless)
{
    in_root([] { EXPECT_EQ(doSystemCmd("exit %d # killall et", 3), 3); });
    in_root([] { EXPECT_EQ(doSystemCmd("test %s = arp", "killall"), 1); });
}

TEST_F(PlatformShell, without_a_root_such_a_command_is_run)
{
    write("/bin/et", "#!/bin/sh\necho $1 > '" + root + "/ran'\nexit 9\n");
    std::filesystem::permissions(root + "/bin/et", std::filesystem::perms::all);
    const Outcome outcome = in_process({}, [this] {
        as_nobody();
        setenv("PATH", (root + "/bin:/bin:/usr/bin").c_str(), 1);
        EXPECT_EQ(doSystemCmd("et robowr"), 9);
    });
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(read("/ran"), "robowr\n");
}

// --- formats that are refused ----------------------------------------------------------------------------------------

TEST_F(PlatformShell, a_format_that_quotes_by_itself_is_refused)
{
    in_root([] {
        EXPECT_EQ(doSystemCmd("exit '%s'", "0"), -1);
        EXPECT_EQ(doSystemCmd("exit \"%s\"", "0"), -1);
        EXPECT_EQ(doSystemCmd("exit `echo %s`", "0"), -1);
        EXPECT_EQ(doSystemCmd("exit \\%s", "0"), -1);
    });
}

TEST_F(PlatformShell, a_format_with_another_conversion_is_refused)
{
    in_root([] {
        EXPECT_EQ(doSystemCmd("exit %ld", 0L), -1);
        EXPECT_EQ(doSystemCmd("exit %.1s", "0"), -1);
        EXPECT_EQ(doSystemCmd("exit %-4d", 0), -1);
    });
}
