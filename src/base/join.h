#pragma once

// Joins the parts of a message into one text: tvr_join("line ", 3, ": ", name).
//
// Texts as they stand, integers in decimal, floats as "%g", bools as 1 and 0, pointers as "%p".
// Thread: any.

#include <charconv>
#include <concepts>
#include <cstdio>
#include <string>
#include <string_view>
#include <type_traits>

inline void tvr_append(std::string& out, std::string_view part) {
    out += part;
}
inline void tvr_append(std::string& out, const char* part) {
    out += part;
}
inline void tvr_append(std::string& out, const std::string& part) {
    out += part;
}
inline void tvr_append(std::string& out, char part) {
    out += part;
}

template <std::integral T>
void tvr_append(std::string& out, T part) {
    char text[24];
    const auto end = std::to_chars(text, text + sizeof text, part + 0);  // + 0: a bool is a number
    out.append(text, size_t(end.ptr - text));
}

template <std::floating_point T>
void tvr_append(std::string& out, T part) {
    char text[32];
    out.append(text, size_t(std::snprintf(text, sizeof text, "%g", double(part))));
}

inline void tvr_append(std::string& out, const void* part) {
    char text[24];
    out.append(text, size_t(std::snprintf(text, sizeof text, "%p", part)));
}

template <typename... T>
std::string tvr_join(const T&... parts) {
    std::string out;
    (tvr_append(out, parts), ...);
    return out;
}
