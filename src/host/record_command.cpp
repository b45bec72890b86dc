// `tavro record SOURCE -o FILE`: what a board says, line by line, as a recording.

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

#include "host/command.h"
#include "host/line_recorder.h"
#include "host/monitor/signals.h"
#include "host/monitor/source.h"

namespace host {

namespace {

constexpr double write_interval_s = 0.25;

struct record_request {
    std::string source;
    std::string file;
    double for_seconds = 0;  // 0: until a signal
};

// What a person at a terminal reads while it records: one line, written over and over. Without a
// terminal, and of each change of the connection, a line of its own.
class progress {
public:
    explicit progress(deckbus::session& of) : session(of), live(isatty(STDERR_FILENO) != 0) {}

    void show(const line_recorder& recorder) {
        const std::string now = connection();
        if (now != told) say(now);
        told = now;
        if (live) std::fprintf(stderr, "\r%s", counts(recorder).c_str());
    }

    void finish(const line_recorder& recorder) {
        std::fprintf(stderr, "%s%s\n", live ? "\r" : "", counts(recorder).c_str());
    }

private:
    void say(const std::string& line) const {
        std::fprintf(stderr, "%s%s\n", live ? "\r\x1b[K" : "", line.c_str());
    }

    std::string connection() const {
        tvr_lock hold(session.mutex);
        session.tick(deckbus::now_s());
        if (!session.status.empty()) return session.status;
        return session.active_port.empty() ? "Waiting" : "Listening to " + session.active_port;
    }

    std::string counts(const line_recorder& recorder) const {
        constexpr double mb = 1e6;
        char text[128];
        std::snprintf(text, sizeof text, "%llu lines, %.1f MB",
                      static_cast<unsigned long long>(recorder.lines()),
                      double(recorder.bytes()) / mb);
        std::string all = text;
        if (recorder.lost() > 0) all += ", " + std::to_string(recorder.lost()) + " lost";
        return all;
    }

    deckbus::session& session;
    const bool live;
    std::string told;  // of the connection
};

int run(const record_request& asked) {
    const monitor::signal_watch signals;  // first: the session's thread inherits them blocked
    std::string error;
    monitor::options where;
    where.source = asked.source;
    if (monitor::kind_of_source(asked.source) == monitor::source_kind::recording) {
        return fail(asked.source + " is no board");
    }
    const auto session = monitor::open_source(where, error);
    line_recorder recorder(session);
    if (!recorder.create(asked.file, error)) return fail(error);
    progress told(*session);
    const double started = deckbus::now_s();
    bool over = false;
    while (!over) {
        const std::vector<int> came = signals.wait(write_interval_s);
        over = std::any_of(came.begin(), came.end(), monitor::signal_watch::asks_to_end) ||
               (asked.for_seconds > 0 && deckbus::now_s() - started >= asked.for_seconds);
        if (!recorder.write(error)) return fail(error);
        told.show(recorder);
    }
    if (!recorder.finish(error)) return fail(error);
    told.finish(recorder);
    return exit_ok;
}

}  // namespace

void add_record(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<record_request>();
    CLI::App* command = app.add_subcommand("record", "write down what a board says");
    command->add_option("SOURCE", asked->source, "a serial device, auto or network")->required();
    command->add_option("-o", asked->file, "the recording; - is standard output")->required();
    command->add_option("--for", asked->for_seconds, "end after this many seconds")
        ->check(CLI::PositiveNumber);
    command->callback([asked, &chosen] { chosen = [asked] { return run(*asked); }; });
}

}  // namespace host
