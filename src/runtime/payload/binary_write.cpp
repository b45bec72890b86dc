// Values and json into their binary form.

#include <bit>
#include <cstring>

#include "runtime/local/error_sink.h"
#include "runtime/object/serialization.h"
#include "runtime/payload/binary_value.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/payload/std_string.h"
#include "runtime/value/plain_value.h"

namespace {

using bytes = std::vector<uint8_t>;
using tvr_serialization::writer;

// A json that is being written. Those of a thread form the path from the outermost inwards, also
// where a native object in between writes values of its own.
class tvr_json_visit {
public:
    explicit tvr_json_visit(const tvr_std_json& of)
        : json(&of), outer(innermost), depth(outer != nullptr ? outer->depth + 1 : 1) {
        innermost = this;
    }
    ~tvr_json_visit() { innermost = outer; }
    tvr_json_visit(const tvr_json_visit&) = delete;
    tvr_json_visit& operator=(const tvr_json_visit&) = delete;

    // Whether the json may be written, after a warning when it may not.
    bool allowed() const {
        for (const tvr_json_visit* each = outer; each != nullptr; each = each->outer) {
            if (each->json != json) continue;
            runtime_warning(
                "Cannot serialize JSON to binary: the value contains a reference to "
                "itself (cycle).");
            return false;
        }
        if (depth <= tvr_max_binary_depth) return true;
        runtime_warning("Cannot serialize JSON to binary: nesting exceeds the maximum depth of ",
                        tvr_max_binary_depth, '.');
        return false;
    }

private:
    static thread_local constinit const tvr_json_visit* innermost;

    const tvr_std_json* json;
    const tvr_json_visit* outer;
    size_t depth;
};

thread_local constinit const tvr_json_visit* tvr_json_visit::innermost = nullptr;

// The section and a type that takes one byte.
void write_head(bytes& out, uint8_t type) {
    static_assert(tvrvar_type_count < 0x80 && tvr_value_section.size() == 3);
    const uint8_t head[] = {3, 'v', '1', '1', 0, type};
    out.insert(out.end(), std::begin(head), std::end(head));
}

void write_float(bytes& out, double value) {
    static_assert(std::endian::native == std::endian::little);
    uint8_t raw[sizeof value];
    std::memcpy(raw, &value, sizeof value);
    out.insert(out.end(), std::begin(raw), std::end(raw));
}

bool write_buffer(bytes& out, const tvr_std_buffer& buffer) {
    if (!buffer.readable()) return false;
    writer(out).write_bytes(buffer.bytes.data(), buffer.bytes.size());
    return true;
}

// An object without a form leaves its type behind.
bool write_object(bytes& out, tvrobject_base* object) {
    const size_t before = out.size();
    if (object != nullptr && object->to_binary(out)) return true;
    out.resize(before);
    return true;
}

void warn_of(uint8_t type) {
    switch (type) {
    case tvrvar_type_error: return runtime_warning("to_binary(): TVRVAR_ERR not supported.");
    case tvrvar_type_class: return runtime_warning("to_binary(): TVRVAR_CLASS not implemented.");
    case tvrvar_type_function:
        return runtime_warning("to_binary(): TVRVAR_FUNCTION not implemented.");
    case tvrvar_type_ext_function:
        return runtime_warning("to_binary(): TVRVAR_EXT_FUNCTION not implemented.");
    case tvrvar_type_member_literal:
        return runtime_warning("to_binary(): TVRVAR_OBJECT_MEMBER_LITERAL not implemented.");
    case tvrvar_type_member_index:
        return runtime_warning("to_binary(): TVRVAR_OBJECT_MEMBER_INDEX not implemented.");
    case tvrvar_type_member_var:
        return runtime_warning("to_binary(): TVRVAR_OBJECT_MEMBER_VAR not implemented.");
    default: return runtime_warning("to_binary(): Unknown type.");
    }
}

bool write_payload(bytes& out, tvrvar& value) {
    switch (value.type) {
    case tvrvar_type_none: return true;
    case tvrvar_type_int:
        writer(out).write_varint(uint64_t(value.integer) << 1 ^ uint64_t(value.integer >> 63));
        return true;
    case tvrvar_type_float: write_float(out, value.real); return true;
    case tvrvar_type_string: writer(out).write_string_raw(value.string_view()); return true;
    case tvrvar_type_binary:
        return write_buffer(out, *static_cast<tvr_std_buffer*>(value.object_ptr()));
    case tvrvar_type_json: return static_cast<tvr_std_json*>(value.object_ptr())->to_binary(out);
    case tvrvar_type_object: return write_object(out, value.object_ptr());
    default: warn_of(value.type); return true;
    }
}

// A reference is written as what it leads to, a truth value as the int 0 or 1, which the form has a
// place for; handles on members stay what they are.
bool write_value(bytes& out, tvrvar& variable) {
    tvrvar* end = variable.end_of_refs();
    if (end == nullptr) {
        write_head(out, tvrvar_type_none);
        return true;
    }
    if (auto* truth = end->object<tvr_std_json_bool>()) {
        return write_value(out, *tvrvar_shared(truth->truth()));
    }
    write_head(out, end->type);
    return write_payload(out, *end);
}

bool write_entries(bytes& out, tvr_std_json& json) {
    writer to(out);
    to.write_string_raw(tvr_json_section);
    const size_t count = json.size();
    to.write_varint(count);
    // An object's own to_binary() might change the json; what it has promised is written.
    for (size_t i = 0; i < count; ++i) {
        if (i >= json.size()) return false;
        to.write_string_raw(json.entries[i].name());
        const tvrvar_shared value = json.entries[i].value;
        if (!write_value(out, *value)) return false;
    }
    return true;
}

}  // namespace

bool tvrvar::to_binary(std::vector<uint8_t>& out) {
    const size_t before = out.size();
    if (write_value(out, *this)) return true;
    out.resize(before);
    return false;
}

std::vector<uint8_t> tvrvar::to_binary() {
    std::vector<uint8_t> out;
    to_binary(out);
    return out;
}

bool tvr_std_json::to_binary(std::vector<uint8_t>& out) {
    const size_t before = out.size();
    const tvr_json_visit visit(*this);
    if (visit.allowed() && write_entries(out, *this)) return true;
    out.resize(before);
    return false;
}
