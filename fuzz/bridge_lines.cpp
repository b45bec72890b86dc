// Bridge lines: whatever a hostile board sends, nothing crashes, nothing grows without bound, and
// the next good line is understood.

#include <array>
#include <string_view>

#include "deck/state.h"
#include "require.h"

using namespace deckbus;

namespace {

void check_bounds(const state& s) {
    require(s.events.size() <= max_events && s.audio.size() <= state::max_audio);
    require(s.commands.size() <= state::max_commands && s.history.size() <= state::max_history);
    require(s.players.size() <= size_t(max_player));
    require(s.transfers.pending.size() <= blob_transfers::max_open);
    require(s.store.tracks.size() <= track_store::max_tracks + 1);
}

// Everything a script could ask for.
void look_at(const state& s, double t) {
    s.snapshot(t).dump(-1, ' ', false, json::error_handler_t::replace);
    std::array<uint8_t, 512> dmx{};
    s.artnet_dmx(t, dmx);
    for (const auto& [n, p] : s.players) {
        bytes pixels;
        s.deck_texture(n, pixels);
        s.deck_texture_info(n);
        s.track_json(p.track_id).dump(-1, ' ', false, json::error_handler_t::replace);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Limits input bytes, not lines: a header of a few bytes may promise 16 MiB, 32 times over.
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    state s;
    s.on_connected(10, "fuzz");
    double t = 10;
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        s.feed(rest.substr(0, end), t += 0.3, size % 2 == 0);
        rest = end == std::string_view::npos ? "" : rest.substr(end + 1);
        check_bounds(s);
    }
    look_at(s, t + 0.1);
    require(s.feed(R"({"t":"beat","n":1,"bpm":128,"beat":5})", t, false));
    require(s.players.at(1).playing && s.players.at(1).beat == 5);
    return 0;
}
