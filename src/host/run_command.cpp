// `tavro run FILE [ARG...]` and `tavro eval CODE [ARG...]`.

#include <CLI/CLI.hpp>
#include <atomic>
#include <csignal>
#include <memory>
#include <optional>

#include "host/command.h"
#include "host/interrupter.h"
#include "host/script_log.h"
#include "host/script_options.h"
#include "host/script_runner.h"
#include "runtime/script/script.h"

namespace host {

namespace {

struct run_request {
    script_options options;
    std::string script;  // FILE, or CODE
    bool is_code = false;
};

// An interpreter with everything around it. Signals end a destructor at the very end too.
class script_run {
public:
    explicit script_run(const script_options& options)
        : asked(options), log(options), script(std::in_place) {
        log.on_output_lost = [this] { stop(exit_failed); };
        watching.emplace(asked.for_seconds, [this](int) {
            stop(exit_ok);
            return interrupter::answer::let_next_kill;
        });
    }

    // The exit status.
    int run(std::string text, const std::string& name) {
        int status = exit_failed;
        tvrscript_config_default config = config_of(asked, name);
        config.log = &log;
        if (script->init(config)) status = run_to_end(std::move(text), name);
        script.reset();
        ended = true;
        watching.reset();
        return log.flush() || status != exit_ok ? status : exit_failed;
    }

private:
    int run_to_end(std::string text, const std::string& name) {
        const tvrptr_strong<tvr_task> root = script->create_task_from_code(std::move(text), name);
        if (!root) return exit_failed;
        script_runner(*script, asked.fps, [this] { log.flush(); }).run(root);
        return exit_status_of(*script, root);
    }

    void stop(int status) {
        if (!ended) script->request_stop(status);
    }

    const script_options& asked;
    script_log log;
    std::optional<tvrscript> script;
    std::optional<interrupter> watching;
    std::atomic<bool> ended{false};  // the interpreter; told to the interrupter's thread
};

int run(const run_request& asked) {
    tvr_local().set_thread_name("main");
    std::signal(SIGPIPE, SIG_IGN);  // a reader that has gone is told by write()
    if (asked.is_code) return script_run(asked.options).run(asked.script, "<eval>");
    std::string text;
    if (!read_script(asked.script, text)) return exit_failed;
    return script_run(asked.options).run(std::move(text), script_name(asked.script));
}

// What stands behind the options belongs to the script, whatever it looks like.
void take_script(const CLI::App& command, const char* what, run_request& asked) {
    std::vector<std::string> rest = command.remaining();
    if (rest.empty()) throw CLI::RequiredError(what);
    if (rest.front().starts_with('-') && rest.front() != "-" && !asked.is_code) {
        throw CLI::ExtrasError({rest.front()});
    }
    asked.script = rest.front();
    asked.options.args.assign(rest.begin() + 1, rest.end());
}

void add_script_command(CLI::App& app, command_run& chosen, bool is_code) {
    const auto asked = std::make_shared<run_request>();
    asked->is_code = is_code;
    const char* what = is_code ? "CODE" : "FILE";
    CLI::App* command = app.add_subcommand(
        is_code ? "eval" : "run", is_code ? "run a script text: eval [OPTIONS] CODE [ARG...]"
                                          : "run a script: run [OPTIONS] FILE [ARG...]");
    command->prefix_command();
    add_run_options(*command, asked->options);
    command->callback([asked, command, what, &chosen] {
        take_script(*command, what, *asked);
        chosen = [asked] { return run(*asked); };
    });
}

}  // namespace

void add_run(CLI::App& app, command_run& chosen) {
    add_script_command(app, chosen, false);
}

void add_eval(CLI::App& app, command_run& chosen) {
    add_script_command(app, chosen, true);
}

}  // namespace host
