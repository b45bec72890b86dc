// What the kernel gives without any protocol: a loop of sendmmsg against a loop of recvmmsg on the
// loopback, no answers, nothing sent again.
//
//   bare_sockets SIZE COUNT
//
// Prints what arrived, in the words of bench_net. The time runs from the first to the last datagram
// that the receiver saw.

#include <arpa/inet.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "../alone.h"
#include "base/clock.h"

namespace {

constexpr size_t at_once = 64;
constexpr size_t largest = 65000;
constexpr int over_after_ms = 500;

// One memory for all messages of a call: the bytes do not matter.
struct batch {
    explicit batch(size_t size) : bytes(at_once * size) {
        for (size_t i = 0; i < at_once; ++i) {
            parts[i] = {bytes.data() + i * size, size};
            messages[i].msg_hdr.msg_iov = &parts[i];
            messages[i].msg_hdr.msg_iovlen = 1;
        }
    }

    std::vector<char> bytes;
    std::array<iovec, at_once> parts{};
    std::array<mmsghdr, at_once> messages{};
};

int bound_socket(sockaddr_in& where) {
    constexpr int buffer_bytes = 4 << 20;
    const int made = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    setsockopt(made, SOL_SOCKET, SO_RCVBUF, &buffer_bytes, sizeof buffer_bytes);
    setsockopt(made, SOL_SOCKET, SO_SNDBUF, &buffer_bytes, sizeof buffer_bytes);
    where = {};
    where.sin_family = AF_INET;
    where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof where;
    auto* address = reinterpret_cast<sockaddr*>(&where);
    if (bind(made, address, size) != 0 || getsockname(made, address, &size) != 0)
        bench_fail("no port");
    return made;
}

[[noreturn]] void send_all(const sockaddr_in& to, size_t size, size_t count) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    sockaddr_in own;
    const int from = bound_socket(own);
    if (connect(from, reinterpret_cast<const sockaddr*>(&to), sizeof to) != 0) bench_fail("no way");
    batch out(size);
    for (size_t sent = 0; sent < count;) {
        const int done =
            sendmmsg(from, out.messages.data(), unsigned(std::min(at_once, count - sent)), 0);
        if (done < 0) bench_fail("cannot send");
        sent += size_t(done);
    }
    std::_Exit(0);
}

}  // namespace

int main(int argc, char** argv) {
    const size_t size = argc == 3 ? std::strtoull(argv[1], nullptr, 10) : 0;
    const size_t count = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 0;
    if (size == 0 || size > largest || count == 0) bench_fail("usage: bare_sockets SIZE COUNT");
    sockaddr_in here;
    const int into = bound_socket(here);
    const pid_t child = fork();
    if (child < 0) bench_fail("no process");
    if (child == 0) send_all(here, size, count);
    batch in(size);
    size_t heard = 0;
    double first = 0, last = 0;
    pollfd ready{into, POLLIN, 0};
    while (heard < count && poll(&ready, 1, over_after_ms) > 0) {
        const int got = recvmmsg(into, in.messages.data(), at_once, MSG_DONTWAIT, nullptr);
        if (got <= 0) continue;
        last = tvr_now_s();
        if (heard == 0) first = last;
        heard += size_t(got);
    }
    waitpid(child, nullptr, 0);
    if (heard < 2 || last <= first) bench_fail("nothing arrived");
    const double a_second = double(heard) / (last - first);
    std::printf("bare %zu %.0f msg/s %.1f MB/s\n", size, a_second, a_second * double(size) / 1e6);
}
