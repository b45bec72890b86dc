#pragma once

// The bytes behind a value of type binary. Assignment copies them. Script methods and the face
// towards kernels stand in stdobj/. Script thread, but for `launches`.

#include <atomic>
#include <cstdint>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/object/object.h"

class tvr_std_buffer : public tvrobject<tvr_std_buffer, "std.buffer"> {
public:
    static void script_register(tvrobject_metadata& metadata);  // stdobj/

    // False, with a runtime error, while a kernel works on the bytes: then nobody may touch them.
    bool usable() const;

    std::string to_string() override { return {bytes.begin(), bytes.end()}; }
    int64_t op_get_size() override { return int64_t(bytes.size()); }

    std::vector<uint8_t> bytes;
    std::atomic<uint32_t> launches{0};  // kernel launches that hold it; workers count it down
    uint8_t slot = tvr_not_pooled;

protected:
    void dispose() override;  // back to the pool, emptied
};

template <>
struct tvr_pool_traits<tvr_std_buffer> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::buffers;
    using pool = tvr_pool_threadsafe<tvr_std_buffer, tvr_pool_chunk_static<tvr_std_buffer>>;
};
