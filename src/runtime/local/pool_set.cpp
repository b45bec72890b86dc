#include "runtime/local/pool_set.h"

const char* tvr_pool_name(tvr_pool_kind kind) {
    switch (kind) {
    case tvr_pool_kind::vm_contexts: return "VM contexts";
    case tvr_pool_kind::json_values: return "JSON values";
    case tvr_pool_kind::strings: return "strings";
    case tvr_pool_kind::buffers: return "buffers";
    case tvr_pool_kind::functions:
    case tvr_pool_kind::ext_functions: return "builtin function pointers";
    case tvr_pool_kind::object_pointers: return "object pointers";
    case tvr_pool_kind::member_literals:
    case tvr_pool_kind::member_indices:
    case tvr_pool_kind::member_vars: return "member pointers";
    case tvr_pool_kind::class_definitions: return "class definitions";
    case tvr_pool_kind::class_instances: return "class instances";
    case tvr_pool_kind::variables: return "variables";
    case tvr_pool_kind::control_blocks: return "control blocks";
    case tvr_pool_kind::count: break;
    }
    return "";
}

tvr_pool_set::~tvr_pool_set() {
    for (auto& pool : pools) pool.reset();
}

void tvr_pool_set::collect_garbage() {
    for (auto& pool : pools) {
        if (pool != nullptr) pool->collect_garbage();
    }
}

size_t tvr_pool_set::live(tvr_pool_kind kind) const {
    const auto& pool = pools[size_t(kind)];
    return pool != nullptr ? pool->live() : 0;
}
