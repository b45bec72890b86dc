#include "frontend/program/program_block.h"
#include "runtime/task/task.h"
#include "runtime/value/records.h"
#include "runtime/vm/machine.h"

tvrptr_strong<tvr_task> tvr_program_block_routine::create_task(tvr_task* parent_task) {
    tvrscript* script = tvr_script_local();
    if (script == nullptr) return {};
    tvrptr_strong<tvr_task> task(new tvr_task(*script, parent_task));
    if (kind == tvr_block_kind::root) {
        tvr_push_root(*task, *this);
        return task;
    }
    const tvrvar_shared function = tvrvar_shared::make();
    function->as_function(this, parent_task);
    if (!tvr_push_call(*task, *function->function, {})) return {};
    return task;
}
