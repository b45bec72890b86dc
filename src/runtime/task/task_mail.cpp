#include "runtime/task/task_mail.h"

#include <utility>

#include "runtime/local/thread_local.h"

void tvr_task_mail::post(letter brought) {
    tvr_lock hold(mutex);
    while (letters.size() >= max_letters && !closed) taken.wait(mutex);
    if (closed) {
        new letter(std::move(brought));
        return;
    }
    letters.push_back(std::move(brought));
    if (owner != nullptr) owner->wakeup();
}

void tvr_task_mail::open(tvr_thread_local& reader) {
    tvr_lock hold(mutex);
    owner = &reader;
}

void tvr_task_mail::close() {
    tvr_lock hold(mutex);
    closed = true;
    owner = nullptr;
    taken.notify_all();
}

bool tvr_task_mail::take(letter& oldest) {
    tvr_lock hold(mutex);
    if (letters.empty()) return false;
    oldest = std::move(letters.front());
    letters.pop_front();
    taken.notify_all();
    return true;
}

size_t tvr_task_mail::size() const {
    tvr_lock hold(mutex);
    return letters.size();
}

void tvr_task_mail::forget(const tvr_task& task) {
    tvr_lock hold(mutex);
    for (letter& each : letters) {
        if (each.task == &task) each.task = nullptr;
    }
}
