#include <gtest/gtest.h>

#include "host/monitor/color.h"
#include "host/monitor/event_text.h"
#include "host/monitor/format.h"
#include "host/monitor/keys.h"
#include "host/monitor/pixel_font.h"
#include "host/monitor/terminal_text.h"

namespace {

using namespace monitor;

TEST(utf8, strange_bytes_become_safe_text) {
    struct row {
        const char* what;
        std::string_view bytes;
        const char* safe;
        int width;
    };
    const row rows[] = {
        {"plain", "Verse 2", "Verse 2", 7},
        {"escape sequence", "a\x1b[2Jb\x07", "a[2Jb", 5},
        {"C1 control",
         "a\xC2\x9B"
         "2Jb",
         "a2Jb", 4},
        {"line end", "a\nb\tc", "a b c", 5},
        {"combining mark", "e\xCC\x81t", "e\xCC\x81t", 2},
        {"mark without a base", "\xCC\x81t", "t", 1},
        {"wide", "漢字", "漢字", 4},
        {"direction override",
         "a\xE2\x80\xAE"
         "b",
         "ab", 2},
        {"lone continuation", "a\x80z", "a\xEF\xBF\xBDz", 3},
        {"overlong", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD", 2},
        {"surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD", 3},
        {"cut short", "a\xF0\x9F\x8E", "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD", 4},
        {"beyond the last", "\xF5\x80\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD",
         4},
        {"outside the first plane", "\xF0\x9F\x8E\xA7", "\xF0\x9F\x8E\xA7", 2},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(safe_text(r.bytes), r.safe);
        EXPECT_EQ(text_width(r.bytes), r.width);
    }
}

TEST(utf8, fitting_never_splits_a_glyph) {
    struct row {
        const char* text;
        int width;
        const char* fitting;
    };
    const row rows[] = {
        {"Intro", 5, "Intro"}, {"Intro", 4, "Int…"}, {"Intro", 1, "…"}, {"Intro", 0, ""},
        {"漢字", 4, "漢字"},   {"漢字", 3, "漢…"},   {"漢字", 2, "…"},
    };
    for (const row& r : rows) {
        EXPECT_EQ(fit_text(r.text, r.width), r.fitting) << r.text << " in " << r.width;
    }
}

TEST(color, depth_follows_the_environment) {
    struct row {
        const char *no_color, *colorterm, *term;
        color_depth depth;
    };
    const row rows[] = {
        {nullptr, "truecolor", "xterm-256color", color_depth::truecolor},
        {nullptr, "24bit", "xterm", color_depth::truecolor},
        {nullptr, nullptr, "tmux-256color", color_depth::ansi256},
        {nullptr, "", "xterm", color_depth::ansi16},
        {nullptr, nullptr, "xterm-direct", color_depth::truecolor},
        {"1", "truecolor", "xterm-256color", color_depth::none},
        {"", "truecolor", "xterm-256color", color_depth::truecolor},
        {nullptr, "truecolor", "dumb", color_depth::none},
        {nullptr, nullptr, nullptr, color_depth::none},
    };
    for (const row& r : rows) {
        EXPECT_EQ(depth_of(r.no_color, r.colorterm, r.term), r.depth)
            << (r.term == nullptr ? "no TERM" : r.term);
    }
}

TEST(color, palettes_give_the_nearest) {
    struct row {
        const char* what;
        color c;
        int in_256, in_16;
    };
    const row rows[] = {
        {"black", {0, 0, 0}, 16, 0},       {"white", {255, 255, 255}, 231, 15},
        {"red", {255, 0, 0}, 196, 9},      {"dark grey", {10, 10, 10}, 232, 0},
        {"grey", {118, 118, 118}, 243, 8}, {"orange", {255, 135, 0}, 208, 3},
        {"blue", {10, 10, 240}, 21, 4},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(nearest_256(r.c), r.in_256);
        EXPECT_EQ(nearest_16(r.c), r.in_16);
    }
}

TEST(color, every_palette_entry_finds_itself) {
    for (int i = 16; i < 256; ++i) {
        EXPECT_EQ(palette_color(nearest_256(palette_color(i))), palette_color(i)) << i;
    }
}

TEST(keys, bytes_become_keys) {
    using list = std::vector<key>;
    struct row {
        const char* what;
        std::vector<std::string_view> pieces;
        list keys;
    };
    const row rows[] = {
        {"plain", {"q"}, {key::quit}},
        {"several", {"+-0\t"}, {key::zoom_in, key::zoom_out, key::zoom_reset, key::next_deck}},
        {"arrow", {"\x1b[A"}, {key::zoom_in}},
        {"application arrow", {"\x1bOB"}, {key::zoom_out}},
        {"arrow in pieces", {"\x1b", "[", "A"}, {key::zoom_in}},
        {"unknown sequence, then a key", {"\x1b[15~q"}, {key::quit}},
        {"mouse report that holds letters", {"\x1b[<0;12;7Me"}, {key::panel}},
        {"two escapes, then an arrow", {"\x1b\x1b[B"}, {key::zoom_out}},
        {"alt and a key is no key", {"\x1bq"}, {}},
        {"not for us", {"xyz\x80\xff"}, {}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        key_reader reader;
        list keys;
        for (std::string_view piece : r.pieces) {
            for (key k : reader.read(piece)) keys.push_back(k);
        }
        EXPECT_EQ(keys, r.keys);
    }
}

TEST(keys, an_endless_sequence_does_not_swallow_keys_for_ever) {
    key_reader reader;
    std::string endless = "\x1b[";
    endless.append(100, '1');
    reader.read(endless);
    EXPECT_EQ(reader.read("q"), std::vector<key>{key::quit});
}

TEST(format, numbers_as_a_deck_shows_them) {
    EXPECT_EQ(time_text(0), "0:00");
    EXPECT_EQ(time_text_tenths(187449), "3:07.4");
    EXPECT_EQ(time_text(4271000), "71:11");
    EXPECT_EQ(time_text(-1), "-:--");
    EXPECT_EQ(time_text(1e300), "-:--");
    EXPECT_EQ(tempo_text(127.996), "128.00");
    EXPECT_EQ(tempo_text(0), "--.--");
    EXPECT_EQ(pitch_text(-8.571), "-8.57%");
    EXPECT_EQ(bars_text(13), "03.1");
    EXPECT_EQ(bars_text(-1), "--.-");
    EXPECT_EQ(uptime_text(7509), "2:05:09");
}

TEST(event_text, events_in_words) {
    using deckbus::json;
    struct row {
        const char* kind;
        json data;
        const char* words;
    };
    const row rows[] = {
        {"beat",
         {{"n", 2}, {"bpm", 128.0}, {"bb", 3}, {"beat", 7}, {"cue", 16}, {"air", true}},
         "deck 2  3/4  beat 7  128.00 bpm  cue in 16  on air"},
        {"master", {{"n", 0}}, "none"},
        {"track", {{"n", 1}, {"id", nullptr}}, "deck 1  empty"},
        {"meta", {{"id", "1:3:9"}, {"title", "Night\x1b[2J"}, {"artist", ""}}, "1:3:9  Night[2J"},
        {"disconnected", {{"port", "/dev/ttyACM0"}, {"reason", "gone"}}, "/dev/ttyACM0: gone"},
        {"restart", json::object(), "the bridge started anew"},
        {"later", {{"x", 1}}, "{\"x\":1}"},
        {"warn", {{"msg", 7}}, ""},
    };
    for (const row& r : rows) EXPECT_EQ(event_words({r.kind, r.data, 0}), r.words) << r.kind;
}

TEST(pixel_font, letters_outside_ascii) {
    struct row {
        char32_t c;
        char base;
    };
    const row rows[] = {{U'A', 'A'}, {U'ü', 'u'},  {U'ß', 's'}, {U'É', 'E'}, {U'ž', 'z'},
                        {U'ł', 'l'}, {U'’', '\''}, {U'漢', 0},  {0x7F, 0},   {0x180, 0}};
    for (const row& r : rows) EXPECT_EQ(ascii_base(r.c), r.base) << uint32_t(r.c);
    EXPECT_EQ(font_glyph_of(U'ü'), font_glyph_of(U'u'));
    EXPECT_NE(font_glyph_of(U'漢'), font_glyph_of(U' '));
}

}  // namespace
