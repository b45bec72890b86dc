#include "judgement.h"

#include <algorithm>
#include <cstdio>

namespace soak {

namespace {

// Arenas of threads that come and go and a full queue here and there move the resident memory by
// two or three MiB within minutes. Six is above that, and below what 100 bytes lost in each of 60
// frames a second come to in the twenty minutes between the quarters of a night of 45.
constexpr double most_growth_mib = 6;
constexpr double most_growth_share = 0.04;  // of the earlier size

// What opens anew holds the old and the new for a moment: the board's port or the folder that is
// searched for it, a guest's recording, a kernel's compiler with its pipe.
constexpr long most_passing = 6;

std::vector<sample> between(const std::vector<sample>& samples, double from, double to) {
    std::vector<sample> chosen;
    if (samples.empty()) return chosen;
    const double first = samples.front().at, length = samples.back().at - first;
    for (const sample& s : samples) {
        const double place = length > 0 ? (s.at - first) / length : 0;
        if (place >= from && place <= to) chosen.push_back(s);
    }
    return chosen;
}

template <typename FIELD>
FIELD most(const std::vector<sample>& samples, FIELD sample::*field) {
    FIELD found{};
    for (const sample& s : samples) found = std::max(found, s.*field);
    return found;
}

template <typename FIELD>
FIELD median(std::vector<sample>& samples, FIELD sample::*field) {
    std::sort(samples.begin(), samples.end(),
              [&](const sample& a, const sample& b) { return a.*field < b.*field; });
    return samples[samples.size() / 2].*field;
}

class finder {
public:
    finder(std::string name, std::vector<std::string>& out) : who(std::move(name)), faults(out) {}

    void memory(const record& seen) {
        const growth g = memory_growth(seen.samples);
        const double allowed = std::max(most_growth_mib, g.early_mib * most_growth_share);
        if (g.late_mib - g.early_mib <= allowed) return;
        char text[160];
        std::snprintf(text, sizeof text,
                      "%s grew from %.1f to %.1f MiB, where %.1f more are allowed", who.c_str(),
                      g.early_mib, g.late_mib, allowed);
        faults.emplace_back(text);
    }

    // The peaks, and the moments of calm, in which nothing passes.
    void number(const record& seen, long sample::*field, const char* what) {
        constexpr double quarter = 0.25, half = 0.5;
        const long early = most(between(seen.samples, quarter, half), field);
        const long late = most(between(seen.samples, half, 1), field);
        if (late > early + most_passing) add(what, "at most", early, late);
        if (seen.calms.size() < 2) return;
        const long before = seen.calms[seen.calms.size() / 2 - 1].*field;
        const long after = seen.calms.back().*field;
        if (after > before) add(what, "in a calm moment", before, after);
    }

private:
    void add(const char* what, const char* when, long before, long after) {
        faults.push_back(who + " held " + std::to_string(after) + " " + what + " " + when +
                         ", earlier " + std::to_string(before));
    }

    const std::string who;
    std::vector<std::string>& faults;
};

}  // namespace

growth memory_growth(const std::vector<sample>& samples) {
    constexpr double quarter = 0.25, half = 0.5;
    auto early = between(samples, quarter, half), late = between(samples, 1 - quarter, 1);
    if (early.empty() || late.empty()) return {};
    return {median(early, &sample::resident_mib), median(late, &sample::resident_mib)};
}

std::vector<std::string> faults_of(const std::string& name, const record& seen, bool judge_memory) {
    std::vector<std::string> faults;
    finder find(name, faults);
    if (judge_memory) find.memory(seen);
    find.number(seen, &sample::descriptors, "descriptors");
    find.number(seen, &sample::threads, "threads");
    return faults;
}

sample median_of(std::vector<sample> samples) {
    if (samples.empty()) return {};
    const double at = samples.front().at;
    return {at, median(samples, &sample::resident_mib), median(samples, &sample::descriptors),
            median(samples, &sample::threads)};
}

}  // namespace soak
