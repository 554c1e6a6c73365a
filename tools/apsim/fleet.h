// fleet - N simulated APs with a UDP socket each, driven by one thread; noise, if any, comes from another.
//
// A Fleet belongs to the thread that runs it; only stop() may be called from elsewhere, a signal handler included. Time
// inside a fleet is simulated: the machine's monotonic clock times `scale`. Answer times are real.
//
//     FleetOptions options;
//     options.controller = endpoint("127.0.0.1:5000");
//     options.aps = 100;
//     Fleet fleet(options);
//     fleet.run_until([&] { return fleet.stats().in_state(ApState::running) == 100; }, 5000ms);
//     fleet.ap(3).config().basic.led_status;
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ap_model.h"
#include "histogram.h"
#include "link.h"
#include "noise_sender.h"

namespace apsim {

struct FleetOptions {
    sockaddr_in controller{};
    in_addr source{}; // local address of the APs' sockets; 0.0.0.0: the system chooses
    std::size_t aps = 10;
    UINT32 scale = 1; // simulated seconds in a real one
    UINT32 seed = 1;
    std::vector<UINT16> types;            // played in turn; empty: default_types()
    std::vector<UINT16> layouts = {3, 4}; // played in turn, shifted by one with each round of types
    bool two_radios_in_layout_4 = false;  // whatever `layouts` says: a controller misreads the second radio of layout 3
    Mac first_mac = {0x02, 0xA9, 0x51, 0x00, 0x00, 0x00};
    UINT32 mac_step = 16; // room for the addresses of the SSIDs, which follow the AP's own
    int config_version = 0;
    std::size_t silent = 0;   // the last so many APs fall silent ...
    int silent_after = 3;     // ... after that many echoes
    double outage_every = 0;  // simulated seconds between two outages anywhere in the fleet, on average; 0: none
    double outage_for = 240;  // simulated seconds that an outage lasts
    bool forget = false;      // a reboot by fault brings the AP back as it left the factory
    std::size_t refusing = 0; // the so many before them refuse every request
    micros start_spread = 0;  // simulated; the APs power on evenly over it
    double reboot_every = 0;  // simulated seconds between faults' reboots anywhere in the fleet, on average; 0: none
    LinkFaults up, down;      // delays in real microseconds
    double noise[noise_count] = {}; // frames per real second, by Noise
    ApTimers timers;
};

struct FleetStats {
    std::size_t aps = 0;
    std::size_t silent_wanted = 0; // APs meant to fall silent
    std::size_t states[ap_state_count] = {};
    std::size_t ever_joined = 0;
    micros joined_within = never; // simulated: from the start until the last AP had joined for the first time
    ApCounters sum;               // over all APs
    std::uint64_t frames_in = 0, frames_out = 0, bytes_in = 0, bytes_out = 0;
    std::uint64_t send_errors = 0, receive_errors = 0;
    LinkStats up, down;
    std::uint64_t noise_out[noise_count] = {};
    std::uint64_t noise_link_downs = 0; // answers to unknown APs
    std::uint64_t noise_answered = 0;   // answers to frames that must be dropped
    Histogram answers[exchange_count];
    micros now = 0; // simulated
    double real_seconds = 0;

    std::size_t in_state(ApState state) const { return states[static_cast<std::size_t>(state)]; }
    Histogram all_answers() const;
};

// "IP:PORT" or "IP"; throws std::invalid_argument with a text for the user.
sockaddr_in endpoint(const std::string& text);
std::string to_string(const sockaddr_in& address);
Mac parse_mac(const std::string& text); // throws std::invalid_argument

class Fleet {
public:
    // Opens the sockets; throws std::system_error or std::invalid_argument with a text for the user.
    explicit Fleet(const FleetOptions& options);
    ~Fleet();
    Fleet(const Fleet&) = delete;
    Fleet& operator=(const Fleet&) = delete;

    void run_for(std::chrono::milliseconds real);
    // Runs until the condition holds (asked after each round of work); false if the time was up first.
    bool run_until(const std::function<bool()>& condition, std::chrono::milliseconds at_most);
    void stop() { stopped_ = true; } // the run in progress returns, later ones return at once
    bool stopped() const { return stopped_; }

    micros now() const; // simulated
    FleetStats stats() const;
    std::size_t size() const { return aps_.size(); }
    std::size_t ever_joined() const { return ever_joined_; } // APs that have come to run at least once
    ApModel& ap(std::size_t index) { return aps_[index]->model; }
    const ApModel& ap(std::size_t index) const { return aps_[index]->model; }
    const FleetOptions& options() const { return options_; }

private:
    struct Ap : ApSink {
        Ap(Fleet& owner, std::size_t number, ApOptions ap_options);
        void send(ByteView datagram) override;
        void answered(Exchange exchange, micros time_taken) override;

        Fleet& fleet;
        std::size_t index;
        ApModel model;
        int socket = -1;
        micros planned = never; // its entry in the timer heap
    };
    struct Timer {
        micros due;
        std::size_t ap;
        bool operator>(const Timer& other) const { return due > other.due; }
    };

    ApOptions options_of(std::size_t index) const;
    LinkFaults in_sim_time(LinkFaults faults) const;
    int open_socket();
    void watch(int socket, std::size_t index);
    void close_sockets();
    void round(std::chrono::steady_clock::time_point until);
    int wait_ms(std::chrono::steady_clock::time_point until) const;
    void tick_aps();
    void plan(Ap& ap);
    void drain_links();
    void strike_some();
    Ap* struck(micros& next, double every);
    void start_noise();
    void transmit(Ap& ap, ByteView datagram);
    void receive(Ap& ap);
    void deliver(std::size_t ap, ByteView datagram);

    FleetOptions options_;
    std::chrono::steady_clock::time_point start_;
    std::vector<std::unique_ptr<Ap>> aps_;
    std::priority_queue<Timer, std::vector<Timer>, std::greater<>> timers_;
    Link up_, down_;
    std::mt19937 random_;
    std::unique_ptr<NoiseSender> noise_; // null without noise
    micros next_reboot_ = never;
    micros next_outage_ = never;
    std::size_t ever_joined_ = 0;
    int epoll_ = -1;
    std::atomic<bool> stopped_ = false;
    FleetStats totals_; // frames and answer times; the rest is gathered by stats()
};

} // namespace apsim
