#pragma once

// Declarations of another language inside script files, and who takes them.
//
// Kernel declarations stand among ordinary script code. The front end knows how they begin and
// where they end, cuts them out of the token stream and sets them aside in the token view; what
// they mean is the business of whoever gives the lexer a hook. Without one they are only set
// aside, so that a file can be checked without the kernel compiler.

#include <string>
#include <string_view>
#include <vector>

#include "frontend/source/token.h"

enum class tvr_declaration_form : uint8_t {
    structure,  // kernel struct, kernel cstruct
    constant,   // kernel const
    inlined,    // kernel inline
    entry,      // kernel T name(...)
};

struct tvr_declaration {
    tvr_declaration_form form = tvr_declaration_form::entry;
    tvr_src_token start;  // the word `kernel`, with path, line and column of the declaration
    tvr_src_token name;
    std::string_view text;  // the whole declaration as it stands in the source
};

// Script text that stands for a declaration.
struct tvr_declared_statement {
    std::string text;
    const tvr_src_token* place;  // where it is reported: the start of the declaration
};

class tvr_declaration_hook {
public:
    virtual ~tvr_declaration_hook() = default;

    // All declarations of a compile unit, in the order in which they stand, its included files
    // too. Called once, after stage 1, and only if there are any. Gives `statements`, which are
    // compiled in front of the unit's own, so that all of these know what they name. A message in
    // `error` ends the compile; it is reported at `place`, or at the first declaration when that
    // stays null.
    virtual void take(const std::vector<tvr_declaration>& declarations,
                      std::vector<tvr_declared_statement>& statements, std::string& error,
                      const tvr_src_token*& place) = 0;
};
