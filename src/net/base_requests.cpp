// Requests of peers and their answers.

#include <cstring>

#include "net/base.h"
#include "net/hash.h"
#include "net/kv_record.h"

namespace {

constexpr auto buffer_format = tvrnet_pkt_dataformat::buffer;

// The hash under the key "command", or false.
bool read_command(tvrnet_kv_reader& record, uint32_t& hash) {
    if (!record.read_key("command") || record.value.size() != sizeof hash) return false;
    std::memcpy(&hash, record.value.data(), sizeof hash);
    return true;
}

}  // namespace

// A question that came unreliably has no ticket that could be answered.
void tvrnet_base::handle_request(const tvrnet_ip& from, const uint8_t* data, size_t size,
                                 const tvrnet_pkt_header& header) {
    if (header.type != tvrnet_pkt_type::data) return;
    std::vector<uint8_t> copy(data, data + size);
    tvrnet_kv_reader record(copy);
    uint32_t hash = 0;
    if (!read_command(record, hash)) return;
    tvrnet_request request{{from, header.source}, nullptr, 0, buffer_format};
    if (record.read_key("data")) {
        request.data = record.value.data();
        request.size = record.value.size();
        request.format = record.format;
    }
    tvrnet_answer answer;
    const char* response = serve_request(hash, request, header, answer);
    const auto device = any_device(header.source);  // the handler may have ended it
    if (device == nullptr) return;
    device->send_response(response, header.ticket_id, answer.data.data(), answer.data.size(),
                          answer.format);
}

const char* tvrnet_base::serve_request(uint32_t hash, const tvrnet_request& request,
                                       const tvrnet_pkt_header& header, tvrnet_answer& answer) {
    const auto found = requests.find(hash);
    if (found != requests.end()) {
        const auto handler = found->second;
        if ((*handler)(request, answer)) return "tvrnet_response_ack_success";
        answer = {};
        return "tvrnet_response_ack_fail";
    }
    // A command that answers nothing can be asked for as well.
    tvrnet_pkt_header asked = header;
    asked.command_hash = hash;
    asked.data_format = request.format;
    const bool known = run_command(request.from.ip, request.data, request.size, asked);
    return known ? "tvrnet_response_ack_success" : "tvrnet_response_ack_notfound";
}

void tvrnet_base::handle_answer(const uint8_t* data, size_t size, const tvrnet_pkt_header& header,
                                bool success) {
    std::vector<uint8_t> copy(data, data + size);
    tvrnet_kv_reader record(copy);
    uint64_t ticket = 0;
    if (!record.read_key("ticketid") || record.value.size() != sizeof ticket) return;
    std::memcpy(&ticket, record.value.data(), sizeof ticket);
    if (record.read_key("data")) {
        handle_response_recv(ticket, header.source, record.value.data(), record.value.size(),
                             record.format, success);
    } else {
        handle_response_recv(ticket, header.source, nullptr, 0, buffer_format, success);
    }
}

void tvrnet_base::answer_check(const uint8_t* data, size_t size, const tvrnet_pkt_header& header) {
    std::vector<uint8_t> copy(data, data + size);
    tvrnet_kv_reader record(copy);
    uint32_t hash = 0;
    const auto device = any_device(header.source);
    if (!read_command(record, hash) || device == nullptr) return;
    tvrnet_kv_writer answer;
    answer.add_int32("command", int32_t(hash));
    answer.add_int32("known", has_command(hash) || requests.contains(hash) ? 1 : 0);
    device->send_answer("tvrnet_cmd_check_answer", answer.data.data(), answer.data.size(),
                        buffer_format);
}

void tvrnet_base::take_check_answer(const uint8_t* data, size_t size,
                                    const tvrnet_pkt_header& header) {
    std::vector<uint8_t> copy(data, data + size);
    tvrnet_kv_reader record(copy);
    uint32_t hash = 0;
    const auto device = any_device(header.source);
    if (!read_command(record, hash) || device == nullptr) return;
    auto& known = device->peer_commands;
    std::erase(known, hash);
    if (record.read_int32("known") != 0 && known.size() < tvrnet_device::max_peer_commands) {
        known.push_back(hash);
    }
}
