#include "host/monitor/raster.h"

#include <png.h>

#include <algorithm>

#include "host/monitor/pixel_font.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

raster::raster(int width, int height, color ground)
    : columns(std::max(width, 1)),
      rows(std::max(height, 1)),
      rgb(size_t(columns) * size_t(rows) * 3) {
    fill({0, 0, columns, rows}, ground);
}

void raster::fill(rect r, color c) {
    const int left = std::max(r.x, 0), right = std::min(r.x + r.width, columns);
    const int top = std::max(r.y, 0), bottom = std::min(r.y + r.height, rows);
    for (int y = top; y < bottom; ++y) {
        uint8_t* p = &rgb[(size_t(y) * size_t(columns)) * 3];
        for (int x = left; x < right; ++x) {
            p[x * 3] = c.r;
            p[x * 3 + 1] = c.g;
            p[x * 3 + 2] = c.b;
        }
    }
}

color raster::at(int x, int y) const {
    const uint8_t* p = &rgb[(size_t(y) * size_t(columns) + size_t(x)) * 3];
    return {p[0], p[1], p[2]};
}

void raster::fade(rect r, color ground, double share) {
    const int right = std::min(r.x + r.width, columns), bottom = std::min(r.y + r.height, rows);
    for (int y = std::max(r.y, 0); y < bottom; ++y) {
        for (int x = std::max(r.x, 0); x < right; ++x) {
            fill({x, y, 1, 1}, mix(at(x, y), ground, share));
        }
    }
}

int raster::text(int x, int y, std::string_view words, int scale, color c, int width) {
    const int end = x + width;
    for (const glyph& g : glyphs_of(words)) {
        if (x + font_width * scale > end) break;
        const font_glyph& shape = font_glyph_of(g.base);
        for (int row = 0; row < font_height; ++row) {
            for (int i = 0; i < font_width; ++i) {
                if ((shape[size_t(row)] >> (font_width - 1 - i) & 1) == 0) continue;
                fill({x + i * scale, y + row * scale, scale, scale}, c);
            }
        }
        x += font_advance * scale;
    }
    return x;
}

int raster::text_right(int end, int y, std::string_view words, int scale, color c) {
    const int x = end - pixel_width(words, scale);
    text(x, y, words, scale, c);
    return x;
}

int pixel_width(std::string_view words, int scale) {
    const int letters = int(glyphs_of(words).size());
    return letters == 0 ? 0 : (letters * font_advance - 1) * scale;
}

bool write_png(const raster& picture, const std::string& path, std::string& error) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = png_uint_32(picture.width());
    image.height = png_uint_32(picture.height());
    image.format = PNG_FORMAT_RGB;
    if (png_image_write_to_file(&image, path.c_str(), 0, picture.bytes().data(), 0, nullptr) != 0) {
        return true;
    }
    error = "Cannot write " + path + ": " + image.message;
    return false;
}

}  // namespace monitor
