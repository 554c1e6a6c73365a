// view - APs as JSON and as rows of tables.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "records.h"
#include "table.h"

namespace acctl {

nlohmann::ordered_json ap_json(const Ap& ap);
nlohmann::ordered_json counts_json(const Counts& counts);

Table ap_table(const std::vector<Ap>& aps);
Cell status_cell(const Ap& ap);
std::string counts_text(const Counts& counts); // "24 APs, 23 online, 1 offline; 112 clients"
const char* band_of(std::size_t radio);        // "2.4", "5"

} // namespace acctl
