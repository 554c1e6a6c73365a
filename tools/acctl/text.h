// text - names from the network, made fit for a terminal, a column and JSON.
//
// An AP chooses its own name and the names of its SSIDs: they come as bytes of any kind. What is printed to a terminal
// goes through `shown`, what is printed as JSON through `json_text`.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

#include "common/ac_types.h"

namespace acctl {

// A field's bytes up to the first zero, at most all of them.
std::string field_bytes(std::span<const UINT8> field);

// Valid UTF-8: as it stands, or else read as GB18030, the appliance's other encoding, or else with U+FFFD for each byte
// that fits neither. A character that the field's end has cut off is dropped.
std::string to_utf8(std::string_view bytes);

// UTF-8 without anything that a terminal acts on: control and formatting characters become escapes such as \x1b.
std::string shown(std::string_view utf8);

// Columns that a text without control characters takes on a terminal.
std::size_t width(std::string_view utf8);

// The text in at most that many columns; what is cut ends in "…".
std::string cut(std::string_view utf8, std::size_t columns);

// JSON, valid whatever the texts hold, with escapes for what a terminal would act on. An
// indent of -1 puts it on one line.
std::string json_text(const nlohmann::ordered_json& json, int indent = 2);

} // namespace acctl
