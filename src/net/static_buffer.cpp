#include "net/static_buffer.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr size_t max_name = 253;

}  // namespace

size_t tvrnet_offered_buffers::offer(const std::string& name, size_t size) {
    if (buffers.size() >= max_buffers || size > max_bytes || name.size() > max_name) {
        return SIZE_MAX;
    }
    buffers.push_back({name, std::vector<uint8_t>(size)});
    return buffers.size() - 1;
}

bool tvrnet_offered_buffers::take_part(tvrnet_kv_reader& record) {
    if (!record.read_key("idx") || !record.read_key("offset") || !record.read_key("data")) {
        return false;
    }
    const std::span<const uint8_t> part = record.value;
    const int32_t index = record.read_int32("idx"), offset = record.read_int32("offset");
    if (index < 0 || size_t(index) >= buffers.size() || offset < 0) return false;
    tvrnet_offered_buffer& buffer = buffers[size_t(index)];
    const size_t at = size_t(offset);
    if (at > buffer.data.size() || part.size() > buffer.data.size() - at) return false;
    std::copy(part.begin(), part.end(), buffer.data.begin() + offset);
    buffer.changes++;
    if (on_change) on_change(size_t(index), at, part.size());
    return true;
}

std::vector<uint8_t> tvrnet_offered_buffers::listing() const {
    tvrnet_kv_writer group, all;
    for (const tvrnet_offered_buffer& b : buffers) {
        group.add_int32(b.name.c_str(), int32_t(b.data.size()));
    }
    all.add_bytes(default_group, group.data);
    return std::move(all.data);
}

std::vector<uint8_t> tvrnet_offered_buffers::report() const {
    tvrnet_kv_writer out;
    for (const tvrnet_offered_buffer& b : buffers) {
        out.add_int32(b.name.c_str(), int32_t(b.changes));
    }
    return std::move(out.data);
}

bool tvrnet_static_buffer::write(size_t offset, std::span<const uint8_t> data) {
    if (offset > bytes.size() || data.size() > bytes.size() - offset) return false;
    const auto begin = bytes.begin() + ptrdiff_t(offset);
    const auto [changed, same] = std::mismatch(data.begin(), data.end(), begin);
    if (changed == data.end()) return true;
    const size_t first = offset + size_t(changed - data.begin()), end = offset + data.size();
    dirty_first = dirty() ? std::min(dirty_first, first) : first;
    dirty_end = std::max(dirty_end, end);
    std::copy(data.begin(), data.end(), begin);
    return true;
}

std::vector<uint8_t> tvrnet_static_buffer::take_dirty_part(size_t index) {
    if (!dirty()) return {};
    const size_t size = std::min(dirty_end - dirty_first, max_part);
    tvrnet_kv_writer record;
    record.add_int32("idx", int32_t(index));
    record.add_int32("offset", int32_t(dirty_first));
    record.add_bytes("data", data().subspan(dirty_first, size));
    dirty_first += size;
    if (!dirty()) dirty_first = dirty_end = 0;
    return std::move(record.data);
}

std::vector<tvrnet_static_buffer> tvrnet_read_listing(std::span<uint8_t> listing) {
    std::vector<tvrnet_static_buffer> images;
    tvrnet_kv_reader groups(listing);
    if (!groups.read_key(tvrnet_offered_buffers::default_group)) return images;
    tvrnet_kv_reader group(groups.value);
    size_t all_bytes = 0;
    while (group.read() && images.size() < tvrnet_offered_buffers::max_buffers) {
        int32_t size = 0;
        if (group.value.size() != sizeof size) break;
        std::memcpy(&size, group.value.data(), sizeof size);
        if (size < 0 || size_t(size) > tvrnet_offered_buffers::max_bytes) break;
        all_bytes += size_t(size);
        if (all_bytes > tvrnet_offered_buffers::max_image_bytes) break;
        images.emplace_back(std::string(group.key), size_t(size));
    }
    return images;
}
