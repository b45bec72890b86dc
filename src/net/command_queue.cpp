#include "net/command_queue.h"

#include <algorithm>
#include <utility>

bool command_buffer_s::timed_out(uint64_t now_ms) {
    return timeout.interval != 0 && timeout.passed(now_ms);
}

void tvrnet_command_pool::give_back(std::unique_ptr<command_buffer_s> command) {
    const bool is_small = command->count <= small_chunks;
    if (command->chunks.size() > largest_chunks) command->chunks = {};
    (is_small ? small : large).give_back(std::move(command));
}

void command_buffer_s::start_over() {
    resent_count += next_chunk;
    next_chunk = 0;
    ack_started = false;
    resend.reset(count);
    lowest_resend = tvrnet_chunk_bits::none;
    highest_resend = 0;
}

void command_buffer_s::mark_missing(int64_t first, int64_t last) {
    first = std::max<int64_t>(first, 0);
    last = std::min(last, int64_t(next_chunk) - 1);
    if (first > last) return;
    resend.add_range(size_t(first), size_t(last));
    highest_resend = has_resends() ? std::max(highest_resend, size_t(last)) : size_t(last);
    lowest_resend = std::min(lowest_resend, size_t(first));  // `none` is above every index
}

tvrnet_command_queue::row& tvrnet_command_queue::row_of(tvrnet_queue queue) {
    switch (queue) {
    case tvrnet_queue::high_priority: return high_priority;
    case tvrnet_queue::acknowledged: return acknowledged;
    case tvrnet_queue::response: return responses;
    case tvrnet_queue::normal: break;
    }
    return normal;
}

command_buffer_s& tvrnet_command_queue::add(std::unique_ptr<command_buffer_s> command,
                                            tvrnet_queue queue) {
    command->place = queue;
    command->waiting = false;
    row& target = row_of(queue);
    target.push_back(std::move(command));
    by_ticket[target.back()->ticket_id] = {&target, std::prev(target.end())};
    return *target.back();
}

command_buffer_s* tvrnet_command_queue::find(uint64_t ticket) {
    const auto found = by_ticket.find(ticket);
    return found == by_ticket.end() ? nullptr : found->second.at->get();
}

std::unique_ptr<command_buffer_s> tvrnet_command_queue::remove(uint64_t ticket) {
    const auto found = by_ticket.find(ticket);
    if (found == by_ticket.end()) return nullptr;
    const place where = found->second;
    by_ticket.erase(found);
    auto command = std::move(*where.at);
    where.in->erase(where.at);
    return command;
}

void tvrnet_command_queue::move(command_buffer_s& command, row& target, row::iterator before) {
    place& where = by_ticket[command.ticket_id];
    target.splice(before, *where.in, where.at);
    where.in = &target;
}

void tvrnet_command_queue::move_to_acknowledged(command_buffer_s& command) {
    command.place = tvrnet_queue::acknowledged;
    move(command, acknowledged, acknowledged.end());
}

void tvrnet_command_queue::let_wait(command_buffer_s& command, uint64_t until_ms) {
    command.waiting = true;
    command.idle_until = until_ms;
    next_due = std::min(next_due, until_ms);
    move(command, waiting, waiting.end());
}

// In front, because it is older than those that never had to wait.
void tvrnet_command_queue::wake(command_buffer_s& command) {
    if (!command.waiting) return;
    command.waiting = false;
    row& target = row_of(command.place);
    move(command, target, target.begin());
}

void tvrnet_command_queue::wake_due(uint64_t now_ms) {
    if (now_ms < next_due) return;
    next_due = UINT64_MAX;
    for (auto at = waiting.begin(); at != waiting.end();) {
        command_buffer_s& command = **at++;
        if (command.idle_until <= now_ms)
            wake(command);
        else
            next_due = std::min(next_due, command.idle_until);
    }
}

uint64_t tvrnet_command_queue::any_ticket() const {
    return by_ticket.begin()->first;
}
