#include <unistd.h>

#include <algorithm>
#include <ctime>

#include "host/command.h"
#include "host/monitor/line_output.h"
#include "host/monitor/modes.h"

namespace monitor {

namespace {

constexpr double snapshot_interval_s = 1.0;
constexpr double longest_wait_s = 0.02;

// Built under the lock, turned into text without it. Comments of cues may hold broken UTF-8.
std::string snapshot_line(deckbus::session& session, double now) {
    deckbus::json view;
    {
        tvr_lock hold(session.mutex);
        view = session.state.snapshot(now);
        view["status"] = session.status;
        view["historyCount"] = session.state.history.size();
    }
    view["time"] = int64_t(std::time(nullptr));
    return view.dump(-1, ' ', false, deckbus::json::error_handler_t::replace);
}

}  // namespace

int run_json(const watch& w) {
    // A recording waits for its first listener; the events themselves are not shown here.
    const auto queue = w.session->attach();
    line_output out(STDOUT_FILENO);
    double due = w.started + snapshot_interval_s;
    bool over = false;
    while (!over && out.pump()) {
        const double now = deckbus::now_s();
        over = w.over(now);
        if (now >= due || over) {
            out.add(snapshot_line(*w.session, now));
            due = std::max(due + snapshot_interval_s, now);
        }
        if (over) break;
        over =
            watch::ended_or_stopped_by(w.signals.wait(std::clamp(due - now, 0.0, longest_wait_s)));
    }
    w.signals.release();
    out.drain();
    if (out.problem().empty()) return host::exit_ok;
    return host::fail("Cannot write to standard output: " + out.problem());
}

}  // namespace monitor
