#include "deck/player.h"

#include <algorithm>

namespace deckbus {

namespace {

constexpr double latest_phase = 0.999;
constexpr double beats_until_rest = 2.0;  // beats that the phase waits for a late one
constexpr double ramp_per_beat = 0.0625;  // 16 beats
constexpr double fresh_position_s = 1.0;

}  // namespace

double player::beat_phase(double t) const {
    const double tempo = effective_bpm();
    if (tempo <= 0 || beat_time <= 0) return 0;
    const double p = (t - beat_time) * tempo / 60.0;
    if (!(p >= 0 && p <= beats_until_rest)) return 0;  // and for what is no number
    return std::min(p, latest_phase);
}

double player::bar_phase(double t) const {
    if (beat_in_bar < 1 || beat_in_bar > 4) return 0;
    return (beat_phase(t) + beat_in_bar - 1) * 0.25;
}

int player::beats_to_cue() const {
    return cue_beat > 0 && beat > 0 && beat <= cue_beat ? cue_beat - beat : -1;
}

double player::cue_ramp(double t) const {
    const int left = beats_to_cue();
    if (left < 0) return 0;
    if (left == 0) return 1;
    const double rest = std::max(0.0, left - beat_phase(t));
    return std::clamp(1.0 - rest * ramp_per_beat, 0.0, 1.0);
}

double player::position_ms(double t, const track* loaded) const {
    const double rate = playing ? pitch / 100.0 + 1.0 : 0;
    if (pos_time > 0 && t - pos_time < fresh_position_s) {
        return double(pos_ms) + (t - pos_time) * 1000.0 * rate;
    }
    if (loaded == nullptr || !loaded->has_grid || beat <= 0) return -1;

    const double start = loaded->grid.time_of(beat);
    if (start < 0) return -1;
    double gone = beat_time > 0 ? rate * (t - beat_time) * 1000.0 : 0;
    // Without a line the position waits at the next beat; behind the last beat it runs on.
    const double next = loaded->grid.time_of(int64_t(beat) + 1);
    if (start < next) gone = std::min(gone, next - start);
    return start + std::max(0.0, gone);
}

void player::new_track() {
    beat = -1;
    cue_in = -1;
    cue_beat = 0;
    cue_fired_beat = 0;
    pos_time = 0;
}

}  // namespace deckbus
