#include "host/monitor/deck_card.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "host/monitor/big_digits.h"
#include "host/monitor/format.h"
#include "host/monitor/meters.h"
#include "host/monitor/phrase_strip.h"
#include "host/monitor/preview_strip.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

constexpr int wide_card = 40;    // from here on instruments stand beside the big tempo
constexpr int roomy_marks = 34;  // from here on MASTER, SYNC and ON AIR are written out
constexpr int tallest_preview = 4;
constexpr color ground = theme::panel;

struct card_context {
    const deck_picture& deck;
    const set_picture& set;
    const view& how;
};

paint plain(color ink) {
    return {ink, ground, style_plain};
}

paint bold(color ink) {
    return {ink, ground, style_bold};
}

// The marks from right to left, ending before `end`. The x where they begin.
int draw_marks(const area& row, int end, const deck_picture& d) {
    struct mark {
        const char* name;
        const char* letter;
        bool on;
        color tint;
    };
    const mark marks[] = {
        {" ON AIR ", "A", d.on_air, theme::on_air},
        {" SYNC ", "S", d.sync, theme::sync},
        {" MASTER ", "M", d.master, theme::master},
    };
    const bool roomy = row.width() >= roomy_marks;
    for (const mark& m : marks) {
        const paint how = m.on ? paint{theme::ground, m.tint, style_bold | style_badge}
                               : plain(mix(ground, theme::faint, 0.5));
        end = row.put_right(end, 0, roomy ? m.name : m.letter, how) - (roomy ? 1 : 0);
    }
    return end;
}

void draw_header(const area& row, const card_context& c) {
    const deck_picture& d = c.deck;
    const paint badge{theme::ground, d.playing ? theme::playing : theme::stopped,
                      style_bold | style_badge};
    const int x = row.put(0, 0, formatted(" %d ", d.number), badge);
    const int end = draw_marks(row, row.width(), d);
    row.put(x + 1, 0, d.name, plain(theme::faint), end - x - 2);
}

void draw_title(const area& row, const card_context& c) {
    const deck_picture& d = c.deck;
    if (!d.track) {
        row.put(0, 0, d.track_id.empty() ? "no track" : "loading " + d.track_id,
                plain(theme::faint));
        return;
    }
    int end = row.width();
    if (!d.track->key.empty() && row.width() >= 16) {
        end = row.put_right(end, 0, d.track->key, bold(theme::good)) - 1;
    }
    const std::string& title = d.track->title;
    row.put(0, 0, title.empty() ? d.track_id : title, bold(theme::ink), end);
}

void draw_artist(const area& row, const card_context& c) {
    const deck_picture& d = c.deck;
    if (!d.track) return;
    int end = row.width();
    if (row.width() >= 16 && d.duration_ms > 0) {
        end = row.put_right(end, 0, time_text(d.duration_ms), plain(theme::faint)) - 1;
    }
    const bool trouble = !d.problem.empty();
    row.put(0, 0, trouble ? d.problem : d.track->artist,
            plain(trouble ? theme::warning : theme::soft), end);
}

// With as many decimals as fit.
std::string big_tempo(const deck_picture& d, int width) {
    const std::string whole = tempo_text(d.effective_bpm);
    return big_width(whole) <= width ? whole : whole.substr(0, whole.size() - 1);
}

void draw_small_tempo(const area& row, const card_context& c) {
    const int x = row.put(0, 0, tempo_text(c.deck.bpm), plain(theme::soft));
    const bool moved = c.deck.pitch != 0;
    row.put(x + 1, 0, pitch_text(c.deck.pitch), plain(moved ? theme::ink : theme::faint));
}

void draw_lights(const area& row, const card_context& c) {
    draw_beat_lights(row, c.deck);
}

void draw_phase(const area& row, const card_context& c) {
    draw_phase_meter(row, c.deck, c.set);
}

// Big digits, with the instruments beside them where the card is wide.
void draw_tempo(const area& rows, const card_context& c) {
    const deck_picture& d = c.deck;
    const color ink = d.master ? theme::master : d.playing ? theme::bright : theme::soft;
    if (rows.height() < big_digit_rows) {
        const int x = rows.put(0, 0, tempo_text(d.effective_bpm), bold(ink));
        rows.put(x + 1, 0, pitch_text(d.pitch), plain(theme::soft));
        return;
    }
    const std::string tempo = big_tempo(d, rows.width());
    const int x = draw_big(rows, 0, tempo, ink, mix(ink, ground, 0.25)) + 3;
    if (rows.width() < wide_card) return;
    const area beside = rows.part({x, 0, rows.width() - x, rows.height()});
    draw_small_tempo(beside.row(0), c);
    if (d.beat > 0) {
        beside.put_right(beside.width(), 0, formatted("beat %d", d.beat), plain(theme::faint));
    }
    draw_lights(beside.row(1), c);
    draw_phase(beside.row(2), c);
}

// Alarmed while the last seconds of a playing track run out.
color remaining_tint(const deck_picture& d, double left_ms) {
    constexpr double soon_ms = 30000.0;
    return d.playing && left_ms >= 0 && left_ms < soon_ms ? theme::alarm : theme::soft;
}

// Elapsed and remaining time, and between them, where there is room, the next cue.
void draw_times(const area& row, const card_context& c) {
    const deck_picture& d = c.deck;
    const bool known = d.position_ms >= 0 && d.duration_ms > 0;
    const double left = known ? std::max(d.duration_ms - d.position_ms, 0.0) : -1;
    const auto text_of = row.width() >= 18 ? time_text_tenths : time_text;
    const int x = row.put(0, 0, text_of(d.position_ms), bold(theme::ink));
    const int end = row.put_right(row.width(), 0, text_of(left), bold(remaining_tint(d, left)));
    const int begin = row.put_right(end, 0, "-", bold(remaining_tint(d, left)));
    constexpr int countdown_least = 12, gap = 3;
    const area between = row.part({x + gap, 0, begin - x - 2 * gap, 1});
    if (between.width() >= countdown_least) draw_cue_countdown(between, d);
}

void draw_level_row(const area& row, const card_context& c) {
    draw_levels(row, c.deck);
}

void draw_cue_row(const area& row, const card_context& c) {
    draw_preview_cues(row, c.deck);
}

void draw_wave_rows(const area& rows, const card_context& c) {
    draw_preview(rows, c.deck, c.how);
}

void draw_minute_row(const area& row, const card_context& c) {
    draw_minutes(row, c.deck);
}

void draw_phrase_row(const area& row, const card_context& c) {
    draw_phrases(row, c.deck);
}

void draw_word_row(const area& row, const card_context& c) {
    draw_phrase_words(row, c.deck);
}

using draw_section = void (*)(const area& rows, const card_context& c);

// A section stands where it stands in the list; a lower rank gets its rows earlier.
struct section {
    int rank;
    int rows;
    draw_section draw;
};

using section_list = std::vector<section>;

section_list sections_for(int width, int height) {
    const int digits = height >= 6 && width >= 18 ? big_digit_rows : 1;
    const int wave = height >= 12 ? 2 : 1;
    if (width >= wide_card) {
        return {{0, 1, draw_header},     {1, 1, draw_title},        {8, 1, draw_artist},
                {2, digits, draw_tempo}, {3, 1, draw_times},        {9, 1, draw_level_row},
                {7, 1, draw_cue_row},    {4, wave, draw_wave_rows}, {10, 1, draw_minute_row},
                {5, 1, draw_phrase_row}, {6, 1, draw_word_row}};
    }
    return {{0, 1, draw_header},     {1, 1, draw_title},        {9, 1, draw_artist},
            {2, digits, draw_tempo}, {10, 1, draw_small_tempo}, {3, 1, draw_lights},
            {8, 1, draw_phase},      {4, 1, draw_times},        {12, 1, draw_level_row},
            {11, 1, draw_cue_row},   {5, wave, draw_wave_rows}, {13, 1, draw_minute_row},
            {6, 1, draw_phrase_row}, {7, 1, draw_word_row}};
}

// Drops the sections for which there is no room, and lets the preview grow into what is left.
section_list fitting_sections(int width, int height) {
    section_list all = sections_for(width, height);
    section_list by_rank = all;
    std::sort(by_rank.begin(), by_rank.end(),
              [](const section& a, const section& b) { return a.rank < b.rank; });
    int left = height, last_rank = -1;
    for (const section& s : by_rank) {
        if (s.rows > left) break;
        left -= s.rows;
        last_rank = s.rank;
    }
    std::erase_if(all, [&](const section& s) { return s.rank > last_rank; });
    for (section& s : all) {
        if (s.draw == draw_wave_rows) s.rows = std::min(s.rows + left, tallest_preview);
    }
    return all;
}

}  // namespace

void draw_card(const area& on, const deck_picture& deck, const set_picture& set, const view& how) {
    on.fill(ground);
    const card_context context{deck, set, how};
    const bool padded = on.width() >= 24;
    const area inside = padded ? on.part({1, 0, on.width() - 2, on.height()}) : on;
    int y = 0;
    for (const section& s : fitting_sections(inside.width(), inside.height())) {
        s.draw((s.draw == draw_header ? on : inside).row(y, s.rows), context);
        y += s.rows;
    }
    if (set.air_known && !deck.on_air) on.fade(theme::silent_fade);
}

}  // namespace monitor
