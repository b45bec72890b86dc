// What the two threads of a socket do, or the node's thread in their place.

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

#include "base/clock.h"
#include "net/os_socket.h"

namespace {

constexpr int loop_wait_ms = 50;  // a stopped thread notices within this time
constexpr double ms_per_s = 1000.0;

uint64_t clock_ms() {
    return uint64_t(tvr_now_s() * ms_per_s);
}

// As many of a ring's packets as the batch has room for. `end` is where the next batch begins.
template <typename RING>
void collect_from(RING& ring, typename RING::place& end, tvrnet_send_batch& batch) {
    typename RING::packet packet;
    while (!batch.full() && ring.look(end, packet)) {
        batch.add(packet.to, packet.data, packet.length);
    }
}

// Packets that had to wait go on in order, as far as there is room.
template <typename FRONT, typename BACK>
void move_packets(FRONT& front, BACK& back) {
    typename FRONT::place at = front.reader();
    typename FRONT::packet packet;
    for (typename FRONT::place next = at; front.look(next, packet); at = next) {
        if (!back.write(packet.to, packet.data, packet.length)) break;
    }
    front.release(at);
}

}  // namespace

void GenericOSUDPSocket::move_front_packets() {
    if (!front_priority->empty()) move_packets(*front_priority, *back_priority);
    if (!front_bulk->empty()) move_packets(*front_bulk, *back_bulk);
}

void GenericOSUDPSocket::flush_send_buffer() {
    if (fd < 0) return;
    move_front_packets();
    if (options.threads) {
        send_sleeper.wake();
        return;
    }
    while (something_to_send() && send_some()) move_front_packets();
}

bool GenericOSUDPSocket::something_to_send() {
    return !batch.done() || !back_priority->empty() || !back_bulk->empty() ||
           !back_artnet->empty() || diagnostics_wait;
}

void GenericOSUDPSocket::send_loop() {
    while (running) {
        if (something_to_send()) {
            if (!send_some()) high_resolution_wait(1);
            continue;
        }
        send_sleeper.begin();
        if (something_to_send() || !running)
            send_sleeper.end();
        else
            send_sleeper.sleep(loop_wait_ms);
    }
}

// Priority ahead of Art-Net, and that ahead of bulk.
void GenericOSUDPSocket::collect() {
    batch.clear();
    diagnostics_sent.clear();
    priority_end = back_priority->reader();
    artnet_end = back_artnet->reader();
    bulk_end = back_bulk->reader();
    collect_from(*back_priority, priority_end, batch);
    if (diagnostics_wait) collect_diagnostics();
    collect_from(*back_artnet, artnet_end, batch);
    collect_from(*back_bulk, bulk_end, batch);
}

void GenericOSUDPSocket::collect_diagnostics() {
    tvr_lock hold(diagnostic_mutex);
    const size_t room = tvrnet_send_batch::capacity - batch.count;
    while (!diagnostics.empty() && diagnostics_sent.size() < room) {
        diagnostics_sent.push_back(diagnostics.front());
        diagnostics.pop_front();
    }
    diagnostics_wait = !diagnostics.empty();
    for (const diagnostic_packet& d : diagnostics_sent) batch.add(d.to, d.bytes.data(), d.length);
}

void GenericOSUDPSocket::release_sent() {
    back_priority->release(priority_end);
    back_artnet->release(artnet_end);
    back_bulk->release(bulk_end);
    if (options.threads) return;
    if (back_bulk->empty()) back_bulk->rewind();
    if (back_priority->empty()) back_priority->rewind();
}

bool GenericOSUDPSocket::send_some() {
    if (batch.done()) collect();
    if (!send_loop_try_send()) return false;
    release_sent();
    return true;
}

// Sends the rest of the batch. False when the socket is full; the rest stays. A datagram that the
// system refuses for another reason is lost, as on the wire.
bool GenericOSUDPSocket::send_loop_try_send() {
    const size_t first = batch.sent;
    bool room = true;
    while (!batch.done() && room) {
        const int went = ::sendmmsg(fd, &batch.messages[batch.sent],
                                    unsigned(batch.count - batch.sent), MSG_DONTWAIT);
        if (went > 0)
            batch.sent += size_t(went);
        else if (errno == EAGAIN || errno == ENOBUFS)
            room = false;
        else if (errno != EINTR)
            batch.sent++;
    }
    if (batch.sent > first) destinations.count(batch, first, batch.sent, clock_ms());
    return room;
}

void GenericOSUDPSocket::high_resolution_wait(int timeout_ms) const {
    pollfd wanted{fd, POLLOUT, 0};
    (void)::poll(&wanted, 1, timeout_ms);
}

void GenericOSUDPSocket::recv_loop() {
    while (running) {
        if (receive_some()) continue;
        if (!queue.full()) {
            pollfd wanted{fd, POLLIN, 0};
            (void)::poll(&wanted, 1, loop_wait_ms);
            continue;
        }
        // The node is behind: what comes meanwhile waits with the system, or is lost there.
        room_sleeper.begin();
        if (!queue.full() || !running)
            room_sleeper.end();
        else
            room_sleeper.sleep(loop_wait_ms);
    }
}

bool GenericOSUDPSocket::receive_some() {
    const size_t came = queue.receive(fd);
    if (came == 0) return false;
    const uint64_t now_ms = clock_ms();
    for (size_t n = 0; n < came; n++) {
        tvrnet_receive_queue::slot& s = queue.received(n);
        int type = 0;
        const int ended = preprocess_packet(s.from, s.bytes.data(), s.length, now_ms, &type);
        s.type = ended != 0 ? tvrnet_pkt_type::dropped : tvrnet_pkt_type(type);
    }
    queue.publish(came);
    if (options.threads) node_sleeper.wake();
    return true;
}

uint8_t* GenericOSUDPSocket::read_packet(tvrnet_ip& from, int* type, size_t* length) {
    tvrnet_receive_queue::slot* next = queue.next();
    while (next == nullptr && !options.threads && fd >= 0) {
        queue.rewind();
        if (!receive_some()) return nullptr;
        next = queue.next();
    }
    if (next == nullptr) return nullptr;
    from = next->from;
    *type = int(next->type);
    *length = next->length;
    return next->bytes.data();
}
