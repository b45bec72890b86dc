#include "bridge_sim/analysis_blobs.h"

namespace bridge_sim {

namespace {

constexpr size_t body_at = 18;

struct phrase_entry {
    int beat;
    int kind;
};

// The kind of a section in the stored form; at mood 1 the names are others than below.
int phrase_kind(section_kind kind, int mood) {
    const bool high = mood == 1;
    switch (kind) {
    case section_kind::intro: return 1;
    case section_kind::verse: return 2;
    case section_kind::buildup: return high ? 2 : 8;
    case section_kind::drop: return high ? 5 : 9;
    case section_kind::pause: return high ? 3 : 8;
    case section_kind::outro: return high ? 6 : 10;
    }
    return 1;
}

// A rise that has no name of its own belongs to the break before it.
std::vector<phrase_entry> entries_of(const track_model& track) {
    std::vector<phrase_entry> entries;
    for (const section& s : track.sections) {
        const int kind = phrase_kind(s.kind, track.mood);
        if (entries.empty() || entries.back().kind != kind) {
            entries.push_back({s.first_beat, kind});
        }
    }
    return entries;
}

void mask_body(bytes& tag, uint8_t count) {
    constexpr uint8_t mask[] = {0xCB, 0xE1, 0xEE, 0xFA, 0xE5, 0xEE, 0xAD, 0xEE, 0xE9, 0xD2,
                                0xE9, 0xEB, 0xE1, 0xE9, 0xF3, 0xE8, 0xE9, 0xF4, 0xE1};
    for (size_t i = body_at; i < tag.size(); i++) {
        tag[i] ^= uint8_t(mask[(i - body_at) % sizeof mask] + count);
    }
}

}  // namespace

bytes encode_phrases(const track_model& track) {
    constexpr size_t header_bytes = 32, entry_bytes = 24;
    bytes out;
    if (track.phrases == phrase_form::none) return out;
    const std::vector<phrase_entry> entries = entries_of(track);
    put_text(out, "PSSI");
    put_u32_be(out, header_bytes);
    put_u32_be(out, uint32_t(header_bytes + entries.size() * entry_bytes));
    put_u32_be(out, entry_bytes);
    put_u16_be(out, uint32_t(entries.size()));
    put_u16_be(out, uint32_t(track.mood));
    put_zeros(out, 6);
    put_u16_be(out, uint32_t(track.beats() + 1));
    put_zeros(out, header_bytes - out.size());
    for (size_t i = 0; i < entries.size(); i++) {
        put_u16_be(out, uint32_t(i + 1));
        put_u16_be(out, uint32_t(entries[i].beat));
        put_u16_be(out, uint32_t(entries[i].kind));
        put_zeros(out, entry_bytes - 6);
    }
    if (track.phrases == phrase_form::masked) mask_body(out, uint8_t(entries.size()));
    return out;
}

}  // namespace bridge_sim
