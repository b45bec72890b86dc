#include "host/monitor/layout.h"

#include <algorithm>

namespace monitor {

namespace {

constexpr int full_card = 15, small_card = 9;  // rows
constexpr int small_detail = 3, usual_detail = 7, tall_detail = 13;
constexpr int small_list = 6, usual_list = 10, least_list = 3;
constexpr int footer_from = 18;  // rows of a screen that has one

// Rows of each part.
struct shares {
    int cards = 0, detail = 0, lists = 0;
};

// Grows `part` by two rows a time, for each of `count`, while rows are left.
void grow(int& part, int count, int limit, int& left) {
    while (count > 0 && part > 0 && part + 2 <= limit && left >= 2 * count) {
        part += 2;
        left -= 2 * count;
    }
}

shares share_rows(int rows, int details, bool wants_lists) {
    shares s;
    if (wants_lists && rows >= full_card + 5 * details + small_list) s.lists = small_list;
    if (details > 0) s.detail = std::clamp((rows - s.lists - small_card) / details, 0, 5);
    // An even number of rows carries the waveform, and one its marks.
    if (s.detail > small_detail) s.detail = (s.detail - 1) / 2 * 2 + 1;
    if (s.detail < small_detail) s.detail = 0;
    s.cards = std::min(rows - s.lists - s.detail * details, full_card);
    int left = rows - s.lists - s.cards - s.detail * details;
    grow(s.detail, details, usual_detail, left);
    if (s.lists > 0) {
        const int more = std::min(left, usual_list - s.lists);
        s.lists += more;
        left -= more;
    }
    grow(s.detail, details, tall_detail, left);
    if (wants_lists && (s.lists > 0 || left >= least_list)) {
        s.lists += left;
    } else {
        s.cards += std::min(left, 1);
    }
    return s;
}

std::vector<rect> place_cards(int width, int y, int rows, int decks) {
    std::vector<rect> cards;
    constexpr int gap = 1;
    const int room = width - gap * (decks - 1);
    for (int i = 0; i < decks; ++i) {
        const int left = room * i / decks + gap * i;
        const int right = room * (i + 1) / decks + gap * i;
        cards.push_back({left, y, right - left, rows});
    }
    return cards;
}

void place_lists(screen_layout& l, rect space, panel_choice panel) {
    constexpr int gap = 1, least_both = 80;
    const bool both = panel == panel_choice::both && space.width >= least_both;
    const int left = (space.width - gap) * 3 / 5;
    if (both) {
        l.events = {space.x, space.y, left, space.height};
        l.history = {left + gap, space.y, space.width - left - gap, space.height};
    } else if (panel == panel_choice::history) {
        l.history = space;
    } else {
        l.events = space;
    }
}

}  // namespace

int decks_that_fit(int decks, int width) {
    return std::clamp((width + 1) / (least_card + 1), 1, std::max(decks, 1));
}

screen_layout lay_out(int width, int height, int decks, int details, panel_choice panel) {
    screen_layout l;
    l.too_small = width < least_width || height < least_height;
    if (l.too_small) return l;
    const int footer = height >= footer_from ? 1 : 0;
    l.status = {0, 0, width, 1};
    l.footer = {0, height - footer, width, footer};
    const int rows = height - 1 - footer;
    const bool wants_lists = panel != panel_choice::none;
    const shares s = decks > 0 ? share_rows(rows, details, wants_lists)
                               : shares{0, 0, wants_lists ? rows * 2 / 3 : 0};
    l.cards = decks > 0 ? place_cards(width, 1, s.cards, decks) : std::vector<rect>{};
    int y = 1 + s.cards;
    for (int i = 0; i < details && s.detail > 0; ++i) {
        l.details.push_back({0, y, width, s.detail});
        y += s.detail;
    }
    if (s.lists > 0) place_lists(l, {0, height - footer - s.lists, width, s.lists}, panel);
    return l;
}

}  // namespace monitor
