#pragma once

// The one palette of the monitor: quiet dark grounds, and colours that mean something.

#include <string_view>

#include "host/monitor/color.h"

namespace monitor::theme {

inline constexpr color ground{11, 13, 17};
inline constexpr color panel{20, 23, 30};
inline constexpr color rule{48, 55, 69};
inline constexpr color faint{82, 91, 108};
inline constexpr color soft{139, 149, 167};
inline constexpr color ink{222, 228, 238};
inline constexpr color bright{255, 255, 255};

inline constexpr color playing{52, 208, 88};
inline constexpr color stopped{92, 100, 116};
inline constexpr color master{255, 159, 42};
inline constexpr color sync{74, 163, 255};
inline constexpr color on_air{255, 76, 76};
inline constexpr color good{52, 208, 88};
inline constexpr color warning{255, 190, 60};
inline constexpr color alarm{255, 76, 76};

inline constexpr color beat{240, 244, 250};
inline constexpr color downbeat{255, 64, 64};
inline constexpr color playhead{255, 255, 255};
inline constexpr color loop{245, 140, 20};

// The bands of a waveform, and of the meters.
inline constexpr color low{42, 98, 246};
inline constexpr color mid{246, 164, 46};
inline constexpr color high{246, 246, 240};

// How much of a deck that is not heard sinks into the ground.
inline constexpr double silent_fade = 0.55;

// The colour of a phrase's group, soft for an unknown one.
constexpr color phrase_color(std::string_view group) {
    if (group == "intro") return {226, 90, 96};
    if (group == "verse") return {86, 132, 246};
    if (group == "buildup") return {244, 170, 48};
    if (group == "break") return {46, 184, 184};
    if (group == "drop") return {88, 200, 84};
    if (group == "outro") return {164, 112, 226};
    return soft;
}

}  // namespace monitor::theme
