// Who may run scripts, and how a thread is woken.

#include <gtest/gtest.h>

#include <limits>

#include "base/clock.h"
#include "bound_thread.h"

using namespace tavro::test;

namespace {

TEST(global_lock, does_nothing_for_the_owner_and_for_strangers) {
    bound_thread owner;
    const tvr_global_lock hold, again(&owner.lock);
    EXPECT_FALSE(tvr_local().holds_global_lock);
    std::thread([&] {
        const tvr_global_lock stranger;
        EXPECT_FALSE(tvr_local().is_script_thread());
        owner.bind_guest();
        const tvr_global_lock guest;  // would wait forever if the owner held it
        EXPECT_TRUE(tvr_local().is_script_thread());
    }).join();
}

TEST(global_lock, nests_and_is_given_back_for_a_scope) {
    bound_thread owner;
    tvr_interpreter_lock other;
    std::thread([&] {
        owner.bind_guest();
        const tvr_scoped_unlock nothing_held;
        {
            const tvr_global_lock outer;
            const tvr_global_lock inner;
            EXPECT_TRUE(tvr_local().is_script_thread());
            {
                const tvr_scoped_unlock blocking;
                EXPECT_FALSE(tvr_local().is_script_thread());
                std::thread([&] {
                    owner.bind_guest();
                    const tvr_global_lock meanwhile;
                }).join();
                const tvr_global_lock back_again;
                EXPECT_TRUE(tvr_local().is_script_thread());
            }
            EXPECT_TRUE(tvr_local().is_script_thread());
            {
                const tvr_global_lock elsewhere(&other);
                EXPECT_EQ(tvr_local().lock, &other);
            }
            EXPECT_EQ(tvr_local().lock, &owner.lock);
        }
        EXPECT_FALSE(tvr_local().is_script_thread());
    }).join();
}

TEST(global_lock, keeps_others_out) {
    bound_thread owner;
    int counter = 0;
    std::vector<std::thread> threads;
    for (int n = 0; n < 4; ++n) {
        threads.emplace_back([&] {
            owner.bind_guest();
            for (int i = 0; i < 1000; ++i) {
                const tvr_global_lock hold;
                ++counter;
            }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(counter, 4000);
}

TEST(wakeup, remembers_one_ring) {
    tvr_thread_local& local = tvr_local();
    const double never = std::numeric_limits<double>::infinity();
    local.wakeup();
    local.wakeup();
    EXPECT_TRUE(local.wait_for_wakeup(never));
    EXPECT_FALSE(local.wait_for_wakeup(tvr_now_s() + 0.001));
    EXPECT_FALSE(local.wait_for_wakeup(-never));
    EXPECT_FALSE(local.wait_for_wakeup(std::numeric_limits<double>::quiet_NaN()));
}

TEST(wakeup, comes_from_any_thread) {
    tvr_thread_local& here = tvr_local();
    std::atomic<int> rounds{0};
    std::thread ringer([&] {
        for (int i = 0; i < 200; ++i) {
            here.wakeup();
            while (rounds == i) std::this_thread::yield();
        }
    });
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(here.wait_for_wakeup(std::numeric_limits<double>::infinity()));
        ++rounds;
    }
    ringer.join();
}

}  // namespace
