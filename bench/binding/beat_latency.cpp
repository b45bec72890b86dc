// From a byte on the board's port to the callback in a script.
//
//   beat_latency [FPS [COUNT]]
//
// A thread plays the board on a pseudo terminal; the main thread runs an interpreter as hosts do, a
// frame and a sleep. "ours" leaves the wait for the frame out: from the byte to the state, and from
// the start of the frame to the callback.

#include <pty.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "../alone.h"
#include "base/clock.h"
#include "bench_stage.h"
#include "deck/session.h"
#include "deck/state.h"
#include "runtime/local/thread_local.h"

namespace {

struct beat_times {
    double sent = 0, fed = 0, frame = 0, called = 0;  // s
};

void play_board(int fd, std::vector<beat_times>& beats) {
    for (size_t i = 0; i < beats.size(); ++i) {
        const std::string line = R"({"t":"beat","n":1,"bpm":124.0,"bb":1,"beat":)" +
                                 std::to_string(i + 1) + R"(,"cue":8,"master":true})" + "\n";
        beats[i].sent = tvr_now_s();
        if (write(fd, line.data(), line.size()) < 0) bench_fail("the terminal is gone");
        std::this_thread::sleep_for(std::chrono::microseconds(5000 + i * 7919 % 4000));
    }
}

}  // namespace

int main(int argc, char** argv) {
    const double fps = argc > 1 ? std::atof(argv[1]) : 60;
    const size_t count = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1000;
    if (fps <= 0 || count == 0) bench_fail("usage: beat_latency [FPS [COUNT]]");
    int board = -1, other_end = -1;
    char port[128];
    termios raw{};
    cfmakeraw(&raw);
    if (openpty(&board, &other_end, port, &raw, nullptr) != 0) bench_fail("no terminal");

    std::vector<beat_times> beats(count);
    double frame_start = 0;
    size_t heard = 0;
    bench_stage stage;
    stage.script.root_namespace.child("bench").add_function(
        "heard",
        [&](tvrobject_base*, tvr_vm_context&, tvr_native_args& args) {
            beat_times& beat = beats[size_t(args[0]->deref()->int_value()) - 1];
            beat.called = tvr_now_s();
            beat.frame = frame_start;
            ++heard;
            return tvrvar_shared();
        },
        1, 1);
    const auto session = deckbus::session::open_serial(port);
    std::atomic<size_t> fed{0};
    {
        tvr_lock hold(session->mutex);
        session->line_tap = [&](std::string_view, double) { beats[fed++].fed = tvr_now_s(); };
    }
    stage.start(tvr_join(
        "d = deckbus.device(); d.on_beat((b) { bench.heard(b.beat); });\nd.open(\"", port, "\");"));
    std::thread player(play_board, board, std::ref(beats));
    double next = tvr_now_s();
    while (heard < count) {
        frame_start = tvr_now_s();
        stage.script.update();
        next = std::max(next + 1.0 / fps, tvr_now_s());
        while (tvr_now_s() < next) tvr_local().wait_for_wakeup(next);
    }
    player.join();

    std::vector<double> total, transport, script, ours;
    for (const beat_times& b : beats) {
        total.push_back(b.called - b.sent);
        transport.push_back(b.fed - b.sent);
        script.push_back(b.called - b.frame);
        ours.push_back(b.fed - b.sent + b.called - b.frame);
    }
    std::printf("%zu beats at %.0f frames a second\n", count, fps);
    bench_tell("byte to callback", total);
    bench_tell("byte to state", transport);
    bench_tell("frame's start to callback", script);
    bench_tell("ours", ours);
    tvr_lock hold(session->mutex);
    session->line_tap = nullptr;
}
