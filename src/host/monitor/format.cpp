#include "host/monitor/format.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstdio>

namespace monitor {

namespace {

constexpr double longest_ms = 100.0 * 3600.0 * 1000.0;  // nothing on a deck lasts longer
constexpr double fastest_bpm = 1000.0;

bool shown(double ms) {
    return std::isfinite(ms) && ms >= 0 && ms < longest_ms;
}

}  // namespace

std::string formatted(const char* format, ...) {
    char buffer[256];
    va_list values;
    va_start(values, format);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start stands above
    const int n = std::vsnprintf(buffer, sizeof buffer, format, values);
    va_end(values);
    return n < 0 ? std::string() : std::string(buffer, std::min(size_t(n), sizeof buffer - 1));
}

std::string time_text(double ms) {
    if (!shown(ms)) return "-:--";
    const int64_t s = int64_t(ms / 1000.0);
    return formatted("%d:%02d", int(s / 60), int(s % 60));
}

std::string time_text_tenths(double ms) {
    if (!shown(ms)) return "-:--.-";
    return time_text(ms) + formatted(".%d", int(int64_t(ms / 100.0) % 10));
}

std::string tempo_text(double bpm) {
    if (!std::isfinite(bpm) || bpm <= 0 || bpm >= fastest_bpm) return "--.--";
    return formatted("%.2f", bpm);
}

std::string pitch_text(double percent) {
    if (!std::isfinite(percent) || std::fabs(percent) >= 1000.0) return "--.--%";
    return formatted("%+.2f%%", percent);
}

std::string bars_text(int beats) {
    return beats < 0 ? "--.-" : formatted("%02d.%d", beats / 4, beats % 4);
}

std::string uptime_text(long long seconds) {
    const long long s = std::max(seconds, 0LL);
    if (s < 3600) return formatted("%lld:%02lld", s / 60, s % 60);
    return formatted("%lld:%02lld:%02lld", s / 3600, s / 60 % 60, s % 60);
}

}  // namespace monitor
