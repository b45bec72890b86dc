#pragma once

// The key of an entry: a text that does not change, shared by the entries that were copied from
// each other. No key is one null word. Counts are plain: the thread that runs scripts.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

class tvr_json_key {
public:
    tvr_json_key() = default;
    // The empty text is no key.
    explicit tvr_json_key(std::string_view text) : held(text.empty() ? nullptr : make(text)) {}
    tvr_json_key(const tvr_json_key& other) : held(other.held) {
        if (held != nullptr) ++held->owners;
    }
    tvr_json_key(tvr_json_key&& other) noexcept : held(std::exchange(other.held, nullptr)) {}
    ~tvr_json_key() {
        if (held != nullptr && --held->owners == 0) std::free(held);
    }
    tvr_json_key& operator=(tvr_json_key other) noexcept {
        std::swap(held, other.held);
        return *this;
    }

    explicit operator bool() const { return held != nullptr; }
    std::string_view text() const {
        return held != nullptr ? std::string_view(held->text(), held->size) : std::string_view();
    }

    // Where it stands in memory, for who wants it fetched early.
    const void* address() const { return held; }

private:
    struct block {
        size_t size;  // of the text behind it
        size_t owners;

        char* text() { return reinterpret_cast<char*>(this + 1); }
    };

    static block* make(std::string_view text) {
        void* memory = std::malloc(sizeof(block) + text.size());
        if (memory == nullptr) throw std::bad_alloc();
        auto* made = new (memory) block{text.size(), 1};
        std::memcpy(made->text(), text.data(), text.size());
        return made;
    }

    block* held = nullptr;
};
