#include "track/phrase.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "base/byte_order.h"

namespace deckbus {
namespace {

struct phrase_kind {
    const char* name;
    const char* group;
};

constexpr phrase_kind unnamed = {"Phrase", "verse"};

// By mood, then by kind, both from 1.
constexpr std::array<std::array<phrase_kind, 10>, 3> kinds = {{
    {{{"Intro", "intro"},
      {"Buildup", "buildup"},
      {"Break", "break"},
      unnamed,
      {"Drop", "drop"},
      {"Outro", "outro"},
      unnamed,
      unnamed,
      unnamed,
      unnamed}},
    {{{"Intro", "intro"},
      {"Verse 1", "verse"},
      {"Verse 2", "verse"},
      {"Verse 3", "verse"},
      {"Verse 4", "verse"},
      {"Verse 5", "verse"},
      {"Verse 6", "verse"},
      {"Break", "break"},
      {"Drop", "drop"},
      {"Outro", "outro"}}},
    {{{"Intro", "intro"},
      {"Verse 1", "verse"},
      {"Verse 1", "verse"},
      {"Verse 1", "verse"},
      {"Verse 2", "verse"},
      {"Verse 2", "verse"},
      {"Verse 2", "verse"},
      {"Break", "break"},
      {"Drop", "drop"},
      {"Outro", "outro"}}},
}};

const phrase_kind& kind_of(int mood, int kind) {
    const auto& row = kinds[size_t(mood - 1)];
    return kind < 1 || kind > int(row.size()) ? unnamed : row[size_t(kind - 1)];
}

constexpr std::array<uint8_t, 19> mask = {0xCB, 0xE1, 0xEE, 0xFA, 0xE5, 0xEE, 0xAD,
                                          0xEE, 0xE9, 0xD2, 0xE9, 0xEB, 0xE1, 0xE9,
                                          0xF3, 0xE8, 0xE9, 0xF4, 0xE1};

// A tag whose sizes have been checked. A masked body is unmasked where it is read, so nothing
// is copied.
struct phrase_tag {
    static constexpr size_t smallest = 32;
    static constexpr size_t body_at = 18;  // masked from here to the end
    static constexpr size_t end_beat_at = 26;

    bool open(std::span<const uint8_t> bytes);
    int mood() const { return u16(body_at); }
    int u16(size_t at) const { return byte(at) << 8 | byte(at + 1); }
    size_t entry(size_t i) const { return header_bytes + i * entry_bytes; }

    std::span<const uint8_t> data;
    size_t header_bytes = 0, entry_bytes = 0, entries = 0;
    bool masked = false;

private:
    uint8_t byte(size_t at) const {
        if (!masked) return data[at];
        return uint8_t(data[at] ^ uint8_t(mask[(at - body_at) % mask.size()] + entries));
    }
};

bool phrase_tag::open(std::span<const uint8_t> bytes) {
    constexpr size_t smallest_entry = 6, largest_entry = 64;
    if (bytes.size() < smallest || std::memcmp(bytes.data(), "PSSI", 4) != 0) return false;
    data = bytes;
    header_bytes = read_u32_be(data, 4);
    entry_bytes = read_u32_be(data, 12);
    entries = read_u16_be(data, 16);
    if (header_bytes < smallest || header_bytes > data.size()) return false;
    if (entry_bytes < smallest_entry || entry_bytes > largest_entry || entries < 1) return false;
    if (entry(entries) > data.size()) return false;

    // The mood tells whether the body is masked: only one reading gives a mood that exists.
    const auto exists = [](int m) { return m >= 1 && m <= 3; };
    masked = !exists(mood());
    return exists(mood());
}

}  // namespace

std::vector<phrase> decode_phrases(std::span<const uint8_t> data, int32_t& mood) {
    phrase_tag tag;
    if (!tag.open(data)) return {};
    mood = tag.mood();

    std::vector<phrase> phrases(tag.entries);
    for (size_t i = 0; i < tag.entries; ++i) {
        const phrase_kind& kind = kind_of(mood, tag.u16(tag.entry(i) + 4));
        phrases[i].beat = tag.u16(tag.entry(i) + 2);
        phrases[i].name = kind.name;
        phrases[i].group = kind.group;
    }
    std::stable_sort(phrases.begin(), phrases.end(),
                     [](const phrase& a, const phrase& b) { return a.beat < b.beat; });
    for (size_t i = 0; i + 1 < phrases.size(); ++i) phrases[i].end_beat = phrases[i + 1].beat;
    phrase& last = phrases.back();
    last.end_beat = std::max(last.beat + 1, tag.u16(phrase_tag::end_beat_at));
    return phrases;
}

}  // namespace deckbus
