#pragma once

// An instance of a class that was written in script.
//
// Its members are the locals of the class body, taken over when the body has run, in the slots that
// the class's table gives them. __deinit__ of the class and of each base runs when the last pointer
// goes, from the most derived up, before the members go. Script thread.

#include <cstdint>
#include <string_view>
#include <vector>

#include "runtime/local/pool_set.h"
#include "runtime/memory/pointer.h"
#include "runtime/value/instance.h"

class tvr_program_block_class;

class tvr_class : public tvr_instance {
public:
    // Takes the members over. The definition may be gone before the instance is.
    void start(tvr_program_block_class& of, std::vector<tvrvar_static> values);

    // The member in a slot; null for a slot that is none, and for a private one unless
    // `from_inside`.
    tvrvar* get_member(int64_t member_slot, bool from_inside) const;

    std::string_view class_name() const override;  // empty when the definition is gone
    tvrvar_shared get_member(std::string_view name) override;
    bool has_member(std::string_view name) const override;

    // Runs the destructors, in a frame on the current task. Errors in them are reported as
    // "__deinit__ of class '...'" and stop nothing.
    void release() override;

    // Keeps an instance alive while its own destructor runs, whatever that does with `this`.
    static void release_keepalive(tvr_class* instance);

    tvrptr_weak<tvr_program_block_class> definition;
    std::vector<tvrvar_static> members;  // by slot
    uint8_t slot = tvr_not_pooled;

protected:
    void dispose() override;  // back to the pool, without members
};

template <>
struct tvr_pool_traits<tvr_class> {
    static constexpr tvr_pool_kind kind = tvr_pool_kind::class_instances;
    using pool = tvr_pool_threadsafe<tvr_class, tvr_pool_chunk_static<tvr_class>>;
};
