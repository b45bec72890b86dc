#include "host/monitor/event_text.h"

#include "host/monitor/format.h"
#include "host/monitor/terminal_text.h"

namespace monitor {

namespace {

using deckbus::json;

std::string word(const json& data, const char* key) {
    return std::string(deckbus::text(data, key));
}

std::string deck_word(const json& data) {
    return "deck " + std::to_string(deckbus::integer(data, "n", 0));
}

std::string connected_words(const json& data) {
    return word(data, "port");
}

std::string disconnected_words(const json& data) {
    return word(data, "port") + ": " + word(data, "reason");
}

std::string restart_words(const json&) {
    return "the bridge started anew";
}

std::string hello_words(const json& data) {
    return word(data, "board") + " firmware " + word(data, "fw");
}

std::string beat_words(const json& data) {
    std::string words =
        deck_word(data) + formatted("  %d/4  beat %d  ", deckbus::integer32(data, "bb", 0),
                                    deckbus::integer32(data, "beat", -1));
    words += tempo_text(deckbus::number(data, "bpm", 0)) + " bpm";
    const int32_t cue = deckbus::integer32(data, "cue", -1);
    if (cue >= 0) words += "  cue in " + std::to_string(cue);
    if (deckbus::flag(data, "master")) words += "  master";
    if (deckbus::flag(data, "air")) words += "  on air";
    return words;
}

std::string cue_words(const json& data) {
    return deck_word(data) + "  beat " + std::to_string(deckbus::integer(data, "beat", 0)) +
           (deckbus::flag(data, "master") ? "  master" : "");
}

std::string master_words(const json& data) {
    return deckbus::integer(data, "n", 0) == 0 ? "none" : deck_word(data);
}

std::string track_words(const json& data) {
    const std::string id = word(data, "id");
    return deck_word(data) + "  " + (id.empty() ? "empty" : id);
}

std::string meta_words(const json& data) {
    const std::string artist = word(data, "artist");
    return word(data, "id") + "  " + word(data, "title") + (artist.empty() ? "" : " - " + artist);
}

std::string trackdata_words(const json& data) {
    return word(data, "id") + "  " + word(data, "kind") + "  revision " +
           std::to_string(deckbus::integer(data, "rev", 0));
}

std::string media_words(const json& data) {
    return deck_word(data) + "  slot " + std::to_string(deckbus::integer(data, "slot", 0)) +
           (deckbus::flag(data, "on") ? "  in" : "  out");
}

std::string device_words(const json& data) {
    return std::to_string(deckbus::integer(data, "n", 0)) + "  " + word(data, "name") +
           (deckbus::flag(data, "on") ? "  on" : "  off");
}

std::string message_words(const json& data) {
    return word(data, "msg");
}

struct event_row {
    const char* kind;
    std::string (*words)(const json& data);
};

constexpr event_row rows[] = {
    {"connected", connected_words}, {"disconnected", disconnected_words},
    {"restart", restart_words},     {"hello", hello_words},
    {"beat", beat_words},           {"cue", cue_words},
    {"master", master_words},       {"track", track_words},
    {"meta", meta_words},           {"trackdata", trackdata_words},
    {"media", media_words},         {"device", device_words},
    {"warn", message_words},        {"error", message_words},
};

}  // namespace

std::string event_words(const deckbus::event& e) {
    for (const event_row& row : rows) {
        if (e.kind == row.kind) return safe_text(row.words(e.data));
    }
    return safe_text(e.data.dump(-1, ' ', false, json::error_handler_t::replace));
}

std::string event_text(const deckbus::event& e) {
    return safe_text(formatted("%-12s  ", e.kind.c_str())) + event_words(e);
}

}  // namespace monitor
