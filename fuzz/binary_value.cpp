// Any bytes as the binary form of a value: what can be read is written again, and that reads as the
// same bytes. No value is left in the pools.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "bare_interpreter.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/records.h"
#include "runtime/value/value.h"

namespace {

void check(tvrvar& value) {
    const std::vector<uint8_t> form = value.to_binary();
    const tvrvar_shared again = tvrvar_shared::make();
    if (form.empty() || !again->from_binary(form.data(), form.size())) std::abort();
    if (again->type != value.type || again->to_binary() != form) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const bare_interpreter around;
    const tvrvar_shared value = tvrvar_shared::make();
    if (value->from_binary(data, size)) check(*value);
    return 0;
}
