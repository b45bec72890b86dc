#include "lamp.h"

#include <atomic>
#include <stdexcept>

#include "runtime/local/error_sink.h"
#include "runtime/vm/context.h"

namespace testmod {

namespace {

constinit std::atomic<int64_t> living{0};

}  // namespace

int64_t living_lamps() {
    return living;
}

void lamp::script_register(tvrobject_metadata& m) {
    m.description = "Shines.";
    add_function(m, "fade", &lamp::fade, 1, 2, {.description = "Changes the level."});
    add_function(m, "break_down", &lamp::break_down, 0, 0);
    add_function(m, "explode", &lamp::explode, 0, 0);
    add_function(m, "refuse", &lamp::refuse, 0, 0);
    add_function(m, "each", &lamp::each, 1, 1);
    add_function(m, "measure", &lamp::measure, 1, 1);
    add_member(
        m, "level", [](lamp& self) { return tvrvar_shared(self.level); },
        [](lamp& self, tvrvar_shared& value) { self.level = value->int_value(); });
    add_getter(m, "frames", [](lamp& self) { return tvrvar_shared(self.frames); });
}

lamp::lamp() {
    ++living;
}

lamp::~lamp() {
    end_measuring();
    --living;
}

void lamp::construct(tvr_vm_context&, tvr_native_args& args) {
    level = args.empty() ? 0 : args[0]->int_value();
}

void lamp::update_script_pre() {
    frames += '<';
}

void lamp::update_script_post() {
    frames += '>';
}

bool lamp::op_math_add_lhs(tvrvar& other, tvrvar& result) {
    if (!other.is_number()) return false;
    result.as_int(level + other.int_value());
    return true;
}

bool lamp::op_math_mul_rhs(tvrvar& other, tvrvar& result) {
    result.as_int(other.int_value() * level);
    return true;
}

bool lamp::op_compare_equal(tvrvar& other) {
    return other.is_number() && other.int_value() == level;
}

tvrvar_shared lamp::op_get_member(int64_t index) {
    return level * index;
}

tvrvar_shared lamp::fade(tvr_vm_context&, tvr_native_args& args) {
    level += args[0]->int_value() * (args.size() > 1 ? args[1]->int_value() : 1);
    tvrvar_shared self = tvrvar_shared::make();
    self->as_object(this);
    return self;
}

tvrvar_shared lamp::break_down(tvr_vm_context&, tvr_native_args&) {
    throw std::runtime_error("the lamp is broken");
}

tvrvar_shared lamp::explode(tvr_vm_context&, tvr_native_args&) {
    throw 42;
}

tvrvar_shared lamp::refuse(tvr_vm_context&, tvr_native_args&) {
    runtime_error("lamp.refuse: no");
    return {};
}

// Calls a function of the script for each step of the level, until it fails; the sum of what came
// back.
tvrvar_shared lamp::each(tvr_vm_context&, tvr_native_args& args) {
    tvrvar_shared sum(0);
    for (int64_t i = 0; i < level; ++i) {
        std::vector<tvrvar_shared> step{tvrvar_shared(i)};
        tvrvar_shared result;
        if (!tvr_task::call(*args[0], step, result)) return {};
        if (result->is_number()) sum->increment_value(*result);
    }
    return sum;
}

void lamp::end_measuring() {
    if (measuring.joinable()) measuring.join();
    measured.release();
}

// Suspends its task; another thread brings the result: the level, or for a false argument an error.
tvrvar_shared lamp::measure(tvr_vm_context& frame, tvr_native_args& args) {
    end_measuring();
    measured.acquire(frame.task);
    frame.suspend_wait();
    // What the thread holds must not be the lamp itself, whose end waits for the thread.
    measuring = std::thread([task = frame.task, good = args[0]->bool_value(), seen = level,
                             kept = tvrptr_strong<tvrobject_base>(new lamp)]() mutable {
        task->task_resume_from_thread(good, std::move(kept),
                                      good ? tvrvar_shared(seen) : tvrvar_shared("too dark"));
    });
    return {};
}

}  // namespace testmod
