#pragma once

// The peers of a node, and the answers that it waits for.
//
// A peer is pending while the handshake runs, then a device, and unknown after it gave up. The map
// of devices has a lock, because others than the node's thread look into it; a shared pointer is
// copied out and used without.
//
// Threads: the node's; find_device() and device_count() any.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "base/sync.h"
#include "net/artnet.h"
#include "net/device.h"
#include "net/ids.h"
#include "net/receiver.h"

class tvrnet_base_impl : public tvrnet_receiver {
public:
    tvrnet_base_impl(std::unique_ptr<GenericUDPSocket> socket, tvrnet_global_s& counters);

    // A connected device, or null.
    std::shared_ptr<tvrnet_device> find_device(const uint8_t* mac) TVR_EXCLUDES(node_mutex);
    size_t device_count() TVR_EXCLUDES(node_mutex);
    std::vector<std::shared_ptr<tvrnet_device>> connected_devices() TVR_EXCLUDES(node_mutex);

    // The peer is gone: on_device_disconnect hears why, and all who wait for it hear of failure.
    void disconnect_device(const tvrnet_mac& mac, const char* reason) TVR_EXCLUDES(node_mutex);

    // Called on the node's thread.
    virtual void on_device_connect(const std::shared_ptr<tvrnet_device>&) {}
    virtual void on_device_connect(const std::shared_ptr<tvrnet_artnet_device>&) {}
    virtual void on_device_disconnect(const std::shared_ptr<tvrnet_device>&,
                                      const char* /*reason*/) {}

    // Callbacks that wait for an answer, by the ticket of their request.
    void handle_response_add(uint64_t ticket, const tvrnet_mac& asked,
                             tvrnet_answer_callback callback, uint64_t timeout_ms);
    bool handle_response_recv(uint64_t ticket, const tvrnet_mac& from, const uint8_t* data,
                              size_t size, tvrnet_pkt_dataformat format, bool success);
    void handle_response_failed(uint64_t ticket);
    void handle_response_disconnect(const tvrnet_mac& mac);

    void handle_artnet_reply(const tvrnet_ip& from, artnet_poll_reply reply);

    uint64_t now_ms() const { return now; }  // of this update

    tvrnet_global_s& counters;
    tvrnet_command_pool command_buffers;

protected:
    using device_map =
        std::unordered_map<tvrnet_mac, std::shared_ptr<tvrnet_device>, tvrnet_mac_hash>;

    struct unknown_device {
        std::shared_ptr<tvrnet_device> device;
        uint64_t since_ms = 0;
    };

    void handle_ack(const tvrnet_ip& from, const tvrnet_pkt_ack& ack) override;
    void on_sign_of_life(const tvrnet_mac& mac) override;
    void fail_late_responses();
    // Connected, or still in the handshake; null without either.
    std::shared_ptr<tvrnet_device> any_device(const tvrnet_mac& mac);

    tvr_mutex node_mutex;
    device_map devices TVR_GUARDED_BY(node_mutex);
    device_map pending;  // node's thread
    std::unordered_map<tvrnet_mac, unknown_device, tvrnet_mac_hash> unknown;
    std::unordered_map<tvrnet_ip, std::shared_ptr<tvrnet_artnet_device>, tvrnet_ip_hash>
        artnet_devices;

private:
    void forget_silent_artnet_device(const tvrnet_ip& spared);

    struct response_wait {
        tvrnet_mac asked;
        tvrnet_answer_callback callback;
        uint64_t due_ms = UINT64_MAX;
    };

    std::unordered_map<uint64_t, response_wait> waiting;
    uint64_t next_due_ms = UINT64_MAX;  // the earliest of theirs, or before
};
