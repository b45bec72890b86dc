#include <poll.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <ctime>

#include "host/command.h"
#include "host/monitor/collector.h"
#include "host/monitor/event_text.h"
#include "host/monitor/format.h"
#include "host/monitor/keys.h"
#include "host/monitor/modes.h"
#include "host/monitor/screen.h"
#include "host/monitor/screen_writer.h"
#include "host/monitor/terminal.h"

namespace monitor {

namespace {

constexpr double poll_interval_s = 1.0 / 60.0;
constexpr int polls_a_picture = 2;

std::string wall_text(double age_s, const char* form) {
    const std::time_t then = std::time(nullptr) - std::time_t(age_s);
    std::tm local{};
    localtime_r(&then, &local);
    char buffer[16];
    return std::string(buffer, std::strftime(buffer, sizeof buffer, form, &local));
}

class live_run {
public:
    explicit live_run(const watch& run) : w(run), queue(w.session->attach()), reader(w.session) {
        how.depth =
            depth_of(std::getenv("NO_COLOR"), std::getenv("COLORTERM"), std::getenv("TERM"));
    }

    int go() {
        double due = w.started;
        for (int polls = 0; !over; ++polls) {
            const double now = deckbus::now_s();
            over = w.over(now);
            take_events(now);
            poll_levels(now);
            if (polls % polls_a_picture == 0 && !over) show();
            due = std::max(due + poll_interval_s, now);
            wait_until(due);
        }
        return host::exit_ok;
    }

private:
    void take_events(double now) {
        for (const deckbus::event& e : w.session->take(*queue)) {
            if (e.kind == "beat") continue;  // the lights show them
            how.lines.push_back({wall_text(now - e.t, "%H:%M:%S"), e.kind, event_words(e)});
        }
        while (how.lines.size() > view::max_lines) how.lines.pop_front();
    }

    // Levels are the loudest of the polls since the last picture.
    void poll_levels(double now) {
        set_picture fresh = reader.collect(now);
        if (!shown_set) {
            for (deck_picture& d : fresh.decks) keep_loudest(d);
        }
        set = std::move(fresh);
        shown_set = false;
    }

    void keep_loudest(deck_picture& d) const {
        for (const deck_picture& old : set.decks) {
            if (old.number != d.number) continue;
            for (size_t i = 0; i < d.levels.size(); ++i) {
                d.levels[i] = std::max(d.levels[i], old.levels[i]);
            }
        }
    }

    void show() {
        if (!screen.ready()) return;  // a slow terminal skips pictures
        how.clock = wall_text(0, "%H:%M");
        const terminal::extent size = screen.size();
        canvas next = draw_screen(set, how, size.width, size.height);
        if (!screen.write(screen_update(shown, next, how.depth))) over = true;
        shown = std::move(next);
        shown_set = true;
    }

    // Obeys signals and keys until the time has come.
    void wait_until(double due) {
        while (!over) {
            const double left = due - deckbus::now_s();
            if (left <= 0) return;
            std::array<pollfd, 3> fds{{{w.signals.descriptor(), POLLIN, 0},
                                       {screen.input(), POLLIN, 0},
                                       {screen.ready() ? -1 : screen.output(), POLLOUT, 0}}};
            poll(fds.data(), fds.size(), int(left * 1000.0) + 1);
            if (fds[0].revents != 0) obey_signals();
            if (fds[1].revents != 0 && !obey_keys(fds[1].revents)) over = true;
            if (fds[2].revents != 0 && !screen.flush()) over = true;
        }
    }

    void obey_signals() {
        const std::vector<int> came = w.signals.take();
        over = over || watch::ended_by(came);
        for (int s : came) {
            if (s == SIGTSTP && !over) screen.suspend();
            if (s == SIGTSTP || s == SIGCONT) shown = canvas();
        }
    }

    // False when the terminal has gone.
    bool obey_keys(short events) {
        const std::string bytes = screen.read_keys();
        if (bytes.empty() && (events & (POLLHUP | POLLERR | POLLNVAL)) != 0) return false;
        for (key k : keys.read(bytes)) obey(k);
        return true;
    }

    void obey(key k) {
        switch (k) {
        case key::quit: over = true; break;
        case key::zoom_in: how.zoom = std::max(how.zoom - 1, 0); break;
        case key::zoom_out: how.zoom = std::min(how.zoom + 1, view::max_zoom); break;
        case key::zoom_reset: how.zoom = view::usual_zoom; break;
        case key::next_deck: how.focus = next_focus(); break;
        case key::panel: how.panel = panel_choice((int(how.panel) + 1) % 4); break;
        case key::help: how.help = !how.help; break;
        case key::redraw: shown = canvas(); break;
        }
    }

    // All, then each deck from left to right.
    int next_focus() const {
        const auto& decks = set.decks;
        if (how.focus == 0) return decks.empty() ? 0 : decks.front().number;
        for (size_t i = 0; i + 1 < decks.size(); ++i) {
            if (decks[i].number == how.focus) return decks[i + 1].number;
        }
        return 0;
    }

    const watch& w;
    std::shared_ptr<deckbus::event_queue> queue;
    collector reader;
    terminal screen;
    key_reader keys;
    view how;
    set_picture set;         // of the last poll
    bool shown_set = false;  // `set` has been drawn
    canvas shown;            // what the terminal shows; empty when that is unknown
    bool over = false;
};

}  // namespace

int run_live(const watch& w) {
    return live_run(w).go();
}

}  // namespace monitor
