#pragma once

// Pushing frames: what all calls share.

#include <cstddef>
#include <cstdint>

class tvr_program_block_class;
class tvr_program_block_routine;
class tvr_task;
class tvr_vm_context;
struct tvrvar_ptr_function;

// Whether a function takes so many arguments; else a runtime error. Too few are none where the
// function has no defaults.
bool tvr_check_arguments(const tvr_program_block_routine& routine, size_t count);

// The same for a class that has no constructor, and none of abstract methods for any.
bool tvr_check_no_arguments(size_t count);
bool tvr_check_class(const tvr_program_block_class& definition);

// Pushes a frame with all cells reset onto a task. Null after a runtime error: the depth limit, or
// a function that cannot be lowered.
tvr_vm_context* tvr_push_frame(tvr_task& task, tvr_program_block_routine& routine, tvr_task& base,
                               uint32_t depth);

// Copies what a lambda has captured into the variables behind its parameters.
void tvr_set_captures(tvr_vm_context& frame, const tvrvar_ptr_function& lambda);
