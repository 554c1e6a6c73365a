// door_stored - what the AP table holds of the columns that the databases keep, as text for a test to compare.
#pragma once

#include <string>

#include "common/ac_types.h"

// Numbers in decimal without a sign, texts in hex, in the order of the columns: the record, then ";" and its SSIDs in
// the order of their list, then ";" and its radios. "-1" for an unknown MAC.
std::string describe_stored(const UINT8* mac);

std::string to_hex(const UINT8* bytes, std::size_t count);
