#pragma once

// The counters from which sessions and tickets get their ids.
//
// A session id tells one incarnation of a node from the next, so its counter begins somewhere
// else in every process. Any thread.

#include <atomic>
#include <cstdint>

struct tvrnet_global_s {
    // Never 0 and never tvrnet_no_session, not even when the counter wraps.
    uint32_t get_new_sessionid();

    // Never 0 and never tvrnet_no_ticket.
    uint64_t get_new_ticketid();

    std::atomic<uint32_t> last_session{0};  // 0 stands for: not begun
    std::atomic<uint64_t> last_ticket{0};
};

inline constexpr uint64_t tvrnet_no_ticket = UINT64_MAX;

// The counters of this process.
inline tvrnet_global_s& tvrnet_global() {
    static constinit tvrnet_global_s counters;
    return counters;
}
