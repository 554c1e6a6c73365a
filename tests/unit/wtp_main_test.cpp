// The daemon's life. Whatever changes signals, limits or locks of the process runs in a child.
#include "main/wtp_main.h"

#include <linux/capability.h>
#include <malloc.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "ac_mib/sql_flash_queue.h"
#include "ac_sql/sqlite_db.h"
#include "ac_sql/sqlite_schema.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "ac_wtp_protocol/acwtp_thread.h"
#include "ac_wtp_protocol/thread_discovery_handle.h"
#include "ac_wtp_protocol/thread_manage_handle.h"
#include "ac_wtp_protocol/timer.h"
#include "ac_wtp_protocol/udp_skb_queue.h"
#include "acwtp_msg/acwtp_msg.h"
#include "ap_frame.h"
#include "cgi_socket_handle/acmsg_server.h"
#include "child_process.h"
#include "cloud_upgrade/upgrade_sync.h"
#include "common/ac_alloc.h"
#include "libc_stub.h"
#include "platform/ac_clock.h"
#include "platform/ac_platform.h"
#include "printed.h"
#include "thread_stub.h"

namespace {

const std::string STARS = "****************************************\n";

class WtpMain : public TestWorld {
protected:
    void TearDown() override
    {
        threads_real();
        TestWorld::TearDown();
    }

    // The language that a file with this content gives.
    std::string language_of(const std::string& content)
    {
        write_file("/var/sys_lang", content);
        UINT8 buf[32] = {};
        EXPECT_EQ(output_of([&] { EXPECT_EQ(get_ac_language_file(buf), 0); }), "");
        EXPECT_EQ(buf[31], 0);
        return reinterpret_cast<const char*>(buf);
    }

    // Exit status and output of a process that sends itself a signal after setup_signals, and then prints "on".
    static ChildOutcome on_signal(int sig)
    {
        return in_child([sig] {
            setup_signals();
            raise(sig);
            printf("on\n");
        });
    }

    static void expect_unlimited_core()
    {
        struct rlimit limit = {};
        EXPECT_EQ(getrlimit(RLIMIT_CORE, &limit), 0);
        EXPECT_EQ(limit.rlim_cur, RLIM_INFINITY);
        EXPECT_EQ(limit.rlim_max, RLIM_INFINITY);
    }

    static bool exists(const char* appliance_path)
    {
        struct stat found = {};
        return stat(ac_path(appliance_path).c_str(), &found) == 0;
    }
};

bool may_raise_limits()
{
    struct rlimit limit = {};
    getrlimit(RLIMIT_CORE, &limit);
    return limit.rlim_max == RLIM_INFINITY || geteuid() == 0;
}

// As an ordinary user, but with access to the test's files.
void give_up_raising_limits()
{
    struct __user_cap_header_struct head = {_LINUX_CAPABILITY_VERSION_3, 0};
    struct __user_cap_data_struct sets[2] = {};
    EXPECT_EQ(syscall(SYS_capget, &head, sets), 0);
    sets[0].effective &= ~(1U << CAP_SYS_RESOURCE);
    EXPECT_EQ(syscall(SYS_capset, &head, sets), 0);
}

} // namespace

// --- the language ----------------------------------------------------------------------------------------------------

TEST_F(WtpMain, the_language_is_the_file_s_text)
{
    EXPECT_EQ(language_of("en"), "en");
    EXPECT_EQ(language_of("cn"), "cn");
}

TEST_F(WtpMain, a_line_end_stays_in_the_language)
{
    EXPECT_EQ(language_of("en\n"), "en\n");
    EXPECT_EQ(language_of("\n"), "\n");
}

TEST_F(WtpMain, only_the_first_line_is_read)
{
    EXPECT_EQ(language_of("en\ncn\n"), "en\n");
}

TEST_F(WtpMain, a_line_of_31_characters_is_taken_whole_and_a_longer_one_cut)
{
    EXPECT_EQ(language_of(std::string(31, 'x')), std::string(31, 'x'));
    EXPECT_EQ(language_of(std::string(32, 'x')), std::string(31, 'x'));
}

TEST_F(WtpMain, an_empty_file_means_cn)
{
    EXPECT_EQ(language_of(""), "cn");
}

TEST_F(WtpMain, four_zero_bytes_mean_cn_and_three_are_taken_as_they_stand)
{
    EXPECT_EQ(language_of(std::string("\0\0\0\0en", 6)), "cn");
    write_file("/var/sys_lang", std::string("\0\0\0e", 4));
    UINT8 buf[32] = {};
    EXPECT_EQ(get_ac_language_file(buf), 0);
    EXPECT_EQ(memcmp(buf, "\0\0\0e", 5), 0);
}

TEST_F(WtpMain, a_missing_language_file_prints_stars_and_leaves_the_language_empty)
{
    UINT8 buf[32] = {};
    EXPECT_EQ(output_of([&] { EXPECT_EQ(get_ac_language_file(buf), -1); }), STARS);
    static constexpr UINT8 empty[32] = {};
    EXPECT_EQ(memcmp(buf, empty, sizeof buf), 0);
}

TEST_F(WtpMain, a_missing_language_file_leaves_the_buffer_as_it_was)
{
    UINT8 buf[32] = "en";
    output_of([&] { EXPECT_EQ(get_ac_language_file(buf), -1); });
    EXPECT_STREQ(reinterpret_cast<const char*>(buf), "en");
}

// --- the local log ---------------------------------------------------------------------------------------------------

TEST_F(WtpMain, the_local_log_is_emptied)
{
    EXPECT_EQ(hd_ac_local_log("a line\n"), 0);
    EXPECT_EQ(hd_ac_local_log("another\n"), 0);
    EXPECT_EQ(read_file("/etc/ac_conf"), "a line\nanother\n");
    EXPECT_EQ(hd_ac_local_log_clear(), 0);
    EXPECT_EQ(read_file("/etc/ac_conf"), "");
    EXPECT_TRUE(exists("/etc/ac_conf"));
}

TEST_F(WtpMain, a_local_log_that_cannot_be_opened_gives_255)
{
    mkdir(ac_path("/etc/ac_conf").c_str(), 0700);
    EXPECT_EQ(hd_ac_local_log_clear(), 255);
    EXPECT_EQ(hd_ac_local_log("a line\n"), 255);
    EXPECT_EQ(hd_ac_local_log(nullptr), 255);
}

// --- core files ------------------------------------------------------------------------------------------------------

TEST_F(WtpMain, core_files_are_made_possible_named_and_told_about)
{
    if (!may_raise_limits()) GTEST_SKIP() << "this user can't raise the core limit";
    const ChildOutcome child = in_child([] {
        const struct rlimit some = {4096, RLIM_INFINITY};
        setrlimit(RLIMIT_CORE, &some);
        init_core_dump();
        expect_unlimited_core();
    });
    EXPECT_EQ(child.status, 0) << child.out;
    const std::vector<std::string> lines = lines_of(child.out);
    ASSERT_EQ(lines.size(), 3U) << child.out;
    int line = 0, used = 0;
    EXPECT_EQ(sscanf(lines[0].c_str(), "init_core_dump %d: rlim_cur = 4096, rlim_max = -1\n%n", &line, &used), 1);
    EXPECT_EQ(used, static_cast<int>(lines[0].size())) << lines[0];
    EXPECT_EQ(sscanf(lines[1].c_str(), "init_core_dump %d: open core dump success\n%n", &line, &used), 1);
    EXPECT_EQ(used, static_cast<int>(lines[1].size())) << lines[1];
    EXPECT_EQ(sscanf(lines[2].c_str(), "init_core_dump %d: rlim_cur = -1, rlim_max = -1\n%n", &line, &used), 1);
    EXPECT_EQ(used, static_cast<int>(lines[2].size())) << lines[2];
    EXPECT_EQ(read_file("/var/log/ac_system_cmd.log"), "echo /tmp/core-%e-%p-%t-%s > /proc/sys/kernel/core_pattern\n");
}

TEST_F(WtpMain, a_core_limit_that_cannot_be_raised_leaves_it_at_that)
{
    const ChildOutcome child = in_child([] {
        const struct rlimit low = {0, 0};
        setrlimit(RLIMIT_CORE, &low);
        give_up_raising_limits();
        dup2(STDOUT_FILENO, STDERR_FILENO);
        init_core_dump();
    });
    EXPECT_EQ(child.status, 0) << child.out;
    const std::vector<std::string> lines = lines_of(child.out);
    ASSERT_EQ(lines.size(), 2U) << child.out;
    EXPECT_NE(lines[0].find(": rlim_cur = 0, rlim_max = 0\n"), std::string::npos);
    EXPECT_EQ(lines[1].rfind("setrlimit: ", 0), 0U) << lines[1];
    EXPECT_FALSE(exists("/var/log/ac_system_cmd.log"));
}

// --- signals ---------------------------------------------------------------------------------------------------------

TEST_F(WtpMain, the_ending_signals_end_the_process_at_once_with_status_0)
{
    for (const int sig : {SIGUSR1, SIGUSR2, SIGTERM}) {
        const ChildOutcome child = on_signal(sig);
        EXPECT_EQ(child.status, 0) << sig;
        EXPECT_EQ(child.out, "wtpmaster -> Term_Sig_entry [" + std::to_string(sig) + "]...\n");
    }
}

TEST_F(WtpMain, an_ending_signal_leaves_the_queues_as_they_are)
{
    const ChildOutcome child = in_child([] {
        const Bytes bytes = ApFrame().bytes();
        const struct sockaddr_in from = address_from("10.2.3.4", 7000);
        manage_datagram(bytes, &from);
        setup_signals();
        atexit([] { printf("a stop sequence\n"); });
        raise(SIGTERM);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.out, "wtpmaster -> Term_Sig_entry [15]...\n");
}

TEST_F(WtpMain, the_survived_signals_are_printed_and_the_process_carries_on)
{
    for (const int sig : {SIGHUP, SIGCHLD, SIGABRT, SIGALRM, SIGFPE, SIGILL, SIGQUIT, SIGBUS, SIGIO, SIGPROF, SIGSYS,
                          SIGTRAP, SIGVTALRM, SIGXCPU, SIGXFSZ}) {
        const ChildOutcome child = on_signal(sig);
        EXPECT_EQ(child.status, 0) << sig;
        EXPECT_EQ(child.out, "wtpmaster -> Bad_Sig_entry [" + std::to_string(sig) + "]...\non\n");
    }
}

TEST_F(WtpMain, a_signal_is_survived_again_and_again)
{
    const ChildOutcome child = in_child([] {
        setup_signals();
        for (int i = 0; i < 3; i++)
            raise(SIGHUP);
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(lines_of(child.out), std::vector<std::string>(3, "wtpmaster -> Bad_Sig_entry [1]...\n"));
}

TEST_F(WtpMain, a_survived_signal_leaves_errno)
{
    const ChildOutcome child = in_child([] {
        setup_signals();
        close(STDOUT_FILENO); // its line can't be written
        errno = EAGAIN;
        raise(SIGHUP);
        if (errno != EAGAIN) _exit(3);
        _exit(0);
    });
    EXPECT_EQ(child.status, 0);
}

TEST_F(WtpMain, a_broken_connection_has_no_effect_on_the_process)
{
    const ChildOutcome child = in_child([] {
        setup_signals();
        int ends[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
        close(ends[1]);
        EXPECT_EQ(write(ends[0], "x", 1), -1);
        EXPECT_EQ(errno, EPIPE);
        printf("on\n");
    });
    EXPECT_EQ(child.status, 0);
    EXPECT_EQ(child.out, "on\n");
}

TEST_F(WtpMain, interrupt_and_segmentation_fault_keep_their_defaults)
{
    const ChildOutcome child = in_child([] {
        const auto before_int = signal(SIGINT, SIG_DFL);
        const auto before_segv = signal(SIGSEGV, SIG_DFL); // a sanitizer has its own
        (void)before_int;
        (void)before_segv;
        setup_signals();
        struct sigaction action = {};
        EXPECT_EQ(sigaction(SIGINT, nullptr, &action), 0);
        EXPECT_EQ(action.sa_handler, SIG_DFL);
        EXPECT_EQ(sigaction(SIGSEGV, nullptr, &action), 0);
        EXPECT_EQ(action.sa_handler, SIG_DFL);
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

// --- the start -------------------------------------------------------------------------------------------------------

namespace {

// The whole start with pretended threads, of which the `failing`th fails; keep_loop is cleared then, so that the
// degraded process runs its stop sequence at once.
ChildOutcome start_until_thread(int failing)
{
    return in_child([failing] {
        threads_pretend(failing, [] { keep_loop = ACWTP_FALSE; });
        const int result = wtp_main();
        printf("%d threads, result %d\n", static_cast<int>(threads_asked_for().size()), result);
        fflush(stdout);
        _exit(0);
    });
}

bool contains(const std::string& text, const std::string& part)
{
    return text.find(part) != std::string::npos;
}

} // namespace

TEST_F(WtpMain, without_the_control_or_the_flash_thread_the_process_ends_with_status_1)
{
    for (const int failing : {0, 1}) {
        const ChildOutcome child = start_until_thread(failing);
        EXPECT_EQ(child.status, 1);
        EXPECT_EQ(message_of(lines_of(child.out).back()), "Create acmsg pthread error.\n");
    }
}

TEST_F(WtpMain, without_an_ap_protocol_the_process_stays_degraded_until_its_loop_is_cleared)
{
    const ChildOutcome child = start_until_thread(2);
    EXPECT_EQ(child.status, 0);
    EXPECT_TRUE(contains(child.out, "--Create discovery thread is fail.\n"));
    EXPECT_TRUE(contains(child.out, "--create discovery thread is fail and exit.\n"));
    EXPECT_EQ(lines_of(child.out).back(), "3 threads, result 0\n");
}

TEST_F(WtpMain, a_start_prints_its_network_and_empties_the_local_log)
{
    hd_ac_local_log("of the last run\n");
    write_file("/var/sys_lang", "en");
    const ChildOutcome child = start_until_thread(2);
    EXPECT_TRUE(contains(child.out, "[acwtp]main check network lo 127.0.0.1 success\n")) << child.out;
    EXPECT_FALSE(contains(child.out, STARS));
    EXPECT_EQ(read_file("/etc/ac_conf"), "");
    EXPECT_TRUE(exists("/mnt/l_brcmnand/Wlc_database.db"));
    EXPECT_TRUE(exists("/mnt/s_brcmnand/Wlc_database.db"));
    EXPECT_TRUE(exists("/var/Wlc_datalogs.db"));
}

TEST_F(WtpMain, core_files_come_before_the_network_and_the_language_after_it)
{
    const ChildOutcome child = start_until_thread(2);
    const std::size_t core = child.out.find("rlim_cur");
    const std::size_t network = child.out.find("check network");
    const std::size_t language = child.out.find(STARS);
    const std::size_t thread = child.out.find("create discovery thread");
    EXPECT_LT(core, network);
    EXPECT_LT(network, language);
    EXPECT_LT(language, thread);
    EXPECT_NE(thread, std::string::npos);
}

TEST_F(WtpMain, the_language_is_read_at_the_start)
{
    write_file("/var/sys_lang", "en\n");
    const ChildOutcome child = in_child([] {
        threads_pretend(0); // the process ends here
        atexit([] { printf("language %s", g_sys_lang); });
        wtp_main();
    });
    EXPECT_EQ(lines_of(child.out).back(), "language en\n") << child.out;
}

TEST_F(WtpMain, a_missing_language_file_leaves_the_daemon_s_language_empty)
{
    const ChildOutcome child = in_child([] {
        threads_pretend(0);
        atexit([] { printf("language %zu", strlen(g_sys_lang)); });
        wtp_main();
    });
    EXPECT_EQ(lines_of(child.out).back(), "language 0") << child.out;
}

TEST_F(WtpMain, the_loop_flag_is_set_before_the_first_thread)
{
    const ChildOutcome child = in_child([] {
        keep_loop = ACWTP_FALSE;
        threads_pretend(0, [] { printf("loop %d\n", static_cast<int>(keep_loop)); });
        wtp_main();
    });
    EXPECT_TRUE(contains(child.out, "loop 1\n")) << child.out;
}

TEST_F(WtpMain, the_threads_start_in_their_order)
{
    const ChildOutcome child = in_child([] {
        threads_pretend(5, [] { keep_loop = ACWTP_FALSE; });
        wtp_main();
        EXPECT_EQ(threads_asked_for(),
                  (std::vector<thread_entry>{acmsg_cgi_thread, thread_write_flash, discovery_thread_handle,
                                             manage_thread_handle, manage_udp_data_handle, echo_timer_check}));
        fflush(stdout);
        _exit(HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_TRUE(contains(child.out, "--create echo thread is fail and exit.\n"));
}

TEST_F(WtpMain, a_receiving_or_dispatch_thread_that_fails_ends_the_protocol_s_start)
{
    for (const int failing : {3, 4}) {
        const ChildOutcome child = start_until_thread(failing);
        EXPECT_TRUE(contains(child.out, "--create manage thread is fail and exit.\n")) << child.out;
        EXPECT_EQ(lines_of(child.out).back(), std::to_string(failing + 1) + " threads, result 0\n");
    }
}

TEST_F(WtpMain, a_failed_step_of_the_protocol_s_start_gives_minus_1)
{
    threads_pretend(0);
    int result = 0;
    const std::string out = output_of([&] { result = ac_main(0, nullptr); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(messages_of(out).back(), "create discovery thread is fail and exit.\n");
    const UINT8 lan[4] = {127, 0, 0, 1};
    EXPECT_EQ(memcmp(g_ac_ip, lan, 4), 0) << "the addresses come first";
    const UINT8 mask[4] = {255, 0, 0, 0};
    EXPECT_EQ(memcmp(g_ac_mask, mask, 4), 0);
}

TEST_F(WtpMain, without_a_lan_address_the_protocol_does_not_start)
{
    const ChildOutcome child = in_child([] {
        setenv("AC_LAN_IF", "nosuch0", 1);
        platform_init();
        threads_pretend();
        EXPECT_EQ(ac_main(0, nullptr), -1);
        EXPECT_TRUE(threads_asked_for().empty());
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_EQ(message_of(child.out), "get local ac ip is error.\n");
}

TEST_F(WtpMain, without_a_lan_mask_the_protocol_does_not_start)
{
    const ChildOutcome child = in_child([] {
        ioctl_refuse(SIOCGIFNETMASK);
        threads_pretend();
        EXPECT_EQ(ac_main(0, nullptr), -1);
        EXPECT_TRUE(threads_asked_for().empty());
        const UINT8 lan[4] = {127, 0, 0, 1};
        EXPECT_EQ(memcmp(g_ac_ip, lan, 4), 0) << "the address comes first";
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_EQ(message_of(child.out), "get local ac mask is error.\n");
}

TEST_F(WtpMain, without_a_mac_address_the_protocol_does_not_start_and_its_line_has_no_end)
{
    const ChildOutcome child = in_child([] {
        ioctl_refuse(SIOCGIFHWADDR);
        threads_pretend();
        EXPECT_EQ(ac_main(0, nullptr), -1);
        EXPECT_TRUE(threads_asked_for().empty());
        const UINT8 mask[4] = {255, 0, 0, 0};
        EXPECT_EQ(memcmp(g_ac_mask, mask, 4), 0) << "the mask comes before";
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_EQ(message_of(child.out), "get mac address failure!");
}

TEST_F(WtpMain, before_the_first_thread_no_semaphore_has_a_post)
{
    const ChildOutcome child = in_child([] {
        for (sem_t* semaphore : {&sem_protocol, &udp_sem_sig, &udp_discvr_sem_sig, &sql_flash_sig, &upgrade_ctrl_sig})
            sem_init(semaphore, 0, 7);
        threads_pretend(0, [] {
            int value[5] = {-1, -1, -1, -1, -1};
            sem_getvalue(&sem_protocol, &value[0]);
            sem_getvalue(&udp_sem_sig, &value[1]);
            sem_getvalue(&udp_discvr_sem_sig, &value[2]);
            sem_getvalue(&sql_flash_sig, &value[3]);
            sem_getvalue(&upgrade_ctrl_sig, &value[4]);
            printf("posts %d %d %d %d %d\n", value[0], value[1], value[2], value[3], value[4]);
        });
        wtp_main();
    });
    EXPECT_TRUE(contains(child.out, "posts 0 0 0 0 0\n")) << child.out;
}

TEST_F(WtpMain, a_start_makes_both_tables_afresh)
{
    const ChildOutcome child = in_child([this] {
        static const APCONFIG* const kept = make_record(test_mac(7), 4, AP_LINK_UP); // the start forgets it
        join_ap(test_mac(7), AC_RUNNING);
        threads_pretend(0, [] {
            const bool joined = acwtp_joined_node_find(test_mac(7).data(), 0) != nullptr;
            const bool known = apconfig_find(kept->ethaddr) != nullptr;
            printf("joined %d known %d\n", static_cast<int>(joined), static_cast<int>(known));
        });
        wtp_main();
    });
    EXPECT_TRUE(contains(child.out, "joined 0 known 0\n")) << child.out;
}

TEST_F(WtpMain, the_heap_gives_memory_back_at_once_and_maps_blocks_of_2048_bytes_and_more)
{
    const ChildOutcome child = in_child([] {
        threads_pretend(0, [] {
            const std::vector<std::pair<int, int>> wanted = {{M_TRIM_THRESHOLD, 0}, {M_MMAP_THRESHOLD, 2048}};
            printf("heap told %d\n", static_cast<int>(mallopt_calls() == wanted));
        });
        wtp_main();
    });
    EXPECT_TRUE(contains(child.out, "heap told 1\n")) << child.out;
}

TEST_F(WtpMain, signals_are_handled_while_the_start_waits_for_the_network)
{
    const ChildOutcome child = in_child([] {
        setenv("AC_LAN_IF", "nosuch0", 1);
        platform_init();
        ac_clock_manual(1000);
        std::thread watcher([] {
            while (ac_time() < 1000 + 60) // of which each failed try takes a second
                std::this_thread::yield();
            kill(getpid(), SIGTERM);
        });
        threads_pretend();
        wtp_main();
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_TRUE(contains(child.out, "wtpmaster -> Term_Sig_entry [15]...\n")) << child.out;
}

TEST_F(WtpMain, without_a_network_the_start_waits_and_opens_no_database_and_starts_no_thread)
{
    const ChildOutcome child = in_child([] {
        setenv("AC_LAN_IF", "nosuch0", 1);
        platform_init();
        ac_clock_manual(1000);
        std::thread watcher([] {
            while (ac_time() < 1000 + 3600) // of which each failed try takes a second
                std::this_thread::yield();
            EXPECT_TRUE(threads_asked_for().empty());
            EXPECT_FALSE(exists("/mnt/l_brcmnand/Wlc_database.db"));
            EXPECT_FALSE(exists("/mnt/s_brcmnand/Wlc_database.db"));
            fflush(stdout);
            _exit(HasFailure() ? 1 : 0);
        });
        threads_pretend();
        wtp_main();
    });
    EXPECT_EQ(child.status, 0) << child.out;
    EXPECT_FALSE(contains(child.out, "check network"));
}

TEST_F(WtpMain, a_database_that_cannot_be_opened_does_not_stop_the_start)
{
    write_file("/mnt/l_brcmnand", "a file where a folder should be");
    const ChildOutcome child = start_until_thread(2); // below a root the recovery's own end of the process isn't run
    EXPECT_TRUE(contains(child.out, "--sqlite init error\n")) << child.out;
    EXPECT_TRUE(contains(child.out, "--load config err.\n")) << child.out;
    EXPECT_TRUE(contains(child.out, "--table create error\n")) << child.out;
    EXPECT_LT(child.out.find(STARS), child.out.find("sqlite init error")) << "the language is read before";
    EXPECT_LT(child.out.find("sqlite init error"), child.out.find("table create error"));
    EXPECT_LT(child.out.find("table create error"), child.out.find("load config err."));
    EXPECT_EQ(lines_of(child.out).back(), "3 threads, result 0\n");
}

TEST_F(WtpMain, a_log_file_that_cannot_be_opened_does_not_stop_the_start)
{
    write_file("/mnt/l_brcmnand", "a file where a folder should be");
    ASSERT_EQ(mkdir(ac_path("/var/Wlc_datalogs.db").c_str(), 0755), 0);
    const ChildOutcome child = start_until_thread(2);
    EXPECT_TRUE(contains(child.out, "--sqlite log init error\n")) << child.out;
    EXPECT_LT(child.out.find("table create error"), child.out.find("sql open errorError->"));
    EXPECT_LT(child.out.find("sql open errorError->"), child.out.find("sqlite log init error"));
    EXPECT_LT(child.out.find("sqlite log init error"), child.out.find("load config err."));
    EXPECT_EQ(lines_of(child.out).back(), "3 threads, result 0\n");
}

TEST_F(WtpMain, the_initial_thread_drains_the_work_of_each_post)
{
    const ChildOutcome child = in_child(
        [] {
            threads_pretend();
            ACWTP_MSG_TABLE item = {};
            item.flags = CGI_MSG;
            item.type = 200; // no request has this number
            (void)acmsg_to_acprotocol(&item, MSG_ADD_TAIL);
            item.type = 201;
            (void)acwtp_msg_list_add(&item, MSG_ADD_TAIL); // without a post of its own
            ac_main(0, nullptr);
            printf("returned\n");
        },
        "msg_type error msg0:201\n");
    EXPECT_TRUE(child.found) << child.out;
    EXPECT_TRUE(contains(child.out, "msg_type error msg0:200\n"));
    EXPECT_FALSE(contains(child.out, "returned"));
}

// --- the stop --------------------------------------------------------------------------------------------------------

TEST_F(WtpMain, the_stop_empties_all_tables_and_queues_and_closes_the_databases)
{
    const ChildOutcome child = in_child([] {
        threads_pretend(2, [] {
            const Mac mac = test_mac(7);
            APCONFIG* node = apconfig_alloc();
            memcpy(node->ethaddr, mac.data(), mac.size());
            apconfig_link(node);
            join_ap(mac, AC_RUNNING);
            ACWTP_MSG_TABLE item = {};
            item.flags = CGI_MSG;
            (void)acwtp_msg_list_add(&item, MSG_ADD_TAIL);
            EXPECT_NE(db.handle.load(), nullptr);
            keep_loop = ACWTP_FALSE;
        });
        EXPECT_EQ(wtp_main(), 0);
        EXPECT_EQ(g_acwtp_joined_ap_num, 0U);
        EXPECT_EQ(acwtp_joined_node_find(test_mac(7).data(), 0), nullptr);
        EXPECT_EQ(acwtp_msg_first(), nullptr);
        EXPECT_EQ(db.handle.load(), nullptr);
        EXPECT_EQ(policy_db.handle.load(), nullptr);
        EXPECT_EQ(db_logs.handle.load(), nullptr);
        EXPECT_TRUE(acwtp_mutex.gone);
        EXPECT_TRUE(acwtp_upgrade_mutex.gone);
        EXPECT_EQ(g_ac_pthread[PTHREAD_UDP_QUEUE].mempool, nullptr);
        fflush(stdout);
        _exit(HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(WtpMain, the_four_pools_are_destroyed_and_their_records_freed)
{
    const ChildOutcome child = in_child([] {
        const CWMemoryZone* zones[4] = {
            g_ac_pthread[PTHREAD_AC_SQL].mempool->pMemHead, g_ac_pthread[PTHREAD_UDP_QUEUE].mempool->pMemHead,
            g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1->pMemHead, g_ac_pthread[PTHREAD_DISCORVER].mempool_1->pMemHead};
        destroy_mempools();
        for (const CWMemoryZone* zone : zones) {
            EXPECT_EQ(zone->pBlockMemoryHead, nullptr);
            EXPECT_EQ(zone->pDataMemoryHead, nullptr);
        }
        EXPECT_EQ(g_ac_pthread[PTHREAD_AC_SQL].mempool, nullptr);
        EXPECT_EQ(g_ac_pthread[PTHREAD_UDP_QUEUE].mempool, nullptr);
        EXPECT_EQ(g_ac_pthread[PTHREAD_UDP_QUEUE].mempool_1, nullptr);
        EXPECT_EQ(g_ac_pthread[PTHREAD_DISCORVER].mempool_1, nullptr);
        destroy_mempools(); // pools that were never made are passed over
    });
    EXPECT_EQ(child.status, 0) << child.out;
}

TEST_F(WtpMain, the_flash_thread_notes_itself)
{
    hd_ac_local_log_clear();
    const ChildOutcome child = in_child(
        [] {
            static constexpr UINT8 mac[6] = {2, 0, 0, 0, 0, 1};
            sql_flash_queue_in(CONFIG_SQL_LED, 0, mac);
            thread_write_flash(nullptr);
        },
        "\n");
    EXPECT_TRUE(child.found);
    int pid = 0, thread = 0;
    EXPECT_EQ(sscanf(read_file("/etc/ac_conf").c_str(), "thread_write_flash pid:%d pthread_id:%d\n", &pid, &thread), 2);
    EXPECT_GT(pid, 1);
}
