#pragma once

// All lowered code of an interpreter, whose ready frames hold cells of its pools.
//
// Emptied by the interpreter before its pools are looked at for what is left. Script thread.

#include <memory>
#include <vector>

#include "runtime/object/function_def.h"

class tvr_machine_code;

class tvr_frame_store {
public:
    tvr_frame_store() = default;
    tvr_frame_store(const tvr_frame_store&) = delete;
    tvr_frame_store& operator=(const tvr_frame_store&) = delete;

    // Gives every ready frame's cells back, and the code itself, which the next call would make
    // anew. No task has a frame any more but for the globals.
    void clear();

    // For tvr_machine_code: enters and leaves.
    void add(tvr_machine_code& code);
    void remove(tvr_machine_code& code);

    // An empty argument vector for a native call, and back. Used again, so that a call allocates
    // nothing.
    tvr_native_args* take_args();
    void give_args(tvr_native_args* args);

private:
    tvr_machine_code* first = nullptr;
    std::vector<std::unique_ptr<tvr_native_args>> free_args;
};
