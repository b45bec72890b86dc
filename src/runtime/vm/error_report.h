#pragma once

// What a script writer sees when something goes wrong at run time: the message, the place in the
// source, and the call stack. The interpreter installs this sink on every thread that runs its
// scripts.

#include <string>
#include <string_view>

#include "runtime/local/error_sink.h"

class tvr_task;

class tvr_vm_errors : public tvr_error_sink {
public:
    // Stops the running task at the end of its instruction, or hands the message to the catch that
    // it is inside of; then it is in the verbose log only. Without a task it is an error line.
    void on_runtime_error(const std::string& message) override;
    void on_runtime_warning(const std::string& message) override;
};

// The block that a report prints: heading between rules, place, source line with marker, and the
// call stack; of more than 30 frames the first 10 and a count of the others.
std::string tvr_runtime_report(std::string_view heading, std::string_view message,
                               const tvr_task& task);
