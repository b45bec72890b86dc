#pragma once

// Classes of ASCII characters, the same under every locale. Pure, any thread.

constexpr bool tvr_is_digit(char c) {
    return c >= '0' && c <= '9';
}

// Whether a name may begin so, in scripts, kernels and C: a letter or an underscore.
constexpr bool tvr_begins_name(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

// Whether a name may go on so.
constexpr bool tvr_is_in_name(char c) {
    return tvr_begins_name(c) || tvr_is_digit(c);
}
