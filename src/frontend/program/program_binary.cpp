// The binary form of a program. It is only written: programs are always compiled from source.

#include "frontend/program/program_block.h"
#include "runtime/log/log.h"
#include "runtime/object/serialization.h"

namespace {

using tvr_serialization::writer;

void write_names(writer& to, const tvr_program_block_symbol_table& names) {
    to.write_varint(names.size());
    for (uint32_t i = 0; i < names.size(); ++i) to.write_string_raw(names.name_at(i));
}

void write_traits(writer& to, const tvr_program_block_routine& block) {
    to.write_varint(uint64_t(block.kind));
    to.write_varint(uint64_t(block.is_try) | uint64_t(block.no_except) << 1 |
                    uint64_t(block.is_strict) << 2);
    to.write_varint(block.num_params);
    to.write_varint(block.num_captures);
    to.write_varint(block.continue_offset);
    // A default's block is counted from 1; 0 stands for none.
    for (const uint32_t sub_block : block.default_blocks) to.write_varint(uint64_t(sub_block) + 1);
}

}  // namespace

bool tvr_program_block_routine::to_binary(std::vector<uint8_t>& out) {
    writer to(out);
    to.write_string_raw(name);
    write_traits(to, *this);
    write_names(to, variables);
    to.write_bytes(variable_flags.data(), variable_flags.size());
    write_names(to, static_names);
    to.write_bytes(code.data(), code.size());
    to.write_varint(sub_blocks.size());
    for (const auto& inner : sub_blocks) {
        if (!inner->to_binary(out)) return false;
    }
    to.write_varint(catch_block ? 1 : 0);
    if (!class_defs.empty())
        tvr_log().log(
            "(internal todo) Dont forget to serialize class_def variables in program_block when "
            "creating exe!");
    return !catch_block || catch_block->to_binary(out);
}

std::vector<uint8_t> tvr_program_block_root::create_binary() {
    std::vector<uint8_t> out;
    writer to(out);
    to.write_varint(strings.size());
    for (const std::string& text : strings) to.write_string_raw(text);
    if (!to_binary(out)) out.clear();
    return out;
}
