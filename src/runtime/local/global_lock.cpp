#include "runtime/local/global_lock.h"

#include "base/clock.h"
#include "runtime/local/signals.h"
#include "runtime/local/thread_local.h"

namespace {

// What a thread raises for the task that it runs; it must not be seen by tasks of other threads.
constexpr uint32_t signals_of_task = tvr_signal_error | tvr_signal_suspend;

uint32_t put_aside(tvr_vm_signals* signals) {
    if (signals == nullptr) return 0;
    return signals->raised.fetch_and(~signals_of_task, std::memory_order_relaxed) & signals_of_task;
}

void put_back(tvr_vm_signals* signals, uint32_t raised) {
    if (raised != 0) signals->raised.fetch_or(raised, std::memory_order_relaxed);
}

}  // namespace

// Relaxed throughout: `guard` orders everything, and a signal seen late is seen at the next look.
void tvr_fair_mutex::lock() {
    std::unique_lock hold(guard);
    if (taken) wait_in_line(hold);
    taken = true;
    hold.unlock();
    taken_at = tvr_now_s();
}

void tvr_fair_mutex::wait_in_line(std::unique_lock<std::mutex>& hold) {
    waiter self;
    (last != nullptr ? last->next : first) = &self;
    last = &self;
    waiting.fetch_add(1, std::memory_order_relaxed);
    if (signals != nullptr) signals->raise(tvr_signal_lock_wanted);
    while (!self.served) self.called.wait(hold);
}

// The mutex stays taken and changes its holder. The waiter's record lives until it wakes, which it
// cannot before `guard` is let go.
void tvr_fair_mutex::hand_on() {
    waiter* next = first;
    first = next->next;
    if (first == nullptr) last = nullptr;
    const bool alone = waiting.fetch_sub(1, std::memory_order_relaxed) == 1;
    if (alone && signals != nullptr) signals->lower(tvr_signal_lock_wanted);
    next->served = true;
    next->called.notify_one();
}

void tvr_fair_mutex::unlock() {
    const std::lock_guard hold(guard);
    if (first != nullptr) {
        hand_on();
    } else {
        taken = false;
    }
}

bool tvr_fair_mutex::is_taken() const {
    const std::lock_guard hold(guard);
    return taken;
}

void tvr_fair_mutex::yield() {
    if (waiters() == 0) return;
    if (tvr_now_s() - taken_at < shortest_turn_s) return;
    {
        std::unique_lock hold(guard);
        if (first == nullptr) return;
        waiter self;
        last->next = &self;
        last = &self;
        waiting.fetch_add(1, std::memory_order_relaxed);
        hand_on();
        while (!self.served) self.called.wait(hold);
    }
    taken_at = tvr_now_s();
}

bool tvr_is_alone_with_interpreter() {
    const tvr_thread_local& local = tvr_local();
    return local.holds_global_lock || local.lock == nullptr || !local.lock->mutex.is_taken();
}

tvr_global_lock::tvr_global_lock() : tvr_global_lock(tvr_local().lock) {}

tvr_global_lock::tvr_global_lock(tvr_interpreter_lock* wanted) {
    if (wanted == nullptr) return;
    tvr_thread_local& local = tvr_local();
    if (local.holds_global_lock && local.lock == wanted) return;

    wanted->mutex.lock();
    held = wanted;
    outer = local.lock;
    outer_held = local.holds_global_lock;
    local.lock = wanted;
    local.holds_global_lock = true;
}

tvr_global_lock::~tvr_global_lock() {
    if (held == nullptr) return;
    tvr_thread_local& local = tvr_local();
    local.lock = outer;
    local.holds_global_lock = outer_held;
    held->mutex.unlock();
}

tvr_scoped_unlock::tvr_scoped_unlock() {
    tvr_thread_local& local = tvr_local();
    if (!local.holds_global_lock) return;
    given = local.lock;
    owner = local.owns_interpreter;
    raised = put_aside(local.signals);
    local.holds_global_lock = false;
    local.owns_interpreter = false;
    given->mutex.unlock();
}

tvr_scoped_unlock::~tvr_scoped_unlock() {
    if (given == nullptr) return;
    given->mutex.lock();
    tvr_thread_local& local = tvr_local();
    local.holds_global_lock = true;
    local.owns_interpreter = owner;
    put_back(local.signals, raised);
}

void tvr_yield_lock() {
    const tvr_thread_local& local = tvr_local();
    if (local.holds_global_lock) {
        const uint32_t raised = put_aside(local.signals);
        local.lock->mutex.yield();
        put_back(local.signals, raised);
    } else if (local.signals != nullptr) {
        local.signals->lower(tvr_signal_lock_wanted);
    }
}
