#pragma once

// The picture of the DJ network as the bridge reports it, one JSON line at a time.
//
// This folder, in the order in which a line travels:
//
//   serial_port, recording   where lines come from
//   session         owns one state, one transport and its thread; shared by all who ask for it
//   state           feed() turns a line into changes of players, tracks and bridge, and events
//   player          one deck, and its phases, position and countdown at any moment
//   clock_sync      the bridge's clock on the host's
//   event           what listeners are told
//   history_file    the set list as a file
//   net_audio       sound that came over the network
//
// The sources of state follow its subjects: state.cpp (feed and dispatch), state_beat.cpp (beat,
// status, mixer, position), state_device.cpp (devices, bridge, sound), state_track.cpp (tracks
// and blobs), state_history.cpp, state_view.cpp (JSON for scripts), state_artnet.cpp.
//
// Locking: none inside. Every call is made under the mutex of the session that owns the state.
// All times are s on the steady clock; a "line time" is when the line's matter happened.

#include <cstdint>
#include <deque>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "deck/clock_sync.h"
#include "deck/event.h"
#include "deck/player.h"
#include "track/blob_transfers.h"
#include "track/json.h"
#include "track/track_store.h"

namespace deckbus {

// One block of sound from a "pcm" line or from the relay.
struct audio_chunk {
    int32_t sample_rate = 0;
    uint32_t seq = 0;
    int32_t source = 0;  // 0 for a line; the relay's number otherwise
    int64_t us = 0;      // bridge clock
    double t = 0;        // s, line time
    bytes pcm;           // int16, little-endian, mono
};

// How long one track on one deck has been heard.
struct heard_track {
    std::string id;
    double audible_s = 0;
    bool counted = false;  // it stands in the history
};

struct state {
    static constexpr size_t max_audio = 100;  // chunks, about two seconds
    static constexpr size_t max_commands = 1024;
    static constexpr size_t max_history = 300;
    static constexpr double info_window_s = 2.0;

    state();

    // Lines in.

    // One raw line that arrived at `now`. False if it was refused: no object, nested too deeply,
    // not JSON, or an exception, which is reported as a "warn" event. With use_bridge_clock the
    // line's own "us" gives the line time, else its arrival does.
    bool feed(std::string_view line, double now, bool use_bridge_clock);

    // The same for a parsed line. True.
    bool feed_parsed(const json& line, double now, bool use_bridge_clock);

    // Changes the state as the line's kind says. Unknown kinds are ignored.
    void apply(const json& line, double t);

    // The line's player, created when its number is seen first; null outside 1 to max_player.
    player* get_player(const json& line);

    // The connection.

    // A transport has opened the port of this name. `connected` stays false until the first line.
    void on_connected(double now, const std::string& name);

    // The transport is gone. Players and tracks stay as they are.
    void on_disconnected(double now, const std::string& reason);

    // The bridge restarted: players and tracks go, and it is asked for everything anew.
    void restarted(double now);

    // Players 1 to 6 with nothing but their names; all others go.
    void reset_players();

    // Asks the bridge for its state lines. For info_window_s a track line may ask for metadata.
    void request_info(double now);

    // n claims or, with 0, loses the tempo. Nothing happens when it is no change.
    void set_master(int32_t n, double t);

    // Queues out, each in order of arrival and left empty.

    std::vector<std::string> take_commands();
    std::vector<event> take_events();
    std::vector<audio_chunk> take_audio();

    // Appends an event; the oldest goes above max_events.
    void add_event(std::string kind, json data, double t);

    // Appends a firmware command; the oldest goes above max_commands.
    void add_command(std::string command);

    // Tracks.

    // The track loaded on player n, or null. Valid until the next store_track().
    const track* track_of(int n) const;

    track& store_track(const std::string& id, json meta);
    track& get_track(const std::string& id);

    // Forgets the tracks and transfers whose id begins with prefix; with keep_loaded the tracks
    // on the decks stay, their transfers go all the same.
    void forget_tracks(std::string_view prefix, bool keep_loaded);

    // Hands a complete blob to its track, or reports why it is unusable and asks once more.
    void finish_blob(const std::string& id, const std::string& kind, pending_blob& blob,
                     double now);

    // Asks the bridge once more for a track that a player holds; once in a track's life.
    void refetch(const std::string& id);

    // Views.

    // The player with everything derived at t, or null for a number never seen.
    json player_json(int n, double t) const;
    json master_json(double t) const;  // null without a master
    json snapshot(double t) const;     // connection, bridge, master's number, present players
    json track_json(const std::string& id) const;  // null for an unknown id

    // The artwork file of the track on player n. False without one.
    bool artwork(int n, bytes& out) const;

    // The waveform texture of player n (see track::texture), and its size and revision. False
    // and null without a waveform.
    bool deck_texture(int n, bytes& out) const;
    json deck_texture_info(int n) const;

    // The decks as one DMX universe for lighting gear: 20 channels for each of the players 1 to
    // 6, then the tempo master. docs/artnet.md has the table.
    void artnet_dmx(double t, std::span<uint8_t, 512> dmx) const;

    // History: the set list of tracks really heard.

    // Counts what is audible; runs with every line, works at most twice a second.
    void scan_history(double now);

    // "now" and "items", oldest first, times on the steady clock.
    json history_json(double now) const;

    // Tracks counted before are not added again.
    void clear_history();

    // The record.

    std::map<int, player> players;
    int32_t master_player = 0;  // 0 when there is no tempo master
    track_store store;
    blob_transfers transfers;
    json bridge;  // what the bridge said of itself; scripts see it as "esp"
    clock_sync clock;
    bool connected = false;  // from the first line after a connect until on_disconnected
    std::string port;        // the transport's name
    double last_line_time = 0;
    double info_until = 0;              // until then a track line may ask for metadata
    int64_t last_uptime_ms = -1;        // of the last heartbeat
    std::vector<std::string> commands;  // firmware commands waiting for the transport
    event_queue events;
    std::map<int, heard_track> history_seen;  // by player
    std::deque<json> history;                 // oldest first
    int32_t history_rev = 0;                  // up by one with every change
    double history_scan_time = 0;
    std::deque<audio_chunk> audio;

private:
    void apply_beat(const json& line, player& p, int n, double t);
    void apply_status(const json& line, player& p, int n, double t);
    void apply_mixer(const json& line, player& p, int n, double t);
    void apply_position(const json& line, player& p, double t);
    void apply_loaded(const json& line, player& p, int n, double t);
    void apply_air(const json& line);
    void apply_device(const json& line, player* p, int64_t n, double t);
    void apply_media(const json& line, int64_t n, double t);
    void apply_heartbeat(const json& line, double t);
    void apply_hello(const json& line, double t);
    void apply_net(const json& line);
    void apply_vcdj(const json& line);
    void apply_pcm(const json& line, double t);
    void apply_meta(const json& line, double t);
    void apply_meta_end(const json& line, bool complete);
    void apply_blob(const json& line, double t);
    void apply_part(const json& line, double t);
    void follow_master(const player& p, int n, double t);
    void count_heard(int n, const player& p, double dt, bool mixer_seen, double now);
    void fill_history();
    loaded_ids loaded() const;
};

}  // namespace deckbus
