#include "track/beat_grid.h"

#include <algorithm>

#include "base/byte_order.h"

namespace deckbus {

double beat_grid::time_of(int64_t beat) const {
    if (beat < 1 || time_ms.empty()) return -1.0;
    return time_ms[std::min(size_t(beat), time_ms.size()) - 1];
}

beat_grid decode_grid(std::span<const uint8_t> data) {
    constexpr size_t header_bytes = 20, record_bytes = 16;
    if (data.size() < header_bytes) return {};

    const size_t beats = (data.size() - header_bytes) / record_bytes;
    beat_grid grid;
    grid.bar_beat.resize(beats);
    grid.bpm_x100.resize(beats);
    grid.time_ms.resize(beats);
    for (size_t i = 0; i < beats; ++i) {
        const auto record = data.subspan(header_bytes + i * record_bytes, record_bytes);
        grid.bar_beat[i] = record[0];
        grid.bpm_x100[i] = read_u16_le(record, 2);
        grid.time_ms[i] = read_u32_le(record, 4);
    }
    return grid;
}

}  // namespace deckbus
