#pragma once

// Programs out of texts, with an interpreter that has a few native functions.

#include <memory>
#include <string>

#include "front_end.h"
#include "frontend/builder/builder.h"
#include "frontend/program/disassembly.h"
#include "runtime/script/script.h"

class program_maker {
public:
    program_maker() {
        const auto nothing = [](tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
            return tvrvar_shared();
        };
        tvr_namespace& lamp = script.root_namespace.child("lamp");
        lamp.add_function("on", nothing, 0, tvr_function_def::any_number);
        lamp.add_variable("level");
        tvr_namespace& colors = lamp.child("color");
        colors.add_function("mix", nothing, 2, 3);
        colors.add_variable("red");
        script.root_namespace.child("secret").add_function("tell", nothing, 0, 0);
    }

    // Null after an error, which is in `finding` then.
    tvrptr_strong<tvr_program_block_root> make(const std::string& text) {
        tvr_lexer lexer;
        std::shared_ptr<const tvr_ast> ast = lexer.load_source(text);
        tvrptr_strong<tvr_program_block_root> program;
        tvr_package_imports imports(script);
        if (ast != nullptr)
            program =
                tvr_asm_builder(script, std::move(ast), imports, lexer.report).create_program();
        finding = lexer.report.first_error();
        return program;
    }

    // The message of the first error; empty for a text that compiles.
    std::string error(const std::string& text) {
        make(text);
        return finding.message;
    }

    // The program as text, or "error: " and the message.
    std::string code(const std::string& text) {
        const tvrptr_strong<tvr_program_block_root> program = make(text);
        return program ? tvr_disassemble(*program) : "error: " + finding.message;
    }

    front_end scope;
    tvrscript script;
    tvr_syntax_finding finding;  // of the last compile
};
