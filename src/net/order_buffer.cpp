#include "net/order_buffer.h"

void tvrnet_command_bytes::make_room(size_t size) {
    if (size <= capacity) return;
    bytes = std::make_unique_for_overwrite<uint8_t[]>(size);
    capacity = size;
}

bool tvrnet_finished_tickets::has(uint64_t ticket) const {
    const auto word = words.find(ticket / 64);
    return word != words.end() && (word->second >> (ticket % 64) & 1) != 0;
}

void tvrnet_finished_tickets::add(uint64_t ticket) {
    const auto [word, is_new] = words.try_emplace(ticket / 64, 0);
    word->second |= uint64_t(1) << (ticket % 64);
    if (!is_new) return;
    order.push_back(ticket / 64);
    if (order.size() <= max_words) return;
    words.erase(order.front());
    order.pop_front();
}

void tvrnet_finished_tickets::clear() {
    words.clear();
    order.clear();
}
