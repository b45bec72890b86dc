#pragma once

// The small blobs of a track's analysis: beat grid, cue points and phrases. Pure, any thread.

#include <string>
#include <string_view>
#include <vector>

#include "bridge_sim/byte_writer.h"
#include "bridge_sim/track_model.h"

namespace bridge_sim {

bytes encode_grid(const track_model& track);

// A cue point or loop, on a beat.
struct cue_mark {
    int beat = 1;
    int loop_beats = 0;   // 0 for a point
    int hot = 0;          // 1 is A; 0 for a memory point or loop
    int color_index = 0;  // 1 to 8, memory points and loops only
    uint32_t rgb = 0;     // hot cues only, 0 for none
    std::u16string_view comment;
};

// The cues of a track, in no special order.
std::vector<cue_mark> cues_of(const track_model& track);

// The list in the track's own layout. Both layouts also hold a record that is not in use.
bytes encode_cues(const track_model& track, const std::vector<cue_mark>& cues);

// Records in the list, the unused one included.
int cue_records(const std::vector<cue_mark>& cues);

// The format word: "nexus" or "ext".
std::string_view cue_word(cue_layout layout);

// The phrase tag, plain or masked as the track wants it; empty for a track without phrases.
bytes encode_phrases(const track_model& track);

}  // namespace bridge_sim
