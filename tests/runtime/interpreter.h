#pragma once

// An interpreter on the calling thread, with all that it says.

#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/clock.h"
#include "runtime/local/thread_local.h"
#include "runtime/log/log.h"
#include "runtime/script/script.h"

namespace tavro::test {

// Keeps what is said: what scripts print as it is, the rest behind a letter for its level.
class listening_log : public tvr_log_base {
public:
    listening_log() { mask = level_log | level_verbose; }
    void on_output(std::string_view text) override { keep("", text); }
    void on_log(std::string_view text) override { keep("L ", text); }
    void on_error(std::string_view text) override { keep("E ", text); }
    void on_warn(std::string_view text) override { keep("W ", text); }
    void on_verbose(std::string_view text) override { keep("V ", text); }

    // What was said since the last call, each with a bar behind it. Log lines, which tell of times,
    // are left out.
    std::string said() {
        const std::lock_guard hold(mutex);
        std::string all;
        for (const std::string& line : lines) {
            if (!line.starts_with("L ") && !line.starts_with("V ")) all += line + "|";
        }
        lines.clear();
        return all;
    }

    bool heard(std::string_view part) {
        const std::lock_guard hold(mutex);
        for (const std::string& line : lines) {
            if (line.find(part) != std::string::npos) return true;
        }
        return false;
    }

private:
    void keep(const char* mark, std::string_view text) {
        const std::lock_guard hold(mutex);
        lines.push_back(mark + std::string(text));
    }

    std::mutex mutex;
    std::vector<std::string> lines;
};

// With workers or without; what is wrong in the pools at its end is an error in the log.
class interpreter {
public:
    explicit interpreter(listening_log& to, bool workers = false,
                         tvrscript_config_default config = {}) {
        config.log = &to;
        bound = workers ? script.init(config) : script.init_minimal(config);
    }

    tvrptr_strong<tvr_task> start(const std::string& text) {
        return script.create_task_from_code(text, "<memory>");
    }

    // Frames until nothing is left that could go on, or the condition is true; it sleeps in
    // between.
    template <typename CONDITION>
    void run_until(CONDITION done) {
        constexpr double frame_s = 0.01, ms_per_s = 1000;
        while (!done() && script.has_work()) {
            script.update();
            const int64_t wake_ms = script.next_wake_ms();
            if (wake_ms < 0 || done() || !script.has_work()) continue;
            const double frame = tvr_now_s() + frame_s;
            const bool hooks = script.updates.live() > 0;
            tvr_local().wait_for_wakeup(hooks ? frame : double(wake_ms) / ms_per_s);
        }
    }
    void run_to_end() {
        run_until([] { return false; });
    }

    tvrscript script;
    bool bound = false;
};

}  // namespace tavro::test
