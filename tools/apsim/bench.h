// bench - how many echo rounds a second a controller answers, and how fast; and what a bare loop on this machine does.
//
// The client keeps a window of echoes under way, each of another AP, and sends the next as soon as one is answered. It
// is the same code whoever answers, so that two results may be divided by one another. Times are real.
#pragma once

#include <atomic>
#include <vector>

#include <sys/types.h>

#include "fleet.h"

namespace apsim {

struct BenchPeer { // an AP to echo for
    Mac mac{};
    UINT16 layout = AC_LAYOUT_V2;
    UINT16 ap_type = 1;
};

struct BenchOptions {
    std::size_t window = 32; // echoes under way, at most the number of peers
    double warm_up = 0.5;    // seconds, not counted
    double measured = 5;     // seconds
    double answer_limit = 1; // seconds after which an echo is given up
};

struct BenchResult {
    std::uint64_t rounds = 0;
    std::uint64_t timeouts = 0;
    std::uint64_t strange = 0; // datagrams that are no answer to an echo under way
    double seconds = 0;
    Histogram answers;
    double rate() const { return seconds <= 0 ? 0 : static_cast<double>(rounds) / seconds; }
};

// Stops early once *stop is true. Throws std::system_error.
BenchResult run_bench(const sockaddr_in& server, const std::vector<BenchPeer>& peers, const BenchOptions& options,
                      const std::atomic<bool>& stop);

// A child process that answers each datagram with itself, on a port of the loopback that the system chose. Ends with
// this object, and with this process.
class BareServer {
public:
    BareServer(); // throws std::system_error
    ~BareServer();
    BareServer(const BareServer&) = delete;
    BareServer& operator=(const BareServer&) = delete;
    const sockaddr_in& address() const { return address_; }

private:
    sockaddr_in address_{};
    pid_t child_ = -1;
};

} // namespace apsim
