#include "bridge_sim/command_line.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>

#include <CLI/CLI.hpp>

#include "bridge_sim/recorder.h"

namespace bridge_sim {

namespace {

int fail(const std::string& message) {
    std::fprintf(stderr, "bridge_sim: %s\n", message.c_str());
    return 1;
}

int run_record(const record_wish& wish, const std::string& path) {
    const line_list lines = record_lines(plan_set(wish));
    if (path == "-") {
        return write_recording(std::cout, lines) ? 0 : fail("Cannot write to standard output");
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) return fail("Cannot open file: " + path + ": " + std::strerror(errno));
    if (!write_recording(file, lines)) return fail("Cannot write file: " + path);
    std::fprintf(stderr, "bridge_sim: wrote %zu lines to %s\n", lines.size(), path.c_str());
    return 0;
}

void add_record(CLI::App& app, record_wish& wish, std::string& path) {
    constexpr int longest_minutes = 600, longest_pcm_s = 36'000;
    app.add_option("--seed", wish.seed, "The same number gives the same set")
        ->capture_default_str();
    app.add_option("--minutes", wish.minutes, "Length of the recording")
        ->check(CLI::Range(1, longest_minutes))
        ->capture_default_str();
    app.add_option("--decks", wish.decks, "Players beside the mixer")
        ->check(CLI::Range(1, max_decks))
        ->capture_default_str();
    app.add_option("--pcm", wish.pcm_s, "Seconds of line input, 0 for none")
        ->check(CLI::Range(0, longest_pcm_s))
        ->capture_default_str();
    app.add_option("-o,--output", path, "File to write, - for standard output")->required();
}

}  // namespace

int run_command_line(int argc, char** argv) {
    CLI::App app("A bridge that is not there: makes recordings, and plays them on a serial port.");
    app.require_subcommand(1);
    record_wish wish;
    std::string output;
    CLI::App* record = app.add_subcommand("record", "Write a made-up set as a recording");
    add_record(*record, wish, output);
    CLI11_PARSE(app, argc, argv);
    return run_record(wish, output);
}

}  // namespace bridge_sim
