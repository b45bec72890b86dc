#include <algorithm>
#include <cstdio>

#include "host/command.h"
#include "host/monitor/modes.h"
#include "host/monitor/options.h"
#include "host/monitor/source.h"

namespace monitor {

namespace {

int run_mode(const watch& w) {
    if (w.asked.json) return run_json(w);
    return run_text(w);
}

}  // namespace

bool watch::over(double now) const {
    if (asked.for_seconds > 0 && now - started >= asked.for_seconds) return true;
    tvr_lock hold(session->mutex);
    return asked.once && session->replay_ended;
}

bool watch::ended_by(const std::vector<int>& signals) {
    return std::any_of(signals.begin(), signals.end(), signal_watch::asks_to_end);
}

int run(const options& asked) {
    const signal_watch signals;  // first: the session's thread inherits the blocked signals
    std::string error;
    const auto session = open_source(asked, error);
    if (!session) {
        std::fprintf(stderr, "tavro: %s\n", error.c_str());
        return host::exit_failed;
    }
    const watch w{asked, session, signals, deckbus::now_s()};
    return run_mode(w);
}

}  // namespace monitor
