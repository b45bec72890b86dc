#include "host/monitor/color.h"

#include <algorithm>
#include <cmath>
#include <string_view>

namespace monitor {

namespace {

constexpr color basic[16] = {
    {0, 0, 0},     {205, 0, 0},     {0, 205, 0},     {205, 205, 0},   {0, 0, 238}, {205, 0, 205},
    {0, 205, 205}, {229, 229, 229}, {127, 127, 127}, {255, 0, 0},     {0, 255, 0}, {255, 255, 0},
    {92, 92, 255}, {255, 0, 255},   {0, 255, 255},   {255, 255, 255},
};

constexpr uint8_t cube_level[6] = {0, 95, 135, 175, 215, 255};

// Squared distance, the channels weighted as the eye weighs them.
int distance(color a, color b) {
    const int r = a.r - b.r, g = a.g - b.g, blue = a.b - b.b;
    return 3 * r * r + 6 * g * g + 2 * blue * blue;
}

int nearest_level(uint8_t v) {
    int best = 0;
    for (int i = 1; i < 6; ++i) {
        if (std::abs(cube_level[i] - v) < std::abs(cube_level[best] - v)) best = i;
    }
    return best;
}

bool contains(std::string_view text, std::string_view part) {
    return text.find(part) != std::string_view::npos;
}

}  // namespace

color_depth depth_of(const char* no_color, const char* colorterm, const char* term) {
    if (no_color != nullptr && *no_color != '\0') return color_depth::none;
    const std::string_view kind = term == nullptr ? "" : term;
    const std::string_view promise = colorterm == nullptr ? "" : colorterm;
    if (kind.empty() || kind == "dumb") return color_depth::none;
    if (promise == "truecolor" || promise == "24bit") return color_depth::truecolor;
    if (contains(kind, "direct")) return color_depth::truecolor;
    if (contains(kind, "256color")) return color_depth::ansi256;
    return color_depth::ansi16;
}

color mix(color a, color b, double share) {
    const double s = std::clamp(share, 0.0, 1.0);
    auto blend = [s](uint8_t x, uint8_t y) { return uint8_t(std::lround(x + (y - x) * s)); };
    return {blend(a.r, b.r), blend(a.g, b.g), blend(a.b, b.b)};
}

color palette_color(int index) {
    constexpr int cube = 16, grey = 232;
    if (index < cube) return basic[std::max(index, 0)];
    if (index < grey) {
        const int i = index - cube;
        return {cube_level[i / 36], cube_level[i / 6 % 6], cube_level[i % 6]};
    }
    const uint8_t v = uint8_t(8 + 10 * (std::min(index, 255) - grey));
    return {v, v, v};
}

int nearest_256(color c) {
    const int in_cube = 16 + 36 * nearest_level(c.r) + 6 * nearest_level(c.g) + nearest_level(c.b);
    const int mean = (c.r + c.g + c.b) / 3;
    const int grey = 232 + std::clamp((mean - 3) / 10, 0, 23);
    const bool greyer = distance(c, palette_color(grey)) < distance(c, palette_color(in_cube));
    return greyer ? grey : in_cube;
}

int nearest_16(color c) {
    int best = 0;
    for (int i = 1; i < 16; ++i) {
        if (distance(c, basic[i]) < distance(c, basic[best])) best = i;
    }
    return best;
}

}  // namespace monitor
