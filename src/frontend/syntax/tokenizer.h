#pragma once

// Script text to tokens: the first half of stage 1.
//
// One pass over the bytes; a table of byte classes decides what a byte can begin. Words and
// symbols get their code here, so that no later stage looks at their text again. Line and column
// are kept by the address at which the line would have begun if every code point took one byte.

#include "frontend/source/token_view.h"
#include "frontend/syntax/syntax_report.h"

inline constexpr size_t tvr_max_source_bytes = size_t(64) << 20;

class tvr_tokenizer {
public:
    // Both must outlive the tokenizer; the view's source must not change afterwards.
    tvr_tokenizer(tvr_src_token_view& view, tvr_syntax_report& report);

    // Fills the view's tokens, ending with a line end and the end of file. False after an error,
    // which has been reported.
    bool run();

private:
    struct place {
        const char* at;
        uint32_t line, column;
    };

    bool take_token();
    place here() const { return {at, line, uint32_t(at - line_start) + 1}; }
    tvr_src_token& emit(tvr_token_code code, std::string_view text, const place& from);
    std::string_view text_from(const char* from) const { return {from, size_t(at - from)}; }
    char peek(size_t ahead) const;
    bool fail(const place& where, std::string_view message);

    void start_line();
    void skip_code_point();
    void skip_to(const char* to);
    void skip_word_rest();
    bool is_high_space(size_t& bytes) const;

    void take_line_end();
    void take_line_comment();
    void take_block_comment();
    void take_word();
    void take_symbol();
    bool take_high();
    bool take_number();
    bool take_exponent(const place& from, bool& taken);
    bool point_belongs_to_number() const;
    bool take_string();
    bool take_short_string(const place& from, char quote);
    bool take_long_string(const place& from, char quote);
    bool take_raw_string();
    void emit_string(std::string_view text, const place& from, bool raw);

    tvr_src_token_view& view;
    tvr_syntax_report& report;
    const char* at;
    const char* const end;  // a zero byte stands there
    const char* line_start;
    uint32_t line = 1;
};
