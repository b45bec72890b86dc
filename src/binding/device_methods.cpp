// The table of the device's methods. The texts are quoted by documents and stay as they are.

#include "binding/device.h"

namespace {

constexpr const char* deck_number = "n: int - device number";
constexpr const char* callback = "callback: function";

}  // namespace

void tvr_deckbus::script_register(tvrobject_metadata& m) {
    register_transport(m);
    register_decks(m);
    register_pictures(m);
    register_events(m);
}

void tvr_deckbus::register_transport(tvrobject_metadata& m) {
    using self = tvr_deckbus;
    add_function(m, "open", &self::open, 0, 2,
                 {.description = "Connect to the deckbus-bridge ESP32 over USB. Runs in the "
                                 "background and reconnects by itself. Objects with the same port "
                                 "share one connection.",
                  .params = {"port: string - COM port or /dev/tty*, empty = find the ESP32 "
                             "(CH343P) automatically",
                             "baud: int - baud rate of the firmware (default 2000000)"}});
    add_function(
        m, "replay", &self::replay, 1, 3,
        {.description = "Play a recording (bridge.py --log) instead of reading the "
                        "ESP32, e.g. to build visuals without CDJs.",
         .params = {"path: string - JSONL recording", "speed: float - playback speed (default 1.0)",
                    "loop: bool - start again at the end (default true)"}});
    add_function(m, "network", &self::network, 0, 0,
                 {.description = "Take the lines from a relay ESP32 in the network (TavroNet) "
                                 "instead of USB. The module receives them itself (own TavroNet "
                                 "node \"Lumora-deckbus\") and sends requests and send() back to "
                                 "the relay."});
    add_function(
        m, "take_audio", &self::take_audio, 0, 1,
        {.description = "Audio the ESP32 sent over USB (\"audio mic|line\" in the firmware) since "
                        "the last call, at most ~2 s: list of [rate, seq, source, us, ageMs, "
                        "samples, data, values]: data = binary int16 little-endian mono, values = "
                        "the same samples as floats -1..1. Only one object per connection should "
                        "take it.",
         .params = {"values: bool - also return the samples as a float list (default "
                    "true; false when only data is used)"}});
    add_function(m, "close", &self::close, 0, 0,
                 {.description = "Close the port or stop the replay."});
    add_function(m, "connected", &self::connected, 0, 0,
                 {.description = "True while lines from the ESP32 (or the replay) arrive."});
    add_function(m, "port", &self::port, 0, 0,
                 {.description = "Port in use, empty while not connected."});
    add_function(m, "error", &self::error, 0, 0,
                 {.description = "Last connection problem, empty if none."});
    add_function(m, "send", &self::send, 1, 1,
                 {.description = "Send a command line to the firmware, e.g. \"info\", \"demo 1\", "
                                 "\"fetch 2\" (docs/usb-protokoll.md).",
                  .params = {"command: string"}});
}

void tvr_deckbus::register_decks(tvrobject_metadata& m) {
    using self = tvr_deckbus;
    add_function(m, "master", &self::master, 0, 0,
                 {.description = "The tempo master deck (effectiveBpm, beatPhase, barPhase, "
                                 "beatsToCue, cueRamp, track ...), None if there is none."});
    add_function(m, "player", &self::player, 1, 1,
                 {.description = "State of one player (1-6) or mixer (33+), None if unknown.",
                  .params = {deck_number}});
    add_function(m, "track", &self::track, 1, 1,
                 {.description = "Metadata of a track id (title, artist, key, genre ...), None if "
                                 "not known.",
                  .params = {"id: string - track id from player(n).track.id"}});
    add_function(
        m, "history", &self::history, 0, 0,
        {.description = "Played tracks, oldest first: list of {time (\"HH:MM\", local), epoch, n "
                        "(deck), id, title, artist, key, genre, bpm}. A track counts once it was "
                        "audible for 30 s (with a DJM: channel on air, otherwise playing). Up to "
                        "300 entries."});
    add_function(m, "history_count", &self::history_count, 0, 0,
                 {.description = "Changes whenever the history changes (new track, metadata filled "
                                 "in, cleared): fetch history() again then."});
    add_function(m, "history_clear", &self::history_clear, 0, 0,
                 {.description = "Empty the history (tracks already counted are not added "
                                 "again)."});
    add_function(m, "history_save", &self::history_save, 0, 1,
                 {.description = "Write the history as \"csv\" (default) or \"txt\" to "
                                 "Documents/deckbus-history/history-<date>-<time>.<ext>. Returns "
                                 "the path, None if writing failed.",
                  .params = {"format: string - \"csv\" or \"txt\""}});
    add_function(m, "state", &self::state, 0, 0,
                 {.description = "Everything: connection, ESP32 info, master number and all "
                                 "present players."});
}

void tvr_deckbus::register_pictures(tvrobject_metadata& m) {
    using self = tvr_deckbus;
    add_function(m, "deck_texture_info", &self::deck_texture_info, 1, 1,
                 {.description = "Size and revision of the waveform texture of a deck (None = no "
                                 "waveform yet). Upload deck_texture(n) again when rev changes.",
                  .params = {deck_number}});
    add_function(m, "deck_texture", &self::deck_texture, 1, 1,
                 {.description = "RGBA8 pixels (width x height from deck_texture_info) for "
                                 "texture.upload_data(): detail waveform rows, marker rows "
                                 "(beats, cues, loops), preview waveform row, preview marker row.",
                  .params = {deck_number}});
    add_function(m, "artwork", &self::artwork, 1, 1,
                 {.description = "Artwork of the track on a deck as JPEG bytes, None if there is "
                                 "none.",
                  .params = {deck_number}});
}

void tvr_deckbus::register_events(tvrobject_metadata& m) {
    using self = tvr_deckbus;
    add_function(m, "events", &self::events, 0, 0,
                 {.description = "Events since the last call (beat, cue, master, track, meta, "
                                 "device, media, connected, disconnected, restart, warn, error)."});
    add_function(m, "on_beat", &self::on_beat, 1, 1,
                 {.description = "Callback fn(beat) for every beat of every deck (beat.master "
                                 "tells the master).",
                  .params = {callback}});
    add_function(m, "on_cue", &self::on_cue, 1, 1,
                 {.description = "Callback fn(cue) when a deck reaches a memory cue (e.g. the "
                                 "drop).",
                  .params = {callback}});
    add_function(m, "on_event", &self::on_event, 1, 1,
                 {.description = "Callback fn(event) for every event, event.type tells which.",
                  .params = {callback}});
}
