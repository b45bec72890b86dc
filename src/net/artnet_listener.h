#pragma once

// Universes that come in: who sends them, how often, and whether all were there at each sync.
//
// Thread: the node's; the callbacks run there.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

#include "net/artnet.h"

enum class artnet_universe_state : uint8_t { none = 0, first_frame = 1, running = 2 };

// What is remembered of the universes 0 to 15.
struct artnet_listening {
    static constexpr int universes = 16;
    static constexpr uint64_t running_ms = 500;  // two frames within this: it runs

    struct universe {
        bool seen = false;
        artnet_universe_state state = artnet_universe_state::none;
        uint64_t last_ms = 0;
        float frames_per_second = 0;  // smoothed
        uint32_t frames = 0;          // since the last sync
        std::array<uint8_t, artnet_max_channels> channels{};
        size_t size = 0;
    };

    std::array<universe, universes> by_number;
    float frames_per_second = 0;  // of all together, smoothed
    uint32_t syncs = 0;
    uint32_t lost = 0;  // universes that ran and were not there at a sync
};

class artnet_listener {
public:
    using dmx_callback = std::function<void(uint8_t sequence, int universe, const uint8_t* data,
                                            size_t size, const tvrnet_ip& from)>;
    using sync_callback = std::function<void(uint64_t interval_ms, float smoothed_ms)>;

    // Begins to remember universes.
    void listen() { state = std::make_unique<artnet_listening>(); }

    void take_dmx(const tvrnet_ip& from, const uint8_t* data, size_t length, uint64_t now_ms);
    void take_sync(uint64_t now_ms);

    dmx_callback on_dmx;
    sync_callback on_sync;
    std::unique_ptr<artnet_listening> state;  // null while nobody listens
    uint64_t last_frame_ms = 0;
    float sync_interval_ms = 0;  // smoothed

private:
    void remember(int universe, const uint8_t* data, size_t size, uint64_t now_ms);

    uint64_t last_sync_ms = 0;
};
