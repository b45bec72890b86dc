#include "net/interfaces.h"

#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <netpacket/packet.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "net/send_batch.h"

namespace {

tvrnet_ip ip_of(const sockaddr* address) {
    if (address == nullptr || address->sa_family != AF_INET) return {};
    sockaddr_in inet;
    std::memcpy(&inet, address, sizeof inet);
    tvrnet_ip ip = tvrnet_from_system(inet);
    ip.port = 0;
    return ip;
}

// The walk gives each interface once for every family: this finds the line with its MAC.
tvrnet_mac mac_of(const ifaddrs* all, const char* name) {
    tvrnet_mac mac;
    for (const ifaddrs* at = all; at != nullptr; at = at->ifa_next) {
        const bool link = at->ifa_addr != nullptr && at->ifa_addr->sa_family == AF_PACKET;
        if (!link || std::strcmp(at->ifa_name, name) != 0) continue;
        sockaddr_ll address;
        std::memcpy(&address, at->ifa_addr, sizeof address);
        if (address.sll_halen == mac.bytes.size()) {
            std::copy_n(address.sll_addr, mac.bytes.size(), mac.bytes.begin());
        }
    }
    return mac;
}

std::string dotted(const tvrnet_ip& ip) {
    const std::string text = tvrnet_text(ip);
    return text.substr(0, text.find(':'));
}

bool is_usable(const ifaddrs& entry, bool tell) {
    if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_INET) return false;
    const std::string ip = dotted(ip_of(entry.ifa_addr));
    if (tell) std::fprintf(stderr, "%s IP Address %s\n", entry.ifa_name, ip.c_str());
    if ((entry.ifa_flags & IFF_LOOPBACK) != 0 || ip == "127.0.0.1") {
        if (tell) std::fprintf(stderr, "skip localhost...\n");
        return false;
    }
    return (entry.ifa_flags & IFF_UP) != 0 && (entry.ifa_flags & IFF_BROADCAST) != 0;
}

}  // namespace

std::optional<tvrnet_interface> tvrnet_usable_interface(bool tell) {
    ifaddrs* all = nullptr;
    if (getifaddrs(&all) != 0) {
        if (tell) std::perror("getifaddrs");
        return std::nullopt;
    }
    std::optional<tvrnet_interface> chosen;
    for (const ifaddrs* at = all; at != nullptr && !chosen; at = at->ifa_next) {
        if (!is_usable(*at, tell)) continue;
        const unsigned index = if_nametoindex(at->ifa_name);
        chosen = {at->ifa_name, index, ip_of(at->ifa_addr), ip_of(at->ifa_broadaddr),
                  mac_of(all, at->ifa_name)};
        if (tell) {
            std::fprintf(stderr, "taking IP %s : %u\n", dotted(chosen->ip).c_str(), index);
        }
    }
    freeifaddrs(all);
    return chosen;
}
