#include "net/receiver.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "net/hash.h"

namespace {

// Resting memory is kept for so many buffers of each kind.
constexpr size_t resting_buffers = 256, resting_memory = 16;
// Commands above this size give their memory back at once.
constexpr size_t largest_resting = 2 * 1024 * 1024;
// So many go at once when strangers fill the map, since looking for them costs a walk.
constexpr size_t forgotten_at_once = 64;

}  // namespace

tvrnet_receiver::tvrnet_receiver(std::unique_ptr<GenericUDPSocket> socket)
    : udp(std::move(socket)), buffers(resting_buffers), memory(resting_memory) {}

void tvrnet_receiver::add_command(std::string_view name, tvrnet_command_handler handler) {
    commands[tvrnet_hash(name.data(), name.size())] =
        std::make_shared<const tvrnet_command_handler>(std::move(handler));
}

void tvrnet_receiver::remove_command(std::string_view name) {
    commands.erase(tvrnet_hash(name.data(), name.size()));
}

std::vector<uint32_t> tvrnet_receiver::command_hashes() const {
    std::vector<uint32_t> hashes;
    for (const auto& [hash, handler] : commands) hashes.push_back(hash);
    std::sort(hashes.begin(), hashes.end());
    return hashes;
}

bool tvrnet_receiver::run_command(const tvrnet_ip& from, const uint8_t* data, size_t size,
                                  const tvrnet_pkt_header& header) {
    const auto found = commands.find(header.command_hash);
    if (found == commands.end()) return false;
    const auto handler = found->second;  // it may remove itself
    (*handler)(from, data, size, header);
    return true;
}

void tvrnet_receiver::update(uint64_t now_ms) {
    now = now_ms;
    udp->update(now);
    tvrnet_ip from;
    int type = 0;
    size_t length = 0;
    for (size_t n = 0; n < max_packets_per_update; n++) {
        uint8_t* data = udp->read_packet(from, &type, &length);
        if (data == nullptr) break;
        handle_packet(from, tvrnet_pkt_type(type), data, length);
    }
    if (sweep.fires(now)) free_stale_buffers();
}

void tvrnet_receiver::handle_packet(const tvrnet_ip& from, tvrnet_pkt_type type, uint8_t* data,
                                    size_t length) {
    switch (type) {
    case tvrnet_pkt_type::artnet:
    case tvrnet_pkt_type::artnet_poll: handle_artnet(from, data, length); return;
    case tvrnet_pkt_type::ack: {
        const auto& ack = *reinterpret_cast<const tvrnet_pkt_ack*>(data);
        on_sign_of_life(ack.mac);
        handle_ack(from, ack);
        return;
    }
    case tvrnet_pkt_type::ack_request: {
        const auto& asked = *reinterpret_cast<const tvrnet_pkt_ack_request*>(data);
        on_sign_of_life(asked.mac);
        handle_tavronet_ack_request(from, asked);
        return;
    }
    default:
        handle_tavronet_primitive(from, *reinterpret_cast<tvrnet_pkt*>(data), uint32_t(length));
    }
}

void tvrnet_receiver::handle_tavronet_primitive(const tvrnet_ip& from, tvrnet_pkt& p,
                                                uint32_t length) {
    const tvrnet_pkt_type type = p.header.type;
    // The flag spares the receive thread the hashes; it is no way around them.
    const bool unchecked = (p.header.flags & tvrnet_flag_unchecked) != 0;
    if (unchecked && type != tvrnet_pkt_type::stream && !p.check_packet(length, true)) return;
    on_sign_of_life(p.header.source);
    switch (type) {
    case tvrnet_pkt_type::data: handle_tavronet_generic(from, p); break;
    case tvrnet_pkt_type::out_of_band: handle_tavronet_oob(from, p); break;
    case tvrnet_pkt_type::stream: handle_tavronet_stream(from, p); break;
    default: handle_connection(from, p); break;
    }
}

void tvrnet_receiver::handle_tavronet_oob(const tvrnet_ip& from, const tvrnet_pkt& p) {
    if (p.header.chunk_index != 0 || p.header.last_chunk != 0) return;
    run_command(from, p.payload.data(), p.header.payload_size, p.header);
}

void tvrnet_receiver::handle_tavronet_stream(const tvrnet_ip& from, const tvrnet_pkt& p) {
    if (!has_command(p.header.command_hash)) return;
    if (!streams.contains(p.header.source) && streams.size() >= limits.max_endpoints) {
        forget_most_silent_stream();
    }
    tvrnet_stream_endpoint_s& stream = streams[p.header.source];
    stream.last_life_ms = now;
    const size_t before = stream.frame.capacity();
    const bool complete = stream.take(p);
    stream_bytes += stream.frame.capacity() - before;
    if (complete) run_command(from, stream.frame.data(), stream.frame.size(), p.header);
    while (stream_bytes > limits.stream_budget_bytes) forget_most_silent_stream();
}

void tvrnet_receiver::forget_most_silent_stream() {
    const auto silent = std::min_element(
        streams.begin(), streams.end(),
        [](const auto& a, const auto& b) { return a.second.last_life_ms < b.second.last_life_ms; });
    stream_bytes -= silent->second.frame.capacity();
    streams.erase(silent);
}

tvrnet_endpoint_s* tvrnet_receiver::find_endpoint(const tvrnet_mac& mac) {
    const auto found = endpoints.find(mac);
    return found == endpoints.end() ? nullptr : &found->second;
}

tvrnet_endpoint_s& tvrnet_receiver::endpoint_of(const tvrnet_mac& mac) {
    if (tvrnet_endpoint_s* known = find_endpoint(mac)) return *known;
    if (endpoints.size() >= limits.max_endpoints) forget_most_silent();
    tvrnet_endpoint_s& made = endpoints[mac];
    made.last_life_ms = now;
    return made;
}

void tvrnet_receiver::forget_endpoint(const tvrnet_mac& mac) {
    const auto found = endpoints.find(mac);
    if (found == endpoints.end()) return;
    forget_commands_of(found->second);
    endpoints.erase(found);
}

// Those without a device only: a flood of strangers must not cost a peer its place.
void tvrnet_receiver::forget_most_silent() {
    std::vector<std::pair<uint64_t, tvrnet_mac>> strangers;
    for (const auto& [mac, sender] : endpoints) {
        if (!sender.has_device) strangers.emplace_back(sender.last_life_ms, mac);
    }
    const size_t count = std::min(forgotten_at_once, strangers.size());
    std::partial_sort(strangers.begin(), strangers.begin() + ptrdiff_t(count), strangers.end(),
                      [](const auto& a, const auto& b) { return a.first < b.first; });
    for (size_t i = 0; i < count; i++) forget_endpoint(strangers[i].second);
}

void tvrnet_receiver::forget_commands_of(tvrnet_endpoint_s& sender) {
    for (auto& [ticket, buffer] : sender.open) free_order_buffer(std::move(buffer));
    sender.open.clear();
    sender.finished.clear();
}

bool tvrnet_receiver::recv_budget_exceeded(uint64_t size) const {
    return open_bytes + size > limits.recv_budget_bytes;
}

void tvrnet_receiver::free_order_buffer(std::unique_ptr<tvrnet_order_buffer> buffer) {
    open_bytes -= buffer->total;
    if (buffer->data->capacity > largest_resting) *buffer->data = {};
    memory.give_back(std::move(buffer->data));
    buffers.give_back(std::move(buffer));
}

void tvrnet_receiver::free_stale_buffers() {
    for (auto& [mac, sender] : endpoints) {
        for (auto open = sender.open.begin(); open != sender.open.end();) {
            if (!open->second->timeout.passed(now)) {
                ++open;
                continue;
            }
            free_order_buffer(std::move(open->second));
            open = sender.open.erase(open);
        }
    }
}

tvrnet_pkt_ack tvrnet_receiver::ack_for(const tvrnet_pkt_header& h,
                                        tvrnet_ack_status status) const {
    tvrnet_pkt_ack ack;
    ack.session_id = h.session_id;
    ack.ticket_id = h.ticket_id;
    ack.status = status;
    return ack;
}

bool tvrnet_receiver::send_ack(const tvrnet_ip& to, tvrnet_pkt_ack& ack) {
    ack.mac = udp->local_adr().mac;
    ack.seal();
    return udp->send_buffered_prio(to, &ack, sizeof ack);
}

void tvrnet_receiver::handle_tavronet_ack_request(const tvrnet_ip& from,
                                                  const tvrnet_pkt_ack_request& asked) {
    tvrnet_endpoint_s* sender = find_endpoint(asked.mac);
    if (sender == nullptr || sender->session_id != asked.session_id) return;
    tvrnet_pkt_ack ack;
    ack.session_id = asked.session_id;
    ack.ticket_id = asked.ticket_id;
    ack.sequence = asked.sequence;
    ack.status = tvrnet_ack_status(asked.status);

    const auto open = sender->open.find(asked.ticket_id);
    if (open == sender->open.end()) {
        const bool finished = sender->finished.has(asked.ticket_id);
        ack.status = finished ? tvrnet_ack_status::complete : tvrnet_ack_status::marker;
        if (!finished) ack.first = ack.last = tvrnet_ack_unknown_ticket;
        send_ack(from, ack);
        return;
    }
    if (ack.status == tvrnet_ack_status::marker) tell_holes(from, ack, *open->second);
}

// Every hole once for each sequence number, and always the end of the round: were it told only
// once, a lost datagram could stop a command for ever.
void tvrnet_receiver::tell_holes(const tvrnet_ip& to, tvrnet_pkt_ack& ack,
                                 tvrnet_order_buffer& buffer) {
    const bool asked_before = buffer.was_asked && buffer.last_sequence == ack.sequence;
    bool told = true;
    if (!asked_before) {
        ack.status = tvrnet_ack_status::missing_asked;
        const tvrnet_chunk_bits& have = buffer.have;
        for (size_t hole = have.next_out(0); hole != tvrnet_chunk_bits::none && told;) {
            const size_t end = std::min(have.next_in(hole), have.size());
            ack.first = int64_t(hole);
            ack.last = int64_t(end) - 1;
            told = send_ack(to, ack);
            hole = have.next_out(end);
        }
    }
    ack.status = tvrnet_ack_status::marker;
    ack.first = ack.last = tvrnet_ack_round_over;
    if (!told || !send_ack(to, ack)) return;
    buffer.was_asked = true;
    buffer.last_sequence = ack.sequence;
}
