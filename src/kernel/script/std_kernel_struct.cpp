#include "kernel/script/std_kernel_struct.h"

#include <optional>

#include "kernel/script/field_path.h"
#include "kernel/script/struct_values.h"
#include "runtime/local/error_sink.h"
#include "runtime/payload/kernel_memory.h"
#include "runtime/payload/std_json.h"
#include "stdobj/arguments.h"

namespace {

enum class access { read, write };

// The bytes behind an argument; none without kernel memory.
std::optional<tvr_kernel_bytes> bytes_of(tvrvar& value) {
    tvr_kernel_memory* memory = tvr_find_kernel_memory(value);
    if (memory == nullptr) return {};
    return memory->kernel_bytes();
}

bool is_open(tvrvar& value, access wanted) {
    const tvr_kernel_memory& memory = *tvr_find_kernel_memory(value);
    const tvrobject_base& object = *value.object_ptr();
    const bool locked =
        wanted == access::write ? memory.locked_for_writing() : memory.locked_for_reading();
    if (locked) runtime_error(tvr_kernel_memory_in_use(object));
    return !locked;
}

// The struct at an index in the buffer of a call; null after an error, which says what the call
// expects or why it cannot be.
uint8_t* find_struct(const tvrk_struct& record, const tvr_native_args& args, access wanted,
                     const char* expected) {
    const tvrvar_shared buffer = args[0]->deref(), index = args[1]->deref();
    const auto bytes = bytes_of(*buffer);
    if (!bytes || index->type != tvrvar_type_int) {
        runtime_error(expected);
        return nullptr;
    }
    if (!is_open(*buffer, wanted)) return nullptr;
    const uint64_t whole = bytes->count / record.size;
    if (index->integer < 0 || uint64_t(index->integer) >= whole) {
        runtime_error("struct index ", index->integer, " is out of range (buffer size ",
                      bytes->count, ")");
        return nullptr;
    }
    if (wanted == access::write && !bytes->writable) {
        runtime_error("the memory of ", buffer->object_ptr()->script_type_name(),
                      " is not writable");
        return nullptr;
    }
    return bytes->base + uint64_t(index->integer) * record.size;
}

// The number that the third argument names; none after an error.
std::optional<tvr_kernel_field> find_number(const tvrk_struct& record, tvrvar& path,
                                            const char* expected, const char* instead) {
    tvr_kernel_field field;
    std::string error;
    if (path.type != tvrvar_type_string) {
        error = expected;
    } else if (tvr_find_kernel_field(record, path.string_view(), field, error)) {
        if (field.is_number()) return field;
        error = tvr_join("field '", path.string_view(), "' is a struct or an array (use ", instead,
                         ")");
    }
    runtime_error(error);
    return {};
}

}  // namespace

void tvr_std_kernel_struct::script_register(tvrobject_metadata& m) {
    m.description = "Fields of a kernel struct, and their values in the bytes of a buffer.";
    using self = tvr_std_kernel_struct;
    const char* buffer_text = "buffer: std.buffer or an object with kernel memory";
    const char* index_text = "index: int - struct index";
    const char* field_text = "field: string - 'x', 'pos.x', 'm[2]'";
    constexpr auto any_number = tvr_function_def::any_number;
    add_function(m, "size", &self::size, 0, 0,
                 {.description = "Size of the struct in bytes (kernel structs are packed)"});
    add_function(m, "name", &self::name, 0, 0,
                 {.description = "Name of the struct", .returns_class = "std.string"});
    add_function(m, "fields", &self::fields, 0, 0,
                 {.description = "Fields: list of [name, type, offset, count (0: no array), size]",
                  .returns_class = "std.json"});
    add_function(m, "offset", &self::offset, 1, 1,
                 {.description = "Byte offset of a field",
                  .params = {"path: string - 'x', 'pos.x' or 'm[2]'"}});
    add_function(m, "count", &self::count, 0, any_number,
                 {.description = "Number of whole structs in a buffer", .params = {buffer_text}});
    add_function(m, "get", &self::get, 0, any_number,
                 {.description = "Reads a field of the struct at index",
                  .params = {buffer_text, index_text, field_text}});
    add_function(m, "set", &self::set, 0, any_number,
                 {.description = "Writes a field of the struct at index",
                  .params = {buffer_text, index_text, field_text, "value: number"}});
    add_function(m, "read", &self::read, 0, any_number,
                 {.description = "The struct at index as a json object",
                  .params = {buffer_text, index_text},
                  .returns_class = "std.json"});
    add_function(m, "write", &self::write, 0, any_number,
                 {.description = "Writes the fields of a json object into the struct at index "
                                 "(missing fields are kept)",
                  .params = {buffer_text, index_text, "values: std.json"}});
}

tvrvar_shared tvr_std_kernel_struct::size(tvr_vm_context&, tvr_native_args&) {
    return int64_t(record.size);
}

tvrvar_shared tvr_std_kernel_struct::name(tvr_vm_context&, tvr_native_args&) {
    return record.name;
}

tvrvar_shared tvr_std_kernel_struct::fields(tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& list = made->as_json(true);
    for (const tvrk_field& field : record.fields) {
        tvrvar_shared entry = tvrvar_shared::make();
        tvr_std_json& json = entry->as_json(true);
        json.set("name", field.name);
        json.set("type", tvrk_type_name(field.type));
        json.set("offset", int64_t(field.offset));
        json.set("count", int64_t(field.count));
        json.set("size", int64_t(field.size));
        list.push_back(entry);
    }
    return made;
}

tvrvar_shared tvr_std_kernel_struct::offset(tvr_vm_context&, tvr_native_args& args) {
    const auto path = tvr_arguments("offset", args).text(0, "path");
    if (!path) return {};
    tvr_kernel_field field;
    std::string error;
    if (tvr_find_kernel_field(record, *path, field, error)) return int64_t(field.offset);
    runtime_error(error);
    return {};
}

tvrvar_shared tvr_std_kernel_struct::count(tvr_vm_context&, tvr_native_args& args) {
    const auto bytes = args.size() == 1 ? bytes_of(*args[0]->deref()) : std::nullopt;
    if (bytes) return int64_t(bytes->count / record.size);
    runtime_error("count() expects a std.buffer (or an object with kernel memory, e.g. a bitmap)");
    return {};
}

tvrvar_shared tvr_std_kernel_struct::get(tvr_vm_context&, tvr_native_args& args) {
    const char* expected = "get() expects (buffer, index, field)";
    if (args.size() != 3) return runtime_error(expected), tvrvar_shared();
    const uint8_t* at = find_struct(record, args, access::read, expected);
    if (at == nullptr) return {};
    const auto field = find_number(record, *args[2]->deref(), expected, "read()");
    return field ? tvr_read_kernel_number(at + field->offset, field->type.prim) : tvrvar_shared();
}

tvrvar_shared tvr_std_kernel_struct::set(tvr_vm_context&, tvr_native_args& args) {
    const char* expected = "set() expects (buffer, index, field, value)";
    if (args.size() != 4) return runtime_error(expected), tvrvar_shared();
    uint8_t* at = find_struct(record, args, access::write, expected);
    if (at == nullptr) return {};
    const tvrvar_shared path = args[2]->deref();
    const auto field = find_number(record, *path, expected, "write()");
    if (!field) return {};
    std::string error;
    if (!tvr_write_kernel_number(at + field->offset, field->type.prim, *args[3], error)) {
        runtime_error("field '", path->string_view(), "' ", error);
    }
    return {};
}

tvrvar_shared tvr_std_kernel_struct::read(tvr_vm_context&, tvr_native_args& args) {
    const char* expected = "read() expects (buffer, index)";
    if (args.size() != 2) return runtime_error(expected), tvrvar_shared();
    const uint8_t* at = find_struct(record, args, access::read, expected);
    return at != nullptr ? tvr_read_kernel_struct(at, record) : tvrvar_shared();
}

tvrvar_shared tvr_std_kernel_struct::write(tvr_vm_context&, tvr_native_args& args) {
    const char* expected = "write() expects (buffer, index, json)";
    const tvrvar_shared values = args.size() == 3 ? args[2]->deref() : tvrvar_shared();
    auto* json = values ? values->object<tvr_std_json>() : nullptr;
    if (json == nullptr) return runtime_error(expected), tvrvar_shared();
    uint8_t* at = find_struct(record, args, access::write, expected);
    std::string error;
    if (at != nullptr && !tvr_write_kernel_struct(at, record, *json, error)) runtime_error(error);
    return {};
}
