// noise_sender - throws noise at a controller from a thread of its own, so that a fleet beside it is served and
// measured as if the noise came from elsewhere.
//
// The thread is created at rest and has the lowest priority: on a machine with few processors the controller and the
// fleet come first, and a rate that is out of reach is not reached. Rates are frames per real second.
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "noise.h"

namespace apsim {

struct NoiseStats {
    std::uint64_t out[noise_count] = {};
    std::uint64_t link_downs = 0; // answers to unknown APs
    std::uint64_t answered = 0;   // answers to frames that must be dropped
    std::uint64_t send_errors = 0;
};

class NoiseSender {
public:
    // Takes over two sockets that are connected to the controller and don't block: for unknown APs, and for frames that
    // must be dropped. `victims` are the APs in whose names bad frames are sent.
    NoiseSender(const double (&rates)[noise_count], std::vector<Mac> victims, UINT32 seed, int unknown_socket,
                int dropped_socket);
    ~NoiseSender(); // closes the sockets
    NoiseSender(const NoiseSender&) = delete;
    NoiseSender& operator=(const NoiseSender&) = delete;

    void set_sending(bool sending) { sending_ = sending; } // any thread
    NoiseStats stats() const;                              // any thread

private:
    using clock = std::chrono::steady_clock;

    void run();
    void send_owed();
    void send_some(std::size_t kind, std::size_t count);
    void drain(int socket, std::atomic<std::uint64_t>& counter);
    void drain_answers();

    double rates_[noise_count];
    std::vector<Mac> victims_;
    NoiseMaker maker_;
    std::mt19937 random_;
    int sockets_[2];
    double owed_[noise_count] = {};
    clock::time_point owed_at_{};
    std::atomic<std::uint64_t> out_[noise_count] = {};
    std::atomic<std::uint64_t> link_downs_ = 0, answered_ = 0, send_errors_ = 0;
    std::atomic<bool> sending_ = false, ended_ = false;
    std::thread thread_;
};

} // namespace apsim
