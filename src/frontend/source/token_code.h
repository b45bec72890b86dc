#pragma once

// What the text of a token means to the grammar, as one byte, so that later stages compare
// numbers and dispatch by switch instead of comparing texts.
//
// The lists are the one place where symbols and words of the language stand. Thread: any.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// Symbols of one character come first, then those of two; SYMBOL(code, text).
#define TVR_SINGLE_SYMBOLS(SYMBOL) \
    SYMBOL(round_open, "(")        \
    SYMBOL(round_close, ")")       \
    SYMBOL(square_open, "[")       \
    SYMBOL(square_close, "]")      \
    SYMBOL(curly_open, "{")        \
    SYMBOL(curly_close, "}")       \
    SYMBOL(comma, ",")             \
    SYMBOL(semicolon, ";")         \
    SYMBOL(colon, ":")             \
    SYMBOL(dot, ".")               \
    SYMBOL(question, "?")          \
    SYMBOL(hash, "#")              \
    SYMBOL(backslash, "\\")        \
    SYMBOL(exclaim, "!")           \
    SYMBOL(tilde, "~")             \
    SYMBOL(plus, "+")              \
    SYMBOL(minus, "-")             \
    SYMBOL(star, "*")              \
    SYMBOL(slash, "/")             \
    SYMBOL(percent, "%")           \
    SYMBOL(ampersand, "&")         \
    SYMBOL(pipe, "|")              \
    SYMBOL(caret, "^")             \
    SYMBOL(less, "<")              \
    SYMBOL(greater, ">")           \
    SYMBOL(assign, "=")

#define TVR_DOUBLE_SYMBOLS(SYMBOL) \
    SYMBOL(add_assign, "+=")       \
    SYMBOL(subtract_assign, "-=")  \
    SYMBOL(multiply_assign, "*=")  \
    SYMBOL(divide_assign, "/=")    \
    SYMBOL(modulo_assign, "%=")    \
    SYMBOL(and_assign, "&=")       \
    SYMBOL(or_assign, "|=")        \
    SYMBOL(xor_assign, "^=")       \
    SYMBOL(equal, "==")            \
    SYMBOL(not_equal, "!=")        \
    SYMBOL(less_equal, "<=")       \
    SYMBOL(greater_equal, ">=")    \
    SYMBOL(logical_and, "&&")      \
    SYMBOL(logical_or, "||")       \
    SYMBOL(increment, "++")        \
    SYMBOL(decrement, "--")        \
    SYMBOL(shift_left, "<<")       \
    SYMBOL(shift_right, ">>")      \
    SYMBOL(arrow, "->")            \
    SYMBOL(scope, "::")            \
    SYMBOL(coalesce, "??")

// Words that the grammar knows. The reserved ones first: no function can have such a name.
#define TVR_RESERVED_WORDS(WORD) \
    WORD(if)                     \
    WORD(else)                   \
    WORD(for)                    \
    WORD(try)                    \
    WORD(catch)                  \
    WORD(return )                \
    WORD(break)                  \
    WORD(continue)               \
    WORD(class)                  \
    WORD(struct)                 \
    WORD(interface)              \
    WORD(def)                    \
    WORD(noexcept)               \
    WORD(using)                  \
    WORD(import)                 \
    WORD(var)                    \
    WORD(let)                    \
    WORD(managed)                \
    WORD(public)                 \
    WORD(private)                \
    WORD(abstract)               \
    WORD(this)                   \
    WORD(super)                  \
    WORD(True)                   \
    WORD(true)                   \
    WORD(False)                  \
    WORD(false)                  \
    WORD(None)                   \
    WORD(none)                   \
    WORD(null)                   \
    WORD(new)                    \
    WORD(while)                  \
    WORD(switch)                 \
    WORD(nil)                    \
    WORD(nullptr)

// Types: such a word is one only where another word follows.
#define TVR_TYPE_WORDS(WORD) \
    WORD(int)                \
    WORD(float)              \
    WORD(string)             \
    WORD(bool)               \
    WORD(any)                \
    WORD(void)               \
    WORD(object)             \
    WORD(function)           \
    WORD(json)               \
    WORD(list)               \
    WORD(map)

// Ordinary names but in one place each.
#define TVR_PLACE_WORDS(WORD) \
    WORD(kernel)              \
    WORD(launch)              \
    WORD(async)               \
    WORD(inline)              \
    WORD(cstruct)             \
    WORD(const)               \
    WORD(__DIR__)             \
    WORD(__LINE__)

enum class tvr_token_code : uint8_t {
    end_of_file,
    line_end,
    unknown_symbol,
#define TVR_CODE(code, text) code,
    TVR_SINGLE_SYMBOLS(TVR_CODE) TVR_DOUBLE_SYMBOLS(TVR_CODE)
#undef TVR_CODE
        string_text,
    number,
    identifier,  // this and all behind it can be names
#define TVR_CODE(text) word_##text,
    TVR_RESERVED_WORDS(TVR_CODE) TVR_TYPE_WORDS(TVR_CODE) TVR_PLACE_WORDS(TVR_CODE)
#undef TVR_CODE
        count,
};

constexpr bool tvr_is_name(tvr_token_code code) {
    return code >= tvr_token_code::identifier;
}
constexpr bool tvr_is_reserved_word(tvr_token_code code) {
    return code >= tvr_token_code::word_if && code <= tvr_token_code::word_nullptr;
}
constexpr bool tvr_is_type_word(tvr_token_code code) {
    return code >= tvr_token_code::word_int && code <= tvr_token_code::word_map;
}
// Words that make a variable of their own, whatever has that name outside.
constexpr bool tvr_is_variable_word(tvr_token_code code) {
    return code >= tvr_token_code::word_var && code <= tvr_token_code::word_managed;
}
constexpr bool tvr_is_logical(tvr_token_code code) {
    return code == tvr_token_code::logical_and || code == tvr_token_code::logical_or;
}
// `=` and the compound forms.
constexpr bool tvr_is_assignment(tvr_token_code code) {
    return code >= tvr_token_code::assign && code <= tvr_token_code::xor_assign;
}

// The code of a word: identifier when the grammar does not know it. Not for numbers.
tvr_token_code tvr_find_word_code(std::string_view word);

// The code of a symbol of one character, unknown_symbol for any other character.
tvr_token_code tvr_find_symbol_code(char symbol);

// The code of a symbol of two characters, unknown_symbol when these two make none.
tvr_token_code tvr_find_symbol_code(char first, char second);
