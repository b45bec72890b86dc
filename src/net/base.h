#pragma once

// A node of TavroNet: finds its peers, meets them, notices when they are gone.
//
// Each side asks for itself: our request (31) carries the session that we give to the peer, its
// reply (32) says that it was taken, and then the peer is connected for us, whatever the peer
// thinks of us. A session that changes means that the peer restarted.
//
// Threads: the node's alone, which calls update() as often as it likes, at least every few ms.

#include <bitset>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "net/artnet_listener.h"
#include "net/base_impl.h"

struct tvrnet_node_options {
    std::string name = "TavroNet";  // at most 31 bytes reach a peer's record
    std::string type_name = "tavro node";
    std::vector<tvrnet_ip> peers;      // polled one by one instead of all by broadcast
    bool stay_local = false;           // polls its own address instead of all
    uint64_t poll_interval_ms = 3000;  // 0: never polls by itself
};

// A question to this node and what it answers.
struct tvrnet_request {
    tvrnet_adr from;
    const uint8_t* data = nullptr;  // valid during the call
    size_t size = 0;
    tvrnet_pkt_dataformat format{};
};
struct tvrnet_answer {
    std::vector<uint8_t> data;
    tvrnet_pkt_dataformat format = tvrnet_pkt_dataformat::buffer;
};
// False when the request failed.
using tvrnet_request_handler = std::function<bool(const tvrnet_request&, tvrnet_answer&)>;

class tvrnet_base : public tvrnet_base_impl {
public:
    static constexpr int32_t protocol_version = 2;
    static constexpr uint64_t forget_unknown_ms = 86400000;
    static constexpr uint64_t init_device_timeout_ms = 5000, init_connection_timeout_ms = 15000;
    static constexpr uint64_t watch_ms = 1000;
    static constexpr int check_limit = 10;  // doublings of the alive checks
    static constexpr size_t max_beacon_name = 128;
    static constexpr size_t devices_per_turn = 8;

    tvrnet_base(std::unique_ptr<GenericUDPSocket> socket, tvrnet_node_options asked,
                tvrnet_global_s& ids = tvrnet_global());

    // One turn: reads, watches over the peers, sends.
    void update(uint64_t now_ms) override;

    // Answers send_get and send_fetch of this name.
    void add_request(std::string_view name, tvrnet_request_handler handler);

    void send_tvr_poll();
    void send_auth_req(const std::shared_ptr<tvrnet_device>& device);
    void send_tvr_alive_check(const tvrnet_adr& to);
    void send_art_poll_reply(const tvrnet_ip& to);

    // Buffers that peers may write into. Offer them before the node meets anybody.
    tvrnet_offered_buffers offered;

    // Art-Net that comes in, and the state of its universes.
    artnet_listener artnet;

protected:
    void handle_connection(const tvrnet_ip& from, const tvrnet_pkt& p) override;
    void handle_artnet(const tvrnet_ip& from, const uint8_t* data, size_t length) override;

private:
    // The handshake (base_handshake.cpp).
    void handle_beacon(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_beacon_reply(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_auth_request(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_auth_reply(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_alive_check(const tvrnet_ip& from, const tvrnet_pkt& p);
    void handle_alive_reply(const tvrnet_pkt& p);
    std::shared_ptr<tvrnet_device> device_in_handshake(const tvrnet_adr& adr);
    void forget_oldest_pending();
    void forget_oldest_unknown();
    void take_session(const tvrnet_mac& mac, uint32_t session_id);
    void begin_packet(tvrnet_pkt& p, tvrnet_pkt_type type, const tvrnet_mac& to) const;
    void send_control(tvrnet_pkt& p, const tvrnet_ip& to);
    void send_beacon(const tvrnet_ip& to, const tvrnet_mac& destination, bool broadcast);
    void put_name(tvrnet_pkt& p) const;
    static void take_names(tvrnet_device& device, const uint8_t* record, size_t size);
    size_t write_auth_record(uint8_t* out, const uint32_t* session_id) const;

    // Setup after it (base_setup.cpp).
    void register_own_commands();
    void announce_device(const std::shared_ptr<tvrnet_device>& device);
    void ask_for_connection(const std::shared_ptr<tvrnet_device>& device);
    void take_connection_record(const std::shared_ptr<tvrnet_device>& device, const uint8_t* data,
                                size_t size, bool success);
    void answer_init_device(const uint8_t* data, size_t size, const tvrnet_pkt_header& header);
    void write_connection_record(tvrnet_answer& out) const;
    std::vector<uint32_t> known_hashes() const;

    // Requests (base_requests.cpp).
    void handle_request(const tvrnet_ip& from, const uint8_t* data, size_t size,
                        const tvrnet_pkt_header& header);
    const char* serve_request(uint32_t hash, const tvrnet_request& request,
                              const tvrnet_pkt_header& header, tvrnet_answer& answer);
    void answer_check(const uint8_t* data, size_t size, const tvrnet_pkt_header& header);
    void take_check_answer(const uint8_t* data, size_t size, const tvrnet_pkt_header& header);
    void handle_answer(const uint8_t* data, size_t size, const tvrnet_pkt_header& header,
                       bool success);

    // The turn.
    void set_up_devices();
    void tell_of_new_devices();
    void watch_devices();
    void check_on(const std::shared_ptr<tvrnet_device>& device, bool watch_due);
    void drive_handshakes();
    void update_devices();

    const tvrnet_node_options options;
    std::vector<std::shared_ptr<tvrnet_device>> fresh;  // connected, and not yet told
    std::unordered_map<uint32_t, std::shared_ptr<const tvrnet_request_handler>> requests;
    tvrnet_timer poll;
    tvrnet_timer watch{watch_ms};
    int turn = 0;
    uint64_t turn_began_ms = 0;
    size_t next_device = 0;           // of those who take turns
    std::bitset<65536> told_opcodes;  // of Art-Net, unknown here
};
