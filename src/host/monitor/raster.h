#pragma once

// A picture in pixels, and what is needed to draw decks on it. One thread at a time.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/monitor/canvas.h"
#include "host/monitor/color.h"

namespace monitor {

class raster {
public:
    raster(int columns, int rows, color ground);

    int width() const { return columns; }
    int height() const { return rows; }

    // Drawing outside the picture is cut off.
    void fill(rect r, color c);

    // Lets a part of the picture sink into `ground`.
    void fade(rect r, color ground, double share);

    // Text in the small font, each of its pixels `scale` wide, in at most `width` pixels. The x
    // behind it.
    int text(int x, int y, std::string_view words, int scale, color c, int width = 1 << 20);

    // The same, ending before `end`. The x where it begins.
    int text_right(int end, int y, std::string_view words, int scale, color c);

    color at(int x, int y) const;

    // Three bytes a pixel, row after row.
    const std::vector<uint8_t>& bytes() const { return rgb; }

private:
    int columns, rows;
    std::vector<uint8_t> rgb;
};

// Pixels that a text takes.
int pixel_width(std::string_view words, int scale);

// Writes the picture as PNG. False, with the reason in `error`, when that failed. Blocks on the
// file.
bool write_png(const raster& picture, const std::string& path, std::string& error);

}  // namespace monitor
