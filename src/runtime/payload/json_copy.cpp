#include "runtime/payload/json_copy.h"

#include <unordered_map>

#include "runtime/local/error_sink.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/plain_value.h"

namespace {

class json_copier {
public:
    // Makes `into` the copy of a json.
    void copy(tvr_std_json& source, tvrvar& into, size_t depth) {
        const auto [known, is_new] = copies.try_emplace(&source);
        if (!is_new) return into.set(known->second);
        tvr_std_json& made = into.as_json(true);
        known->second = tvrvar_shared::make();
        known->second->set(into);
        if (depth == tvr_max_json_depth) {
            too_deep = true;
            return;
        }
        made.entries.reserve(source.size());
        for (size_t i = 0; i < source.size(); ++i) {
            // Held, since a native object may change the source when it is assigned.
            const tvrvar_shared value = source.entries[i].value;
            const tvrvar_shared member = made.create_member(source.entries[i].key);
            copy_value(*value, *member, depth + 1);
        }
    }

    bool too_deep = false;

private:
    void copy_value(tvrvar& source, tvrvar& into, size_t depth) {
        const tvr_plain_value value(source);
        if (value->type != tvrvar_type_json) return into.set(*value);
        copy(*value->object<tvr_std_json>(), into, depth);
    }

    // A value for each, so that a copy outlives whatever assignments do meanwhile.
    std::unordered_map<const tvr_std_json*, tvrvar_shared> copies;
};

}  // namespace

tvrvar_shared tvr_copy_json(tvr_std_json& source) {
    tvrvar_shared made = tvrvar_shared::make();
    json_copier copier;
    copier.copy(source, *made, 0);
    if (copier.too_deep) {
        runtime_warning("JSON copy exceeds the maximum nesting depth of ", tvr_max_json_depth,
                        ", the remaining members are not copied.");
    }
    return made;
}
