// The decks as a DMX universe. Wide values are big-endian; every value is held in its range.

#include <algorithm>
#include <cmath>

#include "deck/state.h"

namespace deckbus {

namespace {

constexpr double flash_s = 0.1;
constexpr int blocks = 6;
constexpr size_t block_channels = 20;
constexpr size_t master_at = blocks * block_channels;

uint8_t flag_channel(bool set) {
    return set ? 255 : 0;
}

uint8_t channel(double value) {
    if (!(value > 0)) return 0;  // and for what is no number
    return value >= 255 ? 255 : uint8_t(value);
}

void put_wide(uint8_t* at, double value) {
    constexpr double most = 65535;
    const double held = value > 0 ? std::min(std::round(value), most) : 0;
    at[0] = uint8_t(uint32_t(held) >> 8);
    at[1] = uint8_t(uint32_t(held) & 0xFF);
}

// Lit for a moment after `since`; a time slightly ahead of t, as the bridge's clock can give it,
// is not lit yet.
uint8_t flash(double t, double since) {
    return flag_channel(since > 0 && t >= since && t - since < flash_s);
}

uint8_t beats_channel(int beats) {
    return beats < 0 ? 255 : uint8_t(std::min(beats, 254));
}

uint8_t bar_channel(const player& p) {
    return channel(double(p.beat_in_bar) * 64);
}

double track_progress(const player& p, const track* loaded, double t) {
    double length_ms = 0;
    if (p.length_s >= 1) {
        length_ms = p.length_s * 1000.0;
    } else if (loaded != nullptr) {
        length_ms = loaded->duration_ms();
    }
    const double pos = p.position_ms(t, loaded);
    return pos >= 0 && length_ms > 0 ? pos / length_ms : 0;
}

void put_player(uint8_t* at, const player& p, const track* loaded, double t) {
    put_wide(at, p.effective_bpm() * 100);
    at[2] = bar_channel(p);
    at[3] = flash(t, p.beat_time);
    at[4] = channel(p.beat_phase(t) * 256);
    at[5] = channel(p.bar_phase(t) * 256);
    at[6] = flag_channel(p.playing);
    at[7] = flag_channel(p.on_air);
    at[8] = flag_channel(p.master);
    at[9] = flag_channel(p.sync);
    put_wide(at + 10, p.pitch * 100 + 32768);
    put_wide(at + 12, track_progress(p, loaded, t) * 65535);
    at[14] = flag_channel(p.present);
    at[15] = flag_channel(loaded != nullptr && loaded->complete);
    at[16] = beats_channel(p.beats_to_cue());
    at[17] = flash(t, p.cue_time);
    at[18] = channel(p.cue_ramp(t) * 255);
}

void put_master(uint8_t* at, const player& p, int n, double t) {
    put_wide(at, p.effective_bpm() * 100);
    at[2] = channel(n);
    at[3] = bar_channel(p);
    at[4] = flash(t, p.beat_time);
    at[5] = channel(p.beat_phase(t) * 256);
    at[6] = channel(p.bar_phase(t) * 256);
    at[7] = beats_channel(p.beats_to_cue());
    at[8] = flash(t, p.cue_time);
    at[9] = channel(p.cue_ramp(t) * 255);
}

}  // namespace

void state::artnet_dmx(double t, std::span<uint8_t, 512> dmx) const {
    std::fill(dmx.begin(), dmx.end(), uint8_t(0));
    for (int n = 1; n <= blocks; ++n) {
        const auto p = players.find(n);
        if (p == players.end()) continue;
        put_player(dmx.data() + size_t(n - 1) * block_channels, p->second, track_of(n), t);
    }
    const auto master = players.find(master_player);
    if (master_player != 0 && master != players.end()) {
        put_master(dmx.data() + master_at, master->second, master_player, t);
    }
}

}  // namespace deckbus
