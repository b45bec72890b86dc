#pragma once

// The little mathematics whose results end in bytes of a recording.
//
// Only + - * / and rounding of doubles, which are exact everywhere; the sine of the system's
// library may differ in its last bit. Pure, any thread.

#include <cstdint>

namespace bridge_sim {

// The sine of an angle given in turns (1 is a full circle), within 0.0002.
double sine_of_turns(double turns);

double clamp_unit(double x);

// x of 0 to 1 as an integer of 0 to top, rounded to nearest and clamped.
int scale_to(double x, int top);

// 0 at and below lo, 1 at and above hi, smooth between. Needs lo < hi.
double smooth_step(double lo, double hi, double x);

}  // namespace bridge_sim
