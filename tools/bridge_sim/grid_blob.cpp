#include "bridge_sim/analysis_blobs.h"

namespace bridge_sim {

bytes encode_grid(const track_model& track) {
    constexpr uint32_t record_bytes = 16;
    const uint32_t count = uint32_t(track.beats());
    bytes out;
    put_u32_le(out, 0);
    put_u32_le(out, count);
    put_u32_le(out, count * record_bytes);
    put_u32_le(out, 1);
    put_u32_le(out, 0);
    for (int beat = 1; beat <= track.beats(); beat++) {
        put_u16_le(out, uint32_t((beat - 1) % 4 + 1));
        put_u16_le(out, uint32_t(track.tempo_at(beat)));
        put_u32_le(out, uint32_t(track.time_of(beat) / 1000));
        put_u32_le(out, uint32_t(beat));
        put_u32_le(out, 0xFFFFFFFF);
    }
    return out;
}

}  // namespace bridge_sim
