// std: what a script says.

#include "runtime/local/error_sink.h"
#include "runtime/log/log.h"
#include "runtime/object/namespaces.h"
#include "stdobj/core_namespaces.h"

namespace {

std::string joined(const tvr_native_args& args) {
    std::string line, scratch;
    for (size_t i = 0; i < args.size(); ++i) {
        if (i > 0) line += ' ';
        const tvrvar_shared value = args[i]->deref();
        line += value->text_view(scratch);
    }
    return line;
}

tvrvar_shared say(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    tvr_log().print(joined(args));
    return {};
}

// Past the level mask, which is for the engine's own lines.
tvrvar_shared say_log(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    tvr_log().on_log(joined(args));
    return {};
}

tvrvar_shared say_warning(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    tvr_log().warn(joined(args));
    return {};
}

tvrvar_shared say_error(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    tvr_log().err(joined(args));
    return {};
}

tvrvar_shared fail(tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
    runtime_error(joined(args));
    return {};
}

}  // namespace

void tvr_fill_std_output(tvr_namespace& std) {
    constexpr uint32_t any = tvr_function_def::any_number;
    const char* values = "...: any - values, joined by single blanks";
    std.add_function("print", say, 0, any,
                     {.description = "Writes a line of text to the output.",
                      .params = {values},
                      .examples = {"std.print(\"bpm\", 128);"}});
    std.add_function("log", say_log, 0, any,
                     {.description = "Writes a line to the log.", .params = {values}});
    std.add_function("warn", say_warning, 0, any,
                     {.description = "Writes a warning to the log.", .params = {values}});
    std.add_function("error", say_error, 0, any,
                     {.description = "Writes an error line to the log. The script goes on.",
                      .params = {values}});
    std.add_function("raise", fail, 1, 1,
                     {.description = "A runtime error, which the next catch receives.",
                      .params = {"message: string - what went wrong"}});
}
