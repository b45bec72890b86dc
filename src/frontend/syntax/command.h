#pragma once

// What stage 2 makes of the tokens: statements, and in them the brackets, matched.
//
//     x = f(1);    a statement from `x` to `)`, and in it a round bracket
//
// A command is a stretch of tokens. The commands of a unit stand in one vector in the order of
// their tokens, a statement or bracket in front of those that it holds, and each knows how many it
// spans: passing over one is an addition. Words and symbols in between have no command of their
// own; whoever reads a command walks over its tokens and takes the next command wherever a bracket
// opens. An `if` with all its `else`, a `for`, and a `try` with its `catch` are one statement each,
// and the bodies in them are curly brackets or statements.
//
// Thread: one compile; read-only afterwards.

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "frontend/source/token_view.h"

enum class tvr_command_kind : uint8_t {
    round = 3,
    square = 4,
    curly = 5,
    statement = 6,
};

struct tvr_src_command {
    // Whether a statement holds nothing: a lone `;`.
    bool is_empty() const { return start == nullptr; }

    // Token i of the command, its brackets included and line ends left out; null behind the last.
    const tvr_src_token* get_token(size_t i) const;

    // The command as text, with blanks only where words would run together.
    std::string get_str() const;

    const tvr_src_token* start;  // of a bracket the opening one; null in an empty statement
    const tvr_src_token* end;    // the last one; of a bracket the closing one
    uint32_t span;               // commands from here on that belong to it, itself included
    tvr_command_kind kind;
};

// What a #define puts in the place of its name.
struct tvr_src_definition {
    tvr_large_vector<tvr_src_token> tokens;  // the replacement and an end of file
    tvr_large_vector<tvr_src_command> commands;
};

class tvr_src_command_view {
public:
    const tvr_src_command* begin() const { return commands.data(); }
    const tvr_src_command* end() const { return commands.data() + commands.size(); }

    std::shared_ptr<const tvr_src_token_view> tokens;  // kept alive; the commands point into it
    tvr_large_vector<tvr_src_command> commands;        // the statements of the unit
    std::unordered_map<std::string_view, tvr_src_definition> definitions;
};
