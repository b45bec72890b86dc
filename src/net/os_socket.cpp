#include "net/os_socket.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>
#include <system_error>

#include "base/clock.h"

namespace {

constexpr int socket_buffer_bytes = 8 * 1024 * 1024;
constexpr int recv_timeout_us = 20000;
constexpr uint64_t look_again_ms = 3000;  // for an interface, while there is none

tvrnet_mac some_mac() {
    std::random_device chance;
    return tvrnet_made_up_mac(uint64_t(chance()) << 32 | chance());
}

}  // namespace

GenericOSUDPSocket::GenericOSUDPSocket(const tvrnet_socket_options& asked)
    : GenericUDPSocket(asked.mac),
      options(asked),
      front_bulk(std::make_unique<front_ring>()),
      front_priority(std::make_unique<front_ring>()),
      back_bulk(std::make_unique<bulk_ring>()),
      back_priority(std::make_unique<small_ring>()),
      back_artnet(std::make_unique<small_ring>()) {}

GenericOSUDPSocket::~GenericOSUDPSocket() {
    invalidate_threads();
    if (fd >= 0) ::close(fd);
}

void GenericOSUDPSocket::set_buffer(int option, int force_option, const char* form) const {
    const int wanted = socket_buffer_bytes;
    // Beyond the system's bound where we may, else up to it.
    if (setsockopt(fd, SOL_SOCKET, force_option, &wanted, sizeof wanted) != 0 &&
        setsockopt(fd, SOL_SOCKET, option, &wanted, sizeof wanted) != 0) {
        std::perror("error setsockopt()");
    }
    int got = 0;
    socklen_t size = sizeof got;
    if (getsockopt(fd, SOL_SOCKET, option, &got, &size) != 0)
        std::perror("error getsockopt()");
    else if (options.tell)
        std::fprintf(stderr, form, got);
}

void GenericOSUDPSocket::set_options() const {
    const int on = 1;
    if (setsockopt(fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0) {
        std::perror("setsockopt error");
    }
    const timeval timeout{0, recv_timeout_us};
    if (setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0) {
        std::perror("error setting recv timeout");
    }
    set_buffer(SO_SNDBUF, SO_SNDBUFFORCE, "SEND BUF: %i\n");
    set_buffer(SO_RCVBUF, SO_RCVBUFFORCE, "RECV BUF: %i\n");
}

bool GenericOSUDPSocket::init() {
    fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        std::perror("socket() udp");
        return false;
    }
    set_options();
    return true;
}

bool GenericOSUDPSocket::bind(int port) {
    sockaddr_in wanted = tvrnet_to_system({{}, uint16_t(port)});
    if (::bind(fd, reinterpret_cast<const sockaddr*>(&wanted), sizeof wanted) != 0) {
        if (options.tell) std::fprintf(stderr, "bind failed with error: %i\n", errno);
        return false;
    }
    socklen_t size = sizeof wanted;
    getsockname(fd, reinterpret_cast<sockaddr*>(&wanted), &size);
    bound_port = tvrnet_from_system(wanted).port;
    set_local_ip({{}, bound_port});
    choose_interface(options.tell);
    if (own_mac == tvrnet_mac()) own_mac = some_mac();
    if (options.tell) {
        const std::string ip = tvrnet_text(interface_ip);
        std::fprintf(stderr, "bound to %s:%i\n", ip.substr(0, ip.find(':')).c_str(), bound_port);
    }
    return !options.threads || start_threads();
}

bool GenericOSUDPSocket::start_threads() {
    running = true;
    try {
        sender = std::thread([this] { send_loop(); });
        receiver = std::thread([this] { recv_loop(); });
    } catch (const std::system_error& failed) {
        if (options.tell) std::fprintf(stderr, "no thread: %s\n", failed.what());
        invalidate_threads();
        return false;
    }
    return true;
}

// The MAC is chosen once: it is who we are, wherever the cable goes later.
void GenericOSUDPSocket::choose_interface(bool tell) {
    const auto found = tvrnet_usable_interface(tell);
    if (!found) return;
    interface_index = found->index;
    interface_ip = found->ip;
    interface_broadcast = found->broadcast;
    set_local_ip({found->ip.address, bound_port});
    if (own_mac == tvrnet_mac()) own_mac = found->mac;
}

void GenericOSUDPSocket::invalidate_threads() {
    running = false;
    send_sleeper.wake();
    room_sleeper.wake();
    if (sender.joinable()) sender.join();
    if (receiver.joinable()) receiver.join();
}

void GenericOSUDPSocket::sleeper::wake() {
    if (!waits.exchange(false)) return;
    { const std::lock_guard<std::mutex> hold(mutex); }  // it sleeps, or sees the flag
    woken.notify_one();
}

void GenericOSUDPSocket::sleeper::sleep(uint32_t timeout_ms) {
    std::unique_lock<std::mutex> hold(mutex);
    woken.wait_for(hold, std::chrono::milliseconds(timeout_ms), [this] { return !waits; });
    waits = false;
}

bool GenericOSUDPSocket::submit(tvrnet_lane lane, const tvrnet_ip& to, const void* data,
                                size_t length) {
    switch (lane) {
    case tvrnet_lane::front_bulk:
        if (front_bulk->empty() && back_bulk->write(to, data, length)) return true;
        return front_bulk->write(to, data, length);
    case tvrnet_lane::front_priority:
        if (front_priority->empty() && back_priority->write(to, data, length)) return true;
        return front_priority->write(to, data, length);
    case tvrnet_lane::bulk: return back_bulk->write(to, data, length);
    case tvrnet_lane::priority: return back_priority->write(to, data, length);
    case tvrnet_lane::artnet: return back_artnet->write(to, data, length);
    }
    return false;
}

bool GenericOSUDPSocket::send_packet_diagnostic(const tvrnet_ip& to, const void* data,
                                                size_t length) {
    diagnostic_packet packet{to, {}, length};
    if (length > packet.bytes.size()) return false;
    std::memcpy(packet.bytes.data(), data, length);
    {
        tvr_lock hold(diagnostic_mutex);
        if (diagnostics.size() >= max_diagnostics) return false;
        diagnostics.push_back(packet);
    }
    diagnostics_wait = true;
    send_sleeper.wake();
    return true;
}

uint32_t GenericOSUDPSocket::packets_sent_to(const tvrnet_ip& to) {
    return destinations.packets_to(to);
}

void GenericOSUDPSocket::send_packet_to_interface(const tvrnet_ip& to, const void* data,
                                                  size_t length) {
    if (fd < 0) return;
    if (interface_index != 0) return send_through_interface(to, data, length);
    const sockaddr_in address = tvrnet_to_system(to);
    (void)::sendto(fd, data, length, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&address),
                   sizeof address);
}

void GenericOSUDPSocket::send_through_interface(const tvrnet_ip& to, const void* data,
                                                size_t length) {
    sockaddr_in address = tvrnet_to_system(to);
    iovec part{const_cast<void*>(data), length};
    alignas(cmsghdr) std::array<uint8_t, CMSG_SPACE(sizeof(in_pktinfo))> control{};
    msghdr message{};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = &part;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    cmsghdr* named = CMSG_FIRSTHDR(&message);
    named->cmsg_level = IPPROTO_IP;
    named->cmsg_type = IP_PKTINFO;
    named->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_ifindex = int(interface_index);
    info.ipi_spec_dst = tvrnet_to_system(interface_ip).sin_addr;
    std::memcpy(CMSG_DATA(named), &info, sizeof info);
    if (::sendmsg(fd, &message, MSG_DONTWAIT) >= 0) return;
    if (errno == ENODEV || errno == EADDRNOTAVAIL || errno == EINVAL || errno == ENETDOWN) {
        interface_index = 0;  // it went; the next turns look for another
        return;
    }
    address = tvrnet_to_system({interface_broadcast.address, to.port});
    (void)::sendto(fd, data, length, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&address),
                   sizeof address);
}

void GenericOSUDPSocket::update(uint64_t now_ms) {
    if (fd < 0) return;
    move_front_packets();
    room_sleeper.wake();
    if (interface_index == 0 && now_ms >= next_interface_ms) {
        next_interface_ms = now_ms + look_again_ms;
        choose_interface(false);
    }
    if (options.ask_diagnostics && now_ms >= next_diagnostics_ms) ask_for_diagnostics(now_ms);
}

void GenericOSUDPSocket::ask_for_diagnostics(uint64_t now_ms) {
    constexpr uint64_t interval_ms = 1000;
    next_diagnostics_ms = now_ms + interval_ms;
    const auto real_ms = uint64_t(tvr_now_s() * 1000.0);
    for (const tvrnet_ip& ip : destinations.spoken_to_since(real_ms - interval_ms)) {
        tvrnet_pkt_diagnostic_request asked;
        asked.sequence = ++diagnostics_sequence;
        asked.sent = destinations.packets_to(ip);
        asked.mac = own_mac;
        asked.seal();
        send_packet_diagnostic(ip, &asked, sizeof asked);
    }
}

void GenericOSUDPSocket::wait(uint32_t timeout_ms) {
    if (!options.threads) {
        const short events = short(batch.done() ? POLLIN : POLLIN | POLLOUT);
        pollfd wanted{fd, events, 0};
        if (!queue.has_more()) (void)::poll(&wanted, 1, int(timeout_ms));
        return;
    }
    node_sleeper.begin();
    if (queue.has_more())
        node_sleeper.end();
    else
        node_sleeper.sleep(timeout_ms);
}
