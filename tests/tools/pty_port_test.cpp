// The pseudo terminal on its own: what a slow client loses, and who owns the link.

#include "bridge_sim/pty_port.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "../support/sim_process.h"

namespace bridge_sim::test {
namespace {

std::string numbered(int i) {
    return "{\"t\":\"pos\",\"i\":" + std::to_string(i) + "}";
}

TEST(pty_port, a_slow_reader_loses_whole_lines) {
    constexpr int plenty = 100000;
    scratch place;
    pty_port port(place.path("tty"));
    std::string error, line;
    ASSERT_TRUE(port.plug(error)) << error;
    port_client client(place.path("tty"));
    ASSERT_TRUE(port.has_client());
    int sent = 0;
    while (sent < plenty && port.send(numbered(sent) + "\n")) sent++;
    ASSERT_LT(sent, plenty) << "never blocks, so it must lose";
    ASSERT_TRUE(port.stuck());
    for (int i = 0; i < sent; i++) {
        port.flush();
        ASSERT_TRUE(client.read_line(line));
        ASSERT_EQ(line, numbered(i));
    }
    EXPECT_TRUE(port.send("after\n"));
    port.flush();
    ASSERT_TRUE(client.read_line(line));
    EXPECT_EQ(line, "after");
}

TEST(pty_port, the_link_of_another_stays) {
    scratch place;
    const std::string link = place.path("tty");
    std::string error;
    pty_port first(link), second(link);
    ASSERT_TRUE(first.plug(error) && second.plug(error)) << error;
    first.unplug();
    EXPECT_EQ(std::filesystem::read_symlink(link), second.terminal());
    second.unplug();
    EXPECT_FALSE(std::filesystem::is_symlink(link));
}

TEST(pty_port, clients_are_noticed) {
    scratch place;
    pty_port port(place.path("tty"));
    std::string error, heard;
    EXPECT_FALSE(port.has_client());
    ASSERT_TRUE(port.plug(error)) << error;
    EXPECT_FALSE(port.has_client());
    port_client client(place.path("tty"));
    EXPECT_TRUE(port.has_client());
    ASSERT_TRUE(client.write("ping\n"));
    port.receive(heard);
    EXPECT_EQ(heard, "ping\n");
    client.close();
    EXPECT_FALSE(port.has_client());
}

}  // namespace
}  // namespace bridge_sim::test
