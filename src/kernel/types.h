#pragma once

// Types of the kernel language: values, pointers, arrays and structs.
//
// Structs belong to the unit that declares them and live as long as it does.

#include <cstdint>
#include <string>
#include <vector>

#include "kernel/prim.h"

struct tvrk_struct;

enum class tvrk_type_kind : uint8_t { value, pointer, array };

// A pointer or an array is described by what it points to or holds, and its kind.
struct tvrk_type {
    tvrk_type_kind kind = tvrk_type_kind::value;
    tvrk_prim prim = tvrk_prim::void_type;  // of a vector: its components'
    uint8_t lanes = 0;                      // 2 to 4: a vector
    bool is_const = false;                  // pointers: what they point to is read only
    uint32_t count = 0;                     // arrays: elements, above 0
    const tvrk_struct* record = nullptr;    // if prim is record; borrowed from its unit

    bool is_void() const { return kind == tvrk_type_kind::value && prim == tvrk_prim::void_type; }
    bool is_pointer() const { return kind == tvrk_type_kind::pointer; }
    bool is_array() const { return kind == tvrk_type_kind::array; }
    bool is_vector() const { return kind == tvrk_type_kind::value && lanes != 0; }
    bool is_struct() const { return kind == tvrk_type_kind::value && record != nullptr; }
    bool is_scalar() const { return kind == tvrk_type_kind::value && !lanes && !record; }
    bool is_bool() const { return is_scalar() && prim == tvrk_prim::boolean; }

    // What a pointer points to, what an array holds.
    tvrk_type element() const;
    // Bytes in memory; of a pointer: 0.
    uint64_t size() const;
    bool operator==(const tvrk_type&) const = default;
};

struct tvrk_field {
    std::string name;
    tvrk_type type;       // of one element
    uint32_t offset = 0;  // bytes
    uint32_t count = 0;   // elements; 0: no array
    uint32_t size = 0;    // bytes, all elements

    tvrk_type whole_type() const;  // an array if it is one
};

struct tvrk_struct {
    std::string name;
    std::string file;
    uint32_t line = 0, column = 0;
    std::vector<tvrk_field> fields;
    uint32_t size = 0;        // bytes
    bool is_cstruct = false;  // fields lie as a C compiler lays them; otherwise without gaps

    const tvrk_field* find(std::string_view field) const;  // null: none of that name
};

// The names of a vector's components, in their order.
inline constexpr std::string_view tvrk_lane_names = "xyzw";

inline tvrk_type tvrk_scalar(tvrk_prim prim) {
    tvrk_type type;
    type.prim = prim;
    return type;
}

// "i32", "f32x4", "const Ball*", "u8[16]".
std::string tvrk_type_name(const tvrk_type& type);
