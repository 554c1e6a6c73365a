// options - the command line of apsim.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench.h"
#include "expect.h"
#include "fleet.h"

namespace apsim {

enum class Mode { life, storm, soak, flood, bench };
const char* to_string(Mode mode);

struct RunOptions {
    Mode mode = Mode::life;
    FleetOptions fleet;
    double duration = 0; // simulated seconds; 0: until stopped
    bool stay = false;   // storm: go on after the last join
    bool json = false;
    bool quiet = false;
    std::vector<Expectation> expectations;
    std::string print_config;   // "", "all" or a MAC
    std::string controller_log; // file to show beneath the table; "": none
    bool bare = false;          // bench: only the bare loop
    bool ratio = false;         // bench: the bare loop and the controller
    int passes = 3;             // bench --ratio: of each
    double settle = 5;          // bench: real seconds of uncounted echoes behind the join
    BenchOptions bench;
};

struct ParsedLine {
    std::optional<RunOptions> run; // empty: help was asked for or the line is wrong, and the user has been told
    int exit_status = 0;
};

ParsedLine parse_line(int argc, const char* const* argv);

} // namespace apsim
