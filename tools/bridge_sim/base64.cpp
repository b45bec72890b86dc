#include "bridge_sim/base64.h"

namespace bridge_sim {

std::string base64_encode(std::span<const uint8_t> data) {
    constexpr char symbols[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((data.size() + 2) / 3 * 4);
    for (size_t i = 0; i < data.size(); i += 3) {
        const size_t left = data.size() - i;
        uint32_t group = uint32_t(data[i]) << 16;
        if (left > 1) group |= uint32_t(data[i + 1]) << 8;
        if (left > 2) group |= data[i + 2];
        out += symbols[group >> 18];
        out += symbols[group >> 12 & 63];
        out += left > 1 ? symbols[group >> 6 & 63] : '=';
        out += left > 2 ? symbols[group & 63] : '=';
    }
    return out;
}

}  // namespace bridge_sim
