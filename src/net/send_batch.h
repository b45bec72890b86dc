#pragma once

// Up to 64 datagrams for one system call. Thread: the one that sends.

#include <netinet/in.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>

#include "net/address.h"

struct tvrnet_send_batch {
    static constexpr size_t capacity = 64;

    tvrnet_send_batch();

    bool full() const { return count == capacity; }
    bool done() const { return sent == count; }
    void clear();

    // The bytes stay where they are until the batch is sent.
    void add(const tvrnet_ip& to, const uint8_t* data, size_t length);

    std::array<mmsghdr, capacity> messages;
    std::array<iovec, capacity> parts;
    std::array<sockaddr_in, capacity> addresses;
    std::array<tvrnet_ip, capacity> destinations;
    size_t count = 0;
    size_t sent = 0;  // of these, from the first
};

sockaddr_in tvrnet_to_system(const tvrnet_ip& ip);
tvrnet_ip tvrnet_from_system(const sockaddr_in& address);
