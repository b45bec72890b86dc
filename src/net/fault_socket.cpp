#include "net/fault_socket.h"

#include <algorithm>
#include <utility>

tvrnet_fault_socket::tvrnet_fault_socket(std::unique_ptr<GenericUDPSocket> real,
                                         const tvrnet_faults& asked)
    : GenericUDPSocket(real->local_adr().mac),
      inner(std::move(real)),
      faults(asked),
      random(asked.seed) {}

bool tvrnet_fault_socket::bind(int port) {
    if (!inner->bind(port)) return false;
    own_mac = inner->local_adr().mac;
    set_local_ip(inner->local_adr().ip);
    return true;
}

bool tvrnet_fault_socket::chance(double probability) {
    // Drawn in any case, so that one kind of fault does not shift the others.
    return std::uniform_real_distribution<double>(0, 1)(random) < probability;
}

bool tvrnet_fault_socket::pass_on(way out, const tvrnet_ip& to, const void* data, size_t length) {
    switch (out) {
    case way::bulk: return inner->send_buffered(to, data, length);
    case way::priority: return inner->send_buffered_prio(to, data, length);
    case way::artnet: return inner->send_packet_artnet(to, data, length);
    case way::interface: inner->send_packet_to_interface(to, data, length); return true;
    }
    return false;
}

bool tvrnet_fault_socket::suffer(way out, const tvrnet_ip& to, const void* data, size_t length) {
    const bool lost = chance(faults.loss), doubled = chance(faults.duplicate);
    const bool overtaken = chance(faults.reorder);
    const uint64_t late =
        faults.delay_ms + (overtaken ? 1 + random() % std::max(faults.reorder_ms, 1U) : 0);
    if (lost) return true;
    for (int i = 0; i < (doubled ? 2 : 1); i++) {
        if (late == 0) {
            if (!pass_on(out, to, data, length)) return false;
        } else if (held.size() < max_held) {
            const auto* bytes = static_cast<const uint8_t*>(data);
            held.push_back({now_ms + late, to, out, {bytes, bytes + length}});
        }
    }
    return true;
}

bool tvrnet_fault_socket::submit(tvrnet_lane lane, const tvrnet_ip& to, const void* data,
                                 size_t length) {
    switch (lane) {
    case tvrnet_lane::artnet: return suffer(way::artnet, to, data, length);
    case tvrnet_lane::priority:
    case tvrnet_lane::front_priority: return suffer(way::priority, to, data, length);
    default: return suffer(way::bulk, to, data, length);
    }
}

// Comes from the receive thread as well, and is not what the faults are for.
bool tvrnet_fault_socket::send_packet_diagnostic(const tvrnet_ip& to, const void* data,
                                                 size_t length) {
    return inner->send_packet_diagnostic(to, data, length);
}

void tvrnet_fault_socket::send_packet_to_interface(const tvrnet_ip& to, const void* data,
                                                   size_t length) {
    suffer(way::interface, to, data, length);
}

void tvrnet_fault_socket::update(uint64_t time_ms) {
    now_ms = time_ms;
    const auto due = std::stable_partition(
        held.begin(), held.end(), [this](const held_datagram& d) { return d.due_ms > now_ms; });
    std::vector<held_datagram> leaving(std::make_move_iterator(due),
                                       std::make_move_iterator(held.end()));
    held.erase(due, held.end());
    for (const held_datagram& d : leaving) pass_on(d.out, d.to, d.bytes.data(), d.bytes.size());
    inner->update(time_ms);
    set_local_ip(inner->local_adr().ip);
}
