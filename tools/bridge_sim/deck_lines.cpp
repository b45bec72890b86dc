#include "bridge_sim/deck_lines.h"

#include <algorithm>

#include "bridge_sim/deck_view.h"
#include "bridge_sim/line_writer.h"

namespace bridge_sim {

namespace {

constexpr int64_t status_every_us = 200'000;
constexpr int64_t position_every_us = 100'000;
constexpr int64_t mixer_every_us = 500'000;
constexpr int64_t air_every_us = 1'000'000;

void add(line_list& lines, int64_t us, const line_writer& line) {
    lines.push_back({us, true, line.open()});
}

line_writer status_line(int deck, const deck_view& view) {
    line_writer line("st");
    line.integer("n", deck);
    if (view.track != nullptr) {
        line.decimal("bpm", view.track->tempo_at(view.beat), 2);
    } else {
        line.integer("bpm", 0);
    }
    line.decimal("pitch", view.pitch_x100, 2)
        .flag("play", view.playing)
        .flag("air", view.on_air)
        .flag("sync", view.track != nullptr)
        .flag("master", view.master)
        .integer("beat", view.beat)
        .integer("bb", bar_beat(view.beat))
        .integer("cue", view.cue_in);
    return line;
}

void add_status(const set_plan& plan, int deck, line_list& lines) {
    int64_t us = first_us + 137'000 + deck * 37'000;
    for (; us < plan.end_us; us += status_every_us) {
        add(lines, us, status_line(deck, view_deck(plan, deck, us)));
    }
}

void add_positions(const set_plan& plan, int deck, line_list& lines) {
    int64_t us = first_us + 50'000 + deck * 11'000;
    for (; us < plan.end_us; us += position_every_us) {
        const deck_view view = view_deck(plan, deck, us);
        if (view.track == nullptr) continue;
        add(lines, us,
            line_writer("pos")
                .integer("n", deck)
                .integer("ms", view.pos_us / 1000)
                .integer("len", view.track->length_us / us_per_s));
    }
}

void add_beat(const set_plan& plan, const planned_track& p, int64_t set_beat, line_list& lines) {
    const int64_t us = plan.clock.us_of(set_beat) + deck_lag_us(p.deck);
    const deck_view view = view_beat(plan, p, set_beat);
    add(lines, us,
        line_writer("beat")
            .integer("n", p.deck)
            .decimal("bpm", p.track.tempo_at(view.beat), 2)
            .decimal("pitch", view.pitch_x100, 2)
            .integer("bb", bar_beat(view.beat))
            .integer("beat", view.beat)
            .integer("cue", view.cue_in)
            .flag("air", view.on_air)
            .flag("master", view.master));
}

void add_beats(const set_plan& plan, line_list& lines) {
    for (const planned_track& p : plan.tracks) {
        for (const play_span& span : p.spans) {
            for (int64_t beat = span.from; beat < span.to; beat++) {
                if (plan.clock.us_of(beat) >= plan.end_us) break;
                add_beat(plan, p, beat, lines);
            }
        }
    }
}

void add_mixer(const set_plan& plan, line_list& lines) {
    for (int64_t us = first_us + 400'000; us < plan.end_us; us += mixer_every_us) {
        const int master = master_deck(plan, us);
        const deck_view view = master > 0 ? view_deck(plan, master, us) : deck_view{};
        line_writer line("mix");
        line.integer("n", mixer_number);
        if (view.effective_x100 > 0) {
            line.decimal("bpm", view.effective_x100, 2);
        } else {
            line.integer("bpm", 0);
        }
        add(lines, us, line.integer("bb", bar_beat(view.beat)).flag("master", false));
    }
}

std::string channels(const set_plan& plan, int64_t us) {
    constexpr int mixer_channels = 4;
    std::string bits(size_t(std::max(plan.wish.decks, mixer_channels)), '0');
    for (int deck = 1; deck <= plan.wish.decks; deck++) {
        if (view_deck(plan, deck, us).on_air) bits[size_t(deck - 1)] = '1';
    }
    return bits;
}

// Once a second, and at once when a fader opens or closes.
void add_air(const set_plan& plan, line_list& lines) {
    constexpr int64_t look_every_us = 10'000;
    std::string last;
    int64_t due = first_us + 300'000;
    for (int64_t us = due; us < plan.end_us; us += look_every_us) {
        std::string now = channels(plan, us);
        if (us < due && now == last) continue;
        add(lines, us, line_writer("air").flags("ch", now));
        if (us >= due) due += air_every_us;
        last = now;
    }
}

}  // namespace

void add_deck_lines(const set_plan& plan, line_list& lines) {
    for (int deck = 1; deck <= plan.wish.decks; deck++) {
        add_status(plan, deck, lines);
        add_positions(plan, deck, lines);
    }
    add_beats(plan, lines);
    add_mixer(plan, lines);
    add_air(plan, lines);
}

}  // namespace bridge_sim
