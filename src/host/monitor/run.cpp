#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <memory>

#include "host/command.h"
#include "host/monitor/artnet_output.h"
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
    return write_png(picture, w.asked.png, error) ? host::exit_ok : host::fail(error);
}

// Null without a wish for it, and, with the reason in `error`, without a socket.
std::unique_ptr<artnet_output> open_artnet(const watch& w, std::string& error) {
    tvrnet_ip target;
    if (!tvrnet_parse_ip(w.asked.artnet, artnet_port, target)) return nullptr;
    auto output = std::make_unique<artnet_output>(w.session, target);
    if (output->start()) return output;
    error = "No socket for Art-Net";
    return nullptr;
}

}  // namespace

bool watch::over(double now) const {
    tvr_lock hold(session->mutex);
    session->tick(now);  // a network session has no thread that would notice the silence
    if (asked.for_seconds > 0 && now - started >= asked.for_seconds) return true;
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
    if (!session) return host::fail(error);
    const watch w{asked, session, signals, deckbus::now_s()};
    const auto lights = open_artnet(w, error);
    if (!asked.artnet.empty() && lights == nullptr) return host::fail(error);
    const int status = run_mode(w);
    const int saved = asked.png.empty() ? host::exit_ok : save_poster(w);
    return std::max(status, saved);
}

}  // namespace monitor
