#include <unistd.h>

#include <cstdio>

#include "host/command.h"
#include "host/monitor/collector.h"
#include "host/monitor/event_text.h"
#include "host/monitor/format.h"
#include "host/monitor/line_output.h"
#include "host/monitor/modes.h"
#include "host/monitor/terminal_text.h"
#include "host/monitor/track_ledger.h"

namespace monitor {

namespace {

// A recording at high speed must not overrun the event queue, and a quiet deck need not be asked
// a thousand times a second.
constexpr double busy_interval_s = 0.001, calm_interval_s = 0.010;
constexpr size_t busy_batch = 16;

class text_run {
public:
    explicit text_run(const watch& run) : w(run), queue(w.session->attach()) {}

    int go() {
        bool over = false;
        while (!over && out.pump()) {
            over = w.over(deckbus::now_s());
            const size_t taken = show_events();
            if (over) break;
            over = watch::ended_or_stopped_by(
                w.signals.wait(taken > busy_batch ? busy_interval_s : calm_interval_s));
            if (over) show_events();
        }
        return finish();
    }

private:
    size_t show_events() {
        const deckbus::event_queue events = w.session->take(*queue);
        for (const deckbus::event& e : events) {
            out.add(formatted("%9.3f  ", e.t - w.started) + event_text(e));
        }
        ledger.follow(events, *w.session);
        overrun = overrun || events.size() >= deckbus::max_events;
        out.pump();
        return events.size();
    }

    int finish() {
        if (out.open()) add_summary();
        w.signals.release();
        out.drain();
        if (overrun) std::fputs("tavro: events came too fast, some are missing\n", stderr);
        if (out.lost_lines() > 0) {
            std::fprintf(stderr, "tavro: the reader was too slow, %zu lines are missing\n",
                         out.lost_lines());
        }
        if (out.problem().empty()) return host::exit_ok;
        return host::fail("Cannot write to standard output: " + out.problem());
    }

    void add_summary() {
        out.add("");
        out.add("Tracks: " + std::to_string(ledger.entries().size()));
        for (const ledger_entry& e : ledger.entries()) out.add("  " + ledger_text(e));
        const set_picture set = collector(w.session).collect(deckbus::now_s());
        out.add("History: " + std::to_string(set.history->size()));
        for (const heard_line& h : *set.history) {
            out.add(safe_text("  " + h.time + "  deck " + std::to_string(h.deck) + "  " +
                              (h.artist.empty() ? "" : h.artist + " - ") + h.title));
        }
        if (!set.link.connected) add_link(set.link);
    }

    // Why there is nothing to see.
    void add_link(const link_picture& link) {
        const std::string port = link.port.empty() ? "" : link.port + " ";
        out.add(safe_text("Not connected: " + port + link.status));
    }

    const watch& w;
    std::shared_ptr<deckbus::event_queue> queue;
    line_output out{STDOUT_FILENO};
    track_ledger ledger;
    bool overrun = false;
};

}  // namespace

int run_text(const watch& w) {
    return text_run(w).go();
}

}  // namespace monitor
