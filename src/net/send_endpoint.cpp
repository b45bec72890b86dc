#include "net/send_endpoint.h"

#include <algorithm>

send_endpoint& tvrnet_send_endpoints::find_or_make(const tvrnet_ip& to) {
    auto& found = endpoints[to];
    if (found != nullptr) return *found;
    found = std::make_unique<send_endpoint>();
    send_endpoint& made = *found;
    if (endpoints.size() > max_endpoints) {
        made.last_ms = UINT64_MAX;  // not this one
        endpoints.erase(std::min_element(
            endpoints.begin(), endpoints.end(),
            [](const auto& a, const auto& b) { return a.second->last_ms < b.second->last_ms; }));
    }
    return made;
}

void tvrnet_send_endpoints::count(const tvrnet_send_batch& batch, size_t first, size_t end,
                                  uint64_t now_ms) {
    tvr_lock hold(mutex);
    send_endpoint* same = nullptr;  // bulk goes to one for long
    for (size_t i = first; i < end; i++) {
        const bool repeated = same != nullptr && batch.destinations[i] == batch.destinations[i - 1];
        if (!repeated) same = &find_or_make(batch.destinations[i]);
        same->packets++;
        same->bytes += batch.parts[i].iov_len;
        same->last_ms = now_ms;
    }
}

uint32_t tvrnet_send_endpoints::packets_to(const tvrnet_ip& to) {
    tvr_lock hold(mutex);
    const auto found = endpoints.find(to);
    return found == endpoints.end() ? 0 : found->second->packets;
}

std::vector<tvrnet_ip> tvrnet_send_endpoints::spoken_to_since(uint64_t time_ms) {
    std::vector<tvrnet_ip> all;
    tvr_lock hold(mutex);
    for (const auto& [ip, endpoint] : endpoints) {
        if (endpoint->last_ms >= time_ms) all.push_back(ip);
    }
    return all;
}
