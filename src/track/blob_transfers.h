#pragma once

// Blobs on their way in: one header line, then parts of 768 bytes in any order.
//
// Artwork, grids, waveforms, cues and phrases are too large for a line, so the bridge announces
// size and checksum and sends pieces. This room puts them together; what a finished blob means
// is the business of track and state. Locking: none inside; callers hold session::mutex.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "track/bytes.h"
#include "track/json.h"

namespace deckbus {

// One transfer under way.
struct pending_blob {
    // True when every part had its length and size and checksum are as promised.
    bool good() const;

    std::string fmt;         // format word, for the decoders
    int64_t size = 0;        // promised length in bytes, never negative
    uint32_t crc = 0;        // promised CRC-32
    int64_t parts = 0;       // promised number of parts
    int32_t count = 0;       // record count for the cue decoder, 0 without one
    bytes data;              // exactly `size` bytes; part i lies at i * 768
    std::vector<bool> have;  // which parts were seen
    int64_t received = 0;    // how many of them
    bool bad = false;        // a part of the wrong length came
    double started = 0;      // s, line time of the header
};

struct blob_transfers {
    static constexpr int64_t part_bytes = 768;  // 1024 characters of base64
    static constexpr int64_t max_blob_bytes = 16777216;
    static constexpr size_t max_open = 32;
    static constexpr double max_age_s = 60.0;

    using key = std::pair<std::string, std::string>;  // track id, blob kind

    enum class step {
        ignored,   // nothing to do
        refused,   // the header promises what cannot be
        going_on,  // more parts are awaited
        finished,  // the blob stands in `out` and is no longer pending
    };

    // A header line: opens the transfer, or restarts the one under the same key. Transfers older
    // than max_age_s go here, and the smallest key when max_open are open.
    step open(const json& line, double t, pending_blob& out);

    // A part line. What fits no open transfer, lies outside it, cannot be decoded or came before
    // is ignored.
    step add_part(const json& line, pending_blob& out);

    // Drops the transfers of one track, of all tracks whose id begins with prefix, or all.
    void drop_track(std::string_view id);
    void drop_prefix(std::string_view prefix);
    void clear() { pending.clear(); }

    std::map<key, pending_blob> pending;

private:
    void make_room(const key& wanted, double t);
};

}  // namespace deckbus
