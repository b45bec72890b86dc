#include "net/device.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "net/base_impl.h"
#include "net/hash.h"
#include "net/kv_record.h"

namespace {

// At most so many bytes, and no character cut in two.
std::string cut_text(const std::string& text, size_t max_bytes) {
    if (text.size() <= max_bytes) return text;
    constexpr unsigned char continuation_mask = 0xC0, continuation = 0x80;
    size_t end = max_bytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & continuation_mask) == continuation) {
        end--;
    }
    return text.substr(0, end);
}

}  // namespace

tvrnet_device::tvrnet_device(tvrnet_base_impl& owner, const tvrnet_adr& address)
    : adr(address), node(owner) {
    auth_info.session_id = owner.counters.get_new_sessionid();
}

void tvrnet_device::reconnect_device(const tvrnet_adr& address) {
    adr = address;
    lost = false;
    check_count = 0;
    check = {1};
    silence.interval = device_type == known_type ? known_timeout_ms : other_timeout_ms;
    sign_of_life(node.now_ms());
}

void tvrnet_device::reconnect_device(const tvrnet_adr& address, int type,
                                     const std::string& peer_name,
                                     const std::string& peer_type_name) {
    device_type = type;
    set_names(peer_name, peer_type_name);
    reconnect_device(address);
}

void tvrnet_device::set_names(const std::string& peer_name, const std::string& peer_type_name) {
    name = cut_text(peer_name, max_name);
    type_name = cut_text(peer_type_name, max_type_name);
}

void tvrnet_device::sign_of_life(uint64_t now_ms) {
    last_seen_ms = now_ms;
    silence.start(now_ms);
    if (!lost) return;
    lost = false;
    check_count = 0;
}

void tvrnet_device::set_invalid() {
    valid = false;
    connected = false;
    clear_command_buffers();
}

size_t tvrnet_device::largest_chunk() const {
    return max_data_size == 0 ? tvrnet_max_payload
                              : std::min<size_t>(max_data_size, tvrnet_max_payload);
}

std::unique_ptr<command_buffer_s> tvrnet_device::get_free_buffer(size_t chunk_count,
                                                                 uint64_t timeout_ms) {
    auto made = node.command_buffers.take(chunk_count);
    made->count = chunk_count;
    if (made->chunks.size() < chunk_count) made->chunks.resize(chunk_count);
    made->timeout = {timeout_ms};
    made->timeout.start(node.now_ms());
    made->ack_timer = {};
    made->doublings = 0;
    made->doubling_limit = command_buffer_s::ack_doublings;
    made->next_chunk = 0;
    made->start_over();
    made->resent_count = 0;
    made->first_chunk_ms = 0;
    made->delayed = false;
    made->ack_sequence = 1;
    return made;
}

void tvrnet_device::fill_header(tvrnet_pkt_header& h, tvrnet_pkt_type type, uint32_t command_hash,
                                tvrnet_pkt_dataformat format) const {
    h = {};
    h.type = type;
    h.data_format = format;
    h.session_id = auth_info.session_id;
    h.command_hash = command_hash;
    h.destination = adr.mac;
    h.source = node.udp->local_adr().mac;
}

void tvrnet_device::fill_chunks(command_buffer_s& made, uint32_t command_hash, const void* data,
                                size_t size, tvrnet_pkt_dataformat format) const {
    const size_t largest = largest_chunk();
    tvrnet_pkt_header h;
    fill_header(h, tvrnet_pkt_type::data, command_hash, format);
    h.ticket_id = made.ticket_id;
    h.last_chunk = uint32_t(made.count - 1);
    h.total_size = size;
    const auto* rest = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < made.count; i++, rest += h.payload_size, size -= h.payload_size) {
        h.chunk_index = uint32_t(i);
        h.payload_size = uint32_t(std::min(size, largest));
        tvrnet_pkt& p = made.chunks[i];
        p.header = h;
        if (h.payload_size > 0) std::memcpy(p.payload.data(), rest, h.payload_size);
        p.packet_end();
    }
}

uint64_t tvrnet_device::send_command(const char* command, const void* data, size_t size,
                                     tvrnet_pkt_dataformat format, tvrnet_queue place,
                                     uint64_t timeout_ms) {
    if (data == nullptr) size = 0;
    if (!valid || auth_info.session_id == 0 || queue.size() >= max_commands ||
        size > tvrnet_limits::largest_command) {
        return tvrnet_no_ticket;
    }
    const size_t largest = largest_chunk();
    const size_t count = size <= largest ? 1 : (size + largest - 1) / largest;
    auto made = get_free_buffer(count, timeout_ms);
    made->ticket_id = node.counters.get_new_ticketid();
    fill_chunks(*made, tvrnet_hash(command), data, size, format);
    return queue.add(std::move(made), place).ticket_id;
}

uint64_t tvrnet_device::send_reliable(const char* command, const void* data, size_t size,
                                      tvrnet_pkt_dataformat format, bool high_priority,
                                      uint64_t timeout_ms) {
    if (!connected) return tvrnet_no_ticket;
    return send_command(command, data, size, format,
                        high_priority ? tvrnet_queue::high_priority : tvrnet_queue::normal,
                        timeout_ms);
}

uint64_t tvrnet_device::send_answer(const char* command, const void* data, size_t size,
                                    tvrnet_pkt_dataformat format, uint64_t timeout_ms) {
    return send_command(command, data, size, format, tvrnet_queue::response, timeout_ms);
}

uint64_t tvrnet_device::send_request(uint32_t command_hash, const void* data, size_t size,
                                     tvrnet_pkt_dataformat format, uint64_t timeout_ms) {
    if (!connected) return tvrnet_no_ticket;
    tvrnet_kv_writer record;
    record.add_int32("command", int32_t(command_hash));
    record.add_data("data", static_cast<const uint8_t*>(data), size, format);
    return send_answer("tvrnet_cmd", record.data.data(), record.data.size(),
                       tvrnet_pkt_dataformat::buffer, timeout_ms);
}

uint64_t tvrnet_device::send_response(const char* response, uint64_t request_ticket,
                                      const void* data, size_t size, tvrnet_pkt_dataformat format) {
    tvrnet_kv_writer record;
    record.add_int64("ticketid", int64_t(request_ticket));
    if (size > 0) record.add_data("data", static_cast<const uint8_t*>(data), size, format);
    return send_answer(response, record.data.data(), record.data.size(),
                       tvrnet_pkt_dataformat::buffer);
}

void tvrnet_device::ask_if_known(const char* command) {
    tvrnet_kv_writer record;
    record.add_int32("command", int32_t(tvrnet_hash(command)));
    send_answer("tvrnet_cmd_check", record.data.data(), record.data.size(),
                tvrnet_pkt_dataformat::buffer);
}

uint64_t tvrnet_device::send_get(const char* command, const void* data, size_t size,
                                 tvrnet_pkt_dataformat format, tvrnet_answer_callback callback,
                                 uint64_t timeout_ms) {
    const uint64_t ticket = send_request(tvrnet_hash(command), data, size, format, timeout_ms);
    if (ticket != tvrnet_no_ticket) {
        node.handle_response_add(ticket, adr.mac, std::move(callback), timeout_ms);
    }
    return ticket;
}

bool tvrnet_device::send_out_of_band(const char* command, const void* data, size_t size,
                                     tvrnet_pkt_dataformat format) {
    if (!connected || size > tvrnet_max_payload) return false;
    tvrnet_pkt p;
    fill_header(p.header, tvrnet_pkt_type::out_of_band, tvrnet_hash(command), format);
    p.header.payload_size = uint32_t(size);
    p.header.total_size = size;
    if (size > 0) std::memcpy(p.payload.data(), data, size);
    return node.udp->send_buffered(adr.ip, &p, p.packet_end());
}

bool tvrnet_device::send_stream(const char* command, const void* data, size_t size,
                                tvrnet_pkt_dataformat format) {
    if (!connected || size > tvrnet_stream_endpoint_s::max_frame_bytes) return false;
    tvrnet_pkt p;
    fill_header(p.header, tvrnet_pkt_type::stream, tvrnet_hash(command), format);
    p.header.ticket_id = node.counters.get_new_ticketid();
    p.header.total_size = size;
    p.header.last_chunk = size == 0 ? 0 : uint32_t((size - 1) / tvrnet_max_payload);
    const auto* rest = static_cast<const uint8_t*>(data);
    for (uint32_t i = 0; i <= p.header.last_chunk; i++) {
        p.header.chunk_index = i;
        p.header.payload_size = uint32_t(std::min(size, tvrnet_max_payload));
        if (size > 0) std::memcpy(p.payload.data(), rest, p.header.payload_size);
        rest += p.header.payload_size;
        size -= p.header.payload_size;
        if (!node.udp->send_buffered(adr.ip, &p, p.packet_end())) return false;
    }
    return true;
}

void tvrnet_device::clear_command_buffer(uint64_t ticket, bool failed, bool acked) {
    auto command = queue.remove(ticket);
    if (command != nullptr) {
        if (acked || failed) learn_from(*command);
        node.command_buffers.give_back(std::move(command));
    }
    if (failed) node.handle_response_failed(ticket);  // last: it calls out
}

void tvrnet_device::clear_command_buffers() {
    while (queue.size() > 0) {
        node.command_buffers.give_back(queue.remove(queue.any_ticket()));
    }
    // Whoever fetches hears that there will be no answer.
    const auto ended = std::exchange(fetches, {});
    for (const auto& fetch : ended) {
        if (fetch->callback) fetch->callback(nullptr, 0, fetch->format, false);
    }
}

// One bad moment moves the rate by a percent at most, because whole commands are judged.
void tvrnet_device::learn_from(const command_buffer_s& command) {
    constexpr float old_share = 0.95F, new_share = 0.05F, faster = 1.01F;
    constexpr float heavy = 0.5F, some = 0.1F, little = 0.05F;
    constexpr float heavy_brake = 0.99F, some_brake = 0.999F;
    if (command.count == 0) return;
    const float share = float(command.resent_count) / float(command.count);
    loss = share * new_share + old_share * loss;
    if (loss >= 1.0F) {
        loss = 1.0F;
        rate *= heavy_brake;
    } else if (loss <= 0.0F) {
        loss = 0.0F;
        rate += faster;
    } else if (loss > heavy) {
        rate *= heavy_brake;
    } else if (loss > some) {
        rate *= some_brake;
    } else if (loss < little) {
        rate += faster;
    }
    rate = std::clamp(rate, least_rate, most_rate);
}
