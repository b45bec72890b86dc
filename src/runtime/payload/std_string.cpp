#include "runtime/payload/std_string.h"

#include <algorithm>

#include "runtime/local/error_sink.h"
#include "runtime/value/payload_pools.h"

void tvr_std_string::dispose() {
    // Short texts come again and find their memory; long ones give it back.
    constexpr size_t most_kept = 1024;
    if (text.capacity() > most_kept) {
        text = {};
    } else {
        text.clear();
    }
    tvr_pool_give(this);
}

tvrvar_shared tvr_std_string::op_get_member(int64_t index) {
    if (index < 0) index += op_get_size();
    if (index < 0 || index >= op_get_size()) {
        runtime_error("Index out of range!");
        return tvrvar_shared::make();
    }
    return std::string_view(text).substr(size_t(index), 1);
}

tvrvar_shared tvr_std_string::op_get_member(std::string_view name) {
    tvr_function_def* method = metadata->find_function(name);
    if (method == nullptr) return tvrobject_base::op_get_member(name);
    const tvrvar_shared copy(text);
    tvrvar_shared bound = tvrvar_shared::make();
    bound->as_function(method, copy->object_ptr());
    return bound;
}

void tvr_std_string::op_set_member(int64_t index, tvrvar_shared value) {
    const std::string given = value->string_value();
    if (text.empty() || given.empty()) return;
    const int64_t size = op_get_size(), place = index < 0 ? index + size : index;
    const int64_t inside = std::clamp<int64_t>(place, 0, size - 1);
    if (inside != place) {
        runtime_warning("std.string[]: index ", index, " clamped to ", inside);
    }
    text[size_t(inside)] = given[0];
}

void tvr_std_string::op_set_member(std::string_view key, tvrvar_shared value) {
    if (key.empty()) {
        return runtime_warning(
            "std.string[]: empty search key - nothing to search for, "
            "call ignored.");
    }
    const size_t place = text.find(key);
    if (place != std::string::npos) text.replace(place, key.size(), value->string_value());
}
