// A program that lets a script play its lamps: all that embedding the engine takes.
//
//     embed lamps.tvio

#include <cstdio>

#include "runtime/log/log.h"
#include "runtime/object/object.h"
#include "runtime/object/update_hooks.h"
#include "runtime/script/script.h"

namespace {

int frame = 0;

// A lamp as scripts see it: they set its level, and it fades by itself.
class lamp : public tvrobject<lamp, "stage.lamp">, public tvrobject_update_post {
public:
    static void script_register(tvrobject_metadata& m) {
        add_function(m, "flash", &lamp::flash, 0, 1,
                     {.description = "Lights up, to 1 where no level is given.",
                      .params = {"level: float - 0 to 1"}});
        add_member(
            m, "level", [](lamp& l) { return tvrvar_shared(l.level); },
            [](lamp& l, tvrvar_shared& value) { l.level = value->float_value(); });
    }

    void construct(tvr_vm_context&, tvr_native_args& args) { name = args[0]->string_value(); }

    tvrvar_shared flash(tvr_vm_context&, tvr_native_args& args) {
        level = args.empty() ? 1.0 : args[0]->float_value();
        return tvrvar_shared::make();
    }

    // Once a frame, when the scripts have run: here the program would draw.
    void update_script_post() override {
        std::printf("frame %d: %s %.2f\n", frame, name.c_str(), level);
        level /= 2;
    }

    std::string name;
    double level = 0;  // 0 to 1
};

void register_stage(tvr_namespace& stage) {
    stage.add_class<lamp>("lamp", 1, 1, {.description = "A lamp.", .params = {"name: string"}});
    stage.add_function("frame",
                       [](tvrobject_base*, tvr_vm_context&, tvr_native_args&) { return frame; }, 0,
                       0, {.description = "The number of the frame that is being made."});
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return std::fprintf(stderr, "usage: embed SCRIPT\n"), 2;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);  // in step with what the script prints
    tvr_log_terminal().mask = 0;  // no lines of the engine's own; warnings and errors stay
    tvrscript script;
    tvrscript_config_default config;
    config.name = "lamps";
    if (!script.init(config)) return 1;
    register_stage(script.root_namespace.child("stage"));
    if (!script.create_task_from_file(argv[1])) return 1;
    for (; !script.stop_requested(); ++frame) script.update();
    return script.stop_status();
}
