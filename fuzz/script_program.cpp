// Script text: whatever has a tree gives a program that is sound, or exactly one error; and the
// program runs until it ends, fails or is stopped after a moment.

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "../tests/frontend/program_check.h"
#include "frontend/builder/builder.h"
#include "frontend/program/disassembly.h"
#include "frontend/syntax/lexer.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"

namespace {

void demand(bool holds) {
    if (!holds) std::abort();
}

class counting_log : public tvr_log_base {
public:
    void on_error(std::string_view text) override { reports += text.starts_with("*** Syntax"); }

    size_t reports = 0;
};

// What a script may reach: nothing that touches the machine.
tvrscript_config_default careful(tvr_log_base& log) {
    tvrscript_config_default config;
    config.name = "fuzz";
    config.log = &log;
    config.max_call_depth = 60;
    config.restricted_mode = true;
    config.strict_mode = true;  // the checker has to survive it as well
    config.allowed_namespaces = {"std.math", "std.random"};
    return config;
}

// Stops an interpreter after a moment unless it goes first.
class watchdog {
public:
    explicit watchdog(tvrscript& script)
        : watching([this, &script] {
              constexpr auto moment = std::chrono::milliseconds(20);
              std::unique_lock hold(mutex);
              if (!ended.wait_for(hold, moment, [this] { return done; })) script.request_stop(0);
          }) {}
    ~watchdog() {
        {
            const std::lock_guard hold(mutex);
            done = true;
        }
        ended.notify_one();
        watching.join();
    }
    watchdog(const watchdog&) = delete;
    watchdog& operator=(const watchdog&) = delete;

private:
    std::mutex mutex;
    std::condition_variable ended;
    bool done = false;
    std::thread watching;  // last: it uses the others
};

// Whether the text is a program.
bool compile(const std::string& text) {
    counting_log log;
    tvrscript script;
    demand(script.init_minimal(careful(log)));
    tvr_lexer lexer;
    std::shared_ptr<const tvr_ast> tree = lexer.load_source(text, "fuzz.tvio");
    if (tree == nullptr) return false;
    tvr_package_imports imports(script);
    const auto program =
        tvr_asm_builder(script, std::move(tree), imports, lexer.report).create_program();
    demand(bool(program) != lexer.report.failed());
    demand(log.reports == (program ? 0 : 1));
    if (!program) {
        const tvr_syntax_finding& error = lexer.report.first_error();
        demand(!error.message.empty() && !error.path.empty() && error.line >= 1);
        return false;
    }
    demand(fault_of(*program).empty());
    demand(!tvr_disassemble(*program).empty() && !program->create_binary().empty());
    return true;
}

void run(const std::string& text) {
    counting_log log;
    tvrscript script;
    demand(script.init_minimal(careful(log)));
    const watchdog stops(script);
    constexpr int most_updates = 3;
    const auto root = script.create_task_from_code(text, "fuzz.tvio");
    for (int i = 0; root && i < most_updates && script.has_work(); ++i) script.update();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (compile(text)) run(text);
    return 0;
}
