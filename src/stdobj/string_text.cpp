#include "stdobj/string_text.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <iterator>
#include <vector>

namespace {

constexpr std::string_view whitespace = " \t\n\r\f\v";

// A set of bytes.
class byte_set {
public:
    explicit byte_set(std::string_view bytes) {
        for (const char each : bytes) members[uint8_t(each)] = true;
    }
    bool has(char c) const { return members[uint8_t(c)]; }

private:
    std::array<bool, 256> members{};
};

std::string without_spaces(std::string_view text) {
    std::string out;
    std::copy_if(text.begin(), text.end(), std::back_inserter(out),
                 [](char c) { return !tvr_is_space(c); });
    return out;
}

// Where the bytes of without_spaces() stand in the text.
std::vector<size_t> places_without_spaces(std::string_view text) {
    std::vector<size_t> places;
    for (size_t at = 0; at < text.size(); ++at) {
        if (!tvr_is_space(text[at])) places.push_back(at);
    }
    return places;
}

#ifdef __SSE2__
// Sixteen places at a time are asked for the first and the last byte of what is wanted; where both
// fit, the rest is compared. Of several bytes, not many: long texts that nearly repeat would make
// it quadratic. Null where the last places have to be tried in another way, with `text` being
// those.
const char* find_short(std::string_view& text, std::string_view wanted) {
    constexpr size_t lanes = sizeof(__m128i);
    const __m128i first = _mm_set1_epi8(wanted.front()), last = _mm_set1_epi8(wanted.back());
    const auto load = [](const char* from) {
        return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
    };
    for (; text.size() >= lanes + wanted.size(); text.remove_prefix(lanes)) {
        const char* at = text.data();
        const __m128i both = _mm_and_si128(_mm_cmpeq_epi8(first, load(at)),
                                           _mm_cmpeq_epi8(last, load(at + wanted.size() - 1)));
        for (auto fits = unsigned(_mm_movemask_epi8(both)); fits != 0; fits &= fits - 1) {
            const char* place = at + std::countr_zero(fits);
            if (std::memcmp(place, wanted.data(), wanted.size()) == 0) return place;
        }
    }
    return nullptr;
}
#else
const char* find_short(std::string_view&, std::string_view) {
    return nullptr;
}
#endif

// Null for none. `wanted` is not empty.
const char* find_bytes(std::string_view text, std::string_view wanted) {
    constexpr size_t longest_short = 32;
    if (text.empty()) return nullptr;
    if (wanted.size() == 1) {
        return static_cast<const char*>(std::memchr(text.data(), wanted[0], text.size()));
    }
    if (wanted.size() <= longest_short) {
        if (const char* found = find_short(text, wanted)) return found;
    }
    return static_cast<const char*>(memmem(text.data(), text.size(), wanted.data(), wanted.size()));
}

// The text between every two bytes and at both ends.
std::string interleave(std::string_view text, std::string_view by) {
    std::string out(by);
    for (const char each : text) {
        out += each;
        out += by;
    }
    return out;
}

std::string replace_byte(std::string_view text, char wanted, char by) {
    std::string out(text);
    for (char& c : out) c = c == wanted ? by : c;
    return out;
}

}  // namespace

size_t tvr_find_text(std::string_view text, std::string_view wanted, size_t from) {
    if (from > text.size()) return std::string_view::npos;
    if (wanted.empty()) return from;
    const char* begin = text.data() + from;
    const char* found = find_bytes({begin, text.size() - from}, wanted);
    return found == nullptr ? std::string_view::npos : size_t(found - text.data());
}

std::string_view tvr_trim_left(std::string_view text) {
    const size_t first = text.find_first_not_of(whitespace);
    return text.substr(std::min(first, text.size()));
}

std::string_view tvr_trim_right(std::string_view text) {
    return text.substr(0, text.find_last_not_of(whitespace) + 1);
}

std::string_view tvr_trim(std::string_view text) {
    return tvr_trim_left(tvr_trim_right(text));
}

std::string tvr_trim_lines(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    while (true) {
        const size_t end = text.find('\n');
        const std::string_view line = text.substr(0, end);
        out += tvr_trim_right(line);
        if (end == std::string_view::npos) return out;
        out += line.ends_with('\r') ? "\r\n" : "\n";
        text.remove_prefix(end + 1);
    }
}

std::string tvr_compress_whitespace(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    bool in_space = false;
    for (const char each : text) {
        const bool space = tvr_is_space(each);
        if (!space) out += each;
        if (space && !in_space) out += ' ';
        in_space = space;
    }
    return out;
}

std::string tvr_lowercase(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = c >= 'A' && c <= 'Z' ? char(c | 0x20) : c;
    return out;
}

std::string tvr_uppercase(std::string_view text) {
    std::string out(text);
    for (char& c : out) c = c >= 'a' && c <= 'z' ? char(c & ~0x20) : c;
    return out;
}

std::string tvr_reverse(std::string_view text) {
    return {text.rbegin(), text.rend()};
}

size_t tvr_count_text(std::string_view text, std::string_view wanted) {
    if (wanted.empty()) return text.size() + 1;
    size_t count = 0;
    for (size_t at = tvr_find_text(text, wanted); at != std::string_view::npos;
         at = tvr_find_text(text, wanted, at + wanted.size())) {
        ++count;
    }
    return count;
}

std::string tvr_replace(std::string_view text, std::string_view wanted, std::string_view by) {
    if (wanted.empty()) return interleave(text, by);
    if (wanted.size() == 1 && by.size() == 1) return replace_byte(text, wanted[0], by[0]);
    std::string out;
    size_t behind = 0;
    for (size_t at = tvr_find_text(text, wanted); at != std::string_view::npos;
         at = tvr_find_text(text, wanted, behind)) {
        if (behind == 0) out.reserve(text.size());
        out += text.substr(behind, at - behind);
        out += by;
        behind = at + wanted.size();
    }
    out += text.substr(behind);
    return out;
}

std::string tvr_replace_first(std::string_view text, std::string_view wanted, std::string_view by) {
    std::string out(text);
    const size_t at = tvr_find_text(text, wanted);
    if (at != std::string_view::npos) out.replace(at, wanted.size(), by);
    return out;
}

bool tvr_contains_loosely(std::string_view text, std::string_view wanted) {
    const std::string bare = without_spaces(wanted);
    return !bare.empty() && tvr_find_text(without_spaces(text), bare) != std::string_view::npos;
}

std::string tvr_replace_loosely(std::string_view text, std::string_view wanted,
                                std::string_view by) {
    const std::string bare = without_spaces(text), sought = without_spaces(wanted);
    if (sought.empty()) return std::string(text);
    const std::vector<size_t> places = places_without_spaces(text);
    std::string out;
    size_t behind = 0, from = 0;
    for (size_t at = tvr_find_text(bare, sought); at != std::string_view::npos;
         at = tvr_find_text(bare, sought, from)) {
        from = at + sought.size();
        out += text.substr(behind, places[at] - behind);
        out += by;
        behind = places[from - 1] + 1;
    }
    out += text.substr(behind);
    return out;
}

std::string_view tvr_substr(std::string_view text, int64_t start, int64_t count) {
    const auto size = int64_t(text.size());
    const int64_t first = std::clamp<int64_t>(start < 0 ? start + size : start, 0, size);
    const int64_t rest = size - first;
    const int64_t end = count < 0 ? size + std::max(count, -size) : first + std::min(count, rest);
    return text.substr(size_t(first), size_t(std::max<int64_t>(end - first, 0)));
}

std::string tvr_insert(std::string_view text, int64_t place, std::string_view added) {
    const auto size = int64_t(text.size());
    const int64_t at = std::clamp<int64_t>(place < 0 ? place + size : place, 0, size);
    return std::string(text).insert(size_t(at), added);
}

std::string tvr_pad(std::string_view text, size_t left, size_t right, char fill) {
    std::string out(left, fill);
    out.reserve(left + text.size() + right);
    out += text;
    out.append(right, fill);
    return out;
}

std::string tvr_remove_chars(std::string_view text, std::string_view chars, bool except) {
    const byte_set set(chars);
    std::string out;
    std::copy_if(text.begin(), text.end(), std::back_inserter(out),
                 [&](char c) { return set.has(c) == except; });
    return out;
}

std::string tvr_escape_pattern(std::string_view text) {
    const byte_set special("^$\\.*+?()[]{}|");
    std::string out;
    for (const char each : text) {
        if (special.has(each)) out += '\\';
        out += each;
    }
    return out;
}
