#include "track/sections.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace deckbus {
namespace {

constexpr int64_t beats_per_bar = 4;

struct column_range {
    int64_t first = 0, end = 0;
    bool empty() const { return end <= first; }
    double count() const { return double(end - first); }
};

struct band_sum {
    uint64_t low = 0, rest = 0;  // rest is mid and high
    // The bands of all columns, the low one by half.
    double mix() const { return double(low) * 0.5 + double(rest); }
};

// Sums over any range of columns.
//
// Kept as running sums at every 64th column, so a range costs less than 128 columns of reading
// however long it is: no order of beats, however mad, can make the analyses walk a waveform
// again and again.
class column_sums {
public:
    explicit column_sums(const waveform& wave);
    band_sum of(const column_range& range) const;

private:
    static constexpr size_t block = 64;
    band_sum before(size_t column) const;
    static void add(band_sum& sum, std::span<const uint8_t> bands);

    std::span<const uint8_t> bands;
    std::vector<band_sum> at_block;  // of all columns before it
};

column_sums::column_sums(const waveform& wave)
    : bands(std::span(wave.bands).first(size_t(wave.columns) * 3)) {
    constexpr size_t block_bytes = block * 3;
    at_block.reserve(bands.size() / block_bytes + 1);
    band_sum sum;
    at_block.push_back(sum);
    for (auto rest = bands; rest.size() >= block_bytes; rest = rest.subspan(block_bytes)) {
        add(sum, rest.first(block_bytes));
        at_block.push_back(sum);
    }
}

void column_sums::add(band_sum& sum, std::span<const uint8_t> bands) {
    uint32_t low = 0, rest = 0;  // of one block, so they cannot overflow
    for (size_t at = 0; at < bands.size(); at += 3) {
        low += bands[at];
        rest += uint32_t(bands[at + 1]) + bands[at + 2];
    }
    sum.low += low;
    sum.rest += rest;
}

band_sum column_sums::before(size_t column) const {
    const size_t start = column / block * block;
    band_sum sum = at_block[column / block];
    add(sum, bands.subspan(start * 3, (column - start) * 3));
    return sum;
}

band_sum column_sums::of(const column_range& range) const {
    const band_sum from = before(size_t(range.first)), to = before(size_t(range.end));
    return {to.low - from.low, to.rest - from.rest};
}

bool has_columns(const waveform& detail) {
    return detail.columns > 0 && detail.bands.size() >= size_t(detail.columns) * 3;
}

// The columns of a bar; none when its beats have no time or it lies behind the waveform.
column_range columns_of_bar(int64_t beat, const beat_grid& grid, const waveform& detail) {
    const double start = grid.time_of(beat), end = grid.time_of(beat + beats_per_bar);
    if (start < 0) return {};
    return {detail_column(start), std::min<int64_t>(detail_column(end), detail.columns)};
}

// What detect_sections() knows of a bar.
struct bar {
    double energy;  // mean low band, 0 to 1
    double score;   // mean of mid, high and half the low
};

// The first downbeat of the first eight beats. A grid shorter than that must have one, else 0.
int64_t first_downbeat(const beat_grid& grid) {
    constexpr size_t searched = 8;
    const size_t end = std::min(searched, grid.beats());
    for (size_t i = 0; i < end; ++i)
        if (grid.bar_beat[i] == 1) return int64_t(i) + 1;
    return grid.beats() < searched ? 0 : 1;
}

// Empty when a bar has no column.
std::vector<bar> measure_bars(int64_t first, int64_t count, const beat_grid& grid,
                              const waveform& detail, const column_sums& sums) {
    std::vector<bar> bars;
    for (int64_t i = 0; i < count; ++i) {
        const column_range columns = columns_of_bar(first + i * beats_per_bar, grid, detail);
        if (columns.empty()) return {};
        const band_sum sum = sums.of(columns);
        const double whole = columns.count() * 255.0;
        bars.push_back({double(sum.low) / whole, sum.mix() / whole});
    }
    return bars;
}

// The energy from which a bar counts as loud, 0 for a track without a usable low band.
double loud_threshold(const std::vector<bar>& bars) {
    constexpr double percentile = 0.8, usable = 0.02, share = 0.6;
    std::vector<double> energy;
    energy.reserve(bars.size());
    for (const bar& b : bars) energy.push_back(b.energy);
    const auto place = energy.begin() + int64_t(double(bars.size()) * percentile);
    std::nth_element(energy.begin(), place, energy.end());
    return *place > usable ? *place * share : 0;
}

// Bars of one loudness in a row.
struct run {
    int64_t start, end;  // bars, the end not included
    bool loud;
    int64_t bars() const { return end - start; }
};

std::vector<run> find_runs(const std::vector<bar>& bars, double threshold) {
    std::vector<run> runs;
    for (int64_t i = 0; i < int64_t(bars.size()); ++i) {
        const bool loud = bars[size_t(i)].energy >= threshold;
        if (runs.empty() || runs.back().loud != loud) runs.push_back({i, i, loud});
        runs.back().end = i + 1;
    }
    return runs;
}

// A run of a single bar takes the loudness of the run before it, the first that of the run
// behind; what is alike then grows together. From front to back, everything before the run at
// hand is long enough already, so one pass does it.
std::vector<run> merge_short_runs(const std::vector<run>& runs) {
    constexpr int64_t shortest = 2;
    std::vector<run> merged;
    for (const run& r : runs) {
        if (merged.empty()) {
            merged.push_back(r);
        } else if (merged.back().bars() < shortest) {
            merged.back().end = r.end;
            merged.back().loud = r.loud;
        } else if (r.bars() < shortest || r.loud == merged.back().loud) {
            merged.back().end = r.end;
        } else {
            merged.push_back(r);
        }
    }
    return merged;
}

// Moves boundaries that lie one bar beside a multiple of four, the usual length, onto it.
void snap_boundaries(std::vector<run>& runs) {
    constexpr int64_t usual_bars = 4;
    for (size_t i = 1; i < runs.size(); ++i) {
        run &earlier = runs[i - 1], &later = runs[i];
        const int64_t snapped = (later.start + usual_bars / 2) / usual_bars * usual_bars;
        if (std::abs(snapped - later.start) > 1) continue;
        if (snapped <= earlier.start || snapped >= later.end) continue;
        earlier.end = later.start = snapped;
    }
}

double mean_score(const run& r, const std::vector<bar>& bars) {
    double sum = 0;
    for (int64_t i = r.start; i < r.end; ++i) sum += bars[size_t(i)].score;
    return sum / double(r.bars());
}

void name_phrase(phrase& p, const char* name, const char* group) {
    p.name = name;
    p.group = group;
}

std::vector<phrase> phrases_of_runs(const std::vector<run>& runs, const std::vector<bar>& bars,
                                    int64_t first_beat, int64_t beats) {
    constexpr double weak_share = 0.85;
    double peak = 0;
    for (const run& r : runs)
        if (r.loud) peak = std::max(peak, mean_score(r, bars));
    const auto weak = [&](const run& r) {
        return !r.loud || mean_score(r, bars) < peak * weak_share;
    };
    const auto beat_of = [&](int64_t at) { return int32_t(first_beat + at * beats_per_bar); };

    std::vector<phrase> phrases;
    for (const run& r : runs) {
        phrase& p = phrases.emplace_back();
        p.beat = beat_of(r.start);
        p.end_beat = beat_of(r.end);
        if (r.loud)
            name_phrase(p, "Drop", "drop");
        else
            name_phrase(p, "Break", "break");
    }
    if (weak(runs.front())) name_phrase(phrases.front(), "Intro", "intro");
    if (weak(runs.back())) name_phrase(phrases.back(), "Outro", "outro");
    phrases.front().beat = 1;
    phrases.back().end_beat = int32_t(beats) + 1;
    return phrases;
}

// Buildups.
//
// A break that leads into a drop is cut into chunks of four beats, counted back from its end.
// From the end, the level is followed backwards as long as it falls: that is the rise. Its foot
// is the last chunk still near the lowest level. If the rise is high and long enough, the break
// is split there, so that the buildup lasts an even number of bars.

// Mean levels of the chunks of a break; empty when one of them has no columns.
std::vector<double> chunk_levels(const phrase& p, const beat_grid& grid, const waveform& detail,
                                 const column_sums& sums) {
    const int64_t chunks = (int64_t(p.end_beat) - p.beat) / beats_per_bar;
    std::vector<double> levels;
    for (int64_t left = chunks; left > 0; --left) {
        const column_range columns =
            columns_of_bar(p.end_beat - left * beats_per_bar, grid, detail);
        if (columns.empty()) return {};
        levels.push_back(sums.of(columns).mix() / columns.count() / 255.0);
    }
    return levels;
}

// How many chunks at the end are the buildup, an even number; 0 without one.
int64_t buildup_chunks(const std::vector<double>& level) {
    constexpr double dip = 1.05, near_low = 1.08, smallest_rise = 1.25;
    constexpr size_t shortest = 2;  // chunks behind the foot
    if (level.empty()) return 0;
    const size_t last = level.size() - 1;
    size_t start = last;
    while (start > 0 && level[start - 1] <= level[start] * dip) --start;
    const double low = *std::min_element(level.begin() + int64_t(start), level.end());
    size_t foot = start;
    for (size_t i = start; i < last; ++i)
        if (level[i] <= low * near_low) foot = i;
    if (!(low > 0) || level[last] < low * smallest_rise || last - foot < shortest) return 0;
    return int64_t((level.size() - foot) / 2 * 2);
}

bool leads_into_drop(const std::vector<phrase>& phrases, size_t i, int64_t beats) {
    constexpr int64_t shortest_beats = 16;
    const phrase& p = phrases[i];
    return p.group == "break" && i + 1 < phrases.size() && phrases[i + 1].group == "drop" &&
           int64_t(p.end_beat) - p.beat >= shortest_beats && p.end_beat <= beats + 1;
}

void append_split(std::vector<phrase>& out, const phrase& p, int64_t chunks) {
    const auto split = int32_t(p.end_beat - chunks * beats_per_bar);
    if (p.beat < split) {
        out.push_back(p);
        out.back().end_beat = split;
    }
    out.push_back({std::max(p.beat, split), p.end_beat, "Buildup", "buildup", true});
}

std::vector<phrase> split_breaks(const std::vector<phrase>& phrases, const beat_grid& grid,
                                 const waveform& detail, const column_sums& sums) {
    std::vector<phrase> out;
    for (size_t i = 0; i < phrases.size(); ++i) {
        int64_t chunks = 0;
        if (leads_into_drop(phrases, i, int64_t(grid.beats())))
            chunks = buildup_chunks(chunk_levels(phrases[i], grid, detail, sums));
        if (chunks == 0)
            out.push_back(phrases[i]);
        else
            append_split(out, phrases[i], chunks);
    }
    return out;
}

}  // namespace

std::vector<phrase> detect_sections(const beat_grid& grid, const waveform& detail) {
    constexpr int64_t shortest_beats = 31;
    if (!has_columns(detail)) return {};
    if (detail.style != style_rgb && detail.style != style_three_band) return {};
    const auto beats = int64_t(grid.beats());
    const int64_t first = first_downbeat(grid);
    if (first == 0 || beats - first < shortest_beats) return {};

    const column_sums sums(detail);
    const std::vector<bar> bars =
        measure_bars(first, (beats - first + 1) / beats_per_bar, grid, detail, sums);
    if (bars.empty()) return {};
    const double threshold = loud_threshold(bars);
    if (!(threshold > 0)) return {};
    std::vector<run> runs = merge_short_runs(find_runs(bars, threshold));
    if (runs.size() < 2) return {};
    snap_boundaries(runs);

    std::vector<phrase> phrases =
        split_breaks(phrases_of_runs(runs, bars, first, beats), grid, detail, sums);
    for (phrase& p : phrases) p.detected = true;
    return phrases;
}

std::vector<phrase> find_buildups(const std::vector<phrase>& phrases, const beat_grid& grid,
                                  const waveform& detail) {
    constexpr size_t fewest_beats = 8;
    if (!has_columns(detail) || grid.beats() < fewest_beats) return phrases;
    return split_breaks(phrases, grid, detail, column_sums(detail));
}

}  // namespace deckbus
