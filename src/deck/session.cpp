#include "deck/session.h"

#include <cstdio>
#include <map>
#include <system_error>
#include <utility>

#include "base/bounded.h"
#include "base/forever.h"
#include "base/join.h"
#include "deck/net_audio.h"

namespace deckbus {

namespace {

constexpr char network_key[] = "network";
constexpr char network_port[] = "tavronet";
constexpr char network_silent[] = "No data from the relay (TavroNet)";

// Every session of the process by its key. Made at first use, never destroyed.
struct registry {
    // The live session under key, or null.
    std::shared_ptr<session> find(const std::string& key) TVR_REQUIRES(mutex) {
        const auto entry = sessions.find(key);
        return entry == sessions.end() ? nullptr : entry->second.lock();
    }

    // Registers a new session under its key and starts it.
    void add(const std::shared_ptr<session>& made) TVR_REQUIRES(mutex) {
        made->start();
        sessions[made->key] = made;
    }

    tvr_mutex mutex;
    std::map<std::string, std::weak_ptr<session>> sessions TVR_GUARDED_BY(mutex);
};

registry& sessions_of_process() {
    static tvr_forever<registry> held;
    return held.get();
}

net_audio& audio_of_process() {
    static tvr_forever<net_audio> held;
    return held.get();
}

std::shared_ptr<session> live_network() {
    registry& all = sessions_of_process();
    tvr_lock hold(all.mutex);
    return all.find(network_key);
}

std::string replay_key(const std::string& path, double speed, bool loop) {
    // "%f" of any double fits: 309 digits before the point and 6 behind it.
    char text[400];
    std::snprintf(text, sizeof text, "%f", speed);
    return "replay:" + path + "@" + text + (loop ? ":loop" : "");
}

}  // namespace

std::shared_ptr<session> session::open_serial(const std::string& port, int baud) {
    const std::string key = "serial:" + port + "@" + std::to_string(baud);
    // Sessions looked at and not taken. One of them may lose its last holder meanwhile, and its
    // end needs the registry: so they are let go after the registry's lock, which stands below.
    std::vector<std::shared_ptr<session>> passed_by;
    auto made = std::make_shared<session>();  // for the same reason, should adding it fail
    registry& all = sessions_of_process();
    tvr_lock hold(all.mutex);
    if (auto running = all.find(key)) return running;
    for (const auto& [other_key, weak] : all.sessions) {
        auto other = weak.lock();
        if (other == nullptr) continue;
        if (other->serves(port, baud)) return other;
        passed_by.push_back(std::move(other));
    }
    made->wanted_port = port;
    made->baud = baud;
    made->key = key;
    all.add(made);
    return made;
}

std::shared_ptr<session> session::open_replay(const std::string& path, double speed, bool loop,
                                              std::string& error) {
    if (!(speed > 0)) speed = 1.0;
    const std::string key = replay_key(path, speed, loop);
    registry& all = sessions_of_process();
    {
        tvr_lock hold(all.mutex);
        if (auto running = all.find(key)) return running;
    }
    // A disk may be slow, so nobody waits for it with the registry locked.
    recording lines = load_recording(path, error);
    if (lines.empty()) return nullptr;

    auto made = std::make_shared<session>();
    made->is_replay = true;
    made->lines = std::move(lines);
    made->speed = speed;
    made->loop = loop;
    made->wanted_port = "replay:" + path;
    made->key = key;
    tvr_lock hold(all.mutex);
    if (auto running = all.find(key)) return running;  // somebody was quicker
    all.add(made);
    return made;
}

std::shared_ptr<session> session::open_network() {
    auto made = std::make_shared<session>();  // before the lock, as above
    registry& all = sessions_of_process();
    tvr_lock hold(all.mutex);
    if (auto running = all.find(network_key)) return running;
    made->is_network = true;
    made->wanted_port = network_port;
    made->key = network_key;
    {
        tvr_lock hold_made(made->mutex);
        made->status = "Waiting for the relay (TavroNet)";
    }
    all.add(made);
    return made;
}

session::~session() {
    stop();
    registry& all = sessions_of_process();
    tvr_lock hold(all.mutex);
    const auto entry = all.sessions.find(key);
    // A session that took the key over in the meantime keeps its entry.
    if (entry != all.sessions.end() && entry->second.expired()) all.sessions.erase(entry);
}

void session::start() {
    if (is_network) return;
    running = true;
    try {
        thread = std::thread(is_replay ? &session::run_replay : &session::run_serial, this);
    } catch (const std::system_error& failed) {
        // Not thrown on: the session's end needs the registry, which whoever starts it has locked.
        running = false;
        tvr_lock hold(mutex);
        status = tvr_join("Cannot start a thread: ", failed.code().message());
    }
}

void session::stop() {
    running = false;
    listener_came.notify_all();
    if (thread.joinable()) thread.join();
}

bool session::serves(const std::string& port, int wanted_baud) {
    if (is_replay || is_network || baud != wanted_baud) return false;
    if (port.empty()) return true;
    tvr_lock hold(mutex);
    return port == (active_port.empty() ? wanted_port : active_port);
}

std::shared_ptr<event_queue> session::attach() {
    tvr_lock hold(mutex);
    auto queue = listen();
    if (!active_port.empty()) {
        queue->push_back({"connected", json{{"port", active_port}}, now_s()});
    }
    return queue;
}

event_queue session::take(event_queue& queue) {
    event_queue batch;
    tvr_lock hold(mutex);
    batch.swap(queue);
    return batch;
}

std::shared_ptr<event_queue> session::listen() {
    auto queue = std::make_shared<event_queue>();
    listeners.push_back(queue);
    listener_came.notify_all();
    return queue;
}

void session::send(const std::string& command) {
    outgoing.push_back(command);
    tvr_drop_oldest(outgoing, max_outgoing);
}

void session::publish() {
    const std::vector<event> batch = state.take_events();
    if (batch.empty()) return;
    std::erase_if(listeners, [&](const std::weak_ptr<event_queue>& weak) {
        const auto queue = weak.lock();
        if (queue == nullptr) return true;
        queue->insert(queue->end(), batch.begin(), batch.end());
        tvr_drop_oldest(*queue, max_events);
        return false;
    });
}

bool session::feed_line(std::string_view line, double t, bool use_bridge_clock) {
    if (line_tap) line_tap(line, t);
    return state.feed(line, t, use_bridge_clock);
}

bool session::feed(std::string_view line, double t) {
    if (!is_network || line.size() > longest_line) return false;
    const size_t last = line.find_last_not_of(std::string_view("\0\n\r", 3));
    if (last == std::string_view::npos) return false;
    if (!state.connected && active_port.empty()) {
        state.on_connected(t, wanted_port);
        active_port = wanted_port;
        status.clear();
    }
    last_line_time = t;
    const bool taken = feed_line(line.substr(0, last + 1), t, true);
    publish();
    return taken;
}

void session::tick(double t) {
    if (!is_network || active_port.empty() || t - last_line_time <= silence_s) return;
    state.on_disconnected(t, network_silent);
    publish();
    active_port.clear();
    status = network_silent;
}

std::vector<std::string> session::take_commands() {
    return is_network ? collect_commands() : std::vector<std::string>();
}

// The state's own go first.
std::vector<std::string> session::collect_commands() {
    std::vector<std::string> commands = state.take_commands();
    commands.insert(commands.end(), std::make_move_iterator(outgoing.begin()),
                    std::make_move_iterator(outgoing.end()));
    outgoing.clear();
    return commands;
}

void session::network_feed(std::string_view line, double t) {
    const auto link = live_network();
    if (link == nullptr) return;
    tvr_lock hold(link->mutex);
    link->feed(line, t);
}

void session::network_resync(double t) {
    const auto link = live_network();
    if (link == nullptr) return;
    tvr_lock hold(link->mutex);
    if (link->state.connected) link->state.request_info(t);
}

std::vector<std::string> session::network_take_commands() {
    const auto link = live_network();
    if (link == nullptr) return {};
    tvr_lock hold(link->mutex);
    return link->take_commands();
}

void session::network_audio(audio_chunk chunk) {
    audio_of_process().add(std::move(chunk));
}

std::vector<audio_chunk> session::take_network_audio() {
    return audio_of_process().take();
}

}  // namespace deckbus
