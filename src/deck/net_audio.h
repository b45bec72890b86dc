#pragma once

// Sound from the relay: put in order of arrival, gaps filled, bounded.
//
// It does not pass through the state, since every session would have to carry it. One store
// serves the process; its mutex is held alone.

#include <cstdint>
#include <deque>
#include <map>
#include <vector>

#include "base/sync.h"
#include "deck/state.h"

namespace deckbus {

class net_audio {
public:
    static constexpr size_t max_chunks = 200;
    static constexpr int32_t max_jump = 999;  // further back is a new stream, not a late chunk
    static constexpr int32_t max_fill = 20;   // silent chunks for a gap; a larger one stays open

    // Appends the chunk, with silence before it for the chunks lost since the last one of its
    // source. Duplicates and late chunks are dropped, and the oldest above max_chunks.
    void add(audio_chunk chunk) TVR_EXCLUDES(mutex);

    // All chunks in order; the store is empty afterwards.
    std::vector<audio_chunk> take() TVR_EXCLUDES(mutex);

private:
    void fill_gap(const audio_chunk& next, uint32_t last, int32_t missing) TVR_REQUIRES(mutex);

    tvr_mutex mutex;
    std::deque<audio_chunk> chunks TVR_GUARDED_BY(mutex);
    std::map<int32_t, uint32_t> last_seq TVR_GUARDED_BY(mutex);  // by source
};

}  // namespace deckbus
