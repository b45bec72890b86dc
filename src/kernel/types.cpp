#include "kernel/types.h"

#include "base/join.h"

tvrk_type tvrk_type::element() const {
    tvrk_type held = *this;
    held.kind = tvrk_type_kind::value;
    held.count = 0;
    held.is_const = false;
    return held;
}

uint64_t tvrk_type::size() const {
    if (is_pointer()) return 0;
    const uint64_t one =
        record != nullptr ? record->size : tvrk_prim_size(prim) * uint64_t(lanes ? lanes : 1);
    return is_array() ? one * count : one;
}

tvrk_type tvrk_field::whole_type() const {
    tvrk_type whole = type;
    if (count == 0) return whole;
    whole.kind = tvrk_type_kind::array;
    whole.count = count;
    return whole;
}

const tvrk_field* tvrk_struct::find(std::string_view field) const {
    for (const tvrk_field& f : fields) {
        if (f.name == field) return &f;
    }
    return nullptr;
}

std::string tvrk_type_name(const tvrk_type& type) {
    std::string name = type.record != nullptr ? type.record->name : tvrk_prim_name(type.prim);
    if (type.lanes != 0) tvr_append(name += 'x', type.lanes);
    if (type.is_array()) return tvr_join(name, '[', type.count, ']');
    if (!type.is_pointer()) return name;
    return tvr_join(type.is_const ? "const " : "", name, '*');
}
