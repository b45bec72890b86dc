#include "kernel/prim.h"

#include <iterator>

namespace {

constexpr const char* prim_names[] = {"void", "bool", "i8",  "u8",  "i16", "u16",   "i32",
                                      "u32",  "i64",  "u64", "f32", "f64", "struct"};
constexpr uint8_t prim_sizes[] = {0, 1, 1, 1, 2, 2, 4, 4, 8, 8, 4, 8, 0};
constexpr const char* reduce_names[] = {"", "+", "min", "max", "&", "|", "^"};
constexpr const char* math_names[] = {"floor", "ceil",  "round", "trunc", "sin", "cos",
                                      "tan",   "asin",  "acos",  "atan",  "exp", "log",
                                      "log2",  "log10", "pow",   "atan2"};
static_assert(std::size(math_names) == tvrk_math_count);

}  // namespace

const char* tvrk_prim_name(tvrk_prim prim) {
    return size_t(prim) < std::size(prim_names) ? prim_names[size_t(prim)] : "?";
}

tvrk_prim tvrk_prim_from_name(std::string_view name) {
    for (size_t code = 1; code < std::size(prim_names); ++code) {
        if (name == prim_names[code]) return tvrk_prim(code);
    }
    return tvrk_prim::void_type;
}

const char* tvrk_reduce_name(tvrk_reduce reduce) {
    return size_t(reduce) < std::size(reduce_names) ? reduce_names[size_t(reduce)] : "?";
}

const char* tvrk_math_name(uint64_t kind) {
    return kind < tvrk_math_count ? math_names[kind] : "?";
}

size_t tvrk_prim_size(tvrk_prim prim) {
    return size_t(prim) < std::size(prim_sizes) ? prim_sizes[size_t(prim)] : 0;
}
