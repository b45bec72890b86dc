// Chunks of reliable commands: accepted, put in their places, acknowledged, delivered once.

#include <cstring>

#include "net/receiver.h"

namespace {

uint64_t highest_chunk(uint64_t total) {
    return total == 0 ? 0 : (total - 1) / tvrnet_max_payload;
}

bool contradicts(const tvrnet_pkt_header& h, const tvrnet_order_buffer& buffer) {
    return h.total_size != buffer.total || h.last_chunk != buffer.last_chunk ||
           h.command_hash != buffer.command_hash;
}

// Every byte of a command comes from exactly one chunk, so that none is left unwritten.
bool fits(const tvrnet_pkt_header& h, const tvrnet_order_buffer& buffer) {
    const uint64_t at = buffer.place_of(h.chunk_index);
    if (h.chunk_index < h.last_chunk) return h.payload_size == buffer.chunk_size;
    return at + h.payload_size == buffer.total;
}

}  // namespace

void tvrnet_receiver::handle_tavronet_generic(const tvrnet_ip& from, tvrnet_pkt& p) {
    tvrnet_endpoint_s* sender = accept_session(from, p);
    if (sender == nullptr) return;
    if (sender->finished.has(p.header.ticket_id)) {
        tvrnet_pkt_ack ack = ack_for(p.header, tvrnet_ack_status::complete);
        send_ack(from, ack);
        return;
    }
    const auto open = sender->open.find(p.header.ticket_id);
    if (open != sender->open.end()) {
        if (contradicts(p.header, *open->second)) return;
        open->second->timeout.start(now);
        take_chunk(from, p, *sender, *open->second);
        return;
    }
    if (!make_room(*sender)) return;
    if (!can_be_opened(p.header)) {
        tvrnet_pkt_ack ack = ack_for(p.header, tvrnet_ack_status::refused);
        send_ack(from, ack);
        return;
    }
    if (p.header.last_chunk == 0) return take_single(from, p, *sender);
    if (tvrnet_order_buffer* made = open_buffer(from, p, *sender)) {
        take_chunk(from, p, *sender, *made);
    }
}

// The sender that this packet belongs to, or null when it must be dropped.
tvrnet_endpoint_s* tvrnet_receiver::accept_session(const tvrnet_ip& from, const tvrnet_pkt& p) {
    const uint32_t session = p.header.session_id;
    tvrnet_endpoint_s* sender = find_endpoint(p.header.source);
    if (sender != nullptr && session != tvrnet_no_session && session != sender->session_id &&
        sender->session_id != tvrnet_no_session) {
        tvrnet_pkt_ack ack = ack_for(p.header, tvrnet_ack_status::invalid_session);
        send_ack(from, ack);
        return nullptr;
    }
    if (session == 0) return nullptr;
    if (sender == nullptr) sender = &endpoint_of(p.header.source);
    if (sender->session_id == tvrnet_no_session) sender->session_id = session;
    sender->last_life_ms = now;
    return sender;
}

bool tvrnet_receiver::make_room(tvrnet_endpoint_s& sender) {
    if (limits.max_open_buffers < 0) return true;
    while (sender.open.size() >= size_t(limits.max_open_buffers)) {
        if (sender.open.empty()) return false;
        const auto oldest = sender.open.begin();
        free_order_buffer(std::move(oldest->second));
        sender.open.erase(oldest);
    }
    return true;
}

bool tvrnet_receiver::can_be_opened(const tvrnet_pkt_header& h) const {
    const int64_t wanted = limits.max_command_bytes;
    if (h.total_size > tvrnet_limits::largest_command) return false;
    if (wanted >= 0 && h.total_size > uint64_t(wanted)) return false;
    if (h.payload_size > h.total_size || h.last_chunk > highest_chunk(h.total_size)) return false;
    return !recv_budget_exceeded(h.total_size);
}

// The usual command: one chunk, delivered from where it was received.
void tvrnet_receiver::take_single(const tvrnet_ip& from, const tvrnet_pkt& p,
                                  tvrnet_endpoint_s& sender) {
    if (p.header.payload_size != p.header.total_size) return;
    tvrnet_pkt_ack ack = ack_for(p.header, tvrnet_ack_status::first_chunk);
    send_ack(from, ack);
    finish(from, p, sender, p.payload.data());
}

// Before the handler runs the ticket is done with: whatever the handler does, it runs once. It
// may even disconnect the sender, so nothing of it is touched afterwards.
void tvrnet_receiver::finish(const tvrnet_ip& from, const tvrnet_pkt& p, tvrnet_endpoint_s& sender,
                             const uint8_t* data) {
    sender.finished.add(p.header.ticket_id);
    tvrnet_pkt_ack ack = ack_for(p.header, tvrnet_ack_status::complete);
    send_ack(from, ack);
    run_command(from, data, p.header.total_size, p.header);
}

tvrnet_order_buffer* tvrnet_receiver::open_buffer(const tvrnet_ip& from, const tvrnet_pkt& p,
                                                  tvrnet_endpoint_s& sender) {
    const tvrnet_pkt_header& h = p.header;
    size_t chunk_size = tvrnet_max_payload;
    if (h.chunk_index == h.last_chunk) {
        const uint64_t others = h.total_size - h.payload_size;
        if (others % h.last_chunk != 0 || others / h.last_chunk > tvrnet_max_payload) {
            return nullptr;
        }
        chunk_size = others / h.last_chunk;
    }
    auto made = buffers.take();
    made->sender = {from, h.source};
    made->ticket_id = h.ticket_id;
    made->total = h.total_size;
    made->command_hash = h.command_hash;
    made->last_chunk = h.last_chunk;
    made->data = memory.take();
    made->data->make_room(h.total_size);
    made->have.reset(size_t(h.last_chunk) + 1);
    made->chunk_size = chunk_size;
    made->missing = h.last_chunk + 1;
    made->last_in_order = -1;
    made->timeout = {tvrnet_order_buffer::silence_ms};
    made->timeout.start(now);
    made->was_asked = false;
    open_bytes += made->total;
    return (sender.open[h.ticket_id] = std::move(made)).get();
}

void tvrnet_receiver::take_chunk(const tvrnet_ip& from, const tvrnet_pkt& p,
                                 tvrnet_endpoint_s& sender, tvrnet_order_buffer& buffer) {
    const tvrnet_pkt_header& h = p.header;
    if (!fits(h, buffer)) return;
    if (h.chunk_index == 0) {
        tvrnet_pkt_ack ack = ack_for(h, tvrnet_ack_status::first_chunk);
        send_ack(from, ack);
    }
    follow_order(from, p, buffer);
    if (buffer.have.has(h.chunk_index)) return;
    std::memcpy(buffer.data->bytes.get() + buffer.place_of(h.chunk_index), p.payload.data(),
                h.payload_size);
    buffer.have.add(h.chunk_index);
    if (--buffer.missing > 0) return;

    auto whole = std::move(sender.open[h.ticket_id]);
    sender.open.erase(h.ticket_id);
    finish(from, p, sender, whole->data->bytes.get());
    free_order_buffer(std::move(whole));
}

// What was overtaken is reported at once; if it was only late, its repeat changes nothing.
void tvrnet_receiver::follow_order(const tvrnet_ip& from, const tvrnet_pkt& p,
                                   tvrnet_order_buffer& buffer) {
    const int64_t index = p.header.chunk_index;
    if (index <= buffer.last_in_order) return;
    if (index > buffer.last_in_order + 1) {
        tvrnet_pkt_ack ack = ack_for(p.header, tvrnet_ack_status::missing);
        ack.first = buffer.last_in_order + 1;
        ack.last = index - 1;
        send_ack(from, ack);
    }
    buffer.last_in_order = index;
}
