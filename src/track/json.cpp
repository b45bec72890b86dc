#include "track/json.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace deckbus {
namespace {

template <typename T>
int64_t saturated(T value) {
    constexpr int64_t lowest = std::numeric_limits<int64_t>::min();
    constexpr int64_t highest = std::numeric_limits<int64_t>::max();
    // 2^63 itself is the first value that does not fit, and -2^63 the last one that does.
    if (value >= T(highest)) return highest;
    if constexpr (std::is_floating_point_v<T>) {
        if (value <= T(lowest)) return lowest;
        return std::llround(value);
    }
    return int64_t(value);
}

}  // namespace

const json* find_field(const json& line, std::string_view key) {
    if (!line.is_object()) return nullptr;
    const auto field = line.find(key);
    return field == line.end() ? nullptr : &*field;
}

std::string_view text(const json& line, std::string_view key) {
    const json* field = find_field(line, key);
    if (!field || !field->is_string()) return {};
    return field->get_ref<const std::string&>();
}

int64_t integer(const json& line, std::string_view key, int64_t otherwise) {
    const json* field = find_field(line, key);
    if (!field || !field->is_number()) return otherwise;
    if (field->is_number_unsigned()) return saturated(field->get<uint64_t>());
    if (field->is_number_integer()) return field->get<int64_t>();
    const double value = field->get<double>();
    return std::isnan(value) ? otherwise : saturated(value);
}

int32_t integer32(const json& line, std::string_view key, int32_t otherwise) {
    constexpr int64_t lowest = std::numeric_limits<int32_t>::min();
    constexpr int64_t highest = std::numeric_limits<int32_t>::max();
    return int32_t(std::clamp(integer(line, key, otherwise), lowest, highest));
}

double number(const json& line, std::string_view key, double otherwise) {
    const json* field = find_field(line, key);
    return field && field->is_number() ? field->get<double>() : otherwise;
}

bool flag(const json& line, std::string_view key) {
    const json* field = find_field(line, key);
    return field && field->is_boolean() && field->get<bool>();
}

}  // namespace deckbus
