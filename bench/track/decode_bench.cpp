// What a track of six minutes costs: its blobs decoded, its sections found, its texture made.
//
// Beside each waveform decoder stand two references in the same run: a plain copy of as many bytes
// as it reads and writes, and the bare arithmetic of its columns into warm memory, with the peaks
// known beforehand. Bytes are those of input and output together.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>

#include "track/sections.h"
#include "track/track.h"

using namespace deckbus;

namespace {

constexpr size_t columns = 54000;
constexpr size_t header_bytes = 28;
constexpr uint32_t beats = 768;  // 128 a minute
constexpr double ms_per_beat = 60000.0 / 128;

// Music of a kind: eight stretches, quiet and loud in turn, with a beat and some noise on it.
uint8_t loudness(size_t column, uint32_t seed) {
    const uint32_t noise = uint32_t(column * 2654435761u + seed * 40503u) >> 24;
    const uint32_t level = column / (columns / 8) % 2 == 0 ? 40 : 160;
    const uint32_t decay = uint32_t(column % 70);
    return uint8_t(std::min<uint32_t>(level + noise / 4 - std::min(level, decay), 255));
}

bytes make_detail(const std::string& fmt) {
    bytes out(fmt == "blue" ? 19 : header_bytes);
    for (size_t i = 0; i < columns; ++i) {
        const uint8_t low = loudness(i, 1), mid = loudness(i, 2), high = loudness(i, 3);
        if (fmt == "blue") {
            out.push_back(uint8_t(mid >> 5 << 5 | low >> 3));
        } else if (fmt == "rgb") {
            out.push_back(uint8_t(low >> 5 << 5 | mid >> 5 << 2 | high >> 6));
            out.push_back(uint8_t((high >> 5 & 1) << 7 | (low | mid) >> 3 << 2));
        } else {
            out.insert(out.end(), {mid, high, low});
        }
    }
    return out;
}

bytes make_grid() {
    bytes out(20);
    for (uint32_t i = 0; i < beats; ++i) {
        const auto ms = uint32_t(i * ms_per_beat);
        const uint8_t record[16] = {uint8_t(i % 4 + 1),    0,
                                    uint8_t(12800 & 0xFF), uint8_t(12800 >> 8),
                                    uint8_t(ms),           uint8_t(ms >> 8),
                                    uint8_t(ms >> 16),     uint8_t(ms >> 24)};
        out.insert(out.end(), record, record + sizeof record);
    }
    return out;
}

bytes make_cues() {
    bytes out;
    for (uint32_t i = 0; i < 16; ++i) {
        bytes record(36);
        record[0] = uint8_t(i % 2);
        record[1] = 1;
        const uint32_t start = i * 3000, end = start + 600;
        std::memcpy(&record[12], &start, 4);
        std::memcpy(&record[16], &end, 4);
        out.insert(out.end(), record.begin(), record.end());
    }
    return out;
}

void count_bytes(benchmark::State& run, size_t each) {
    run.SetBytesProcessed(run.iterations() * int64_t(each));
}

// Input and output of a decoder, without the header.
size_t moved_bytes(const std::string& fmt) {
    const size_t in = fmt == "blue" ? 1 : fmt == "rgb" ? 2 : 3;
    return columns * (in + 7);
}

uint8_t rounded(float fraction) {
    return uint8_t(double(fraction) * 255.0 + 0.5);
}

// The arithmetic that a column needs, with nothing around it.

void plain_blue(const uint8_t* in, uint8_t* rgba, uint8_t* bands, float peak) {
    static constexpr uint8_t colors[8][3] = {
        {0, 0x68, 0x90},    {0, 0x88, 0xB0},    {0, 0xA8, 0xE8},    {0, 0xB8, 0xD8},
        {0x78, 0xB8, 0xD8}, {0x88, 0xC0, 0xE8}, {0x88, 0xC0, 0xE8}, {0xC8, 0xE0, 0xE8}};
    for (size_t i = 0; i < columns; ++i) {
        const float h = float(in[i] & 31) / 31.0f;
        std::memcpy(rgba + 4 * i, colors[in[i] >> 5], 3);
        rgba[4 * i + 3] = rounded(h);
        std::fill_n(bands + 3 * i, 3, rounded(h / peak));
    }
}

void plain_rgb(const uint8_t* in, uint8_t* rgba, uint8_t* bands, const float* peak) {
    for (size_t i = 0; i < columns; ++i) {
        const uint32_t word = uint32_t(in[2 * i] << 8 | in[2 * i + 1]);
        const uint32_t value[3] = {word >> 13 & 7, word >> 10 & 7, word >> 7 & 7};
        const float h = float(word >> 2 & 31) / 31.0f;
        rgba[4 * i] = uint8_t(value[0] * 255 / 7);
        rgba[4 * i + 1] = uint8_t(value[2] * 255 / 7);
        rgba[4 * i + 2] = uint8_t(value[1] * 255 / 7);
        rgba[4 * i + 3] = rounded(h);
        for (size_t k = 0; k < 3; ++k)
            bands[3 * i + k] = rounded(float(value[k]) / 7.0f * h / peak[k]);
    }
}

void plain_three_band(const uint8_t* in, uint8_t* rgba, uint8_t* bands, const float* peak,
                      double whole) {
    for (size_t i = 0; i < columns; ++i) {
        const uint8_t low = in[3 * i + 2], mid = in[3 * i], high = in[3 * i + 1];
        const double a = 0.4 * low, b = a + 0.3 * mid, c = b + 0.06 * high;
        rgba[4 * i] = rounded(float(a / whole));
        rgba[4 * i + 1] = rounded(float(b / whole));
        rgba[4 * i + 2] = rounded(float(c / whole));
        rgba[4 * i + 3] = 255;
        bands[3 * i] = rounded(float(low) / peak[0]);
        bands[3 * i + 1] = rounded(float(mid) / peak[1]);
        bands[3 * i + 2] = rounded(float(high) / peak[2]);
    }
}

// Peaks of the columns, and the arithmetic of each style on top of them.
struct plain_detail {
    explicit plain_detail(const std::string& word)
        : fmt(word), data(make_detail(word)), rgba(columns * 4), bands(columns * 3) {
        in = data.data() + (fmt == "blue" ? 19 : header_bytes);
        for (size_t i = 0; i < columns; ++i) measure(i);
    }

    void measure(size_t i) {
        if (fmt == "blue") {
            peak[0] = std::max(peak[0], float(in[i] & 31) / 31.0f);
        } else if (fmt == "rgb") {
            const uint32_t word = uint32_t(in[2 * i] << 8 | in[2 * i + 1]);
            const float h = float(word >> 2 & 31) / 31.0f;
            for (size_t k = 0; k < 3; ++k)
                peak[k] = std::max(peak[k], float(word >> (13 - 3 * k) & 7) / 7.0f * h);
        } else {
            const double a = 0.4 * in[3 * i + 2], b = a + 0.3 * in[3 * i];
            whole = std::max(whole, b + 0.06 * in[3 * i + 1]);
            for (size_t k = 0; k < 3; ++k)
                peak[k] = std::max(peak[k], float(in[3 * i + (k + 2) % 3]));
        }
    }

    void decode() {
        if (fmt == "blue")
            plain_blue(in, rgba.data(), bands.data(), peak[0]);
        else if (fmt == "rgb")
            plain_rgb(in, rgba.data(), bands.data(), peak);
        else
            plain_three_band(in, rgba.data(), bands.data(), peak, whole);
    }

    std::string fmt;
    bytes data, rgba, bands;
    const uint8_t* in = nullptr;
    float peak[3] = {};
    double whole = 0;
};

const char* const styles[] = {"blue", "rgb", "3band"};

void detail_copy(benchmark::State& run) {
    const size_t moved = moved_bytes(styles[run.range(0)]);
    const bytes from(moved / 2, 1);
    bytes to(moved / 2);
    for (auto _ : run) {
        std::memcpy(to.data(), from.data(), from.size());
        benchmark::DoNotOptimize(to.data());
        benchmark::ClobberMemory();
    }
    count_bytes(run, moved);
    run.SetLabel(styles[run.range(0)]);
}

void detail_arithmetic(benchmark::State& run) {
    plain_detail plain(styles[run.range(0)]);
    for (auto _ : run) {
        plain.decode();
        benchmark::ClobberMemory();
    }
    count_bytes(run, moved_bytes(plain.fmt));
    run.SetLabel(plain.fmt);
}

void detail_decode(benchmark::State& run) {
    plain_detail plain(styles[run.range(0)]);
    plain.decode();
    const waveform once = decode_waveform(plain.data, plain.fmt, true);
    if (once.rgba != plain.rgba || once.bands != plain.bands) run.SkipWithError("wrong columns");
    for (auto _ : run) benchmark::DoNotOptimize(decode_waveform(plain.data, plain.fmt, true));
    count_bytes(run, moved_bytes(plain.fmt));
    run.SetLabel(plain.fmt);
}

track make_track(const std::string& fmt) {
    track t;
    t.store_blob("cues", make_cues(), "nexus", 0);
    t.store_blob("wfp", make_detail("3band"), "3band", 0);
    t.store_blob("wfd", make_detail(fmt), fmt, 0);
    t.store_blob("grid", make_grid(), "", 0);
    return t;
}

// Detail, then grid: the second finds the sections.
void whole_track(benchmark::State& run) {
    const std::string fmt = styles[run.range(0)];
    const bytes detail = make_detail(fmt), grid = make_grid(), cues = make_cues();
    const size_t found = make_track(fmt).phrases.size();
    if ((found >= 8) != (fmt != "blue")) run.SkipWithError("wrong sections");
    for (auto _ : run) {
        track t;
        t.store_blob("wfd", detail, fmt, 0);
        t.store_blob("grid", grid, "", 0);
        t.store_blob("cues", cues, "nexus", 0);
        benchmark::DoNotOptimize(t);
    }
    run.SetLabel(fmt);
}

void sections(benchmark::State& run) {
    const track t = make_track("3band");
    if (detect_sections(t.grid, t.detail).size() < 8) run.SkipWithError("wrong sections");
    for (auto _ : run) benchmark::DoNotOptimize(detect_sections(t.grid, t.detail));
    count_bytes(run, t.detail.bands.size());
}

void deck_texture(benchmark::State& run) {
    const track t = make_track("3band");
    const bytes once = t.texture();
    if (!std::equal(t.detail.rgba.begin(), t.detail.rgba.end(), once.begin()))
        run.SkipWithError("wrong image");
    for (auto _ : run) benchmark::DoNotOptimize(t.texture());
    count_bytes(run, once.size());
}

void base64(benchmark::State& run) {
    const std::string part(1024, 'k');  // the text of one part
    uint8_t out[768];
    if (base64_decode_into(part, out, sizeof out) != 768 || out[767] != 0x24)
        run.SkipWithError("wrong bytes");
    for (auto _ : run) {
        benchmark::DoNotOptimize(base64_decode_into(part, out, sizeof out));
        benchmark::ClobberMemory();
    }
    count_bytes(run, part.size());
}

void checksum(benchmark::State& run) {
    bytes data(162028);
    std::iota(data.begin(), data.end(), uint8_t(0));
    if (crc32(reinterpret_cast<const uint8_t*>("123456789"), 9) != 0xCBF43926)
        run.SkipWithError("wrong checksum");
    for (auto _ : run) benchmark::DoNotOptimize(crc32(data.data(), data.size()));
    count_bytes(run, data.size());
}

void every_style(benchmark::internal::Benchmark* b) {
    b->DenseRange(0, 2)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(detail_copy)->Apply(every_style);
BENCHMARK(detail_arithmetic)->Apply(every_style);
BENCHMARK(detail_decode)->Apply(every_style);
BENCHMARK(whole_track)->Apply(every_style);
BENCHMARK(sections)->Unit(benchmark::kMicrosecond);
BENCHMARK(deck_texture)->Unit(benchmark::kMicrosecond);
BENCHMARK(base64);
BENCHMARK(checksum)->Unit(benchmark::kMicrosecond);

}  // namespace
