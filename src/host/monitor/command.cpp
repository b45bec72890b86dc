#include "host/command.h"

#include <CLI/CLI.hpp>
#include <memory>

#include "host/monitor/options.h"

namespace host {

void add_monitor(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<monitor::options>();
    CLI::App* command = app.add_subcommand("monitor", "a live view of the decks");
    command->add_option("SOURCE", asked->source, "a recording, a serial device, auto or network")
        ->required();
    command->add_option("--speed", asked->speed, "speed of a recording (1)")
        ->check(CLI::PositiveNumber);
    command->add_flag("--once", asked->once, "play a recording once and end with it");
    command->add_option("--for", asked->for_seconds, "end after this many seconds")
        ->check(CLI::PositiveNumber);
    command->add_flag("--json", asked->json, "print a snapshot a second as a line of JSON");
    command
        ->add_option("--artnet", asked->artnet, "send the decks as a DMX universe to this address")
        ->check(CLI::ValidIPV4);
    command->add_option("--png", asked->png, "write the picture of the decks at the end");
    command->callback([asked, &chosen] { chosen = [asked] { return monitor::run(*asked); }; });
}

}  // namespace host
