#pragma once

// Who and where: addresses of TavroNet.
//
// A device is known by its MAC; its IPv4 address and port may change without the device changing.
// Plain values, any thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

inline constexpr uint16_t tvrnet_default_port = 6454;

struct tvrnet_ip {
    std::array<uint8_t, 4> address{};  // first byte first
    uint16_t port = 0;

    bool operator==(const tvrnet_ip&) const = default;
};

struct tvrnet_mac {
    std::array<uint8_t, 6> bytes{};

    bool operator==(const tvrnet_mac&) const = default;
};

struct tvrnet_adr {
    tvrnet_ip ip;
    tvrnet_mac mac;

    bool operator==(const tvrnet_adr&) const = default;
};

inline constexpr tvrnet_mac tvrnet_broadcast_mac{{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}};

// FNV-1a, the hash of every map of addresses.
constexpr uint64_t tvrnet_fnv1a(std::span<const uint8_t> bytes) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const uint8_t byte : bytes) hash = (hash ^ byte) * 0x100000001b3;
    return hash;
}

struct tvrnet_ip_hash {
    size_t operator()(const tvrnet_ip& ip) const {
        const std::array<uint8_t, 6> bytes{ip.address[0], ip.address[1],    ip.address[2],
                                           ip.address[3], uint8_t(ip.port), uint8_t(ip.port >> 8)};
        return tvrnet_fnv1a(bytes);
    }
};

struct tvrnet_mac_hash {
    size_t operator()(const tvrnet_mac& mac) const { return tvrnet_fnv1a(mac.bytes); }
};

// "192.168.0.7:6454" and "02:00:5e:10:00:01".
std::string tvrnet_text(const tvrnet_ip& ip);
std::string tvrnet_text(const tvrnet_mac& mac);

// Reads "192.168.0.7" or "192.168.0.7:6455"; without a port default_port. False for anything else.
bool tvrnet_parse_ip(const std::string& text, uint16_t default_port, tvrnet_ip& out);

// A locally administered MAC for a node without an interface of its own. The same seed gives the
// same MAC.
tvrnet_mac tvrnet_made_up_mac(uint64_t seed);
