// child_process - a test's body in a process of its own: for what ends the process, never returns, or changes signals.
#pragma once

#include <gtest/gtest.h>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>

struct ChildOutcome {
    int status = -1; // exit status; 128 and the signal's number where a signal ended it
    std::string out; // its standard output
    bool found = false;
};

inline int child_status_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Runs `body` and reads its output until it ends or, with a text given, until that text has come: the child is killed
// then. A failed EXPECT in `body` shows as status 1 and in the output.
template <typename Body> ChildOutcome in_child(Body&& body, const std::string& until = "")
{
    ChildOutcome outcome;
    int ends[2];
    if (pipe(ends) != 0) return outcome;
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that is killed ends it, too
        close(ends[0]);
        dup2(ends[1], STDOUT_FILENO);
        close(ends[1]);
        setvbuf(stdout, nullptr, _IOLBF, 0);
        body();
        fflush(nullptr);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    close(ends[1]);
    char part[512];
    for (ssize_t got = read(ends[0], part, sizeof part); got > 0; got = read(ends[0], part, sizeof part)) {
        outcome.out.append(part, static_cast<std::size_t>(got));
        outcome.found = !until.empty() && outcome.out.find(until) != std::string::npos;
        if (!outcome.found) continue;
        kill(child, SIGKILL);
        break;
    }
    outcome.status = child_status_of(child);
    close(ends[0]);
    return outcome;
}
