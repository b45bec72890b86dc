// How a track sounds: kick, bass, synth, snare and hats, each as loud as the section wants it.

#include <algorithm>

#include "bridge_sim/portable_math.h"
#include "bridge_sim/random_source.h"
#include "bridge_sim/track_model.h"

namespace bridge_sim {

namespace {

// Loudness of the instruments, 0 to 1. Drops carry the bass; an intro or outro has kick and hats
// only, so that two tracks fit over each other.
struct mix_row {
    double kick, bass, synth, hats, roll;
};

mix_row mix_of(section_kind kind, double progress) {
    switch (kind) {
    case section_kind::intro: return {0.55, 0.03, 0.12 + 0.12 * progress, 0.40, 0.0};
    case section_kind::verse: return {0.75, 0.15, 0.40, 0.45, 0.0};
    case section_kind::buildup: {
        const double rise = progress * progress;
        return {0.0, 0.08, 0.22 + 0.55 * rise, 0.08 + 0.50 * rise, 0.15 + 0.70 * rise};
    }
    case section_kind::drop: return {1.0, 0.85, 0.80, 0.85, 0.0};
    case section_kind::pause: return {0.0, 0.12, 0.45 - 0.15 * progress, 0.06, 0.0};
    case section_kind::outro: return {0.55, 0.04, 0.20 - 0.14 * progress, 0.40, 0.0};
    }
    return {};
}

// 1 at once, then down to 0 within `length` of a beat.
double decay(double phase, double length) {
    if (phase >= length) return 0.0;
    const double left = 1.0 - phase / length;
    return left * left;
}

// A melody of sixteenths that each track has for itself.
double melody(uint64_t seed, int beat, double phase) {
    const int step = (beat - 1) % 8 * 4 + int(phase * 4.0);
    const double in_step = phase * 4.0 - double(int(phase * 4.0));
    const double strength = 0.35 + 0.65 * unit_of(hash_of(seed, 2, uint64_t(step)));
    return strength * (1.0 - 0.55 * in_step);
}

// The snare roll of a buildup: four times, then eight times a beat.
double roll(double phase, double progress) {
    const double rate = progress < 0.5 ? 4.0 : 8.0;
    const double x = phase * rate;
    return 1.0 - 0.6 * (x - double(int(x)));
}

struct moment {
    int beat;
    double phase;     // within the beat
    double progress;  // within the section
    int64_t slot;     // 1/150 s, for the noise
};

band_levels sound_of(const track_model& track, const mix_row& mix, const moment& m) {
    const double kick = mix.kick * decay(m.phase, 0.42);
    const double off_beat = m.phase > 0.22 ? 0.70 + 0.30 * decay(m.phase - 0.22, 0.5) : 0.25;
    const double bass = mix.bass * off_beat;
    const bool back_beat = m.beat % 2 == 0;
    const double clap = back_beat ? mix.hats * decay(m.phase, 0.30) : 0.0;
    const double open_hat = m.phase > 0.5 ? decay(m.phase - 0.5, 0.35) : 0.0;
    const double quarter = m.phase * 4.0 - double(int(m.phase * 4.0));
    const double closed_hat = 0.45 * decay(quarter, 0.6);
    const double snare = mix.roll * roll(m.phase, m.progress);
    const double synth = mix.synth * melody(track.seed, m.beat, m.phase);
    const double grain = 0.90 + 0.20 * unit_of(hash_of(track.seed, 3, uint64_t(m.slot)));
    return {clamp_unit((kick * 0.95 + bass * 0.75) * grain * 0.85),
            clamp_unit((synth + 0.30 * kick + 0.45 * clap + 0.45 * snare) * grain * 0.75),
            clamp_unit((mix.hats * std::max(open_hat, closed_hat) + 0.35 * clap + 0.40 * snare +
                        0.25 * synth) *
                       grain * 0.75)};
}

}  // namespace

band_levels track_model::levels_at(int64_t us) const {
    if (us < beat_us.front() || us >= length_us) return {0, 0, 0};
    const auto after = std::upper_bound(beat_us.begin(), beat_us.end(), us);
    moment m;
    m.beat = int(after - beat_us.begin());
    const int64_t begin = time_of(m.beat), end = time_of(m.beat + 1);
    m.phase = std::min(double(us - begin) / double(end - begin), 0.999999);
    const section& s = section_at(m.beat);
    m.progress = (double(m.beat - s.first_beat) + m.phase) / double(s.end_beat - s.first_beat);
    m.slot = us * 150 / 1'000'000;
    return sound_of(*this, mix_of(s.kind, clamp_unit(m.progress)), m);
}

}  // namespace bridge_sim
