#include "net/artnet.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

constexpr char magic[8] = "Art-Net";
constexpr size_t opcode_at = 8, version_at = 10;
constexpr uint16_t protocol_version = 14;

// Places in a poll reply.
constexpr size_t ip_at = 10, port_at = 14, oem_at = 20, short_name_at = 26, short_name_bytes = 18;
constexpr size_t long_name_at = 44, long_name_bytes = 64, report_at = 108, report_bytes = 64;
constexpr size_t ports_at = 172, port_types_at = 174, good_input_at = 178, good_output_at = 182;
constexpr size_t sw_in_at = 186, sw_out_at = 190, mac_at = 201, bind_ip_at = 207;
constexpr size_t bind_index_at = 211, status2_at = 212;
constexpr size_t port_count = 4;

// Places in a DMX frame.
constexpr size_t sequence_at = 12, universe_at = 14, length_at = 16;

void begin_frame(uint8_t* out, artnet_opcode opcode) {
    std::memcpy(out, magic, sizeof magic);
    out[opcode_at] = uint8_t(uint16_t(opcode));
    out[opcode_at + 1] = uint8_t(uint16_t(opcode) >> 8);
}

void put_version(uint8_t* out) {
    out[version_at] = uint8_t(protocol_version >> 8);
    out[version_at + 1] = uint8_t(protocol_version & 0xFF);
}

// The room is zero, and its last byte stays so.
void put_text(uint8_t* out, size_t room, std::string_view text) {
    std::copy_n(text.begin(), std::min(text.size(), room - 1), out);
}

}  // namespace

std::array<uint8_t, artnet_poll_reply_bytes> artnet_make_poll_reply(const tvrnet_adr& own,
                                                                    const std::string& name) {
    constexpr uint8_t port_type = 0xC0, good_input = 0x08, good_output = 0x80;
    constexpr uint8_t unknown_oem = 0xFF, wide_addresses = 8;
    std::array<uint8_t, artnet_poll_reply_bytes> out{};
    begin_frame(out.data(), artnet_opcode::poll_reply);
    std::copy(own.ip.address.begin(), own.ip.address.end(), &out[ip_at]);
    out[port_at] = uint8_t(own.ip.port);
    out[port_at + 1] = uint8_t(own.ip.port >> 8);
    out[oem_at + 1] = unknown_oem;
    put_text(&out[short_name_at], short_name_bytes, name);
    put_text(&out[long_name_at], long_name_bytes, "Artnet -> TavroNet Bridge");
    put_text(&out[report_at], report_bytes,
             std::to_string(port_count) + " DMX output universes active.");
    out[ports_at + 1] = port_count;
    for (size_t i = 0; i < port_count; i++) {
        out[port_types_at + i] = port_type;
        out[good_input_at + i] = good_input;
        out[good_output_at + i] = good_output;
        out[sw_in_at + i] = out[sw_out_at + i] = uint8_t(i + 1);
    }
    std::copy(own.mac.bytes.begin(), own.mac.bytes.end(), &out[mac_at]);
    std::copy(own.ip.address.begin(), own.ip.address.end(), &out[bind_ip_at]);
    out[bind_index_at] = 1;
    out[status2_at] = wide_addresses;
    return out;
}

std::string artnet_short_name(artnet_poll_reply reply) {
    const char* name = reinterpret_cast<const char*>(reply.data()) + short_name_at;
    return {name, strnlen(name, short_name_bytes)};
}

artnet_dmx_frame::artnet_dmx_frame() {
    begin_frame(bytes.data(), artnet_opcode::dmx);
    put_version(bytes.data());
    fill(0, nullptr, 0, 0);
}

void artnet_dmx_frame::set_universe(int universe) {
    bytes[universe_at] = uint8_t(universe);
    bytes[universe_at + 1] = uint8_t(universe >> 8);
}

void artnet_dmx_frame::fill(int universe, const uint8_t* data, int size, uint8_t sequence) {
    constexpr size_t least = 2;
    const size_t given = std::min(size_t(std::max(size, 0)), artnet_max_channels);
    const size_t sent = std::max(least, given + given % 2);
    set_universe(universe);
    bytes[sequence_at] = sequence;
    bytes[length_at] = uint8_t(sent >> 8);
    bytes[length_at + 1] = uint8_t(sent);
    std::fill_n(bytes.begin() + header_bytes, sent, uint8_t(0));
    if (given > 0) std::memcpy(bytes.data() + header_bytes, data, given);
    length = header_bytes + sent;
}

std::array<uint8_t, 14> artnet_make_sync() {
    std::array<uint8_t, 14> out{};
    begin_frame(out.data(), artnet_opcode::sync);
    put_version(out.data());
    return out;
}

tvrnet_artnet_device::tvrnet_artnet_device(GenericUDPSocket& socket, const tvrnet_ip& address)
    : ip(address), udp(socket) {}

bool tvrnet_artnet_device::send_art_universe(int universe, const uint8_t* data, int size,
                                             uint8_t sequence) {
    frame.fill(universe, data, size, sequence);
    return udp.send_packet_artnet(ip, frame.bytes.data(), frame.length);
}

bool tvrnet_artnet_device::send_art_current(int universe) {
    frame.set_universe(universe);
    return udp.send_packet_artnet(ip, frame.bytes.data(), frame.length);
}
