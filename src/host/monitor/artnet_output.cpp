#include "host/monitor/artnet_output.h"

#include <array>
#include <chrono>
#include <utility>

namespace monitor {

namespace {

tvrnet_socket_options quiet_socket() {
    tvrnet_socket_options options;
    options.threads = false;
    options.tell = false;
    return options;
}

}  // namespace

artnet_output::artnet_output(std::shared_ptr<deckbus::session> from, const tvrnet_ip& target)
    : udp(quiet_socket()), device(udp, target), session(std::move(from)) {}

artnet_output::~artnet_output() {
    {
        const std::lock_guard<std::mutex> hold(mutex);
        stopped = true;
    }
    stopping.notify_one();
    if (thread.joinable()) thread.join();
}

bool artnet_output::start() {
    if (!udp.init() || !udp.bind(0)) return false;
    thread = std::thread([this] { run(); });
    return true;
}

void artnet_output::run() {
    using clock = std::chrono::steady_clock;
    const auto step = std::chrono::duration_cast<clock::duration>(
        std::chrono::duration<double>(1.0 / frames_per_second));
    auto due = clock::now();
    std::unique_lock<std::mutex> hold(mutex);
    while (!stopped) {
        hold.unlock();
        send_frame();
        due = std::max(due + step, clock::now());
        hold.lock();
        stopping.wait_until(hold, due, [this] { return stopped; });
    }
}

// The sequence runs from 1 to 255; 0 would say that it is not used.
void artnet_output::send_frame() {
    std::array<uint8_t, artnet_max_channels> channels;
    {
        tvr_lock hold(session->mutex);
        session->state.artnet_dmx(deckbus::now_s(), channels);
    }
    sequence = sequence == UINT8_MAX ? 1 : uint8_t(sequence + 1);
    device.send_art_universe(0, channels.data(), int(channels.size()), sequence);
    udp.flush_send_buffer();
}

}  // namespace monitor
