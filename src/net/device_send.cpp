// A device's turn: what may go out now, in which order.

#include <algorithm>

#include "net/base_impl.h"
#include "net/device.h"
#include "net/hash.h"

namespace {

constexpr size_t chunks_at_once = 64;  // of one command before the next has its turn
constexpr int max_passes = 1024;       // of one update
constexpr size_t crowd = 32;           // so many commands are a stream

}  // namespace

bool tvrnet_device::may_send() {
    if (packets_per_turn > 0 && sent_in_turn >= packets_per_turn) return false;
    return rate < 1.0F ? slow_grant : credit < rate;
}

bool tvrnet_device::sendto(const tvrnet_pkt& chunk) {
    const size_t length = sizeof chunk.header + chunk.header.payload_size;
    if (!may_send() || !node.udp->send_buffered(adr.ip, &chunk, length)) return false;
    sent_in_turn++;
    if (rate < 1.0F)
        slow_grant = false;  // paid for when it was granted
    else
        credit += 1.0F;
    return true;
}

tvrnet_device::serve_result tvrnet_device::send_new_chunks(command_buffer_s& command) {
    for (size_t n = 0; command.next_chunk < command.count; n++) {
        if (n == chunks_at_once) return serve_result::more;
        if (!sendto(command.chunks[command.next_chunk])) return serve_result::budget_spent;
        if (command.next_chunk == 0) command.first_chunk_ms = node.now_ms();
        command.next_chunk++;
    }
    return serve_result::nothing_now;
}

tvrnet_device::serve_result tvrnet_device::send_resends(command_buffer_s& command) {
    for (size_t n = 0; command.has_resends(); n++) {
        if (n == chunks_at_once) return serve_result::more;
        const size_t index = command.resend.next_in(command.lowest_resend);
        if (index == tvrnet_chunk_bits::none || index > command.highest_resend) {
            command.lowest_resend = tvrnet_chunk_bits::none;
            break;
        }
        if (!sendto(command.chunks[index])) return serve_result::budget_spent;
        command.resent_count++;
        command.resend.remove(index);
        command.lowest_resend = index + 1;
    }
    return serve_result::nothing_now;
}

// A lone command asks at once, so that a lost chunk is noticed within a round trip. In a stream the
// acks come by themselves, after the time that the stream takes; asking sooner would cost as much
// as sending, and slow down what it waits for.
bool tvrnet_device::begin_ack_requests(command_buffer_s& command) const {
    const bool lone = queue.size() < crowd;
    const uint64_t usual_ms = 2 * uint64_t(std::max(rtt_ms, 0));
    const uint64_t first_ms =
        lone ? command_buffer_s::first_ack_ms
             : std::clamp(usual_ms, command_buffer_s::first_ack_ms, command_buffer_s::last_ack_ms);
    command.ack_started = true;
    command.ack_timer = {first_ms};
    command.ack_timer.start(node.now_ms());
    command.doublings = 0;
    command.doubling_limit = command_buffer_s::ack_doublings;
    return lone;
}

bool tvrnet_device::ack_request_is_due(command_buffer_s& command) const {
    if (!command.ack_started) return begin_ack_requests(command);
    tvrnet_timer& timer = command.ack_timer;
    if (timer.interval == 0 || !timer.fires(node.now_ms())) return false;
    if (command.doublings < command.doubling_limit) {
        timer.interval = std::min(timer.interval * 2, command_buffer_s::last_ack_ms);
        command.doublings++;
    }
    return true;
}

// Behind the chunks that it asks about, not ahead of them as a priority packet: a request that
// overtakes its chunks is answered by "unknown" or by holes that are none, and all goes out twice.
tvrnet_device::serve_result tvrnet_device::send_ack_request(command_buffer_s& command) {
    tvrnet_pkt_ack_request asked;
    asked.session_id = auth_info.session_id;
    asked.ticket_id = command.ticket_id;
    asked.mac = node.udp->local_adr().mac;
    asked.sequence = command.ack_sequence;
    asked.seal();
    return node.udp->send_buffered(adr.ip, &asked, sizeof asked) ? serve_result::nothing_now
                                                                 : serve_result::budget_spent;
}

tvrnet_device::serve_result tvrnet_device::send_command_buffer(command_buffer_s& command) {
    serve_result result = send_new_chunks(command);
    if (result != serve_result::nothing_now) return result;
    result = send_resends(command);
    if (result != serve_result::nothing_now) return result;
    if (!ack_request_is_due(command)) return serve_result::nothing_now;
    return send_ack_request(command);
}

// False when nothing may go out in this update.
bool tvrnet_device::begin_update(int turn) {
    if (turn >= 0 && turn != last_turn) {
        last_turn = turn;
        sent_in_turn = 0;
    }
    served = 0;
    slow_grant = false;
    if (rate >= 1.0F) {
        credit = 0;
        return true;
    }
    credit = std::min(credit, 1.0F) + rate;
    if (credit < 1.0F) return false;
    credit -= 1.0F;
    return slow_grant = true;
}

void tvrnet_device::update(int turn) {
    if (!valid) return;
    const auto kept = weak_from_this().lock();  // a callback may disconnect this device
    serve_fetches();
    queue.wake_due(node.now_ms());
    serve_static_buffers();
    if (queue.size() == 0 || !begin_update(turn)) return;
    for (int n = 0; n < max_passes && valid; n++) {
        did_something = false;
        if (!pass()) {
            node.udp->flush_send_buffer();
            return;
        }
        if (!did_something) return;
    }
}

bool tvrnet_device::pass() {
    return serve_acknowledged() && serve_row(queue.responses) && serve_high_priority() &&
           serve_row(queue.normal);
}

bool tvrnet_device::drop_if_timed_out(command_buffer_s& command) {
    if (!command.timed_out(node.now_ms())) return false;
    clear_command_buffer(command.ticket_id, true, false);
    did_something = true;
    return true;
}

bool tvrnet_device::count_served() {
    return commands_per_update == 0 || ++served <= commands_per_update;
}

bool tvrnet_device::serve_acknowledged() {
    if (queue.acknowledged.empty()) return true;
    command_buffer_s& head = *queue.acknowledged.front();
    if (drop_if_timed_out(head)) return true;
    switch (send_command_buffer(head)) {
    case serve_result::budget_spent: return false;
    case serve_result::more: did_something = true; break;
    case serve_result::nothing_now: break;
    }
    return true;
}

bool tvrnet_device::serve_high_priority() {
    if (queue.high_priority.empty()) return true;
    command_buffer_s& head = *queue.high_priority.front();
    if (drop_if_timed_out(head)) return true;
    if (head.delayed && !head.delay.passed(node.now_ms())) return true;
    head.delayed = false;
    if (!count_served()) return false;
    const serve_result result = send_command_buffer(head);
    if (result == serve_result::budget_spent) return false;
    if (result == serve_result::nothing_now) queue.move_to_acknowledged(head);
    did_something = true;
    return true;
}

bool tvrnet_device::serve_row(tvrnet_command_queue::row& row) {
    for (auto at = row.begin(); at != row.end() && valid;) {
        command_buffer_s& command = **at++;
        if (drop_if_timed_out(command)) return true;  // it called out: the row may be another
        if (command.delayed && !command.delay.passed(node.now_ms())) {
            stand_aside(command, command.delay.due());
            continue;
        }
        command.delayed = false;
        if (!count_served()) return false;
        const serve_result result = send_command_buffer(command);
        if (result == serve_result::budget_spent) return false;
        if (result == serve_result::more)
            did_something = true;
        else
            stand_aside(command, command.ack_timer.due());
    }
    return true;
}

void tvrnet_device::stand_aside(command_buffer_s& command, uint64_t until_ms) {
    if (command.timeout.interval != 0) until_ms = std::min(until_ms, command.timeout.due());
    queue.let_wait(command, until_ms);
}

bool tvrnet_device::has_dirty_buffer() const {
    return std::any_of(static_buffers.begin(), static_buffers.end(),
                       [](const tvrnet_static_buffer& b) { return b.dirty(); });
}

// Changed parts take their place behind all commands, within the same budgets.
void tvrnet_device::serve_static_buffers() {
    for (size_t i = 0; i < static_buffers.size() && connected; i++) {
        tvrnet_static_buffer& buffer = static_buffers[i];
        if (!buffer.dirty() || is_on_its_way(buffer.ticket_on_its_way)) continue;
        if (queue.size() >= max_commands) return;  // a part that was taken must be sent
        const std::vector<uint8_t> part = buffer.take_dirty_part(i);
        buffer.ticket_on_its_way = send_reliable("TVRSET_STATIC_BUFFER", part.data(), part.size(),
                                                 tvrnet_pkt_dataformat::buffer, false, 0);
    }
}

void tvrnet_device::send_fetch(const char* command, const void* data, size_t size,
                               tvrnet_pkt_dataformat format, tvrnet_answer_callback callback,
                               uint64_t interval_ms) {
    auto fetch = std::make_shared<fetch_command_s>();
    fetch->command = command;
    if (size > 0) {
        const auto* bytes = static_cast<const uint8_t*>(data);
        fetch->data.assign(bytes, bytes + size);
    }
    fetch->format = format;
    fetch->callback = std::move(callback);
    fetch->interval_ms = interval_ms;
    send_fetch(std::move(fetch));
}

void tvrnet_device::send_fetch(std::shared_ptr<fetch_command_s> fetch) {
    fetch->repeat = {fetch->interval_ms};
    fetch->began_ms = node.now_ms();
    fetches.push_back(std::move(fetch));
}

void tvrnet_device::serve_fetches() {
    for (auto at = fetches.begin(); at != fetches.end() && valid;) {
        const auto fetch = *at;
        if (serve_fetch(fetch)) {
            ++at;
            continue;
        }
        at = fetches.erase(at);
        if (!fetch->answered && fetch->callback) {
            fetch->callback(nullptr, 0, fetch->format, false);
            return;  // it may have changed the list
        }
    }
}

// Asks again when it is time. False when the fetch is over.
bool tvrnet_device::serve_fetch(const std::shared_ptr<fetch_command_s>& fetch) {
    const uint64_t now = node.now_ms();
    if (fetch->answered) return false;
    if (fetch->timeout_ms != 0 && now - fetch->began_ms >= fetch->timeout_ms) return false;
    if (!connected || !fetch->repeat.fires(now)) return true;
    const auto answer = [fetch](const uint8_t* data, size_t size, tvrnet_pkt_dataformat format,
                                bool success) {
        if (!success || fetch->answered) return;
        fetch->answered = true;
        if (fetch->callback) fetch->callback(data, size, format, true);
    };
    send_get(fetch->command.c_str(), fetch->data.data(), fetch->data.size(), fetch->format, answer,
             fetch->interval_ms);
    return true;
}
