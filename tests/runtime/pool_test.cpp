// Pools: what they hand out, what they say about broken memory, what other threads free.

#include "runtime/memory/pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>
#include <set>
#include <stdexcept>

#include "bound_thread.h"

using namespace tavro::test;

namespace {

struct thing {
    int64_t payload = 0;
    uint8_t slot = tvr_not_pooled;
};
using thing_chunk = tvr_pool_chunk_static<thing>;
using thing_pool = tvr_pool<thing, thing_chunk>;
using shared_pool = tvr_pool_threadsafe<thing, thing_chunk>;

thing_chunk& chunk_of(thing* element) {
    return *reinterpret_cast<thing_chunk*>(element - element->slot);
}

using lines = std::vector<std::string>;

const std::string double_free = "Attempting to deallocate unallocated chunk (double free?) !";
const std::string freed_before =
    "Additionally, the variable was already free'd. Check for mem corruptions.";
const std::string no_magic = "invalid pool magic num: 0x0 vs 0xffabcdef ";

std::string wrong_slot(thing* element, const void* chunk, int says, int is) {
    return tvr_join("Seems like variable ", element, " belongs to pool ", chunk, ", offset was ",
                    says, ", but actually is ", is, ".");
}

// Each row damages something around an element, frees it, and says what the log should say.
TEST(pool, tells_of_broken_memory) {
    struct row {
        const char* what;
        std::function<lines(thing_pool&, thing*)> damage_and_free;
        size_t live;
    };
    const row rows[] = {
        {"null",
         [](thing_pool& pool, thing*) {
             pool.deallocate(nullptr);
             return lines{};
         },
         3},
        {"freed twice",
         [](thing_pool& pool, thing* e) {
             pool.deallocate(e);
             pool.deallocate(e);
             return lines{double_free};
         },
         2},
        {"slot number lost",
         [](thing_pool& pool, thing* e) {
             const void* chunk = &chunk_of(e);
             e->slot = tvr_not_pooled;
             pool.deallocate(e);
             return lines{wrong_slot(e, chunk, 255, 2)};
         },
         2},
        {"slot number lost after a free",
         [](thing_pool& pool, thing* e) {
             const void* chunk = &chunk_of(e);
             pool.deallocate(e);
             e->slot = tvr_not_pooled;
             pool.deallocate(e);
             return lines{wrong_slot(e, chunk, 255, 2), freed_before};
         },
         2},
        {"wrong slot number",
         [](thing_pool& pool, thing* e) {
             const void* chunk = &chunk_of(e);
             e->slot = 200;
             pool.deallocate(e);
             return lines{no_magic, wrong_slot(e, chunk, 200, 2)};
         },
         2},
        {"magic overwritten, told once",
         [](thing_pool& pool, thing* e) {
             chunk_of(e).magic = 0x12345678;
             pool.deallocate(e);
             pool.deallocate(e - 1);
             return lines{"invalid pool magic num: 0x12345678 vs 0xffabcdef ",
                          wrong_slot(e, &chunk_of(e), 2, 2)};
         },
         1},
        {"foreign pointer with a slot number",
         [](thing_pool& pool, thing*) {
             std::vector<thing> foreign(600);
             foreign[300].slot = 3;
             pool.deallocate(&foreign[300]);
             return lines{no_magic, "invalid variable pool memory! 3 "};
         },
         3},
        {"element of the plain heap",
         [](thing_pool& pool, thing*) {
             thing foreign;
             pool.deallocate(&foreign);
             return lines{"invalid variable pool memory! 255 "};
         },
         3},
        {"free slot marked as handed out",
         [](thing_pool& pool, thing* e) {
             chunk_of(e).allocated[3] = true;
             EXPECT_EQ(pool.allocate()->slot, 4);
             return lines{
                 "Attempting to allocate an already allocated chunk! (double allocate?) !"};
         },
         4},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        bound_thread thread;
        thing_pool pool;
        pool.allocate();
        pool.allocate();
        const lines expected = r.damage_and_free(pool, pool.allocate());
        EXPECT_EQ(thread.log.lines(), expected);
        EXPECT_EQ(pool.live(), r.live);
        pool.for_each_live([](thing& e) { chunk_of(&e).allocated.reset(); });
    }
}

TEST(pool, leaves_what_is_held_at_its_end_and_ignores_its_free) {
    bound_thread thread;
    auto ending = std::make_unique<thing_pool>();
    thing* held = ending->allocate();
    ending->deallocate(ending->allocate());
    ending.reset();
    EXPECT_EQ(thread.log.lines(), lines{"There are still pool chunks allocated!"});

    thing_pool pool;
    pool.deallocate(held);
    EXPECT_EQ(thread.log.lines().size(), 1u);
    EXPECT_EQ(pool.live(), 0u);
    std::free(&chunk_of(held));
}

TEST(pool, survives_want_of_memory) {
    struct no_chunk : thing_chunk {
        static void* get_memory(size_t) { return nullptr; }
    };
    bound_thread thread;
    tvr_pool<thing, no_chunk> pool;
    EXPECT_EQ(pool.allocate(), nullptr);
    EXPECT_EQ(pool.live(), 0u);
    EXPECT_EQ(thread.log.lines(), lines{"Failed to allocate a pool chunk!"});
}

TEST(pool, allocates_again_from_a_chunk_that_ran_full) {
    thing_pool pool;
    std::vector<thing*> all;
    for (size_t i = 0; i < 2 * tvr_chunk_slots + 1; ++i) all.push_back(pool.allocate());
    for (const size_t i : {size_t(7), tvr_chunk_slots + 7, size_t(254)}) {
        pool.deallocate(all[i]);
        EXPECT_EQ(pool.allocate(), all[i]) << i;
    }
    for (thing* e : all) pool.deallocate(e);
    EXPECT_EQ(pool.live(), 0u);
}

TEST(pool, hands_nothing_out_twice) {
    bound_thread thread;
    thing_pool pool;
    std::mt19937 random(1);
    std::vector<thing*> held;
    std::set<thing*> known;
    for (int step = 0; step < 20000; ++step) {
        const bool growing = (step / 3000) % 2 == 0;
        if (held.empty() || random() % 8 < (growing ? 6 : 2)) {
            held.push_back(pool.allocate());
            ASSERT_TRUE(known.insert(held.back()).second);
        } else {
            std::swap(held[random() % held.size()], held.back());
            known.erase(held.back());
            pool.deallocate(held.back());
            held.pop_back();
        }
        ASSERT_EQ(pool.live(), held.size());
    }
    std::set<thing*> visited;
    pool.for_each_live([&](thing& e) {
        visited.insert(&e);
        pool.deallocate(&e);
    });
    EXPECT_EQ(visited, known);
    EXPECT_EQ(pool.live(), 0u);
    EXPECT_TRUE(thread.log.lines().empty());
}

// Counts its lives; the slot byte has a name of its own.
struct counted {
    explicit counted(int number = 0) : value(number) {
        if (value < 0) throw std::runtime_error("negative");
        ++begun;
    }
    ~counted() {
        ++ended;
        if (next != nullptr) pool->deallocate(next);
    }

    using dynamic = tvr_pool<counted, tvr_pool_chunk_dynamic<counted>>;
    int value;
    uint8_t place = tvr_not_pooled;
    counted* next = nullptr;
    static inline dynamic* pool = nullptr;
    static inline int begun = 0, ended = 0;
};
uint8_t& tvr_pool_slot(counted& element) {
    return element.place;
}

TEST(pool, static_elements_live_as_long_as_their_chunk) {
    counted::begun = counted::ended = 0;
    {
        tvr_pool<counted, tvr_pool_chunk_static<counted>> pool;
        counted* first = pool.allocate();
        first->value = 5;
        pool.deallocate(first);
        EXPECT_EQ(pool.allocate()->value, 5);
        pool.deallocate(first);
        EXPECT_EQ(counted::begun, 255);
        EXPECT_EQ(counted::ended, 0);
    }
    EXPECT_EQ(counted::ended, 255);
}

TEST(pool, dynamic_elements_live_from_allocation_to_release) {
    bound_thread thread;
    counted::begun = counted::ended = 0;
    counted::dynamic pool;
    counted::pool = &pool;
    counted* head = pool.allocate(7);
    EXPECT_EQ(head->value, 7);
    EXPECT_THROW(pool.allocate(-1), std::runtime_error);
    EXPECT_EQ(pool.live(), 1u);
    for (int i = 0; i < 600; ++i) {  // over several chunks, freed through each other
        counted* before = head;
        head = pool.allocate(i);
        head->next = before;
    }
    pool.deallocate(head);
    EXPECT_EQ(pool.live(), 0u);
    EXPECT_EQ(counted::begun, 601);
    EXPECT_EQ(counted::ended, 601);
    pool.deallocate(head);
    EXPECT_EQ(thread.log.lines(), lines{double_free});
}

TEST(mailbox, places_are_a_permutation_and_neighbours_lie_apart) {
    std::set<uint32_t> taken;
    for (uint32_t i = 0; i < tvr_mailbox::places; ++i) {
        EXPECT_LT(tvr_mailbox::place_of(i), tvr_mailbox::places);
        taken.insert(tvr_mailbox::place_of(i));
        EXPECT_EQ(tvr_mailbox::place_of(i + tvr_mailbox::places), tvr_mailbox::place_of(i));
    }
    EXPECT_EQ(taken.size(), size_t(tvr_mailbox::places));
    EXPECT_NE(tvr_mailbox::place_of(16) / 8, tvr_mailbox::place_of(17) / 8);
}

TEST(mailbox, keeps_order_and_refuses_when_full) {
    auto box = std::make_unique<tvr_mailbox>();
    std::vector<int> letters(tvr_mailbox::places + 1);
    for (int round = 0; round < 3; ++round) {
        for (uint32_t i = 0; i < tvr_mailbox::places; ++i) ASSERT_TRUE(box->put(&letters[i]));
        EXPECT_FALSE(box->put(&letters.back()));
        EXPECT_EQ(box->outstanding(), tvr_mailbox::places);
        EXPECT_EQ(box->take(), &letters[0]);
        EXPECT_TRUE(box->put(&letters.back()));
        for (uint32_t i = 1; i <= tvr_mailbox::places; ++i) ASSERT_EQ(box->take(), &letters[i]);
        EXPECT_EQ(box->take(), nullptr);
    }
}

// Frees every element on several threads at once, which know the interpreter but don't own it.
void free_on_threads(bound_thread& owner, shared_pool& pool, const std::vector<thing*>& all,
                     const std::function<void()>& meanwhile) {
    constexpr size_t count = 4;
    std::atomic<size_t> running{count};
    std::vector<std::thread> threads;
    for (size_t n = 0; n < count; ++n) {
        threads.emplace_back([&, n] {
            owner.bind_guest();
            for (size_t i = n; i < all.size(); i += count) {
                all[i]->payload = int64_t(i);
                pool.deallocate_from_thread(all[i]);
            }
            --running;
        });
    }
    while (running > 0) meanwhile();
    for (std::thread& t : threads) t.join();
}

TEST(pool_threadsafe, loses_nothing_when_the_mailbox_runs_over) {
    for (const size_t beyond : {size_t(0), size_t(5000)}) {
        bound_thread owner;
        shared_pool pool(owner.lock);
        std::vector<thing*> all;
        for (size_t i = 0; i < tvr_mailbox::places + beyond; ++i) all.push_back(pool.allocate());
        free_on_threads(owner, pool, all, [] { std::this_thread::yield(); });
        EXPECT_EQ(pool.live(), size_t(tvr_mailbox::places));
        pool.collect_garbage();
        EXPECT_EQ(pool.live(), 0u);
        EXPECT_TRUE(owner.log.lines().empty());
    }
}

TEST(pool_threadsafe, collects_while_others_free) {
    bound_thread owner;
    shared_pool pool(owner.lock);
    std::vector<thing*> all;
    for (size_t i = 0; i < 60000; ++i) all.push_back(pool.allocate());
    free_on_threads(owner, pool, all, [&] {
        const tvr_global_lock frame;
        pool.collect_garbage();
        pool.deallocate(pool.allocate());
    });
    pool.collect_garbage();
    EXPECT_EQ(pool.live(), 0u);
    EXPECT_TRUE(owner.log.lines().empty());
}

TEST(pool_threadsafe, takes_in_its_mail_at_its_end) {
    bound_thread owner;
    {
        shared_pool pool(owner.lock);
        pool.deallocate_from_thread(pool.allocate());
    }
    EXPECT_TRUE(owner.log.lines().empty());
}

}  // namespace
