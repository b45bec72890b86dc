#include "stdobj/regex_limit.h"

#include <algorithm>

#include "base/ascii.h"

namespace {

// Stack that the matcher takes for each character of the text and each of the pattern's branches,
// with room to spare: measured were 160, and 376 with the address sanitizer.
constexpr size_t bytes_a_branch = 900;

// The walk over a pattern, which steps over what means nothing.
class pattern_scan {
public:
    explicit pattern_scan(std::string_view of) : pattern(of) {}

    tvr_regex_measure run() {
        for (; at < pattern.size(); ++at) look_at(pattern[at]);
        if (group_repeats) {
            measure.limit = std::min(tvr_regex_group_limit, affordable());
        } else if (repeats) {
            measure.limit = tvr_regex_repeat_limit;
        }
        return measure;
    }

private:
    void look_at(char c) {
        bool closed = false;
        switch (c) {
        case '\\': step_over_escape(); break;
        case '[': step_over_set(); break;
        case '(':
            measure.depth = std::max(measure.depth, ++open);
            ++measure.branches;
            break;
        case ')':
            if (open > 0) --open;
            ++measure.branches;
            closed = true;
            break;
        case '|': ++measure.branches; break;
        default:
            measure.copies = measure.copies || c == '{';
            if (c == '{') count_digits(count_digits(at + 1) + 1);  // {n,m}
            if (is_repeat(c)) repeat(c != '?' && (c != '{' || is_endless()));
        }
        behind_group = closed;
    }

    static bool is_repeat(char c) { return c == '*' || c == '+' || c == '?' || c == '{'; }

    void repeat(bool endless) {
        ++measure.branches;
        repeats = repeats || endless;
        group_repeats = group_repeats || (endless && behind_group);
    }

    // Whether the brace here has a lower bound and no upper one.
    bool is_endless() const {
        size_t end = at + 1;
        while (end < pattern.size() && tvr_is_digit(pattern[end])) ++end;
        return end > at + 1 && pattern.substr(end).starts_with(",}");
    }

    void step_over_set() {
        for (++at; at < pattern.size() && pattern[at] != ']'; ++at) {
            if (pattern[at] == '\\') step_over_escape();
        }
    }

    // The bracket of \c[, a control character, begins no set, which would hide all behind it.
    void step_over_escape() {
        count_digits(at + 1);
        ++at;
        if (pattern.substr(std::min(at, pattern.size()), 2) == "c[") ++at;
    }

    // Of the number at a place; the place behind it.
    size_t count_digits(size_t from) {
        size_t end = from;
        while (end < pattern.size() && tvr_is_digit(pattern[end])) ++end;
        measure.digits = std::max(measure.digits, end - from);
        return end;
    }

    size_t affordable() const { return tvr_regex_stack_bytes / measure.stack_bytes(1); }

    std::string_view pattern;
    size_t at = 0;
    size_t open = 0;  // groups
    bool repeats = false;
    bool group_repeats = false;
    bool behind_group = false;
    tvr_regex_measure measure;
};

}  // namespace

size_t tvr_regex_measure::stack_bytes(size_t text_bytes) const {
    return text_bytes * (branches + 1) * bytes_a_branch;
}

tvr_regex_measure tvr_measure_regex(std::string_view pattern) {
    return pattern_scan(pattern).run();
}
