#include "host/kernel_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <memory>

#include "base/join.h"
#include "host/command.h"
#include "host/script_options.h"
#include "kernel/aot.h"
#include "kernel/compile.h"

namespace host {

namespace {

std::string source_line(const std::string& text, uint32_t line) {
    size_t begin = 0;
    for (uint32_t at = 1; at < line && begin != std::string::npos; ++at) {
        begin = text.find('\n', begin);
        if (begin != std::string::npos) ++begin;
    }
    if (begin == std::string::npos || begin >= text.size()) return "";
    return text.substr(begin, text.find('\n', begin) - begin);
}

void say_error(const tvrk_compile_error& error, const std::string& file, const std::string& text) {
    std::string message = tvr_join("kernel compile error at ", error.file, ':', error.line, ':',
                                   error.column, ": ", error.message);
    if (error.file == file) message += "\n    " + source_line(text, error.line);
    std::fprintf(stderr, "%s\n", message.c_str());
}

std::string signature(const tvrk_program& program) {
    std::string text = tvr_join(program.name, '(');
    for (const tvrk_param& param : program.params) {
        if (&param != program.params.data()) text += ", ";
        text += tvr_join(param.type_name, ' ', param.name);
    }
    return tvr_join(text, ") -> ", program.result_text, '\n');
}

std::string describe(const tvrk_unit& unit, const kernel_options& asked) {
    std::string text;
    if (asked.c_text) {
        std::vector<const tvrk_program*> programs;
        for (const tvrk_kernel& kernel : unit.kernels) programs.push_back(kernel.program.get());
        return tvrk_aot_source(programs);
    }
    for (const tvrk_kernel& kernel : unit.kernels) {
        text += asked.disasm ? kernel.program->disassemble() : signature(*kernel.program);
    }
    return text;
}

}  // namespace

int show_kernels(const kernel_options& asked) {
    std::string text;
    if (!read_input(asked.file, text)) return fail("Cannot read " + asked.file);
    const std::string file = asked.file == "-" ? "<kernel>" : asked.file;
    tvrk_compile_error error;
    const auto unit = tvrk_compile(text, file, error);
    if (unit == nullptr) {
        say_error(error, file, text);
        return exit_failed;
    }
    const std::string printed = describe(*unit, asked);
    std::fwrite(printed.data(), 1, printed.size(), stdout);
    return exit_ok;
}

void add_kernel(CLI::App& app, command_run& chosen) {
    const auto asked = std::make_shared<kernel_options>();
    CLI::App* command = app.add_subcommand("kernel", "compile kernel source and show the result");
    command->add_option("FILE", asked->file, "kernel source; - is standard input")->required();
    CLI::Option* disasm = command->add_flag("--disasm", asked->disasm, "print the bytecode");
    command->add_flag("--c", asked->c_text, "print the C text of the kernels")->excludes(disasm);
    command->callback([asked, &chosen] { chosen = [asked] { return show_kernels(*asked); }; });
}

}  // namespace host
