#pragma once

// Values from JSON text and JSON text from values. Script thread.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/value/value.h"

inline constexpr size_t tvr_max_json_depth = 1024;  // containers inside of each other

// What is being printed, from the outermost container inwards, and what had to be left out.
struct tvr_json_conversion_state {
    static constexpr uint32_t met_cycle = 1;
    static constexpr uint32_t met_depth_limit = 2;

    std::vector<const tvr_std_json*> chain;
    uint32_t status = 0;
};

// Appends JSON text, on one line or with indents of four. Keys stand in the order of the entries;
// of several equal ones the last holds. A list inside itself prints as "<cycle>", what lies too
// deep as "<nested too deeply>", both with a warning. Bytes that are no UTF-8 become U+FFFD.
void tvrjson_to_json(tvr_std_json& json, std::string& out, bool compact);
void tvrvar_to_json(tvrvar& value, std::string& out, bool compact);
void tvrjson_to_json(tvr_json_conversion_state& state, tvr_std_json& json, std::string& out,
                     bool compact);
void tvrvar_to_json(tvr_json_conversion_state& state, tvrvar& value, std::string& out,
                    bool compact);

// The same with {"is_ref", "refcount", "type"} in the place of every value; those that are a json
// have its entries under "value".
void tvrjson_to_debug_refs_json(tvr_std_json& json, std::string& out, bool compact);
void tvrvar_to_debug_refs_json(tvrvar& value, std::string& out, bool compact);
void tvrjson_to_debug_refs_json(tvr_json_conversion_state& state, tvr_std_json& json,
                                std::string& out, bool compact);
void tvrvar_to_debug_refs_json(tvr_json_conversion_state& state, tvrvar& value, std::string& out,
                               bool compact);

// Parses a text into `result`, objects in the order of their keys; a JSON value in the midst of
// other text is found as well. False, with `result` none, for what is no JSON: the reason goes to
// the log. What is nested too deeply is a runtime error. Neither is said when `quiet`.
bool tvr_parse_json(std::string_view text, tvrvar& result, bool quiet);
