#pragma once

// An interpreter for a benchmark: a script that runs a frame for each update(). It has to stay
// silent.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "runtime/log/log.h"
#include "runtime/script/script.h"

class strict_log : public tvr_log_base {
public:
    void on_error(std::string_view text) override { end(text); }
    void on_warn(std::string_view text) override { end(text); }

private:
    [[noreturn]] static void end(std::string_view text) {
        std::fprintf(stderr, "%.*s\n", int(text.size()), text.data());
        std::_Exit(1);
    }
};

class bench_stage {
public:
    bench_stage() {
        tvrscript_config_default config;
        config.log = &log;
        script.init_minimal(config);
    }

    void start(const std::string& text) {
        if (!script.create_task_from_code("import deckbus;\n" + text, "<bench>")) std::_Exit(1);
        script.update();
    }

    strict_log log;
    tvrscript script;
};
