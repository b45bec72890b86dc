#include "runtime/payload/std_string.h"

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
