#include "runtime/memory/pool_report.h"

#include <array>
#include <cstdio>

#include "base/clock.h"
#include "runtime/log/log.h"

namespace {

// Numbers of magic are shown like the addresses beside them.
std::string as_address(uint32_t number) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%x", number);
    return text.data();
}

}  // namespace

void tvr_pool_report::double_allocate() {
    tvr_log().err("Attempting to allocate an already allocated chunk! (double allocate?) !");
}

void tvr_pool_report::double_free() {
    tvr_log().err("Attempting to deallocate unallocated chunk (double free?) !");
}

// Said once a second at most: a script that fills the memory asks many times.
void tvr_pool_report::no_memory() {
    constexpr double pause_s = 1;
    static constinit thread_local double quiet_until = 0;  // s, steady clock
    if (tvr_now_s() < quiet_until) return;
    quiet_until = tvr_now_s() + pause_s;
    tvr_log().err("Failed to allocate a pool chunk!");
}

void tvr_pool_report::chunks_left() {
    tvr_log().err("There are still pool chunks allocated!");
}

void tvr_pool_report::wrong_magic(uint32_t found, uint32_t wanted) {
    tvr_log().err("invalid pool magic num: ", as_address(found), " vs ", as_address(wanted), " ");
}

void tvr_pool_report::no_chunk_of(uint8_t slot) {
    tvr_log().err("invalid variable pool memory! ", int(slot), " ");
}

void tvr_pool_report::wrong_slot(const void* element, const void* chunk, uint8_t says, uint8_t is) {
    tvr_log().err("Seems like variable ", element, " belongs to pool ", chunk, ", offset was ",
                  int(says), ", but actually is ", int(is), ".");
}

void tvr_pool_report::already_freed() {
    tvr_log().err("Additionally, the variable was already free'd. Check for mem corruptions.");
}
