#include "host/monitor/wave_bar.h"

#include <algorithm>
#include <cmath>

#include "host/monitor/blocks.h"

namespace monitor {

namespace {

constexpr int ground_layer = 3;  // in place of a layer's number: nothing is drawn

// What the eight steps of a cell show, the one nearest the bar's foot first.
using cell_steps = std::array<int, eighths>;

// A cell in two parts: `split` steps of one layer at the foot's side, the rest of another.
struct cell_split {
    int split = 0;
    int near = ground_layer, far = ground_layer;
};

uint8_t peak_channel(const deckbus::waveform& w, int64_t from, int64_t to, int channel) {
    uint8_t peak = 0;
    for (int64_t i = from; i < to; ++i) peak = std::max(peak, w.rgba[size_t(i * 4 + channel)]);
    return peak;
}

// The bytes of a three-band column are the heights of low, low + mid and low + mid + high.
wave_bar banded_bar(const deckbus::waveform& w, int64_t from, int64_t to) {
    wave_bar bar;
    bar.count = 3;
    bar.layers[0] = {peak_channel(w, from, to, 2) / 255.0, theme::high};
    bar.layers[1] = {peak_channel(w, from, to, 1) / 255.0, theme::mid};
    bar.layers[2] = {peak_channel(w, from, to, 0) / 255.0, theme::low};
    return bar;
}

// Dark colours of loud columns would vanish on the dark ground.
color legible(color c) {
    constexpr int least = 96;
    const int brightest = std::max({c.r, c.g, c.b});
    if (brightest >= least) return c;
    return mix(c, theme::soft, double(least - brightest) / least);
}

wave_bar colored_bar(const deckbus::waveform& w, int64_t from, int64_t to) {
    int64_t best = from;
    for (int64_t i = from; i < to; ++i) {
        if (w.rgba[size_t(i * 4 + 3)] > w.rgba[size_t(best * 4 + 3)]) best = i;
    }
    const uint8_t* column = &w.rgba[size_t(best * 4)];
    wave_bar bar;
    bar.count = 1;
    bar.layers[0] = {column[3] / 255.0, legible({column[0], column[1], column[2]})};
    return bar;
}

// Steps of a cell that begins `below` steps above the foot of a bar `whole` steps high.
cell_steps steps_of(const wave_bar& bar, int below, int whole) {
    cell_steps steps;
    steps.fill(ground_layer);
    for (int layer = 0; layer < bar.count; ++layer) {
        const double height = bar.layers[size_t(layer)].height;
        // Whatever sounds is seen, be it one step high.
        const int top = height > 0 ? std::max(int(std::lround(height * whole)), 1) : 0;
        for (int i = 0; i < std::clamp(top - below, 0, eighths); ++i) steps[size_t(i)] = layer;
    }
    return steps;
}

int most_frequent(const cell_steps& steps, int from, int to, int& count) {
    std::array<int, ground_layer + 1> seen{};
    for (int i = from; i < to; ++i) ++seen[size_t(steps[size_t(i)])];
    const auto best = std::max_element(seen.begin(), seen.end());
    count = *best;
    return int(best - seen.begin());
}

cell_split best_split(const cell_steps& steps) {
    cell_split best;
    int best_kept = -1;
    for (int split = 0; split <= eighths; ++split) {
        int near_kept = 0, far_kept = 0;
        const int near = most_frequent(steps, 0, split, near_kept);
        const int far = most_frequent(steps, split, eighths, far_kept);
        if (near_kept + far_kept <= best_kept) continue;
        best_kept = near_kept + far_kept;
        best = {split, split == 0 ? far : near, split == eighths ? near : far};
    }
    return best;
}

color tint_of(const wave_bar& bar, int layer, color ground) {
    return layer == ground_layer ? ground : bar.layers[size_t(layer)].tint;
}

cell upward_cell(const wave_bar& bar, const cell_split& s, color ground) {
    if (s.near == s.far) {
        if (s.near == ground_layer) return {U' ', 0, theme::ink, ground, style_plain};
        return {full_block, 0, tint_of(bar, s.near, ground), ground, style_plain};
    }
    return {lower_block(s.split), 0, tint_of(bar, s.near, ground), tint_of(bar, s.far, ground),
            style_plain};
}

// The blocks grow upward only, so what hangs from the top is drawn reversed: the glyph is the
// part below it.
cell downward_cell(const wave_bar& bar, const cell_split& s, color ground) {
    if (s.near == s.far) return upward_cell(bar, s, ground);
    return {lower_block(eighths - s.split), 0, tint_of(bar, s.near, ground),
            tint_of(bar, s.far, ground), style_reverse};
}

}  // namespace

wave_bar peak_bar(const deckbus::waveform& w, int64_t from, int64_t to) {
    const int64_t columns = std::min<int64_t>(w.columns, int64_t(w.rgba.size() / 4));
    from = std::max<int64_t>(from, 0);
    to = std::min(to, columns);
    if (from >= to) return {};
    const bool banded = w.style == deckbus::style_three_band;
    return banded ? banded_bar(w, from, to) : colored_bar(w, from, to);
}

wave_bar single_layer(const wave_bar& bar) {
    wave_bar result = bar;
    result.count = std::min(bar.count, 1);
    return result;
}

wave_bar dimmed(wave_bar bar, color ground, double share) {
    for (wave_layer& layer : bar.layers) layer.tint = mix(layer.tint, ground, share);
    return bar;
}

void draw_bar_up(const area& on, int x, const wave_bar& bar, color ground) {
    const int whole = on.height() * eighths;
    for (int row = 0; row < on.height(); ++row) {
        const cell_split s = best_split(steps_of(bar, row * eighths, whole));
        on.set(x, on.height() - 1 - row, upward_cell(bar, s, ground));
    }
}

void draw_bar_mirrored(const area& on, int x, const wave_bar& bar, color ground) {
    const int half = on.height() / 2;
    for (int row = 0; row < half; ++row) {
        const cell_split s = best_split(steps_of(bar, row * eighths, half * eighths));
        on.set(x, half - 1 - row, upward_cell(bar, s, ground));
        on.set(x, half + row, downward_cell(bar, s, ground));
    }
}

}  // namespace monitor
