#pragma once

// One bridge line as JSON text, its keys in the order in which they are written.
//
// Numbers with a fraction come in as integers of a power of ten, so that no formatting of
// floating point decides about the bytes of a recording. Pure, any thread.

#include <cstdint>
#include <string>
#include <string_view>

namespace bridge_sim {

class line_writer {
public:
    explicit line_writer(std::string_view kind);  // begins with "t"

    line_writer& text(std::string_view key, std::string_view value);  // UTF-8
    line_writer& integer(std::string_view key, int64_t value);

    // value / 10^digits; zeros at the end are left out, one digit behind the point stays.
    line_writer& decimal(std::string_view key, int64_t value, int digits);
    line_writer& flag(std::string_view key, bool value);
    line_writer& null(std::string_view key);
    line_writer& flags(std::string_view key, const std::string& bits);  // each 0 or 1, as array

    // The line so far, without the closing brace: clocks may follow.
    std::string open() const { return line; }

private:
    void begin(std::string_view key);

    std::string line;
};

// The text between quotes, with JSON's escapes.
std::string json_escape(std::string_view value);

// value / 10^digits with all its digits, such as 0.251991.
std::string fixed_point(int64_t value, int digits);

}  // namespace bridge_sim
