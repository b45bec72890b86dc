#pragma once

// The node that hears the relay: lines and sound in, commands out.
//
// Thread: the node's, which alone calls it. It takes the network session's locks for moments.

#include <memory>

#include "net/base.h"
#include "net/relay/relay.h"

namespace deckbus::net {

class endpoint : public tvrnet_base {
public:
    // `shared` outlives the node.
    endpoint(std::unique_ptr<GenericUDPSocket> socket, relay_state& shared,
             tvrnet_global_s& ids = tvrnet_global());

    // One turn of the node; then a relay that is new, or connected anew, is asked for everything,
    // and what scripts sent goes out to it.
    void update(uint64_t now_ms) override;

    bool debug = false;  // tells now and then on standard error

private:
    void take_line(const uint8_t* data, size_t size, const tvrnet_pkt_header& header);
    void take_audio(const uint8_t* data, size_t size);
    void choose_relay(const tvrnet_mac& mac);
    void resync_if_needed();
    void send_commands();
    void tell();

    relay_state& state;
    std::shared_ptr<tvrnet_device> relay;       // in force; this thread's own
    std::shared_ptr<tvrnet_device> last_relay;  // of the last turn
    bool last_connected = false;
    double next_debug = 0;  // s
};

}  // namespace deckbus::net
