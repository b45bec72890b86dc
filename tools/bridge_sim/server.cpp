#include "bridge_sim/server.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <limits>

#include <poll.h>

#include "base/clock.h"
#include "base/signal_descriptor.h"
#include "bridge_sim/command_lines.h"
#include "bridge_sim/messages.h"
#include "bridge_sim/pty_port.h"

namespace bridge_sim {

namespace {

constexpr double look_for_client_s = 0.01;  // a terminal does not tell when it is opened
constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr double linger_s = 0.5;  // for the last lines to be read

struct line_counts {
    int64_t lines = 0, bytes = 0;      // sent
    int64_t unheard = 0;               // nobody had the port open, or a mishap was under way
    int64_t slow = 0;                  // the reader was too slow
    int64_t dropped = 0, garbled = 0;  // by chance
};

class server {
public:
    server(const board_script& script, const serve_wish& wanted, double now)
        : wish(wanted), start(now), device(script, wanted.board, now), port(wanted.link) {}

    int run();

private:
    void play_mishaps(double now);
    void begin(const mishap& m, double now);
    void send_due(double now);
    void send(const sent_line& line);
    void take_commands(double now);
    void follow_client();
    bool plug();
    bool wait(double now);
    double next_wake(double now) const;
    void summarise() const;

    const serve_wish& wish;
    double start;
    board device;
    pty_port port;
    const tvr_signal_descriptor signals{ending_signals};
    command_lines incoming;
    line_counts counted;
    size_t next_mishap = 0;
    double stalled_until = 0, plug_at = std::numeric_limits<double>::infinity();
    bool client = false;
    unknown_commands unknown;
    bool failed = false;
};

bool server::plug() {
    std::string error;
    client = false;
    incoming.clear();
    if (port.plug(error)) return true;
    say(error);
    failed = true;
    return false;
}

void server::begin(const mishap& m, double now) {
    if (m.kind == mishap::what::stall) {
        stalled_until = std::max(stalled_until, now + m.lasts_s);
    } else if (m.kind == mishap::what::reboot) {
        device.restart(now);
    } else {
        port.unplug();
        client = false;
        plug_at = now + m.lasts_s;
    }
}

void server::play_mishaps(double now) {
    const std::vector<mishap>& list = wish.faults.mishaps;
    while (next_mishap < list.size() && start + list[next_mishap].at_s <= now) {
        begin(list[next_mishap++], now);
    }
    if (now >= plug_at) {
        plug_at = std::numeric_limits<double>::infinity();
        plug();
    }
}

void server::send_due(double now) {
    std::vector<sent_line> lines;
    device.collect(now, lines);
    for (const sent_line& line : lines) {
        if (!client || now < stalled_until) {
            counted.unheard++;
        } else {
            send(line);
        }
    }
}

void server::send(const sent_line& line) {
    if (wish.faults.drops(line)) {
        counted.dropped++;
        return;
    }
    std::string text = line.text + "\n";
    const bool harmed = wish.faults.garbles(line, text);
    if (!port.send(text)) {
        counted.slow++;
        return;
    }
    counted.lines++;
    counted.bytes += int64_t(text.size());
    counted.garbled += harmed;
}

// A board that hangs does not listen either.
void server::take_commands(double now) {
    std::string data;
    port.receive(data);
    if (now < stalled_until) return;
    incoming.add(data);
    for (std::string command; incoming.next(command);) {
        if (!device.command(command, now)) unknown.tell(command);
    }
}

// Notices clients that come and go; one that goes leaves a fresh terminal behind.
void server::follow_client() {
    const bool present = port.has_client();
    if (client && !present) {
        plug();
    } else {
        client = present;
    }
}

double server::next_wake(double now) const {
    double wake = std::min(device.next_due(), plug_at);
    if (next_mishap < wish.faults.mishaps.size()) {
        wake = std::min(wake, start + wish.faults.mishaps[next_mishap].at_s);
    }
    if (port.plugged() && !client) wake = std::min(wake, now + look_for_client_s);
    return wake;
}

// Until something is due, a client writes or leaves, or a signal comes: false for a signal.
bool server::wait(double now) {
    const double longest = 0.25, left = std::clamp(next_wake(now) - now, 0.0, longest);
    const timespec time{0, long(left * 1e9)};
    pollfd fds[2] = {{signals.descriptor(), POLLIN, 0}, {client ? port.fd() : -1, POLLIN, 0}};
    if (port.stuck()) fds[1].events |= POLLOUT;
    if (ppoll(fds, 2, &time, nullptr) < 0 && errno != EINTR) {
        say(std::string("poll: ") + std::strerror(errno));
        failed = true;
    }
    return (fds[0].revents & POLLIN) == 0;
}

int server::run() {
    if (!plug()) return 1;
    say(wish.link + " is ready (" + port.terminal() + ")");
    double end = std::numeric_limits<double>::infinity();
    while (!failed) {
        const double now = tvr_now_s();
        play_mishaps(now);
        take_commands(now);
        follow_client();
        send_due(now);
        port.flush();
        if (device.finished()) end = std::min(end, now + linger_s);
        if (now >= end || !wait(now)) break;
    }
    port.unplug();
    summarise();
    return failed ? 1 : 0;
}

void server::summarise() const {
    const command_counts& c = device.counts();
    std::fprintf(stderr,
                 "bridge_sim: sent %lld lines, %lld bytes; lost %lld unheard, %lld slow, "
                 "%lld dropped; garbled %lld; ping %lld, info %lld, fetch %lld, unknown %lld\n",
                 static_cast<long long>(counted.lines), static_cast<long long>(counted.bytes),
                 static_cast<long long>(counted.unheard), static_cast<long long>(counted.slow),
                 static_cast<long long>(counted.dropped), static_cast<long long>(counted.garbled),
                 static_cast<long long>(c.pings), static_cast<long long>(c.infos),
                 static_cast<long long>(c.fetches), static_cast<long long>(c.unknown));
}

}  // namespace

int serve(serve_wish wish) {
    std::string error;
    const board_script script = load_script(wish.file, error);
    if (script.lines.empty()) return fail(error);
    wish.faults.sort();
    return server(script, wish, tvr_now_s()).run();
}

}  // namespace bridge_sim
