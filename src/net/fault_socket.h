#pragma once

// A socket that loses, doubles, delays and shuffles what is sent through it.
//
// A seeded decorator: the same seed and the same traffic suffer the same fate. What is delayed is
// held here and goes out from update().
//
// Thread: the node's, but for what socket.h says otherwise.

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "net/socket.h"

struct tvrnet_faults {
    uint64_t seed = 1;
    double loss = 0;  // probabilities, 0 to 1, for each datagram
    double duplicate = 0;
    double reorder = 0;       // held back for a while, so that later ones overtake it
    uint32_t delay_ms = 0;    // of every datagram
    uint32_t reorder_ms = 3;  // at most so long is a datagram held back
};

class tvrnet_fault_socket final : public GenericUDPSocket {
public:
    static constexpr size_t max_held = 65536;  // above that, datagrams are lost

    tvrnet_fault_socket(std::unique_ptr<GenericUDPSocket> real, const tvrnet_faults& asked);

    bool init() override { return inner->init(); }
    bool bind(int port) override;
    void invalidate_threads() override { inner->invalidate_threads(); }
    bool send_packet_diagnostic(const tvrnet_ip& to, const void* data, size_t length) override;
    void send_packet_to_interface(const tvrnet_ip& to, const void* data, size_t length) override;
    void flush_send_buffer() override { inner->flush_send_buffer(); }
    uint8_t* read_packet(tvrnet_ip& from, int* type, size_t* length) override {
        return inner->read_packet(from, type, length);
    }
    void wait(uint32_t timeout_ms) override { inner->wait(timeout_ms); }
    void update(uint64_t now_ms) override;

private:
    enum class way : uint8_t { bulk, priority, artnet, interface };

    struct held_datagram {
        uint64_t due_ms;
        tvrnet_ip to;
        way out;
        std::vector<uint8_t> bytes;
    };

    bool submit(tvrnet_lane lane, const tvrnet_ip& to, const void* data, size_t length) override;
    uint32_t packets_sent_to(const tvrnet_ip&) override { return 0; }
    bool chance(double probability);
    bool suffer(way out, const tvrnet_ip& to, const void* data, size_t length);
    bool pass_on(way out, const tvrnet_ip& to, const void* data, size_t length);

    const std::unique_ptr<GenericUDPSocket> inner;
    const tvrnet_faults faults;
    std::mt19937_64 random;
    uint64_t now_ms = 0;              // of the last update
    std::vector<held_datagram> held;  // in order of sending
};
