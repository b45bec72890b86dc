// Any bytes as JSON text: what can be read prints as text that reads as the same value, on one
// line and with indents.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "runtime/local/error_sink.h"
#include "runtime/local/pool_set.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/records.h"

namespace {

class silent_sink : public tvr_error_sink {
public:
    void on_runtime_error(const std::string&) override {}
    void on_runtime_warning(const std::string&) override {}
};

void check(tvrvar& value, bool compact) {
    std::string text, again;
    tvrvar_to_json(value, text, compact);
    const tvrvar_shared read = tvrvar_shared::make();
    if (!tvr_parse_json(text, *read, true)) std::abort();
    tvrvar_to_json(*read, again, compact);
    if (again != text) std::abort();
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
        const std::string_view text(reinterpret_cast<const char*>(data), size);
        if (tvr_parse_json(text, *value, true)) {
            check(*value, true);
            check(*value, false);
        }
    }
    for (size_t kind = 0; kind < size_t(tvr_pool_kind::count); ++kind) {
        if (pools.live(tvr_pool_kind(kind)) != 0) std::abort();
    }
    tvr_local().pools = nullptr;
    return 0;
}
