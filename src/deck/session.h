#pragma once

// One connection: a state, the transport that feeds it, and everybody who listens.
//
// Those who ask for the same port or recording share one session, found through a process-wide
// registry of weak pointers. A session lives as long as somebody holds it; then its thread is
// joined and its state gone. A serial session reconnects by itself for ever.
//
// Threads: one transport thread for a serial or replay session; the network's thread pushes into
// a network session; script threads ask questions. Lock order: the registry's mutex before a
// session's. Nobody calls out under either.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "base/clock.h"
#include "base/sync.h"
#include "deck/event.h"
#include "deck/recording.h"
#include "deck/state.h"

namespace deckbus {

// The clock of every time in the deck layer: s, steady.
inline double now_s() {
    return tvr_now_s();
}

class session {
public:
    static constexpr int default_baud = 2000000;
    static constexpr double silence_s = 3.0;  // without a byte, and the link counts as lost
    static constexpr size_t max_outgoing = 1024;
    static constexpr size_t longest_line = 1048576;  // bytes; nothing longer is a line

    // Finding or making one; each takes the registry's mutex.

    // Any running serial session at this baud serves an empty port; a named port joins an
    // automatic session that has found it. Never null.
    static std::shared_ptr<session> open_serial(const std::string& port, int baud = default_baud);

    // A speed not above 0 counts as 1. Null, with the reason in `error`, when the file gives no
    // line. Blocks on the file.
    static std::shared_ptr<session> open_replay(const std::string& path, double speed, bool loop,
                                                std::string& error);

    // The session that the relay's lines go to. Never null.
    static std::shared_ptr<session> open_network();

    // The network's way in: act on the live network session, or do nothing.

    static void network_feed(std::string_view line, double t);
    static void network_resync(double t);  // asks for everything anew, if connected
    static std::vector<std::string> network_take_commands();
    static void network_audio(audio_chunk chunk);
    static std::vector<audio_chunk> take_network_audio();

    session() = default;
    ~session();  // joins the transport thread: up to 50 ms, or 0.6 s where a port is full
    session(const session&) = delete;
    session& operator=(const session&) = delete;

    // For whoever holds one.

    // A new queue that every later event is copied to, for as long as the pointer is kept. On a
    // session that has its port already, "connected" stands in it as first word.
    std::shared_ptr<event_queue> attach() TVR_EXCLUDES(mutex);

    // Everything that stands in a queue, in one swap.
    event_queue take(event_queue& queue) TVR_EXCLUDES(mutex);

    // A new empty queue, as attach() but without the first word.
    std::shared_ptr<event_queue> listen() TVR_REQUIRES(mutex);

    // Queues a firmware command; the oldest goes above max_outgoing. A replay throws it away.
    void send(const std::string& command) TVR_REQUIRES(mutex);

    // Copies the state's events to every queue and forgets them. After each batch of lines.
    void publish() TVR_REQUIRES(mutex);

    // One line of the network session; false elsewhere and for a line that was refused.
    bool feed(std::string_view line, double t) TVR_REQUIRES(mutex);

    // Notices the silence of a network session, which has no thread of its own to do so.
    void tick(double t) TVR_REQUIRES(mutex);

    // Commands of a network session for its transport; empty elsewhere.
    std::vector<std::string> take_commands() TVR_REQUIRES(mutex);

    // Starts the transport thread, which a network session does not have. Without a thread to be
    // had nothing runs, and `status` says so.
    void start() TVR_EXCLUDES(mutex);

    // Ends and joins it. Must not be called with the mutex held.
    void stop() TVR_EXCLUDES(mutex);

    // Sees every line before the state does, with its arrival in s: called on the thread that
    // feeds, with the mutex held, so it must be quick. Empty for nobody.
    std::function<void(std::string_view line, double t)> line_tap TVR_GUARDED_BY(mutex);

    tvr_mutex mutex;
    deckbus::state state TVR_GUARDED_BY(mutex);
    std::vector<std::string> outgoing TVR_GUARDED_BY(mutex);  // commands queued by send()
    std::string active_port TVR_GUARDED_BY(mutex);            // in use; empty while not connected
    std::string status TVR_GUARDED_BY(mutex);  // the last connection problem, empty if none
    std::vector<std::weak_ptr<event_queue>> listeners TVR_GUARDED_BY(mutex);
    double last_line_time TVR_GUARDED_BY(mutex) = 0;  // s, arrival of the last network line
    bool replay_ended TVR_GUARDED_BY(mutex) = false;  // a replay without loop has run out

    // What kind of session this is: set before start(), never changed.
    std::string key;  // in the registry
    bool is_replay = false;
    bool is_network = false;  // neither means serial
    std::string wanted_port;  // asked for; empty for automatic, "replay:" + path, or "tavronet"
    int baud = default_baud;
    recording lines;  // of a replay
    double speed = 1.0;
    bool loop = true;

private:
    friend class serial_link;  // the serial transport
    friend class replay_run;   // the replay

    bool feed_line(std::string_view line, double t, bool use_bridge_clock) TVR_REQUIRES(mutex);
    std::vector<std::string> collect_commands() TVR_REQUIRES(mutex);
    bool serves(const std::string& port, int wanted_baud) TVR_EXCLUDES(mutex);
    void run_serial();
    void run_replay();

    std::thread thread;
    std::atomic<bool> running{false};           // the transport loop reads it without the mutex
    std::condition_variable_any listener_came;  // with `mutex`; a replay waits for the first one
};

}  // namespace deckbus
