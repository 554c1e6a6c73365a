// report - what a run tells: the live table on standard error, the summary or the JSON object on standard output.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "expect.h"
#include "fleet.h"
#include "log_tail.h"

namespace apsim {

// Redraws in place on a terminal; elsewhere prints one line every few seconds. Nothing at all when quiet.
class LiveView {
public:
    LiveView(bool quiet, std::string title, LogTail* log); // the log may be null
    void update(const FleetStats& stats);                  // cheap to call often
    void finish(const FleetStats& stats);                  // the last table

private:
    void draw(const FleetStats& stats);

    bool quiet_;
    bool terminal_;
    std::string title_;
    LogTail* log_;
    int lines_ = 0; // drawn before, to be overdrawn
    std::chrono::steady_clock::time_point next_{};
    FleetStats last_;
};

// The live table as it stands on a terminal of that size, which it never outgrows: no line is longer than it is wide,
// and the last row stays the cursor's. A line that is too long is folded, and the log, which may be null, has what is
// left.
std::string live_text(const std::string& head, const FleetStats& stats, const LogTail* log, std::size_t columns,
                      std::size_t rows);
std::string summary_text(const FleetStats& stats);
std::string verdict_text(const std::vector<Verdict>& verdicts);
std::string config_text(const ApModel& ap);

nlohmann::json stats_json(const FleetStats& stats);
nlohmann::json histogram_json(const Histogram& histogram);
nlohmann::json verdict_json(const std::vector<Verdict>& verdicts);
nlohmann::json config_json(const ApModel& ap);

} // namespace apsim
