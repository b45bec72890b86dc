#pragma once

// Memory of a fixed size that a node offers under a name, and its image at each peer.
//
// The owner lists what it offers when a connection is set up. A peer writes into its image, and
// what changed goes to the owner, part by part, one part of a buffer at a time so that an older
// one cannot overwrite a newer. Unwritten memory is 0 on both sides.
//
// Thread: the node's.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "net/kv_record.h"

// What a node offers.
struct tvrnet_offered_buffer {
    std::string name;
    std::vector<uint8_t> data;
    uint32_t changes = 0;  // parts that arrived
};

// The buffers that a node offers.
class tvrnet_offered_buffers {
public:
    static constexpr size_t max_buffers = 256, max_bytes = 1024 * 1024;
    static constexpr size_t max_image_bytes = 16 * 1024 * 1024;  // of all images of one peer
    static constexpr char default_group[] = "DEFAULT";

    // Called after a part of a buffer has arrived: its index, and where it changed.
    using change_handler = std::function<void(size_t index, size_t offset, size_t size)>;

    // The index under which peers write into it. Names are at most 253 characters; above
    // max_buffers, and for sizes above max_bytes, SIZE_MAX.
    size_t offer(const std::string& name, size_t size);

    // Takes over the part in a record. False, and nothing changed, when it does not fit.
    bool take_part(tvrnet_kv_reader& record);

    // How the buffers are listed: for the default group a record of names and sizes, in order.
    std::vector<uint8_t> listing() const;

    // Names and the number of parts that arrived.
    std::vector<uint8_t> report() const;

    std::vector<tvrnet_offered_buffer> buffers;
    change_handler on_change;
};

// The image of a peer's buffer.
class tvrnet_static_buffer {
public:
    static constexpr size_t max_part = 65536;  // bytes sent at once

    tvrnet_static_buffer(std::string buffer_name, size_t size)
        : name(std::move(buffer_name)), bytes(size) {}

    // False when it does not fit. What is the same already does not travel.
    bool write(size_t offset, std::span<const uint8_t> data);

    // The next changed part as a record, which then counts as sent; empty when nothing changed.
    std::vector<uint8_t> take_dirty_part(size_t index);

    bool dirty() const { return dirty_first < dirty_end; }
    std::span<const uint8_t> data() const { return bytes; }

    std::string name;
    uint64_t ticket_on_its_way = 0;  // 0: none

private:
    std::vector<uint8_t> bytes;
    size_t dirty_first = 0, dirty_end = 0;
};

// The images of what a listing offers; damaged or too large entries end it.
std::vector<tvrnet_static_buffer> tvrnet_read_listing(std::span<uint8_t> listing);
