#pragma once

// The block glyphs that bars and waveforms are made of.

#include <algorithm>

namespace monitor {

inline constexpr char32_t full_block = 0x2588;
inline constexpr char32_t upper_half = 0x2580;
inline constexpr int eighths = 8;  // of a cell

// Blank to full, growing upward.
constexpr char32_t lower_block(int n) {
    return n <= 0 ? U' ' : char32_t(0x2580 + std::min(n, eighths));
}

// Blank to full, growing to the right.
constexpr char32_t left_block(int n) {
    return n <= 0 ? U' ' : char32_t(0x2590 - std::min(n, eighths));
}

}  // namespace monitor
