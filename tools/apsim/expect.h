// expect - conditions on a finished run, and the measures that they may name.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "fleet.h"

namespace apsim {

// Measures by name. Times of answers in real milliseconds, "joined-within" in simulated seconds (infinite while an AP
// has never joined).
using Measures = std::map<std::string, double>;
Measures measures_of(const FleetStats& stats);

struct Expectation {
    std::string text; // as the user wrote it
    std::string name;
    std::string op; // "=", "!=", "<", "<=", ">", ">="
    double value = 0;
    bool all = false; // value is the number of APs that are meant to run
};

struct Verdict {
    std::string text;
    double actual = 0;
    bool holds = false;
    bool measured = true; // false: this run doesn't take that measure, so that no condition on it holds
};

// "joined=all", "joined>=200", "joined-within=30" (a limit: met by less), "lost=0", "p99<50".
// Throws std::invalid_argument with a text for the user, names of the known measures included.
Expectation parse_expectation(const std::string& text);
std::vector<Verdict> judge(const std::vector<Expectation>& expectations, const Measures& measures);
const std::vector<std::string>& measure_names();

} // namespace apsim
