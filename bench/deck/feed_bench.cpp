// The road of a line: lock, feed, publish to two listeners. Beside it, in the same run, what no
// line can do without: the nesting guard and the parse.
//
// TAVRO_BENCH_RECORDING names another recording than the example's.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>

#include "deck/nesting_guard.h"
#include "deck/session.h"

using namespace deckbus;

namespace {

const recording& lines() {
    static const recording loaded = [] {
        const char* other = std::getenv("TAVRO_BENCH_RECORDING");
        std::string error;
        recording read = load_recording(other != nullptr ? other : TAVRO_EXAMPLE, error);
        if (read.empty()) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::exit(1);
        }
        return read;
    }();
    return loaded;
}

// A state after the whole recording, with every track that is loaded at some time.
void feed_all(state& s) {
    double t = now_s();
    for (const recorded_line& entry : lines()) s.feed(entry.line, t += 0.001, false);
}

void count_lines(benchmark::State& run) {
    run.SetItemsProcessed(run.iterations() * int64_t(lines().size()));
    int64_t bytes = 0;
    for (const recorded_line& entry : lines()) bytes += int64_t(entry.line.size()) + 1;
    run.SetBytesProcessed(run.iterations() * bytes);
}

void guard_and_parse(benchmark::State& run) {
    for (auto _ : run) {
        for (const recorded_line& entry : lines()) {
            const std::string_view line = entry.line;
            if (nests_too_deeply(line)) std::abort();
            json parsed = json::parse(line.begin(), line.end(), nullptr, false);
            benchmark::DoNotOptimize(parsed);
        }
    }
    count_lines(run);
}
BENCHMARK(guard_and_parse)->Unit(benchmark::kMillisecond);

void session_feed(benchmark::State& run) {
    session link;
    const auto first = link.attach(), second = link.attach();
    for (auto _ : run) {
        double t = now_s();
        size_t heard = 0, fed = 0;
        for (const recorded_line& entry : lines()) {
            {
                tvr_lock hold(link.mutex);
                if (!link.state.feed(entry.line, t += 0.001, false)) std::abort();
                link.publish();
            }
            constexpr size_t lines_a_frame = 16;
            if (++fed % lines_a_frame == 0) {
                heard += link.take(*first).size() + link.take(*second).size();
            }
        }
        if (heard == 0) std::abort();
        tvr_lock hold(link.mutex);
        link.state.take_commands();
    }
    count_lines(run);
}
BENCHMARK(session_feed)->Unit(benchmark::kMillisecond);

// A snapshot of six players, each with a track of the recording that has phrases where there is
// one.
void snapshot_of_six(benchmark::State& run) {
    state s;
    feed_all(s);
    std::vector<std::string> ids;
    for (const auto& [id, t] : s.store.tracks) {
        if (!t.phrases.empty()) ids.push_back(id);
    }
    if (ids.empty()) std::abort();
    const double t = now_s();
    for (int n = 1; n <= 6; ++n) {
        const std::string& id = ids[size_t(n) % ids.size()];
        s.feed_parsed({{"t", "trk"}, {"n", n}, {"id", id}, {"meta", true}}, t, false);
        s.feed_parsed({{"t", "beat"}, {"n", n}, {"bpm", 128}, {"beat", 40}, {"bb", 1}}, t, false);
        s.feed_parsed({{"t", "pos"}, {"n", n}, {"ms", 20000}, {"len", 300}}, t, false);
    }
    for (auto _ : run) {
        json view = s.snapshot(t + 0.1);
        if (view["players"].size() < 6) std::abort();
        benchmark::DoNotOptimize(view);
    }
}
BENCHMARK(snapshot_of_six)->Unit(benchmark::kMicrosecond);

void player_timing(benchmark::State& run) {
    player p;
    p.bpm = 128;
    p.beat_time = 100;
    p.beat = 40;
    p.beat_in_bar = 3;
    p.cue_beat = 48;
    double t = 100, sum = 0;
    for (auto _ : run) {
        t = t > 100.4 ? 100 : t + 0.001;
        benchmark::DoNotOptimize(sum += p.beat_phase(t) + p.bar_phase(t) + p.cue_ramp(t));
    }
}
BENCHMARK(player_timing);

// Resident bytes, from the kernel's own book.
int64_t resident_bytes() {
    std::ifstream statm("/proc/self/statm");
    int64_t pages = 0, resident = 0;
    statm >> pages >> resident;
    return resident * 4096;
}

// Ten million lines through one session with a churn of 64 and more tracks: the resident size
// after 100,000, one and ten million lines, in MiB. Flat means that nothing grows.
void memory_of_ten_million_lines(benchmark::State& run) {
    constexpr int64_t total = 10000000;
    const std::map<int64_t, const char*> marks = {
        {100000, "MiB_0.1M"}, {1000000, "MiB_1M"}, {5000000, "MiB_5M"}, {total, "MiB_10M"}};
    for (auto _ : run) {
        session link;
        const auto queue = link.attach();
        double t = now_s();
        int64_t fed = 0;
        for (int set = 0; fed < total; ++set) {
            const std::string prefix = "\"id\":\"" + std::to_string(1 + set % 97) + ":";
            for (size_t i = 0; i < lines().size() && fed < total; ++i) {
                std::string line = lines()[i].line;
                const size_t id = line.find("\"id\":\"");
                if (id != std::string::npos)
                    line.replace(id, line.find(':', id + 6) - id + 1, prefix);
                tvr_lock hold(link.mutex);
                link.state.feed(line, t += 0.001, false);
                link.publish();
                link.state.take_commands();
                const auto mark = marks.find(++fed);
                if (mark != marks.end()) {
                    run.counters[mark->second] = double(resident_bytes()) / (1024.0 * 1024.0);
                }
            }
            link.take(*queue);
        }
    }
    run.SetItemsProcessed(run.iterations() * total);
}
BENCHMARK(memory_of_ten_million_lines)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
