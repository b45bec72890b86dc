#include "runtime/local/wakeup.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <ctime>

namespace {

timespec to_timespec(double s) {
    constexpr double ns_per_s = 1e9, longest = 1e9;  // thirty years; a double holds its seconds
    const double whole = std::floor(std::fmin(std::fmax(s, 0.0), longest));
    const double rest = std::fmin(std::fmax(s - whole, 0.0), 0.999999999);
    return {time_t(whole), long(rest * ns_per_s)};
}

// Sleeps while the word is 0. False once the steady clock has reached the limit.
bool sleep_on(std::atomic<uint32_t>& word, const timespec& limit) {
    const long failed = ::syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, 0, &limit, nullptr,
                                  FUTEX_BITSET_MATCH_ANY);
    return failed == 0 || errno != ETIMEDOUT;
}

}  // namespace

void tvr_wakeup::wakeup() {
    const int saved = errno;  // a handler must leave it as it was
    if (rung.exchange(1) == 0) ::syscall(SYS_futex, &rung, FUTEX_WAKE_PRIVATE, 1);
    errno = saved;
}

bool tvr_wakeup::wait_for_wakeup(double until) {
    const timespec limit = to_timespec(until);
    while (rung.exchange(0) == 0) {
        if (!sleep_on(rung, limit)) return rung.exchange(0) != 0;
    }
    return true;
}
