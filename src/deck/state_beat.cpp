// Lines that come with the music: beat, status, mixer, position.

#include <limits>

#include "deck/state.h"

namespace deckbus {

namespace {

// The beat of the next cue: c beats behind b, or 0 without one.
int32_t cue_beat_after(int32_t b, int32_t c) {
    if (c < 0) return 0;
    const int64_t sum = int64_t(b) + c;
    return int32_t(std::min<int64_t>(sum, std::numeric_limits<int32_t>::max()));
}

}  // namespace

void state::apply_beat(const json& line, player& p, int n, double t) {
    p.present = true;
    p.bpm = number(line, "bpm", p.bpm);
    p.pitch = number(line, "pitch", 0);
    p.beat_in_bar = integer32(line, "bb", 0);
    p.playing = true;  // a beat is proof of it
    p.beat_time = t;

    const int32_t b = integer32(line, "beat", -1);
    const int32_t c = integer32(line, "cue", -1);
    // A jump back lets the cues behind it fire again.
    if (b >= 1 && p.beat > 0 && b < p.beat) p.cue_fired_beat = 0;
    p.beat = b;
    p.cue_in = c;
    p.cue_beat = b < 1 ? 0 : cue_beat_after(b, c);
    p.on_air = flag(line, "air");
    // A beat gives the tempo to its player but never takes it away: status lines do.
    if (find_field(line, "master") != nullptr) p.master = flag(line, "master");
    if (p.master) set_master(n, t);

    add_event("beat",
              {{"n", n},
               {"bpm", p.effective_bpm()},
               {"bb", p.beat_in_bar},
               {"beat", b},
               {"cue", c},
               {"master", p.master},
               {"air", p.on_air}},
              t);
    // One beat fires one cue event, however often the bridge repeats the line.
    if (c != 0 || b < 1 || b == p.cue_fired_beat) return;
    p.cue_fired_beat = b;
    p.cue_time = t;
    add_event("cue", {{"n", n}, {"beat", b}, {"master", p.master}}, t);
}

void state::apply_status(const json& line, player& p, int n, double t) {
    p.present = true;
    p.bpm = number(line, "bpm", p.bpm);
    p.pitch = number(line, "pitch", 0);
    p.playing = flag(line, "play");
    p.on_air = flag(line, "air");
    p.sync = flag(line, "sync");
    p.master = flag(line, "master");

    const int32_t b = integer32(line, "beat", -1);
    const int32_t c = integer32(line, "cue", -1);
    // While playing the beat line alone moves the beat: status lines arrive late.
    if (!p.playing) {
        if (b > 0 && b < p.beat) p.cue_fired_beat = 0;
        p.beat = b;
        p.beat_in_bar = integer32(line, "bb", p.beat_in_bar);
    }
    // A status that disagrees with the latest beat leaves the countdown alone.
    if (b > 0 && b == p.beat) {
        p.cue_in = c;
        p.cue_beat = cue_beat_after(b, c);
    }
    follow_master(p, n, t);
}

void state::apply_mixer(const json& line, player& p, int n, double t) {
    p.present = true;
    p.type = type_mixer;
    p.bpm = number(line, "bpm", p.bpm);
    p.pitch = 0;
    p.beat_in_bar = integer32(line, "bb", p.beat_in_bar);
    p.master = flag(line, "master");
    follow_master(p, n, t);
}

void state::apply_position(const json& line, player& p, double t) {
    p.pos_ms = integer(line, "ms", 0);
    p.length_s = integer32(line, "len", 0);
    p.pos_time = t;
}

void state::follow_master(const player& p, int n, double t) {
    if (p.master) {
        set_master(n, t);
    } else if (n == master_player) {
        set_master(0, t);
    }
}

}  // namespace deckbus
