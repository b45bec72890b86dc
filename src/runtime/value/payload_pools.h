#pragma once

// Where payloads and records come from: the interpreter's pools on a thread that runs its
// scripts, else the plain heap. slot tells which, so each goes back where it came from.

#include <cassert>
#include <utility>

#include "runtime/local/pool_set.h"

template <typename T>
T* tvr_pool_take() {
    const tvr_thread_local& local = tvr_local();
    if (local.pools != nullptr && local.is_script_thread() && local.no_pool == 0) [[likely]] {
        assert(tvr_is_alone_with_interpreter());
        T* element = local.pools->of<T>().allocate();
        if (element != nullptr) [[likely]]
            return element;
    }
    return new T;
}

// A pooled element of a static chunk must have been reset.
template <typename T>
void tvr_pool_give(T* element) {
    if (element->slot == tvr_not_pooled) [[unlikely]] {
        delete element;
    } else {
        tvr_pool_return(element);
    }
}
