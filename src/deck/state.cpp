#include "deck/state.h"

#include <exception>
#include <utility>

#include "base/bounded.h"
#include "base/utf8.h"
#include "deck/nesting_guard.h"

namespace deckbus {

namespace {

std::string_view trimmed(std::string_view line) {
    const size_t last = line.find_last_not_of("\n\r ");
    return last == std::string_view::npos ? std::string_view{} : line.substr(0, last + 1);
}

// A board may send texts as long as a line, and events wait by the thousand.
void cut_text(json& value) {
    if (!value.is_string()) return;
    auto& text = value.get_ref<std::string&>();
    text.resize(tvr_cut_utf8(text, max_event_text).size());
}

template <typename T>
std::vector<T> take_all(std::deque<T>& queue) {
    std::vector<T> out(std::make_move_iterator(queue.begin()),
                       std::make_move_iterator(queue.end()));
    queue.clear();
    return out;
}

}  // namespace

state::state() : bridge(json::object()) {
    reset_players();
}

bool state::feed(std::string_view line, double now, bool use_bridge_clock) {
    line = trimmed(line);
    if (line.empty() || line.front() != '{') return false;
    last_line_time = now;
    try {
        scan_history(now);
        if (nests_too_deeply(line)) return false;
        const json parsed = json::parse(line.begin(), line.end(), nullptr, false);
        if (parsed.is_discarded()) return false;
        return feed_parsed(parsed, now, use_bridge_clock);
    } catch (const std::exception& e) {
        add_event("warn", {{"msg", std::string("Zeile nicht verarbeitet: ") + e.what()}}, now);
        return false;
    }
}

bool state::feed_parsed(const json& line, double now, bool use_bridge_clock) {
    if (!connected) {
        connected = true;
        add_event("connected", {{"port", port}}, now);
    }
    double t = now;
    if (use_bridge_clock) {
        const json* us = find_field(line, "us");
        if (us != nullptr && us->is_number_integer()) {
            const int64_t bridge_us = integer(line, "us", 0);
            if (clock.update(now, bridge_us)) restarted(now);
            t = clock.to_host(bridge_us);
        }
    }
    apply(line, t);
    return true;
}

void state::apply(const json& line, double t) {
    const std::string_view kind = text(line, "t");
    if (kind == "pcm") return apply_pcm(line, t);

    // Any line brings its player into being, whatever its kind.
    const int64_t number = integer(line, "n", 0);
    player* p = get_player(line);
    if (p != nullptr) {
        const int n = int(number);
        if (kind == "beat") return apply_beat(line, *p, n, t);
        if (kind == "st") return apply_status(line, *p, n, t);
        if (kind == "mix") return apply_mixer(line, *p, n, t);
        if (kind == "pos") return apply_position(line, *p, t);
        if (kind == "trk") return apply_loaded(line, *p, n, t);
    }
    if (kind == "air") return apply_air(line);
    if (kind == "meta") return apply_meta(line, t);
    if (kind == "metaok") return apply_meta_end(line, true);
    if (kind == "metaerr") return apply_meta_end(line, false);
    if (kind == "blob") return apply_blob(line, t);
    if (kind == "part") return apply_part(line, t);
    if (kind == "media") return apply_media(line, number, t);
    if (kind == "dev") return apply_device(line, p, number, t);
    if (kind == "hb") return apply_heartbeat(line, t);
    if (kind == "hello") return apply_hello(line, t);
    if (kind == "net") return apply_net(line);
    if (kind == "vcdj") return apply_vcdj(line);
    if (kind == "warn") return add_event("warn", {{"msg", text(line, "msg")}}, t);
    if (kind == "err") return add_event("error", {{"msg", text(line, "msg")}}, t);
}

player* state::get_player(const json& line) {
    const int64_t n = integer(line, "n", 0);
    return n < 1 || n > max_player ? nullptr : &players[int(n)];
}

void state::on_connected(double now, const std::string& name) {
    port = name;
    clock.reset();
    request_info(now);
}

void state::on_disconnected(double now, const std::string& reason) {
    if (connected) add_event("disconnected", {{"port", port}, {"reason", reason}}, now);
    connected = false;
    clock.reset();
    transfers.clear();
}

void state::restarted(double now) {
    add_event("restart", json::object(), now);
    reset_players();
    forget_tracks("", false);
    last_uptime_ms = -1;
    request_info(now);
}

void state::reset_players() {
    constexpr int usual_players = 6;
    std::map<int, player> fresh;
    for (int n = 1; n <= usual_players; ++n) {
        fresh[n].name = std::move(players[n].name);
    }
    players = std::move(fresh);
}

void state::request_info(double now) {
    add_command("info");
    info_until = now + info_window_s;
}

void state::set_master(int32_t n, double t) {
    if (n == master_player) return;
    master_player = n;
    add_event("master", {{"n", n}}, t);
}

std::vector<std::string> state::take_commands() {
    return std::exchange(commands, {});
}

std::vector<event> state::take_events() {
    return take_all(events);
}

std::vector<audio_chunk> state::take_audio() {
    return take_all(audio);
}

void state::add_event(std::string kind, json data, double t) {
    for (json& value : data) cut_text(value);
    events.push_back({std::move(kind), std::move(data), t});
    tvr_drop_oldest(events, max_events);
}

void state::add_command(std::string command) {
    commands.push_back(std::move(command));
    tvr_drop_oldest(commands, max_commands);
}

}  // namespace deckbus
