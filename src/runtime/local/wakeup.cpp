#include "runtime/local/wakeup.h"

#include <cmath>
#include <ctime>

namespace {

timespec to_timespec(double s) {
    constexpr double ns_per_s = 1e9, longest = 1e9;  // thirty years; a double holds its seconds
    const double whole = std::floor(std::fmin(std::fmax(s, 0.0), longest));
    const double rest = std::fmin(std::fmax(s - whole, 0.0), 0.999999999);
    return {time_t(whole), long(rest * ns_per_s)};
}

}  // namespace

void tvr_wakeup::wakeup() {
    pthread_mutex_lock(&mutex);
    woken = true;
    pthread_cond_signal(&rung);
    pthread_mutex_unlock(&mutex);
}

bool tvr_wakeup::wait_for_wakeup(double until) {
    const timespec limit = to_timespec(until);
    pthread_mutex_lock(&mutex);
    int failed = 0;
    while (!woken && failed == 0) {
        failed = pthread_cond_clockwait(&rung, &mutex, CLOCK_MONOTONIC, &limit);
    }
    const bool rang = woken;
    woken = false;
    pthread_mutex_unlock(&mutex);
    return rang;
}
