#pragma once

// Made-up decks for the tests of the picture.

#include <string>

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"

namespace monitor::test {

// A waveform whose columns are silent but for `loud`, which reach their full height.
deckbus::waveform spiky_wave(int style, int columns, std::initializer_list<int> loud);

// A track of 60 s at 120 beats a minute with cues, a loop and three phrases.
std::shared_ptr<track_picture> some_track();

// A deck that plays some_track() at 20 s.
deck_picture some_deck(int number);

// `count` decks from number 1 on, in the mixer's order; the first is master.
set_picture some_set(int count);

// What stands in a row, each cell one code point.
std::string row_text(const canvas& picture, int y);

bool shows(const canvas& picture, const std::string& words);

}  // namespace monitor::test
