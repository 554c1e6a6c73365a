// aps - which APs a command line means.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "records.h"

namespace acctl {

// What was named isn't there, or the name is that of several.
struct NotFound : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Order { name, mac, status, clients };

void sort_aps(std::vector<Ap>& aps, Order order); // equal ones by MAC, so that the order is always the same

// The APs that `wanted` names by MAC or by name, each once, in the order of the line. A MAC is tried first; a name may
// be given as it is or as it is printed. Throws NotFound with a text that helps on.
std::vector<Ap> resolve(const std::vector<Ap>& all, const std::vector<std::string>& wanted);

// "lobby (02:a9:51:00:00:10)", safe for a terminal.
std::string label(const Ap& ap);

} // namespace acctl
