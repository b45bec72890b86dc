// The script methods of std.buffer.

#include <algorithm>
#include <new>

#include "runtime/local/error_sink.h"
#include "runtime/payload/element_access.h"
#include "runtime/payload/std_buffer.h"
#include "stdobj/arguments.h"
#include "stdobj/buffer_bytes.h"
#include "stdobj/method.h"
#include "stdobj/self_value.h"

namespace {

tvr_std_buffer& self_of(tvrobject_base* object) {
    return *static_cast<tvr_std_buffer*>(object);
}

tvrvar_shared count_bytes(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    return object->op_get_size();
}

tvrvar_shared clear_all(tvrobject_base* object, tvr_vm_context&, tvr_native_args&) {
    tvr_std_buffer& self = self_of(object);
    if (!self.writable()) return {};
    self.bytes.clear();
    return tvr_self_value(self);
}

tvrvar_shared resize(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("resize", args);
    const auto size = given.whole(0, "size");
    const auto fill = given.count() > 1 ? given.whole(1, "fill") : 0;
    if (!size || !fill) return {};
    if (*size < 0) {
        runtime_error("resize() expects a size >= 0");
        return {};
    }
    tvr_std_buffer& self = self_of(object);
    if (!self.writable()) return {};
    if (uint64_t(*size) > self.bytes.max_size()) throw std::bad_alloc();
    self.bytes.resize(size_t(*size), uint8_t(*fill));
    return tvr_self_value(self);
}

tvrvar_shared fill_all(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const auto value = tvr_arguments("fill", args).whole(0, "value");
    tvr_std_buffer& self = self_of(object);
    if (!value || !self.writable()) return {};
    std::fill(self.bytes.begin(), self.bytes.end(), uint8_t(*value));
    return tvr_self_value(self);
}

tvrvar_shared push_bytes(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("push", args);
    std::vector<uint8_t> added;
    for (size_t i = 0; i < given.count(); ++i) {
        const auto value = given.whole(i, "value");
        if (!value) return {};
        added.push_back(uint8_t(*value));
    }
    tvr_std_buffer& self = self_of(object);
    if (!self.writable()) return {};
    self.bytes.insert(self.bytes.end(), added.begin(), added.end());
    return tvr_self_value(self);
}

tvrvar_shared append_data(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    std::vector<uint8_t> added;
    switch (tvr_bytes_of(*args[0], added)) {
    case tvr_bytes_found::no_bytes:
        runtime_error("append() expects a std.buffer, a string or a list of byte values");
        return {};
    case tvr_bytes_found::held: return {};
    case tvr_bytes_found::bytes: break;
    }
    tvr_std_buffer& self = self_of(object);
    if (!self.writable()) return {};
    self.bytes.insert(self.bytes.end(), added.begin(), added.end());
    return tvr_self_value(self);
}

tvrvar_shared as_text(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    const tvr_arguments given("string", args);
    const tvr_std_buffer& self = self_of(object);
    const auto size = int64_t(self.bytes.size());
    const auto start = given.count() > 0 ? given.whole(0, "start") : 0;
    if (!start) return {};
    const auto rest = std::max<int64_t>(size - std::max<int64_t>(*start, 0), 0);
    const auto count = given.count() > 1 ? given.whole(1, "count") : rest;
    if (!count || !self.readable()) return {};
    if (*start < 0 || *start > size || *count < 0 || *count > rest) {
        runtime_error("string(", *start, ", ", *count, ") is out of range (buffer size ", size,
                      ")");
        return {};
    }
    return std::string_view(reinterpret_cast<const char*>(self.bytes.data()) + *start,
                            size_t(*count));
}

// Where read() and write() look.
struct element_place {
    tvr_element_kind kind = tvr_element_kind::u8;
    int64_t index = 0;
};

bool find_element(const tvr_arguments& given, std::string_view method, element_place& place) {
    const auto word = given.text(0, "type");
    const auto index = word ? given.whole(1, "index") : std::nullopt;
    if (!index) return false;
    place.index = *index;
    if (!tvr_element_kind_of(*word, place.kind)) {
        runtime_error("unknown element type '", *word, "'");
        return false;
    }
    if (*index >= 0) return true;
    runtime_error(method, "() expects an element index >= 0");
    return false;
}

// The address of an element; null, after an error, when it is not whole inside of the buffer.
uint8_t* element_at(tvr_std_buffer& buffer, const element_place& place) {
    const size_t bytes = tvr_element_bytes(place.kind), count = buffer.bytes.size() / bytes;
    if (uint64_t(place.index) < count) return buffer.bytes.data() + size_t(place.index) * bytes;
    runtime_error("index ", place.index, " is out of range (", count, " elements of ",
                  tvr_element_kind_name(place.kind), ")");
    return nullptr;
}

tvrvar_shared read_element(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    element_place place;
    tvr_std_buffer& self = self_of(object);
    if (!find_element(tvr_arguments("read", args), "read", place) || !self.readable()) return {};
    const uint8_t* at = element_at(self, place);
    if (at == nullptr) return {};
    tvrvar_shared value = tvrvar_shared::make();
    tvr_read_element(at, place.kind, *value);
    return value;
}

tvrvar_shared write_element(tvrobject_base* object, tvr_vm_context&, tvr_native_args& args) {
    element_place place;
    tvr_std_buffer& self = self_of(object);
    if (!find_element(tvr_arguments("write", args), "write", place) || !self.writable()) return {};
    uint8_t* at = element_at(self, place);
    if (at == nullptr) return {};
    std::string error;
    if (!tvr_write_element(at, place.kind, *args[2], error)) {
        runtime_error("write(): ", error);
        return {};
    }
    return tvr_self_value(self);
}

constexpr const char* buffer_class = "std.buffer";

void register_size(tvrobject_metadata& m) {
    tvr_add_method(m, {"size"}, count_bytes, 0, 0,
                   {.description = "Returns the number of bytes stored in the buffer."});
    tvr_add_changing_method(
        m, {"clear"}, clear_all, 0, 0,
        {.description = "Removes all bytes from the buffer and returns the buffer.",
         .returns_class = buffer_class});
    tvr_add_changing_method(m, {"resize"}, resize, 1, 2,
                            {.description = "Sets the number of bytes. New bytes are set to fill "
                                            "(default 0). Returns the buffer.",
                             .params = {"size: int", "fill: int - optional byte value"},
                             .returns_class = buffer_class});
    tvr_add_changing_method(m, {"fill"}, fill_all, 1, 1,
                            {.description = "Sets every byte to value. Returns the buffer.",
                             .params = {"value: int - byte value"},
                             .returns_class = buffer_class});
}

void register_content(tvrobject_metadata& m) {
    tvr_add_changing_method(
        m, {"push"}, push_bytes, 0, tvr_function_def::any_number,
        {.description = "Appends bytes (values are truncated to 8 bit). Returns the buffer.",
         .params = {"...: int - byte values"},
         .returns_class = buffer_class});
    tvr_add_changing_method(m, {"append"}, append_data, 1, 1,
                            {.description = "Appends the bytes of a std.buffer, the bytes of a "
                                            "string or a list of byte values. Returns the buffer.",
                             .params = {"data: std.buffer | string | json"},
                             .returns_class = buffer_class});
    tvr_add_method(
        m, {"string"}, as_text, 0, 2,
        {.description = "The bytes as a string, byte exact (also zero bytes; converting "
                        "the buffer with std.string() stops at the first zero byte).",
         .params = {"start: int - optional first byte", "count: int - optional number of bytes"},
         .returns_class = "std.string"});
}

void register_elements(tvrobject_metadata& m) {
    tvr_add_method(
        m, {"read"}, read_element, 2, 2,
        {.description = "Reads element index of the buffer viewed as an array of type (little "
                        "endian, like kernels see it).",
         .params = {"type: string - i8, u8, i16, u16, i32, u32, i64, u64, f32, f64",
                    "index: int - element index (byte offset = index * size of type)"}});
    tvr_add_changing_method(m, {"write"}, write_element, 3, 3,
                            {.description = "Writes element index of the buffer viewed as an array "
                                            "of type. Integers must fit into the type. Returns the "
                                            "buffer.",
                             .params = {"type: string", "index: int", "value: number"},
                             .returns_class = buffer_class});
}

}  // namespace

void tvr_std_buffer::script_register(tvrobject_metadata& m) {
    m.description = "A growable array of bytes.";
    register_size(m);
    register_content(m);
    register_elements(m);
}
