// Values and json out of their binary form.

#include <algorithm>
#include <stdexcept>

#include "base/join.h"
#include "runtime/local/error_sink.h"
#include "runtime/object/serialization.h"
#include "runtime/payload/binary_value.h"
#include "runtime/payload/std_buffer.h"
#include "runtime/payload/std_json.h"

namespace {

using tvr_serialization::reader;

// The jsons inside of each other that this thread is reading.
thread_local constinit size_t depth = 0;

class deeper {
public:
    deeper() {
        if (depth >= tvr_max_binary_depth) {
            throw std::runtime_error(tvr_join("JSON binary nesting exceeds the maximum depth of ",
                                              tvr_max_binary_depth, '.'));
        }
        ++depth;
    }
    ~deeper() { --depth; }
    deeper(const deeper&) = delete;
    deeper& operator=(const deeper&) = delete;
};

int64_t read_int(reader& in) {
    const uint64_t code = in.read_varint();
    return int64_t(code >> 1 ^ (0 - (code & 1)));
}

std::string_view as_text(std::span<const uint8_t> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void read_nothing(tvrvar& value, uint64_t type) {
    runtime_warning("from_binary(): type ", type, " cannot be deserialized, reading it as None.");
    value.as_none();
}

bool read_payload(tvrvar& value, uint64_t type, reader& in) {
    switch (type) {
    case tvrvar_type_none: value.as_none(); return true;
    case tvrvar_type_int: value.as_int(read_int(in)); return true;
    case tvrvar_type_float: value.as_float(in.read_double()); return true;
    case tvrvar_type_string: value.as_string(in.read_string_view()); return true;
    case tvrvar_type_binary: value.as_binary(as_text(in.read_bytes_view())); return true;
    case tvrvar_type_json:
        value.as_none();  // a json that others share stays theirs
        return value.as_json(true).from_binary(in);
    case tvrvar_type_error:
    case tvrvar_type_object:
    case tvrvar_type_class:
    case tvrvar_type_class_def:
    case tvrvar_type_function:
    case tvrvar_type_ext_function:
    case tvrvar_type_member_literal:
    case tvrvar_type_member_index:
    case tvrvar_type_member_var:
    case tvrvar_type_ref: read_nothing(value, type); return true;
    default: throw std::runtime_error(tvr_join("from_binary(): unknown type ", type, ". "));
    }
}

// A key's length and zero byte, and a value's section and type.
constexpr size_t least_entry_bytes = 8;

}  // namespace

bool tvrvar::from_binary(tvr_serialization::reader& in) {
    if (!in.check_section(tvr_value_section)) {
        as_none();
        return false;
    }
    return read_payload(*this, in.read_varint(), in);
}

bool tvrvar::from_binary(const uint8_t* data, size_t size) {
    try {
        reader in(data, size);
        return from_binary(in);
    } catch (const std::runtime_error& damage) {
        as_none();
        runtime_error(damage.what());
        return false;
    }
}

bool tvr_std_json::from_binary(tvr_serialization::reader& in) {
    clear();
    if (!in.check_section(tvr_json_section)) throw std::runtime_error("invalid section.");
    const deeper nested;
    const uint64_t count = in.read_varint();
    if (count > in.remaining()) {
        throw std::runtime_error("JSON member count larger than the remaining data");
    }
    entries.reserve(size_t(std::min<uint64_t>(count, in.remaining() / least_entry_bytes)));
    for (uint64_t i = 0; i < count; ++i) {
        const std::string_view key = in.read_string_view();
        // Of its own: nothing that a warning's listener does can move it.
        const tvrvar_shared value = key.empty() ? create_member() : create_member(key);
        if (!value->from_binary(in)) return false;
    }
    return true;
}
