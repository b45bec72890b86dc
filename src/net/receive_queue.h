#pragma once

// What came in and was found good, on its way from the thread that receives to the node's.
//
// A ring of datagram slots. The system writes straight into the free ones, the receiving thread
// judges each in place and publishes the batch; those that must vanish stay in it with type
// `dropped` and are passed over. A full ring leaves the datagrams with the system.
//
// Threads: one fills, one takes; they share `written` and `taken`, each written by one side.

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>

#include "net/address.h"
#include "net/packet.h"

class tvrnet_receive_queue {
public:
    static constexpr size_t slots = 4096;
    static constexpr size_t batch = 64;
    static constexpr size_t slot_bytes = 1408;  // larger than any packet: a longer one shows

    struct slot {
        alignas(16) std::array<uint8_t, slot_bytes> bytes;
        tvrnet_ip from;
        uint16_t length;
        tvrnet_pkt_type type;
    };

    tvrnet_receive_queue();

    // Receiving side: takes what the socket has into free slots, without blocking. The number of
    // datagrams, 0 when none were there or no slot is free.
    size_t receive(int fd);

    // Receiving side: no slot is free.
    bool full() const;

    // Receiving side: the n-th datagram of this receive(), and publishing them all.
    slot& received(size_t n);
    void publish(size_t count);

    // Node's side: the next one that is not dropped, valid until the next call; null without one.
    slot* next();

    // Node's side: something is there.
    bool has_more() const;

    // Only where one thread has both sides: begins at the first slot again, which is still warm.
    void rewind();

private:
    alignas(64) std::atomic<uint64_t> written{0};
    alignas(64) std::atomic<uint64_t> taken{0};
    bool lent = false;  // node's side: slot `taken` is in the caller's hands
    std::unique_ptr<slot[]> ring;
    std::array<mmsghdr, batch> messages{};
    std::array<iovec, batch> parts{};
    std::array<sockaddr_in, batch> addresses{};
};
