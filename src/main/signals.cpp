#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "main/wtp_main.h"
#include "platform/ac_platform.h"

static const char CORE_PATTERN[] = "/tmp/core-%e-%p-%t-%s";

// A handler may interrupt a thread inside printf or malloc, so the line is formed here and leaves in one write.
static void write_signal_line(const char* handler, int sig)
{
    char line[64] = "wtpmaster -> ";
    std::size_t length = strlen(line);
    const auto add = [&](char c) {
        if (length < sizeof line) line[length++] = c;
    };
    for (; *handler != '\0'; handler++)
        add(*handler);
    for (const char* c = " ["; *c != '\0'; c++)
        add(*c);
    if (sig >= 10) add(static_cast<char>('0' + sig / 10 % 10));
    add(static_cast<char>('0' + sig % 10));
    for (const char* c = "]...\n"; *c != '\0'; c++)
        add(*c);
    const ssize_t written = write(STDOUT_FILENO, line, length);
    (void)written; // there is nobody to tell
}

void Term_Sig_entry(int sig)
{
    write_signal_line("Term_Sig_entry", sig);
    _exit(0); // not exit: its handlers would run inside whatever was interrupted
}

void Bad_Sig_entry(int sig)
{
    const int saved = errno;
    write_signal_line("Bad_Sig_entry", sig);
    errno = saved;
}

// SIGINT and SIGSEGV keep their defaults, so that a segmentation fault leaves a core file.
void setup_signals()
{
    static constexpr int ending[] = {SIGUSR1, SIGUSR2, SIGTERM};
    static constexpr int survived[] = {SIGHUP, SIGCHLD, SIGABRT, SIGABRT, SIGALRM, SIGFPE,    SIGILL,  SIGQUIT,
                                       SIGBUS, SIGIO,   SIGPROF, SIGSYS,  SIGTRAP, SIGVTALRM, SIGXCPU, SIGXFSZ};
    for (const int sig : ending)
        signal(sig, Term_Sig_entry);
    signal(SIGPIPE, SIG_IGN);
    for (const int sig : survived)
        signal(sig, Bad_Sig_entry);
}

static void print_core_limit(const char* function, int line)
{
    struct rlimit limit;
    if (getrlimit(RLIMIT_CORE, &limit) != 0) return;
    printf("%s %d: rlim_cur = %d, rlim_max = %d\n", function, line, static_cast<int>(limit.rlim_cur),
           static_cast<int>(limit.rlim_max));
}

void init_core_dump()
{
    print_core_limit(__func__, __LINE__);
    const struct rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    if (setrlimit(RLIMIT_CORE, &unlimited) != 0) {
        perror("setrlimit");
        return;
    }
    printf("%s %d: open core dump success\n", __func__, __LINE__);
    doSystemCmd("echo %s > /proc/sys/kernel/core_pattern", CORE_PATTERN);
    print_core_limit(__func__, __LINE__);
}
