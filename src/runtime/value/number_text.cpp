#include "runtime/value/number_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "base/ascii.h"

namespace {

using int_limits = std::numeric_limits<int64_t>;

bool is_digit(std::string_view text, size_t at) {
    return at < text.size() && tvr_is_digit(text[at]);
}

size_t skip_digits(std::string_view text, size_t at) {
    while (is_digit(text, at)) ++at;
    return at;
}

// Takes leading blanks and a sign off; true for a minus.
bool take_sign(std::string_view& text) {
    const size_t first = text.find_first_not_of(" \t\n\v\f\r");
    text.remove_prefix(first == std::string_view::npos ? text.size() : first);
    if (text.empty() || (text[0] != '-' && text[0] != '+')) return false;
    const bool negative = text[0] == '-';
    text.remove_prefix(1);
    return negative;
}

// Digits with an optional point and exponent; empty when there is no digit before the exponent.
std::string_view decimal_prefix(std::string_view text) {
    size_t end = skip_digits(text, 0);
    size_t digits = end;
    if (end < text.size() && text[end] == '.') {
        const size_t fraction = skip_digits(text, end + 1);
        digits += fraction - end - 1;
        end = fraction;
    }
    if (digits == 0) return {};
    if (end < text.size() && (text[end] == 'e' || text[end] == 'E')) {
        size_t exponent = end + 1;
        if (exponent < text.size() && (text[exponent] == '-' || text[exponent] == '+')) ++exponent;
        if (is_digit(text, exponent)) end = skip_digits(text, exponent);
    }
    return text.substr(0, end);
}

// The place of a number's first digit that is not 0, counted from its point: 1 for "5", 0 for
// "0.5". Tells what is too large for a double from what is too small.
int64_t magnitude(std::string_view number) {
    const size_t mark = number.find_first_of("eE");
    const std::string_view digits = number.substr(0, mark);
    const size_t point = std::min(digits.find('.'), digits.size());
    const size_t first = digits.find_first_not_of("0.");
    if (first == std::string_view::npos) return 0;
    const int64_t place = int64_t(point) - int64_t(first) + (first > point ? 1 : 0);
    if (mark == std::string_view::npos) return place;
    constexpr int64_t farthest = int_limits::max() / 4;
    const int64_t exponent = tvr_parse_int_prefix(number.substr(mark + 1));
    return place + std::max(-farthest, std::min(farthest, exponent));
}

}  // namespace

int64_t tvr_parse_int_prefix(std::string_view text) {
    const bool negative = take_sign(text);
    uint64_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    const uint64_t limit = uint64_t(int_limits::max()) + (negative ? 1 : 0);
    if (read.ec == std::errc::result_out_of_range || value > limit) value = limit;
    return int64_t(negative ? 0 - value : value);
}

double tvr_parse_float_prefix(std::string_view text) {
    const bool negative = take_sign(text);
    const std::string_view number = decimal_prefix(text);
    double value = 0.0;
    const auto read = std::from_chars(number.data(), number.data() + number.size(), value);
    if (read.ec == std::errc::result_out_of_range) {
        value = magnitude(number) > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    }
    return negative ? -value : value;
}

int64_t tvr_int_of_float(double value) {
    constexpr double limit = 9223372036854775808.0;  // 2^63, the first double beyond int64
    if (std::isnan(value)) return 0;
    if (value >= limit) return int_limits::max();
    if (value <= -limit) return int_limits::min();
    return int64_t(value);
}

void tvr_append_int(std::string& out, int64_t value) {
    char text[24];
    out.append(text, std::to_chars(text, text + sizeof text, value).ptr);
}

void tvr_append_float(std::string& out, double value) {
    constexpr int decimals = 6;
    char text[std::numeric_limits<double>::max_exponent10 + decimals + 8];
    const auto end =
        std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, decimals);
    out.append(text, end.ptr);
}
