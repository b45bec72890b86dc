#pragma once

// `json` as decks and tracks use it, and the lenient reading of a bridge line's fields.
//
// A missing or mistyped field takes its default: that leniency is part of the line format, so
// every field is read through one of these accessors and nothing else. Numbers saturate instead
// of wrapping: a "n" of 4294967297 must not become player 1. Thread: any.

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace deckbus {

using json = nlohmann::json;

// The value under key, or null when the line is no object or lacks it. Valid while the line is.
const json* find_field(const json& line, std::string_view key);

// The value if it is a string, else the empty text. Valid while the line is.
std::string_view text(const json& line, std::string_view key);

// The value if it is a number, else `otherwise`. Floats are rounded half away from zero;
// everything outside int64 saturates, and NaN counts as no number.
int64_t integer(const json& line, std::string_view key, int64_t otherwise);

// integer(), saturated to int32.
int32_t integer32(const json& line, std::string_view key, int32_t otherwise);

// The value if it is a number, else `otherwise`.
double number(const json& line, std::string_view key, double otherwise);

// True only for the literal true: numbers and strings count as false.
bool flag(const json& line, std::string_view key);

}  // namespace deckbus
