// The decks as light, on a real socket.

#include "host/monitor/artnet_output.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "small_set.h"

namespace {

using namespace monitor;
using namespace monitor::test;

TEST(artnet_output, sends_the_universe_in_step) {
    const int fd = socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in address = tvrnet_to_system({{127, 0, 0, 1}, 0});
    ASSERT_EQ(bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    socklen_t size = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size);

    const small_set file;
    std::string error;
    const auto session = deckbus::session::open_replay(file.path, 1, true, error);
    ASSERT_NE(session, nullptr) << error;
    artnet_output output(session, tvrnet_from_system(address));
    ASSERT_TRUE(output.start());
    for (uint8_t expected = 1; expected <= 5; expected++) {
        pollfd wanted{fd, POLLIN, 0};
        constexpr int deadline_ms = 60000;
        ASSERT_EQ(poll(&wanted, 1, deadline_ms), 1);
        uint8_t frame[600];
        ASSERT_EQ(recv(fd, frame, sizeof frame, 0), 530);
        EXPECT_STREQ(reinterpret_cast<const char*>(frame), "Art-Net");
        EXPECT_EQ(frame[12], expected) << "sequence";
        EXPECT_EQ(frame[14], 0) << "universe";
    }
    close(fd);
}

}  // namespace
