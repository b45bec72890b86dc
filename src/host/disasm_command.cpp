// `tavro disasm FILE`: the bytecode of a program and of its kernels.

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "frontend/program/disassembly.h"
#include "host/command.h"
#include "host/script_log.h"
#include "host/script_options.h"
#include "kernel/unit.h"
#include "runtime/script/script.h"

namespace host {

namespace {

struct disasm_request {
    script_options options;
    std::string file;
};

int disassemble(const disasm_request& asked) {
    tvr_local().set_thread_name("main");
    script_log log(asked.options);
    std::string text;
    if (!read_script(asked.file, text)) return exit_failed;
    tvrscript script;
    tvrscript_config_default config = config_of(asked.options, asked.file);
    config.log = &log;
    if (!script.init_minimal(config)) return exit_failed;
    const auto program =
        script.create_program_from_source(std::move(text), script_name(asked.file));
    if (!program) return exit_failed;
    log.on_cout(tvr_disassemble(*program));
    if (program->kernels != nullptr) {
        for (const auto& kernel : program->kernels->kernels) {
            log.on_cout(kernel.program->disassemble());
        }
    }
    return log.flush() ? exit_ok : exit_failed;
}

}  // namespace

void add_disasm(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<disasm_request>();
    CLI::App* command = app.add_subcommand("disasm", "print a script's bytecode");
    command->add_option("FILE", asked->file, "a script; - is standard input")->required();
    add_path_options(*command, asked->options);
    command->callback([asked, &chosen] { chosen = [asked] { return disassemble(*asked); }; });
}

}  // namespace host
