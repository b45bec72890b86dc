#include "frontend/syntax/tokenizer.h"

#include <cstring>

#include "base/ascii.h"
#include "base/utf8.h"

namespace {

enum class byte_class : uint8_t { symbol, space, line_feed, letter, digit, quote, high };

constexpr std::array<byte_class, 256> make_classes() {
    std::array<byte_class, 256> classes{};
    for (size_t c = 0; c < 256; ++c) {
        if (tvr_begins_name(char(c))) classes[c] = byte_class::letter;
        if (tvr_is_digit(char(c))) classes[c] = byte_class::digit;
        if (c >= 0x80) classes[c] = byte_class::high;
    }
    for (const char c : {' ', '\t', '\v', '\f', '\r'}) classes[uint8_t(c)] = byte_class::space;
    classes['\n'] = byte_class::line_feed;
    classes['"'] = classes['\''] = byte_class::quote;
    return classes;
}

constexpr std::array<byte_class, 256> classes = make_classes();

byte_class class_of(char c) {
    return classes[uint8_t(c)];
}
bool is_digit(char c) {
    return class_of(c) == byte_class::digit;
}
bool is_ascii_word(char c) {
    return class_of(c) == byte_class::letter || class_of(c) == byte_class::digit;
}
bool is_high(char c) {
    return class_of(c) == byte_class::high;
}

}  // namespace

tvr_tokenizer::tvr_tokenizer(tvr_src_token_view& into, tvr_syntax_report& to)
    : view(into), report(to), at(into.source.data()), end(at + into.source.size()), line_start(at) {
    view.line_starts.assign(1, 0);
}

bool tvr_tokenizer::run() {
    if (view.source.size() > tvr_max_source_bytes)
        return fail(here(), "The source is too large (limit 64 MiB).");
    // Room for dense code: what is not used costs nothing, and moving costs as much as the rest.
    constexpr size_t fewest_token_bytes = 3;
    view.tokens.reserve(view.source.size() / fewest_token_bytes + 16);
    while (at < end)
        if (!take_token()) return false;
    if (view.tokens.empty() || !view.tokens.back().is(tvr_token_code::line_end))
        emit(tvr_token_code::line_end, text_from(at), here());
    emit(tvr_token_code::end_of_file, text_from(at), here());
    return true;
}

// The order of the cases is that of the grammar: comments and raw strings are seen before the
// symbol and the word that they begin with.
bool tvr_tokenizer::take_token() {
    const char c = *at;
    switch (class_of(c)) {
    case byte_class::space: ++at; return true;
    case byte_class::line_feed: take_line_end(); return true;
    case byte_class::letter:
        if (c == 'R' && peek(1) == '"') return take_raw_string();
        take_word();
        return true;
    case byte_class::digit: return take_number();
    case byte_class::quote: return take_string();
    case byte_class::high: return take_high();
    case byte_class::symbol: break;
    }
    if (c == '/' && peek(1) == '/')
        take_line_comment();
    else if (c == '/' && peek(1) == '*')
        take_block_comment();
    else if (c == '.' && is_digit(peek(1)))
        return take_number();
    else
        take_symbol();
    return true;
}

tvr_src_token& tvr_tokenizer::emit(tvr_token_code code, std::string_view text, const place& from) {
    tvr_src_token& token = view.tokens.emplace_back();
    token.set_text(text);
    token.origin = &view.origin;
    token.line = from.line;
    token.column = from.column;
    token.code = code;
    return token;
}

char tvr_tokenizer::peek(size_t ahead) const {
    return size_t(end - at) > ahead ? at[ahead] : '\0';
}

bool tvr_tokenizer::fail(const place& where, std::string_view message) {
    skip_to(end);  // the report wants to know where the line ends
    tvr_src_token token;
    token.line = where.line;
    token.column = where.column;
    token.origin = &view.origin;
    report.syntax_error(&token, message);
    return false;
}

// Stands on the line feed.
void tvr_tokenizer::start_line() {
    ++at;
    ++line;
    line_start = at;
    view.line_starts.push_back(uint32_t(at - view.source.data()));
}

void tvr_tokenizer::skip_code_point() {
    const uint32_t bytes =
        is_high(*at) ? tvr_decode_utf8({at, size_t(end - at)}).bytes : uint32_t(1);
    at += bytes;
    line_start += bytes - 1;
}

// Over text that may hold line feeds.
void tvr_tokenizer::skip_to(const char* to) {
    while (at < to) {
        if (*at == '\n')
            start_line();
        else
            skip_code_point();
    }
}

bool tvr_tokenizer::is_high_space(size_t& bytes) const {
    const tvr_code_point point = tvr_decode_utf8({at, size_t(end - at)});
    bytes = point.bytes;
    if (!point.well_formed) return false;
    return point.value == 0x85 || point.value == 0xA0 || point.value == 0x3000 ||
           point.value == 0xFEFF;
}

void tvr_tokenizer::take_line_end() {
    const place from = here();
    const bool repeated = !view.tokens.empty() && view.tokens.back().is(tvr_token_code::line_end);
    const char* feed = at;
    start_line();
    if (!repeated) emit(tvr_token_code::line_end, text_from(feed), from);
}

void tvr_tokenizer::take_line_comment() {
    const auto* feed = static_cast<const char*>(std::memchr(at, '\n', size_t(end - at)));
    at = feed != nullptr ? feed : end;
}

void tvr_tokenizer::take_block_comment() {
    const std::string_view rest(at, size_t(end - at));
    const size_t close = rest.find("*/", 2);
    skip_to(close == std::string_view::npos ? end : at + close + 2);
}

void tvr_tokenizer::skip_word_rest() {
    while (true) {
        while (is_ascii_word(*at)) ++at;
        size_t bytes = 0;
        if (at >= end || !is_high(*at) || is_high_space(bytes)) return;
        at += bytes;
        line_start += bytes - 1;
    }
}

void tvr_tokenizer::take_word() {
    const place from = here();
    skip_word_rest();
    const std::string_view text = text_from(from.at);
    const tvr_token_code code = tvr_find_word_code(text);
    emit(code, text, from);
    if (code <= tvr_token_code::word_map) return;
    if (code == tvr_token_code::word_kernel) view.has_kernel_words = true;
    if (code == tvr_token_code::word___DIR__ || code == tvr_token_code::word___LINE__)
        view.has_place_words = true;
}

bool tvr_tokenizer::take_high() {
    size_t bytes = 0;
    if (is_high_space(bytes)) {
        at += bytes;
        line_start += bytes - 1;
    } else {
        take_word();
    }
    return true;
}

void tvr_tokenizer::take_symbol() {
    const place from = here();
    tvr_token_code code = tvr_find_symbol_code(*at, peek(1));
    size_t length = 2;
    if (code == tvr_token_code::unknown_symbol) {
        code = tvr_find_symbol_code(*at);
        length = 1;
    }
    at += length;
    emit(code, {from.at, length}, from);
    if (code == tvr_token_code::hash) view.has_directives = true;
}

// Letters, digits and `_` right behind a number join its token; stage 3 refuses what is none.
bool tvr_tokenizer::take_number() {
    const place from = here();
    const char base = char(peek(1) | 0x20);
    if (*at == '0' && (base == 'x' || base == 'b' || base == 'o')) {
        at += 2;
    } else {
        while (is_digit(*at)) ++at;
        if (*at == '.' && point_belongs_to_number()) {
            ++at;
            while (is_digit(*at)) ++at;
        }
        bool has_exponent = false;
        if (!take_exponent(from, has_exponent)) return false;
        if (!has_exponent && (*at | 0x20) == 'f') ++at;
    }
    skip_word_rest();
    emit(tvr_token_code::number, text_from(from.at), from);
    return true;
}

// Stands on a point behind digits, or on one that begins a number. `1.x` reads a member; `1.`,
// `1.5`, `1.e3` and `1.f` are numbers.
bool tvr_tokenizer::point_belongs_to_number() const {
    const char next = peek(1);
    if (class_of(next) != byte_class::letter && !is_high(next)) return true;
    const char after = peek(2);
    if ((next | 0x20) == 'f') return !is_ascii_word(after) && !is_high(after);
    if ((next | 0x20) != 'e') return false;
    return is_digit(after) || ((after == '+' || after == '-') && is_digit(peek(3)));
}

bool tvr_tokenizer::take_exponent(const place& from, bool& taken) {
    if ((*at | 0x20) != 'e') return true;
    ++at;
    if (*at == '+' || *at == '-') ++at;
    if (!is_digit(*at)) return fail(from, "Malformed exponent in numeric literal");
    while (is_digit(*at)) ++at;
    taken = true;
    return true;
}

void tvr_tokenizer::emit_string(std::string_view text, const place& from, bool raw) {
    emit(tvr_token_code::string_text, text, from).raw = raw;
}

bool tvr_tokenizer::take_string() {
    const place from = here();
    const char quote = *at;
    if (peek(1) == quote && peek(2) == quote) return take_long_string(from, quote);
    return take_short_string(from, quote);
}

bool tvr_tokenizer::take_short_string(const place& from, char quote) {
    const char* text = ++at;
    while (at < end && *at != quote && *at != '\n') {
        if (*at == '\\' && at + 1 < end && at[1] != '\n') ++at;
        skip_code_point();
    }
    if (at >= end || *at == '\n') return fail(from, "unterminated string");
    emit_string(text_from(text), from, false);
    ++at;
    return true;
}

bool tvr_tokenizer::take_long_string(const place& from, char quote) {
    constexpr size_t quotes = 3;
    at += quotes;
    const char* text = at;
    while (at < end && !(*at == quote && peek(1) == quote && peek(2) == quote)) {
        if (*at == '\\' && at + 1 < end && at[1] != '\n') ++at;
        skip_to(at + 1);
    }
    if (at >= end) return fail(from, "unterminated string");
    emit_string(text_from(text), from, false);
    at += quotes;
    return true;
}

bool tvr_tokenizer::take_raw_string() {
    const place from = here();
    const std::string_view rest(at, size_t(end - at));
    const size_t open = rest.find_first_of("(\n", 2);
    if (open == std::string_view::npos || rest[open] == '\n')
        return fail(from, "invalid raw string delimiter");
    std::string closing(")");
    closing += rest.substr(2, open - 2);
    closing += '"';
    size_t first = open + 1;
    const size_t last = rest.find(closing, first);
    if (last == std::string_view::npos) return fail(from, "unterminated raw string");
    if (rest.substr(first).starts_with("\r\n"))
        first += 2;
    else if (rest[first] == '\n')
        first += 1;
    emit_string(rest.substr(first, last - first), from, true);
    skip_to(at + last + closing.size());
    return true;
}
