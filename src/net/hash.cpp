#include "net/hash.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <cstring>

uint32_t tvrnet_hash(const void* data, size_t length) {
    if (data == nullptr) return tvrnet_hash_of_nothing;
    return XXH32(data, length, uint32_t(length));
}

uint32_t tvrnet_hash(const char* text) {
    return text == nullptr ? tvrnet_hash_of_nothing : tvrnet_hash(text, std::strlen(text));
}

uint32_t tvrnet_hash(const std::string& text) {
    return tvrnet_hash(text.data(), text.size());
}
