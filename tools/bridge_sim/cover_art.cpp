#include "bridge_sim/cover_art.h"

#include <array>
#include <cmath>

#include "bridge_sim/jpeg_file.h"
#include "bridge_sim/portable_math.h"
#include "bridge_sim/random_source.h"

namespace bridge_sim {

namespace {

constexpr int cover_pixels = 240;

using color = std::array<double, 3>;  // red, green, blue, 0 to 1

// A hue in turns, its saturation and brightness, as a colour.
color from_hue(double hue, double saturation, double value) {
    color out;
    for (size_t i = 0; i < 3; i++) {
        const double wave = 0.5 + 0.5 * sine_of_turns(hue + 0.25 - double(i) / 3.0);
        out[i] = value * (1.0 - saturation * (1.0 - wave));
    }
    return out;
}

color blend(const color& a, const color& b, double share) {
    color out;
    for (size_t i = 0; i < 3; i++) out[i] = a[i] + (b[i] - a[i]) * clamp_unit(share);
    return out;
}

// What the shapes of a cover are painted with.
struct palette {
    explicit palette(random_source& random) {
        const double hue = random.unit(), apart = 0.30 + 0.25 * random.unit();
        sky_top = from_hue(hue, 0.75, 0.16);
        sky_bottom = from_hue(hue + 0.08, 0.80, 0.62);
        bright = from_hue(hue + apart, 0.70, 1.0);
        pale = from_hue(hue + apart + 0.06, 0.25, 1.0);
    }

    color sky_top, sky_bottom, bright, pale;
};

// A place on the cover, -1 to 1 from left to right and from top to bottom.
struct place {
    double x, y;
};

double distance(place p, double x, double y) {
    return std::sqrt((p.x - x) * (p.x - x) + (p.y - y) * (p.y - y));
}

// Share of a shape at a signed distance from its edge, one pixel soft.
double inside(double edge_distance) {
    constexpr double pixel = 2.0 / cover_pixels;
    return 1.0 - smooth_step(-pixel, pixel, edge_distance);
}

// A low sun, cut by bars that widen downwards, over dark hills.
color paint_sun(const palette& paint, place p, uint64_t seed) {
    color out = blend(paint.sky_top, paint.sky_bottom, 0.5 + 0.5 * p.y);
    const double disc = inside(distance(p, 0.0, -0.05) - 0.58);
    const double bar =
        p.y > 0.0 ? inside(0.10 + 0.35 * p.y - 0.5 - 0.5 * sine_of_turns(p.y * 7.0)) : 1.0;
    out = blend(out, blend(paint.pale, paint.bright, 0.5 + 0.8 * p.y), disc * bar);
    for (int hill = 0; hill < 3; hill++) {
        const double phase = unit_of(hash_of(seed, 11, uint64_t(hill)));
        const double top = 0.48 + 0.16 * hill +
                           0.12 * sine_of_turns(p.x * (0.45 + 0.25 * hill) + phase) +
                           0.04 * sine_of_turns(p.x * 1.7 + 3.0 * phase);
        out = blend(out, blend(paint.sky_bottom, paint.sky_top, 0.45 + 0.27 * hill),
                    inside(top - p.y));
    }
    return out;
}

// Rings around a point outside the middle, bent a little.
color paint_rings(const palette& paint, place p, uint64_t seed) {
    const double cx = 0.9 * unit_of(hash_of(seed, 12)) - 0.45;
    const double cy = 0.9 * unit_of(hash_of(seed, 13)) - 0.45;
    const double far = distance(p, cx, cy);
    const double wave = sine_of_turns(far * 4.5 + 0.18 * sine_of_turns(p.x * 0.8 + p.y * 0.6));
    color out = blend(paint.sky_bottom, paint.sky_top, far * 0.8);
    out = blend(out, paint.bright, smooth_step(0.35, 0.55, wave) * (1.15 - 0.6 * far));
    return blend(out, paint.pale, inside(far - 0.11));
}

// A field of discs that swell along a diagonal wave.
color paint_discs(const palette& paint, place p, uint64_t seed) {
    constexpr double cells = 4.5;  // from the middle to the edge
    const double gx = (p.x + 1.0) * cells, gy = (p.y + 1.0) * cells;
    const double cx = double(int(gx)) + 0.5, cy = double(int(gy)) + 0.5;
    const double swell =
        0.5 + 0.5 * sine_of_turns((cx + cy * 0.6) / 9.0 + unit_of(hash_of(seed, 14)));
    const double radius = 0.10 + 0.36 * swell;
    const double edge = (std::sqrt((gx - cx) * (gx - cx) + (gy - cy) * (gy - cy)) - radius) / cells;
    const color ground = blend(paint.sky_top, paint.sky_bottom, 0.35 + 0.25 * (p.x - p.y));
    return blend(ground, blend(paint.bright, paint.pale, swell), inside(edge));
}

// Layers of waves, each brighter than the one behind it.
color paint_waves(const palette& paint, place p, uint64_t seed) {
    constexpr int layers = 6;
    color out = blend(paint.sky_top, paint.sky_bottom, 0.4 + 0.4 * p.y);
    out = blend(out, paint.pale, inside(distance(p, 0.45, -0.55) - 0.17));
    for (int layer = 0; layer < layers; layer++) {
        const double phase = unit_of(hash_of(seed, 15, uint64_t(layer)));
        const double top =
            -0.35 + 0.23 * layer + 0.13 * sine_of_turns(p.x * (0.35 + 0.1 * layer) + phase);
        const double share = double(layer) / (layers - 1);
        out = blend(out, blend(paint.sky_bottom, paint.bright, share), inside(top - p.y));
    }
    return out;
}

color paint_at(const palette& paint, place p, uint64_t seed) {
    switch (seed % 4) {
    case 0: return paint_sun(paint, p, seed);
    case 1: return paint_rings(paint, p, seed);
    case 2: return paint_discs(paint, p, seed);
    default: return paint_waves(paint, p, seed);
    }
}

}  // namespace

bytes draw_cover(uint64_t seed) {
    random_source random(seed);
    const palette paint(random);
    bytes pixels;
    pixels.reserve(size_t(cover_pixels) * cover_pixels * 3);
    for (int y = 0; y < cover_pixels; y++) {
        for (int x = 0; x < cover_pixels; x++) {
            const place p{(2.0 * x + 1.0) / cover_pixels - 1.0,
                          (2.0 * y + 1.0) / cover_pixels - 1.0};
            for (double share : paint_at(paint, p, seed)) {
                pixels.push_back(uint8_t(scale_to(share, 255)));
            }
        }
    }
    return encode_jpeg(pixels, cover_pixels, cover_pixels);
}

}  // namespace bridge_sim
