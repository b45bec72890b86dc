// Who may run scripts, and how a thread is woken.

#include <gtest/gtest.h>

#include <csignal>
#include <limits>

#include "base/clock.h"
#include "bound_thread.h"
#include "runtime/local/signals.h"

using namespace tavro::test;

namespace {

TEST(global_lock, is_taken_by_the_owner_too_but_not_by_strangers) {
    bound_thread owner;
    {
        const tvr_global_lock hold, again(&owner.lock);
        EXPECT_TRUE(tvr_local().holds_global_lock);
        std::thread([] {
            const tvr_global_lock stranger;  // would wait forever if it took any lock
            EXPECT_FALSE(tvr_local().is_script_thread());
        }).join();
    }
    EXPECT_FALSE(tvr_local().holds_global_lock);
    EXPECT_TRUE(tvr_local().is_script_thread());
}

TEST(global_lock, is_given_back_by_the_owner_with_all_its_rights) {
    bound_thread owner;
    tvr_vm_signals signals;
    tvr_local().signals = &signals;
    const tvr_global_lock hold;
    signals.raise(tvr_signal_error);
    signals.raise(tvr_signal_stop);
    {
        const tvr_scoped_unlock blocking;
        EXPECT_FALSE(tvr_local().is_script_thread());
        EXPECT_FALSE(signals.is_raised(tvr_signal_error));  // another task's now
        EXPECT_TRUE(signals.is_raised(tvr_signal_stop));
        signals.raise(tvr_signal_suspend);
        signals.lower(tvr_signal_suspend);
    }
    EXPECT_TRUE(tvr_local().is_script_thread());
    EXPECT_TRUE(signals.is_raised(tvr_signal_error));
    tvr_local().signals = nullptr;
}

// Threads that stand in line, one behind the other, and write their number when their turn comes.
class line_of_waiters {
public:
    explicit line_of_waiters(bound_thread& to) : owner(to) {}
    ~line_of_waiters() {
        for (std::thread& t : threads) t.join();
    }
    line_of_waiters(const line_of_waiters&) = delete;
    line_of_waiters& operator=(const line_of_waiters&) = delete;

    void add(int number) {
        const uint32_t before = owner.lock.mutex.waiters();
        threads.emplace_back([this, number] {
            owner.bind_guest();
            const tvr_global_lock hold;
            turns.push_back(number);
        });
        while (owner.lock.mutex.waiters() == before) std::this_thread::yield();
    }

    std::vector<int> turns;

private:
    bound_thread& owner;
    std::vector<std::thread> threads;
};

TEST(global_lock, serves_in_the_order_of_asking) {
    bound_thread owner;
    const std::vector<int> expected{0, 1, 2, 3, 4, 5, 6, 7};
    std::vector<int> turns;
    {
        line_of_waiters line(owner);
        const tvr_global_lock hold;
        for (const int number : expected) line.add(number);
        const tvr_scoped_unlock let_them;
        const tvr_global_lock behind_all;
        turns = line.turns;
    }
    EXPECT_EQ(turns, expected);
}

TEST(global_lock, is_handed_on_by_a_busy_holder) {
    bound_thread owner;
    tvr_vm_signals signals;
    owner.lock.mutex.signals = &signals;
    tvr_local().signals = &signals;
    line_of_waiters line(owner);
    {
        const tvr_global_lock hold;
        EXPECT_FALSE(signals.is_raised(tvr_signal_lock_wanted));
        line.add(1);
        line.add(2);
        while (signals.is_raised(tvr_signal_lock_wanted)) tvr_yield_lock();
        EXPECT_EQ(line.turns, (std::vector<int>{1, 2}));
        EXPECT_TRUE(tvr_local().holds_global_lock);
    }
    signals.raise(tvr_signal_lock_wanted);
    tvr_yield_lock();  // without the lock there is nothing to hand on
    EXPECT_FALSE(signals.is_raised(tvr_signal_lock_wanted));
    tvr_local().signals = nullptr;
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

void ring_from_handler(int) {
    tvr_local().wakeup();
}

TEST(wakeup, comes_from_a_signal_handler) {
    struct sigaction ring {};
    struct sigaction before {};
    ring.sa_handler = ring_from_handler;
    ASSERT_EQ(::sigaction(SIGUSR1, &ring, &before), 0);
    ASSERT_EQ(::raise(SIGUSR1), 0);
    EXPECT_TRUE(tvr_local().wait_for_wakeup(std::numeric_limits<double>::infinity()));
    ::sigaction(SIGUSR1, &before, nullptr);
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
