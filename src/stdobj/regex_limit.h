#pragma once

// How long a text may be that a regular expression is matched against.
//
// The library's matcher calls itself for every character of the text, some patterns many times, so
// that long texts need more stack than there is (see regex_stack.h). What a pattern needs is
// judged from its text alone. Any thread.

#include <cstddef>
#include <string_view>

inline constexpr size_t tvr_regex_plain_limit = 262144;  // nothing repeats without an end
inline constexpr size_t tvr_regex_repeat_limit = 16384;  // a character does: *, + or {2,}
inline constexpr size_t tvr_regex_group_limit = 8192;    // a group does
inline constexpr size_t tvr_regex_most_groups = 32;      // inside of each other
inline constexpr size_t tvr_regex_most_digits = 9;  // of a number behind a backslash or in braces
inline constexpr size_t tvr_regex_stack_bytes = size_t(512) << 20;

struct tvr_regex_measure {
    // What a match against so many bytes puts on the stack at most. Not for patterns that `copies`.
    size_t stack_bytes(size_t text_bytes) const;

    size_t limit = tvr_regex_plain_limit;  // bytes of text
    size_t depth = 0;                      // groups inside of each other
    size_t branches = 0;                   // places where the matcher chooses or takes a note
    bool copies = false;                   // has {n,m}, of which the matcher makes m copies
    size_t digits = 0;                     // of the longest number that the library reckons with
};

// Reads a pattern once. Escaped characters and those in [...] mean nothing. A pattern with very
// many groups, alternatives and repetitions, one of them a group without an end, has a lower limit
// than those above: what a single character may cost there has to fit into the stack as often.
tvr_regex_measure tvr_measure_regex(std::string_view pattern);
