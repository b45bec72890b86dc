#include "host/texture_picture.h"

#include <algorithm>
#include <utility>

#include "host/monitor/theme.h"

namespace host {

namespace {

using monitor::color;

constexpr size_t pixel_bytes = 4;
constexpr int wave_height = 96, mark_height = 16, gap = 12;
constexpr int stripe_height = wave_height + mark_height + gap;
constexpr int beat_height = 6, downbeat_height = 12, loop_height = 3, point_width = 3;
constexpr int most = 255;  // of a channel

constexpr color ground{16, 18, 24};
constexpr color beat_color{110, 116, 130}, downbeat_color{220, 224, 232}, loop_color{255, 160, 40};

class picture {
public:
    picture(std::span<const uint8_t> from, int columns, int stripes)
        : pixels(from), width(columns), drawn(columns, stripes * stripe_height, ground) {}

    // Texture row `waves` with the marks of row `marks`, `count` columns of it, as one stripe.
    void add(int waves, int marks, int count, int32_t style) {
        for (int x = 0; x < count; ++x) draw_column(x, at(waves, x), style);
        for (int x = 0; x < count; ++x) draw_mark(x, at(marks, x));
        top += stripe_height;
    }

    monitor::raster take() { return std::move(drawn); }

private:
    std::span<const uint8_t> at(int row, int x) const {
        const size_t place = (size_t(row) * size_t(width) + size_t(x)) * pixel_bytes;
        return pixels.subspan(place, pixel_bytes);
    }

    void draw_column(int x, std::span<const uint8_t> pixel, int32_t style) {
        if (style != deckbus::style_three_band) {
            return draw_bar(x, pixel[3], {pixel[0], pixel[1], pixel[2]});
        }
        draw_bar(x, pixel[2], monitor::theme::high);
        draw_bar(x, pixel[1], monitor::theme::mid);
        draw_bar(x, pixel[0], monitor::theme::low);
    }

    void draw_bar(int x, int level, color tint) {
        const int height = level * wave_height / most;
        drawn.fill({x, top + (wave_height - height) / 2, 1, height}, tint);
    }

    void draw_mark(int x, std::span<const uint8_t> pixel) {
        const int below = top + wave_height;
        const uint8_t bits = pixel[3];
        if ((bits & deckbus::marker_beat) != 0) {
            const bool first = (bits & deckbus::marker_downbeat) != 0;
            drawn.fill({x, below, 1, first ? downbeat_height : beat_height},
                       first ? downbeat_color : beat_color);
        }
        if ((bits & deckbus::marker_loop) != 0) {
            drawn.fill({x, below + mark_height - loop_height, 1, loop_height}, loop_color);
        }
        if ((bits & deckbus::marker_point) != 0) {
            drawn.fill({x - point_width / 2, top, point_width, wave_height + mark_height},
                       {pixel[0], pixel[1], pixel[2]});
        }
    }

    std::span<const uint8_t> pixels;
    const int width;
    monitor::raster drawn;
    int top = 0;  // of the stripe that is drawn
};

}  // namespace

monitor::raster draw_texture(std::span<const uint8_t> pixels, const deckbus::deck_layout& layout,
                             int32_t detail_style, int32_t preview_style) {
    picture all(pixels, layout.width, layout.rows + 1);
    for (int row = 0; row < layout.rows; ++row) {
        const int left = layout.detail_count - row * layout.width;
        all.add(row, layout.rows + row, std::clamp(left, 0, layout.width), detail_style);
    }
    all.add(2 * layout.rows, 2 * layout.rows + 1, layout.preview_count, preview_style);
    return all.take();
}

}  // namespace host
