#include "host/kernel_command.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>

#include "base/join.h"
#include "host/command.h"
#include "kernel/aot.h"
#include "kernel/compile.h"

namespace host {

namespace {

bool read_source(const std::string& path, std::string& text) {
    if (path == "-") {
        text.assign(std::istreambuf_iterator<char>(std::cin), {});
        return true;
    }
    std::ifstream file(path, std::ios::binary);
    text.assign(std::istreambuf_iterator<char>(file), {});
    return file.good() || file.eof();
}

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
    if (!read_source(asked.file, text)) {
        std::fprintf(stderr, "tavro: cannot read %s\n", asked.file.c_str());
        return exit_failed;
    }
    const std::string file = asked.file == "-" ? "<kernel>" : asked.file;
    tvrk_compile_error error;
    const auto unit = tvrk_compile(text, file, error);
    if (unit == nullptr) {
        say_error(error, file, text);
        return exit_failed;
    }
    const std::string printed = describe(*unit, asked);
    if (std::fwrite(printed.data(), 1, printed.size(), stdout) == printed.size()) return exit_ok;
    std::fprintf(stderr, "tavro: cannot write to standard output\n");
    return exit_failed;
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
