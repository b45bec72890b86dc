#pragma once

// Base64 with the standard alphabet and padding, the form in which bytes travel in lines.

#include <cstdint>
#include <span>
#include <string>

namespace bridge_sim {

std::string base64_encode(std::span<const uint8_t> data);

}  // namespace bridge_sim
