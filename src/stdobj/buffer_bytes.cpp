#include "stdobj/buffer_bytes.h"

#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/plain_value.h"

namespace {

using found = tvr_bytes_found;

found bytes_of_list(tvr_std_json& list, std::vector<uint8_t>& out) {
    if (!list.is_list()) return found::no_bytes;
    std::vector<uint8_t> bytes;
    bytes.reserve(list.size());
    for (const tvr_std_json::entry& each : list.entries) {
        const tvr_plain_value element(*each.value);
        if (!element->is_number()) return found::no_bytes;
        bytes.push_back(uint8_t(element->int_value()));
    }
    out.insert(out.end(), bytes.begin(), bytes.end());
    return found::bytes;
}

}  // namespace

tvr_bytes_found tvr_bytes_of(tvrvar& variable, std::vector<uint8_t>& out) {
    const tvr_plain_value value(variable);
    switch (value->type) {
    case tvrvar_type_string: {
        const std::string_view text = value->string_view();
        out.insert(out.end(), text.begin(), text.end());
        return found::bytes;
    }
    case tvrvar_type_binary: {
        const auto& buffer = *static_cast<tvr_std_buffer*>(value->object_ptr());
        if (!buffer.readable()) return found::held;
        out.insert(out.end(), buffer.bytes.begin(), buffer.bytes.end());
        return found::bytes;
    }
    case tvrvar_type_json:
        return bytes_of_list(*static_cast<tvr_std_json*>(value->object_ptr()), out);
    default: return found::no_bytes;
    }
}
