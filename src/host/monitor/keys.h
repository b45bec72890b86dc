#pragma once

// Keys out of the bytes that a terminal sends.
//
// Pure; a sequence may come in pieces, so the reader keeps an unfinished one.

#include <string>
#include <string_view>
#include <vector>

namespace monitor {

enum class key { quit, zoom_in, zoom_out, zoom_reset, next_deck, panel, help, redraw };

class key_reader {
public:
    // The keys that these bytes complete, in order. Unknown ones are overlooked.
    std::vector<key> read(std::string_view bytes);

private:
    std::string held;  // the beginning of an escape sequence
};

}  // namespace monitor
