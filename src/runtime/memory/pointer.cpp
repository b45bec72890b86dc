#include "runtime/memory/pointer.h"

#include "base/sync.h"
#include "runtime/local/thread_local.h"
#include "runtime/memory/pointer_pool.h"

// Held while an immortal block is made. Inline, so that the process has one.
inline tvr_mutex& tvr_immortal_blocks_mutex() {
    static constinit tvr_mutex mutex;
    return mutex;
}

tvrptr_control_block* tvrptr_control_block::create(bool pooled) {
    tvr_thread_local& local = tvr_local();
    if (pooled && local.pools != nullptr && local.is_script_thread() && local.no_pool == 0) {
        tvrptr_control_block* block = local.pools->of<tvrptr_control_block>().allocate();
        if (block != nullptr) return block;
    }
    return new tvrptr_control_block;
}

void tvrptr_control_block::destroy(tvrptr_control_block* block) {
    if (block->slot == not_pooled) {
        delete block;
        return;
    }
    block->object = nullptr;
    block->strong = 0;
    block->weak = 0;
    block->alive = 1;
    tvr_pool_return(block);
}

void tvrptr_control_block::end_object() {
    if (object == nullptr) {
        if (weak == 0) destroy(this);
        return;
    }
    alive = 0;
    ++weak;  // the block outlives weak pointers that go while the object does
    tvr_thread_local& local = tvr_local();
    if (local.ending_depth >= max_nested_ends) return put_off(local);

    ++local.ending_depth;
    finish_object();
    if (local.ending_depth == 1) {
        while (local.ending_later != nullptr) next_put_off(local)->finish_object();
    }
    --local.ending_depth;
}

void tvrptr_control_block::finish_object() noexcept {
    tvrptr_base_internal* ending = std::exchange(object, nullptr);
    ending->release();
    ending->block.store(nullptr, std::memory_order_relaxed);
    ending->dispose();
    drop_weak();
}

// What is put off forms a stack that runs through the objects' own block fields, the null block at
// its end. Whoever asks such an object for its block meets one that holds no object any more.
void tvrptr_control_block::put_off(tvr_thread_local& local) {
    tvrptr_control_block* below = local.ending_later;
    object->block.store(below != nullptr ? below : null_block(), std::memory_order_relaxed);
    local.ending_later = this;
}

tvrptr_control_block* tvrptr_control_block::next_put_off(tvr_thread_local& local) {
    tvrptr_control_block* top = local.ending_later;
    tvrptr_control_block* below = top->object->block.load(std::memory_order_relaxed);
    local.ending_later = below != null_block() ? below : nullptr;
    top->object->block.store(top, std::memory_order_relaxed);
    return top;
}

void tvrptr_control_block::lose_object() {
    object = nullptr;
    alive = 0;
    if (strong == 0 && weak == 0) destroy(this);
}

tvrptr_base_internal::~tvrptr_base_internal() {
    tvrptr_control_block* known = control_block_if_any();
    if (known != nullptr && known != tvrptr_control_block::null_block()) known->lose_object();
}

void tvrptr_base_internal::dispose() {
    // Pointers that the destructor makes to its own object are null.
    block.store(tvrptr_control_block::null_block(), std::memory_order_relaxed);
    delete this;
}

tvrptr_control_block* tvrptr_base_internal::make_control_block() {
    if (tvr_outside_interpreters()) return make_immortal_block();
    tvrptr_control_block* made = tvrptr_control_block::create(tvr_pooled_control_block());
    made->object = this;
    block.store(made, std::memory_order_relaxed);
    return made;
}

tvrptr_control_block* tvrptr_base_internal::make_immortal_block() {
    tvr_lock hold(tvr_immortal_blocks_mutex());
    tvrptr_control_block* made = control_block_if_any();
    if (made != nullptr) return made;
    made = tvrptr_control_block::create(false);
    made->object = this;
    made->strong = tvrptr_control_block::immortal_count;
    block.store(made, std::memory_order_release);
    return made;
}
