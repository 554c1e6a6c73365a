// ap_kind - the product types that a simulated AP can play.
//
// The simulator's own copy of what the controller knows about each type. Types that the controller doesn't come with
// (62, and everything from 69 on) announce numbers of their own, which the controller learns from the discovery
// request.
#pragma once

#include <string>
#include <vector>

#include "common/ac_types.h"

namespace apsim {

struct ApKind {
    UINT16 ap_type = 0;
    std::string name;
    UINT32 product_id = 0;
    UINT8 ssid_num_24g = 0;
    UINT8 ssid_num_5g = 0;
    UINT8 rf_num = 1;
    UINT8 flag_old_crc = 0;

    std::size_t ssids() const { return static_cast<std::size_t>(ssid_num_24g) + ssid_num_5g; }
};

// Any number is played: type 0 and numbers from 200 on are what a controller has to refuse.
ApKind ap_kind(UINT16 ap_type);

// One and two radios, 2 to 12 SSIDs, known and learnt.
const std::vector<UINT16>& default_types();

} // namespace apsim
