#pragma once

// The ways in which the monitor shows a session; run() chooses one.
//
// Each runs on the main thread until it is over, and never waits for its reader for ever.

#include <memory>
#include <vector>

#include "deck/session.h"
#include "host/monitor/options.h"
#include "host/monitor/signals.h"

namespace monitor {

// One run of the monitor: what was asked, and the session it looks at.
struct watch {
    const options& asked;
    std::shared_ptr<deckbus::session> session;
    const signal_watch& signals;
    double started = 0;  // s, steady clock

    // True when the asked time has passed, or the recording has run out with `once`. Ask before
    // taking the events, so that the last ones are not missed.
    bool over(double now) const TVR_EXCLUDES(session->mutex);

    // True when one of the signals asks the program to end.
    static bool ended_by(const std::vector<int>& signals);

    // The same without a terminal to put back: Ctrl-Z stops the program here.
    static bool ended_or_stopped_by(const std::vector<int>& signals);
};

int run_live(const watch& w);  // pictures on a terminal
int run_text(const watch& w);  // a line for each event, and a summary
int run_json(const watch& w);  // a snapshot a second

}  // namespace monitor
