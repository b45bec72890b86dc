#include "kernel/script/struct_values.h"

#include <cstring>
#include <vector>

#include "base/join.h"
#include "kernel/script/field_path.h"
#include "runtime/payload/element_access.h"
#include "runtime/payload/std_json.h"
#include "runtime/value/plain_value.h"

namespace {

constexpr int first_number = int(tvrk_prim::i8);
static_assert(int(tvrk_prim::f64) - first_number == int(tvr_element_kind::f64) &&
                  int(tvrk_prim::u8) - first_number == int(tvr_element_kind::u8),
              "numbers have the same order here and there");

tvr_element_kind kind_of(tvrk_prim prim) {
    return tvr_element_kind(int(prim) - first_number);
}

tvrvar_shared read_one(const uint8_t* at, const tvrk_type& type) {
    if (type.record != nullptr) return tvr_read_kernel_struct(at, *type.record);
    if (type.lanes == 0) return tvr_read_kernel_number(at, type.prim);
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& json = made->as_json(true);
    for (size_t lane = 0; lane < type.lanes; ++lane) {
        json.set(tvrk_lane_names.substr(lane, 1),
                 tvr_read_kernel_number(at + lane * tvrk_prim_size(type.prim), type.prim));
    }
    return made;
}

tvrvar_shared read_field(const uint8_t* at, const tvrk_field& field) {
    if (field.count == 0) return read_one(at, field.type);
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& list = made->as_json(true);
    for (size_t i = 0; i < field.count; ++i) {
        list.push_back(read_one(at + i * field.type.size(), field.type));
    }
    return made;
}

// Writes into a copy of the struct. Structs have as many levels as their declarations.
class struct_writer {
public:
    explicit struct_writer(std::string& to) : error(to) {}

    bool write(uint8_t* at, const tvrk_struct& record, tvr_std_json& values,
               const std::string& path) {
        for (const tvr_std_json::entry& entry : values.entries) {
            const tvrk_field* field = record.find(entry.name());
            const std::string name = inner(path, entry.name());
            if (field == nullptr) return no_field(record.name, entry.name(), name);
            if (!write_field(at + field->offset, *field, *entry.value, name)) return false;
        }
        return true;
    }

private:
    static std::string inner(const std::string& path, std::string_view name) {
        return path.empty() ? std::string(name) : tvr_join(path, '.', name);
    }

    bool refuse(const std::string& path, std::string_view reason) {
        error = tvr_join("field '", path, "' ", reason);
        return false;
    }

    bool no_field(std::string_view record, std::string_view name, const std::string& path) {
        error = tvr_join("struct '", record, "' has no field '", name, "' in '", path, "'");
        return false;
    }

    bool write_field(uint8_t* at, const tvrk_field& field, tvrvar& variable,
                     const std::string& path) {
        if (field.count == 0) return write_one(at, field.type, variable, path);
        const tvr_plain_value value(variable);
        auto* list = value->object<tvr_std_json>();
        if (list == nullptr || !list->is_list()) return refuse(path, "expects a list");
        for (size_t i = 0; i < list->size(); ++i) {
            const std::string element = tvr_join(path, '[', i, ']');
            if (i >= field.count) {
                error = tvr_join("array index ", i, " is out of bounds in '", element, "'");
                return false;
            }
            if (!write_one(at + i * field.type.size(), field.type, *list->entries[i].value,
                           element)) {
                return false;
            }
        }
        return true;
    }

    bool write_one(uint8_t* at, const tvrk_type& type, tvrvar& variable, const std::string& path) {
        if (type.record == nullptr && type.lanes == 0) {
            std::string reason;
            return tvr_write_kernel_number(at, type.prim, variable, reason) || refuse(path, reason);
        }
        const tvr_plain_value value(variable);
        auto* json = value->object<tvr_std_json>();
        if (json == nullptr || json->is_list() != (json->size() == 0)) {
            return refuse(path, "expects a json object");
        }
        if (type.record != nullptr) return write(at, *type.record, *json, path);
        return write_vector(at, type, *json, path);
    }

    bool write_vector(uint8_t* at, const tvrk_type& type, tvr_std_json& values,
                      const std::string& path) {
        for (const tvr_std_json::entry& entry : values.entries) {
            const std::string_view name = entry.name();
            const size_t lane =
                name.size() == 1 ? tvrk_lane_names.find(name[0]) : std::string_view::npos;
            const std::string whole = inner(path, name);
            if (lane >= type.lanes) return no_field(tvrk_type_name(type), name, whole);
            std::string reason;
            if (!tvr_write_kernel_number(at + lane * tvrk_prim_size(type.prim), type.prim,
                                         *entry.value, reason)) {
                return refuse(whole, reason);
            }
        }
        return true;
    }

    std::string& error;
};

}  // namespace

tvrvar_shared tvr_read_kernel_number(const uint8_t* at, tvrk_prim prim) {
    tvrvar_shared made = tvrvar_shared::make();
    tvr_read_element(at, kind_of(prim), *made);
    return made;
}

bool tvr_write_kernel_number(uint8_t* at, tvrk_prim prim, tvrvar& value, std::string& error) {
    return tvr_write_element(at, kind_of(prim), value, error);
}

tvrvar_shared tvr_read_kernel_struct(const uint8_t* at, const tvrk_struct& record) {
    tvrvar_shared made = tvrvar_shared::make();
    tvr_std_json& json = made->as_json(true);
    for (const tvrk_field& field : record.fields) {
        json.set(field.name, read_field(at + field.offset, field));
    }
    return made;
}

bool tvr_write_kernel_struct(uint8_t* at, const tvrk_struct& record, tvr_std_json& values,
                             std::string& error) {
    std::vector<uint8_t> made(at, at + record.size);
    if (!struct_writer(error).write(made.data(), record, values, {})) return false;
    std::memcpy(at, made.data(), made.size());
    return true;
}
