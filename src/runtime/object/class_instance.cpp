#include "runtime/object/class_instance.h"

#include <utility>

#include "frontend/program/program_block.h"
#include "runtime/local/error_sink.h"
#include "runtime/local/signals.h"
#include "runtime/log/log.h"
#include "runtime/value/payload_pools.h"

void tvr_class::start(tvr_program_block_class& of, tvr_task& globals) {
    definition.acquire(&of);
    scope = &globals;
    tvr_log().verbose("tvr_class created. ");
}

std::string_view tvr_class::class_name() const {
    const tvr_program_block_class* known = definition.get();
    return known != nullptr ? std::string_view(known->name) : std::string_view();
}

tvrvar_shared tvr_class::get_member(std::string_view name) {
    const tvr_program_block_class* known = definition.get();
    if (known == nullptr) {
        runtime_error("Invalid class definition.");
        return tvrvar_shared::make();
    }
    const auto* member = known->find_class_member(name);
    if (member != nullptr && member->slot < members.size()) return members[member->slot];
    runtime_error("'", class_name(), "' does not have member '", name, "'!");
    return tvrvar_shared::make();
}

bool tvr_class::has_member(std::string_view name) const {
    const tvr_program_block_class* known = definition.get();
    const auto* member = known != nullptr ? known->find_class_member(name) : nullptr;
    return member != nullptr && member->slot < members.size();
}

bool tvr_class::has_destructor() const {
    const tvr_program_block_class* known = definition.get();
    return known != nullptr && known->destructor;
}

bool tvr_class::queue_destructors() {
    tvr_vm_signals* signals = tvr_local().signals;
    if (queued) return true;
    if (destructors_ran || signals == nullptr || !has_destructor()) return false;
    queued = true;
    tvr_class*& behind =
        signals->last_dying != nullptr ? signals->last_dying->next_dying : signals->first_dying;
    behind = this;
    signals->last_dying = this;
    signals->raise(tvr_signal_dying);
    return true;
}

tvr_class* tvr_class::take_dying() {
    tvr_vm_signals* signals = tvr_local().signals;
    tvr_class* oldest = signals != nullptr ? signals->first_dying : nullptr;
    if (oldest == nullptr) return nullptr;
    signals->first_dying = std::exchange(oldest->next_dying, nullptr);
    if (signals->first_dying == nullptr) {
        signals->last_dying = nullptr;
        signals->lower(tvr_signal_dying);
    }
    oldest->queued = false;
    oldest->destructors_ran = true;
    return oldest;
}

void tvr_class::release() {
    tvr_log().verbose("tvr_class release. ");
}

void tvr_class::dispose() {
    if (queue_destructors()) return;
    tvr_log().verbose("tvr_class destroyed. ");
    constexpr size_t most_kept = 16;  // members whose memory waits for the next instance
    std::vector<tvrvar_shared> going;
    going.swap(members);  // what ends with them finds none here
    definition.release();
    destructors_ran = false;
    going.clear();
    if (members.empty() && going.capacity() <= most_kept) members.swap(going);
    tvr_pool_give(this);
}
