#include "net/socket.h"

#include <algorithm>
#include <cstring>

void tvrnet_pps_diagnostics::count(uint64_t now_ms, bool passed) {
    constexpr uint64_t second_ms = 1000;
    last_ms = now_ms;
    if (now_ms - second_began_ms >= second_ms) {
        per_second = now_ms - second_began_ms < 2 * second_ms ? this_second : 0;
        second_began_ms = now_ms;
        this_second = 0;
    }
    this_second++;
    (passed ? received : dropped)++;
}

tvrnet_adr UniversalUDP::local_adr() const {
    const uint64_t word = own_ip;
    tvrnet_ip ip;
    for (size_t i = 0; i < ip.address.size(); i++) ip.address[i] = uint8_t(word >> (8 * i));
    ip.port = uint16_t(word >> 32);
    return {ip, own_mac};
}

void UniversalUDP::set_local_ip(const tvrnet_ip& ip) {
    uint64_t word = uint64_t(ip.port) << 32;
    for (size_t i = 0; i < ip.address.size(); i++) word |= uint64_t(ip.address[i]) << (8 * i);
    own_ip = word;
}

int UniversalUDP::preprocess_packet(const tvrnet_ip& from, uint8_t* data, size_t length,
                                    uint64_t now_ms, int* type) {
    const tvrnet_pkt_type kind = tvrnet_classify(local_adr(), from, data, length);
    *type = int(kind);
    count(from, now_ms, kind != tvrnet_pkt_type::dropped);
    switch (kind) {
    case tvrnet_pkt_type::dropped: return 1;
    case tvrnet_pkt_type::diagnostic: handle_diagnostics(from, data, length); return 1;
    case tvrnet_pkt_type::diagnostic_request:
        handle_diagnostics_request(from, data, length);
        return 1;
    default: return 0;
    }
}

tvrnet_pps_diagnostics UniversalUDP::diagnostics_of(const tvrnet_ip& ip) {
    tvr_lock hold(seen_mutex);
    const auto found = seen.find(ip);
    return found == seen.end() ? tvrnet_pps_diagnostics() : found->second;
}

void UniversalUDP::count(const tvrnet_ip& from, uint64_t now_ms, bool passed) {
    tvr_lock hold(seen_mutex);
    auto found = seen.find(from);
    if (found == seen.end()) {
        if (!passed) return;  // garbage makes nobody known
        if (seen.size() >= max_seen) forget_most_silent();
        found = seen.try_emplace(from).first;
        found->second.second_began_ms = now_ms;
    }
    found->second.count(now_ms, passed);
}

void UniversalUDP::forget_most_silent() {
    const auto silent = std::min_element(
        seen.begin(), seen.end(),
        [](const auto& a, const auto& b) { return a.second.last_ms < b.second.last_ms; });
    seen.erase(silent);
}

void UniversalUDP::handle_diagnostics(const tvrnet_ip& from, const uint8_t* data, size_t length) {
    tvrnet_pkt_diagnostic told;
    if (length >= sizeof(tvrnet_pkt_header) + sizeof told)
        data += sizeof(tvrnet_pkt_header);
    else if (length != sizeof told)
        return;
    std::memcpy(&told, data, sizeof told);
    tvr_lock hold(seen_mutex);
    const auto found = seen.find(from);
    if (found == seen.end()) return;
    found->second.sent_told = told.sent;
    found->second.arrived_told = told.received;
}

void UniversalUDP::handle_diagnostics_request(const tvrnet_ip& from, const uint8_t* data,
                                              size_t length) {
    const bool full = length >= sizeof(tvrnet_pkt_header);
    tvrnet_pkt_diagnostic_request asked;
    if (!full) std::memcpy(&asked, data, sizeof asked);
    const tvrnet_pps_diagnostics known = diagnostics_of(from);
    tvrnet_pkt_diagnostic answer;
    answer.sequence = asked.sequence;
    answer.sent = asked.sent;
    answer.received = known.received;
    answer.per_second = known.per_second;
    answer.dropped = known.dropped;
    answer.mac = own_mac;
    answer.seal();
    send_packet_diagnostic(from, &answer, sizeof answer);
}
