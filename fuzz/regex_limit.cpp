// Any bytes as a regular expression: what it is judged to need stays within the limits, and a text
// of that length does not bring the matcher down.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "bare_interpreter.h"
#include "stdobj/regex_limit.h"
#include "stdobj/regex_matcher.h"

// The first byte says how long the text is. The matcher's time, unlike its stack, has no bound, so
// only short texts are tried, and patterns with few repetitions and alternatives.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    constexpr size_t most_pattern = 64, most_text = 7;
    constexpr ptrdiff_t most_repeats = 2, most_alternatives = 8;
    if (size == 0) return 0;
    const bare_interpreter around;
    const std::string_view pattern(reinterpret_cast<const char*>(data) + 1, size - 1);
    const tvr_regex_measure measure = tvr_measure_regex(pattern);
    if (measure.limit > tvr_regex_plain_limit || measure.depth > pattern.size()) std::abort();
    if (measure.limit < tvr_regex_plain_limit && measure.branches == 0) std::abort();
    const auto repeats = std::count_if(pattern.begin(), pattern.end(), [](char c) {
        return std::string_view("*+?{").find(c) != std::string_view::npos;
    });
    const bool soon_tried = pattern.size() <= most_pattern && repeats <= most_repeats &&
                            std::count(pattern.begin(), pattern.end(), '|') <= most_alternatives;
    if (soon_tried && !measure.copies) {
        const std::string text(data[0] % most_text, 'a');
        tvr_run_regex("fuzz", pattern, text,
                      [&](const std::regex& regex, tvr_text_place begin, tvr_text_place end) {
                          std::regex_search(begin, end, regex);
                      });
    }
    return 0;
}
