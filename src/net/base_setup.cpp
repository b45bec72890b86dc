// What two nodes tell each other once they have met, and the commands that every node knows.

#include <algorithm>

#include "base/byte_order.h"
#include "net/base.h"
#include "net/hash.h"
#include "net/kv_record.h"

namespace {

constexpr size_t auth_record_room = 108;
constexpr auto buffer_format = tvrnet_pkt_dataformat::buffer;

}  // namespace

void tvrnet_base::register_own_commands() {
    using header = tvrnet_pkt_header;
    add_command("tvrnet_init_device",
                [this](const tvrnet_ip&, const uint8_t* data, size_t size, const header& h) {
                    answer_init_device(data, size, h);
                });
    add_command("tvrnet_init_device_result",
                [this](const tvrnet_ip&, const uint8_t*, size_t, const header& h) {
                    const auto device = any_device(h.source);
                    if (device != nullptr) device->init_device_answered = true;
                });
    add_command("tvrnet_cmd", [this](const tvrnet_ip& from, const uint8_t* data, size_t size,
                                     const header& h) { handle_request(from, data, size, h); });
    add_command("tvrnet_cmd_check", [this](const tvrnet_ip&, const uint8_t* data, size_t size,
                                           const header& h) { answer_check(data, size, h); });
    add_command("tvrnet_cmd_check_answer",
                [this](const tvrnet_ip&, const uint8_t* data, size_t size, const header& h) {
                    take_check_answer(data, size, h);
                });
    for (const bool success : {true, false}) {
        const auto take = [this, success](const tvrnet_ip&, const uint8_t* data, size_t size,
                                          const header& h) {
            handle_answer(data, size, h, success);
        };
        if (success) {
            add_command("tvrnet_response_ack_success", take);
            continue;
        }
        add_command("tvrnet_response_ack_notfound", take);
        add_command("tvrnet_response_ack_fail", take);
    }
    add_command("TVRSET_STATIC_BUFFER",
                [this](const tvrnet_ip&, const uint8_t* data, size_t size, const header&) {
                    std::vector<uint8_t> copy(data, data + size);
                    tvrnet_kv_reader record(copy);
                    offered.take_part(record);
                });
    add_request("TVRDIAG_STATIC_BUFFER", [this](const tvrnet_request&, tvrnet_answer& out) {
        out.data = offered.report();
        return true;
    });
    add_request("tvrnet_init_connection", [this](const tvrnet_request&, tvrnet_answer& out) {
        write_connection_record(out);
        return true;
    });
}

// Tells the peer who we are, again and again until it has answered, one at a time.
void tvrnet_base::announce_device(const std::shared_ptr<tvrnet_device>& device) {
    if (device->init_device_ticket != 0) {
        if (device->is_on_its_way(device->init_device_ticket)) return;
        device->init_device_ticket = 0;
        device->init_device.start(now);
    }
    if (!device->init_device.fires(now)) return;
    uint8_t record[auth_record_room];
    const size_t size = write_auth_record(record, nullptr);
    const uint64_t ticket = device->send_reliable("tvrnet_init_device", record, size, buffer_format,
                                                  false, init_device_timeout_ms);
    if (ticket == tvrnet_no_ticket) {
        disconnect_device(device->adr.mac, "auth req reply send init failed.");
        return;
    }
    device->init_device_ticket = ticket;
}

void tvrnet_base::answer_init_device(const uint8_t* data, size_t size,
                                     const tvrnet_pkt_header& header) {
    const auto device = any_device(header.source);
    if (device == nullptr) return;
    take_names(*device, data, size);
    uint8_t record[auth_record_room];
    device->send_answer("tvrnet_init_device_result", record, write_auth_record(record, nullptr),
                        buffer_format);
}

void tvrnet_base::ask_for_connection(const std::shared_ptr<tvrnet_device>& device) {
    if (device->init_asked || !device->connected || !device->init_connection.fires(now)) return;
    const int32_t asked = 1;
    const std::weak_ptr<tvrnet_device> weak = device;
    const uint64_t ticket = device->send_get(
        "tvrnet_init_connection", &asked, sizeof asked, tvrnet_pkt_dataformat::int32,
        [this, weak](const uint8_t* data, size_t size, tvrnet_pkt_dataformat, bool success) {
            const auto answered = weak.lock();
            if (answered == nullptr || !answered->connected || answered->init_done) return;
            answered->init_asked = false;
            take_connection_record(answered, data, size, success);
        },
        init_connection_timeout_ms);
    device->init_asked = ticket != tvrnet_no_ticket;
}

void tvrnet_base::take_connection_record(const std::shared_ptr<tvrnet_device>& device,
                                         const uint8_t* data, size_t size, bool success) {
    const tvrnet_mac mac = device->adr.mac;
    if (!success) return disconnect_device(mac, "init connection failed.");
    std::vector<uint8_t> copy(data, data + size);
    tvrnet_kv_reader record(copy);
    if (!record.read() || record.key != "version") {
        return disconnect_device(mac, "init connection failed (invalid kv).");
    }
    if (record.value.size() != sizeof(int32_t)) {
        return disconnect_device(mac, "init connection failed (invalid kv version size).");
    }
    device->peer_version = record.read_int32("version");
    device->init_done = true;
    if (device->peer_version == 1) return;
    device->peer_has_json = record.read_int32("has_json") != 0;
    device->peer_has_json_v3 = record.read_int32("has_json_v3") != 0;
    device->packets_per_turn = uint32_t(std::max(record.read_int32("pacing"), 0));
    if (record.read_key("static_buffers")) {
        device->static_buffers = tvrnet_read_listing(record.value);
    }
    device->peer_commands.clear();
    if (!record.read_key("commands")) return;
    const size_t known =
        std::min(record.value.size() / sizeof(uint32_t), size_t(tvrnet_device::max_peer_commands));
    for (size_t i = 0; i < known; ++i) {
        device->peer_commands.push_back(read_u32_le(record.value, i * sizeof(uint32_t)));
    }
}

void tvrnet_base::write_connection_record(tvrnet_answer& out) const {
    tvrnet_kv_writer record;
    record.add_int32("version", protocol_version);
    record.add_int32("has_json", 0);
    record.add_int32("has_json_v3", 0);
    record.add_int32("pacing", 0);  // no limit
    const std::vector<uint32_t> hashes = known_hashes();
    record.add_data("commands", reinterpret_cast<const uint8_t*>(hashes.data()),
                    hashes.size() * sizeof(uint32_t), buffer_format);
    if (!offered.buffers.empty()) record.add_bytes("static_buffers", offered.listing());
    out.data = std::move(record.data);
    out.format = buffer_format;
}

std::vector<uint32_t> tvrnet_base::known_hashes() const {
    std::vector<uint32_t> hashes = command_hashes();
    for (const auto& [hash, handler] : requests) hashes.push_back(hash);
    std::sort(hashes.begin(), hashes.end());
    return hashes;
}
