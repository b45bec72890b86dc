#include "frontend/source/token_code.h"

#include <cstring>

namespace {

struct known_word {
    std::string_view text;
    tvr_token_code code = tvr_token_code::identifier;
};

constexpr known_word known_words[] = {
#define TVR_WORD(text) {#text, tvr_token_code::word_##text},
    TVR_RESERVED_WORDS(TVR_WORD) TVR_TYPE_WORDS(TVR_WORD) TVR_PLACE_WORDS(TVR_WORD)
#undef TVR_WORD
};

// Open addressing in a table that is mostly empty: nearly every other word meets an empty place.
constexpr size_t word_places = 512;
constexpr size_t longest_word = 9;

constexpr size_t place_of(const char* text, size_t length) {
    const size_t first = uint8_t(text[0]), last = uint8_t(text[length - 1]),
                 middle = uint8_t(text[length / 2]);
    return (length * 67 + first * 5 + last * 29 + middle * 13) % word_places;
}

constexpr std::array<known_word, word_places> make_word_table() {
    std::array<known_word, word_places> table{};
    for (const known_word& word : known_words) {
        size_t place = place_of(word.text.data(), word.text.size());
        while (!table[place].text.empty()) place = (place + 1) % word_places;
        table[place] = word;
    }
    return table;
}

constexpr bool words_fit() {
    for (const known_word& word : known_words)
        if (word.text.size() > longest_word) return false;
    return true;
}
static_assert(words_fit());

constexpr std::array<known_word, word_places> word_table = make_word_table();

constexpr std::array<tvr_token_code, 256> make_symbol_table() {
    std::array<tvr_token_code, 256> table{};
    table.fill(tvr_token_code::unknown_symbol);
#define TVR_SYMBOL(code, text) table[uint8_t((text)[0])] = tvr_token_code::code;
    TVR_SINGLE_SYMBOLS(TVR_SYMBOL)
#undef TVR_SYMBOL
    return table;
}

constexpr std::array<tvr_token_code, 256> symbol_table = make_symbol_table();

constexpr uint16_t pair_of(char first, char second) {
    return uint16_t(uint8_t(first) << 8 | uint8_t(second));
}

}  // namespace

tvr_token_code tvr_find_word_code(std::string_view word) {
    if (word.empty() || word.size() > longest_word) return tvr_token_code::identifier;
    for (size_t place = place_of(word.data(), word.size());; place = (place + 1) % word_places) {
        const known_word& known = word_table[place];
        if (known.text.empty()) return tvr_token_code::identifier;
        if (known.text == word) return known.code;
    }
}

tvr_token_code tvr_find_symbol_code(char symbol) {
    return symbol_table[uint8_t(symbol)];
}

tvr_token_code tvr_find_symbol_code(char first, char second) {
    switch (pair_of(first, second)) {
#define TVR_SYMBOL(code, text) \
    case pair_of((text)[0], (text)[1]): return tvr_token_code::code;
        TVR_DOUBLE_SYMBOLS(TVR_SYMBOL)
#undef TVR_SYMBOL
    default: return tvr_token_code::unknown_symbol;
    }
}
