#include "track/blob_transfers.h"

#include <algorithm>
#include <cstdlib>

namespace deckbus {
namespace {

// As the C library reads hexadecimal text: "0x" in front and garbage behind are tolerated, and
// what is no number counts as 0.
uint32_t checksum(std::string_view hex) {
    return uint32_t(std::strtoull(std::string(hex).c_str(), nullptr, 16));
}

blob_transfers::key key_of(const json& line) {
    return {std::string(text(line, "id")), std::string(text(line, "kind"))};
}

bool possible(const pending_blob& blob) {
    return blob.size <= blob_transfers::max_blob_bytes &&
           blob.parts == (blob.size + blob_transfers::part_bytes - 1) / blob_transfers::part_bytes;
}

}  // namespace

bool pending_blob::good() const {
    return !bad && size == int64_t(data.size()) && crc == crc32(data.data(), data.size());
}

blob_transfers::step blob_transfers::open(const json& line, double t, pending_blob& out) {
    const key wanted = key_of(line);
    if (wanted.first.empty() || wanted.second.empty()) return step::ignored;

    pending_blob blob;
    blob.fmt = text(line, "fmt");
    blob.size = std::max<int64_t>(integer(line, "size", 0), 0);
    blob.crc = checksum(text(line, "crc"));
    blob.parts = integer(line, "parts", 0);
    blob.count = integer32(line, "count", 0);
    blob.started = t;
    if (!possible(blob)) return step::refused;

    make_room(wanted, t);
    blob.data.resize(size_t(blob.size));
    blob.have.resize(size_t(blob.parts));
    if (blob.parts < 1) {
        out = std::move(blob);
        return step::finished;
    }
    pending.insert_or_assign(wanted, std::move(blob));
    return step::going_on;
}

void blob_transfers::make_room(const key& wanted, double t) {
    std::erase_if(pending, [t](const auto& open) { return t - open.second.started > max_age_s; });
    if (pending.size() >= max_open && !pending.contains(wanted)) pending.erase(pending.begin());
}

blob_transfers::step blob_transfers::add_part(const json& line, pending_blob& out) {
    const auto open = pending.find(key_of(line));
    if (open == pending.end()) return step::ignored;
    pending_blob& blob = open->second;

    const int64_t i = integer(line, "i", -1);
    if (i < 0 || i >= blob.parts || blob.have[size_t(i)]) return step::ignored;
    const json* payload = find_field(line, "d");
    if (!payload || !payload->is_string()) return step::ignored;

    // Decoded right into its window. Text that breaks off leaves bytes there, but the part stays
    // missing and a good repeat overwrites the whole window; a wrong length spoils the transfer.
    const int64_t expected = std::min(part_bytes, blob.size - i * part_bytes);
    const int64_t decoded =
        base64_decode_into(payload->get_ref<const std::string&>(),
                           &blob.data[size_t(i * part_bytes)], size_t(expected));
    if (decoded < 0) return step::ignored;
    if (decoded != expected) blob.bad = true;

    blob.have[size_t(i)] = true;
    if (++blob.received < blob.parts) return step::going_on;
    out = std::move(blob);
    pending.erase(open);
    return step::finished;
}

void blob_transfers::drop_track(std::string_view id) {
    auto open = pending.lower_bound({std::string(id), {}});
    while (open != pending.end() && open->first.first == id) open = pending.erase(open);
}

void blob_transfers::drop_prefix(std::string_view prefix) {
    auto open = pending.lower_bound({std::string(prefix), {}});
    while (open != pending.end() && open->first.first.starts_with(prefix))
        open = pending.erase(open);
}

}  // namespace deckbus
