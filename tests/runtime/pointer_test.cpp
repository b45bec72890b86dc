// Smart pointers: when objects and blocks go, and who may share them.

#include "runtime/memory/pointer.h"

#include <gtest/gtest.h>

#include "bound_thread.h"
#include "runtime/memory/pointer_pool.h"

using namespace tavro::test;

namespace {

size_t live_blocks(const bound_thread& thread) {
    return thread.pools.live(tvr_pool_kind::control_blocks);
}

// Writes its end into a list.
struct object : tvrptr_base_internal {
    explicit object(std::string& to, char called = 'a') : said(to), name(called) {}
    ~object() override { said += tvr_join('~', name); }
    void release() override { said += tvr_join('r', name); }

    std::string& said;
    char name;
    tvrptr_strong<object> other;
    tvrptr_weak<object> watched;
};

TEST(pointer, last_strong_ends_the_object_and_last_weak_the_block) {
    bound_thread thread;
    std::string said;
    auto* made = new object(said);
    EXPECT_EQ(made->control_block_if_any(), nullptr);
    tvrptr_strong<object> strong(made);
    const tvrptr_strong<tvrptr_base_internal> as_base(strong);
    tvrptr_weak<object> weak(strong);
    EXPECT_EQ(live_blocks(thread), 1u);
    EXPECT_EQ(weak.lock().get(), made);

    strong.release();
    EXPECT_EQ(said, "");
    const_cast<tvrptr_strong<tvrptr_base_internal>&>(as_base).release();
    EXPECT_EQ(said, "ra~a");
    EXPECT_EQ(weak.get(), nullptr);
    EXPECT_FALSE(weak.lock());
    EXPECT_EQ(live_blocks(thread), 1u);
    weak.release();
    EXPECT_EQ(live_blocks(thread), 0u);
}

TEST(pointer, null_pointers_share_the_null_block) {
    const tvrptr_strong<object> none, copy(none), of_null(nullptr);
    const tvrptr_weak<object> weak(copy);
    EXPECT_EQ(none.control_block(), tvrptr_control_block::null_block());
    EXPECT_EQ(of_null, none);
    EXPECT_FALSE(weak.lock());
    EXPECT_EQ(none.control_block()->strong, tvrptr_control_block::null_count);
    EXPECT_EQ(none.control_block()->weak, 0);
}

TEST(pointer, assignment_lets_the_old_object_go_at_once) {
    bound_thread thread;
    std::string said;
    tvrptr_strong<object> a(new object(said, 'a')), b(new object(said, 'b'));
    a = std::move(b);
    EXPECT_EQ(said, "ra~a");
    EXPECT_FALSE(b);
    a = tvrptr_strong<object>(a);
    EXPECT_EQ(said, "ra~a");
    a.release();
    EXPECT_EQ(said, "ra~arb~b");
    EXPECT_EQ(live_blocks(thread), 0u);
}

// Asks for pointers to itself while it goes.
struct clinging : object {
    using object::object;
    ~clinging() override { cling(); }
    void release() override { cling(); }
    void cling() {
        const tvrptr_strong<object> again(this);
        const tvrptr_weak<object> weak(this);
        said += again || weak ? "alive" : ".";
    }
};

TEST(pointer, an_object_on_its_way_out_cannot_be_held) {
    bound_thread thread;
    std::string said;
    tvrptr_strong<object> strong(new clinging(said));
    strong->watched = tvrptr_weak<object>(strong);  // goes inside of the destructor
    tvrptr_weak<object> weak(strong);
    strong.release();
    EXPECT_EQ(said, "..~a");
    EXPECT_EQ(live_blocks(thread), 1u);
    weak.release();
    EXPECT_EQ(live_blocks(thread), 0u);
}

TEST(pointer, an_object_that_goes_by_itself_leaves_null_pointers) {
    bound_thread thread;
    std::string said;
    tvrptr_strong<object> strong;
    tvrptr_weak<object> weak;
    {
        object on_stack(said);
        strong = tvrptr_strong<object>(&on_stack);
        weak = strong;
    }
    EXPECT_EQ(said, "~a");
    EXPECT_FALSE(strong);
    EXPECT_FALSE(weak.lock());
    strong.release();
    EXPECT_EQ(live_blocks(thread), 1u);
    weak.release();
    EXPECT_EQ(live_blocks(thread), 0u);
    {
        object unobserved(said);
        const tvrptr_weak<object> gone(&unobserved);
    }
    EXPECT_EQ(live_blocks(thread), 0u);
}

TEST(pointer, a_long_list_ends_on_a_short_stack) {
    bound_thread thread;
    constexpr size_t nodes = 300000;
    std::string said;
    tvrptr_strong<object> head;
    tvrptr_weak<object> last;
    for (size_t i = 0; i < nodes; ++i) {
        tvrptr_strong<object> node(new object(said));
        node->other = std::move(head);
        head = std::move(node);
        if (i == 0) last = head;
    }
    head.release();
    EXPECT_EQ(said.size(), nodes * std::string("ra~a").size());
    EXPECT_FALSE(last.lock());
    EXPECT_EQ(live_blocks(thread), 1u);
}

struct pooled : tvrptr_base_internal {
    uint8_t slot = tvr_not_pooled;
    void dispose() override { pool->deallocate(this); }
    static inline tvr_pool<pooled, tvr_pool_chunk_static<pooled>>* pool = nullptr;
};

TEST(pointer, a_pooled_object_comes_back_with_a_new_block) {
    bound_thread thread;
    tvr_pool<pooled, tvr_pool_chunk_static<pooled>> pool;
    pooled::pool = &pool;
    pooled* first = pool.allocate();
    const tvrptr_weak<pooled> weak{tvrptr_strong<pooled>(first)};
    EXPECT_EQ(pool.live(), 0u);
    EXPECT_EQ(pool.allocate(), first);
    EXPECT_EQ(first->control_block_if_any(), nullptr);
    {
        const tvrptr_strong<pooled> again(first);
        EXPECT_TRUE(again);
        EXPECT_FALSE(weak.lock());
    }
    EXPECT_EQ(pool.live(), 0u);
}

TEST(pointer, blocks_come_from_the_pool_where_scripts_may_run) {
    bound_thread thread;
    std::string said;
    const auto from_pool = [&] {
        object on_stack(said);
        const tvrptr_weak<object> weak(&on_stack);
        return on_stack.control_block_if_any()->slot != tvrptr_control_block::not_pooled;
    };
    EXPECT_TRUE(from_pool());
    tvr_local().no_pool = 1;
    EXPECT_FALSE(from_pool());
    tvr_local().no_pool = 0;
    std::thread([&] {
        EXPECT_FALSE(from_pool());  // knows no interpreter
        thread.bind_guest();
        EXPECT_FALSE(from_pool());
        const tvr_global_lock hold;
        EXPECT_TRUE(from_pool());
    }).join();
    EXPECT_EQ(live_blocks(thread), 0u);
}

TEST(pointer, a_guest_thread_returns_blocks_by_mail) {
    bound_thread thread;
    std::string said;
    tvrptr_weak<object> weak;
    {
        object on_stack(said);
        weak = tvrptr_weak<object>(&on_stack);
    }
    std::thread([&] {
        thread.bind_guest();
        weak.release();
    }).join();
    EXPECT_EQ(live_blocks(thread), 1u);
    thread.pools.collect_garbage();
    EXPECT_EQ(live_blocks(thread), 0u);
}

// Outside every interpreter, as metadata is.
struct lasting : tvrptr_base_internal {
    bool tvr_pooled_control_block() const override { return false; }
};

TEST(pointer, threads_share_immortal_blocks) {
    static lasting shared;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([] {
            bound_thread own;
            std::vector<tvrptr_strong<lasting>> kept;
            for (int i = 0; i < 2000; ++i) {
                kept.emplace_back(&shared);
                const tvrptr_weak<lasting> weak(kept.back());
                EXPECT_EQ(weak.lock().get(), &shared);
            }
            EXPECT_EQ(live_blocks(own), 0u);
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(shared.control_block_if_any()->strong, tvrptr_control_block::immortal_count);
    EXPECT_EQ(shared.control_block_if_any()->weak, 0);
}

TEST(type_id, tells_types_apart) {
    EXPECT_EQ(tvr_typeid<object>(), tvr_typeid<object>());
    EXPECT_NE(tvr_typeid<object>(), tvr_typeid<lasting>());
    EXPECT_NE(tvr_typeid<object>(), 0u);
}

}  // namespace
