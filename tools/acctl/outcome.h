// outcome - what has become of a change, AP by AP, and the wait for its effect.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "session.h"

namespace acctl {

enum class Result {
    done,      // a read shows the effect
    unchanged, // it was so before; nothing has been asked for
    sent,      // acknowledged; nobody has waited
    skipped,   // one of --all that this can't be done to
    not_seen,  // acknowledged, and no effect within the time
    impossible // this can't be done to this AP; nothing has been asked for
};
const char* to_string(Result result); // the word in JSON

struct Outcome {
    Ap ap;
    Result result = Result::done;
    std::string text; // behind the AP's label: "is called \"lobby\" now"; safe for a terminal

    bool good() const { return result != Result::not_seen && result != Result::impossible; }
};

// Prints them as text or JSON. EXIT_DONE where all are good, else EXIT_NOT_SEEN.
int report(const Session& session, const std::vector<Outcome>& outcomes);

// Looks until `look` gives true or the session's wait limit has passed; looks once at least.
bool wait_until(const Session& session, const std::function<bool()>& look);

// An addition to the text of a change to an AP that hears of it only later; empty for an online one.
std::string offline_note(const Ap& ap);

} // namespace acctl
