#include "bridge_sim/command_line.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include <CLI/CLI.hpp>

#include "bridge_sim/messages.h"
#include "bridge_sim/recorder.h"
#include "bridge_sim/relay.h"
#include "bridge_sim/server.h"

namespace bridge_sim {

namespace {

int run_record(const record_wish& wish, const std::string& path) {
    const line_list lines = record_lines(plan_set(wish));
    if (path == "-") {
        return write_recording(std::cout, lines) ? 0 : fail("Cannot write to standard output");
    }
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!file) return fail("Cannot open file: " + path + ": " + std::strerror(errno));
    if (!write_recording(file, lines)) return fail("Cannot write file: " + path);
    say("wrote " + std::to_string(lines.size()) + " lines to " + path);
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

void add_mishap(CLI::App& app, const char* name, const char* form, const char* help,
                mishap::what kind, fault_plan& faults) {
    app.add_option_function<std::vector<std::string>>(
           name,
           [&faults, kind, form](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) {
                   mishap m;
                   if (!parse_mishap(kind, text, m)) {
                       throw CLI::ValidationError("\"" + text + "\" is not of the form " + form);
                   }
                   faults.mishaps.push_back(m);
               }
           },
           help)
        ->type_name(form)
        ->allow_extra_args(false);
}

void add_serve(CLI::App& app, serve_wish& wish) {
    constexpr double slowest = 0.01, fastest = 1000.0;
    app.add_option("--pty", wish.link, "Link to make to the pseudo terminal")->required();
    app.add_option("file", wish.file, "Recording to play")->required();
    app.add_option("--speed", wish.board.speed, "How much faster than real")
        ->check(CLI::Range(slowest, fastest))
        ->capture_default_str();
    app.add_flag("--loop", wish.board.loop, "Begin again at the end");
    app.add_option("--seed", wish.faults.seed, "The same number harms the same lines")
        ->capture_default_str();
    app.add_option("--drop", wish.faults.drop, "Probability that a line is lost")
        ->check(CLI::Range(0.0, 1.0));
    app.add_option("--garble", wish.faults.garble, "Probability that a byte of a line is damaged")
        ->check(CLI::Range(0.0, 1.0));
    add_mishap(app, "--stall", "SECONDS@T", "Say nothing for a while", mishap::what::stall,
               wish.faults);
    add_mishap(app, "--reboot", "T", "Fail and start anew", mishap::what::reboot, wish.faults);
    add_mishap(app, "--unplug", "SECONDS@T", "Pull the cable for a while", mishap::what::unplug,
               wish.faults);
}

void add_relay(CLI::App& app, relay_wish& wish) {
    constexpr double slowest = 0.01, fastest = 1000.0;
    constexpr int longest_delay_ms = 10'000;
    const CLI::Range share(0.0, 1.0);
    app.add_option("file", wish.file, "Recording to play")->required();
    app.add_option("--name", wish.name, "Name of the relay")->capture_default_str();
    app.add_option("--to", wish.peers, "Call this address, instead of all; repeatable")
        ->type_name("ADDRESS")
        ->allow_extra_args(false);
    app.add_option("--speed", wish.board.speed, "How much faster than real")
        ->check(CLI::Range(slowest, fastest))
        ->capture_default_str();
    app.add_flag("--loop", wish.board.loop, "Begin again at the end");
    app.add_flag("--pcm", wish.pcm, "Send sound as packets of its own");
    app.add_option("--seed", wish.faults.seed, "The same number harms the same datagrams")
        ->capture_default_str();
    app.add_option("--loss", wish.faults.loss, "Probability that a datagram is lost")->check(share);
    app.add_option("--duplicate", wish.faults.duplicate, "Probability that one goes out twice")
        ->check(share);
    app.add_option("--reorder", wish.faults.reorder, "Probability that one is overtaken")
        ->check(share);
    app.add_option("--delay", wish.faults.delay_ms, "Milliseconds by which all are late")
        ->check(CLI::Range(0, longest_delay_ms));
    app.add_option("--restart", wish.restarts, "Seconds after which the relay fails and comes back")
        ->type_name("T")
        ->check(CLI::NonNegativeNumber)
        ->allow_extra_args(false);
}

// Words that are short for an option and the beginning of its value.
struct short_form {
    std::string_view form, option, value;
};

constexpr short_form short_forms[] = {{"--reboot@", "--reboot", ""},
                                      {"--restart@", "--restart", ""},
                                      {"--unplug@", "--unplug", "3@"}};

std::vector<std::string> spell_out(int argc, char** argv) {
    std::vector<std::string> args;
    for (int i = 1; i < argc; i++) {
        const std::string_view arg = argv[i];
        const auto* found =
            std::find_if(std::begin(short_forms), std::end(short_forms),
                         [&](const short_form& each) { return arg.starts_with(each.form); });
        if (found == std::end(short_forms)) {
            args.emplace_back(arg);
        } else {
            args.emplace_back(found->option);
            args.push_back(std::string(found->value) += arg.substr(found->form.size()));
        }
    }
    std::reverse(args.begin(), args.end());  // the parser takes them from the back
    return args;
}

}  // namespace

int run_command_line(int argc, char** argv) {
    CLI::App app(
        "A bridge that is not there: makes recordings, and plays them on a serial port or as a "
        "relay on the network.",
        "bridge_sim");
    app.require_subcommand(1);
    record_wish wish;
    std::string output;
    serve_wish serving;
    CLI::App* record = app.add_subcommand("record", "Write a made-up set as a recording");
    add_record(*record, wish, output);
    add_serve(*app.add_subcommand("serve", "Play a recording on a pseudo terminal"), serving);
    relay_wish relaying;
    CLI::App* over_network =
        app.add_subcommand("relay", "Play a recording as a relay on the network");
    add_relay(*over_network, relaying);
    try {
        app.parse(spell_out(argc, argv));
    } catch (const CLI::ParseError& e) {
        constexpr int wrong_usage = 2;
        return app.exit(e) == 0 ? 0 : wrong_usage;
    }
    if (over_network->parsed()) return relay(std::move(relaying));
    return record->parsed() ? run_record(wish, output) : serve(std::move(serving));
}

}  // namespace bridge_sim
