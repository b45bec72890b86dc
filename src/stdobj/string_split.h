#pragma once

// Texts in parts. The parts are views into the text. Any thread.

#include <cstdint>
#include <string_view>
#include <vector>

using tvr_text_parts = std::vector<std::string_view>;

// At every delimiter; with a limit of 1 or more the rest stays in the last part. An empty delimiter
// gives the single bytes, of an empty text none.
tvr_text_parts tvr_split(std::string_view text, std::string_view delimiter, int64_t most_parts);

// What stands between whitespace.
tvr_text_parts tvr_split_words(std::string_view text);

// At the delimiters that stand outside of quotes ('...' and "...", with \ before what does not end
// them), comments (// to the end of the line and /* */) and brackets. At an empty delimiter nothing
// is split.
tvr_text_parts tvr_smart_split(std::string_view text, std::string_view delimiter);

// What stands between the delimiters, from left to right; an empty right one stands for the end.
tvr_text_parts tvr_extract(std::string_view text, std::string_view left, std::string_view right,
                           size_t most_parts);
