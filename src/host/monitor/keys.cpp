#include "host/monitor/keys.h"

#include <optional>

namespace monitor {

namespace {

constexpr char escape = '\x1b';
constexpr size_t longest_sequence = 32;  // what is longer is no key

std::optional<key> plain_key(char c) {
    switch (c) {
    case 'q':
    case 'Q':
    case '\x03': return key::quit;
    case '+':
    case '=': return key::zoom_in;
    case '-':
    case '_': return key::zoom_out;
    case '0': return key::zoom_reset;
    case '\t': return key::next_deck;
    case 'e': return key::panel;
    case '?':
    case 'h': return key::help;
    case '\x0c': return key::redraw;
    default: return std::nullopt;
    }
}

// `last` ends an escape sequence without parameters.
std::optional<key> arrow_key(char last) {
    switch (last) {
    case 'A': return key::zoom_in;
    case 'B': return key::zoom_out;
    case 'C': return key::next_deck;
    default: return std::nullopt;
    }
}

// Length of the sequence at the front, 0 while it is unfinished. Its first byte is the escape.
size_t sequence_length(std::string_view s) {
    if (s.size() < 2) return 0;
    if (s[1] == 'O') return s.size() < 3 ? 0 : 3;
    if (s[1] != '[') return s[1] == escape ? 1 : 2;
    for (size_t i = 2; i < s.size(); ++i) {
        if (s[i] >= 0x40 && s[i] <= 0x7E) return i + 1;
        if (s[i] == escape) return i;
    }
    return s.size() > longest_sequence ? s.size() : 0;
}

}  // namespace

std::vector<key> key_reader::read(std::string_view bytes) {
    held += bytes;
    std::vector<key> keys;
    std::string_view rest = held;
    while (!rest.empty()) {
        const size_t length = rest.front() == escape ? sequence_length(rest) : 1;
        if (length == 0) break;
        const bool sequence = rest.front() == escape;
        const auto found = !sequence     ? plain_key(rest.front())
                           : length == 3 ? arrow_key(rest[2])
                                         : std::nullopt;
        if (found) keys.push_back(*found);
        rest.remove_prefix(length);
    }
    held.erase(0, held.size() - rest.size());
    return keys;
}

}  // namespace monitor
