#include "net/receive_queue.h"

#include <algorithm>

#include "net/send_batch.h"

tvrnet_receive_queue::tvrnet_receive_queue() : ring(std::make_unique_for_overwrite<slot[]>(slots)) {
    for (size_t i = 0; i < batch; i++) {
        messages[i].msg_hdr.msg_name = &addresses[i];
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
        parts[i].iov_len = slot_bytes;
    }
}

bool tvrnet_receive_queue::full() const {
    return written.load(std::memory_order_relaxed) - taken.load(std::memory_order_acquire) == slots;
}

tvrnet_receive_queue::slot& tvrnet_receive_queue::received(size_t n) {
    return ring[(written.load(std::memory_order_relaxed) + n) % slots];
}

size_t tvrnet_receive_queue::receive(int fd) {
    const uint64_t used =
        written.load(std::memory_order_relaxed) - taken.load(std::memory_order_acquire);
    const size_t room = std::min<size_t>(batch, slots - used);
    if (room == 0) return 0;
    for (size_t i = 0; i < room; i++) {
        parts[i].iov_base = received(i).bytes.data();
        messages[i].msg_hdr.msg_namelen = sizeof addresses[i];
    }
    const int came = recvmmsg(fd, messages.data(), unsigned(room), MSG_DONTWAIT, nullptr);
    if (came <= 0) return 0;
    for (size_t i = 0; i < size_t(came); i++) {
        slot& s = received(i);
        s.from = tvrnet_from_system(addresses[i]);
        // One that was cut is longer than any packet.
        const bool cut = (messages[i].msg_hdr.msg_flags & MSG_TRUNC) != 0;
        s.length = uint16_t(cut ? slot_bytes : messages[i].msg_len);
        s.type = tvrnet_pkt_type::dropped;
    }
    return size_t(came);
}

void tvrnet_receive_queue::publish(size_t count) {
    written.store(written.load(std::memory_order_relaxed) + count, std::memory_order_release);
}

tvrnet_receive_queue::slot* tvrnet_receive_queue::next() {
    uint64_t at = taken.load(std::memory_order_relaxed);
    if (lent) at++;
    lent = false;
    const uint64_t end = written.load(std::memory_order_acquire);
    while (at < end && ring[at % slots].type == tvrnet_pkt_type::dropped) at++;
    taken.store(at, std::memory_order_release);
    if (at == end) return nullptr;
    lent = true;
    return &ring[at % slots];
}

bool tvrnet_receive_queue::has_more() const {
    return taken.load(std::memory_order_relaxed) + (lent ? 1 : 0) <
           written.load(std::memory_order_acquire);
}

void tvrnet_receive_queue::rewind() {
    if (lent || has_more()) return;
    written.store(0, std::memory_order_relaxed);
    taken.store(0, std::memory_order_relaxed);
}
