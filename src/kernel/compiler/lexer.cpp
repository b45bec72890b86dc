#include <algorithm>
#include <charconv>
#include <limits>

#include "base/ascii.h"
#include "base/join.h"
#include "kernel/compiler/failure.h"
#include "kernel/compiler/token.h"
#include "kernel/prim.h"

namespace {

constexpr std::string_view long_symbols[] = {
    "<<=", ">>=", "<<", ">>", "<=", ">=", "==", "!=", "&&", "||", "+=",
    "-=",  "*=",  "/=", "%=", "&=", "|=", "^=", "++", "--", "->"};
constexpr std::string_view short_symbols = "+-*/%&|^~!<>=()[]{}.,;:?";

class lexer {
public:
    explicit lexer(tvrk_tokens& made) : out(made), text(made.source) {}

    void run() {
        while (skip_blanks()) read_token();
        push(tvrk_token_kind::end, text.size(), text.size());
    }

private:
    [[noreturn]] void fail(size_t where, std::string message) const {
        throw tvrk_compile_failure{
            {out.files[file], line, uint32_t(where - line_start + 1), std::move(message)}};
    }

    char peek(size_t ahead = 0) const { return at + ahead < text.size() ? text[at + ahead] : '\0'; }

    void new_line() {
        ++line;
        line_start = at + 1;
    }

    // False at the end of the source.
    bool skip_blanks() {
        for (; at < text.size(); ++at) {
            const char c = text[at];
            if (c == '\n') {
                new_line();
            } else if (c == '/' && peek(1) == '/') {
                while (at + 1 < text.size() && text[at + 1] != '\n') ++at;
            } else if (c == '/' && peek(1) == '*') {
                skip_comment();
            } else if (c == '#') {
                read_directive();
            } else if (c != ' ' && c != '\t' && c != '\r' && c != '\f' && c != '\v') {
                return true;
            }
        }
        return false;
    }

    void skip_comment() {
        const size_t begin = at;
        const size_t end = text.find("*/", at + 2);
        if (end == std::string_view::npos) fail(begin, "unterminated comment");
        for (at += 2; at < end; ++at) {
            if (text[at] == '\n') new_line();
        }
        ++at;  // the loop of skip_blanks() steps over the slash
    }

    // #line N "file": the line behind it is line N of that file.
    void read_directive() {
        const size_t begin = at++;
        while (peek() == ' ' || peek() == '\t') ++at;
        const size_t word = at;
        while (tvr_is_in_name(peek())) ++at;
        const std::string_view name = text.substr(word, at - word);
        if (name != "line") {
            fail(begin, tvr_join("unknown directive '#", name, "' (kernel code only knows #line)"));
        }
        const size_t end = std::min(text.find('\n', at), text.size());
        if (!set_position(text.substr(at, end - at))) fail(begin, "invalid #line directive");
        at = end;
        line_start = end + 1;
    }

    bool set_position(std::string_view rest) {
        while (!rest.empty() && (rest.back() == '\r' || rest.back() == ' ')) rest.remove_suffix(1);
        while (!rest.empty() && (rest.front() == '\t' || rest.front() == ' '))
            rest.remove_prefix(1);
        uint32_t number = 0;
        size_t digits = 0;
        for (; digits < rest.size() && tvr_is_digit(rest[digits]); ++digits) {
            if (number > 100000000) return false;
            number = number * 10 + uint32_t(rest[digits] - '0');
        }
        if (digits == 0) return false;
        rest.remove_prefix(digits);
        while (!rest.empty() && (rest.front() == '\t' || rest.front() == ' '))
            rest.remove_prefix(1);
        if (rest.size() < 2 || rest.front() != '"' || rest.back() != '"') return false;
        return enter_file(std::string(rest.substr(1, rest.size() - 2)), number);
    }

    bool enter_file(std::string name, uint32_t number) {
        size_t index = 0;
        while (index < out.files.size() && out.files[index] != name) ++index;
        if (index == out.files.size()) out.files.push_back(std::move(name));
        if (index > std::numeric_limits<uint16_t>::max()) return false;
        file = uint16_t(index);
        line = number;
        return true;
    }

    tvrk_token& push(tvrk_token_kind kind, size_t begin, size_t end) {
        tvrk_token token;
        token.kind = kind;
        token.file = file;
        token.line = line;
        token.column = uint32_t(begin - line_start + 1);
        token.text = text.substr(begin, end - begin);
        out.list.push_back(token);
        return out.list.back();
    }

    void read_token() {
        const char c = text[at];
        if (tvr_begins_name(c)) {
            const size_t begin = at;
            while (tvr_is_in_name(peek())) ++at;
            push(tvrk_token_kind::word, begin, at);
        } else if (tvr_is_digit(c) || (c == '.' && tvr_is_digit(peek(1)))) {
            read_number();
        } else {
            read_symbol();
        }
    }

    void read_symbol() {
        for (const std::string_view symbol : long_symbols) {
            if (text.substr(at, symbol.size()) != symbol) continue;
            push(tvrk_token_kind::symbol, at, at + symbol.size());
            at += symbol.size();
            return;
        }
        if (short_symbols.find(text[at]) == std::string_view::npos) {
            fail(at, tvr_join("unexpected character '", text[at], "'"));
        }
        push(tvrk_token_kind::symbol, at, at + 1);
        ++at;
    }

    void read_number() {
        const size_t begin = at;
        int base = 10;
        if (text[at] == '0') {
            const char kind = peek(1);
            base = kind == 'x' || kind == 'X'   ? 16
                   : kind == 'b' || kind == 'B' ? 2
                   : kind == 'o' || kind == 'O' ? 8
                                                : 10;
        }
        if (base != 10) {
            at += 2;
            read_integer(begin, base);
        } else if (is_float()) {
            read_float(begin);
        } else {
            read_integer(begin, base);
        }
    }

    bool is_float() const {
        size_t ahead = at;
        while (ahead < text.size() && tvr_is_digit(text[ahead])) ++ahead;
        return ahead < text.size() &&
               (text[ahead] == '.' || text[ahead] == 'e' || text[ahead] == 'E');
    }

    void read_integer(size_t begin, int base) {
        uint64_t value = 0;
        const auto read = std::from_chars(text.data() + at, text.data() + text.size(), value, base);
        if (read.ec == std::errc::result_out_of_range) {
            fail(begin, "integer literal does not fit into 64 bit");
        }
        at = size_t(read.ptr - text.data());
        if (read.ec != std::errc() || (tvr_is_digit(peek()) && base < 10)) {
            fail(begin, "invalid number");
        }
        const bool has_suffix = peek() == 'u' || peek() == 'U';
        if (has_suffix) ++at;
        check_suffix(begin);
        tvrk_token& token = push(tvrk_token_kind::integer, begin, at);
        token.integer = value;
        token.is_unsigned = has_suffix;
    }

    // The same in every locale, and as scripts read their numbers.
    void read_float(size_t begin) {
        while (tvr_is_digit(peek())) ++at;
        if (peek() == '.') ++at;
        while (tvr_is_digit(peek())) ++at;
        if (peek() == 'e' || peek() == 'E') {
            ++at;
            if (peek() == '+' || peek() == '-') ++at;
            if (!tvr_is_digit(peek())) fail(begin, "invalid number");
            while (tvr_is_digit(peek())) ++at;
        }
        const std::string_view digits = text.substr(begin, at - begin);
        double value = 0;
        const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
        const bool tiny = digits.find('-') != std::string_view::npos;  // the exponent's sign
        if (read.ec == std::errc::result_out_of_range && !tiny) fail(begin, "invalid number");
        const bool has_suffix = peek() == 'f' || peek() == 'F';
        if (has_suffix) ++at;
        check_suffix(begin);
        tvrk_token& token = push(tvrk_token_kind::floating, begin, at);
        token.number = value;
        token.is_f32 = has_suffix;
    }

    void check_suffix(size_t begin) {
        if (!tvr_is_in_name(peek())) return;
        while (tvr_is_in_name(peek())) ++at;
        fail(begin, tvr_join("invalid suffix on number '", text.substr(begin, at - begin), "'"));
    }

    tvrk_tokens& out;
    std::string_view text;
    size_t at = 0, line_start = 0;
    uint32_t line = 1;
    uint16_t file = 0;
};

constexpr std::string_view reserved_words[] = {
    "kernel", "struct", "cstruct", "const",    "inline", "reduce",    "if",     "else",
    "for",    "while",  "break",   "continue", "return", "unchecked", "sizeof", "true",
    "false",  "gid",    "gsize",   "gid_x",    "gid_y",  "gsize_x",   "gsize_y"};

}  // namespace

void tvrk_tokenize(tvrk_tokens& tokens) {
    lexer(tokens).run();
}

bool tvrk_is_assignment(const tvrk_token& token) {
    constexpr std::string_view symbols[] = {
        "=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="};
    return std::find(std::begin(symbols), std::end(symbols), token.text) != std::end(symbols);
}

bool tvrk_is_reserved(std::string_view word) {
    return std::find(std::begin(reserved_words), std::end(reserved_words), word) !=
           std::end(reserved_words);
}
