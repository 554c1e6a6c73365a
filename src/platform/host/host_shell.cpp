// doSystemCmd in three steps: the format and its arguments become words (host_command.h), the plain line goes to the
// journal, the line for the shell is run.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <new>

#include "common/ac_alloc.h"
#include "common/ac_err.h"
#include "platform/ac_platform.h"
#include "platform/host/host_command.h"
#include "platform/host/host_env.h"

namespace {

constexpr int EXIT_BY_SIGNAL = 128; // as the shell itself tells the end of a child by a signal

// One write, so that lines of several threads don't mix. A journal that can't be written stops no command.
void journal_add(std::string_view line)
{
    const int fd = open(ac_path("/var/log/ac_system_cmd.log").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0) return;
    if (write(fd, line.data(), line.size()) < 0) perror("command journal");
    close(fd);
}

// The shell starts with the default reaction to every signal and without the daemon's sockets and files: a command that
// goes on in the background must not hold the AP port.
struct spawn_plan {
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;

    spawn_plan()
    {
        sigset_t set;
        posix_spawnattr_init(&attributes);
        sigemptyset(&set);
        posix_spawnattr_setsigmask(&attributes, &set);
        sigaddset(&set, SIGPIPE); // the daemon ignores it, and that would be inherited
        posix_spawnattr_setsigdefault(&attributes, &set);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    }
    ~spawn_plan()
    {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    spawn_plan(const spawn_plan&) = delete;
    spawn_plan& operator=(const spawn_plan&) = delete;
};

// Exit status of the shell that runs `line`, or -1 where none could be started or its end was lost.
int shell_run(char* line)
{
    char shell[] = "sh";
    char option[] = "-c";
    char* const arguments[] = {shell, option, line, nullptr};
    const spawn_plan plan;
    pid_t child = -1;
    const int error = posix_spawn(&child, "/bin/sh", &plan.actions, &plan.attributes, arguments, environ);
    if (error != 0) {
        AC_ERR("can't run a shell: %s\n", strerror(error));
        return -1;
    }
    int status = 0;
    pid_t ended;
    do // each child's end interrupts the wait of some thread: SIGCHLD has a handler
        ended = waitpid(child, &status, 0);
    while (ended < 0 && errno == EINTR);
    if (ended != child) return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_BY_SIGNAL + WTERMSIG(status);
}

int command_run(host_command& command)
{
    journal_add(command.journal_line());
    if (command.refused() != nullptr) {
        AC_ERR("command not run: %s\n", command.refused());
        return -1;
    }
    if (host_env().root_set && command.touches_host()) return 0;
    return shell_run(command.shell_line());
}

} // namespace

int doSystemCmd(const char* format, ...)
{
    void* memory = ac_malloc(sizeof(host_command));
    if (memory == nullptr) {
        AC_ERR("no memory for a command\n");
        return -1;
    }
    host_command* command = new (memory) host_command;
    va_list arguments;
    va_start(arguments, format);
    command->form(format, arguments);
    va_end(arguments);
    const int result = command_run(*command);
    command->~host_command();
    ac_free(memory);
    return result;
}
