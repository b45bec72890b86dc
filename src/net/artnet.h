#pragma once

// Art-Net frames, and a peer that universes are sent to. docs/artnet.md tells what is in them.
//
// Thread: the node's, or the thread that owns the socket.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "net/address.h"
#include "net/socket.h"

inline constexpr uint16_t artnet_port = 6454;
inline constexpr size_t artnet_max_channels = 512;

enum class artnet_opcode : uint16_t {
    poll = 0x2000,
    poll_reply = 0x2100,
    dmx = 0x5000,
    sync = 0x5200,
};

inline constexpr size_t artnet_poll_reply_bytes = 239;
using artnet_poll_reply = std::span<const uint8_t, artnet_poll_reply_bytes>;

// The reply of a node at this address.
std::array<uint8_t, artnet_poll_reply_bytes> artnet_make_poll_reply(const tvrnet_adr& own,
                                                                    const std::string& name);

// The short name in a reply.
std::string artnet_short_name(artnet_poll_reply reply);

// A frame of DMX channels, kept so that it can be repeated.
struct artnet_dmx_frame {
    static constexpr size_t header_bytes = 18;

    artnet_dmx_frame();

    // Sizes are rounded up to even and held to 2 to 512; what the data lacks is 0.
    void fill(int universe, const uint8_t* data, int size, uint8_t sequence);
    void set_universe(int universe);

    std::array<uint8_t, header_bytes + artnet_max_channels> bytes{};
    size_t length = header_bytes + 2;
};

std::array<uint8_t, 14> artnet_make_sync();

class tvrnet_artnet_device {
public:
    tvrnet_artnet_device(GenericUDPSocket& socket, const tvrnet_ip& address);

    // False when there was no room; the frame is kept all the same.
    bool send_art_universe(int universe, const uint8_t* data, int size, uint8_t sequence);

    // The last frame again, for this universe.
    bool send_art_current(int universe);

    tvrnet_ip ip;
    std::string name;
    uint64_t last_seen_ms = 0;

private:
    GenericUDPSocket& udp;  // outlives the device
    artnet_dmx_frame frame;
};
