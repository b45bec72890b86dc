#include "fixture.h"

#include <algorithm>

#include "base/utf8.h"
#include "host/monitor/terminal_text.h"

namespace monitor::test {

deckbus::waveform spiky_wave(int style, int columns, std::initializer_list<int> loud) {
    deckbus::waveform w;
    w.style = style;
    w.columns = columns;
    const bool banded = style == deckbus::style_three_band;
    for (int i = 0; i < columns; ++i) {
        const uint8_t silent[4] = {0, 0, 0, uint8_t(banded ? 255 : 0)};
        w.rgba.insert(w.rgba.end(), silent, silent + 4);
    }
    for (int i : loud) std::fill_n(w.rgba.begin() + i * 4, 4, uint8_t(255));
    w.bands.assign(size_t(columns) * 3, 128);
    return w;
}

std::shared_ptr<track_picture> some_track() {
    auto t = std::make_shared<track_picture>();
    t->id = "1:3:1";
    t->title = "Night Bus";
    t->artist = "Nobody";
    t->key = "Am";
    t->preview = spiky_wave(deckbus::style_rgb, 1200, {0, 400, 1199});
    t->detail = spiky_wave(deckbus::style_three_band, 9000, {0, 3000, 8999});
    for (uint32_t beat = 0; beat < 120; ++beat) {
        t->grid.bar_beat.push_back(uint8_t(beat % 4 + 1));
        t->grid.bpm_x100.push_back(12000);
        t->grid.time_ms.push_back(beat * 500);
    }
    t->cues = {{"hot", 1, 20100, -1, "Dröp 漢", {}, false},
               {"memory", 0, 30000, -1, "", {}, false},
               {"loop", 0, 40000, 44000, "", {}, false}};
    t->phrases = {{1, 33, "Intro", "intro", false},
                  {33, 65, "Verse 1", "verse", false},
                  {65, 121, "Outro", "outro", false}};
    t->phrases_from = "rekordbox";
    return t;
}

deck_picture some_deck(int number) {
    deck_picture d;
    d.number = number;
    d.name = "PLAYER";
    d.playing = d.on_air = true;
    d.bpm = 120;
    d.effective_bpm = 126;
    d.pitch = 5;
    d.beat = 41;
    d.beat_in_bar = 1;
    d.beat_phase = 0.25;
    d.beats_to_cue = 12;
    d.cue_ramp = 0.25;
    d.position_ms = 20000;
    d.duration_ms = 60000;
    d.levels = {1, 0.5F, 0.1F};
    d.track_id = "1:3:1";
    d.complete = true;
    d.track = some_track();
    return d;
}

set_picture some_set(int count) {
    set_picture set;
    for (int n = 1; n <= count; ++n) set.decks.push_back(some_deck(n));
    std::sort(set.decks.begin(), set.decks.end(),
              [](const auto& a, const auto& b) { return stands_left_of(a.number, b.number); });
    set.air_known = true;
    if (count == 0) return set;
    set.master = 1;
    set.master_bpm = 126;
    set.master_phase = 0.25;
    for (deck_picture& d : set.decks) d.master = d.number == 1;
    return set;
}

std::string row_text(const canvas& picture, int y) {
    std::string text;
    for (int x = 0; x < picture.width(); ++x) {
        const char32_t c = picture.at(x, y).glyph;
        if (c != 0) tvr_append_utf8(text, c);
    }
    return text;
}

bool shows(const canvas& picture, const std::string& words) {
    for (int y = 0; y < picture.height(); ++y) {
        if (row_text(picture, y).find(words) != std::string::npos) return true;
    }
    return false;
}

}  // namespace monitor::test
