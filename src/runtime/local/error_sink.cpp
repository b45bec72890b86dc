#include "runtime/local/error_sink.h"

#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"

void tvr_report_error(const std::string& message) {
    if (tvr_error_sink* sink = tvr_local().errors) {
        sink->on_runtime_error(message);
    } else {
        tvr_log().err(message);
    }
}

void tvr_report_warning(const std::string& message) {
    if (tvr_error_sink* sink = tvr_local().errors) {
        sink->on_runtime_warning(message);
    } else {
        tvr_log().warn(message);
    }
}
