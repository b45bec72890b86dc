#pragma once

// Kernel source as tokens, in one pass.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

enum class tvrk_token_kind : uint8_t { end, word, integer, floating, symbol };

struct tvrk_token {
    tvrk_token_kind kind = tvrk_token_kind::end;
    bool is_unsigned = false;  // integers with suffix u
    bool is_f32 = false;       // floats with suffix f
    uint16_t file = 0;         // index into the files
    uint32_t line = 0, column = 0;
    std::string_view text;  // points into the source
    uint64_t integer = 0;
    double number = 0;

    bool is(std::string_view symbol_or_word) const {
        return (kind == tvrk_token_kind::symbol || kind == tvrk_token_kind::word) &&
               text == symbol_or_word;
    }
};

// Helpers are compiled anew at each call, so the tokens live as long as their unit.
struct tvrk_tokens {
    std::string source;
    std::vector<std::string> files;
    std::vector<tvrk_token> list;  // the last one is the end
};

// Throws tvrk_compile_failure.
void tvrk_tokenize(tvrk_tokens& tokens);

// =, += and the like.
bool tvrk_is_assignment(const tvrk_token& token);

// kernel, struct, gid, ... and the names of types cannot be declared.
bool tvrk_is_reserved(std::string_view word);
