#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>

#include "host/command.h"
#include "host/monitor/collector.h"
#include "host/monitor/modes.h"
#include "host/monitor/options.h"
#include "host/monitor/poster.h"
#include "host/monitor/source.h"

namespace monitor {

namespace {

int run_mode(const watch& w) {
    if (w.asked.json) return run_json(w);
    return isatty(STDOUT_FILENO) != 0 ? run_live(w) : run_text(w);
}

int save_poster(const watch& w) {
    std::string error;
    const raster picture = draw_poster(collector(w.session).collect(deckbus::now_s()));
    if (write_png(picture, w.asked.png, error)) return host::exit_ok;
    std::fprintf(stderr, "tavro: %s\n", error.c_str());
    return host::exit_failed;
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

bool watch::ended_or_stopped_by(const std::vector<int>& signals) {
    const bool ended = ended_by(signals);
    const bool stopped = std::find(signals.begin(), signals.end(), SIGTSTP) != signals.end();
    if (stopped && !ended) raise(SIGSTOP);
    return ended;
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
    const int status = run_mode(w);
    const int saved = asked.png.empty() ? host::exit_ok : save_poster(w);
    return std::max(status, saved);
}

}  // namespace monitor
