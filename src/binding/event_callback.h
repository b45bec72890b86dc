#pragma once

// A function of a script that is called for events.
//
// Every event is a call of its own, in a task of its own, which runs at once. One that suspends
// goes on as an ordinary task beside all others; so a callback may wait. An error in one is
// reported and goes no further. Thread: one that runs scripts of the interpreter.

#include <cstddef>
#include <string_view>
#include <vector>

#include "runtime/memory/pointer.h"
#include "runtime/task/task.h"
#include "runtime/value/value.h"

namespace deckbus {

// The calls that have suspended, of all callbacks of a device. Above the limit new calls are
// dropped, with one warning: a script that waits longer than events take to come would fill the
// memory.
class open_calls {
public:
    static constexpr size_t max_open = 64;

    bool has_room();
    void add(const tvrptr_strong<tvr_task>& task) { tasks.emplace_back(task); }

private:
    std::vector<tvrptr_weak<tvr_task>> tasks;
    bool warned = false;
};

class event_callback {
public:
    // Takes a function of a script, or a native one; none for no callback. Anything else, and a
    // function that wants more than one argument, is a runtime error in the name of `method`.
    void set(tvrvar& wanted, std::string_view method);

    // Whether there is a function, and what it needs to run still exists.
    bool is_set() const;

    // Calls it with the event, or without when it takes no parameter.
    void call(const tvrvar_shared& event, open_calls& open);

private:
    void call_script(tvrvar_ptr_function& callee, const tvrvar_shared& event, open_calls& open);
    void call_native(const tvrvar_shared& event);
    tvr_task* parent_of_call(const tvrvar_ptr_function& callee) const;

    tvrvar_shared function;      // null for none
    tvrptr_weak<tvr_task> root;  // of the task that set it: runs on when the function's own is over
};

}  // namespace deckbus
