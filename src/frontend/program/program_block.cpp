#include "frontend/program/program_block.h"

#include <algorithm>
#include <cstring>
#include <iterator>

// Of equal names the last one counts.
uint32_t tvr_program_block_symbol_table::add(std::string_view name) {
    const auto index = uint32_t(names.size());
    names.emplace_back(name);
    if (names.size() <= few) return index;
    if (places.empty()) {
        for (uint32_t i = 0; i < index; ++i) places.insert_or_assign(names[i], i);
    }
    places.insert_or_assign(names.back(), index);
    return index;
}

uint32_t tvr_program_block_symbol_table::find(std::string_view name) const {
    if (names.size() <= few) {
        for (size_t i = names.size(); i > 0; --i) {
            if (names[i - 1] == name) return uint32_t(i - 1);
        }
        return none;
    }
    const auto found = places.find(name);
    return found != places.end() ? found->second : none;
}

uint32_t tvr_program_block_routine::push_to_instr_buffer(const void* instruction, size_t bytes,
                                                         const tvr_src_token* token) {
    const auto offset = uint32_t(code.size());
    const auto* from = static_cast<const uint8_t*>(instruction);
    code.insert(code.end(), from, from + bytes);
    if (places.empty() || places.back().token != token) places.push_back({offset, token});
    return offset;
}

void tvr_program_block_routine::set_jump(uint32_t at, uint32_t target) {
    const auto distance = int32_t(target - at);
    std::memcpy(&code[at + 4], &distance, sizeof distance);
}

const tvr_src_token* tvr_program_block_routine::token_at(uint32_t offset) const {
    const auto behind =
        std::upper_bound(places.begin(), places.end(), offset,
                         [](uint32_t at, const source_place& place) { return at < place.offset; });
    return behind != places.begin() ? std::prev(behind)->token : nullptr;
}

void tvr_program_block_routine::clear() {
    code.clear();
    places.clear();
    num_member_caches = 0;
    continue_offset = 0;
}

uint32_t tvr_program_block_routine::create_var(std::string_view variable, bool is_static) {
    if (is_static) {
        statics.emplace_back();
        return static_names.add(variable);
    }
    variable_flags.push_back(0);
    return variables.add(variable);
}

uint32_t tvr_program_block_routine::find_var_local(std::string_view variable) const {
    return variables.find(variable);
}

uint32_t tvr_program_block_root::local_string_index(std::string_view text) {
    const auto known = string_places.find(text);
    if (known != string_places.end()) return known->second;
    if (strings.size() == strings.capacity()) {
        // Short texts move with their strings, and the keys look at them.
        constexpr size_t first_strings = 64;
        strings.reserve(std::max(first_strings, strings.size() * 2));
        string_places.clear();
        for (size_t i = 0; i < strings.size(); ++i) string_places.emplace(strings[i], uint32_t(i));
    }
    const auto index = uint32_t(strings.size());
    string_places.emplace(strings.emplace_back(text), index);
    return index;
}

bool tvr_program_block_class::is_derived_from(const tvr_program_block_class& other) const {
    return std::any_of(levels.begin(), levels.end(), [&](const inheritance_level& level) {
        return level.definition.get() == &other;
    });
}

const tvr_program_block_class::member_info* tvr_program_block_class::find_class_member(
    std::string_view member) const {
    const auto found = vid_table.find(member);
    return found != vid_table.end() ? &found->second : nullptr;
}

// A method that does something comes before one that is only promised.
const tvr_program_block_class::method_info* tvr_program_block_class::find_method(
    std::string_view method, size_t from_level) const {
    const method_info* promised = nullptr;
    for (size_t level = from_level; level < levels.size(); ++level) {
        for (const method_info& candidate : levels[level].methods) {
            if (candidate.name != method) continue;
            if (!candidate.is_abstract) return &candidate;
            if (promised == nullptr) promised = &candidate;
        }
    }
    return promised;
}
