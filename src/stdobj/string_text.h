#pragma once

// What the methods of std.string do to texts. Bytes, whatever they mean: case and whitespace are
// those of ASCII. Any thread.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// The first place of `wanted` from `from` on; npos without one. An empty text is found at once.
size_t tvr_find_text(std::string_view text, std::string_view wanted, size_t from = 0);

inline bool tvr_is_space(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

std::string_view tvr_trim_left(std::string_view text);
std::string_view tvr_trim_right(std::string_view text);
std::string_view tvr_trim(std::string_view text);
std::string tvr_trim_lines(std::string_view text);  // each line's end; "\n" and "\r\n" stay
std::string tvr_compress_whitespace(std::string_view text);

std::string tvr_lowercase(std::string_view text);
std::string tvr_uppercase(std::string_view text);
std::string tvr_reverse(std::string_view text);

// Occurrences that do not overlap; of the empty text one more than there are bytes.
size_t tvr_count_text(std::string_view text, std::string_view wanted);
std::string tvr_replace(std::string_view text, std::string_view wanted, std::string_view by);
std::string tvr_replace_first(std::string_view text, std::string_view wanted, std::string_view by);

// Whitespace in either text does not count: "a b" is found in "xa\nby", as its bytes 1 to 3. A text
// of nothing else is found nowhere.
bool tvr_contains_loosely(std::string_view text, std::string_view wanted);
std::string tvr_replace_loosely(std::string_view text, std::string_view wanted,
                                std::string_view by);

// From `start`, from the end when negative, `count` bytes; a negative count ends that many bytes
// before the end. What lies outside is left out.
std::string_view tvr_substr(std::string_view text, int64_t start, int64_t count);

// At a place, from the end when negative, moved to the nearest one there is.
std::string tvr_insert(std::string_view text, int64_t place, std::string_view added);

// With so many bytes more in front of it and behind it.
std::string tvr_pad(std::string_view text, size_t left, size_t right, char fill);

std::string tvr_remove_chars(std::string_view text, std::string_view chars, bool except);

// A backslash before each character that means something in a regular expression.
std::string tvr_escape_pattern(std::string_view text);
