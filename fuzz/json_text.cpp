// Any bytes as JSON text: what can be read prints as text that reads as the same value, on one
// line and with indents; so does its copy. Sorting and thinning it out leave it sound, and no value
// is left in the pools.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "bare_interpreter.h"
#include "runtime/payload/json_copy.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/records.h"
#include "stdobj/json_sort.h"
#include "stdobj/json_unique.h"

namespace {

void check(tvrvar& value, bool compact) {
    std::string text, again;
    tvrvar_to_json(value, text, compact);
    const tvrvar_shared read = tvrvar_shared::make();
    if (!tvr_parse_json(text, *read, true)) std::abort();
    tvrvar_to_json(*read, again, compact);
    if (again != text) std::abort();
}

void check_methods(tvr_std_json& json) {
    const size_t size = json.size();
    const tvrvar_shared copy = tvr_copy_json(json);
    if (copy->string_value() != json.to_string(true)) std::abort();
    tvr_std_json& other = copy->as_json(false);
    tvr_sort_by_key(other);
    tvr_sort_by_member(other, "a", false);
    tvr_sort_by_key_reverse(other);
    if (other.size() != size) std::abort();
    tvr_unique_entries(other);
    if (other.size() > size || (size > 0 && other.size() == 0)) std::abort();
    const tvrvar_shared refs = tvrvar_shared::make();
    if (!tvr_parse_json(json.debug_refs_string(false), *refs, true)) {
        // Its text is nested deeper than its source.
        if (json.to_string(true).size() < tvr_max_json_depth) std::abort();
    }
    other.remove_key("a");
    if (other.has("a")) std::abort();
    other.clear_free();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const bare_interpreter around;
    const tvrvar_shared value = tvrvar_shared::make();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (tvr_parse_json(text, *value, true)) {
        check(*value, true);
        check(*value, false);
        if (auto* json = value->object<tvr_std_json>()) check_methods(*json);
    }
    return 0;
}
