// The serial port and its session, against a pseudo terminal that plays the board.

#include "deck/serial_port.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "board.h"
#include "deck/session.h"

using namespace deckbus;
using deckbus::test::board;
using test_support::eventually;

namespace {

std::string status(session& link) {
    tvr_lock hold(link.mutex);
    return link.status;
}

bool connected(session& link) {
    tvr_lock hold(link.mutex);
    return link.state.connected;
}

// What a second opener is told: the mark on the port keeps everybody out but root, whom the lock
// keeps out.
std::string busy_text() {
    return ::geteuid() == 0 ? "Port busy (is bridge.py or a serial monitor running?)" : "Port busy";
}

TEST(serial_port, says_why_it_cannot_open) {
    struct row {
        const char* what;
        const char* path;
        int baud;
        const char* error;
    };
    const row rows[] = {
        {"baud", "/dev/null", 12345, "Baud rate 12345 not supported"},
        {"missing", "/dev/no such port", 115200, "Cannot open port: No such file or directory"},
        {"a folder", "/dev", 115200, "Cannot open port: Is a directory"},
        {"no terminal", "/dev/null", 115200, "Not a serial port: Inappropriate ioctl for device"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        serial_port port;
        std::string error;
        EXPECT_FALSE(port.open(r.path, r.baud, error));
        EXPECT_EQ(error, r.error);
        EXPECT_FALSE(port.is_open());
    }
}

TEST(serial_port, opens_raw_and_for_itself_alone) {
    board b;
    serial_port first, second;
    std::string error;
    ASSERT_TRUE(first.open(b.path, 2000000, error)) << error;
    EXPECT_FALSE(second.open(b.path, 2000000, error));
    EXPECT_EQ(error, busy_text());

    const std::string raw("\x03\x11\x13\r\n\x00\xff", 7);
    b.say(raw);
    std::array<uint8_t, 64> buffer{};
    ASSERT_EQ(first.read(buffer.data(), buffer.size(), 10000), int(raw.size()));
    EXPECT_EQ(std::string(buffer.begin(), buffer.begin() + 7), raw);
    EXPECT_EQ(first.read(buffer.data(), buffer.size(), 0), 0);
    EXPECT_TRUE(first.write("a\n", 2));
    EXPECT_TRUE(b.hears("a\n"));

    first.close();  // gives it back to everybody
    EXPECT_TRUE(second.open(b.path, 115200, error)) << error;
    b.unplug();
    EXPECT_EQ(second.read(buffer.data(), buffer.size(), 10000), -1);
    EXPECT_FALSE(second.write("a", 1));
    second.close();
    EXPECT_EQ(second.read(buffer.data(), buffer.size(), 0), -1);
    EXPECT_TRUE(second.write("", 0));
    EXPECT_FALSE(second.write("a", 1));
}

// What the board has not taken by then goes nowhere: the drivers of real ports would make the
// closing wait for it. A terminal keeps the 4096 bytes that it has ready to be read.
TEST(serial_port, gives_up_on_a_full_line) {
    constexpr size_t ready_bytes = 4096;
    board b;
    serial_port port;
    std::string error;
    ASSERT_TRUE(port.open(b.path, 2000000, error));
    const std::string much(1 << 20, 'x');
    EXPECT_FALSE(port.write(much.data(), much.size()));
    port.close();
    ASSERT_TRUE(port.open(b.path, 2000000, error));
    ASSERT_TRUE(port.write("end", 3));
    std::string heard;
    while (!heard.ends_with("end")) {
        const std::string more = b.hear();
        ASSERT_FALSE(more.empty());
        heard += more;
    }
    EXPECT_LE(heard.size(), ready_bytes + 3);
}

// Writing waits for a slow board, and signals that come meanwhile do not end the wait.
TEST(serial_port, writes_on_through_signals) {
    struct sigaction quiet = {};
    struct sigaction before = {};
    quiet.sa_handler = [](int) {};
    ASSERT_EQ(sigaction(SIGUSR1, &quiet, &before), 0);
    board b;
    serial_port port;
    std::string error;
    ASSERT_TRUE(port.open(b.path, 2000000, error));
    const std::string much(1 << 20, 'x');
    size_t heard = 0;
    std::thread slow([&, writer = pthread_self()] {
        for (size_t more = 1; heard < much.size() && more > 0; heard += more) {
            pthread_kill(writer, SIGUSR1);
            more = b.hear().size();
        }
    });
    EXPECT_TRUE(port.write(much.data(), much.size()));
    slow.join();
    EXPECT_EQ(heard, much.size());
    sigaction(SIGUSR1, &before, nullptr);
}

TEST(serial_port, lists_usb_ports_with_their_ids) {
    namespace fs = std::filesystem;
    const fs::path root = fs::temp_directory_path() / ("tty-" + std::to_string(::getpid()));
    const auto usb = root / "devices/usb1/1-2";
    fs::create_directories(usb / "1-2:1.0/tty/ttyACM1");
    fs::create_directories(root / "devices/serial/ttyS0");
    std::ofstream(usb / "idVendor") << "1a86\n";
    std::ofstream(usb / "idProduct") << "55d3\n";
    std::ofstream(usb / "product") << "USB Single Serial\n";
    for (const char* name : {"ttyACM1", "ttyUSB0", "ttyS0", "console"}) {
        fs::create_directories(root / "class" / name);
    }
    fs::create_directory_symlink(usb / "1-2:1.0", root / "class/ttyACM1/device");
    fs::create_directory_symlink(root / "devices/serial/ttyS0", root / "class/ttyUSB0/device");

    const auto ports = serial_port::list((root / "class").string(), "/dev/");
    fs::remove_all(root);
    ASSERT_EQ(ports.size(), 2u);
    EXPECT_EQ(ports[0].path, "/dev/ttyACM1");
    EXPECT_EQ(ports[0].vid, bridge_vid);
    EXPECT_EQ(ports[0].pid, 0x55d3);
    EXPECT_EQ(ports[0].description, "USB Single Serial");
    EXPECT_EQ(ports[1].path, "/dev/ttyUSB0");
    EXPECT_EQ(ports[1].vid, 0);
    EXPECT_TRUE(serial_port::list("/nowhere").empty());
}

TEST(serial_session, feeds_lines_however_they_are_cut) {
    board b;
    const auto link = session::open_serial(b.path);
    const auto queue = link->attach();
    EXPECT_TRUE(b.hears("info\n"));
    EXPECT_TRUE(b.hears("ping\n"));
    EXPECT_FALSE(connected(*link));  // a line makes the connection, not the port
    b.say("garbage {\n{\"t\":\"hel");
    b.say(
        "lo\",\"fw\":\"1.0\"}\r\n{\"t\":\"warn\",\"msg\":\"a\"}\n{\"t\":\"warn\",\"msg\":\"b\"}\n");
    std::string all;
    EXPECT_TRUE(eventually([&] {
        for (const event& e : link->take(*queue)) all += e.kind + " ";
        return all.ends_with("connected hello warn warn ");  // who attaches late is greeted, too
    })) << all;
    {
        tvr_lock hold(link->mutex);
        EXPECT_EQ(link->active_port, b.path);
        link->send("demo 1");
    }
    EXPECT_TRUE(b.hears("demo 1\n"));
    b.say("{\"t\":\"trk\",\"n\":4,\"id\":\"4:1:1\",\"meta\":true}\n");
    EXPECT_TRUE(b.hears("fetch 4\n"));
}

TEST(serial_session, throws_endless_lines_away) {
    board b;
    const auto link = session::open_serial(b.path);
    EXPECT_TRUE(b.hears("info\n"));
    const std::string much(4096, 'x');
    size_t sent = 0;
    while (sent <= 1048576) {
        b.say(much);
        sent += much.size();
    }
    b.say("{\"t\":\"hello\"}\n{\"t\":\"hello\"}\n");
    EXPECT_TRUE(eventually([&] { return connected(*link); }));
}

TEST(serial_session, is_shared_by_port) {
    board b, other;
    const auto link = session::open_serial(b.path);
    EXPECT_EQ(session::open_serial(b.path), link);
    EXPECT_EQ(session::open_serial(""), link);  // automatic means any at this baud
    EXPECT_NE(session::open_serial(other.path), link);

    const auto faster = session::open_serial(b.path, 3000000);
    EXPECT_NE(faster, link);
    EXPECT_TRUE(eventually([&] { return status(*faster) == b.path + ": " + busy_text(); }))
        << status(*faster);
}

TEST(serial_session, comes_back_after_every_loss) {
    board b;
    const auto link = session::open_serial(b.path);
    const auto queue = link->attach();
    EXPECT_TRUE(b.hears("info\n"));
    b.say("{\"t\":\"hello\"}\n");
    EXPECT_TRUE(eventually([&] { return connected(*link); }));
    // Silence for three seconds.
    EXPECT_TRUE(eventually([&] {
        return status(*link) == "No data from the ESP32 (cable, restart, wrong baud rate?)";
    }));
    EXPECT_FALSE(connected(*link));
    // Two seconds later it tries again.
    EXPECT_TRUE(b.hears("info\n"));
    b.say("{\"t\":\"hello\"}\n");
    EXPECT_TRUE(eventually([&] { return connected(*link) && status(*link).empty(); }));
    b.unplug();
    EXPECT_TRUE(
        eventually([&] { return status(*link) == "Lost the ESP32 (cable unplugged or restart)"; }));
    // The port itself is gone now.
    EXPECT_TRUE(eventually([&] {
        return status(*link).rfind(b.path + ": Cannot open port", 0) == 0;
    })) << status(*link);
    std::string all;
    for (const event& e : link->take(*queue)) all += e.kind + " ";
    EXPECT_TRUE(all.ends_with("connected hello disconnected connected hello disconnected ")) << all;
}

TEST(serial_session, hands_the_port_over) {
    board b;
    auto first = session::open_serial(b.path);
    EXPECT_TRUE(b.hears("info\n"));
    const auto second = session::open_serial(b.path, 1000000);
    EXPECT_TRUE(eventually([&] { return status(*second) == b.path + ": " + busy_text(); }));
    first.reset();
    EXPECT_TRUE(b.hears("info\n"));
    EXPECT_TRUE(eventually([&] { return status(*second).empty(); }));
}

}  // namespace
