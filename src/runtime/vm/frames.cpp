// Frames: where they come from, what they keep between calls.

#include <algorithm>
#include <memory>
#include <new>

#include "runtime/script/script.h"
#include "runtime/task/task.h"
#include "runtime/vm/cells.h"
#include "runtime/vm/frame_store.h"
#include "runtime/vm/lower.h"
#include "runtime/vm/machine_code.h"

void tvr_machine_code_delete::operator()(tvr_machine_code* code) const {
    delete code;
}

tvr_machine_code::~tvr_machine_code() {
    free_ready_frames();
    if (store != nullptr) store->remove(*this);
}

tvr_machine_code* tvr_code_of(tvr_program_block_routine& routine) {
    if (routine.machine != nullptr) return routine.machine.get();
    std::unique_ptr<tvr_machine_code, tvr_machine_code_delete> made(new tvr_machine_code(routine));
    if (!tvr_lower(*made)) return nullptr;
    if (tvrscript* script = tvr_script_local()) script->frames.add(*made);
    routine.machine = std::move(made);
    return routine.machine.get();
}

void tvr_frame_store::add(tvr_machine_code& code) {
    code.store = this;
    code.next_code = first;
    if (first != nullptr) first->previous_code = &code;
    first = &code;
}

void tvr_frame_store::remove(tvr_machine_code& code) {
    if (code.previous_code != nullptr) code.previous_code->next_code = code.next_code;
    if (code.next_code != nullptr) code.next_code->previous_code = code.previous_code;
    if (first == &code) first = code.next_code;
    code.store = nullptr;
}

void tvr_frame_store::clear() {
    while (first != nullptr) {
        first->routine->machine.reset();  // takes itself out of the list
    }
}

tvr_native_args* tvr_frame_store::take_args() {
    if (free_args.empty()) return new tvr_native_args;
    tvr_native_args* args = free_args.back().release();
    free_args.pop_back();
    return args;
}

void tvr_frame_store::give_args(tvr_native_args* args) {
    args->clear();
    free_args.emplace_back(args);
}

tvr_vm_context* tvr_machine_code::make_frame() {
    auto& pool = tvr_local().pools->of<tvr_vm_context>();
    auto cells = std::make_unique<tvrvar*[]>(size_t(num_own) + borrowed.size());
    tvrvar** own = cells.get() + borrowed.size();
    tvr_vm_context* frame = nullptr;
    int made = 0;
    try {
        for (; made < num_own; ++made) own[made] = tvr_new_cell();
        frame = pool.allocate();
        if (frame == nullptr) throw std::bad_alloc();
    } catch (...) {
        while (made > 0) tvr_release_cell(own[--made]);
        throw;
    }
    for (size_t i = 0; i < borrowed.size(); ++i) own[-1 - int(i)] = borrowed[i].cell;
    frame->machine = this;
    frame->cells = cells.release() + borrowed.size();
    frame->member_sites = member_sites.data();
    frame->call_sites = call_sites.data();
    return frame;
}

void tvr_machine_code::free_frame(tvr_vm_context& frame) {
    for (int i = 0; i < num_own; ++i) tvr_release_cell(frame.cells[i]);
    delete[](frame.cells - borrowed.size());
    frame.cells = nullptr;
    frame.base_task = nullptr;
    frame.machine = nullptr;
    frame.caller = nullptr;
    tvr_local().pools->of<tvr_vm_context>().deallocate(&frame);
}

void tvr_machine_code::bind_globals(tvr_vm_context& frame, tvr_task& base) const {
    frame.base_task = &base;
    if (!has_globals || base.root_frame == nullptr) return;
    for (size_t i = 0; i < borrowed.size(); ++i) {
        if (borrowed[i].of != borrowed_cell::kind::global) continue;
        frame.cells[-1 - int(i)] = base.root_frame->cells[borrowed[i].global];
    }
}

tvr_vm_context* tvr_machine_code::find_frame(tvr_task& base) {
    tvr_vm_context* frame = ready;
    if (frame == nullptr) {
        frame = make_frame();
    } else {
        ready = frame->caller;
        --num_ready;
    }
    if (frame->base_task != &base) bind_globals(*frame, base);
    return frame;
}

void tvr_machine_code::release_more(tvr_vm_context& frame) {
    frame.self.release();
    frame.making.release();
    frame.resuming = false;
    frame.holds_more = false;
}

void tvr_machine_code::free_ready_frames() {
    while (ready != nullptr) {
        tvr_vm_context* frame = ready;
        ready = frame->caller;
        free_frame(*frame);
    }
    num_ready = 0;
}

namespace {

// Of records by rising op, the last that begins at or before an operation; null before the first.
template <typename T>
const T* last_before(const std::vector<T>& rows, uint32_t op) {
    auto above = std::upper_bound(rows.begin(), rows.end(), op,
                                  [](uint32_t at, const T& row) { return at < row.op; });
    return above == rows.begin() ? nullptr : &*(above - 1);
}

}  // namespace

const tvr_src_token* tvr_machine_code::token_at(uint32_t op) const {
    const source_place* place = last_before(places, op);
    return place != nullptr ? place->token : nullptr;
}

const tvr_machine_code::handler* tvr_machine_code::handler_at(uint32_t op) const {
    for (const handler& each : handlers) {
        if (op >= each.begin && op < each.end) return &each;
    }
    return nullptr;
}
