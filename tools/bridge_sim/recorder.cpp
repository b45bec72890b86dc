#include "bridge_sim/recorder.h"

#include <algorithm>

#include "bridge_sim/deck_lines.h"
#include "bridge_sim/line_writer.h"
#include "bridge_sim/network_lines.h"
#include "bridge_sim/random_source.h"
#include "bridge_sim/sound_lines.h"
#include "bridge_sim/track_lines.h"

namespace bridge_sim {

namespace {

// How late the logger got a line, in us: mostly next to nothing, now and then a hiccup of the
// host. Depends on the line's own time alone, so that no line moves another.
int64_t arrival_delay(const bridge_line& line) {
    if (!line.stamped) return 0;
    const uint64_t bits = hash_of(21, uint64_t(line.us));
    const int64_t usual = int64_t(bits % 1900);
    return bits >> 56 == 0 ? usual + int64_t(bits >> 20 & 0x3FFF) : usual;
}

}  // namespace

line_list record_lines(const set_plan& plan) {
    line_list lines;
    add_network_lines(plan, lines);
    add_track_lines(plan, lines);
    add_deck_lines(plan, lines);
    add_sound_lines(plan, lines);
    std::erase_if(lines, [&](const bridge_line& line) { return line.us >= plan.end_us; });
    std::stable_sort(lines.begin(), lines.end(),
                     [](const bridge_line& a, const bridge_line& b) { return a.us < b.us; });
    return lines;
}

bool write_recording(std::ostream& out, const line_list& lines) {
    constexpr int64_t logger_ahead_us = 250'000;
    int64_t rx_us = 0;
    for (const bridge_line& line : lines) {
        const int64_t sent = line.us - first_us + logger_ahead_us;
        rx_us = std::max(rx_us, sent + arrival_delay(line));
        out << line.open_text;
        if (line.stamped) out << ",\"us\":" << line.us;
        out << ",\"rx\":" << fixed_point(rx_us, 6) << "}\n";
    }
    out.flush();
    return out.good();
}

}  // namespace bridge_sim
