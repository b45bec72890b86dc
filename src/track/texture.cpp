#include <algorithm>
#include <cmath>
#include <cstring>

#include "track/track.h"

namespace deckbus {
namespace {

constexpr int32_t texture_width = 4096;
constexpr size_t pixel_bytes = 4;

// Columns of a place in time, anywhere: a cue may lie behind the waveform.
int64_t nearest_column(double ms) {
    constexpr double columns_per_ms = 0.15;
    return std::llround(ms * columns_per_ms);
}

// A row of marker pixels. The detail's rows follow each other without a gap, so they count as
// one long row.
class marker_row {
public:
    marker_row(uint8_t* start, int64_t length) : pixels(start), count(length) {}

    bool holds(int64_t at) const { return at >= 0 && at < count; }

    void mark(int64_t at, uint8_t bits) { pixels[size_t(at) * pixel_bytes + 3] |= bits; }

    void mark_point(int64_t at, const rgb_color& color) {
        std::memcpy(pixels + size_t(at) * pixel_bytes, color.data(), color.size());
        mark(at, marker_point);
    }

    // Both ends included; what lies outside the row is left out. Lists are sorted by start, so
    // what the last loop covered need not be marked again: many long loops cost no more than one.
    void mark_loop(int64_t from, int64_t to) {
        from = std::max<int64_t>(from, 0);
        to = std::min(to, count - 1);
        const bool follows = from >= covered_from && from <= covered_to;
        if (!follows) covered_from = covered_to = from;
        for (; covered_to <= to; ++covered_to) mark(covered_to, marker_loop);
    }

    int64_t size() const { return count; }

private:
    uint8_t* pixels;
    int64_t count;
    int64_t covered_from = 0, covered_to = 0;  // the last stretch of loops, end not included
};

uint8_t* row_start(bytes& image, int32_t row) {
    return image.data() + size_t(row) * texture_width * pixel_bytes;
}

// Several columns fall on one pixel. The one of most alpha wins, but a later one of less alpha
// and more blue still takes its place: it keeps the colour of previews that thin out.
size_t best_column(const bytes& rgba, size_t first, size_t end) {
    const auto alpha = [&](size_t i) { return rgba[i * pixel_bytes + 3]; };
    const auto blue = [&](size_t i) { return rgba[i * pixel_bytes + 2]; };
    size_t best = first;
    for (size_t i = first; i < end; ++i)
        if (alpha(i) > alpha(best) || blue(i) > blue(best)) best = i;
    return best;
}

void draw_preview(const waveform& preview, int32_t pixels, uint8_t* row) {
    const auto columns = size_t(preview.columns), count = size_t(pixels);
    for (size_t x = 0; x < count; ++x) {
        const size_t first = x * columns / count;
        const size_t end = std::min(std::max(first + 1, (x + 1) * columns / count), columns);
        const size_t best = best_column(preview.rgba, first, end);
        std::memcpy(row + x * pixel_bytes, &preview.rgba[best * pixel_bytes], pixel_bytes);
    }
}

void mark_beats(const beat_grid& grid, marker_row& row) {
    for (size_t i = 0; i < grid.beats(); ++i) {
        const int64_t column = nearest_column(grid.time_ms[i]);
        if (!row.holds(column)) continue;
        row.mark(column, grid.bar_beat[i] == 1 ? marker_beat | marker_downbeat : marker_beat);
    }
}

void mark_cue_in_detail(const cue& point, marker_row& row) {
    const rgb_color color = point.display_color();
    const int64_t start = nearest_column(double(point.ms));
    if (row.holds(start)) row.mark_point(start, color);
    if (point.end_ms <= point.ms) return;
    const int64_t end = std::min(nearest_column(double(point.end_ms)), row.size() - 1);
    row.mark_loop(start, end);
    if (end >= 0) row.mark_point(end, color);
}

// A place on the preview, truncated. Metadata can give a track any length, so the quotient may
// be huge; what lies beyond the row is put right behind it.
int64_t preview_pixel(int64_t ms, double duration_ms, int64_t count) {
    const double place = double(ms) / duration_ms * double(count);
    return int64_t(std::clamp(place, -1.0, double(count)));
}

void mark_cue_in_preview(const cue& point, double duration_ms, marker_row& row) {
    const int64_t start = preview_pixel(point.ms, duration_ms, row.size());
    if (row.holds(start)) row.mark_point(start, point.display_color());
    if (point.end_ms > point.ms)
        row.mark_loop(start, preview_pixel(point.end_ms, duration_ms, row.size()));
}

}  // namespace

deck_layout track::layout() const {
    deck_layout out;
    out.width = texture_width;
    out.rows = std::max((detail.columns + texture_width - 1) / texture_width, 1);
    out.height = 2 * out.rows + 2;
    out.detail_count = detail.columns;
    out.preview_count = std::min(preview.columns, texture_width);
    return out;
}

bytes track::texture() const {
    const deck_layout size = layout();
    bytes image(size_t(size.width) * size_t(size.height) * pixel_bytes);
    if (size.detail_count > 0) std::copy(detail.rgba.begin(), detail.rgba.end(), image.begin());
    if (size.preview_count > 0)
        draw_preview(preview, size.preview_count, row_start(image, 2 * size.rows));

    marker_row detail_row(row_start(image, size.rows), size.detail_count);
    marker_row preview_row(row_start(image, 2 * size.rows + 1), size.preview_count);
    const double duration = duration_ms();
    mark_beats(grid, detail_row);
    for (const cue& point : cues) {
        if (size.detail_count > 0) mark_cue_in_detail(point, detail_row);
        if (size.preview_count > 0 && duration > 0)
            mark_cue_in_preview(point, duration, preview_row);
    }
    return image;
}

}  // namespace deckbus
