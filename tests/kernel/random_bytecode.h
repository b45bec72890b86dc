#pragma once

// Programs by chance that the verifier accepts, without a compiler in between: every pure
// instruction of the table, over registers that hold the canonical values of one type each.

#include <memory>
#include <string_view>

#include "kernel/ops.h"
#include "random_kernel.h"

namespace tavro::test {

class random_bytecode {
public:
    explicit random_bytecode(chance& decisions) : dice(decisions) {}

    std::shared_ptr<tvrk_program> program() {
        made = std::make_shared<tvrk_program>();
        made->name = "random";
        made->gsize = 1;
        made->gid_x = 2;
        made->gid_y = 3;
        made->gsize_x = 4;
        made->gsize_y = 5;
        made->num_regs = uint16_t(first_register + types * each);
        made->num_ptrs = types;
        made->jit = std::make_shared<tvrk_jit_slot>();
        bind_parameters();
        load_registers();
        const size_t length = 5 + dice.below(40);
        for (size_t i = 0; i < length; ++i) add_instruction();
        add_loop();
        store_registers();
        add(TVRK_END);
        return made;
    }

    kernel_arguments arguments(uint64_t width) {
        kernel_arguments given;
        given.width = width;
        for (size_t t = 0; t < types; ++t) {
            kernel_buffer buffer;
            const size_t size = tvrk_prim_size(prims[t]);
            for (size_t i = 0; i < width * each * size; ++i) {
                buffer.bytes.push_back(uint8_t(dice.bits()));
            }
            given.buffers.push_back(std::move(buffer));
        }
        return given;
    }

private:
    static constexpr size_t types = 6, each = 4;
    static constexpr uint16_t first_register = 12;  // specials, an index, a counter, constants
    static constexpr uint16_t index_register = 6, counter = 7, zero = 8, four = 9;
    static constexpr tvrk_prim prims[types] = {tvrk_prim::i32, tvrk_prim::u32, tvrk_prim::i64,
                                               tvrk_prim::u64, tvrk_prim::f32, tvrk_prim::f64};
    static constexpr const char* suffixes[types] = {"I32", "U32", "I64", "U64", "F32", "F64"};

    uint16_t reg(size_t type) { return uint16_t(first_register + type * each + dice.below(each)); }

    size_t add(uint16_t op, uint16_t a = 0, uint16_t b = 0, uint16_t c = 0, int64_t imm = 0) {
        made->code.push_back({op, a, b, c, imm});
        return made->code.size() - 1;
    }

    void bind_parameters() {
        for (size_t t = 0; t < types; ++t) {
            tvrk_param param;
            param.name = std::string("p") + suffixes[t];
            param.is_pointer = true;
            param.ptr = uint16_t(t);
            param.type = tvrk_scalar(prims[t]);
            param.type.kind = tvrk_type_kind::pointer;
            made->params.push_back(param);
        }
        for (const auto& [where, value] : {std::pair{zero, 0}, std::pair{four, 4}}) {
            tvrk_const constant;
            constant.reg = where;
            constant.prim = tvrk_prim::i64;
            constant.value.i = value;
            made->consts.push_back(constant);
        }
    }

    // Invocation n works on elements 4n to 4n + 3 of every buffer.
    void load_registers() {
        add(TVRK_MUL_X64, index_register, made->gid, four);
        for (size_t t = 0; t < types; ++t) {
            for (size_t i = 0; i < each; ++i) {
                add(memory_op(t, 0), uint16_t(first_register + t * each + i), uint16_t(t),
                    index_register, int64_t(i));
            }
        }
    }
    void store_registers() {
        for (size_t t = 0; t < types; ++t) {
            for (size_t i = 0; i < each; ++i) {
                add(memory_op(t, TVRK_ST_I8 - TVRK_LD_I8), uint16_t(first_register + t * each + i),
                    uint16_t(t), index_register, int64_t(i));
            }
        }
    }
    static uint16_t memory_op(size_t type, size_t form) {
        const size_t row = size_t(prims[type]) - size_t(tvrk_prim::i8);
        return uint16_t(TVRK_LD_I8 + row * 10 + form);
    }

    // The type that an instruction works on, from its name; -1 if it is none of these.
    int type_of(std::string_view name) {
        const std::string_view suffix = name.substr(name.rfind('_') + 1);
        for (size_t t = 0; t < types; ++t) {
            if (suffix == suffixes[t]) return int(t);
        }
        if (suffix == "X64") return int(2 + dice.below(2));
        if (suffix == "S") return dice.below(2) == 0 ? 0 : 2;
        if (suffix == "U") return dice.below(2) == 0 ? 1 : 3;
        if (suffix == "X") return int(dice.below(4));
        return -1;
    }

    void add_instruction() {
        const auto op = uint16_t(dice.below(TVRK_CHKIDX));
        const std::string_view name = tvrk_op_name(op), format = tvrk_op_format(op);
        const int type = type_of(name);
        const tvrk_op_family family = tvrk_family_of(op);
        const bool converts =
            name.starts_with("CVT") || name.starts_with("BOOL") || name.starts_with("TRUNC");
        if (converts) return add_conversion(op, name);
        if (type < 0 || family == tvrk_op_family::DIVIDE_S || name == "NOT_X") return;
        const auto t = size_t(type);
        const bool compares = name.starts_with("CMP");
        if (format == "RRJ") {
            open_jumps.push_back(add(op, reg(t), reg(t)));
        } else if (!tvrk_is_pure(op)) {
            return;
        } else if (format == "DRT") {
            add(op, reg(t), reg(t), uint16_t(dice.below(tvrk_unary_math_count)));
        } else if (format == "DRRT") {
            add(op, reg(t), reg(t), reg(t), int64_t(tvrk_math::pow) + int64_t(dice.below(2)));
        } else if (format == "DRK") {
            const size_t divisor = 2 + dice.below(65534);
            add(op, reg(t), reg(t), uint16_t(divisor), int64_t(~uint64_t(0) / divisor + 1));
        } else if (format == "DRO") {
            add(op, reg(t), reg(t), 0, int64_t(dice.bits()));
        } else if (format == "DRR" || format == "DR") {
            const bool shifts = name.starts_with("SH");
            add(op, reg(compares ? dice.below(4) : t), reg(t), reg(shifts ? dice.below(4) : t));
        }
    }

    void add_conversion(uint16_t op, std::string_view name) {
        if (name.ends_with("INT")) return;  // would trap
        const size_t f32 = 4, f64 = 5;
        if (name.starts_with("TRUNC")) {
            const bool is_signed = name[6] == 'I';
            const bool full = name.ends_with("32");
            add(op, reg(full ? (is_signed ? 0 : 1) : 2), reg(dice.below(4)));
        } else if (name.starts_with("BOOL")) {
            add(op, reg(dice.below(4)), reg(name.ends_with("F32") ? f32 : f64));
        } else {
            const size_t from = name[4] == 'S'   ? dice.below(2) * 2
                                : name[4] == 'U' ? 1 + dice.below(2) * 2
                                : name[5] == '3' ? f32
                                                 : f64;
            add(op, reg(name.ends_with("F32") ? f32 : f64), reg(from));
        }
    }

    // Some turns, more of them for some invocations than for others.
    void add_loop() {
        // Forward, over some of what follows, but not into the loop.
        const size_t begin = made->code.size();
        for (const size_t jump : open_jumps) {
            made->code[jump].imm = int64_t(jump + 1 + dice.below(begin - jump));
        }
        open_jumps.clear();
        add(TVRK_MOV, counter, dice.below(2) == 0 ? zero : made->gid);
        add(TVRK_AND_X, counter, counter, four);
        const size_t top = made->code.size();
        const size_t leave = add(TVRK_JTGT_S, counter, four);
        const size_t length = 1 + dice.below(6);
        for (size_t i = 0; i < length; ++i) add_instruction();
        // Jumps inside stay inside.
        const size_t end = add(TVRK_ADDI_X64, counter, counter, 0, 1);
        for (const size_t jump : open_jumps) made->code[jump].imm = int64_t(end);
        open_jumps.clear();
        add(TVRK_LOOP, 0, 0, 0, int64_t(top));
        made->code[leave].imm = int64_t(made->code.size());
    }

    chance& dice;
    std::shared_ptr<tvrk_program> made;
    std::vector<size_t> open_jumps;
};

}  // namespace tavro::test
