#pragma once

// The receiving half of a node: from packets to whole commands.
//
// The map of this folder:
//
//   packet, hash, kv_record      the bytes
//   socket, os_socket            datagrams in and out
//   receiver, order_buffer       chunks put together, holes reported, commands delivered once
//   base_impl, base              peers found, met, watched and lost; requests and answers
//   device, command_queue        the sending half, one for each peer
//   artnet                       the lighting protocol on the same socket
//
// The tree of a node is tvrnet_receiver, tvrnet_base_impl, tvrnet_base, and the application's own
// class. Time comes in as an argument, ms on any steady clock; so a whole network can be played
// through in a test.
//
// A damaged or contradicting packet vanishes. Whatever the sender should know it is told by an ack.
//
// Threads: everything belongs to the node's thread, the one that calls update(). Handlers are
// called from there and must not block; they may send, and add or remove commands.

#include <cstdint>
#include <functional>
#include <memory>
#include <string_view>
#include <unordered_map>

#include "net/order_buffer.h"
#include "net/recycler.h"
#include "net/socket.h"
#include "net/stream.h"

// Limits of a node; 0 stands for the default, -1 for none where that is said.
struct tvrnet_limits {
    static constexpr uint64_t largest_command = 134217728;  // bytes, never above

    int64_t max_command_bytes = -1;           // -1: largest_command
    int64_t max_open_buffers = 1024;          // of one sender; -1 for none
    uint64_t recv_budget_bytes = 536870912;   // of all open order buffers together
    uint64_t stream_budget_bytes = 67108864;  // of all stream frames together
    size_t max_endpoints = 1024;  // senders, devices, pending and unknown ones, streams, each
};

// What a handler is told besides the bytes.
using tvrnet_command_handler = std::function<void(const tvrnet_ip& from, const uint8_t* data,
                                                  size_t size, const tvrnet_pkt_header& header)>;

class tvrnet_receiver {
public:
    explicit tvrnet_receiver(std::unique_ptr<GenericUDPSocket> socket);
    virtual ~tvrnet_receiver() = default;
    tvrnet_receiver(const tvrnet_receiver&) = delete;
    tvrnet_receiver& operator=(const tvrnet_receiver&) = delete;

    // Runs for every command, stream frame and out-of-band command of this name. One that nobody
    // registered counts as delivered.
    void add_command(std::string_view name, tvrnet_command_handler handler);
    void remove_command(std::string_view name);

    // Reads what came in, and drops what nobody completed.
    virtual void update(uint64_t now_ms);

    tvrnet_limits limits;
    const std::unique_ptr<GenericUDPSocket> udp;

protected:
    static constexpr uint64_t sweep_ms = 1000;
    // In one update; the rest waits for the next, so that sending is never starved.
    static constexpr size_t max_packets_per_update = 1024;

    void handle_packet(const tvrnet_ip& from, tvrnet_pkt_type type, uint8_t* data, size_t length);
    void handle_tavronet_primitive(const tvrnet_ip& from, tvrnet_pkt& p, uint32_t length);
    void handle_tavronet_generic(const tvrnet_ip& from, tvrnet_pkt& p);
    void handle_tavronet_oob(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_tavronet_stream(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_tavronet_ack_request(const tvrnet_ip& from, const tvrnet_pkt_ack_request& asked);

    // Packets of the connection and acks; the classes above know what to do.
    virtual void handle_connection(const tvrnet_ip& from, const tvrnet_pkt& p) = 0;
    virtual void handle_ack(const tvrnet_ip& from, const tvrnet_pkt_ack& ack) = 0;
    virtual void handle_artnet(const tvrnet_ip& from, const uint8_t* data, size_t length) = 0;
    virtual void on_sign_of_life(const tvrnet_mac& mac) = 0;

    // The sender under this MAC, made when it is new; the most silent one goes at the limit.
    tvrnet_endpoint_s& endpoint_of(const tvrnet_mac& mac);
    tvrnet_endpoint_s* find_endpoint(const tvrnet_mac& mac);

    void forget_endpoint(const tvrnet_mac& mac);

    // A new incarnation of a sender: nothing that it began or ended counts any more.
    void forget_commands_of(tvrnet_endpoint_s& sender);

    bool has_command(uint32_t hash) const { return commands.contains(hash); }
    std::vector<uint32_t> command_hashes() const;
    bool run_command(const tvrnet_ip& from, const uint8_t* data, size_t size,
                     const tvrnet_pkt_header& header);

    uint64_t now = 0;  // ms, of this update

private:
    tvrnet_endpoint_s* accept_session(const tvrnet_ip& from, const tvrnet_pkt& p);
    bool make_room(tvrnet_endpoint_s& sender);
    bool can_be_opened(const tvrnet_pkt_header& h) const;
    bool recv_budget_exceeded(uint64_t size) const;
    tvrnet_order_buffer* open_buffer(const tvrnet_ip& from, const tvrnet_pkt& p,
                                     tvrnet_endpoint_s& sender);
    void take_chunk(const tvrnet_ip& from, const tvrnet_pkt& p, tvrnet_endpoint_s& sender,
                    tvrnet_order_buffer& buffer);
    void take_single(const tvrnet_ip& from, const tvrnet_pkt& p, tvrnet_endpoint_s& sender);
    void follow_order(const tvrnet_ip& from, const tvrnet_pkt& p, tvrnet_order_buffer& buffer);
    void finish(const tvrnet_ip& from, const tvrnet_pkt& p, tvrnet_endpoint_s& sender,
                const uint8_t* data);
    void tell_holes(const tvrnet_ip& to, tvrnet_pkt_ack& ack, tvrnet_order_buffer& buffer);
    bool send_ack(const tvrnet_ip& to, tvrnet_pkt_ack& ack);
    tvrnet_pkt_ack ack_for(const tvrnet_pkt_header& h, tvrnet_ack_status status) const;
    void free_order_buffer(std::unique_ptr<tvrnet_order_buffer> buffer);
    void free_stale_buffers();
    void forget_most_silent();
    void forget_most_silent_stream();

    std::unordered_map<tvrnet_mac, tvrnet_endpoint_s, tvrnet_mac_hash> endpoints;
    std::unordered_map<tvrnet_mac, tvrnet_stream_endpoint_s, tvrnet_mac_hash> streams;
    std::unordered_map<uint32_t, std::shared_ptr<const tvrnet_command_handler>> commands;
    tvrnet_recycler<tvrnet_order_buffer> buffers;
    tvrnet_recycler_locked<tvrnet_command_bytes> memory;
    uint64_t open_bytes = 0;    // announced by all open buffers
    uint64_t stream_bytes = 0;  // memory of all stream frames
    tvrnet_timer sweep{sweep_ms};
};
