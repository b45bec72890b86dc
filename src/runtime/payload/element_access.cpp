#include "runtime/payload/element_access.h"

#include <bit>
#include <cstring>
#include <limits>

#include "base/join.h"
#include "runtime/payload/std_json_bool.h"
#include "runtime/value/plain_value.h"

namespace {

using kind = tvr_element_kind;

static_assert(std::endian::native == std::endian::little, "elements are read as they lie");

struct kind_row {
    std::string_view name;
    size_t bytes;
    int64_t lowest, highest;  // of the ints that fit; both 0 for floats
};

template <typename T>
constexpr kind_row integer_row(std::string_view name) {
    constexpr auto most = uint64_t(std::numeric_limits<int64_t>::max());
    constexpr auto highest = uint64_t(std::numeric_limits<T>::max());
    return {name, sizeof(T), int64_t(std::numeric_limits<T>::min()),
            int64_t(highest < most ? highest : most)};
}

// A row's place is its kind.
constexpr kind_row rows[] = {
    integer_row<int8_t>("i8"),     integer_row<uint8_t>("u8"),   integer_row<int16_t>("i16"),
    integer_row<uint16_t>("u16"),  integer_row<int32_t>("i32"),  integer_row<uint32_t>("u32"),
    integer_row<int64_t>("i64"),   integer_row<uint64_t>("u64"), {"f32", sizeof(float), 0, 0},
    {"f64", sizeof(double), 0, 0},
};

const kind_row& row_of(kind of) {
    return rows[size_t(of)];
}

template <typename T>
T load(const uint8_t* at) {
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <typename T>
void store(uint8_t* at, T value) {
    std::memcpy(at, &value, sizeof value);
}

// The number in a plain value: an int, with json.bool as 0 or 1, or a float.
struct number {
    bool is_int = false;
    bool is_float = false;
    int64_t integer = 0;
    double real = 0;
};

number number_in(tvrvar& value) {
    if (value.type == tvrvar_type_int) {
        return {.is_int = true, .integer = value.integer, .real = double(value.integer)};
    }
    if (value.type == tvrvar_type_float) return {.is_float = true, .real = value.real};
    if (auto* truth = value.object<tvr_std_json_bool>()) {
        return {.is_int = true, .integer = truth->truth(), .real = truth->truth() ? 1.0 : 0.0};
    }
    return {};
}

std::string_view type_word(tvrvar& value) {
    const tvrobject_base* object = value.object_ptr();
    return object != nullptr && value.type == tvrvar_type_object ? object->script_type_name()
                                                                 : tvrvar_type_name(value.type);
}

bool write_float(uint8_t* at, kind of, tvrvar& value, std::string& error) {
    const number given = number_in(value);
    if (!given.is_int && !given.is_float) {
        error = tvr_join("expects ", row_of(of).name, " but got ", type_word(value),
                         " (write 2.0 instead of 2, or std.float(x))");
        return false;
    }
    if (of == kind::f32) {
        // An int goes to f32 at once: by way of a double it would be rounded twice.
        store(at, given.is_int ? float(given.integer) : float(given.real));
    } else {
        store(at, given.real);
    }
    return true;
}

bool fits(kind of, tvrvar& value, const number& given, std::string& error) {
    const kind_row& row = row_of(of);
    if (given.is_float) {
        error = tvr_join("expects ", row.name, " but got the float ", value.string_value());
    } else if (!given.is_int) {
        error = tvr_join("expects ", row.name, " but got ", type_word(value));
    } else if (given.integer < row.lowest || given.integer > row.highest) {
        error = tvr_join("value ", given.integer, " does not fit into ", row.name, " (", row.lowest,
                         " to ", row.highest, ")");
    } else {
        return true;
    }
    return false;
}

bool in_range(const tvr_std_buffer& buffer, int64_t offset, kind of, std::string& error) {
    const size_t size = buffer.bytes.size(), bytes = tvr_element_bytes(of);
    if (offset >= 0 && bytes <= size && uint64_t(offset) <= size - bytes) return true;
    error = tvr_join("byte offset ", offset, " is out of range (buffer size ", size, ")");
    return false;
}

}  // namespace

bool tvr_element_kind_of(std::string_view word, tvr_element_kind& found) {
    for (const kind_row& row : rows) {
        if (row.name != word) continue;
        found = kind(&row - rows);
        return true;
    }
    return false;
}

std::string_view tvr_element_kind_name(tvr_element_kind of) {
    return row_of(of).name;
}

size_t tvr_element_bytes(tvr_element_kind of) {
    return row_of(of).bytes;
}

void tvr_read_element(const uint8_t* at, tvr_element_kind of, tvrvar& value) {
    switch (of) {
    case kind::i8: return value.as_int(load<int8_t>(at));
    case kind::u8: return value.as_int(load<uint8_t>(at));
    case kind::i16: return value.as_int(load<int16_t>(at));
    case kind::u16: return value.as_int(load<uint16_t>(at));
    case kind::i32: return value.as_int(load<int32_t>(at));
    case kind::u32: return value.as_int(load<uint32_t>(at));
    case kind::i64:
    case kind::u64: return value.as_int(load<int64_t>(at));
    case kind::f32: return value.as_float(double(load<float>(at)));
    case kind::f64: return value.as_float(load<double>(at));
    }
}

bool tvr_write_element(uint8_t* at, tvr_element_kind of, tvrvar& variable, std::string& error) {
    const tvr_plain_value value(variable);
    if (of >= kind::f32) return write_float(at, of, *value, error);
    const number given = number_in(*value);
    if (!fits(of, *value, given, error)) return false;
    std::memcpy(at, &given.integer, tvr_element_bytes(of));  // the low bytes come first
    return true;
}

bool tvr_kernel_buffer_read(const tvr_std_buffer& buffer, int64_t offset, tvr_element_kind of,
                            tvrvar& value, std::string& error) {
    if (!buffer.readable(error) || !in_range(buffer, offset, of, error)) return false;
    tvr_read_element(buffer.bytes.data() + offset, of, value);
    return true;
}

bool tvr_kernel_buffer_write(tvr_std_buffer& buffer, int64_t offset, tvr_element_kind of,
                             tvrvar& value, std::string& error) {
    if (!buffer.writable(error) || !in_range(buffer, offset, of, error)) return false;
    return tvr_write_element(buffer.bytes.data() + offset, of, value, error);
}
