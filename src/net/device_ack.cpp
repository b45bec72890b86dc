// What a device learns from the acks of its peer.

#include <algorithm>

#include "net/base_impl.h"
#include "net/device.h"

void tvrnet_device::handle_ack(const tvrnet_pkt_ack& ack) {
    command_buffer_s* command = queue.find(ack.ticket_id);
    if (command == nullptr) return;
    switch (ack.status) {
    case tvrnet_ack_status::marker: handle_marker(*command, ack); return;
    case tvrnet_ack_status::complete: clear_command_buffer(ack.ticket_id, false, true); return;
    case tvrnet_ack_status::first_chunk: measure_round_trip(*command); return;
    case tvrnet_ack_status::missing: command->mark_missing(ack.first, ack.last); break;
    case tvrnet_ack_status::missing_asked:
        if (ack.sequence == command->ack_sequence) command->mark_missing(ack.first, ack.last);
        break;
    case tvrnet_ack_status::busy:
        command->delayed = true;
        command->delay.start(node.now_ms());
        return;
    case tvrnet_ack_status::refused: clear_command_buffer(ack.ticket_id, true, true); return;
    case tvrnet_ack_status::invalid_session: return;  // the node has dealt with it
    default: return;
    }
    if (command->has_chunks_to_send()) queue.wake(*command);
}

void tvrnet_device::handle_marker(command_buffer_s& command, const tvrnet_pkt_ack& ack) {
    if (ack.first != ack.last) return;
    switch (ack.first) {
    case tvrnet_ack_unknown_ticket:
        command.start_over();
        queue.wake(command);
        return;
    case tvrnet_ack_round_over:
        if (ack.sequence != command.ack_sequence) return;
        command.ack_sequence++;
        command.ack_started = false;
        queue.wake(command);
        return;
    case tvrnet_ack_restarted: node.disconnect_device(adr.mac, "Restarted"); return;
    case tvrnet_ack_none: answered_by_ack(command); return;
    default: return;
    }
}

// The ack itself is the answer to a request.
void tvrnet_device::answered_by_ack(command_buffer_s& command) {
    constexpr uint64_t again_ms = 1;
    constexpr int again_doublings = 8;
    const uint64_t ticket = command.ticket_id;
    command.ack_started = true;
    command.ack_timer = {again_ms};
    command.ack_timer.start(node.now_ms());
    command.doublings = 0;
    command.doubling_limit = again_doublings;
    queue.wake(command);
    if (!node.handle_response_recv(ticket, adr.mac, nullptr, 0, tvrnet_pkt_dataformat::buffer,
                                   true)) {
        clear_command_buffer(ticket, true, true);
    }
}

void tvrnet_device::measure_round_trip(const command_buffer_s& command) {
    constexpr double old_share = 0.9, new_share = 0.1;
    constexpr uint64_t longest_ms = 999;
    const uint64_t passed = node.now_ms() - command.first_chunk_ms;
    const double sample = double(std::clamp<uint64_t>(passed, 1, longest_ms));
    rtt_ms = int32_t(rtt_ms * old_share + sample * new_share);
}
