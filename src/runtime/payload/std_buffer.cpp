#include "runtime/payload/std_buffer.h"

#include <algorithm>

#include "runtime/local/error_sink.h"
#include "runtime/value/payload_pools.h"

namespace {

constexpr const char* in_use =
    "std.buffer is in use by a running kernel launch (call wait() on the launch first)";

// Acquire: whoever finds the last launch gone also sees what it wrote.
bool is_held(const std::atomic<uint32_t>& locks) {
    return locks.load(std::memory_order_acquire) != 0;
}

bool raise(const std::string& error) {
    runtime_error(error);
    return false;
}

}  // namespace

bool tvr_std_buffer::readable(std::string& error) const {
    if (!is_held(write_locks)) return true;
    error = in_use;
    return false;
}

bool tvr_std_buffer::writable(std::string& error) const {
    if (!is_held(read_locks) && !is_held(write_locks)) return true;
    error = in_use;
    return false;
}

bool tvr_std_buffer::readable() const {
    std::string error;
    return readable(error) || raise(error);
}

bool tvr_std_buffer::writable() const {
    std::string error;
    return writable(error) || raise(error);
}

void* tvr_std_buffer::query_interface(tvr_type_id type) {
    return type == tvr_typeid<tvr_kernel_memory>() ? static_cast<tvr_kernel_memory*>(this)
                                                   : nullptr;
}

std::string tvr_std_buffer::to_string() {
    if (!readable()) return {};
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), uint8_t(0))};
}

tvrvar_shared tvr_std_buffer::op_get_member(int64_t index) {
    if (!readable()) return tvrvar_shared::make();
    if (index < 0) index += int64_t(bytes.size());
    if (index < 0 || index >= int64_t(bytes.size())) return tvrvar_shared::make();
    return int64_t(bytes[size_t(index)]);
}

void tvr_std_buffer::op_set_member(int64_t index, tvrvar_shared value) {
    if (!writable()) return;
    const int64_t place = index < 0 ? index + int64_t(bytes.size()) : index;
    if (place < 0 || place >= int64_t(bytes.size())) {
        return runtime_error("Index ", index, " is out of range (", bytes.size(), ")");
    }
    bytes[size_t(place)] = uint8_t(value->int_value());
}

void tvr_std_buffer::dispose() {
    bytes = {};
    tvr_pool_give(this);
}
