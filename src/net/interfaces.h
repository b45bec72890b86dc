#pragma once

// The network interfaces of this machine. Any thread; asks the system each time.

#include <optional>
#include <vector>

#include "net/address.h"

struct tvrnet_interface {
    std::string name;
    unsigned index = 0;  // the system's number of it
    tvrnet_ip ip;        // port 0
    tvrnet_ip broadcast;
    tvrnet_mac mac;  // all zero when it has none
};

// The first that is up, can broadcast and has an IPv4 address; loopback is never chosen. What is
// looked at is told on standard error when `tell` is set.
std::optional<tvrnet_interface> tvrnet_usable_interface(bool tell);
