// Text from strangers on its way to a terminal: only glyphs come through, never more than there is
// room for, and a picture that has not changed costs nothing. The bytes of keys on their way back:
// it does not matter how they are cut into pieces.

#include <cstdlib>
#include <string_view>

#include "host/monitor/canvas.h"
#include "host/monitor/keys.h"
#include "host/monitor/screen_writer.h"
#include "host/monitor/terminal_text.h"

using namespace monitor;

namespace {

void check_text(std::string_view text) {
    std::string_view rest = text;
    const std::string safe = safe_text(text);
    for (rest = safe; !rest.empty();) {
        if (code_point_width(take_code_point(rest)) < 0) std::abort();
    }
    for (int width = 0; width < 12; ++width) {
        if (text_width(fit_text(text, width)) > width) std::abort();
    }
}

// Every line at another place of one picture: wide glyphs are cut in half again and again.
void check_cells(std::string_view text) {
    canvas before(16, 4), after(16, 4);
    int place = 0;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size() - 1);
        area(after).put(place % 16, place / 16 % 4, text.substr(0, end), {});
        text.remove_prefix(end + 1);
        place += 7;
    }
    screen_update(before, after, color_depth::ansi16);
    if (!screen_update(after, after, color_depth::truecolor).empty()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    check_text(bytes);
    check_cells(bytes);
    key_reader whole, halves;
    const auto keys = whole.read(bytes);
    auto pieces = halves.read(bytes.substr(0, size / 2));
    for (key k : halves.read(bytes.substr(size / 2))) pieces.push_back(k);
    if (size <= 16 && keys != pieces) std::abort();  // longer ones may be given up in between
    return 0;
}
