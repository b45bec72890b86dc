#include "bridge_sim/relay.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <deque>
#include <limits>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include <poll.h>
#include <unistd.h>

#include "base/clock.h"
#include "base/signal_descriptor.h"
#include "bridge_sim/messages.h"
#include "net/base.h"
#include "net/os_socket.h"
#include "net/relay/pcm_packet.h"
#include "track/bytes.h"

namespace bridge_sim {

namespace {

constexpr int first_port = 6454, last_port = 6554;
constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP};
constexpr double down_s = 0.5;    // a relay that fails is back after so long
constexpr double linger_s = 5.0;  // for the last lines to be acknowledged, at most
constexpr auto text_format = tvrnet_pkt_dataformat::text;

struct relay_counts {
    int64_t lines = 0, bytes = 0, sounds = 0;
    int64_t unheard = 0;  // nobody was connected
    int64_t slow = 0;     // a listener had too much waiting
    int64_t restarts = 0;
};

// Two nodes on one machine need MACs of their own; a relay keeps its own over a restart.
tvrnet_mac own_mac() {
    return tvrnet_made_up_mac(uint64_t(getpid()));
}

std::unique_ptr<GenericUDPSocket> make_socket(const relay_wish& wish) {
    tvrnet_socket_options options;
    options.mac = own_mac();
    options.tell = false;
    return std::make_unique<tvrnet_fault_socket>(std::make_unique<GenericOSUDPSocket>(options),
                                                 wish.faults);
}

tvrnet_node_options node_options(const relay_wish& wish) {
    tvrnet_node_options options;
    options.name = wish.name;
    options.type_name = "bridge_sim";
    for (const std::string& text : wish.peers) {
        tvrnet_ip ip;
        if (tvrnet_parse_ip(text, tvrnet_default_port, ip)) options.peers.push_back(ip);
    }
    return options;
}

// What waits for one listener. Commands that are on their way together may overtake each other, and
// lines must not by much, since a clock that falls back looks like a restart: so only a few go at
// once, and none while one of them has not arrived for a while. The rest waits here, in order.
class outbox {
public:
    // False when the oldest line had to make room.
    bool add(const char* command, const std::string& line) {
        lines.emplace_back(command, line);
        if (lines.size() <= max_lines) return true;
        lines.pop_front();
        return false;
    }

    void send(tvrnet_device& to, double now) {
        std::erase_if(on_the_way, [&](const auto& sent) { return !to.is_on_its_way(sent.first); });
        while (!lines.empty() && on_the_way.size() < most_on_the_way &&
               (on_the_way.empty() || now - on_the_way.front().second < longest_s)) {
            const auto& [command, line] = lines.front();
            const uint64_t ticket =
                to.send_reliable(command, line.data(), line.size(), text_format, false, 0);
            if (ticket == tvrnet_no_ticket) return;
            on_the_way.emplace_back(ticket, now);
            lines.pop_front();
        }
    }

    bool empty() const { return lines.empty(); }

private:
    static constexpr size_t max_lines = 4096, most_on_the_way = 16;
    static constexpr double longest_s = 0.1;

    std::deque<std::pair<const char*, std::string>> lines;
    std::vector<std::pair<uint64_t, double>> on_the_way;  // tickets, and when they were sent (s)
};

// One incarnation of the relay. Its sessions are new and its tickets begin again.
struct relay_node {
    explicit relay_node(const relay_wish& wish)
        : node(make_socket(wish), node_options(wish), ids) {}

    bool open() {
        if (!node.udp->init()) return false;
        for (int port = first_port; port <= last_port; port++) {
            if (node.udp->bind(port)) return true;
        }
        return false;
    }

    bool has_waiting() {
        for (const auto& device : node.connected_devices()) {
            if (device->commands_on_their_way() > 0 || !outboxes[device.get()].empty()) return true;
        }
        return false;
    }

    // Hands on what may go, and forgets what waited for those who have gone.
    void send_lines(double now) {
        const auto listeners = node.connected_devices();
        std::erase_if(outboxes, [&](const auto& box) {
            return std::none_of(listeners.begin(), listeners.end(),
                                [&](const auto& device) { return device.get() == box.first; });
        });
        for (const auto& device : listeners) outboxes[device.get()].send(*device, now);
    }

    tvrnet_global_s ids;
    tvrnet_base node;
    std::map<const tvrnet_device*, outbox> outboxes;  // keys are compared, never followed
};

class player {
public:
    player(const board_script& script, const relay_wish& wanted, double now)
        : wish(wanted), start(now), device(script, wanted.board, now) {}

    int run();

private:
    bool come_up();
    void play_restarts(double now);
    void send_due(double now);
    void send(const sent_line& line);
    bool send_sound(const std::string& text);
    bool is_over(double now);
    void summarise() const;

    const relay_wish& wish;
    const double start;
    board device;
    const tvr_signal_descriptor signals{ending_signals};
    std::unique_ptr<relay_node> up;  // null while the relay is down
    double up_at = 0;
    size_t next_restart = 0;
    double end = std::numeric_limits<double>::infinity();
    relay_counts counted;
    unknown_commands unknown;
};

bool player::come_up() {
    up = std::make_unique<relay_node>(wish);
    if (!up->open()) {
        say("no port between " + std::to_string(first_port) + " and " + std::to_string(last_port) +
            " is free");
        return false;
    }
    up->node.add_command("deckbus_cmd", [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                               const tvrnet_pkt_header&) {
        const std::string command(reinterpret_cast<const char*>(data), size);
        if (!device.command(command, tvr_now_s())) unknown.tell(command);
    });
    return true;
}

void player::play_restarts(double now) {
    while (next_restart < wish.restarts.size() && start + wish.restarts[next_restart] <= now) {
        next_restart++;
        counted.restarts++;
        up.reset();
        up_at = now + down_s;
    }
}

void player::send_due(double now) {
    std::vector<sent_line> lines;
    device.collect(now, lines);
    for (const sent_line& line : lines) send(line);
}

// Beats cannot wait behind the rest, so they have a name of their own.
void player::send(const sent_line& line) {
    if (up == nullptr || up->node.device_count() == 0) {
        counted.unheard++;
        return;
    }
    if (wish.pcm && line.text.find("\"t\":\"pcm\"") != std::string::npos && send_sound(line.text)) {
        return;
    }
    const bool beat = line.text.find("\"t\":\"beat\"") != std::string::npos;
    for (const auto& listener : up->node.connected_devices()) {
        const bool room =
            up->outboxes[listener.get()].add(beat ? "deckbus_rt" : "deckbus", line.text);
        if (!room) counted.slow++;
        counted.lines++;
    }
    counted.bytes += int64_t(line.text.size());
}

// A line of sound as a packet. False when it is none that could be one.
bool player::send_sound(const std::string& text) {
    const ordered_json line = ordered_json::parse(text);  // the board wrote it
    deckbus::audio_chunk chunk;
    chunk.sample_rate = int(integer_of(line, "sr", 0));
    chunk.seq = uint32_t(integer_of(line, "seq", 0));
    chunk.us = integer_of(line, "us", 0);
    chunk.source = 2;  // the relay itself
    if (!deckbus::base64_decode(text_of(line, "d"), chunk.pcm) || chunk.pcm.empty()) return false;
    const std::vector<uint8_t> packet = deckbus::net::make_pcm_packet(chunk);
    if (packet.size() > tvrnet_max_payload) return false;
    for (const auto& listener : up->node.connected_devices()) {
        listener->send_out_of_band("deckbus_pcm", packet.data(), packet.size(),
                                   tvrnet_pkt_dataformat::buffer);
    }
    counted.sounds++;
    return true;
}

bool player::is_over(double now) {
    if (device.finished()) end = std::min(end, now + linger_s);
    return now >= end || (device.finished() && (up == nullptr || !up->has_waiting()));
}

int player::run() {
    if (!come_up()) return 1;
    say(wish.name + " is ready (" + tvrnet_text(up->node.udp->local_adr().ip) + ")");
    constexpr double ms_per_s = 1000.0;
    while (signals.next() == 0) {
        const double now = tvr_now_s();
        play_restarts(now);
        if (up == nullptr && now >= up_at && !come_up()) return 1;
        send_due(now);
        if (is_over(now)) break;
        if (up == nullptr) {
            pollfd stop{signals.descriptor(), POLLIN, 0};
            (void)poll(&stop, 1, int((up_at - now) * ms_per_s) + 1);
            continue;
        }
        up->send_lines(now);
        up->node.update(uint64_t(now * ms_per_s));
        up->node.udp->wait(1);
    }
    summarise();
    return 0;
}

void player::summarise() const {
    const command_counts& c = device.counts();
    const auto number = [](int64_t value) { return static_cast<long long>(value); };
    std::fprintf(stderr,
                 "bridge_sim: sent %lld lines, %lld bytes, %lld sounds; lost %lld unheard, "
                 "%lld slow; restarts %lld; ping %lld, info %lld, fetch %lld, unknown %lld\n",
                 number(counted.lines), number(counted.bytes), number(counted.sounds),
                 number(counted.unheard), number(counted.slow), number(counted.restarts),
                 number(c.pings), number(c.infos), number(c.fetches), number(c.unknown));
}

}  // namespace

int relay(relay_wish wish) {
    std::string error;
    const board_script script = load_script(wish.file, error);
    if (script.lines.empty()) return fail(error);
    for (const std::string& text : wish.peers) {
        tvrnet_ip ip;
        if (tvrnet_parse_ip(text, tvrnet_default_port, ip)) continue;
        say("\"" + text + "\" is no IPv4 address");
        return 2;
    }
    std::sort(wish.restarts.begin(), wish.restarts.end());
    return player(script, wish, tvr_now_s()).run();
}

}  // namespace bridge_sim
