// std: time, the host and the environment.

#include <chrono>
#include <cmath>
#include <cstdlib>

#include "runtime/object/namespaces.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/script.h"
#include "runtime/vm/context.h"
#include "stdobj/arguments.h"
#include "stdobj/core_namespaces.h"

namespace {

tvrvar_shared millis(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    return tvr_millis();
}

tvrvar_shared time_of_day(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    using seconds = std::chrono::duration<double>;
    return seconds(std::chrono::system_clock::now().time_since_epoch()).count();
}

// Fractions of a millisecond are rounded up: who waits for 0.5 ms must not spin.
tvrvar_shared suspend(tvrobject_base*, tvr_vm_context& frame, tvr_native_args& args) {
    constexpr double longest_ms = 1e15;  // some thirty thousand years
    const tvr_arguments given("std.wait", args);
    const auto ms = given.number(0, "ms");
    if (!ms) return {};
    if (!(*ms >= 0.0 && *ms <= longest_ms)) {
        given.refuse(0, "ms", "a time from 0 on");
        return {};
    }
    frame.suspend_schedule(int64_t(std::ceil(*ms)));
    return {};
}

tvrvar_shared end_run(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    constexpr int64_t largest_status = 255;
    const tvr_arguments given("std.exit", args);
    const auto status = given.count() > 0 ? given.whole(0, "code") : 0;
    if (!status) return {};
    if (*status < 0 || *status > largest_status) {
        given.refuse(0, "code", "an exit status from 0 to 255");
        return {};
    }
    tvr_script_local()->request_stop(int(*status));
    return {};
}

tvrvar_shared args_of_run(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    tvrvar_shared list = tvrvar_shared::make();
    tvr_std_json& json = list->as_json(true);
    for (const std::string& arg : tvr_script_local()->config.args) json.push_back(arg);
    return list;
}

tvrvar_shared environment(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    const auto name = tvr_arguments("std.env", args).text(0, "name");
    if (!name) return {};
    const char* value = std::getenv(name->c_str());
    return value != nullptr ? tvrvar_shared(value) : tvrvar_shared();
}

tvrvar_shared collect(tvrobject_base*, tvr_vm_context&, tvr_native_args&) {
    tvr_script_local()->collect_garbage();
    return {};
}

void fill_time(tvr_namespace& std) {
    std.add_function("millis", millis, 0, 0,
                     {.description = "Milliseconds of a clock that only goes forward, as int."});
    std.add_function("time", time_of_day, 0, 0,
                     {.description = "Seconds since the beginning of 1970 UTC, as float."});
    std.add_function("wait", suspend, 1, 1,
                     {.description = "Suspends the calling task. Other tasks and the objects' "
                                     "events go on.",
                      .params = {"ms: number - milliseconds; 0 is until the next frame"}});
}

}  // namespace

void tvr_fill_std_host(tvr_namespace& std) {
    fill_time(std);
    std.add_function("exit", end_run, 0, 1,
                     {.description = "Ends the run in an orderly way.",
                      .params = {"code: int - the exit status, 0 to 255; 0 if left out"}});
    std.add_function("args", args_of_run, 0, 0,
                     {.description = "The arguments behind the script's file, as list of strings.",
                      .returns_class = "std.json"});
    std.add_function("env", environment, 1, 1,
                     {.description = "An environment variable, None when it is not set.",
                      .params = {"name: string - its name"}});
    std.add_function("collect", collect, 0, 0,
                     {.description = "Takes in at once what other threads have freed. For tests."});
}
