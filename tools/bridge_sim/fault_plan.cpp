#include "bridge_sim/fault_plan.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "bridge_sim/random_source.h"

namespace bridge_sim {

namespace {

enum draw : uint64_t { draw_drop = 41, draw_garble = 43, draw_place = 45, draw_value = 47 };

// Script and answers have a stream each.
uint64_t draw_for(uint64_t seed, draw what, const sent_line& line) {
    return hash_of(seed, uint64_t(what) + line.source, line.ordinal);
}

bool parse_seconds(std::string_view text, double& out) {
    const auto [end, failed] = std::from_chars(text.begin(), text.end(), out);
    return failed == std::errc() && end == text.end() && std::isfinite(out) && out >= 0;
}

}  // namespace

bool fault_plan::drops(const sent_line& line) const {
    return unit_of(draw_for(seed, draw_drop, line)) < drop;
}

bool fault_plan::garbles(const sent_line& line, std::string& text) const {
    if (text.empty() || unit_of(draw_for(seed, draw_garble, line)) >= garble) return false;
    const size_t at = draw_for(seed, draw_place, line) % text.size();
    const uint64_t flip = 1 + draw_for(seed, draw_value, line) % 255;  // never 0: no change
    text[at] = char(uint8_t(text[at]) ^ uint8_t(flip));
    return true;
}

void fault_plan::sort() {
    std::stable_sort(mishaps.begin(), mishaps.end(),
                     [](const mishap& a, const mishap& b) { return a.at_s < b.at_s; });
}

bool parse_mishap(mishap::what kind, std::string_view text, mishap& out) {
    out = {kind, 0, 0};
    if (kind == mishap::what::reboot) return parse_seconds(text, out.at_s);
    const size_t at = text.find('@');
    return at != std::string_view::npos && parse_seconds(text.substr(0, at), out.lasts_s) &&
           parse_seconds(text.substr(at + 1), out.at_s);
}

}  // namespace bridge_sim
