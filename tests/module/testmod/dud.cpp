#include "dud.h"

#include <stdexcept>

#include "runtime/vm/context.h"

namespace testmod {

namespace {

[[noreturn]] void fail(const char* where) {
    throw std::runtime_error(std::string("dud in ") + where);
}

}  // namespace

void dud::script_register(tvrobject_metadata& m) {
    add_member(
        m, "level", [](dud&) -> tvrvar_shared { fail("getter"); },
        [](dud&, tvrvar_shared&) { fail("setter"); });
}

void dud::construct(tvr_vm_context&, tvr_native_args& args) {
    if (!args.empty()) fail("constructor");
}

void dud::update_script_pre() {
    fail("hook before");
}

void dud::update_script_post() {
    throw 42;
}

std::string dud::to_string() {
    fail("text");
}

bool dud::op_math_add_lhs(tvrvar&, tvrvar&) {
    fail("sum");
}

bool dud::op_math_mul_rhs(tvrvar&, tvrvar&) {
    throw 42;
}

bool dud::op_compare_equal(tvrvar&) {
    fail("equality");
}

bool dud::op_compare_smaller(tvrvar&, bool) {
    fail("comparison");
}

bool dud::op_compare_zero() {
    fail("truth");
}

int64_t dud::op_get_size() {
    fail("size");
}

tvrvar_shared dud::op_get_member(int64_t) {
    fail("element");
}

void dud::op_set_member(int64_t, tvrvar_shared) {
    fail("assigned element");
}

}  // namespace testmod
