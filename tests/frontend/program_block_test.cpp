#include "frontend/program/program_block.h"

#include <gtest/gtest.h>

#include "program_maker.h"
#include "runtime/object/serialization.h"

namespace {

TEST(program_block, strings_keep_their_places_while_the_table_grows) {
    tvr_program_block_root root;
    constexpr uint32_t count = 10000;
    for (uint32_t i = 0; i < count; ++i)
        ASSERT_EQ(root.local_string_index(std::to_string(i)), i);  // short enough to move about
    for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(root.local_string_index(std::to_string(i)), i);
    EXPECT_EQ(root.strings.size(), count);
}

TEST(program_block, tells_where_an_instruction_came_from) {
    program_maker maker;
    const auto program = maker.make("a = 1;\nb =\n  a;");
    ASSERT_TRUE(program);
    EXPECT_EQ(program->token_at(0)->line, 1u);
    uint32_t last = 0, line = 0;
    for (uint32_t at = 0; at < program->code_size();
         at += tvr_instruction(program->code[at]).size) {
        EXPECT_GE(program->token_at(at)->line, line);
        if (program->code[at] != tvr_op_return_local_var) continue;
        last = at;
        line = 1;
    }
    EXPECT_EQ(program->token_at(last)->line, 3u);
    for (size_t i = 1; i < program->places.size(); ++i)
        EXPECT_LT(program->places[i - 1].offset, program->places[i].offset);
}

TEST(program_block, binary_form_depends_on_the_program_alone) {
    program_maker maker;
    const std::string source =
        "x = 'text'; def f(a, &b = 1) noexcept { try { a; } catch (e) { e; } } "
        "class A { y = 1; def m() { y; } }";
    const auto first = maker.make(source), second = maker.make(source);
    const std::vector<uint8_t> bytes = first->create_binary();
    EXPECT_GT(bytes.size(), first->code_size());
    EXPECT_EQ(bytes.size(), second->create_binary().size());
    EXPECT_EQ(maker.make("x = 'text';")->create_binary(),
              maker.make("x = 'text';")->create_binary());
    EXPECT_NE(maker.make("x = 'text';")->create_binary(),
              maker.make("y = 'text';")->create_binary());
}

TEST(program_block, varints_are_seven_bits_a_byte) {
    const std::pair<uint64_t, std::vector<uint8_t>> rows[] = {
        {0, {0}},
        {127, {127}},
        {128, {0x80, 1}},
        {300, {0xAC, 2}},
        {UINT64_MAX, {255, 255, 255, 255, 255, 255, 255, 255, 255, 1}},
    };
    for (const auto& [value, bytes] : rows) {
        std::vector<uint8_t> out;
        tvr_serialization::write_varint(out, value);
        EXPECT_EQ(out, bytes) << value;
    }
}

}  // namespace
