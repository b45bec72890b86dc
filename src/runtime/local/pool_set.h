#pragma once

// The pools of one interpreter, by the type they serve.
//
// A type that is pooled specialises tvr_pool_traits beside its definition:
//
//     template <>
//     struct tvr_pool_traits<tvrvar> {
//         static constexpr tvr_pool_kind kind = tvr_pool_kind::variables;
//         using pool = tvr_pool_threadsafe<tvrvar, tvr_pool_chunk_static<tvrvar>>;
//     };
//
// So the set needs to know no type, and each pool is made when its type is used first. Owner
// thread or global lock; see memory/pool.h.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "runtime/memory/pool.h"

// In the order in which the shutdown report prints them.
enum class tvr_pool_kind : uint8_t {
    vm_contexts,
    json_values,
    strings,
    buffers,
    functions,
    ext_functions,
    object_pointers,
    member_literals,
    member_indices,
    member_vars,
    class_definitions,
    class_instances,
    variables,
    control_blocks,
    count,
};

// The name in the shutdown report; several kinds share one, and their counts are added.
const char* tvr_pool_name(tvr_pool_kind kind);

template <typename T>
struct tvr_pool_traits;

class tvr_pool_set {
public:
    template <typename T>
    typename tvr_pool_traits<T>::pool& of() {
        auto& pool = pools[size_t(tvr_pool_traits<T>::kind)];
        if (pool == nullptr) pool = std::make_unique<typename tvr_pool_traits<T>::pool>();
        return static_cast<typename tvr_pool_traits<T>::pool&>(*pool);
    }

    // Empties every mailbox. Owner thread, once a frame.
    void collect_garbage();

    // Elements of a kind that are handed out.
    size_t live(tvr_pool_kind kind) const;

private:
    std::array<std::unique_ptr<tvr_pool_base>, size_t(tvr_pool_kind::count)> pools;
};
