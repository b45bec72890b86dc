#include "net/base.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "base/byte_order.h"
#include "net/hash.h"

tvrnet_base::tvrnet_base(std::unique_ptr<GenericUDPSocket> socket, tvrnet_node_options asked,
                         tvrnet_global_s& ids)
    : tvrnet_base_impl(std::move(socket), ids),
      options(std::move(asked)),
      poll{options.poll_interval_ms} {
    register_own_commands();
}

void tvrnet_base::update(uint64_t now_ms) {
    now = now_ms;
    set_up_devices();
    tell_of_new_devices();
    tvrnet_receiver::update(now_ms);
    fail_late_responses();
    watch_devices();
    drive_handshakes();
    update_devices();
    if (options.poll_interval_ms != 0 && poll.fires(now)) send_tvr_poll();
    udp->flush_send_buffer();
}

void tvrnet_base::set_up_devices() {
    for (const auto& device : connected_devices()) {
        if (!device->init_device_answered) announce_device(device);
        if (!device->init_done) ask_for_connection(device);
    }
}

void tvrnet_base::tell_of_new_devices() {
    for (const auto& device : std::exchange(fresh, {})) {
        if (device->connected) on_device_connect(device);
    }
}

void tvrnet_base::watch_devices() {
    const bool watch_due = watch.fires(now);
    for (const auto& device : connected_devices()) {
        if (watch_due || device->lost) check_on(device, watch_due);
    }
    if (!watch_due) return;
    std::erase_if(unknown, [this](const auto& entry) {
        return now - entry.second.since_ms >= forget_unknown_ms;
    });
}

// A silent device is lost first, and asked more and more seldom; after the same time again it goes.
void tvrnet_base::check_on(const std::shared_ptr<tvrnet_device>& device, bool watch_due) {
    if (watch_due && device->silence.passed(now)) {
        if (device->lost) {
            disconnect_device(device->adr.mac, "tvrnet timeout.");
            return;
        }
        device->lost = true;
        device->silence.start(now);
        device->check = {1};
        device->check_count = 0;
        send_beacon(device->adr.ip, device->adr.mac, false);
    }
    if (!device->lost || !device->check.fires(now)) return;
    send_tvr_alive_check(device->adr);
    if (device->check_count < check_limit) {
        device->check_count++;
        device->check.interval *= 2;
    }
}

void tvrnet_base::drive_handshakes() {
    std::vector<tvrnet_mac> given_up;
    for (const auto& [mac, device] : pending) {
        if (device->auth_info.handshake.passed(now))
            given_up.push_back(mac);
        else if (device->auth_info.request.fires(now))
            send_auth_req(device);
    }
    for (const tvrnet_mac& mac : given_up) {
        const auto device = std::move(pending[mac]);
        pending.erase(mac);
        device->set_invalid();
        if (unknown.size() >= limits.max_endpoints) forget_oldest_unknown();
        unknown[mac] = {device, now};
    }
}

void tvrnet_base::forget_oldest_unknown() {
    unknown.erase(std::min_element(
        unknown.begin(), unknown.end(),
        [](const auto& a, const auto& b) { return a.second.since_ms < b.second.since_ms; }));
}

// Eight at a time take a turn. The turn's number goes up once a millisecond at most, so that what
// a peer asks for per turn means something in a tight loop as well.
void tvrnet_base::update_devices() {
    const auto all = connected_devices();
    if (all.empty()) return;
    if (now != turn_began_ms) {
        turn_began_ms = now;
        turn = (turn + 1) & INT32_MAX;
    }
    const size_t count = std::min(all.size(), devices_per_turn);
    for (size_t i = 0; i < count; i++) {
        next_device = (next_device + 1) % all.size();
        all[next_device]->update(turn);
    }
}

void tvrnet_base::add_request(std::string_view name, tvrnet_request_handler handler) {
    requests[tvrnet_hash(name.data(), name.size())] =
        std::make_shared<const tvrnet_request_handler>(std::move(handler));
}

void tvrnet_base::handle_artnet(const tvrnet_ip& from, const uint8_t* data, size_t length) {
    constexpr size_t opcode_at = 8, shortest = 10;
    if (length < shortest) return;
    const uint16_t opcode = read_u16_le({data, length}, opcode_at);
    switch (artnet_opcode(opcode)) {
    case artnet_opcode::dmx: artnet.take_dmx(from, data, length, now); return;
    case artnet_opcode::poll: send_art_poll_reply(from); return;
    case artnet_opcode::poll_reply:
        if (length < artnet_poll_reply_bytes) return;
        handle_artnet_reply(from, artnet_poll_reply(data, artnet_poll_reply_bytes));
        return;
    case artnet_opcode::sync: artnet.take_sync(now); return;
    }
    // Once each: a desk that sends time code would fill the screen all night.
    if (!told_opcodes.test(opcode)) std::printf("invalid artnet opcode: %i\n", int(opcode));
    told_opcodes.set(opcode);
}

void tvrnet_base::send_art_poll_reply(const tvrnet_ip& to) {
    const auto reply = artnet_make_poll_reply(udp->local_adr(), options.name);
    udp->send_packet_artnet({to.address, artnet_port}, reply.data(), reply.size());
    udp->flush_send_buffer();
}
