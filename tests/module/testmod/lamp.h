#pragma once

// A native class of another library, with everything that one can do.

#include <string>
#include <thread>

#include "runtime/object/object.h"
#include "runtime/object/update_hooks.h"
#include "runtime/task/task.h"

namespace testmod {

class lamp : public tvrobject<lamp, "testmod.lamp">,
             public tvrobject_update_pre,
             public tvrobject_update_post {
public:
    static void script_register(tvrobject_metadata& m);

    lamp();
    ~lamp() override;

    void construct(tvr_vm_context& frame, tvr_native_args& args);
    void update_script_pre() override;
    void update_script_post() override;

    bool op_math_add_lhs(tvrvar& other, tvrvar& result) override;
    bool op_math_mul_rhs(tvrvar& other, tvrvar& result) override;
    bool op_compare_equal(tvrvar& other) override;
    using tvrobject_base::op_get_member;
    tvrvar_shared op_get_member(int64_t index) override;
    int64_t op_get_size() override { return level; }

    int64_t level = 0;
    std::string frames;  // "<" and ">" for each call of a hook

private:
    tvrvar_shared fade(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared break_down(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared explode(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared refuse(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared each(tvr_vm_context& frame, tvr_native_args& args);
    tvrvar_shared measure(tvr_vm_context& frame, tvr_native_args& args);

    void end_measuring();

    std::thread measuring;             // joined before the next one and at the end
    tvrptr_strong<tvr_task> measured;  // that it will resume; held until then on a script thread
};

int64_t living_lamps();

}  // namespace testmod
