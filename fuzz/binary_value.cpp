// Any bytes as the binary form of a value: what can be read is written again, and that reads as the
// same bytes.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "runtime/local/error_sink.h"
#include "runtime/local/pool_set.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace {

class silent_sink : public tvr_error_sink {
public:
    void on_runtime_error(const std::string&) override {}
    void on_runtime_warning(const std::string&) override {}
};

void check(tvrvar& value) {
    const std::vector<uint8_t> form = value.to_binary();
    const tvrvar_shared again = tvrvar_shared::make();
    if (form.empty() || !again->from_binary(form.data(), form.size())) std::abort();
    if (again->type != value.type || again->to_binary() != form) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    silent_sink sink;
    tvr_interpreter_lock lock;
    tvr_pool_set pools(lock);
    tvr_local().errors = &sink;
    tvr_local().pools = &pools;
    tvr_local().owns_interpreter = true;
    {
        const tvrvar_shared value = tvrvar_shared::make();
        if (value->from_binary(data, size)) check(*value);
    }
    for (size_t kind = 0; kind < size_t(tvr_pool_kind::count); ++kind) {
        if (pools.live(tvr_pool_kind(kind)) != 0) std::abort();
    }
    tvr_local().pools = nullptr;
    return 0;
}
