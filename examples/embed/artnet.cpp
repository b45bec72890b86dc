// The decks as light, in a program of one's own: plays a recording and sends its universe.
//
//   artnet RECORDING ADDRESS [SECONDS]
//
// Links deckbus_core and tavro_net. docs/artnet.md tells what is on which channel.

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "deck/session.h"
#include "net/artnet.h"
#include "net/os_socket.h"

int main(int argc, char** argv) {
    tvrnet_ip target;
    if (argc < 3 || !tvrnet_parse_ip(argv[2], artnet_port, target)) {
        std::fprintf(stderr, "usage: artnet RECORDING ADDRESS [SECONDS]\n");
        return 2;
    }
    std::string error;
    const auto session = deckbus::session::open_replay(argv[1], 1.0, true, error);
    if (session == nullptr) {
        std::fprintf(stderr, "%s\n", error.c_str());
        return 1;
    }
    const auto events = session->attach();  // a recording waits for its first listener

    tvrnet_socket_options quiet;
    quiet.threads = false;
    quiet.tell = false;
    GenericOSUDPSocket udp(quiet);
    if (!udp.init() || !udp.bind(0)) return 1;
    tvrnet_artnet_device lights(udp, target);

    const double seconds = argc > 3 ? std::atof(argv[3]) : 3600;
    const double end = deckbus::now_s() + seconds;
    constexpr auto frame = std::chrono::microseconds(1000000 / 44);
    auto due = std::chrono::steady_clock::now();
    for (uint8_t sequence = 1; deckbus::now_s() < end; sequence = uint8_t(sequence % 255 + 1)) {
        std::array<uint8_t, artnet_max_channels> channels;
        {
            tvr_lock hold(session->mutex);
            session->state.artnet_dmx(deckbus::now_s(), channels);
        }
        lights.send_art_universe(0, channels.data(), int(channels.size()), sequence);
        udp.flush_send_buffer();
        session->take(*events);
        std::this_thread::sleep_until(due += frame);
    }
}
