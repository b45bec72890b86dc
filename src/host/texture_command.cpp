// `tavro texture RECORDING -o FILE`: the waveform texture of a deck as a picture.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <limits>
#include <memory>

#include "deck/recording.h"
#include "deck/state.h"
#include "host/command.h"
#include "host/texture_picture.h"

namespace host {

namespace {

struct texture_request {
    std::string recording;
    std::string file;
    int deck = 0;  // 0: the master, else the first with a waveform
    double at = std::numeric_limits<double>::infinity();  // s from the start of the recording
};

// The decks as they stood at a time, without waiting for it.
void play_until(const deckbus::recording& lines, double at, deckbus::state& decks) {
    for (const deckbus::recorded_line& each : lines) {
        if (each.t - lines.front().t > at) return;
        decks.feed(each.line, each.t, false);
    }
}

// 0 when no deck has a waveform.
int choose_deck(const deckbus::state& decks, int wanted) {
    const auto has_waveform = [&](int n) {
        const deckbus::track* loaded = decks.track_of(n);
        return loaded != nullptr && loaded->has_waveform();
    };
    if (wanted != 0) return has_waveform(wanted) ? wanted : 0;
    if (has_waveform(decks.master_player)) return decks.master_player;
    for (const auto& [n, player] : decks.players) {
        if (has_waveform(n)) return n;
    }
    return 0;
}

int run(const texture_request& asked) {
    std::string error;
    const deckbus::recording lines = deckbus::load_recording(asked.recording, error);
    if (lines.empty()) return fail(error);
    deckbus::state decks;
    play_until(lines, asked.at, decks);
    const int deck = choose_deck(decks, asked.deck);
    if (deck == 0) return fail("No waveform there and then");
    const deckbus::track& track = *decks.track_of(deck);
    const monitor::raster picture =
        draw_texture(track.texture(), track.layout(), track.detail.style, track.preview.style);
    if (!monitor::write_png(picture, asked.file, error)) return fail(error);
    std::printf("deck %d, %s, %d x %d pixels\n", deck, decks.players.at(deck).track_id.c_str(),
                picture.width(), picture.height());
    return exit_ok;
}

}  // namespace

void add_texture(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<texture_request>();
    CLI::App* command =
        app.add_subcommand("texture", "the waveform texture of a deck as a picture");
    command->add_option("RECORDING", asked->recording)->required();
    command->add_option("-o", asked->file, "the PNG file")->required();
    command->add_option("--deck", asked->deck, "its number; without it the tempo master's")
        ->check(CLI::Range(1, 64));
    command->add_option("--at", asked->at, "seconds from the start of the recording (its end)")
        ->check(CLI::NonNegativeNumber);
    command->callback([asked, &chosen] { chosen = [asked] { return run(*asked); }; });
}

}  // namespace host
