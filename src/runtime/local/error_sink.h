#pragma once

// How code below the virtual machine reports what goes wrong in a script.
//
//     runtime_error("std.random.int: lo is ", lo, ", above hi, which is ", hi);
//     return {};
//
// Nothing is thrown: the message goes to the sink of the running interpreter, which stops the
// task or hands the message to its catch, and the caller returns none. Without a sink it is an
// error or a warning in the log. Thread: one that runs script code.

#include <string>

#include "base/join.h"

class tvr_error_sink {
public:
    virtual ~tvr_error_sink() = default;
    virtual void on_runtime_error(const std::string& message) = 0;
    virtual void on_runtime_warning(const std::string& message) = 0;
};

void tvr_report_error(const std::string& message);
void tvr_report_warning(const std::string& message);

template <typename... T>
void runtime_error(const T&... parts) {
    tvr_report_error(tvr_join(parts...));
}

template <typename... T>
void runtime_warning(const T&... parts) {
    tvr_report_warning(tvr_join(parts...));
}
