#include "runtime/local/thread_local.h"

#include <algorithm>

void tvr_thread_local::set_thread_name(std::string_view text) {
    const auto continues_a_character = [&](size_t at) { return (text[at] & 0xC0) == 0x80; };
    name_length = std::min(text.size(), name_bytes);
    while (name_length < text.size() && name_length > 0 && continues_a_character(name_length)) {
        --name_length;
    }
    std::copy_n(text.data(), name_length, name);
}

uint64_t tvr_thread_local::thread_id() {
    if (id == 0) id = tvr_next_thread_id();
    return id;
}
