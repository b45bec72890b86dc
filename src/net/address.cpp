#include "net/address.h"

#include <charconv>
#include <cstdio>

std::string tvrnet_text(const tvrnet_ip& ip) {
    char text[32];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u:%u", ip.address[0], ip.address[1], ip.address[2],
                  ip.address[3], ip.port);
    return text;
}

std::string tvrnet_text(const tvrnet_mac& mac) {
    char text[32];
    const auto& b = mac.bytes;
    std::snprintf(text, sizeof text, "%02x:%02x:%02x:%02x:%02x:%02x", b[0], b[1], b[2], b[3], b[4],
                  b[5]);
    return text;
}

bool tvrnet_parse_ip(const std::string& text, uint16_t default_port, tvrnet_ip& out) {
    tvrnet_ip read{{}, default_port};
    const char* at = text.data();
    const char* const end = at + text.size();
    const auto number = [&](auto& value) {
        const auto result = std::from_chars(at, end, value);
        at = result.ptr;
        return result.ec == std::errc();
    };
    for (size_t i = 0; i < read.address.size(); i++) {
        if (i > 0 && (at == end || *at++ != '.')) return false;
        if (!number(read.address[i])) return false;
    }
    if (at != end && (*at++ != ':' || !number(read.port) || read.port == 0)) return false;
    if (at != end) return false;
    out = read;
    return true;
}

tvrnet_mac tvrnet_made_up_mac(uint64_t seed) {
    constexpr uint8_t locally_administered = 0x02, group = 0x01;
    std::array<uint8_t, sizeof seed> bytes;
    for (size_t i = 0; i < bytes.size(); i++) bytes[i] = uint8_t(seed >> (8 * i));
    const uint64_t mixed = tvrnet_fnv1a(bytes);
    tvrnet_mac mac;
    for (size_t i = 0; i < mac.bytes.size(); i++) mac.bytes[i] = uint8_t(mixed >> (8 * i));
    mac.bytes[0] = uint8_t((mac.bytes[0] | locally_administered) & ~group);
    return mac;
}
