#pragma once

// Where control blocks come from: the pool of each interpreter. Apart from pointer.h, so that
// whoever holds pointers need not know pools.

#include "runtime/local/pool_set.h"
#include "runtime/memory/pointer.h"

static_assert(tvrptr_control_block::not_pooled == tvr_not_pooled);

template <>
struct tvr_pool_traits<tvrptr_control_block> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::control_blocks;
    using pool =
        tvr_pool_threadsafe<tvrptr_control_block, tvr_pool_chunk_static<tvrptr_control_block>>;
};
