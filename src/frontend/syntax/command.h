#pragma once

// What stage 2 makes of the tokens: statements with all their brackets matched.
//
// The commands of a unit stand in one vector in the order of their tokens, a bracket or statement
// in front of what it holds. Each knows how many commands it spans, so walking over siblings is
// one addition, and a copied stretch needs no repair. Line ends are gone.
//
//     x = f(1);    statement 6:  word x   symbol =   word f   round 2:  word 1
//
// An `if` with all its `else`, a `for`, and a `try` with its `catch` are one statement each; a
// body in them is a curly bracket or a statement. Thread: one compile; read-only afterwards.

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "frontend/source/token_view.h"

enum class tvr_command_kind : uint8_t {
    symbol = 1,  // also strings
    word = 2,    // also numbers
    round = 3,
    square = 4,
    curly = 5,
    statement = 6,
};

struct tvr_src_command {
    bool is_bracket() const {
        return kind == tvr_command_kind::round || kind == tvr_command_kind::square ||
               kind == tvr_command_kind::curly;
    }
    const tvr_src_command* children() const { return this + 1; }
    const tvr_src_command* behind() const { return this + span; }

    // Token i of the command, its brackets included and line ends left out; null behind the last.
    const tvr_src_token* get_token(size_t i) const;

    // The command as text, tokens separated by blanks where words would run together.
    std::string get_str() const;

    const tvr_src_token* start;  // of a bracket the opening one
    const tvr_src_token* end;    // the last one; of a bracket the closing one
    uint32_t span;               // commands from here on that belong to it, itself included
    tvr_command_kind kind;
};

// What a #define puts in the place of its name.
struct tvr_src_definition {
    std::vector<tvr_src_token> tokens;  // the replacement and an end of file
    std::vector<tvr_src_command> commands;
};

class tvr_src_command_view {
public:
    const tvr_src_command* begin() const { return commands.data(); }
    const tvr_src_command* end() const { return commands.data() + commands.size(); }

    std::shared_ptr<const tvr_src_token_view> tokens;  // kept alive; the commands point into it
    std::vector<tvr_src_command> commands;             // the statements of the unit
    std::unordered_map<std::string_view, tvr_src_definition> definitions;
};
