#pragma once

// JSON's true and false, which stay apart from 1 and 0. Reckons, compares and answers the truth
// test as the value that it wraps; assignment copies its truth, as it copies numbers. Script
// thread.

#include "runtime/object/object.h"

class tvr_std_json_bool : public tvrobject<tvr_std_json_bool, "json.bool"> {
public:
    static void script_register(tvrobject_metadata& metadata);

    tvr_std_json_bool() = default;
    explicit tvr_std_json_bool(bool truth) : value(truth) {}

    bool truth() { return !value->compare_zero(); }

    std::string to_string() override { return truth() ? "true" : "false"; }
    bool op_is_none() override { return value->is_none(); }
    bool op_compare_zero() override { return !truth(); }
    // Another one that wraps 1 or 0.
    tvrptr_strong<tvrobject_base> op_assign_operator() override;

    bool op_math_add_lhs(tvrvar& other, tvrvar& result) override;
    bool op_math_add_rhs(tvrvar& other, tvrvar& result) override;
    bool op_math_sub_lhs(tvrvar& other, tvrvar& result) override;
    bool op_math_sub_rhs(tvrvar& other, tvrvar& result) override;
    bool op_math_mul_lhs(tvrvar& other, tvrvar& result) override;
    bool op_math_mul_rhs(tvrvar& other, tvrvar& result) override;
    bool op_math_div_lhs(tvrvar& other, tvrvar& result) override;
    bool op_math_div_rhs(tvrvar& other, tvrvar& result) override;

    bool op_compare_equal(tvrvar& other) override { return value->compare_equal(other); }
    bool op_compare_smaller(tvrvar& other, bool or_equal) override {
        return value->compare_smaller(other, or_equal);
    }
    bool op_compare_bigger(tvrvar& other, bool or_equal) override {
        return value->compare_bigger(other, or_equal);
    }

    tvrvar_shared value = tvrvar_shared::make();  // never null, and never this object
};
