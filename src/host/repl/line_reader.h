#pragma once

// Where the prompt's lines come from: a terminal with an editable line, history and completion, or
// plain lines when standard input is none.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/repl/completion.h"

namespace repl {

struct line {
    enum class end { line, interrupted, over };

    std::string text;  // without its line break
    end ended = end::line;
};

class line_reader {
public:
    virtual ~line_reader() = default;
    virtual line read(std::string_view prompt) = 0;
    virtual void remember(const std::string& /*input*/) {}  // in the history
};

// What a reader asks of the prompt while it waits for a key.
struct reader_needs {
    int interrupted = -1;  // a descriptor that is readable while the line is to be given up
    // Lets the interpreter go on. The number of ms until it wants to again, -1 for never.
    std::function<int()> go_on;
    // Whether something was written over the line since the last call.
    std::function<bool()> line_is_torn;
    std::function<completion(std::string_view)> complete;
};

// The history is kept in $XDG_STATE_HOME/tavro/history, or below ~/.local/state. Null when the
// terminal cannot be used.
std::unique_ptr<line_reader> make_terminal_reader(reader_needs needs);

std::unique_ptr<line_reader> make_plain_reader(reader_needs needs);

}  // namespace repl
