#include "runtime/task/task_list.h"

tvr_task_list::~tvr_task_list() {
    for (tvr_task* task = newest; task != nullptr; task = task->older) task->listed = false;
}

void tvr_task_list::add(tvr_task& task) {
    task.listed = true;
    task.older = newest;
    if (newest != nullptr) newest->newer = &task;
    newest = &task;
}

void tvr_task_list::remove(tvr_task& task) {
    unschedule(task);
    (task.newer != nullptr ? task.newer->older : newest) = task.older;
    if (task.older != nullptr) task.older->newer = task.newer;
    task.listed = false;
    mail->forget(task);
}

void tvr_task_list::schedule(tvr_task& task) {
    task.scheduled = true;
    task.order = ++last_order;
    timed.emplace(place(task.wake_ms, task.order), &task);
}

void tvr_task_list::unschedule(tvr_task& task) {
    if (!task.scheduled) return;
    task.scheduled = false;
    timed.erase(place(task.wake_ms, task.order));
}

tvrptr_strong<tvr_task> tvr_task_list::pop(int64_t latest_ms) {
    if (timed.empty() || timed.begin()->first.first > latest_ms) return {};
    tvrptr_strong<tvr_task> next(timed.begin()->second);
    unschedule(*next);
    return next;
}

int64_t tvr_task_list::next_wake_ms() const {
    return timed.empty() ? never : timed.begin()->first.first;
}

// No more than there are at its begin. The letters go one by one with no lock held: the last
// pointer to an object may end it here, and it may wait for its thread, which may just be posting.
void tvr_task_list::deliver() {
    tvr_task_mail::letter each;
    for (size_t left = mail->size(); left > 0 && mail->take(each); --left, each = {}) {
        if (each.task == nullptr || each.task->ended()) continue;
        each.task->resume_failed = !each.ok;
        each.task->task_resume(std::move(each.result));
    }
}

std::vector<tvrptr_strong<tvr_task>> tvr_task_list::newest_first() {
    std::vector<tvrptr_strong<tvr_task>> all;
    for (tvr_task* task = newest; task != nullptr; task = task->older) all.emplace_back(task);
    return all;
}
