#include "host/monitor/screen.h"

#include <algorithm>
#include <string>

#include "host/monitor/deck_card.h"
#include "host/monitor/detail_scroller.h"
#include "host/monitor/format.h"
#include "host/monitor/layout.h"
#include "host/monitor/lists.h"
#include "host/monitor/status_line.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

using deck_list = std::vector<const deck_picture*>;

// The lowest numbers that fit, in the mixer's order.
deck_list decks_shown(const set_picture& set, int room) {
    deck_list decks;
    for (const deck_picture& d : set.decks) decks.push_back(&d);
    while (decks.size() > size_t(room)) {
        decks.erase(std::max_element(decks.begin(), decks.end(), [](const auto* a, const auto* b) {
            return a->number < b->number;
        }));
    }
    return decks;
}

deck_list details_shown(const deck_list& decks, int focus) {
    deck_list alone;
    for (const deck_picture* d : decks) {
        if (d->number == focus) alone.push_back(d);
    }
    return alone.empty() ? decks : alone;
}

void put_centered(const area& on, int y, const std::string& text, paint how) {
    on.put(std::max((on.width() - text_width(text)) / 2, 0), y, text, how);
}

void draw_nobody(const area& on, const link_picture& link) {
    const paint quiet{theme::soft, theme::ground, style_plain};
    put_centered(on, 2, link.connected ? "no deck on the network yet" : "not connected", quiet);
    if (!link.status.empty()) put_centered(on, 4, link.status, {theme::warning, theme::ground, 0});
}

void draw_too_small(const area& on) {
    const paint how{theme::warning, theme::ground, style_plain};
    const int y = on.height() / 2;
    put_centered(on, std::max(y - 1, 0), "window too small", how);
    put_centered(
        on, y, formatted("%dx%d, needs %dx%d", on.width(), on.height(), least_width, least_height),
        how);
}

}  // namespace

canvas draw_screen(const set_picture& set, const view& how, int width, int height) {
    canvas picture(width, height);
    const area whole(picture);
    const deck_list decks = decks_shown(set, decks_that_fit(int(set.decks.size()), width));
    const deck_list details = details_shown(decks, how.focus);
    const screen_layout l =
        lay_out(width, height, int(decks.size()), int(details.size()), how.panel);
    if (l.too_small) {
        draw_too_small(whole);
        return picture;
    }
    for (size_t i = 0; i < l.cards.size(); ++i) {
        draw_card(whole.part(l.cards[i]), *decks[i], set, how);
    }
    for (size_t i = 0; i < l.details.size(); ++i) {
        const area strip = whole.part(l.details[i]);
        draw_detail(strip, *details[i], how);
        if (set.air_known && !details[i]->on_air) strip.fade(theme::silent_fade);
    }
    if (decks.empty()) draw_nobody(whole, set.link);
    draw_events(whole.part(l.events), how);
    draw_history(whole.part(l.history), *set.history);
    draw_status(whole.part(l.status), set, how);
    draw_footer(whole.part(l.footer), how, int(set.decks.size() - decks.size()));
    if (how.help) draw_help(whole);
    return picture;
}

}  // namespace monitor
