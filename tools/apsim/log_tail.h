// log_tail - what a controller's log file says while a fleet runs: its kinds of lines, each with a count and the last
// text. Lines that differ only in numbers and addresses are of one kind, so that a flood of them stays one line.
//
// Not thread-safe. A file that isn't there yet, or is cut, is no error; while there is none, the text says so.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace apsim {

class LogTail {
public:
    struct Kind {
        std::string shape; // numbers taken out
        std::string last;  // without the function and line in front
        std::uint64_t count = 0;
    };

    explicit LogTail(std::string path) : path_(std::move(path)) {}
    void read_on();                                           // what has been added since the last call, within a bound
    const std::vector<Kind>& kinds() const { return kinds_; } // the most recent first
    std::string text(std::size_t lines) const;                // below a heading; empty when nothing was said

private:
    void take(const std::string& line);

    std::string path_;
    bool readable_ = false;
    std::uint64_t at_ = 0;
    std::string rest_; // a line that has no end yet
    std::vector<Kind> kinds_;
};

} // namespace apsim
