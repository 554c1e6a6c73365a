// site - a daemon and a fleet of simulated APs in one test.
#pragma once

#include <algorithm>
#include <thread>

#include "ac_mib/apconfig_wire.h"
#include "ac_wtp_protocol/ac_joined_list.h"
#include "daemon.h"
#include "fleet.h"

inline apsim::FleetOptions fleet_options(const Daemon& daemon, std::size_t aps)
{
    apsim::FleetOptions options;
    options.controller = apsim::endpoint(daemon.endpoint());
    options.aps = aps;
    options.scale = static_cast<UINT32>(daemon.scale());
    return options;
}

inline Mac mac_of(const apsim::Fleet& fleet, std::size_t index)
{
    return fleet.ap(index).options().mac;
}

// On both sides: an AP is told that it runs before its entry says so.
inline bool all_run(Daemon& daemon, apsim::Fleet& fleet)
{
    const auto both_say_so = [&] {
        if (fleet.stats().in_state(apsim::ApState::running) != fleet.size()) return false;
        for (std::size_t i = 0; i < fleet.size(); i++)
            if (daemon.joined(mac_of(fleet, i)) != AC_RUNNING) return false;
        return true;
    };
    return fleet.run_until(both_say_so, PATIENCE);
}

// Runs the fleet for that many seconds of the daemon's clock.
inline void live(apsim::Fleet& fleet, int simulated_seconds)
{
    fleet.run_for(std::chrono::milliseconds(simulated_seconds * 1000 / static_cast<int>(fleet.options().scale)));
}

// Waits for a condition without a fleet.
template <typename Condition> bool live_alone(Condition&& condition)
{
    const auto until = std::chrono::steady_clock::now() + PATIENCE;
    while (std::chrono::steady_clock::now() < until) {
        if (condition()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

// Waits until the daemon has taken the AP out of its joined list, with the fleet standing still.
inline bool leaves(Daemon& daemon, const Mac& mac)
{
    return live_alone([&] { return daemon.joined(mac) == -1; });
}

inline Bytes ap_name(const std::string& name)
{
    Bytes bytes(33);
    std::copy(name.begin(), name.end(), bytes.begin());
    bytes[32] = static_cast<unsigned char>(name.size());
    return bytes;
}

inline std::string name_at(const apsim::Fleet& fleet, std::size_t index)
{
    const CONFIG_APNAME& name = fleet.ap(index).config().basic.apname;
    return {reinterpret_cast<const char*>(name.ap_name), std::min<std::size_t>(name.ap_name_length, 32)};
}
