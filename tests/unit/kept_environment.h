// kept_environment - the process's environment, put back as it was at the end of a test.
#pragma once

#include <cstdlib>
#include <string>
#include <vector>

class kept_environment {
public:
    kept_environment()
    {
        for (char** entry = environ; entry != nullptr && *entry != nullptr; entry++)
            before_.emplace_back(*entry);
    }
    ~kept_environment()
    {
        clearenv();
        for (const std::string& entry : before_) {
            const std::size_t equals = entry.find('=');
            setenv(entry.substr(0, equals).c_str(), entry.c_str() + equals + 1, 1);
        }
    }
    kept_environment(const kept_environment&) = delete;
    kept_environment& operator=(const kept_environment&) = delete;

private:
    std::vector<std::string> before_;
};
