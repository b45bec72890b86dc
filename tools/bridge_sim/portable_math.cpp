#include "bridge_sim/portable_math.h"

#include <cmath>

namespace bridge_sim {

double sine_of_turns(double turns) {
    double whole = double(int64_t(turns));
    double x = turns - whole;  // -1 to 1
    if (x < 0) x += 1.0;
    // Fold to a quarter turn, where the series needs few terms.
    double sign = 1.0;
    if (x >= 0.5) {
        x -= 0.5;
        sign = -1.0;
    }
    if (x > 0.25) x = 0.5 - x;
    constexpr double two_pi = 6.283185307179586;
    const double a = x * two_pi, a2 = a * a;
    return sign * a * (1.0 - a2 / 6.0 * (1.0 - a2 / 20.0 * (1.0 - a2 / 42.0)));
}

double clamp_unit(double x) {
    if (!(x > 0.0)) return 0.0;
    return x > 1.0 ? 1.0 : x;
}

int scale_to(double x, int top) {
    return int(std::lround(clamp_unit(x) * double(top)));
}

double smooth_step(double lo, double hi, double x) {
    const double u = clamp_unit((x - lo) / (hi - lo));
    return u * u * (3.0 - 2.0 * u);
}

}  // namespace bridge_sim
