#pragma once

// A native class that throws wherever the engine calls it.

#include <string>

#include "runtime/object/object.h"
#include "runtime/object/update_hooks.h"

namespace testmod {

class dud : public tvrobject<dud, "testmod.dud">,
            public tvrobject_update_pre,
            public tvrobject_update_post {
public:
    static void script_register(tvrobject_metadata& m);

    void construct(tvr_vm_context& frame, tvr_native_args& args);  // throws when it gets one
    void update_script_pre() override;
    void update_script_post() override;

    std::string to_string() override;
    bool op_math_add_lhs(tvrvar& other, tvrvar& result) override;
    bool op_math_mul_rhs(tvrvar& other, tvrvar& result) override;
    bool op_compare_equal(tvrvar& other) override;
    bool op_compare_smaller(tvrvar& other, bool or_equal) override;
    bool op_compare_zero() override;
    int64_t op_get_size() override;
    tvrvar_shared op_get_member(int64_t index) override;
    void op_set_member(int64_t index, tvrvar_shared value) override;
    using tvrobject_base::op_get_member;
    using tvrobject_base::op_set_member;
};

}  // namespace testmod
