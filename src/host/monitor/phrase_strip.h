#pragma once

// The phrases of a track as a coloured strip under its preview, and the present one in words.
// Pure functions.

#include "host/monitor/canvas.h"
#include "host/monitor/picture.h"

namespace monitor {

// One row, as wide as the preview above it; the present phrase stands out.
void draw_phrases(const area& row, const deck_picture& deck);

// "Verse 2  ▸ Drop in 12", with a bar that fills towards the next phrase.
void draw_phrase_words(const area& row, const deck_picture& deck);

}  // namespace monitor
