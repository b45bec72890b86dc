#include "bridge_sim/sound_lines.h"

#include "bridge_sim/base64.h"
#include "bridge_sim/byte_writer.h"
#include "bridge_sim/deck_view.h"
#include "bridge_sim/line_writer.h"
#include "bridge_sim/portable_math.h"
#include "bridge_sim/random_source.h"

namespace bridge_sim {

namespace {

constexpr int sample_rate = 16'000;
constexpr int chunk_samples = 320;  // 20 ms
constexpr int64_t chunk_us = int64_t(chunk_samples) * us_per_s / sample_rate;

band_levels heard_at(const set_plan& plan, int64_t us) {
    band_levels sum{0, 0, 0};
    for (int deck = 1; deck <= plan.wish.decks; deck++) {
        const deck_view view = view_deck(plan, deck, us);
        if (!view.playing || !view.on_air) continue;
        const band_levels one = view.track->levels_at(view.pos_us);
        sum = {sum.low + one.low, sum.mid + one.mid, sum.high + one.high};
    }
    return sum;
}

// A bass tone, a chord and noise, each as loud as its band.
double sample_at(const band_levels& levels, int64_t index) {
    const double t = double(index) / sample_rate;
    const double low = sine_of_turns(t * 55.0);
    const double mid = 0.5 * sine_of_turns(t * 220.0) + 0.5 * sine_of_turns(t * 330.0);
    const double high = 2.0 * unit_of(hash_of(31, uint64_t(index))) - 1.0;
    return 0.45 * levels.low * low + 0.25 * levels.mid * mid + 0.12 * levels.high * high;
}

bytes make_chunk(const set_plan& plan, int64_t us, int64_t first_index) {
    bytes pcm;
    band_levels levels{};
    for (int i = 0; i < chunk_samples; i++) {
        constexpr int levels_every = 80;  // 5 ms
        if (i % levels_every == 0)
            levels = heard_at(plan, us + int64_t(i) * us_per_s / sample_rate);
        const int value = scale_to(0.5 + 0.5 * sample_at(levels, first_index + i), 65'535) - 32'768;
        put_u16_le(pcm, uint32_t(value));
    }
    return pcm;
}

}  // namespace

void add_sound_lines(const set_plan& plan, line_list& lines) {
    constexpr int64_t begin_us = first_us + 14 * us_per_s;
    const int64_t chunks = int64_t(plan.wish.pcm_s) * us_per_s / chunk_us;
    for (int64_t seq = 0; seq < chunks; seq++) {
        const int64_t us = begin_us + seq * chunk_us;
        if (us >= plan.end_us) return;
        lines.push_back({us, true,
                         line_writer("pcm")
                             .integer("sr", sample_rate)
                             .integer("seq", seq)
                             .text("d", base64_encode(make_chunk(plan, us, seq * chunk_samples)))
                             .open()});
    }
}

}  // namespace bridge_sim
