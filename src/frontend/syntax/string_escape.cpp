#include "frontend/syntax/string_escape.h"

#include <cstdint>

#include "base/utf8.h"

namespace {

int digit_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 16;
}

struct digits {
    uint32_t value = 0;
    size_t count = 0;
};

digits read_digits(std::string_view text, int base, size_t most) {
    digits read;
    while (read.count < most && read.count < text.size()) {
        const int value = digit_value(text[read.count]);
        if (value >= base) break;
        read.value = read.value * uint32_t(base) + uint32_t(value);
        ++read.count;
    }
    return read;
}

char simple_escape(char letter) {
    switch (letter) {
    case 'a': return '\a';
    case 'b': return '\b';
    case 'f': return '\f';
    case 'n': return '\n';
    case 'r': return '\r';
    case 't': return '\t';
    case 'v': return '\v';
    case '\\':
    case '\'':
    case '"':
    case '?': return letter;
    default: return '\0';
    }
}

bool is_scalar_value(uint32_t point) {
    return point < 0xD800 || (point > 0xDFFF && point <= 0x10FFFF);
}

// Resolves the escape behind a backslash; how many bytes of `rest` it took, 0 when it is none.
size_t take_escape(std::string& out, std::string_view rest) {
    if (rest.empty()) return 0;
    const char letter = rest[0];
    if (const char simple = simple_escape(letter); simple != '\0') {
        out += simple;
        return 1;
    }
    if (letter == 'x') {
        const digits hex = read_digits(rest.substr(1), 16, 2);
        if (hex.count == 0) return 0;
        out += char(uint8_t(hex.value));
        return 1 + hex.count;
    }
    if (letter == 'u' || letter == 'U') {
        const size_t length = letter == 'u' ? 4 : 8;
        const digits point = read_digits(rest.substr(1), 16, length);
        if (point.count != length || !is_scalar_value(point.value)) return 0;
        tvr_append_utf8(out, point.value);
        return 1 + length;
    }
    const digits octal = read_digits(rest, 8, 3);
    if (octal.count > 0) out += char(uint8_t(octal.value));
    return octal.count;
}

}  // namespace

std::string tvr_unescape_string(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (true) {
        const size_t backslash = text.find('\\');
        out += text.substr(0, backslash);
        if (backslash == std::string_view::npos) return out;
        text.remove_prefix(backslash + 1);
        const size_t taken = take_escape(out, text);
        if (taken == 0) out += '\\';
        text.remove_prefix(taken);
    }
}

std::string tvr_escape_string(std::string_view text) {
    constexpr std::string_view letters = "abtnvfr";  // of the control characters from 7 on
    constexpr std::string_view hex = "0123456789abcdef";
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        const auto byte = uint8_t(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte >= 7 && byte <= 13) {
            out += '\\';
            out += letters[byte - 7];
        } else if (byte < 0x20 || byte == 0x7F) {
            out += "\\x";
            out += hex[byte >> 4];
            out += hex[byte & 15];
        } else {
            out += c;
        }
    }
    return out;
}
