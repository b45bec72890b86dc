#pragma once

// What the word before the cursor could become: names of the session, of namespaces and of what
// stands behind a dot.

#include <string>
#include <string_view>
#include <vector>

#include "host/repl/session.h"

namespace repl {

struct completion {
    size_t typed = 0;                // bytes of the last name that stand there already
    std::vector<std::string> names;  // that begin with them, sorted

    // What all names have in common behind what is typed.
    std::string common() const;
};

// For a line that ends at the cursor. On the interpreter's thread.
completion complete(tvrscript& script, session& of, std::string_view line);

}  // namespace repl
