// What a person types at the prompt: any bytes are judged, and what is a whole input stays one with
// an empty line behind it.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/repl/input_end.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const repl::input_state state = repl::state_of_input(text);
    const std::string longer = std::string(text) + "\n";
    if (state == repl::input_state::whole &&
        repl::state_of_input(longer) != repl::input_state::whole) {
        std::abort();
    }
    return 0;
}
