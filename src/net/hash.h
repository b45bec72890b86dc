#pragma once

// The hash of TavroNet: XXH32, seeded with the length of the input. Any thread.

#include <cstddef>
#include <cstdint>
#include <string>

// A null pointer gives the hash of nothing.
uint32_t tvrnet_hash(const void* data, size_t length);

// Over the bytes without a terminator: the hash by which commands are known.
uint32_t tvrnet_hash(const char* text);
uint32_t tvrnet_hash(const std::string& text);

inline constexpr uint32_t tvrnet_hash_of_nothing = 0x02CC5D05;
