#pragma once

// The decks as light: their DMX universe, 44 times a second, to one Art-Net device.
//
// A thread of its own, so that the lights stay smooth whatever the screen does; joined in the
// destructor. It takes the session's mutex for the frame alone.

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "deck/session.h"
#include "net/artnet.h"
#include "net/os_socket.h"

namespace monitor {

class artnet_output {
public:
    static constexpr double frames_per_second = 44.0;  // as fast as DMX goes

    artnet_output(std::shared_ptr<deckbus::session> from, const tvrnet_ip& target);
    ~artnet_output();
    artnet_output(const artnet_output&) = delete;
    artnet_output& operator=(const artnet_output&) = delete;

    // False when there is no socket.
    bool start();

private:
    void run();
    void send_frame();

    GenericOSUDPSocket udp;       // the thread's, once it runs
    tvrnet_artnet_device device;  // likewise
    const std::shared_ptr<deckbus::session> session;
    uint8_t sequence = 0;
    std::mutex mutex;
    std::condition_variable stopping;
    bool stopped = false;  // with `mutex`
    std::thread thread;
};

}  // namespace monitor
