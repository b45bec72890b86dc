#pragma once

// What a person has done at the prompt: inputs that are run one after the other, and what they
// leave behind.
//
// Every input is a program of its own. Its variables, functions and classes join the namespace
// "session", which the next inputs use without naming it, so they live on with all that changed
// in them; a name that is defined anew replaces the older one. The program's root task is kept,
// since its functions go on using its variables. On the interpreter's thread.

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/script/script.h"

class tvr_ast;

namespace repl {

class session {
public:
    explicit session(tvrscript& of);

    // Compiles an input. A last statement that is an expression becomes the task's result. Null
    // after an error, which has been reported.
    tvrptr_strong<tvr_task> start(std::string text);

    // Whether this would compile as far as its grammar goes. Reports nothing.
    static bool parses(const std::string& text);

    // What a finished task's expression has left, as text for a person; empty for none.
    static std::string text_of_result(tvr_task& task);

    tvr_namespace& names() { return space; }

private:
    void keep_names(tvr_task& root, tvr_program_block_root& program);
    void keep_value(std::string_view name, tvrvar_shared value);

    tvrscript& script;
    tvr_namespace& space;
    // Earlier programs point at the variables that were replaced, too.
    std::vector<tvrvar_shared> kept_values;
    std::vector<tvrptr_strong<tvr_task>> roots;
};

}  // namespace repl
