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
// thread or global lock; see memory/pool.h. Another thread may ask for the pool of an element that
// it was given, since that pool was made before.

#include <array>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "runtime/local/thread_local.h"
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
    // The lock is that of the pools' interpreter and outlives them.
    explicit tvr_pool_set(tvr_interpreter_lock& owner_lock) : lock(owner_lock) {}
    // Ends the pools in the order of their kinds, so that control blocks go last.
    ~tvr_pool_set();
    tvr_pool_set(const tvr_pool_set&) = delete;
    tvr_pool_set& operator=(const tvr_pool_set&) = delete;

    template <typename T>
    typename tvr_pool_traits<T>::pool& of() {
        auto& pool = pools[size_t(tvr_pool_traits<T>::kind)];
        if (pool == nullptr) [[unlikely]]
            make<typename tvr_pool_traits<T>::pool>(pool);
        return static_cast<typename tvr_pool_traits<T>::pool&>(*pool);
    }

    // Empties every mailbox. Owner thread, once a frame.
    void collect_garbage();

    // Elements of a kind that are handed out.
    size_t live(tvr_pool_kind kind) const;

private:
    template <typename POOL>
    [[gnu::cold, gnu::noinline]] void make(std::unique_ptr<tvr_pool_base>& place) {
        if constexpr (std::is_constructible_v<POOL, tvr_interpreter_lock&>) {
            place = std::make_unique<POOL>(lock);
        } else {
            place = std::make_unique<POOL>();
        }
    }

    tvr_interpreter_lock& lock;
    std::array<std::unique_ptr<tvr_pool_base>, size_t(tvr_pool_kind::count)> pools;
};

// Gives a pooled element back from whatever thread: straight to its pool where script code may
// run, else through the mailbox. A thread without an interpreter lets it leak, as its pool is gone
// or unknown. For types whose pool is a tvr_pool_threadsafe.
template <typename T>
void tvr_pool_return(T* element) {
    tvr_thread_local& local = tvr_local();
    if (local.pools == nullptr) return;
    auto& pool = local.pools->of<T>();
    if (local.is_script_thread()) {
        assert(tvr_is_alone_with_interpreter());
        pool.deallocate(element);
    } else {
        pool.deallocate_from_thread(element);
    }
}
