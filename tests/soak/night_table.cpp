// What a night comes to, as one table.

#include <sys/resource.h>

#include <algorithm>
#include <cstdio>

#include "night.h"

namespace soak {

namespace {

// Of all children that have ended, and so of everything but the driver.
double processor_s() {
    constexpr double us_per_s = 1e6;
    rusage used{};
    getrusage(RUSAGE_CHILDREN, &used);
    return double(used.ru_utime.tv_sec + used.ru_stime.tv_sec) +
           double(used.ru_utime.tv_usec + used.ru_stime.tv_usec) / us_per_s;
}

std::string number(const watched& of, const char* what) {
    const auto found = of.counts.find(what);
    return found == of.counts.end() ? "none" : std::to_string(found->second);
}

void row(const char* what, const std::string& value) {
    std::printf("%-36s %s\n", what, value.c_str());
}

void print_sample(const char* when, const sample& s) {
    std::printf("  %-20s %8.1f %12ld %8ld\n", when, s.resident_mib, s.descriptors, s.threads);
}

void print_memory(const watched& of) {
    if (!of.process) return;
    std::printf("\n%-22s %8s %12s %8s\n", of.process->name.c_str(), "MiB", "descriptors",
                "threads");
    for (size_t i = 0; i < of.seen.calms.size(); ++i) {
        const std::string when =
            "calm at " + std::to_string((i + 1) * 100 / night::quarters) + " %";
        print_sample(when.c_str(), of.seen.calms[i]);
    }
    sample peak;
    for (const sample& s : of.seen.samples) {
        peak.resident_mib = std::max(peak.resident_mib, s.resident_mib);
        peak.descriptors = std::max(peak.descriptors, s.descriptors);
        peak.threads = std::max(peak.threads, s.threads);
    }
    print_sample("most at any time", peak);
    const growth g = memory_growth(of.seen.samples);
    std::printf("  medians of the second and the last quarter: %.1f and %.1f MiB\n", g.early_mib,
                g.late_mib);
}

}  // namespace

void night::tell_counts() const {
    const auto both = [](const std::string& of_board, const std::string& of_relay) {
        return "board " + of_board + ", relay " + of_relay;
    };
    const auto text = [](int64_t n) { return std::to_string(n); };
    row("restarts", both(text(board.restarts()), text(relay.restarts())));
    row("connections", both(number(show, "board_up"), number(show, "relay_up")));
    row("beats heard", "recording " + number(show, "club") + ", " +
                           both(number(show, "board"), number(show, "relay")));
    row("beats of the poorest life",
        both(text(board.beats_in_least_life()), text(relay.beats_in_least_life())));
    row("passes, each beat counted", number(show, "passes"));
    row("frames", number(show, "frames"));
    row("kernel launches", number(show, "launches") + ", compiled " + number(show, "compiled"));
    row("runs on workers", number(show, "worked"));
    row("errors in callbacks",
        number(show, "raised") + ", reported " + std::to_string(raised_reports));
    row("devices made and ended",
        number(show, "guests") + ", reopened " + number(show, "reopened"));
    row("brief shows begun and ended", text(brief.ended));
    row("scripts loaded and ended",
        number(reloads, "loads") + ", refused " + number(reloads, "refused"));
}

void night::tell() const {
    std::printf("\n");
    row("duration", std::to_string(int64_t(now())) + " s, processor time " +
                        std::to_string(int64_t(processor_s())) + " s");
    tell_counts();
    print_memory(show);
    print_memory(reloads);
    std::printf("\n");
    for (const std::string& fault : faults) std::printf("wrong: %s\n", fault.c_str());
    const char* well = was_ended_early() ? "ended early, nothing wrong so far" : "all is well";
    std::printf("verdict: %s\n", faults.empty() ? well : "failed");
}

}  // namespace soak
