// What a person types at the prompt, up to where it ends.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/repl/input_end.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const repl::input_state state = repl::state_of_input(text);
    // A blank line behind it changes nothing but what is open.
    const std::string longer = std::string(text) + "\n";
    if (state == repl::input_state::whole &&
        repl::state_of_input(longer) != repl::input_state::whole) {
        std::abort();
    }
    return 0;
}
