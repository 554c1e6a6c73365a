// ap_config - what one AP has set: the records it reports when it joins, and the settings that reach it later.
//
// The records are held as they lie on the wire. A payload that doesn't fit its layout changes nothing.
#pragma once

#include <array>
#include <map>
#include <span>
#include <vector>

#include "ac_mib/apconfig_wire.h"
#include "ac_wtp_protocol/ac_frame_wire.h"
#include "ap_kind.h"

namespace apsim {

using Mac = std::array<UINT8, AC_MAC_LEN>;
using Bytes = std::vector<UINT8>;
using ByteView = std::span<const UINT8>;

struct ApConfig {
    std::array<UINT8, 2> version{}; // decimal text, not terminated when two digits long
    CONFIG_BASIC basic{};
    CONFIG_SCHED_REBOOT reboot{};
    CONFIG_ALARM alarm{};
    std::vector<CONFIG_WL_RF> radios;
    std::vector<CONFIG_WL_BASIC> ssids;

    // Told by the controller, never reported back.
    std::array<UINT8, 32> web_user{};
    std::array<UINT8, 32> web_password{};
    UINT8 web_on_off = 0;
    std::array<UINT8, 3> deploy{}; // penetration, deploy, drivpwr
    std::array<UINT8, 22> qvlan{};
    CONFIG_TIME time{};

    std::map<UINT16, Bytes> raw; // last payload of each message whose layout isn't known here, by msg_type

    int version_number() const;
    void set_version(int number); // 0 to 99
};

// As it leaves the factory: version 0, every radio on, every SSID slot of the product with a name.
ApConfig factory_config(const Mac& mac, const ApKind& kind);

// Bytes of all records for this layout (AC_LAYOUT_V1 or AC_LAYOUT_V2), without the controller's 8 bytes behind them.
std::size_t report_size(UINT16 layout, std::size_t radios, std::size_t ssids);

Bytes encode_report(const ApConfig& config, UINT16 layout);

// Takes over a configuration that the controller had stored. False, and nothing changed, if it is too short.
bool take_stored_config(ApConfig& config, UINT16 layout, ByteView payload);

enum class Applied { done, kept_raw };

// Message 7 by its sub-type and message 16 by its own. msg_type is the whole 16 bits.
Applied apply_setting(ApConfig& config, UINT16 msg_type, ByteView payload);

} // namespace apsim
