#include "runtime/local/global_lock.h"

#include "runtime/local/thread_local.h"

tvr_global_lock::tvr_global_lock() : tvr_global_lock(tvr_local().lock) {}

tvr_global_lock::tvr_global_lock(tvr_interpreter_lock* wanted) {
    if (wanted == nullptr || wanted->owner == std::this_thread::get_id()) return;
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
    local.holds_global_lock = false;
    given->mutex.unlock();
}

tvr_scoped_unlock::~tvr_scoped_unlock() {
    if (given == nullptr) return;
    given->mutex.lock();
    tvr_local().holds_global_lock = true;
}
