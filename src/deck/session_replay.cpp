// The replay of a recording: its lines at their times, on the session's thread.

#include <algorithm>
#include <chrono>
#include <exception>

#include "deck/session.h"

namespace deckbus {

namespace {

constexpr double slice_s = 0.05;  // the longest sleep, so that stop() is prompt
constexpr double listener_patience_s = 0.2;

void sleep_for(double s) {
    std::this_thread::sleep_for(std::chrono::duration<double>(s));
}

}  // namespace

class replay_run {
public:
    explicit replay_run(session& owner) : link(owner) {}

    void run() {
        wait_for_listener();
        connect();
        while (play_pass() && link.loop) {
            // A recording without times would spin and flood every queue.
            if (!slept) sleep_for(slice_s);
            begin_next_pass();
        }
        if (!link.running) return;
        tvr_lock hold(link.mutex);
        link.replay_ended = true;
    }

private:
    // Events without a listener are gone, so the first ones wait for whoever asked for the
    // replay. Waits on a condition with the session's mutex, which clang's checker cannot see.
    void wait_for_listener() TVR_NO_THREAD_CHECK {
        tvr_lock hold(link.mutex);
        link.listener_came.wait_for(
            link.mutex, std::chrono::duration<double>(listener_patience_s),
            [&]() TVR_NO_THREAD_CHECK { return !link.listeners.empty() || !link.running; });
    }

    void connect() {
        tvr_lock hold(link.mutex);
        link.state.on_connected(now_s(), link.wanted_port);
        link.active_port = link.wanted_port;
        link.status.clear();
    }

    // Everything stays as it is, but the recording's uptime begins anew, which is no restart.
    void begin_next_pass() {
        tvr_lock hold(link.mutex);
        link.state.last_uptime_ms = -1;
    }

    // False when the session is to end.
    bool play_pass() {
        slept = false;
        const double start = now_s();
        const double first = link.lines.front().t;
        for (const recorded_line& entry : link.lines) {
            if (!sleep_until((entry.t - first) / link.speed + start)) return false;
            play(entry.line);
        }
        return true;
    }

    // False when the session is to end. Returns at once for a time that has passed.
    bool sleep_until(double target) {
        while (link.running) {
            const double left = target - now_s();
            if (!(left > 0)) return true;
            sleep_for(std::min(left, slice_s));
            slept = true;
        }
        return false;
    }

    // The arrival time counts, not the line's clock; and a recording answers no command.
    // What there is no memory for is lost, and the set goes on.
    void play(const std::string& line) {
        tvr_lock hold(link.mutex);
        try {
            link.feed_line(line, now_s(), false);
            link.publish();
        } catch (const std::exception&) {
            link.state.events.clear();  // needs no memory
        }
        link.state.take_commands();
        link.outgoing.clear();
    }

    session& link;
    bool slept = false;  // in this pass
};

void session::run_replay() {
    replay_run(*this).run();
}

}  // namespace deckbus
