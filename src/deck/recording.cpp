#include "deck/recording.h"

#include <algorithm>
#include <fstream>
#include <utility>

#include "track/json.h"

namespace deckbus {

namespace {

bool is_bridge_line(const json& line) {
    const json* kind = find_field(line, "t");
    return kind != nullptr && kind->is_string();
}

// The line's place in time, s, when the line before it stood at `before`.
double place_in_time(const json& line, double before) {
    const json* rx = find_field(line, "rx");
    if (rx != nullptr && rx->is_number()) return rx->get<double>();
    const json* us = find_field(line, "us");
    if (us != nullptr && us->is_number()) return std::max(before, us->get<double>() / 1000000.0);
    return before;
}

}  // namespace

recording read_recording(std::istream& in) {
    recording lines;
    double t = 0;
    std::string text;
    while (std::getline(in, text)) {
        const json line = json::parse(text, nullptr, false);
        if (!is_bridge_line(line)) continue;
        t = place_in_time(line, t);
        lines.push_back({t, std::move(text)});
    }
    return lines;
}

recording load_recording(const std::string& path, std::string& error) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        error = "Cannot open file: " + path;
        return {};
    }
    recording lines = read_recording(in);
    if (lines.empty()) error = "No firmware lines in " + path;
    return lines;
}

}  // namespace deckbus
