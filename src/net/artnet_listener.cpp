#include "net/artnet_listener.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"

void artnet_listener::take_dmx(const tvrnet_ip& from, const uint8_t* data, size_t length,
                               uint64_t now_ms) {
    constexpr size_t header = artnet_dmx_frame::header_bytes;
    constexpr size_t sequence_at = 12, universe_at = 14, length_at = 16;
    if (length < header) return;
    last_frame_ms = now_ms;
    const int universe = read_u16_le({data, length}, universe_at);
    const size_t told = read_u16_be({data, length}, length_at);
    const size_t size = std::min({told, length - header, artnet_max_channels});
    if (on_dmx) on_dmx(data[sequence_at], universe, data + header, size, from);
    if (state != nullptr && universe < artnet_listening::universes) {
        remember(universe, data + header, size, now_ms);
    }
}

void artnet_listener::remember(int number, const uint8_t* data, size_t size, uint64_t now_ms) {
    constexpr uint64_t longest_ms = 1000;
    constexpr float ms_per_s = 1000.0F;
    artnet_listening::universe& u = state->by_number[size_t(number)];
    const uint64_t passed = u.seen ? now_ms - u.last_ms : longest_ms;
    if (u.state == artnet_universe_state::first_frame && passed < artnet_listening::running_ms) {
        u.state = artnet_universe_state::running;
    } else if (u.state == artnet_universe_state::none) {
        u.state = artnet_universe_state::first_frame;
    }
    const float rate = ms_per_s / float(std::clamp<uint64_t>(passed, 1, longest_ms));
    u.frames_per_second = u.frames_per_second * 0.9F + rate * 0.1F;
    state->frames_per_second = state->frames_per_second * 0.99F + rate * 0.01F;
    u.seen = true;
    u.last_ms = now_ms;
    u.frames++;
    u.size = size;
    std::memcpy(u.channels.data(), data, size);
}

void artnet_listener::take_sync(uint64_t now_ms) {
    constexpr uint64_t longest_ms = 100, shortest_ms = 10;
    if (state != nullptr) {
        for (artnet_listening::universe& u : state->by_number) {
            if (u.state == artnet_universe_state::running && u.frames == 0) state->lost++;
            u.frames = 0;
        }
        state->syncs++;
    }
    const uint64_t passed = now_ms - last_sync_ms;
    const uint64_t interval = std::min(passed, longest_ms);
    sync_interval_ms = sync_interval_ms * 0.99F + float(interval) * 0.01F;
    last_sync_ms = now_ms;
    if (on_sync && passed >= shortest_ms) on_sync(interval, sync_interval_ms);
}
