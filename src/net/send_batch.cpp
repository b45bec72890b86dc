#include "net/send_batch.h"

#include <arpa/inet.h>

#include <cstring>

sockaddr_in tvrnet_to_system(const tvrnet_ip& ip) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(ip.port);
    std::memcpy(&address.sin_addr, ip.address.data(), ip.address.size());
    return address;
}

tvrnet_ip tvrnet_from_system(const sockaddr_in& address) {
    tvrnet_ip ip;
    ip.port = ntohs(address.sin_port);
    std::memcpy(ip.address.data(), &address.sin_addr, ip.address.size());
    return ip;
}

tvrnet_send_batch::tvrnet_send_batch() {
    for (size_t i = 0; i < capacity; i++) {
        messages[i] = {};
        messages[i].msg_hdr.msg_name = &addresses[i];
        messages[i].msg_hdr.msg_namelen = sizeof addresses[i];
        messages[i].msg_hdr.msg_iov = &parts[i];
        messages[i].msg_hdr.msg_iovlen = 1;
    }
}

void tvrnet_send_batch::add(const tvrnet_ip& to, const uint8_t* data, size_t length) {
    addresses[count] = tvrnet_to_system(to);
    parts[count] = {const_cast<uint8_t*>(data), length};  // the system only reads it
    destinations[count] = to;
    count++;
}

void tvrnet_send_batch::clear() {
    count = 0;
    sent = 0;
}
