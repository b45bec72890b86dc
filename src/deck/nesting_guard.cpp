#include "deck/nesting_guard.h"

#include <cstddef>

namespace deckbus {

bool nests_too_deeply(std::string_view line) {
    int depth = 0;
    for (size_t i = 0; i < line.size(); ++i) {
        const char c = line[i];
        if (c == '"') {
            // Most of a long line is one string: memchr finds its end at full speed.
            do {
                i = line.find('"', i + 1);
                if (i == std::string_view::npos) return false;
                size_t backslashes = 0;
                while (line[i - 1 - backslashes] == '\\') ++backslashes;
                if (backslashes % 2 == 0) break;
            } while (true);
        } else if (c == '{' || c == '[') {
            if (++depth > max_line_depth) return true;
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return false;
}

}  // namespace deckbus
