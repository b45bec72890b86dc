#pragma once

// One peer, and the sending half of the connection to it.
//
// A command is cut into chunks, hashed once, sent as fast as `rate` allows, and repeated where the
// peer reports holes, until the peer has all of it. The rate follows the loss: a finished command
// without a repeat raises it, many repeats lower it.
//
// A device is held by shared pointers; after it was disconnected it stays valid memory, sends
// nothing and is replaced by a new one when the peer comes back. It must not outlive its node.
//
// Thread: the node's, but for the fields that tests and displays read there as well.

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "net/address.h"
#include "net/command_queue.h"
#include "net/static_buffer.h"
#include "net/timer.h"

class tvrnet_base_impl;

// Of the handshake with a peer.
struct auth_info_s {
    tvrnet_timer handshake{5000};  // after so long a pending device is given up
    tvrnet_timer request{500};     // between two requests
    uint32_t session_id = 0;       // ours for this peer, fresh
};

// The answer to a request: data, size and format, and whether there was one.
using tvrnet_answer_callback = std::function<void(const uint8_t* data, size_t size,
                                                  tvrnet_pkt_dataformat format, bool success)>;

class tvrnet_device : public std::enable_shared_from_this<tvrnet_device> {
public:
    static constexpr size_t max_name = 16, max_type_name = 62;  // bytes
    static constexpr float least_rate = 0.1F, most_rate = 1000.0F, first_rate = 64.0F;
    static constexpr size_t max_commands = 65536;  // on their way; send_reliable refuses more
    static constexpr size_t max_peer_commands = 65536;
    static constexpr uint64_t default_timeout_ms = 60000;
    static constexpr uint64_t known_timeout_ms = 10000, other_timeout_ms = 6000;
    static constexpr int known_type = 1;
    static constexpr uint64_t fetch_interval_ms = 10000;

    struct fetch_command_s {
        std::string command;
        std::vector<uint8_t> data;
        tvrnet_pkt_dataformat format{};
        tvrnet_answer_callback callback;
        uint64_t interval_ms = fetch_interval_ms;
        uint64_t timeout_ms = 0;  // 0: asks until it is answered

        bool answered = false;
        uint64_t began_ms = 0;
        tvrnet_timer repeat;
    };

    tvrnet_device(tvrnet_base_impl& owner, const tvrnet_adr& address);
    tvrnet_device(const tvrnet_device&) = delete;
    tvrnet_device& operator=(const tvrnet_device&) = delete;

    // Takes a command for sending; update() sends it. Its ticket, or tvrnet_no_ticket if the device
    // is not connected, has no session, or has max_commands waiting. timeout_ms 0 means none.
    uint64_t send_reliable(const char* command, const void* data, size_t size,
                           tvrnet_pkt_dataformat format, bool high_priority, uint64_t timeout_ms);

    // Asks, and calls back once: with the answer, or without success when there is none in time.
    uint64_t send_get(const char* command, const void* data, size_t size,
                      tvrnet_pkt_dataformat format, tvrnet_answer_callback callback,
                      uint64_t timeout_ms);

    // Asks on a timer until there is an answer, or the timeout has passed.
    void send_fetch(const char* command, const void* data, size_t size,
                    tvrnet_pkt_dataformat format, tvrnet_answer_callback callback,
                    uint64_t interval_ms = fetch_interval_ms);
    void send_fetch(std::shared_ptr<fetch_command_s> fetch);

    // Sends a request ("tvrnet_cmd", the asked command's hash) or an answer to one
    // ("tvrnet_response_ack_...", the ticket of the request).
    uint64_t send_request(uint32_t command_hash, const void* data, size_t size,
                          tvrnet_pkt_dataformat format, uint64_t timeout_ms);
    uint64_t send_response(const char* response, uint64_t request_ticket, const void* data,
                           size_t size, tvrnet_pkt_dataformat format);

    // Asks the peer whether it knows a command; its answer changes peer_commands.
    void ask_if_known(const char* command);

    // A reliable command that may be taken while the handshake still runs, and goes out when the
    // device is connected: what the peer asked for must not be lost because it was quicker.
    uint64_t send_answer(const char* command, const void* data, size_t size,
                         tvrnet_pkt_dataformat format, uint64_t timeout_ms = 0);

    // One packet, unreliable, at most 1336 bytes. False when it was not taken.
    bool send_out_of_band(const char* command, const void* data, size_t size,
                          tvrnet_pkt_dataformat format);

    // A frame that nobody repeats. False at the first chunk that was not taken.
    bool send_stream(const char* command, const void* data, size_t size,
                     tvrnet_pkt_dataformat format);

    // Sends what may go in this turn. A new turn number gives a new budget of packets_per_turn; a
    // negative one stays in the last turn.
    void update(int turn);

    void handle_ack(const tvrnet_pkt_ack& ack);

    // Ends a command: whoever waits for its answer hears of a failure.
    void clear_command_buffer(uint64_t ticket, bool failed, bool acked);
    void clear_command_buffers();  // all of them, without a word

    // A (new) way to the peer: timers and signs of life begin anew.
    void reconnect_device(const tvrnet_adr& address);
    void reconnect_device(const tvrnet_adr& address, int type, const std::string& peer_name,
                          const std::string& peer_type_name);

    // For ever: nothing goes out any more.
    void set_invalid();

    void set_names(const std::string& peer_name, const std::string& peer_type_name);
    void sign_of_life(uint64_t now_ms);
    size_t commands_on_their_way() const { return queue.size(); }
    // Nothing more would go out now, however often update() is called.
    bool must_wait() const { return !queue.has_ready() && !has_dirty_buffer(); }
    bool has_dirty_buffer() const;
    bool is_on_its_way(uint64_t ticket) { return queue.find(ticket) != nullptr; }

    auth_info_s auth_info;
    std::string name = "UNKNOWN";
    std::string type_name = "UNKNOWN";
    tvrnet_adr adr;
    int device_type = 0;                       // 0 unknown, 1 a TavroNet device
    tvrnet_timer silence{default_timeout_ms};  // since the last sign of life, or being lost
    uint64_t last_seen_ms = 0;
    tvrnet_timer check{1};     // alive checks while lost; the interval doubles
    int check_count = 0;       // doublings so far
    bool connected = false;    // the handshake is finished
    bool lost = false;         // a sign of life is overdue
    bool beacon_mark = false;  // flag bit 1 of its beacon reply
    bool valid = true;

    // Setup after the handshake.
    bool init_device_answered = false;
    uint64_t init_device_ticket = 0;  // on its way; 0: none
    tvrnet_timer init_device{500};
    bool init_done = false;   // "tvrnet_init_connection" was answered
    bool init_asked = false;  // and is waited for
    tvrnet_timer init_connection{500};
    int32_t peer_version = 0;
    bool peer_has_json = false, peer_has_json_v3 = false;
    std::vector<uint32_t> peer_commands;  // hashes

    // Images of the buffers that the peer offers; what is written into them goes to it.
    std::vector<tvrnet_static_buffer> static_buffers;

    // Pacing.
    float rate = first_rate;            // packets that may go out per update
    float credit = 0;                   // packets sent in this update; carry for a rate below 1
    float loss = 0;                     // smoothed share of chunks that had to be repeated
    int32_t rtt_ms = 0;                 // smoothed
    uint32_t commands_per_update = 64;  // 0: no limit
    uint32_t packets_per_turn = 0;      // 0: no limit
    uint32_t max_data_size = 0;         // the peer's largest chunk payload; 0: 1336

private:
    enum class serve_result : uint8_t { budget_spent = 0, nothing_now = 1, more = 2 };

    uint64_t send_command(const char* command, const void* data, size_t size,
                          tvrnet_pkt_dataformat format, tvrnet_queue queue, uint64_t timeout_ms);
    void fill_chunks(command_buffer_s& made, uint32_t command_hash, const void* data, size_t size,
                     tvrnet_pkt_dataformat format) const;
    void fill_header(tvrnet_pkt_header& h, tvrnet_pkt_type type, uint32_t command_hash,
                     tvrnet_pkt_dataformat format) const;
    std::unique_ptr<command_buffer_s> get_free_buffer(size_t chunk_count, uint64_t timeout_ms);
    size_t largest_chunk() const;

    serve_result send_command_buffer(command_buffer_s& command);
    serve_result send_new_chunks(command_buffer_s& command);
    serve_result send_resends(command_buffer_s& command);
    serve_result send_ack_request(command_buffer_s& command);
    bool begin_ack_requests(command_buffer_s& command) const;
    bool ack_request_is_due(command_buffer_s& command) const;
    bool may_send();
    bool sendto(const tvrnet_pkt& chunk);

    bool begin_update(int turn);
    bool pass();  // false when the update is over
    bool serve_acknowledged();
    bool serve_high_priority();
    bool serve_row(tvrnet_command_queue::row& row);
    bool drop_if_timed_out(command_buffer_s& command);
    void serve_static_buffers();
    void stand_aside(command_buffer_s& command, uint64_t until_ms);
    bool count_served();
    void serve_fetches();
    bool serve_fetch(const std::shared_ptr<fetch_command_s>& fetch);

    void handle_marker(command_buffer_s& command, const tvrnet_pkt_ack& ack);
    void answered_by_ack(command_buffer_s& command);
    void measure_round_trip(const command_buffer_s& command);
    void learn_from(const command_buffer_s& command);

    tvrnet_base_impl& node;
    tvrnet_command_queue queue;
    std::list<std::shared_ptr<fetch_command_s>> fetches;
    int last_turn = -1;
    uint32_t sent_in_turn = 0;
    uint32_t served = 0;         // commands in this update
    bool slow_grant = false;     // below a rate of 1: the one packet of this update is still there
    bool did_something = false;  // in this pass
};
