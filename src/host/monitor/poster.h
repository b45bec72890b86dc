#pragma once

// The picture of the decks as an image: cards, waveforms and phrases, one deck below the other.

#include "host/monitor/picture.h"
#include "host/monitor/raster.h"

namespace monitor {

inline constexpr int poster_width = 1600;

raster draw_poster(const set_picture& set);

}  // namespace monitor
