#pragma once

// Waveforms: six layouts of the DJ network in, one form out.
//
// A player delivers a track's waveform in three styles, each as a coarse preview and a fine
// detail. decode_waveform() turns all of them into columns of a display colour with alpha and
// three band levels, so nothing behind it knows which it was. Pure functions, any thread.

#include <cstdint>
#include <span>
#include <string_view>

#include "track/bytes.h"

namespace deckbus {

// A detail column is 1/150 of a second; a preview spreads the track over its columns.
inline constexpr double detail_columns_per_s = 150.0;

// The column of a time, for the analyses: truncated.
inline int64_t detail_column(double ms) {
    return int64_t(ms * detail_columns_per_s / 1000.0);
}

enum waveform_style : int32_t {
    style_none = 0,
    style_blue = 1,
    style_rgb = 2,
    style_three_band = 3,
};

struct waveform {
    // "blue", "rgb", "3band", or the empty text for style_none.
    const char* style_name() const;

    // The loudest low, mid and high, 0 to 1, of the columns center - radius to center + radius.
    // Zeros where that range holds no column.
    void levels(int center, int radius, std::span<float, 3> out) const;

    int32_t style = style_none;
    bool is_detail = false;
    int32_t columns = 0;  // below 1 means no waveform, whatever else is set
    bytes rgba;           // 4 bytes a column: red, green, blue, alpha
    bytes bands;          // 3 bytes a column: low, mid, high, each band scaled to its own peak
};

// fmt is "blue", "rgb" or "3band", compared exactly; anything else gives style_none. Data too
// short for one column gives the style and no columns. Never fails.
waveform decode_waveform(std::span<const uint8_t> data, std::string_view fmt, bool detail);

}  // namespace deckbus
