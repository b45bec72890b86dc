// Scripts loaded, run for a few frames and dropped, over and over, each in an interpreter of its
// own, on two threads: what a program does whose scripts are edited while it plays.
//
//   soak_reloads PACKAGES SCRIPTS CLUB MADE CALM
//
// PACKAGES and SCRIPTS are folders, CLUB and MADE recordings for the scripts. Once a second it
// prints "reloads" and its counts; whatever else it says is wrong. While a file CALM exists no
// interpreter is alive. SIGINT and SIGTERM end it.

#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"
#include "runtime/object/metadata.h"
#include "runtime/script/script.h"

namespace {

std::atomic<bool> ending{false};  // set by signals, read by all
std::atomic<int> calm_threads{0};
std::atomic<int64_t> loads{0}, frames{0}, beats{0}, refused{0};

// How a script ends. What a show leaves in the pools is a fault; rings are opened at the end.
enum class end_of { itself, the_host, a_stop };

struct script_kind {
    const char* file;
    end_of ends;
    bool compiles;
    bool leaves_rings;
};

constexpr script_kind kinds[] = {
    {"show.tvio", end_of::the_host, true, false},
    {"shared.tvio", end_of::the_host, true, false},
    {"network.tvio", end_of::the_host, true, false},
    {"waiting.tvio", end_of::the_host, true, false},
    {"rings.tvio", end_of::itself, true, true},
    {"failing.tvio", end_of::itself, true, false},
    {"endless.tvio", end_of::a_stop, true, false},
    {"wrong.tvio", end_of::itself, false, false},
};

// Says aloud what no script may bring about.
class strict_log : public tvr_log_base {
public:
    explicit strict_log(const script_kind& running) : kind(running) {}

    void on_output(std::string_view text) override {
        if (text != "beat") return complain(text);
        beats++;
    }
    void on_log(std::string_view text) override {
        if (text.starts_with("Script shutdown") && !kind.leaves_rings) complain(text);
    }
    void on_error(std::string_view text) override {
        const bool meant = text.find("on purpose") != text.npos ||
                           (!kind.compiles && text.find("pool") == text.npos);
        if (!meant) complain(text);
    }

private:
    void complain(std::string_view what) {
        std::printf("%s: %.*s\n", kind.file, int(what.size()), what.data());
        std::fflush(stdout);
    }

    const script_kind& kind;
};

struct folders {
    std::string packages, scripts, club, made, calm;
};

std::string text_of(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A few dozen texts come about: the number changes lines, kernels and names, as an edit would.
std::string edited(const folders& in, const script_kind& kind, uint64_t number) {
    constexpr uint64_t edits = 8;
    const std::string digits = std::to_string(number % edits);
    std::string text = text_of(in.scripts + "/" + kind.file);
    for (size_t at; (at = text.find("EDIT")) != text.npos;) text.replace(at, 4, digits);
    return text;
}

void play(tvrscript& script, const script_kind& kind, uint64_t number) {
    constexpr double frame_s = 1.0 / 60;
    const uint64_t count = 2 + number % 12;
    std::thread stopper;
    if (kind.ends == end_of::a_stop) {
        stopper = std::thread([&script] {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            script.request_stop(0);
        });
    }
    for (uint64_t i = 0; i < count && !script.stop_requested(); ++i) {
        const double next = tvr_now_s() + frame_s;
        script.update();
        frames++;
        while (tvr_now_s() < next && tvr_local().wait_for_wakeup(next)) {
        }
    }
    if (stopper.joinable()) stopper.join();
}

void load(const folders& in, uint64_t number) {
    const script_kind& kind = kinds[number % std::size(kinds)];
    strict_log log(kind);
    tvrscript script;
    tvrscript_config_default config;
    config.name = kind.file;
    config.log = &log;
    config.search_paths = {in.packages, in.scripts};
    config.args = {in.club, in.made};
    if (!script.init(config)) return log.on_output("no interpreter");
    const auto task = script.create_task_from_code(edited(in, kind, number / std::size(kinds)),
                                                   in.scripts + "/" + kind.file);
    if (bool(task) != kind.compiles) return log.on_output(task ? "compiled" : "did not compile");
    if (!task) {
        refused++;
        return;
    }
    play(script, kind, number);
    loads++;
}

// One step of its own for each thread, so that all kinds meet all others.
void load_over_and_over(const folders& in, uint64_t step) {
    tvr_local().set_thread_name("loader");
    bool was_calm = false;
    for (uint64_t number = step; !ending; number += was_calm ? 0 : step) {
        const bool calm = std::filesystem::exists(in.calm);
        if (calm != was_calm) calm_threads += calm ? 1 : -1;
        was_calm = calm;
        if (!calm) load(in, number);
        constexpr std::chrono::milliseconds rest{30};
        std::this_thread::sleep_for(rest);
    }
}

void tell(bool calm) {
    std::printf("reloads loads=%lld refused=%lld frames=%lld beats=%lld calm=%d\n",
                (long long)loads.load(), (long long)refused.load(), (long long)frames.load(),
                (long long)beats.load(), int(calm));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 6) return std::fprintf(stderr, "usage: see the head of reloads.cpp\n"), 2;
    const folders in{argv[1], argv[2], argv[3], argv[4], argv[5]};
    for (const int signal : {SIGINT, SIGTERM}) std::signal(signal, [](int) { ending = true; });
    std::array<std::thread, 2> threads = {std::thread(load_over_and_over, std::cref(in), 3),
                                          std::thread(load_over_and_over, std::cref(in), 5)};
    while (!ending) {
        tell(calm_threads == int(threads.size()));
        sleep(1);  // a signal ends it
    }
    for (std::thread& thread : threads) thread.join();
    tell(true);
    return 0;
}
