#include "runtime/local/thread_local.h"

#include <algorithm>

#include "base/utf8.h"

void tvr_thread_local::set_thread_name(std::string_view text) {
    const std::string_view kept = tvr_cut_utf8(text, name_bytes);
    name_length = kept.size();
    std::ranges::copy(kept, name);
}

uint64_t tvr_thread_local::thread_id() {
    if (id == 0) id = tvr_next_thread_id();
    return id;
}
