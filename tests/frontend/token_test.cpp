#include "front_end.h"

#include <gtest/gtest.h>

namespace {

// "word x 1:1, symbol = 1:3, ..." without the end of file.
std::string tokens_of(const std::string& text) {
    front_end scope;
    tvr_lexer lexer;
    const auto view = lexer.stage_1(text, "<memory>");
    if (view == nullptr) {
        const tvr_syntax_finding& error = lexer.report.first_error();
        return tvr_join(error.message, " ", error.line, ":", error.column);
    }
    std::string out;
    for (const tvr_src_token& token : view->tokens) {
        if (token.is(tvr_token_code::end_of_file)) break;
        if (!out.empty()) out += ", ";
        switch (token.kind()) {
        case tvr_token_kind::symbol: out += "symbol "; break;
        case tvr_token_kind::word:
            out += token.is(tvr_token_code::number) ? "number " : "word ";
            break;
        case tvr_token_kind::string: out += token.raw ? "raw " : "string "; break;
        case tvr_token_kind::line_end: out += "line end"; break;
        }
        if (token.kind() != tvr_token_kind::line_end) out += token.text();
        out += tvr_join(" ", token.line, ":", token.column);
    }
    return out;
}

struct row {
    const char* source;
    const char* tokens;
};

void check(const std::vector<row>& rows) {
    for (const row& r : rows) EXPECT_EQ(tokens_of(r.source), r.tokens) << r.source;
}

TEST(tokens, white_space_and_line_ends) {
    check({
        {"", "line end 1:1"},
        {"a", "word a 1:1, line end 1:2"},
        {"a\n", "word a 1:1, line end 1:2"},
        {"\n\n\na\n\n", "line end 1:1, word a 4:1, line end 4:2"},
        {"\ta\v\f b\r\n", "word a 1:2, word b 1:6, line end 1:8"},
        {"a\u00A0b\u0085c\u3000d\uFEFFe",
         "word a 1:1, word b 1:3, word c 1:5, word d 1:7, word e 1:9, line end 1:10"},
        {"\uFEFFa", "word a 1:2, line end 1:3"},
    });
}

TEST(tokens, words_hold_letters_of_all_languages) {
    check({
        {"größe _x1 日本 y",
         "word größe 1:1, word _x1 1:7, word 日本 1:11, word y 1:14, line end 1:15"},
        {"\xC3(\xFF x", "word \xC3 1:1, symbol ( 1:2, word \xFF 1:3, word x 1:5, line end 1:6"},
    });
    EXPECT_EQ(tokens_of(std::string("a\0b", 3)),
              std::string("word a 1:1, symbol \0 1:2, word b 1:3, line end 1:4", 50));
}

TEST(tokens, comments) {
    check({
        {"a // b \"\n c", "word a 1:1, line end 1:9, word c 2:2, line end 2:3"},
        {"a /* ü\n /* */ b */",
         "word a 1:1, word b 2:8, symbol * 2:10, symbol / 2:11, line end 2:12"},
        {"a /* ü */ b", "word a 1:1, word b 1:11, line end 1:12"},
        {"a /*/ b", "word a 1:1, line end 1:8"},
    });
}

TEST(tokens, symbols_take_the_longest_form) {
    check({
        {"a+++b", "word a 1:1, symbol ++ 1:2, symbol + 1:4, word b 1:5, line end 1:6"},
        {"a<<=b->c::d??e",
         "word a 1:1, symbol << 1:2, symbol = 1:4, word b 1:5, symbol -> 1:6, word c 1:8, symbol "
         ":: "
         "1:9, word d 1:11, symbol ?? 1:12, word e 1:14, line end 1:15"},
        {"!==", "symbol != 1:1, symbol = 1:3, line end 1:4"},
        {"@$", "symbol @ 1:1, symbol $ 1:2, line end 1:3"},
    });
}

TEST(tokens, numbers_and_points) {
    check({
        {"1.x", "number 1 1:1, symbol . 1:2, word x 1:3, line end 1:4"},
        {"1._y", "number 1 1:1, symbol . 1:2, word _y 1:3, line end 1:5"},
        {"1.;", "number 1. 1:1, symbol ; 1:3, line end 1:4"},
        {"1.e3 1.e+2 1.e",
         "number 1.e3 1:1, number 1.e+2 1:6, number 1 1:12, symbol . 1:13, word e "
         "1:14, line end 1:15"},
        {"1.f 1.fx", "number 1.f 1:1, number 1 1:5, symbol . 1:6, word fx 1:7, line end 1:9"},
        {".5 a.5 1.5.x",
         "number .5 1:1, word a 1:4, number .5 1:5, number 1.5 1:8, symbol . 1:11, "
         "word x 1:12, line end 1:13"},
        {"1.2.3 1..2",
         "number 1.2 1:1, number .3 1:4, number 1. 1:7, number .2 1:9, line end 1:11"},
        {"0xFfe+1", "number 0xFfe 1:1, symbol + 1:6, number 1 1:7, line end 1:8"},
        {"12ab 0b12 0x 08_",
         "number 12ab 1:1, number 0b12 1:6, number 0x 1:11, number 08_ 1:14, "
         "line end 1:17"},
        {"1e5f 1.5f 2F", "number 1e5f 1:1, number 1.5f 1:6, number 2F 1:11, line end 1:13"},
        {"x = 1e;", "Malformed exponent in numeric literal 1:5"},
        {"1e+", "Malformed exponent in numeric literal 1:1"},
    });
}

TEST(tokens, strings) {
    check({
        {"\"a'b\" 'c\"d'", "string a'b 1:1, string c\"d 1:7, line end 1:12"},
        {"'a\\'b' x", "string a\\'b 1:1, word x 1:8, line end 1:9"},
        {"'' ''''''x", "string  1:1, string  1:4, word x 1:10, line end 1:11"},
        {"'''a'b''' x", "string a'b 1:1, word x 1:11, line end 1:12"},
        {"\"\"\"ä\n\\\"\"\" \"\"\" x", "string ä\n\\\"\"\"  1:1, word x 2:10, line end 2:11"},
        {"'日本' x", "string 日本 1:1, word x 1:6, line end 1:7"},
        {"'a\nb'", "unterminated string 1:1"},
        {"x = 'a\\\nb'", "unterminated string 1:5"},
        {"'a", "unterminated string 1:1"},
        {"'a\\", "unterminated string 1:1"},
        {"'''a''", "unterminated string 1:1"},
    });
}

TEST(tokens, raw_strings) {
    check({
        {"R\"(a\\n\"b)\" x", "raw a\\n\"b 1:1, word x 1:12, line end 1:13"},
        {"R\"--()\" )--\" x", "raw )\"  1:1, word x 1:14, line end 1:15"},
        {"R\"(\r\na\nb)\" x", "raw a\nb 1:1, word x 3:5, line end 3:6"},
        {"R\"(\n)\"", "raw  1:1, line end 2:3"},
        {"R \"a\"", "word R 1:1, string a 1:3, line end 1:6"},
        {"R\"a\nb(x)ab\"", "invalid raw string delimiter 1:1"},
        {"R\"abc", "invalid raw string delimiter 1:1"},
        {"R\"x(a)y\"", "unterminated raw string 1:1"},
    });
}

TEST(tokens, codes_agree_with_their_texts) {
    struct known {
        const char* text;
        tvr_token_code code;
    };
    const known all[] = {
#define TVR_ROW(text) {#text, tvr_token_code::word_##text},
        TVR_RESERVED_WORDS(TVR_ROW) TVR_TYPE_WORDS(TVR_ROW) TVR_PLACE_WORDS(TVR_ROW)
#undef TVR_ROW
    };
    for (const known& word : all) EXPECT_EQ(tvr_find_word_code(word.text), word.code) << word.text;
    for (const char* other : {"", "i", "iff", "If", "elsee", "nullptr_", "classes"})
        EXPECT_EQ(tvr_find_word_code(other), tvr_token_code::identifier) << other;
}

TEST(token_view, behind_the_end_stands_the_end_of_file) {
    front_end scope;
    tvr_lexer lexer;
    const auto view = lexer.stage_1("a [", "<memory>");
    ASSERT_NE(view, nullptr);
    EXPECT_TRUE(view->is_word(0, "a"));
    EXPECT_FALSE(view->is_symbol(0, "a"));
    EXPECT_TRUE(view->is_bracket_open(1));
    EXPECT_TRUE(view->get_token(99).is(tvr_token_code::end_of_file));
    EXPECT_EQ(view->get_token_ptr(99), view->get_token_ptr(3));
}

}  // namespace
