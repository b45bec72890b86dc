#pragma once

// What a compile says about wrong source text.
//
//     report.syntax_error(token, "Unexpected token '", token->text, "'.");
//
// prints to the log's error level
//
//     *** Syntax Error ***
//     ------------------------------------------------------------
//     --> show.tvio:12:9
//      | x = foo bar;
//      |         ^~~~~
//     Unexpected token 'bar'.
//
// A token that came out of a #define is reported where it was used, with the place of the
// definition below. The first error ends a compile; what follows from it is not said.
//
// One report belongs to one compile on one thread.

#include <cstdint>
#include <string>
#include <string_view>

#include "base/join.h"
#include "frontend/source/token.h"

struct tvr_syntax_finding {
    std::string message;
    std::string path;     // empty when the token had no source
    uint32_t line = 0;    // from 1
    uint32_t column = 0;  // from 1, in code points
};

class tvr_syntax_report {
public:
    template <typename... T>
    void syntax_error(const tvr_src_token* token, const T&... parts) {
        if (!failed()) print_error(token, tvr_join(parts...));
    }
    // Heading "Info"; the compile goes on.
    template <typename... T>
    void syntax_warn(const tvr_src_token* token, const T&... parts) {
        print_warning("Info", token, tvr_join(parts...));
    }

    // A finding under another heading, at the log's warning level; the strict checker's are
    // "Warning".
    void print_warning(std::string_view heading, const tvr_src_token* token,
                       std::string_view message);

    bool failed() const { return has_failed; }
    const tvr_syntax_finding& first_error() const { return error; }

    // The whole text of a report.
    static std::string frame(std::string_view heading, const tvr_src_token* token,
                             std::string_view message);

private:
    void print_error(const tvr_src_token* token, std::string message);

    bool has_failed = false;
    tvr_syntax_finding error;
};
