// What a device costs a frame: a visuals script on four loaded decks, beside an idle script and
// beside what the decks alone need for the same questions.

#include <benchmark/benchmark.h>

#include "bench_stage.h"
#include "binding/device.h"
#include "binding/script_value.h"
#include "deck/recording.h"

using deckbus::json;

namespace {

// The example set up to where four decks have their tracks.
std::shared_ptr<deckbus::session> loaded_decks() {
    const auto decks = deckbus::session::open_network();
    std::string error;
    const deckbus::recording lines = deckbus::load_recording(TAVRO_EXAMPLE, error);
    tvr_lock hold(decks->mutex);
    for (const auto& entry : lines) decks->feed(entry.line, deckbus::now_s());
    int loaded = 0;
    for (int n = 1; n <= 4; ++n) loaded += decks->state.track_of(n) != nullptr ? 1 : 0;
    if (loaded < 4) {
        std::fprintf(stderr, "only %d decks are loaded\n", loaded);
        std::exit(1);
    }
    return decks;
}

// A script with an attached device `d`.
class device_stage : public bench_stage {
public:
    explicit device_stage(const std::string& text) {
        script.root_namespace.child("bench").add_function(
            "attach",
            [this](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
                args[0]->deref()->object<tvr_deckbus>()->attach(decks);
                return tvrvar_shared();
            },
            1, 1);
        start("d = deckbus.device(); bench.attach(d);\n" + text);
    }

    void frame() {
        {
            tvr_lock hold(decks->mutex);
            decks->feed(R"({"t":"beat","n":1,"bpm":124.0,"bb":1,"beat":33,"cue":8,"master":true})",
                        deckbus::now_s());
        }
        script.update();
    }

    std::shared_ptr<deckbus::session> decks = loaded_decks();
};

void run_frames(benchmark::State& run, const char* text) {
    device_stage stage(text);
    stage.frame();
    for (auto _ : run) stage.frame();
}

void idle_frame(benchmark::State& run) {
    run_frames(run, "for (true) std.wait(0);");
}
BENCHMARK(idle_frame)->Unit(benchmark::kMicrosecond);

void visuals_frame(benchmark::State& run) {
    run_frames(run,
               "beats = 0; d.on_beat((b) { beats = beats + 1; });\n"
               "for (true) { s = d.state(); a = d.player(1); b = d.player(2); e = d.events();"
               " x = a.beatPhase + b.low; std.wait(0); }");
}
BENCHMARK(visuals_frame)->Unit(benchmark::kMicrosecond);

void questions_alone(benchmark::State& run) {
    const auto decks = loaded_decks();
    for (auto _ : run) {
        tvr_lock hold(decks->mutex);
        benchmark::DoNotOptimize(decks->state.snapshot(deckbus::now_s()));
        benchmark::DoNotOptimize(decks->state.player_json(1, deckbus::now_s()));
        benchmark::DoNotOptimize(decks->state.player_json(2, deckbus::now_s()));
    }
}
BENCHMARK(questions_alone)->Unit(benchmark::kMicrosecond);

json snapshot() {
    const auto decks = loaded_decks();
    tvr_lock hold(decks->mutex);
    return decks->state.snapshot(deckbus::now_s());
}

void snapshot_to_value(benchmark::State& run) {
    const bench_stage stage;
    const json all = snapshot();
    for (auto _ : run) benchmark::DoNotOptimize(deckbus::to_var(all));
}
BENCHMARK(snapshot_to_value)->Unit(benchmark::kMicrosecond);

void snapshot_through_text(benchmark::State& run) {
    const bench_stage stage;
    const json all = snapshot();
    for (auto _ : run) {
        const tvrvar_shared made = tvrvar_shared::make();
        made->from_string(all.dump());
    }
}
BENCHMARK(snapshot_through_text)->Unit(benchmark::kMicrosecond);

void texture_alone(benchmark::State& run) {
    const auto decks = loaded_decks();
    deckbus::bytes pixels;
    for (auto _ : run) {
        tvr_lock hold(decks->mutex);
        decks->state.deck_texture(1, pixels);
    }
    run.SetBytesProcessed(run.iterations() * int64_t(pixels.size()));
}
BENCHMARK(texture_alone)->Unit(benchmark::kMicrosecond);

void texture_to_value(benchmark::State& run) {
    run_frames(run, "for (true) { t = d.deck_texture(1); std.wait(0); }");
}
BENCHMARK(texture_to_value)->Unit(benchmark::kMicrosecond);

}  // namespace
