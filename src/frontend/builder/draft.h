#pragma once

// An instruction in the making: an opcode, and fields put where the instruction table wants them.
// All other bytes are zero. Thread: one compile.

#include <array>
#include <cstdint>
#include <cstring>

#include "frontend/program/instruction.h"

class tvr_instruction_draft {
public:
    explicit tvr_instruction_draft(tvr_opcode opcode) { bytes[0] = opcode; }

    template <typename T>
    tvr_instruction_draft& field(size_t position, T value) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): of pointers too
        std::memcpy(&bytes[position], &value, sizeof value);
        return *this;
    }
    const uint8_t* data() const { return bytes.data(); }
    size_t size() const { return tvr_instruction(bytes[0]).size; }

private:
    static constexpr size_t longest = 32;  // of those that are written here

    std::array<uint8_t, longest> bytes{};
};
