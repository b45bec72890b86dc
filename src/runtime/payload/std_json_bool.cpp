#include "runtime/payload/std_json_bool.h"

#include "runtime/value/arithmetic.h"

void tvr_std_json_bool::script_register(tvrobject_metadata& metadata) {
    add_member(
        metadata, "value", [](tvr_std_json_bool& object) { return object.value; },
        [](tvr_std_json_bool& object, tvrvar_shared& wrapped) {
            // Not one inside the other: a chain of wrappers could close into a ring.
            if (wrapped->object<tvr_std_json_bool>() != nullptr) {
                object.value = tvrvar_shared(wrapped->object<tvr_std_json_bool>()->truth());
            } else {
                object.value = tvrvar_shared::make();
                object.value->set(wrapped);
            }
        },
        "The wrapped value.");
}

tvrptr_strong<tvrobject_base> tvr_std_json_bool::op_assign_operator() {
    return tvrptr_strong<tvrobject_base>(new tvr_std_json_bool(truth()));
}

bool tvr_std_json_bool::op_math_add_lhs(tvrvar& other, tvrvar& result) {
    return tvrvar_add(*value, other, result);
}
bool tvr_std_json_bool::op_math_add_rhs(tvrvar& other, tvrvar& result) {
    return tvrvar_add(other, *value, result);
}
bool tvr_std_json_bool::op_math_sub_lhs(tvrvar& other, tvrvar& result) {
    return tvrvar_sub(*value, other, result);
}
bool tvr_std_json_bool::op_math_sub_rhs(tvrvar& other, tvrvar& result) {
    return tvrvar_sub(other, *value, result);
}
bool tvr_std_json_bool::op_math_mul_lhs(tvrvar& other, tvrvar& result) {
    return tvrvar_mult(*value, other, result);
}
bool tvr_std_json_bool::op_math_mul_rhs(tvrvar& other, tvrvar& result) {
    return tvrvar_mult(other, *value, result);
}
bool tvr_std_json_bool::op_math_div_lhs(tvrvar& other, tvrvar& result) {
    return tvrvar_div(*value, other, result);
}
bool tvr_std_json_bool::op_math_div_rhs(tvrvar& other, tvrvar& result) {
    return tvrvar_div(other, *value, result);
}
