#pragma once

// The socket layer as a node sees it.
//
// Sending copies a packet and returns at once; receiving takes the next packet that passed the
// checks. What stands behind it is the operating system (os_socket.h), a decorator that loses and
// shuffles datagrams (fault_socket.h), or a network that exists only in a test.
//
//   UniversalUDP       who we are, what a datagram is, how much came from whom
//   GenericUDPSocket   the interface: send, read, wait
//   GenericOSUDPSocket POSIX sockets, rings and threads
//
// Threads: the node's thread calls everything but preprocess_packet, which belongs to the thread
// that receives, and what says otherwise.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <unordered_map>

#include "base/sync.h"
#include "net/address.h"
#include "net/packet.h"

// How much came from an endpoint, and what it told about our own packets.
struct tvrnet_pps_diagnostics {
    uint32_t received = 0;    // packets that passed the checks
    uint32_t dropped = 0;     // datagrams that did not
    uint32_t per_second = 0;  // packets in the last whole second
    uint64_t second_began_ms = 0;
    uint32_t this_second = 0;
    uint64_t last_ms = 0;       // of the last datagram
    uint32_t sent_told = 0;     // the count of ours that its last answer speaks of
    uint32_t arrived_told = 0;  // how many of them it had received

    void count(uint64_t now_ms, bool passed);
};

class UniversalUDP {
public:
    static constexpr size_t max_seen = 1024;  // endpoints counted; the most silent one goes

    explicit UniversalUDP(const tvrnet_mac& mac) : own_mac(mac) {}
    virtual ~UniversalUDP() = default;
    UniversalUDP(const UniversalUDP&) = delete;
    UniversalUDP& operator=(const UniversalUDP&) = delete;

    // Our address, port and MAC. Any thread.
    tvrnet_adr local_adr() const;

    // Classifies a datagram in memory aligned to 8 bytes. 1 when it ends here: dropped, or
    // diagnostics, which are answered at once. 0 when it is the node's, with its type.
    int preprocess_packet(const tvrnet_ip& from, uint8_t* data, size_t length, uint64_t now_ms,
                          int* type);

    // What is known of an endpoint; all zero for a stranger. Any thread.
    tvrnet_pps_diagnostics diagnostics_of(const tvrnet_ip& ip) TVR_EXCLUDES(seen_mutex);

    // Sends one packet of at most 36 bytes. Any thread.
    virtual bool send_packet_diagnostic(const tvrnet_ip& to, const void* data, size_t length) = 0;

protected:
    void set_local_ip(const tvrnet_ip& ip);

    // How many packets went to an endpoint so far. Any thread.
    virtual uint32_t packets_sent_to(const tvrnet_ip& to) = 0;

    tvrnet_mac own_mac;  // written before any thread runs

private:
    void count(const tvrnet_ip& from, uint64_t now_ms, bool passed) TVR_EXCLUDES(seen_mutex);
    void handle_diagnostics(const tvrnet_ip& from, const uint8_t* data, size_t length)
        TVR_EXCLUDES(seen_mutex);
    void handle_diagnostics_request(const tvrnet_ip& from, const uint8_t* data, size_t length)
        TVR_EXCLUDES(seen_mutex);
    void forget_most_silent() TVR_REQUIRES(seen_mutex);

    std::atomic<uint64_t> own_ip{0};  // address and port in one word: a node may rebind
    tvr_mutex seen_mutex;
    std::unordered_map<tvrnet_ip, tvrnet_pps_diagnostics, tvrnet_ip_hash> seen
        TVR_GUARDED_BY(seen_mutex);
};

// The ways out. Front ways keep what the back way has no room for, in order.
enum class tvrnet_lane : uint8_t { front_bulk, front_priority, bulk, priority, artnet };

class GenericUDPSocket : public UniversalUDP {
public:
    using UniversalUDP::UniversalUDP;

    // Makes the socket. False, with the reason on standard error, when there is none to be had.
    virtual bool init() = 0;

    // Takes a port, 0 for any. False when it is taken, or when there is no thread to be had.
    virtual bool bind(int port) = 0;

    // Stops the threads. What is queued is lost.
    virtual void invalidate_threads() = 0;

    // One packet of 1 to 1400 bytes. False when there is no room; nothing of it was taken then.

    bool send_buffered(const tvrnet_ip& to, const void* data, size_t length) {
        return submit(tvrnet_lane::front_bulk, to, data, length);
    }
    bool send_buffered_prio(const tvrnet_ip& to, const void* data, size_t length) {
        return submit(tvrnet_lane::front_priority, to, data, length);
    }
    bool send_packet(const tvrnet_ip& to, const void* data, size_t length) {
        return submit(tvrnet_lane::bulk, to, data, length);
    }
    bool send_packet_prio(const tvrnet_ip& to, const void* data, size_t length) {
        return submit(tvrnet_lane::priority, to, data, length);
    }
    bool send_packet_artnet(const tvrnet_ip& to, const void* data, size_t length) {
        return submit(tvrnet_lane::artnet, to, data, length);
    }

    // Past all rings, with our interface named: the only way for a broadcast on a network without
    // a default route. Never blocks; what the system refuses is lost.
    virtual void send_packet_to_interface(const tvrnet_ip& to, const void* data, size_t length) = 0;

    // Gets what was queued on its way.
    virtual void flush_send_buffer() = 0;

    // The next packet in order of arrival, its sender, type and length; null when there is none.
    // It may be written to, and is valid until the next call. The memory is aligned to 8 bytes.
    virtual uint8_t* read_packet(tvrnet_ip& from, int* type, size_t* length) = 0;

    // Returns when a packet can be read, at the latest after timeout_ms. The one call that blocks.
    virtual void wait(uint32_t timeout_ms) = 0;

    // Once in each turn of the node: moves on what waits in the front ways, looks for an interface
    // while there is none, and asks for diagnostics where they are wanted.
    virtual void update(uint64_t now_ms) = 0;

protected:
    virtual bool submit(tvrnet_lane lane, const tvrnet_ip& to, const void* data, size_t length) = 0;
};
