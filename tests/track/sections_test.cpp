#include "track/sections.h"

#include <gtest/gtest.h>

#include <string>

using namespace deckbus;

namespace {

// A track at 120 beats a minute: a beat lasts 500 ms or 75 columns, a bar 300 columns.
constexpr int columns_per_beat = 75;

struct stretch {
    int beats;
    uint8_t low, mid, high;
};

waveform make_detail(const std::vector<stretch>& stretches, int32_t style = style_rgb) {
    waveform out;
    out.style = style;
    out.is_detail = true;
    for (const stretch& s : stretches)
        for (int i = 0; i < s.beats * columns_per_beat; ++i)
            out.bands.insert(out.bands.end(), {s.low, s.mid, s.high});
    out.columns = int32_t(out.bands.size() / 3);
    out.rgba.resize(size_t(out.columns) * 4);
    return out;
}

// first_downbeat 0: no downbeat among the first eight.
beat_grid make_grid(int beats, int first_downbeat = 1) {
    beat_grid out;
    for (int i = 0; i < beats; ++i) {
        const bool down = first_downbeat > 0 && (i - first_downbeat + 1) % 4 == 0;
        out.bar_beat.push_back(down ? 1 : 2);
        out.bpm_x100.push_back(12000);
        out.time_ms.push_back(uint32_t(i) * 500);
    }
    return out;
}

// One letter a bar: L loud, l loud in the low band but weak in the rest, q quiet.
waveform make_bars(const std::string& bars) {
    std::vector<stretch> out;
    for (const char c : bars) {
        if (c == 'L') out.push_back({4, 200, 100, 100});
        if (c == 'l') out.push_back({4, 200, 10, 10});
        if (c == 'q') out.push_back({4, 20, 80, 80});
    }
    return make_detail(out);
}

std::string described(const std::vector<phrase>& phrases) {
    std::string out;
    for (const phrase& p : phrases)
        out += std::to_string(p.beat) + "-" + std::to_string(p.end_beat) + " " + p.name + "/" +
               p.group + (p.detected ? "*; " : "; ");
    return out;
}

TEST(detect_sections, runs_of_bars) {
    struct row {
        const char* what;
        const char* bars;
        const char* phrases;
    };
    const row rows[] = {
        {"intro, drop, outro", "qqqqLLLLqqqq",
         "1-17 Intro/intro*; 17-33 Drop/drop*; 33-49 Outro/outro*; "},
        {"break in the middle", "qqqqLLLLqqqqLLLL",
         "1-17 Intro/intro*; 17-33 Drop/drop*; 33-49 Break/break*; 49-65 Drop/drop*; "},
        {"loud from the start", "LLLLqqqq", "1-17 Drop/drop*; 17-33 Outro/outro*; "},
        {"weak ends, weak middle", "llllqqqqllllqqqqLLLLqqqqllll",
         "1-17 Intro/intro*; 17-33 Break/break*; 33-49 Drop/drop*; 49-65 Break/break*; "
         "65-81 Drop/drop*; 81-97 Break/break*; 97-113 Outro/outro*; "},
        {"a single loud bar is absorbed", "qqqqLqqqLLLLqqqq",
         "1-33 Intro/intro*; 33-49 Drop/drop*; 49-65 Outro/outro*; "},
        {"a single bar at the start goes with the next", "LqqqLLLL",
         "1-17 Intro/intro*; 17-33 Drop/drop*; "},
        {"two single bars at the start", "LqLLLLLLqqqq",
         "1-9 Intro/intro*; 9-33 Drop/drop*; 33-49 Outro/outro*; "},
        {"a single bar at the end", "qqqqLLLq", "1-17 Intro/intro*; 17-33 Drop/drop*; "},
        {"alternating bars become one", "LqLqLqLq", ""},
        {"snapped back from 5", "qqqqqLLLLLLLqqqq",
         "1-17 Intro/intro*; 17-49 Drop/drop*; 49-65 Outro/outro*; "},
        {"snapped on from 7", "qqqqqqqLLLLLLLLL", "1-33 Intro/intro*; 33-65 Drop/drop*; "},
        {"6 stays", "qqqqqqLLLLLLLLLL", "1-25 Intro/intro*; 25-65 Drop/drop*; "},
        {"not onto the boundary before", "qqqLLqqqLLLL",
         "1-17 Intro/intro*; 17-21 Drop/drop*; 21-33 Break/break*; 33-49 Drop/drop*; "},
        {"one level", "LLLLLLLLLLLL", ""},
        {"silence", "............", ""},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const std::string bars = r.bars;
        const waveform detail = bars[0] == '.' ? make_detail({{48, 0, 0, 0}}) : make_bars(bars);
        EXPECT_EQ(described(detect_sections(make_grid(int(bars.size()) * 4), detail)), r.phrases);
    }
}

TEST(detect_sections, what_gives_no_ground) {
    const waveform good = make_bars("qqqqLLLL");
    ASSERT_FALSE(detect_sections(make_grid(32), good).empty());
    waveform blue = good, cut = good, silent_low = good;
    blue.style = style_blue;
    cut.bands.pop_back();
    for (size_t i = 0; i < silent_low.bands.size(); i += 3) silent_low.bands[i] = 5;  // of 255
    struct row {
        const char* what;
        beat_grid grid;
        waveform detail;
    };
    beat_grid stuck = make_grid(32);
    stuck.time_ms[8] = stuck.time_ms[4];
    const row rows[] = {
        {"blue", make_grid(32), blue},
        {"no waveform", make_grid(32), {}},
        {"bands cut", make_grid(32), cut},
        {"no grid", {}, good},
        {"31 beats", make_grid(31), good},
        {"first downbeat too late", make_grid(32, 2), good},
        {"a bar without columns", stuck, good},
        {"grid past the waveform", make_grid(40), good},
        {"no usable low band", make_grid(32), silent_low},
        {"short grid without downbeat", make_grid(7, 0), good},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_TRUE(detect_sections(r.grid, r.detail).empty());
    }
}

TEST(detect_sections, bars_count_from_the_first_downbeat) {
    const waveform detail = make_detail({{18, 20, 80, 80}, {18, 200, 100, 100}});
    EXPECT_EQ(described(detect_sections(make_grid(36, 3), detail)),
              "1-19 Intro/intro*; 19-37 Drop/drop*; ");
    // Without a downbeat among the first eight they count from beat 1, and bar 4 holds both.
    EXPECT_EQ(described(detect_sections(make_grid(36, 0), detail)),
              "1-17 Intro/intro*; 17-37 Drop/drop*; ");
    beat_grid late = make_grid(36, 0);
    late.bar_beat[8] = 1;
    EXPECT_EQ(detect_sections(late, detail)[1].beat, 17);
}

// A last beat behind the last column is harmless as long as each bar has a column.
TEST(detect_sections, last_beat_behind_the_waveform) {
    waveform detail = make_bars("qqqqLLLL");
    detail.columns -= columns_per_beat + 10;
    detail.bands.resize(size_t(detail.columns) * 3);
    EXPECT_EQ(described(detect_sections(make_grid(32), detail)),
              "1-17 Intro/intro*; 17-33 Drop/drop*; ");
}

// Sections and buildup of a whole track with a rise in its break: 16 bars of intro, 16 of drop,
// a break of 8 bars at the end of which mid and high rise for 4, and 16 bars of drop.
TEST(detect_sections, rise_before_a_drop) {
    std::vector<stretch> track = {{64, 10, 60, 60}, {64, 200, 100, 100}, {16, 10, 50, 50}};
    for (const uint8_t level : std::vector<uint8_t>{50, 60, 75, 90})
        track.push_back({4, 10, level, level});
    track.push_back({64, 200, 100, 100});
    EXPECT_EQ(described(detect_sections(make_grid(224), make_detail(track))),
              "1-65 Intro/intro*; 65-129 Drop/drop*; 129-145 Break/break*; "
              "145-161 Buildup/buildup*; 161-225 Drop/drop*; ");
}

TEST(find_buildups, where_a_break_is_split) {
    struct row {
        const char* what;
        std::vector<uint8_t> levels;  // of the break's chunks of four beats
        int extra_beats;              // in front of the first chunk
        const char* split;            // what becomes of the break
    };
    const row rows[] = {
        {"five chunks rounded to four",
         {100, 100, 110, 120, 130, 140},
         0,
         "1-9 Break/break; 9-25 Buildup/buildup*; "},
        {"the whole break", {100, 110, 120, 140}, 0, "1-17 Buildup/buildup*; "},
        {"beats in front of the chunks",
         {100, 110, 120, 140},
         3,
         "1-4 Break/break; 4-20 Buildup/buildup*; "},
        {"a fall ends the rise",
         {200, 100, 110, 120, 140},
         0,
         "1-5 Break/break; 5-21 Buildup/buildup*; "},
        {"dips of 5 % belong to it", {100, 120, 115, 140}, 0, "1-17 Buildup/buildup*; "},
        {"larger dips end it", {100, 120, 114, 140}, 0, "1-17 Break/break; "},
        {"less than 25 %", {100, 110, 120, 124}, 0, "1-17 Break/break; "},
        {"25 %", {100, 110, 120, 125}, 0, "1-17 Buildup/buildup*; "},
        {"too late", {100, 100, 100, 140}, 0, "1-17 Break/break; "},
        {"three chunks at the end",
         {100, 100, 100, 120, 140},
         0,
         "1-13 Break/break; 13-21 Buildup/buildup*; "},
        {"the foot may be 8 % above the lowest",
         {100, 106, 108, 120, 140},
         0,
         "1-13 Break/break; 13-21 Buildup/buildup*; "},
        {"silence below", {0, 100, 120, 140}, 0, "1-17 Break/break; "},
        {"15 beats", {100, 120, 140}, 3, "1-16 Break/break; "},
        {"16 beats", {100, 110, 120, 140}, 0, "1-17 Buildup/buildup*; "},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        std::vector<stretch> track = {{r.extra_beats, 0, 250, 0}};
        for (const uint8_t level : r.levels) track.push_back({4, 0, level, 0});
        track.push_back({8, 0, 250, 0});
        const int end = int(r.levels.size()) * 4 + r.extra_beats + 1;
        const std::string drop = std::to_string(end) + "-99 Drop/drop; ";
        const std::vector<phrase> stored = {{1, end, "Break", "break", false},
                                            {end, 99, "Drop", "drop", false}};
        EXPECT_EQ(described(find_buildups(stored, make_grid(end + 7), make_detail(track))),
                  r.split + drop);
    }
}

TEST(find_buildups, where_nothing_is_split) {
    const waveform rise = make_detail(
        {{4, 0, 100, 0}, {4, 0, 110, 0}, {4, 0, 120, 0}, {4, 0, 140, 0}, {8, 0, 200, 0}},
        style_blue);
    const auto stored = [](int start, int end, const char* group, const char* next) {
        return std::vector<phrase>{{start, end, "A", group, false}, {end, 99, "B", next, false}};
    };
    const std::vector<phrase> last = {{1, 17, "A", "break", false}};
    struct row {
        const char* what;
        std::vector<phrase> phrases;
        int grid_beats;
        bool split;
    };
    const row rows[] = {
        {"break before a drop, in a blue waveform", stored(1, 17, "break", "drop"), 24, true},
        {"grid ends with the break", stored(1, 17, "break", "drop"), 16, true},
        {"grid ends a beat before", stored(1, 17, "break", "drop"), 15, false},
        {"grid of 7 beats", stored(1, 17, "break", "drop"), 7, false},
        {"verse before a drop", stored(1, 17, "verse", "drop"), 24, false},
        {"break before a verse", stored(1, 17, "break", "verse"), 24, false},
        {"break at the end", last, 24, false},
        {"from beat 0", stored(0, 16, "break", "drop"), 24, false},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const auto result = find_buildups(r.phrases, make_grid(r.grid_beats), rise);
        EXPECT_EQ(described(result) != described(r.phrases), r.split);
        EXPECT_EQ(described(find_buildups(r.phrases, make_grid(r.grid_beats), {})),
                  described(r.phrases));
    }
}

}  // namespace
