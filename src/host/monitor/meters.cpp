#include "host/monitor/meters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>

#include "host/monitor/blocks.h"
#include "host/monitor/format.h"

namespace monitor {

namespace {

constexpr double cue_flash_s = 0.25;

bool empty(const area& row) {
    return row.width() < 1 || row.height() < 1;
}

// A bar of `share` of the row, in eighths of a cell.
void draw_bar(const area& row, double share, color tint) {
    if (empty(row)) return;
    const color ground = row.find(0, 0)->ground;
    const color trough = mix(ground, tint, 0.13);
    const int steps = int(std::lround(std::clamp(share, 0.0, 1.0) * row.width() * eighths));
    for (int x = 0; x < row.width(); ++x) {
        const int here = std::clamp(steps - x * eighths, 0, eighths);
        row.set(x, 0, {left_block(here), 0, tint, trough, style_plain});
    }
}

color phase_tint(double ahead) {
    constexpr double tight = 0.04, loose = 0.12;
    const double off = std::fabs(ahead);
    return off < tight ? theme::good : off < loose ? theme::warning : theme::alarm;
}

}  // namespace

void draw_beat_lights(const area& row, const deck_picture& deck) {
    constexpr int lights = 4;
    if (empty(row)) return;
    const color ground = row.find(0, 0)->ground;
    const int width = std::max((row.width() - (lights - 1)) / lights, 1);
    for (int i = 0; i < lights; ++i) {
        const color tint = i == 0 ? theme::downbeat : theme::beat;
        const bool lit = deck.beat_in_bar == i + 1 && deck.playing;
        const bool held = deck.beat_in_bar == i + 1;
        const double glow = lit ? 1.0 - 0.55 * deck.beat_phase : held ? 0.4 : 0.14;
        const char32_t shape = held ? U'■' : U'□';
        for (int x = 0; x < width; ++x) {
            const bool last = row.width() < 2 * lights;
            row.set(i * (last ? 1 : width + 1) + x, 0,
                    {width > 1 ? (held ? U'▆' : U'▂') : shape, 0, mix(ground, tint, glow), ground,
                     style_plain});
        }
    }
}

void draw_phase_meter(const area& row, const deck_picture& deck, const set_picture& set) {
    if (empty(row)) return;
    const color ground = row.find(0, 0)->ground;
    const int center = row.width() / 2;
    for (int x = 0; x < row.width(); ++x) {
        row.set(x, 0, {x == center ? U'┼' : U'─', 0, theme::rule, ground, style_plain});
    }
    double ahead = 0;
    if (!phase_against_master(deck, set, ahead)) return;
    const color tint = deck.master ? theme::master : phase_tint(ahead);
    const int reach = std::max((row.width() - 1) / 2, 0);
    const int x = center + int(std::lround(ahead * 2 * reach));
    row.set(std::clamp(x, 0, row.width() - 1), 0, {U'◆', 0, tint, ground, style_bold});
}

void draw_levels(const area& row, const deck_picture& deck) {
    constexpr std::array<const char*, 3> names{"LOW", "MID", "HIGH"};
    constexpr std::array<color, 3> tints{theme::low, theme::mid, theme::high};
    if (empty(row)) return;
    const color ground = row.find(0, 0)->ground;
    const int third = (row.width() + 1) / 3;
    const bool roomy = third >= 10;
    for (int i = 0; i < 3; ++i) {
        const area one = row.part({i * third, 0, std::min(third - 1, row.width() - i * third), 1});
        const std::string name = roomy ? names[size_t(i)] : std::string(1, names[size_t(i)][0]);
        const int used = one.put(0, 0, name, {theme::faint, ground, style_plain});
        const double level = deck.playing ? double(deck.levels[size_t(i)]) : 0.0;
        draw_bar(one.part({used + 1, 0, one.width() - used - 1, 1}), level, tints[size_t(i)]);
    }
}

void draw_cue_countdown(const area& row, const deck_picture& deck) {
    if (empty(row)) return;
    const color ground = row.find(0, 0)->ground;
    const bool flash = deck.since_cue_s >= 0 && deck.since_cue_s < cue_flash_s;
    const bool counting = deck.beats_to_cue >= 0;
    const color tint = flash ? theme::bright : counting ? theme::warning : theme::faint;
    int x = row.put(
        0, 0, "CUE ",
        {flash ? theme::ground : theme::faint, flash ? theme::warning : ground, style_plain});
    x = row.put(x, 0, bars_text(deck.beats_to_cue), {tint, ground, style_bold});
    if (row.width() - x < 4) return;
    const double ramp = flash ? 1.0 : deck.cue_ramp;
    draw_bar(row.part({x + 1, 0, row.width() - x - 1, 1}), ramp, tint);
}

}  // namespace monitor
