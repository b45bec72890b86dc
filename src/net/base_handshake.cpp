// How a node finds its peers and agrees with each on a session.

#include <algorithm>
#include <cstring>
#include <string>

#include "base/byte_order.h"
#include "net/base.h"

namespace {

constexpr size_t name_at = 0, name_bytes = 32;
constexpr size_t type_at = 32, type_bytes = 64;
constexpr size_t header_size_at = 96;
constexpr size_t payload_at = 100;
constexpr size_t session_at = 104;
constexpr size_t reply_record_bytes = 104, request_record_bytes = 108;

constexpr tvrnet_ip broadcast_ip{{255, 255, 255, 255}, tvrnet_default_port};

// At most size - 1 bytes of it, and zeros behind.
void put_text(uint8_t* out, size_t size, const std::string& text) {
    std::fill_n(out, size, uint8_t(0));
    std::copy_n(text.begin(), std::min(text.size(), size - 1), out);
}

std::string text_in(const uint8_t* data, size_t size) {
    const char* text = reinterpret_cast<const char*>(data);
    return {text, strnlen(text, size)};
}

void put_u32(uint8_t* out, uint32_t value) {
    std::memcpy(out, &value, sizeof value);
}

// What an auth record says of its sender, taken over into the device.
void take_record(tvrnet_device& device, const tvrnet_ip& from, const uint8_t* record) {
    device.max_data_size = read_u32_le({record, reply_record_bytes}, payload_at);
    device.reconnect_device({from, device.adr.mac}, tvrnet_device::known_type,
                            text_in(record + name_at, name_bytes),
                            text_in(record + type_at, type_bytes));
}

}  // namespace

size_t tvrnet_base::write_auth_record(uint8_t* out, const uint32_t* session_id) const {
    put_text(out + name_at, name_bytes, options.name);
    put_text(out + type_at, type_bytes, options.type_name);
    put_u32(out + header_size_at, sizeof(tvrnet_pkt_header));
    put_u32(out + payload_at, tvrnet_max_payload);
    if (session_id == nullptr) return reply_record_bytes;
    put_u32(out + session_at, *session_id);
    return request_record_bytes;
}

void tvrnet_base::take_names(tvrnet_device& device, const uint8_t* record, size_t size) {
    if (size < reply_record_bytes) return;
    device.set_names(text_in(record + name_at, name_bytes), text_in(record + type_at, type_bytes));
}

void tvrnet_base::begin_packet(tvrnet_pkt& p, tvrnet_pkt_type type, const tvrnet_mac& to) const {
    p.header.type = type;
    p.header.destination = to;
    p.header.source = udp->local_adr().mac;
}

void tvrnet_base::send_control(tvrnet_pkt& p, const tvrnet_ip& to) {
    p.header.total_size = p.header.payload_size;
    udp->send_buffered_prio(to, &p, p.packet_end());
}

void tvrnet_base::put_name(tvrnet_pkt& p) const {
    p.header.data_format = tvrnet_pkt_dataformat::text;
    p.header.payload_size = uint32_t(std::min(options.name.size(), max_beacon_name));
    std::memcpy(p.payload.data(), options.name.data(), p.header.payload_size);
}

void tvrnet_base::send_beacon(const tvrnet_ip& to, const tvrnet_mac& destination, bool broadcast) {
    tvrnet_pkt p;
    begin_packet(p, tvrnet_pkt_type::beacon, destination);
    put_name(p);
    if (!broadcast) {
        send_control(p, to);
        return;
    }
    p.header.total_size = p.header.payload_size;
    udp->send_packet_to_interface(to, &p, p.packet_end());
}

void tvrnet_base::send_tvr_poll() {
    for (const tvrnet_ip& peer : options.peers) send_beacon(peer, tvrnet_broadcast_mac, false);
    if (!options.peers.empty()) return;
    if (options.stay_local) {
        const tvrnet_ip own{udp->local_adr().ip.address, tvrnet_default_port};
        send_beacon(own, tvrnet_broadcast_mac, false);
        return;
    }
    send_beacon(broadcast_ip, tvrnet_broadcast_mac, true);
}

void tvrnet_base::send_auth_req(const std::shared_ptr<tvrnet_device>& device) {
    tvrnet_pkt p;
    begin_packet(p, tvrnet_pkt_type::auth_request, device->adr.mac);
    p.header.session_id = device->auth_info.session_id;
    p.header.data_format = tvrnet_pkt_dataformat::buffer;
    p.header.payload_size =
        uint32_t(write_auth_record(p.payload.data(), &device->auth_info.session_id));
    send_control(p, device->adr.ip);
}

void tvrnet_base::send_tvr_alive_check(const tvrnet_adr& to) {
    tvrnet_pkt p;
    begin_packet(p, tvrnet_pkt_type::alive_check, to.mac);
    send_control(p, to.ip);
}

void tvrnet_base::handle_connection(const tvrnet_ip& from, const tvrnet_pkt& p) {
    switch (p.header.type) {
    case tvrnet_pkt_type::beacon: handle_beacon(from, p); break;
    case tvrnet_pkt_type::beacon_reply: handle_beacon_reply(from, p); break;
    case tvrnet_pkt_type::auth_request: handle_auth_request(from, p); break;
    case tvrnet_pkt_type::auth_reply: handle_auth_reply(from, p); break;
    case tvrnet_pkt_type::alive_check: handle_alive_check(from, p); break;
    case tvrnet_pkt_type::alive_reply: handle_alive_reply(p); break;
    default: break;
    }
}

// The device of a peer that has shown itself, at its present address; one in the handshake is made
// for a stranger, and for a device that had given up.
std::shared_ptr<tvrnet_device> tvrnet_base::device_in_handshake(const tvrnet_adr& adr) {
    unknown.erase(adr.mac);
    if (auto device = any_device(adr.mac)) {
        device->adr = adr;
        return device;
    }
    if (pending.size() >= limits.max_endpoints) forget_oldest_pending();
    auto made = std::make_shared<tvrnet_device>(*this, adr);
    made->set_names("", "");
    made->reconnect_device(adr);
    made->auth_info.handshake.start(now);
    pending[adr.mac] = made;
    return made;
}

void tvrnet_base::forget_oldest_pending() {
    const auto oldest =
        std::min_element(pending.begin(), pending.end(), [](const auto& a, const auto& b) {
            return a.second->auth_info.handshake.last < b.second->auth_info.handshake.last;
        });
    oldest->second->set_invalid();
    pending.erase(oldest);
}

void tvrnet_base::handle_beacon(const tvrnet_ip& from, const tvrnet_pkt& p) {
    const tvrnet_mac& mac = p.header.source;
    // To all, though it goes to one: an answer marked as meant for that one would be answered in
    // the same way, without end.
    if (p.header.destination == udp->local_adr().mac) {
        send_beacon(from, tvrnet_broadcast_mac, false);
    }
    const tvrnet_endpoint_s* sender = find_endpoint(mac);
    const auto device = device_in_handshake({from, mac});
    tvrnet_pkt answer;
    begin_packet(answer, tvrnet_pkt_type::beacon_reply, mac);
    if (sender != nullptr) answer.header.session_id = sender->session_id;
    answer.header.ticket_id = device->auth_info.session_id;
    put_name(answer);
    send_control(answer, from);
}

void tvrnet_base::handle_beacon_reply(const tvrnet_ip& from, const tvrnet_pkt& p) {
    tvrnet_endpoint_s& sender = endpoint_of(p.header.source);
    const auto told = uint32_t(p.header.ticket_id);
    if (sender.session_id == tvrnet_no_session && told != 0) sender.session_id = told;
    const auto device = device_in_handshake({from, p.header.source});
    device->beacon_mark = (p.header.flags & tvrnet_flag_beacon_mark) != 0;
    if (device->auth_info.request.fires(now)) send_auth_req(device);
}

// The peer's session for us. A new one means that the peer restarted: what it sent before is void.
void tvrnet_base::take_session(const tvrnet_mac& mac, uint32_t session_id) {
    const tvrnet_endpoint_s& known = endpoint_of(mac);
    if (known.session_id != tvrnet_no_session && known.session_id != session_id) {
        if (find_device(mac.bytes.data()) != nullptr) {
            disconnect_device(mac, "auth req invalid sessionid");
        } else {
            forget_endpoint(mac);
        }
    }
    tvrnet_endpoint_s& sender = endpoint_of(mac);  // the disconnection took the old one away
    sender.session_id = session_id;
    sender.last_life_ms = now;
}

void tvrnet_base::handle_auth_request(const tvrnet_ip& from, const tvrnet_pkt& p) {
    if (p.header.payload_size < request_record_bytes) return;
    const uint32_t session_id = read_u32_le(p.payload, session_at);
    if (session_id == 0 || session_id == tvrnet_no_session) return;
    const tvrnet_mac& mac = p.header.source;
    const auto before = any_device(mac);
    take_session(mac, session_id);
    // So that commands to a restarted peer need not wait for its next beacon. It may have learned
    // our session already; were it to change, the peer would take that for our restart, change its
    // own, and so on without end.
    const auto device = device_in_handshake({from, mac});
    if (before != nullptr) device->auth_info.session_id = before->auth_info.session_id;
    device->max_data_size = read_u32_le(p.payload, payload_at);

    tvrnet_pkt answer;
    begin_packet(answer, tvrnet_pkt_type::auth_reply, mac);
    answer.header.session_id = session_id;
    answer.header.data_format = tvrnet_pkt_dataformat::buffer;
    answer.header.payload_size = uint32_t(write_auth_record(answer.payload.data(), nullptr));
    send_control(answer, from);
}

void tvrnet_base::handle_auth_reply(const tvrnet_ip& from, const tvrnet_pkt& p) {
    if (p.header.payload_size < reply_record_bytes) return;
    const tvrnet_mac& mac = p.header.source;
    const auto device = any_device(mac);
    if (device == nullptr) return;
    const uint32_t session_id = p.header.session_id;
    if (session_id != tvrnet_no_session && session_id != device->auth_info.session_id) {
        disconnect_device(mac, "auth invalid sessionid.");
        return;
    }
    take_record(*device, from, p.payload.data());
    if (device->connected || device_count() >= limits.max_endpoints) return;
    pending.erase(mac);
    device->connected = true;
    {
        tvr_lock hold(node_mutex);
        devices[mac] = device;
    }
    endpoint_of(mac).has_device = true;
    fresh.push_back(device);
}

void tvrnet_base::handle_alive_check(const tvrnet_ip& from, const tvrnet_pkt& p) {
    tvrnet_pkt answer;
    begin_packet(answer, tvrnet_pkt_type::alive_reply, p.header.source);
    if (const tvrnet_endpoint_s* sender = find_endpoint(p.header.source)) {
        answer.header.session_id = sender->session_id;
    }
    send_control(answer, from);
}

void tvrnet_base::handle_alive_reply(const tvrnet_pkt& p) {
    const auto device = find_device(p.header.source.bytes.data());
    if (device == nullptr) return;
    if (p.header.session_id != device->auth_info.session_id) {
        disconnect_device(p.header.source, "connect_guard invalid sessionid.");
    }
}
