// Lines about the devices themselves: players and mixers, media, the bridge, sound.

#include <cstdio>

#include "base/bounded.h"
#include "base/utf8.h"
#include "deck/state.h"

namespace deckbus {

namespace {

// True for a version before 0.4, the first firmware whose beat lines carry beat number and cue
// countdown. Text without two numbers is let through.
bool firmware_too_old(const std::string& version) {
    int major = 0, minor = 0;
    if (std::sscanf(version.c_str(), "%d.%d", &major, &minor) != 2) return false;
    return major < 0 || (major == 0 && minor < 4);
}

// As much of a text as is kept of it.
std::string_view kept(std::string_view text) {
    constexpr size_t most_bytes = 256;
    return tvr_cut_utf8(text, most_bytes);
}
json kept(const json& value) {
    if (!value.is_string()) return value;
    return kept(std::string_view(value.get_ref<const std::string&>()));
}

}  // namespace

void state::apply_air(const json& line) {
    constexpr size_t max_channels = 6;
    const json* channels = find_field(line, "ch");
    if (channels == nullptr || !channels->is_array()) return;
    for (size_t i = 0; i < channels->size() && i < max_channels; ++i) {
        const json& channel = (*channels)[i];
        players[int(i) + 1].on_air = channel.is_number() && channel.get<double>() != 0;
    }
}

void state::apply_device(const json& line, player* p, int64_t n, double t) {
    const bool on = flag(line, "on");
    if (p != nullptr && on) {
        p->present = true;
        if (find_field(line, "name") != nullptr) p->name = kept(text(line, "name"));
        p->type = integer32(line, "type", p->type);
    } else if (p != nullptr) {
        // What it was can still be shown, but nothing it had.
        player gone;
        gone.name = std::move(p->name);
        gone.type = p->type;
        *p = std::move(gone);
        if (n == master_player) set_master(0, t);
        forget_tracks(std::to_string(n) + ":", true);
    }
    add_event(
        "device",
        {{"n", n}, {"on", on}, {"name", text(line, "name")}, {"type", integer(line, "type", 0)}},
        t);
}

void state::apply_media(const json& line, int64_t n, double t) {
    const int64_t slot = integer(line, "slot", 0);
    forget_tracks(std::to_string(n) + ":" + std::to_string(slot) + ":", false);
    add_event("media", {{"n", n}, {"slot", slot}, {"on", flag(line, "on")}}, t);
}

void state::apply_heartbeat(const json& line, double t) {
    // A larger fall is a 32-bit counter of ms that began again, not a restart.
    constexpr uint64_t max_fall_ms = 4026531839;
    const int64_t ms = integer(line, "ms", 0);
    if (last_uptime_ms >= 0 && ms < last_uptime_ms &&
        uint64_t(last_uptime_ms) - uint64_t(ms) <= max_fall_ms) {
        restarted(t);
    }
    last_uptime_ms = ms;
    bridge["uptimeMs"] = ms;
    bridge["vcdjNumber"] = integer(line, "vcdj", 0);
    bridge["heap"] = integer(line, "heap", 0);
    bridge["heapMin"] = integer(line, "heapMin", 0);
}

void state::apply_hello(const json& line, double t) {
    for (const char* key : {"fw", "board", "reset", "demo", "passive", "meta", "art", "wf"}) {
        const json* value = find_field(line, key);
        if (value != nullptr && !value->is_structured()) bridge[key] = kept(*value);
    }
    add_event("hello", bridge, t);

    const std::string version(text(line, "fw"));
    if (!firmware_too_old(version)) return;
    add_event("warn",
              {{"msg", "Firmware " + version +
                           " is too old, 0.4.0 or newer is needed (beat number and cue countdown "
                           "in the beat line)"}},
              t);
}

void state::apply_net(const json& line) {
    bridge["link"] = flag(line, "link");
    bridge["ip"] = kept(text(line, "ip"));
}

void state::apply_vcdj(const json& line) {
    bridge["vcdj"] = kept(text(line, "phase"));
}

void state::apply_pcm(const json& line, double t) {
    constexpr size_t sample_bytes = 2;
    const json* data = find_field(line, "d");
    audio_chunk chunk;
    chunk.sample_rate = integer32(line, "sr", 0);
    if (chunk.sample_rate == 0 || data == nullptr || !data->is_string()) return;
    if (!base64_decode(data->get_ref<const std::string&>(), chunk.pcm)) return;
    if (chunk.pcm.size() < sample_bytes) return;

    chunk.seq = uint32_t(integer(line, "seq", 0));
    chunk.us = integer(line, "us", 0);
    chunk.t = t;
    audio.push_back(std::move(chunk));
    tvr_drop_oldest(audio, max_audio);
}

}  // namespace deckbus
