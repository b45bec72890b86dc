// The serial transport: finds the bridge, reads its lines, writes commands, and comes back by
// itself after every loss. Two states, port closed and port open; every way from open to closed
// is disconnect(), and every way back passes the wait of retry_s.

#include <chrono>
#include <exception>
#include <vector>

#include "deck/serial_port.h"
#include "deck/session.h"

namespace deckbus {

namespace {

constexpr double retry_s = 2.0;
constexpr double ping_interval_s = 5.0;
constexpr int read_timeout_ms = 20;  // bounds the latency of stop() and of commands
constexpr size_t read_bytes = 65536;
constexpr std::chrono::milliseconds closed_pause{50};

// The wanted port, else the first one with the bridge's chip; empty when there is none.
std::string choose_port(const std::string& wanted) {
    if (!wanted.empty()) return wanted;
    for (const serial_port::entry& port : serial_port::list()) {
        if (port.vid == bridge_vid) return port.path;
    }
    return {};
}

}  // namespace

// Works on the session's thread alone; the session's mutex is held for batches of lines, never
// over a read or a write.
class serial_link {
public:
    explicit serial_link(session& owner) : link(owner), buffer(read_bytes) {}

    void run() {
        while (link.running) {
            try {
                take_turn();
            } catch (const std::exception&) {
                let_go();
            }
        }
    }

private:
    void take_turn() {
        if (lost) {
            disconnect("Out of memory");
            lost = false;
        } else if (port.is_open()) {
            serve();
        } else if (now_s() < next_attempt) {
            std::this_thread::sleep_for(closed_pause);
        } else {
            next_attempt = now_s() + retry_s;
            connect();
        }
    }

    // What is thrown on this thread is want of memory: the link begins anew, and says so as soon as
    // there is memory for it.
    void let_go() {
        port.close();
        unfinished = std::string();
        lost = true;
        std::this_thread::sleep_for(closed_pause);
    }

    void connect() {
        const std::string path = choose_port(link.wanted_port);
        if (path.empty()) return report("No ESP32 found (USB cable, CH343 driver?)");
        std::string problem;
        if (!port.open(path, link.baud, problem)) return report(path + ": " + problem);

        unfinished.clear();
        last_data = now_s();
        tvr_lock hold(link.mutex);
        link.state.on_connected(last_data, path);
        link.active_port = path;
        link.status.clear();
    }

    void serve() {
        const int got = port.read(buffer.data(), buffer.size(), read_timeout_ms);
        const double now = now_s();
        if (got < 0) return disconnect("Lost the ESP32 (cable unplugged or restart)");

        std::vector<std::string> commands = exchange(size_t(got), now);
        if (now - last_ping >= ping_interval_s) {
            commands.emplace_back("ping");
            last_ping = now;
        }
        if (now - last_data > session::silence_s) {
            return disconnect("No data from the ESP32 (cable, restart, wrong baud rate?)");
        }
        for (std::string& command : commands) {
            command += '\n';
            if (!port.write(command.data(), command.size())) {
                return disconnect("Writing to the port failed");
            }
        }
    }

    // Feeds what was read and collects what is to be written, in one hold of the mutex.
    std::vector<std::string> exchange(size_t got, double now) {
        tvr_lock hold(link.mutex);
        if (got > 0) {
            feed_lines(got, now);
            link.publish();
            last_data = now;
        }
        return link.collect_commands();
    }

    // The lines of one read share its time; the bridge's own clock restores their spacing.
    void feed_lines(size_t got, double now) TVR_REQUIRES(link.mutex) {
        size_t searched = unfinished.size();
        unfinished.append(reinterpret_cast<const char*>(buffer.data()), got);
        const std::string_view all = unfinished;
        size_t begin = 0;
        for (size_t end = all.find('\n', searched); end != std::string_view::npos;
             end = all.find('\n', begin)) {
            link.feed_line(all.substr(begin, end - begin), now, true);
            begin = end + 1;
        }
        unfinished.erase(0, begin);
        if (unfinished.size() > session::longest_line) unfinished.clear();
    }

    void disconnect(const char* reason) {
        port.close();
        const double now = now_s();
        next_attempt = now + retry_s;
        tvr_lock hold(link.mutex);
        link.state.on_disconnected(now, reason);
        link.publish();
        link.active_port.clear();
        link.status = reason;
    }

    void report(std::string problem) {
        tvr_lock hold(link.mutex);
        link.status = std::move(problem);
    }

    session& link;
    serial_port port;
    std::vector<uint8_t> buffer;
    std::string unfinished;   // what came behind the last newline
    double next_attempt = 0;  // s
    double last_ping = 0;     // s
    double last_data = 0;     // s
    bool lost = false;        // to be told
};

void session::run_serial() {
    serial_link(*this).run();
}

}  // namespace deckbus
