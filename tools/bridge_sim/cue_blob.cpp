#include <cassert>

#include "bridge_sim/analysis_blobs.h"

namespace bridge_sim {

namespace {

constexpr uint32_t no_end = 0xFFFFFFFF;

void set_u16(bytes& record, size_t at, uint32_t value) {
    record[at] = uint8_t(value);
    record[at + 1] = uint8_t(value >> 8);
}

void set_u32(bytes& record, size_t at, uint32_t value) {
    set_u16(record, at, value);
    set_u16(record, at + 2, value >> 16);
}

uint32_t ms_of(const track_model& track, int beat) {
    return uint32_t(track.time_of(beat) / 1000);
}

// The smallest position in frames that the reader's division brings back to this millisecond.
uint32_t frames_of(uint32_t ms) {
    return (ms * 15 + 99) / 100;
}

bytes nexus_record(const track_model& track, const cue_mark& cue) {
    constexpr size_t record_bytes = 36;
    bytes record(record_bytes);
    record[0] = cue.loop_beats > 0;
    record[1] = 1;
    record[2] = uint8_t(cue.hot);
    set_u32(record, 12, frames_of(ms_of(track, cue.beat)));
    if (cue.loop_beats > 0) {
        set_u32(record, 16, frames_of(ms_of(track, cue.beat + cue.loop_beats)));
    }
    return record;
}

bytes ext_record(const track_model& track, const cue_mark& cue) {
    constexpr size_t comment_at = 74, color_behind = 79, spare_bytes = 24;
    const size_t comment_bytes = cue.comment.size() * 2 + 2;
    bytes record(comment_bytes + color_behind + 3 + spare_bytes);
    set_u32(record, 0, uint32_t(record.size()));
    record[4] = uint8_t(cue.hot);
    record[6] = cue.loop_beats > 0 ? 2 : 1;
    set_u32(record, 12, ms_of(track, cue.beat));
    set_u32(record, 16, cue.loop_beats > 0 ? ms_of(track, cue.beat + cue.loop_beats) : no_end);
    record[34] = uint8_t(cue.color_index);
    set_u16(record, 72, uint32_t(comment_bytes));
    for (size_t i = 0; i < cue.comment.size(); i++) {
        set_u16(record, comment_at + i * 2, cue.comment[i]);
    }
    for (size_t i = 0; i < 3; i++) {
        record[comment_bytes + color_behind + i] = uint8_t(cue.rgb >> (16 - 8 * i));
    }
    return record;
}

// A cue that was deleted on the player keeps its place in the list.
bytes unused_record(cue_layout layout) {
    constexpr size_t nexus_bytes = 36, ext_bytes = 88;
    bytes record(layout == cue_layout::nexus ? nexus_bytes : ext_bytes);
    if (layout == cue_layout::ext) set_u32(record, 0, ext_bytes);
    return record;
}

void add_section_cues(const track_model& track, std::vector<cue_mark>& cues) {
    int drops = 0;
    for (const section& s : track.sections) {
        if (s.kind == section_kind::drop) {
            drops++;
            cues.push_back(
                {s.first_beat, 0, 0, 2, 0, drops == 1 ? u"Drop" : u"Drop \xD83D\xDD0A  "});
            cues.push_back({s.first_beat, 0, drops + 1, 0, drops == 1 ? 0x28E6C8u : 0u, u""});
        } else if (s.kind == section_kind::pause) {
            cues.push_back({s.first_beat, 0, 0, 7, 0, u"Break für Vocals"});
        } else if (s.kind == section_kind::outro) {
            cues.push_back({s.first_beat, 16, 0, 4, 0, u"mix out"});
        }
    }
}

}  // namespace

std::vector<cue_mark> cues_of(const track_model& track) {
    std::vector<cue_mark> cues;
    cues.push_back({1, 0, 1, 0, 0xE62878, u"start"});
    add_section_cues(track, cues);
    const section* rise = track.next_section(section_kind::buildup, 1);
    assert(rise != nullptr);
    cues.push_back({rise->first_beat, 8, 5, 0, 0xF58C14, u"rise"});
    return cues;
}

int cue_records(const std::vector<cue_mark>& cues) {
    return int(cues.size()) + 1;
}

std::string_view cue_word(cue_layout layout) {
    return layout == cue_layout::nexus ? "nexus" : "ext";
}

bytes encode_cues(const track_model& track, const std::vector<cue_mark>& cues) {
    bytes out;
    for (const cue_mark& cue : cues) {
        const bytes record =
            track.cues == cue_layout::nexus ? nexus_record(track, cue) : ext_record(track, cue);
        out.insert(out.end(), record.begin(), record.end());
    }
    const bytes unused = unused_record(track.cues);
    out.insert(out.end(), unused.begin(), unused.end());
    return out;
}

}  // namespace bridge_sim
