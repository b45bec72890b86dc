#include "net/ids.h"

#include <chrono>
#include <random>

#include "net/packet.h"

namespace {

// Somewhere else in every process, even where the machine has no source of chance.
uint32_t somewhere() {
    const auto clock = std::chrono::system_clock::now().time_since_epoch().count();
    std::random_device chance;
    return chance() ^ uint32_t(clock) ^ uint32_t(uint64_t(clock) >> 32);
}

}  // namespace

uint32_t tvrnet_global_s::get_new_sessionid() {
    uint32_t begin = 0;
    if (last_session == 0) last_session.compare_exchange_strong(begin, somewhere());
    for (;;) {
        const uint32_t id = ++last_session;
        if (id != 0 && id != tvrnet_no_session) return id;
    }
}

uint64_t tvrnet_global_s::get_new_ticketid() {
    for (;;) {
        const uint64_t id = ++last_ticket;
        if (id != 0 && id != tvrnet_no_ticket) return id;
    }
}
