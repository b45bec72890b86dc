#pragma once

// Whether what a person has typed so far is whole, or goes on in the next line.

#include <string>
#include <string_view>

namespace repl {

enum class input_state {
    blank,    // nothing but blanks and comments
    open,     // a bracket, a text or a comment is open
    unended,  // whole but for its `;`
    whole,
};

input_state state_of_input(std::string_view text);

}  // namespace repl
