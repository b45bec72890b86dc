#pragma once

// Regular expressions of the standard library (ECMAScript), with a guard in front and a stack
// below.
//
// Texts that are too long for their pattern are refused (regex_limit.h). Patterns are compiled and
// matched on a thread with a large stack (regex_stack.h), one for each thread that asks, started by
// its first question. The last 32 patterns are kept; with these, short texts are matched at once.

#include <functional>
#include <regex>
#include <string_view>

#include "stdobj/watched_text.h"

// What is done with a compiled pattern and the text from `begin` to `end`.
using tvr_regex_use =
    std::function<void(const std::regex& regex, tvr_text_place begin, tvr_text_place end)>;

// Compiles the pattern and hands it to `use` with the text. `use` may run on another thread while
// the caller waits: it may read the text and must not touch values; it may throw. False when it
// came to nothing, after a runtime error that names the method, or where the run has been asked to
// end, which stops a match that is under way. Script thread.
bool tvr_run_regex(std::string_view method, std::string_view pattern, std::string_view text,
                   const tvr_regex_use& use);
