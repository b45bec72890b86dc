#pragma once

// The bytes behind a value of type binary. Assignment copies them. Script methods and the face
// towards kernels stand in stdobj/. Script thread, but for the locks.

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/object/object.h"
#include "runtime/payload/kernel_memory.h"

class tvr_std_buffer : public tvrobject<tvr_std_buffer, "std.buffer">, public tvr_kernel_memory {
public:
    static void script_register(tvrobject_metadata& metadata);  // stdobj/

    // False, with a runtime error, while kernels keep others from it: one that writes the bytes
    // keeps everybody, one that reads them keeps writers.
    bool readable() const;
    bool writable() const;
    // The same with the reason as a text.
    bool readable(std::string& error) const;
    bool writable(std::string& error) const;

    tvr_kernel_bytes kernel_bytes() override { return {bytes.data(), bytes.size()}; }
    void* query_interface(tvr_type_id type) override;

    std::string to_string() override;  // up to the first zero byte
    int64_t op_get_size() override { return int64_t(bytes.size()); }
    bool op_is_none() override { return bytes.empty(); }
    // A byte, from the end when negative; none outside.
    tvrvar_shared op_get_member(int64_t index) override;
    void op_set_member(int64_t index, tvrvar_shared value) override;
    using tvrobject_base::op_get_member;
    using tvrobject_base::op_set_member;

    std::vector<uint8_t> bytes;
    uint8_t slot = tvr_not_pooled;

protected:
    void dispose() override;  // back to the pool, emptied
};

template <>
struct tvr_pool_traits<tvr_std_buffer> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::buffers;
    using pool = tvr_pool_threadsafe<tvr_std_buffer, tvr_pool_chunk_static<tvr_std_buffer>>;
};
