#include "net/relay/endpoint.h"

#include <cstdio>
#include <string_view>
#include <utility>

#include "deck/session.h"
#include "net/relay/pcm_packet.h"

namespace deckbus::net {

namespace {

constexpr double debug_interval_s = 2.0;

tvrnet_node_options node_options() {
    tvrnet_node_options options;
    options.name = node_name;
    options.type_name = "deckbus";
    return options;
}

}  // namespace

endpoint::endpoint(std::unique_ptr<GenericUDPSocket> socket, relay_state& shared,
                   tvrnet_global_s& ids)
    : tvrnet_base(std::move(socket), node_options(), ids),
      state(shared),
      next_debug(now_s() + debug_interval_s) {
    const auto line = [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                             const tvrnet_pkt_header& header) { take_line(data, size, header); };
    add_command("deckbus", line);
    add_command("deckbus_rt", line);
    add_command("deckbus_pcm", [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                      const tvrnet_pkt_header&) { take_audio(data, size); });
}

void endpoint::take_line(const uint8_t* data, size_t size, const tvrnet_pkt_header& header) {
    session::network_feed({reinterpret_cast<const char*>(data), size}, now_s());
    state.line_packets++;
    choose_relay(header.source);
}

// Who speaks before it is connected becomes the relay with a later line.
void endpoint::choose_relay(const tvrnet_mac& mac) {
    auto sender = find_device(mac.bytes.data());
    if (sender == nullptr || sender == relay) return;
    relay = std::move(sender);
    tvr_lock hold(state.relay_mutex);
    state.relay_name = relay->name;
}

void endpoint::take_audio(const uint8_t* data, size_t size) {
    state.audio_packets++;
    audio_chunk chunk;
    if (parse_pcm_packet(data, size, now_s(), chunk)) session::network_audio(std::move(chunk));
}

void endpoint::update(uint64_t now_ms) {
    tvrnet_base::update(now_ms);
    resync_if_needed();
    if (debug && now_s() >= next_debug) tell();
    if (relay != nullptr && relay->connected) send_commands();
}

// The first relay ever needs no word: its first line makes the session connect, and that asks.
void endpoint::resync_if_needed() {
    if (relay == nullptr) {
        last_connected = false;
        return;
    }
    const bool connected = relay->connected;
    const bool changed = relay != last_relay && last_relay != nullptr;
    const bool again = relay == last_relay && !last_connected;
    if (connected && (changed || again)) session::network_resync(now_s());
    last_relay = relay;
    last_connected = connected;
}

void endpoint::send_commands() {
    for (const std::string& command : session::network_take_commands()) {
        if (debug) {
            std::fprintf(stderr, "[deckbus net] send \"%s\" (%zu)\n", command.c_str(),
                         command.size());
        }
        relay->send_reliable("deckbus_cmd", command.data(), command.size(),
                             tvrnet_pkt_dataformat::text, true, 0);
    }
}

void endpoint::tell() {
    next_debug = now_s() + debug_interval_s;
    const std::string name = relay == nullptr ? "-" : relay->name;
    std::fprintf(stderr, "[deckbus net] lines %u audio %u relay %s devices %zu\n",
                 state.line_packets.load(), state.audio_packets.load(), name.c_str(),
                 device_count());
}

}  // namespace deckbus::net
