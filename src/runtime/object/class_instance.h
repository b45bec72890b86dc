#pragma once

// An instance of a class that was written in script.
//
// Its members are the variables of the class's body, taken over when the body has run, in the slots
// that the class's table gives them. Script thread.
//
// When the last pointer goes and the class or one of its bases has a __deinit__, the instance is
// not over yet: it joins the interpreter's queue of dying instances (local/signals.h), and the
// machine runs its destructors as soon as the running instruction has ended, with a new pointer to
// it as `this`. When that pointer has gone too, the instance goes for good, whatever the
// destructors did with `this`.

#include <cstdint>
#include <string_view>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/memory/pointer.h"
#include "runtime/value/instance.h"

class tvr_program_block_class;

class tvr_class : public tvr_instance {
public:
    // Gives the instance its class, and the globals that its methods see. The definition may go
    // before the instance does. Members are for the caller to fill in.
    void start(tvr_program_block_class& of, tvr_task& globals);

    // The member in a slot; null for a slot that is none.
    tvrvar* get_member(size_t member_slot) const {
        return member_slot < members.size() ? members[member_slot].get() : nullptr;
    }

    std::string_view class_name() const override;  // empty when the definition is gone
    // "' does not have member " for a name that is none.
    tvrvar_shared get_member(std::string_view name) override;
    bool has_member(std::string_view name) const override;

    // Takes the oldest of the dying instances off the queue; null when there is none. Whoever takes
    // it makes a pointer to it, runs its destructors, and lets it go.
    static tvr_class* take_dying();

    // Joins the queue of the dying, once. False when no destructor has to run any more. Also for
    // instances that the end of their interpreter finds alive: those keep their pointers.
    bool queue_destructors();
    bool has_destructor() const;

    void release() override;  // says so in the verbose log

    tvrptr_weak<tvr_program_block_class> definition;
    std::vector<tvrvar_shared> members;  // by slot, never null
    tvr_task* scope = nullptr;  // whose globals its methods see; root tasks outlive all instances
    tvr_class* next_dying = nullptr;
    bool queued = false;           // with the dying
    bool destructors_ran = false;  // or are about to
    uint8_t slot = tvr_not_pooled;

protected:
    // Joins the queue, or gives itself back to the pool without members.
    void dispose() override;
};

template <>
struct tvr_pool_traits<tvr_class> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::class_instances;
    using pool = tvr_pool_threadsafe<tvr_class, tvr_pool_chunk_static<tvr_class>>;
};
