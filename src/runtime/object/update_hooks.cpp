#include "runtime/object/update_hooks.h"

#include <algorithm>
#include <exception>

#include "runtime/local/error_sink.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

namespace {

template <typename T>
void call_hook(T& hook, void (T::*call)(), const char* name) {
    try {
        (hook.*call)();
    } catch (const std::exception& error) {
        runtime_error(name, ": ", error.what());
    } catch (...) {
        runtime_error(name, ": unknown native exception");
    }
}

// Calls every hook that stands in the list at the start. Hooks that link themselves meanwhile are
// called from the next walk on; an inner walk leaves the emptied places to the outermost one.
template <typename T>
void walk(std::vector<T*>& list, uint32_t& walkers, void (T::*call)(), const char* name) {
    ++walkers;
    for (size_t i = 0, count = list.size(); i < count; ++i) {
        if (list[i] != nullptr) call_hook(*list[i], call, name);
    }
    if (--walkers == 0) std::erase(list, nullptr);
}

template <typename T>
void unlink(std::vector<T*>& list, uint32_t walkers, T* hook) {
    const auto place = std::ranges::find(list, hook);
    if (place == list.end()) return;
    if (walkers > 0) {
        *place = nullptr;
    } else {
        list.erase(place);
    }
}

template <typename T>
size_t count_live(const std::vector<T*>& list) {
    return size_t(std::ranges::count_if(list, [](const T* hook) { return hook != nullptr; }));
}

}  // namespace

void tvr_update_lists::call_pre() {
    walk(pre, pre_walkers, &tvrobject_update_pre::update_script_pre, "update_script_pre");
}

void tvr_update_lists::call_post() {
    walk(post, post_walkers, &tvrobject_update_post::update_script_post, "update_script_post");
}

size_t tvr_update_lists::live() const {
    return count_live(pre) + count_live(post);
}

tvr_update_lists::~tvr_update_lists() {
    for (tvrobject_update_pre* hook : pre) {
        if (hook != nullptr) hook->linked = nullptr;
    }
    for (tvrobject_update_post* hook : post) {
        if (hook != nullptr) hook->linked = nullptr;
    }
}

tvrobject_update_pre::tvrobject_update_pre() : linked(tvr_local().updates) {
    if (linked != nullptr) linked->pre.push_back(this);
}

tvrobject_update_pre::~tvrobject_update_pre() {
    if (linked != nullptr) unlink(linked->pre, linked->pre_walkers, this);
}

void tvrobject_update_pre::update_script_pre() {
    tvr_log().log("update_pre: not implemented.");
}

tvrobject_update_post::tvrobject_update_post() : linked(tvr_local().updates) {
    if (linked != nullptr) linked->post.push_back(this);
}

tvrobject_update_post::~tvrobject_update_post() {
    if (linked != nullptr) unlink(linked->post, linked->post_walkers, this);
}

void tvrobject_update_post::update_script_post() {
    tvr_log().log("update_post: not implemented.");
}
