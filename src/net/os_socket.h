#pragma once

// TavroNet on a UDP socket of the operating system.
//
//   node's thread --submit--> front rings --update--> back rings --send thread--> socket
//   node's thread <--read_packet-- receive queue <--receive thread-- socket
//
// Both threads take and give datagrams by the batch, one system call for up to 64. Priority goes
// ahead of Art-Net, and that of bulk. A node that lives in a tight loop of its own does without
// both threads (`threads` false): flush_send_buffer() then sends and read_packet() receives, which
// saves four hand-overs a question and answer.
//
// Bound to the wildcard address, because a socket bound to its own address is not given broadcasts,
// and without sharing of address or port, because a second node must notice that a port is taken.
//
// Threads: see socket.h. Each ring has one writer and one reader. Descriptors close, and threads
// are joined, in the destructor.

#include <array>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "base/sync.h"
#include "net/async_buffer.h"
#include "net/interfaces.h"
#include "net/receive_queue.h"
#include "net/send_batch.h"
#include "net/send_endpoint.h"
#include "net/socket.h"

struct tvrnet_socket_options {
    tvrnet_mac mac;                // all zero: the interface's, made up where there is none
    bool threads = true;           // false: the node's thread sends and receives itself
    bool ask_diagnostics = false;  // once a second, of everybody to whom we send
    bool tell = true;              // buffer sizes and addresses on standard error
};

class GenericOSUDPSocket final : public GenericUDPSocket {
public:
    explicit GenericOSUDPSocket(const tvrnet_socket_options& asked = {});
    ~GenericOSUDPSocket() override;

    bool init() override;
    bool bind(int port) override;
    void invalidate_threads() override;

    bool send_packet_diagnostic(const tvrnet_ip& to, const void* data, size_t length) override
        TVR_EXCLUDES(diagnostic_mutex);
    void send_packet_to_interface(const tvrnet_ip& to, const void* data, size_t length) override;
    void flush_send_buffer() override;
    uint8_t* read_packet(tvrnet_ip& from, int* type, size_t* length) override;
    void wait(uint32_t timeout_ms) override;
    void update(uint64_t now_ms) override;

private:
    static constexpr size_t front_slots = 512, bulk_slots = 10240, small_slots = 256;
    static constexpr size_t max_diagnostics = 256;  // waiting; more are refused
    using front_ring = tvrnet_async_buffer_spsc<tvrnet_max_datagram, front_slots>;
    using bulk_ring = tvrnet_async_buffer_spsc<tvrnet_max_datagram, bulk_slots>;
    using small_ring = tvrnet_async_buffer_spsc<tvrnet_max_datagram, small_slots>;

    struct diagnostic_packet {
        tvrnet_ip to;
        std::array<uint8_t, sizeof(tvrnet_pkt_diagnostic)> bytes;
        size_t length;
    };

    // A thread that sleeps until another has something for it. Exchanging the flag on both sides
    // orders what was written before it, so nobody sleeps over a word that was just said.
    struct sleeper {
        bool begin() { return waits.exchange(true); }
        void end() { waits = false; }
        void wake();
        void sleep(uint32_t timeout_ms);

        std::atomic<bool> waits{false};
        std::mutex mutex;
        std::condition_variable woken;
    };

    bool submit(tvrnet_lane lane, const tvrnet_ip& to, const void* data, size_t length) override;
    uint32_t packets_sent_to(const tvrnet_ip& to) override;

    void set_options() const;
    void set_buffer(int option, int force_option, const char* form) const;
    bool start_threads();
    void choose_interface(bool tell);
    void send_through_interface(const tvrnet_ip& to, const void* data, size_t length);

    void move_front_packets();
    bool something_to_send();
    void send_loop();
    bool send_some();  // one batch, or what is left of one; false when it stopped
    void collect();
    void collect_diagnostics() TVR_EXCLUDES(diagnostic_mutex);
    void release_sent();
    bool send_loop_try_send();
    void high_resolution_wait(int timeout_ms) const;  // until the socket takes more

    void recv_loop();
    bool receive_some();  // one batch; false when nothing came
    void ask_for_diagnostics(uint64_t now_ms);

    const tvrnet_socket_options options;
    int fd = -1;  // opened and closed while no thread runs
    uint16_t bound_port = 0;
    unsigned interface_index = 0;  // node's thread; 0 while there is none
    tvrnet_ip interface_ip;        // node's thread, as the next three
    tvrnet_ip interface_broadcast;
    uint64_t next_interface_ms = 0;
    uint64_t next_diagnostics_ms = 0;
    uint32_t diagnostics_sequence = 0;

    std::unique_ptr<front_ring> front_bulk, front_priority;  // node's thread, both ends
    std::unique_ptr<bulk_ring> back_bulk;                    // from the node's to the send thread
    std::unique_ptr<small_ring> back_priority, back_artnet;  // likewise
    tvr_mutex diagnostic_mutex;                              // any thread writes here, rarely
    std::deque<diagnostic_packet> diagnostics TVR_GUARDED_BY(diagnostic_mutex);
    std::atomic<bool> diagnostics_wait{false};  // spares the send thread the lock

    // The send thread's: a batch, where it ends in each ring, and its diagnostics.
    tvrnet_send_batch batch;
    bulk_ring::place bulk_end;
    small_ring::place priority_end, artnet_end;
    std::vector<diagnostic_packet> diagnostics_sent;
    tvrnet_send_endpoints destinations;  // locks inside

    tvrnet_receive_queue queue;  // from the receive thread to the node's

    std::atomic<bool> running{false};  // both loops read it
    sleeper send_sleeper, node_sleeper, room_sleeper;
    std::thread sender, receiver;
};
