// link - one direction of the network between the fleet and the controller, with its faults.
//
// Every fault is drawn from one seeded generator in the order the datagrams are handed in, so that a run of a test that
// drives time by hand repeats itself exactly. Not thread-safe.
#pragma once

#include <optional>
#include <queue>
#include <random>

#include "ap_config.h"
#include "sim_time.h"

namespace apsim {

struct LinkFaults {
    double loss = 0;                // probability, 0 to 1
    double dup = 0;                 // probability that a datagram arrives twice
    double reorder = 0;             // probability that a datagram is held back, so that others overtake it
    micros delay = 0;               // of every datagram
    micros hold = 20 * millisecond; // of a datagram held back, and of the second copy of one that comes twice
    bool none() const { return loss <= 0 && dup <= 0 && reorder <= 0 && delay <= 0; }
};

struct LinkStats {
    UINT32 taken = 0;
    UINT32 lost = 0;
    UINT32 duplicated = 0;
    UINT32 reordered = 0;
};

class Link {
public:
    struct Item {
        std::size_t ap = 0;
        Bytes datagram;
    };

    Link(const LinkFaults& faults, UINT32 seed) : faults_(faults), random_(seed) {}

    // False: nothing is done to datagrams, so the caller may pass them on without push and pop.
    bool faulty() const { return !faults_.none(); }
    void push(std::size_t ap, ByteView datagram, micros now);
    std::optional<Item> pop(micros now); // the next that is due
    micros next_due() const { return queue_.empty() ? never : queue_.top().due; }
    const LinkStats& stats() const { return stats_; }

private:
    struct Held {
        micros due;
        std::uint64_t order; // first in, first out among those due together
        Item item;
        bool operator>(const Held& other) const { return due != other.due ? due > other.due : order > other.order; }
    };

    bool draw(double probability);
    void hold(std::size_t ap, ByteView datagram, micros due);

    LinkFaults faults_;
    std::mt19937 random_;
    std::priority_queue<Held, std::vector<Held>, std::greater<>> queue_;
    std::uint64_t order_ = 0;
    LinkStats stats_;
};

} // namespace apsim
