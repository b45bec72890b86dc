#include "runtime/log/log.h"

#include <algorithm>

#include "runtime/local/thread_local.h"

constinit thread_local const tvr_log_base::observer_call* tvr_log_base::t_held_entries = nullptr;

// A broadcast on its way through the list: while there is one, no entry leaves its place.
class tvr_log_base::list_walk {
public:
    TVR_NO_THREAD_CHECK explicit list_walk(tvr_log_base& of) : log(of) { ++log.walkers; }
    TVR_NO_THREAD_CHECK ~list_walk() {
        --log.walkers;
        log.drop_released();
    }
    list_walk(const list_walk&) = delete;
    list_walk& operator=(const list_walk&) = delete;

private:
    tvr_log_base& log;
};

// One call of an observer: entered and left with the mutex held, made without it.
class tvr_log_base::observer_call {
public:
    TVR_NO_THREAD_CHECK observer_call(tvr_log_base& of, observer_entry& called)
        : log(of), entry(called), outer(t_held_entries) {
        ++entry.callers;
        t_held_entries = this;
        log.mutex.unlock();
    }
    TVR_NO_THREAD_CHECK ~observer_call() {
        log.mutex.lock();
        t_held_entries = outer;
        if (--entry.callers == 0) log.call_ended.notify_all();
    }
    observer_call(const observer_call&) = delete;
    observer_call& operator=(const observer_call&) = delete;

private:
    tvr_log_base& log;
    observer_entry& entry;
    const observer_call* outer;
};

void tvr_log_base::broadcast(std::string_view text, observer_hook to) {
    tvr_lock hold(mutex);
    if (observers.empty()) return;
    const list_walk walk(*this);
    for (size_t i = 0, count = observers.size(); i < count; ++i) {
        observer_entry& entry = *observers[i];
        tvr_log_observer* observer = entry.observer;
        if (observer == nullptr) continue;
        const observer_call unlocked(*this, entry);
        (observer->*to)(text);
    }
}

void tvr_log_base::drop_released() {
    if (walkers > 0) return;
    std::erase_if(observers, [](const auto& entry) { return entry->observer == nullptr; });
}

std::shared_ptr<tvr_log_base::observer_entry> tvr_log_base::observe(tvr_log_observer& observer) {
    auto entry = std::make_shared<observer_entry>();
    entry->observer = &observer;
    tvr_lock hold(mutex);
    observers.push_back(entry);
    return entry;
}

void tvr_log_base::release_entry(const std::shared_ptr<observer_entry>& entry) {
    tvr_lock hold(mutex);
    entry->observer = nullptr;
    drop_released();
    if (t_held_entries != nullptr) return;
    while (entry->callers > 0) call_ended.wait(mutex);
}

tvr_log_base& tvr_log() {
    tvr_log_base* bound = tvr_local().log;
    return bound != nullptr ? *bound : tvr_log_terminal();
}
