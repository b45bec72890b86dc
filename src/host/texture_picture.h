#pragma once

// A deck's texture as a person can look at it: columns grow to bars, marks to lines. Pure.
//
// Every row of the texture becomes a stripe of 4096 pixels: the bars of its columns, mirrored, and
// below them its marks. The preview stands last. What a column means depends on the style: of a
// three-band waveform red, green and blue are the heights of low, low and mid, and all bands; of
// any other alpha is the height of a bar in this colour.

#include <span>

#include "host/monitor/raster.h"
#include "track/track.h"

namespace host {

// The pixels as track::texture() gives them; styles of deckbus::waveform_style.
monitor::raster draw_texture(std::span<const uint8_t> pixels, const deckbus::deck_layout& layout,
                             int32_t detail_style, int32_t preview_style);

}  // namespace host
