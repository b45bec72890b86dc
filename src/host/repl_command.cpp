// `tavro repl`: an interactive prompt.

#include <sys/eventfd.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <memory>
#include <optional>

#include "base/clock.h"
#include "host/command.h"
#include "host/interrupter.h"
#include "host/repl/input_end.h"
#include "host/repl/line_reader.h"
#include "host/repl/session.h"
#include "host/script_log.h"
#include "host/script_options.h"
#include "host/script_runner.h"
#include "runtime/local/global_lock.h"

namespace host {

namespace {

// Reads inputs, runs them, and lets the interpreter go on in between.
class prompt {
public:
    explicit prompt(const script_options& options);
    ~prompt();
    prompt(const prompt&) = delete;
    prompt& operator=(const prompt&) = delete;

    int run();  // the exit status

private:
    repl::reader_needs needs();
    bool start();
    bool read_input(std::string& input);
    static bool complete_input(std::string& input);
    void run_input(std::string input);
    int go_on();
    interrupter::answer interrupt(int signal);
    void lose_output();
    bool take_interruption() const;
    void clear_line();

    const script_options& asked;
    script_log log;
    tvrscript script;
    bool edits = false;                  // standard input and output are a terminal
    const int interrupted;               // an eventfd, see reader_needs
    std::atomic<bool> running{false};    // an input; told to the interrupter's thread
    std::atomic<bool> leaving{false};    // by SIGTERM, or because nobody reads
    std::atomic<bool> at_prompt{false};  // a line is shown; told to whoever logs
    std::atomic<bool> torn{false};       // something was written over it
    std::optional<interrupter> watching;
    std::unique_ptr<repl::session> session;
    std::unique_ptr<script_runner> runner;
    std::unique_ptr<repl::line_reader> reader;
};

prompt::prompt(const script_options& options)
    : asked(options), log(options), interrupted(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
    log.before_writing = [this] { clear_line(); };
    log.on_output_lost = [this] { lose_output(); };
    watching.emplace(0, [this](int signal) { return interrupt(signal); });
}

prompt::~prompt() {
    watching.reset();
    {
        const tvr_global_lock hold;  // it lets go of values
        session.reset();
    }
    if (interrupted >= 0) ::close(interrupted);
}

// On the interrupter's thread. SIGINT gives up what runs or is being typed, SIGTERM leaves.
interrupter::answer prompt::interrupt(int signal) {
    if (signal == SIGTERM) leaving = true;
    eventfd_write(interrupted, 1);  // first: the stop is looked at together with it
    if (running || leaving) script.request_stop(exit_ok);
    return leaving ? interrupter::answer::let_next_kill : interrupter::answer::go_on;
}

// On whatever thread printed. Answers that nobody reads are not worked out.
void prompt::lose_output() {
    leaving = true;
    if (running) script.request_stop(exit_failed);
}

// Whether there was one since the last call.
bool prompt::take_interruption() const {
    eventfd_t count = 0;
    return eventfd_read(interrupted, &count) == 0;
}

// What the log writes goes over the line that is being edited, which is drawn anew then.
void prompt::clear_line() {
    constexpr std::string_view erase_line = "\r\033[K";
    if (!at_prompt) return;
    torn = true;
    if (::write(STDOUT_FILENO, erase_line.data(), erase_line.size()) < 0) return;
}

// While a person types. Returns how many ms the interpreter can wait.
int prompt::go_on() {
    constexpr double longest_ms = 50;  // foreign threads ring a bell that poll() does not hear
    if (!script.has_work()) {
        log.flush();
        return -1;
    }
    if (runner->next_turn() <= tvr_now_s()) runner->turn();
    log.flush();
    const double left_ms = (runner->next_turn() - tvr_now_s()) * 1000.0;
    return int(std::ceil(std::clamp(left_ms, 0.0, longest_ms)));
}

repl::reader_needs prompt::needs() {
    return {interrupted, [this] { return go_on(); }, [this] { return torn.exchange(false); },
            [this](std::string_view line) { return repl::complete(script, *session, line); }};
}

bool prompt::start() {
    tvrscript_config_default config = config_of(asked, "repl");
    config.log = &log;
    if (!script.init(config)) return false;
    session = std::make_unique<repl::session>(script);
    runner = std::make_unique<script_runner>(script, asked.fps, [this] { log.flush(); });
    if (::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1) {
        reader = repl::make_terminal_reader(needs());
    }
    edits = reader != nullptr;
    if (!edits) reader = repl::make_plain_reader(needs());
    return true;
}

// Whether the input can be run; a missing `;` at its end is put there.
bool prompt::complete_input(std::string& input) {
    switch (repl::state_of_input(input)) {
    case repl::input_state::blank:
    case repl::input_state::whole: return true;
    case repl::input_state::open: return false;
    case repl::input_state::unended: break;
    }
    if (!repl::session::parses(input + ";")) return false;
    input += ';';
    return true;
}

// One input of one or more lines, blank when it was given up. An empty line ends it in any case,
// and what is wrong is told then. False at the end of all input.
bool prompt::read_input(std::string& input) {
    input.clear();
    for (;;) {
        at_prompt = edits;
        const repl::line got = reader->read(input.empty() ? "> " : ". ");
        at_prompt = false;
        if (leaving) return false;
        if (got.ended == repl::line::end::interrupted) {
            input.clear();
            if (edits) log.on_output("");
            return true;
        }
        if (got.ended == repl::line::end::over) return !input.empty();
        if (!got.text.empty()) reader->remember(got.text);
        const bool ends = got.text.empty() && !input.empty();
        input += got.text + '\n';
        if (ends || complete_input(input)) return true;
    }
}

void prompt::run_input(std::string input) {
    running = true;
    const tvrptr_strong<tvr_task> task = session->start(std::move(input));
    if (task) {
        runner->run_to_end(task);
        const std::string left = repl::session::text_of_result(*task);
        if (!left.empty()) log.on_output(left);
    }
    running = false;
    log.flush();
}

int prompt::run() {
    if (!start()) return exit_failed;
    std::string input;
    while (!leaving && read_input(input)) {
        if (repl::state_of_input(input) != repl::input_state::blank) run_input(input);
        const bool was_interrupted = take_interruption();
        if (!script.stop_requested()) continue;
        if (leaving || !was_interrupted) break;  // std.exit() ends the session
        script.signals.lower(tvr_signal_stop);
    }
    const bool told = log.flush();
    if (script.stop_requested()) return script.stop_status();
    return told ? exit_ok : exit_failed;
}

}  // namespace

void add_repl(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<script_options>();
    CLI::App* command = app.add_subcommand("repl", "an interactive prompt");
    add_path_options(*command, *asked);
    command->callback([asked, &chosen] {
        chosen = [asked] {
            tvr_local().set_thread_name("main");
            std::signal(SIGPIPE, SIG_IGN);
            return prompt(*asked).run();
        };
    });
}

}  // namespace host
