// platform_fixture - a root of its own and a process of its own for each case of the platform layer.
//
// The layer reads the environment once, at the start of a process. A case that depends on it therefore runs in a child,
// which sets the variables, calls platform_init as the daemon does and ends with the case's result.
#pragma once

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "kept_environment.h"
#include "platform/ac_platform.h"

class PlatformRoot : public ::testing::Test {
protected:
    void SetUp() override
    {
        char name[] = "/tmp/platform_test_XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        root = name;
        for (const char* variable : {"AC_ROOT", "AC_LAN_IF", "AC_TIME_SCALE", "AC_TIME_START"})
            unsetenv(variable);
    }
    void TearDown() override { std::filesystem::remove_all(root); }

    using Setting = std::array<const char*, 2>;

    // What the child said: its exit status and its standard error. A failed EXPECT in `body` shows as status 1.
    struct Outcome {
        int status = -1;
        std::string err;
    };

    static Outcome in_process(const std::vector<Setting>& settings, const std::function<void()>& body)
    {
        Outcome outcome;
        FILE* const err = tmpfile();
        fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            dup2(fileno(err), STDERR_FILENO);
            for (const Setting& setting : settings)
                setenv(setting[0], setting[1], 1);
            platform_init();
            body();
            fflush(nullptr);
            _exit(::testing::Test::HasFailure() ? 1 : 0);
        }
        int status = 0;
        while (waitpid(child, &status, 0) < 0) {
        }
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        rewind(err);
        for (int c = fgetc(err); c != EOF; c = fgetc(err))
            outcome.err.push_back(static_cast<char>(c));
        fclose(err);
        return outcome;
    }

    // Runs `body` below `root` on the loopback interface, as most cases want it.
    void in_root(const std::function<void()>& body) const
    {
        const Outcome outcome = in_process({{"AC_ROOT", root.c_str()}, {"AC_LAN_IF", "lo"}}, body);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
    }

    // The start is refused with status 2 and one line on standard error that holds `variable` and `why`.
    static void expect_refused(const char* variable, const char* value, const char* why)
    {
        const Outcome outcome = in_process({{variable, value}}, [] {});
        EXPECT_EQ(outcome.status, 2) << variable << "=" << value;
        EXPECT_EQ(outcome.err.find(variable), 0U) << outcome.err;
        EXPECT_NE(outcome.err.find(why), std::string::npos) << outcome.err;
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    }

    void write(const std::string& path, const std::string& content) const
    {
        std::filesystem::create_directories(std::filesystem::path(root + path).parent_path());
        std::ofstream(root + path, std::ios::binary) << content;
    }

    std::string read(const std::string& path) const
    {
        std::ifstream file(root + path, std::ios::binary);
        std::ostringstream content;
        content << file.rdbuf();
        return content.str();
    }

    bool exists(const std::string& path) const { return std::filesystem::exists(root + path); }

    std::string root;

private:
    kept_environment environment_;
};
