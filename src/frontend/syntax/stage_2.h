#pragma once

// Tokens to commands: stage 2.
//
// One pass that knows brackets, statement ends and the heads of `if`, `else`, `for`, `try` and
// `catch`; each step takes the token it stands on and returns the one behind what it consumed, or
// null after an error. When that pass meets a bracket that does not fit, find_bracket_fault()
// decides what is said: brackets are counted by their own kind, so the one that lacks its partner
// is named, not the one where it was noticed.

#include "frontend/syntax/command.h"
#include "frontend/syntax/syntax_report.h"

class tvr_stage_2 {
public:
    // Writes commands into `into`, definitions into `view`.
    tvr_stage_2(tvr_src_command_view& view, tvr_large_vector<tvr_src_command>& into,
                tvr_syntax_report& report);

    // All statements of a row of tokens that ends with the end of file. False after an error,
    // which has been reported.
    bool stage_2_top_level(const tvr_src_token* first);

    // The same for tokens that are no statements but the replacement of a #define.
    bool take_replacement(const tvr_src_token* first);

private:
    using position = const tvr_src_token*;

    position stage_2_process_statement(position at);
    position stage_2_process_generic(position at);
    position stage_2_process_for_if_else(position at);
    position stage_2_process_directive(position at);
    position take_head(position word);
    position take_body(position at);
    position take_block(position at);
    position take_list(position at, tvr_command_kind kind, tvr_token_code closing);
    position take_in_list(position at);
    position take_definition_text(position at, tvr_large_vector<tvr_src_token>& tokens);

    size_t open(tvr_command_kind kind, position start);
    void close(size_t index, position end);
    position fail(position where, std::string message);
    position fail_nesting(position where);
    bool report_failure(position first);

    tvr_src_command_view& view;
    tvr_large_vector<tvr_src_command>& commands;
    tvr_syntax_report& report;
    uint32_t depth = 0;
    position failed_at = nullptr;
    std::string failure;
};
