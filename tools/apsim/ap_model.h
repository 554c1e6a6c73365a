// ap_model - one access point as a state machine: no socket, no clock, no thread.
//
// Whoever owns a model hands it moments (on_tick) and datagrams (on_frame); what it wants to send and what it has
// learnt comes out through its ApSink, during those calls. next_due() is when it wants its next tick. Times are
// simulated microseconds and never go back.
//
//   off --boot--> discovering --reply 3--> configuring --reply 8, byte 0--> running
//                      ^                        |                              |
//                      +--- stored configuration, link-down, no answer --------+--- told to leave --> leaving
//
// Not thread-safe.
#pragma once

#include <deque>
#include <map>
#include <string>

#include "ap_config.h"
#include "sim_time.h"

namespace apsim {

enum class ApState { off, discovering, configuring, running, leaving, upgrading, silent };
inline constexpr std::size_t ap_state_count = 7;
const char* to_string(ApState state);

enum class Exchange { discovery, config, echo };
inline constexpr std::size_t exchange_count = 3;
const char* to_string(Exchange exchange);

struct ApTimers {
    micros discovery = 5 * second; // between repeated discovery requests
    micros config = 5 * second;    // between repeated configuration requests
    int config_tries = 3;          // unanswered, then back to discovery: a running AP's repeat is not answered
    micros echo = 30 * second;
    int echo_misses = 6;        // unanswered in a row, then back to discovery
    micros rejoin = 1 * second; // pause before a discovery that the controller has caused
    micros leave = 3 * second;  // between the answer to a restart and the silence: repeats are answered meanwhile
    micros boot = 15 * second;
    micros download = 10 * second; // of a firmware image
    micros flash = 20 * second;    // its writing
};

struct ApOptions {
    Mac mac{};
    ApKind kind;
    UINT16 layout = AC_LAYOUT_V2;
    int config_version = 0;
    bool refusing = false; // answers every request with a non-zero first byte and applies nothing
    int silent_after = -1; // falls silent for good after that many echoes; -1: never
    ApTimers timers;
};

// What has happened to an AP since it was made.
struct ApCounters {
    UINT32 joins = 0;          // times it came to run
    UINT32 lost = 0;           // times it ran and had to join again, neither told to nor made to
    UINT32 join_restarted = 0; // a repeat of its discovery was answered when it already ran, so it reported again
    UINT32 link_down = 0;      // forced link-down replies obeyed
    UINT32 reboots = 0;        // by restart, restore, upgrade or fault
    UINT32 restores = 0;
    UINT32 outages = 0;         // times it was cut off from the network for a while
    UINT32 config_taken = 0;    // stored configurations taken over
    UINT32 config_refused = 0;  // reports that the controller refused
    UINT32 applied = 0;         // settings applied
    UINT32 kept_raw = 0;        // settings accepted whose layout isn't known here
    UINT32 refused = 0;         // requests answered with a non-zero byte
    UINT32 duplicates = 0;      // requests seen before: answered, not applied again
    UINT32 repeats = 0;         // requests that the controller has sent again under a new number
    UINT32 retransmissions = 0; // discovery and configuration requests sent again
    UINT32 echoes_sent = 0;
    UINT32 echoes_answered = 0;
    UINT32 echoes_missed = 0;
    UINT32 bad_in = 0;   // frames dropped: too short, foreign vendor or MAC, wrong CRC
    UINT32 stale_in = 0; // answers nobody waited for, requests to an AP that isn't running
    UINT32 other_in = 0; // messages that an AP takes without an answer
    UINT32 upgrades = 0;
};

class ApSink {
public:
    virtual ~ApSink() = default;
    virtual void send(ByteView datagram) = 0;
    virtual void answered(Exchange exchange, micros time_taken) = 0;
};

class ApModel {
public:
    ApModel(ApOptions options, ApSink& sink); // the sink outlives the model
    ApModel(const ApModel&) = delete;
    ApModel& operator=(const ApModel&) = delete;

    void power_on(micros at); // first discovery at that moment
    // Power cut: not a word, back after the boot time; with factory settings if it is to forget its own.
    void reboot(micros now, bool forget = false);
    // Cut off from the network: says and hears nothing, and then goes on as if nothing had been. Only while it runs.
    void fall_silent(micros now, micros duration);
    void on_tick(micros now);
    void on_frame(ByteView datagram, micros now);
    micros next_due() const { return due_; }

    ApState state() const { return state_; }
    const ApConfig& config() const { return config_; }
    ApConfig& config() { return config_; }
    const ApCounters& counters() const { return counters_; }
    const ApOptions& options() const { return options_; }
    micros joined_at() const { return joined_at_; } // of the first join; never: not yet
    std::string mac_text() const;

private:
    struct Waiting {         // a request of ours under way, with its repeats
        UINT16 first = 0;    // number of the first one sent in the present state
        UINT16 seq = 0;      // of the last
        bool any = false;    // one has been sent in the present state
        micros sent = never; // the last; never: none unanswered
    };
    struct Seen { // a request of the controller's, answered
        UINT16 msg_type, seq;
        UINT32 crc;
        micros at;
    };

    void discover(micros now);
    void request_config(micros now);
    void config_tick(micros now);
    void echo(micros now);
    void send_request(Exchange exchange, UINT16 msg_type, ByteView payload, micros now);
    UINT16 send_frame(UINT16 msg_type, UINT16 pkt_type, UINT16 seq, ByteView payload);
    void answer(const CLOUD_AP_UDP_PKT& request, UINT8 result);
    bool take_answer(Exchange exchange, UINT16 seq, micros now);

    bool accept(const CLOUD_AP_UDP_PKT& head, ByteView payload) const;
    void dispatch(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now);
    void on_discovery_reply(const CLOUD_AP_UDP_PKT& head, micros now);
    void on_config_reply(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now);
    void on_echo_reply(const CLOUD_AP_UDP_PKT& head, micros now);
    void on_link_down(micros now);
    void on_request(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now);
    void on_upgrade_request(const CLOUD_AP_UDP_PKT& head, micros now);
    void on_upgrade_ack(const CLOUD_AP_UDP_PKT& head, micros now);
    void upgrade_tick(micros now);
    bool seen_before(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now);
    void obey(const CLOUD_AP_UDP_PKT& head, ByteView payload, micros now);

    void enter(ApState state, micros due);
    void rejoin(micros now, micros pause);
    void run(micros now);

    ApOptions options_;
    ApSink& sink_;
    ApConfig config_;
    ApCounters counters_;
    ApState state_ = ApState::off;
    micros due_ = never;
    micros joined_at_ = never;
    UINT16 next_seq_ = 0;
    Waiting waiting_[exchange_count];
    std::vector<UINT16> unanswered_discoveries_; // numbers of this join's, running or not
    int tries_ = 0;                              // requests sent in the present state
    int misses_ = 0;                             // echoes unanswered in a row
    bool reboot_after_leave_ = false;
    bool after_outage_ = false; // and unanswered since: that it is told to join again is no loss
    UINT8 upgrade_stage_ = 0;   // result of the next HALDE_APUpgradeResultAck: 0 received, 2 finished
    UINT16 upgrade_seq_ = 0;
    std::deque<Seen> seen_;
};

std::string mac_text(const Mac& mac);

} // namespace apsim
