// Blobs of any bytes, one after the other into one track, as a player's answers come in.
//
// Each blob is a byte that picks kind and format word, two bytes of length (little-endian), and
// its data. After each the track must hold together, and in the end it must show itself.

#include <algorithm>
#include <span>
#include <string>

#include "require.h"
#include "track/sections.h"
#include "track/track.h"

using namespace deckbus;

namespace {

void check_waveform(const waveform& wave) {
    require(wave.columns >= 0);
    require(wave.rgba.size() == size_t(wave.columns) * 4);
    require(wave.bands.size() == size_t(wave.columns) * 3);
    std::array<float, 3> levels{};
    wave.levels(wave.columns / 2, wave.columns, levels);
    for (size_t band = 0; band < 3; ++band) {
        const bool silent = levels[band] == 0;
        require(silent || levels[band] == 1);  // each band is scaled to its own peak
    }
}

void check_grid(const beat_grid& grid) {
    require(grid.bar_beat.size() == grid.beats() && grid.bpm_x100.size() == grid.beats());
    require(grid.time_of(0) < 0);
    require((grid.time_of(int64_t(1) << 40) < 0) == (grid.beats() == 0));
}

void check_cues(const std::vector<cue>& cues) {
    for (size_t i = 0; i < cues.size(); ++i) {
        require(i == 0 || cues[i - 1].ms < cues[i].ms ||
                (cues[i - 1].ms == cues[i].ms && cues[i - 1].hot <= cues[i].hot));
        require((cues[i].end_ms < 0) == (cues[i].kind == "memory" || cues[i].kind == "hot"));
    }
}

void check_phrases(const track& t) {
    for (size_t i = 0; i < t.phrases.size(); ++i) {
        require(t.phrases[i].beat <= t.phrases[i].end_beat);
        require(i == 0 || t.phrases[i - 1].end_beat == t.phrases[i].beat);
    }
    require(t.phrases.empty() == t.phrases_from.empty());
    require(t.phrases.size() >= t.rb_phrases.size());
    require(t.rb_phrases.empty() || (t.mood >= 1 && t.mood <= 3));
    if (t.phrases_from != "waveform") return;
    require(t.phrases.size() >= 2 && t.phrases.front().beat == 1);
    require(size_t(t.phrases.back().end_beat) == t.grid.beats() + 1);
    for (const phrase& p : t.phrases) require(p.detected);
}

void check_base64(std::string_view text) {
    bytes all, some(text.size() / 2);
    const bool ok = base64_decode(text, all);
    require(base64_decode_into(text, some.data(), some.size()) == (ok ? int64_t(all.size()) : -1));
    require(std::equal(some.begin(), some.begin() + long(std::min(some.size(), all.size())),
                       all.begin()));
}

void show(const track& t) {
    const deck_layout size = t.layout();
    require(t.texture().size() == size_t(size.width) * size_t(size.height) * 4);
    require(!t.info(true).dump(-1, ' ', false, json::error_handler_t::replace).empty());
}

// Kind and format of a blob; the rest of its first byte is the cue decoder's count.
struct blob_choice {
    const char* kind;
    const char* fmt;
};

constexpr blob_choice choices[] = {
    {"grid", ""},      {"wfp", "blue"}, {"wfp", "rgb"},   {"wfp", "3band"},
    {"wfd", "blue"},   {"wfd", "rgb"},  {"wfd", "3band"}, {"wfd", "other"},
    {"cues", "nexus"}, {"cues", "ext"}, {"phrase", ""},   {"art", "png"},
};

void take(track& t, uint8_t picked, std::span<const uint8_t> data) {
    constexpr size_t base64_text = std::size(choices);
    const size_t choice = picked & 0x0F;
    if (choice < base64_text) {
        const blob_choice& blob = choices[choice];
        require(t.store_blob(blob.kind, bytes(data.begin(), data.end()), blob.fmt, picked >> 4));
    } else {
        check_base64({reinterpret_cast<const char*>(data.data()), data.size()});
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    track t;
    for (std::span<const uint8_t> rest(data, size); rest.size() > 3;) {
        const size_t length = std::min<size_t>(rest[1] | rest[2] << 8, rest.size() - 3);
        take(t, rest[0], rest.subspan(3, length));
        rest = rest.subspan(3 + length);
        check_waveform(t.preview);
        check_waveform(t.detail);
        check_grid(t.grid);
        check_cues(t.cues);
        check_phrases(t);
    }
    show(t);
    return 0;
}
