#pragma once

// Numbers in the form in which a deck shows them. Pure functions, any thread.

#include <string>

namespace monitor {

// Printf into a string. The format is a literal.
[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...);

// "3:07", or "3:07.4" with tenths; a track beyond an hour counts minutes on. Negative and absurd
// values give "-:--".
std::string time_text(double ms);
std::string time_text_tenths(double ms);

// "128.00", or "--.--" where no tempo is known.
std::string tempo_text(double bpm);

// "+6.67%"
std::string pitch_text(double percent);

// Beats as a player counts them down, bars and beats: "03.2".
std::string bars_text(int beats);

// "2:05:09" or "5:09"
std::string uptime_text(long long seconds);

}  // namespace monitor
