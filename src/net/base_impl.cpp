#include "net/base_impl.h"

#include <algorithm>
#include <cstring>
#include <utility>

tvrnet_base_impl::tvrnet_base_impl(std::unique_ptr<GenericUDPSocket> socket, tvrnet_global_s& ids)
    : tvrnet_receiver(std::move(socket)), counters(ids) {}

std::shared_ptr<tvrnet_device> tvrnet_base_impl::find_device(const uint8_t* mac) {
    tvrnet_mac wanted;
    std::memcpy(wanted.bytes.data(), mac, wanted.bytes.size());
    tvr_lock hold(node_mutex);
    const auto found = devices.find(wanted);
    return found == devices.end() ? nullptr : found->second;
}

size_t tvrnet_base_impl::device_count() {
    tvr_lock hold(node_mutex);
    return devices.size();
}

std::vector<std::shared_ptr<tvrnet_device>> tvrnet_base_impl::connected_devices() {
    std::vector<std::shared_ptr<tvrnet_device>> all;
    tvr_lock hold(node_mutex);
    all.reserve(devices.size());
    for (const auto& [mac, device] : devices) all.push_back(device);
    return all;
}

std::shared_ptr<tvrnet_device> tvrnet_base_impl::any_device(const tvrnet_mac& mac) {
    if (auto device = find_device(mac.bytes.data())) return device;
    const auto found = pending.find(mac);
    return found == pending.end() ? nullptr : found->second;
}

// Nobody finds the device any more when the first callback runs, and those who hold it send
// nothing through it once the last one has.
void tvrnet_base_impl::disconnect_device(const tvrnet_mac& mac, const char* reason) {
    std::shared_ptr<tvrnet_device> gone;
    {
        tvr_lock hold(node_mutex);
        const auto found = devices.find(mac);
        if (found != devices.end()) {
            gone = std::move(found->second);
            devices.erase(found);
        }
    }
    pending.erase(mac);
    unknown.erase(mac);
    forget_endpoint(mac);
    if (gone == nullptr) return;
    gone->connected = false;
    on_device_disconnect(gone, reason);
    handle_response_disconnect(mac);
    gone->set_invalid();
}

void tvrnet_base_impl::on_sign_of_life(const tvrnet_mac& mac) {
    tvrnet_device* device = nullptr;
    {
        tvr_lock hold(node_mutex);  // entries leave on this thread only, so the pointer lives
        const auto found = devices.find(mac);
        if (found != devices.end()) device = found->second.get();
    }
    if (device != nullptr) device->sign_of_life(now);
    if (tvrnet_endpoint_s* sender = find_endpoint(mac)) sender->last_life_ms = now;
}

// The session comes before all: a late ack to an old incarnation of ours must not end the new one.
void tvrnet_base_impl::handle_ack(const tvrnet_ip&, const tvrnet_pkt_ack& ack) {
    const auto device = any_device(ack.mac);
    if (device == nullptr || ack.session_id != device->auth_info.session_id) return;
    if (ack.status == tvrnet_ack_status::invalid_session) {
        disconnect_device(ack.mac, "ack invalid sessionid.");
        return;
    }
    device->handle_ack(ack);
}

void tvrnet_base_impl::handle_response_add(uint64_t ticket, const tvrnet_mac& asked,
                                           tvrnet_answer_callback callback, uint64_t timeout_ms) {
    const uint64_t due = timeout_ms == 0 ? UINT64_MAX : now + timeout_ms;
    waiting[ticket] = {asked, std::move(callback), due};
    next_due_ms = std::min(next_due_ms, due);
}

bool tvrnet_base_impl::handle_response_recv(uint64_t ticket, const tvrnet_mac& from,
                                            const uint8_t* data, size_t size,
                                            tvrnet_pkt_dataformat format, bool success) {
    const auto found = waiting.find(ticket);
    if (found == waiting.end() || found->second.asked != from) return false;
    const tvrnet_answer_callback callback = std::move(found->second.callback);
    waiting.erase(found);
    if (callback) callback(data, size, format, success);
    return true;
}

void tvrnet_base_impl::handle_response_failed(uint64_t ticket) {
    const auto found = waiting.find(ticket);
    if (found == waiting.end()) return;
    handle_response_recv(ticket, found->second.asked, nullptr, 0, tvrnet_pkt_dataformat::buffer,
                         false);
}

void tvrnet_base_impl::handle_response_disconnect(const tvrnet_mac& mac) {
    std::vector<uint64_t> tickets;
    for (const auto& [ticket, wait] : waiting) {
        if (wait.asked == mac) tickets.push_back(ticket);
    }
    std::sort(tickets.begin(), tickets.end());
    for (const uint64_t ticket : tickets) handle_response_failed(ticket);
}

void tvrnet_base_impl::fail_late_responses() {
    if (now < next_due_ms) return;
    std::vector<uint64_t> late;
    next_due_ms = UINT64_MAX;
    for (const auto& [ticket, wait] : waiting) {
        if (wait.due_ms <= now)
            late.push_back(ticket);
        else
            next_due_ms = std::min(next_due_ms, wait.due_ms);
    }
    std::sort(late.begin(), late.end());
    for (const uint64_t ticket : late) handle_response_failed(ticket);
}

void tvrnet_base_impl::handle_artnet_reply(const tvrnet_ip& from, artnet_poll_reply reply) {
    const tvrnet_ip ip{from.address, artnet_port};
    auto& device = artnet_devices[ip];
    const bool is_new = device == nullptr;
    if (is_new) {
        device = std::make_shared<tvrnet_artnet_device>(*udp, ip);
        forget_silent_artnet_device(ip);
    }
    device->name = artnet_short_name(reply);
    device->last_seen_ms = now;
    if (is_new) on_device_connect(std::as_const(device));
}

void tvrnet_base_impl::forget_silent_artnet_device(const tvrnet_ip& spared) {
    if (artnet_devices.size() <= limits.max_endpoints) return;
    auto oldest = artnet_devices.end();
    for (auto at = artnet_devices.begin(); at != artnet_devices.end(); ++at) {
        if (at->first == spared) continue;
        if (oldest == artnet_devices.end() ||
            at->second->last_seen_ms < oldest->second->last_seen_ms) {
            oldest = at;
        }
    }
    if (oldest != artnet_devices.end()) artnet_devices.erase(oldest);
}
