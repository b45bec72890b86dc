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

// Compiles the pattern and hands it to `use`, for a match against a text of this many bytes. `use`
// may run on another thread while the caller waits: it may read the text and must not touch values;
// it may throw. False, after a runtime error that names the method, when it came to nothing. Script
// thread.
bool tvr_run_regex(std::string_view method, std::string_view pattern, size_t text_bytes,
                   const std::function<void(const std::regex&)>& use);
