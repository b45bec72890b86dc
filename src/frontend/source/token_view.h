#pragma once

// One loaded source: its text, its tokens, and what stage 1 found in it.
//
// The view of a compile unit's main file holds the tokens of the whole unit, with those of the
// included files in the places of their directives, and keeps the included views alive, whose
// sources these tokens point into. Thread: filled by one compile; read-only afterwards.

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/source/declaration_hook.h"
#include "frontend/source/large_memory.h"
#include "frontend/source/token.h"

class tvr_src_token_view {
public:
    tvr_src_token_view() = default;
    tvr_src_token_view(const tvr_src_token_view&) = delete;  // its tokens point at it
    tvr_src_token_view& operator=(const tvr_src_token_view&) = delete;

    // A stretch of a file for which #strict says on or off: from here to the next mark.
    struct strict_mark {
        uint32_t line = 0;
        uint32_t column = 0;
        bool on = true;
    };

    // The token at an index; the end of file token behind the end.
    const tvr_src_token& get_token(size_t index) const;
    const tvr_src_token* get_token_ptr(size_t index) const { return &get_token(index); }

    bool is_word(size_t index, std::string_view text) const;
    bool is_symbol(size_t index, std::string_view text) const;
    bool is_bracket_open(size_t index) const;

    // Whether #strict occurs here or in an included file.
    bool has_strict_marks() const;

    // What the last #strict in front of a token of this file says; `otherwise` without one.
    // Included files start anew.
    bool is_strict_at(const tvr_src_token& token, bool otherwise) const;

    // A line of the source, from 1, without its end; empty for one that there is not.
    std::string_view line_text(uint32_t line) const;

    // Keeps a text that no source holds, such as the value of __DIR__, as long as this view.
    std::string_view keep_text(std::string text);

    tvr_src_origin origin{this, nullptr};  // of its tokens

    std::string path;       // "<memory>" for a source given as text
    std::string directory;  // of the file, as in path; empty for the working folder
    std::string source;
    tvr_large_vector<tvr_src_token> tokens;
    std::vector<strict_mark> strict_marks;  // in order
    std::vector<tvr_declaration> declarations;
    std::vector<std::shared_ptr<tvr_src_token_view>> included;
    std::deque<std::string> kept_texts;
    std::vector<uint32_t> line_starts;  // where each line of the source begins, in bytes

    // What the text holds at all, so that passes that look for it can be left out.
    bool has_directives = false;
    bool has_place_words = false;  // __DIR__, __LINE__
    bool has_kernel_words = false;

    // Of a statement that a hook made: the start of the declaration that it stands for. Its text
    // is in no file that a person could look into.
    std::optional<tvr_src_token> made_for;
};

// Whether the place where a token is used is to be checked strictly; `otherwise` where no #strict
// of that file says so.
bool tvr_is_strict_code(const tvr_src_token& token, bool otherwise);
