#pragma once

// The destinations of a socket, and how much went to each.
//
// Packets go out as fast as the devices hand them over: their `rate` is the pacing. What the
// socket has no room for stays in the rings and is tried again, so nothing waits here.
//
// Threads: the send thread counts, any thread asks; locks inside.

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "base/sync.h"
#include "net/address.h"
#include "net/send_batch.h"

struct send_endpoint {
    uint32_t packets = 0;  // sent so far, wrapping
    uint64_t bytes = 0;
    uint64_t last_ms = 0;
};

class tvrnet_send_endpoints {
public:
    static constexpr size_t max_endpoints = 1024;  // the one not spoken to for longest goes

    // What a batch sent: the datagrams from `first` up to but not including `end`.
    void count(const tvrnet_send_batch& batch, size_t first, size_t end, uint64_t now_ms)
        TVR_EXCLUDES(mutex);
    uint32_t packets_to(const tvrnet_ip& to) TVR_EXCLUDES(mutex);

    // Those to whom something went at or after this time.
    std::vector<tvrnet_ip> spoken_to_since(uint64_t time_ms) TVR_EXCLUDES(mutex);

private:
    send_endpoint& find_or_make(const tvrnet_ip& to) TVR_REQUIRES(mutex);

    tvr_mutex mutex;
    std::unordered_map<tvrnet_ip, std::unique_ptr<send_endpoint>, tvrnet_ip_hash> endpoints
        TVR_GUARDED_BY(mutex);
};
