#pragma once

// The syntax tree of a compile unit, with everything it points at. See ast_node.h for its classes.
//
// Read-only once stage 3 has made it; then any thread may read it.

#include <algorithm>
#include <memory>
#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "frontend/source/large_memory.h"
#include "frontend/syntax/ast_node.h"
#include "frontend/syntax/command.h"

class tvr_ast {
public:
    explicit tvr_ast(std::unique_ptr<tvr_src_command_view> of);
    tvr_ast(const tvr_ast&) = delete;
    tvr_ast& operator=(const tvr_ast&) = delete;

    // The statements of the unit in source order.
    tvr_ast_list<tvr_ast_node*> roots;

    const tvr_src_command_view& command_view() const { return *commands; }
    const tvr_src_token_view& token_view() const { return *commands->tokens; }

    // The tree as text, one node a line, two blanks a level: for people and tests.
    std::string print() const;

    // For stage 3: what these make lives as long as the tree.
    template <typename T>
    T* make(const tvr_src_token* start) {
        T* node = new (arena.allocate(sizeof(T), alignof(T))) T{};
        node->type = T::node_type;
        node->start = start;
        return node;
    }
    template <typename T>
    T* make_array(size_t count) {
        return new (arena.allocate(sizeof(T) * count, alignof(T))) T[count];
    }
    // A list of the results of `item_of` for 0 to below count.
    template <typename T, typename ITEM_OF>
    tvr_ast_list<T> make_list(size_t count, ITEM_OF item_of) {
        if (count == 0) return {};
        constexpr size_t item_bytes =
            sizeof(T);  // NOLINT(bugprone-sizeof-expression): of pointers too
        auto* head = static_cast<size_t*>(
            arena.allocate(sizeof(size_t) + item_bytes * count, alignof(size_t)));
        *head = count;
        T* items = reinterpret_cast<T*>(head + 1);
        for (size_t i = 0; i < count; ++i) new (items + i) T(item_of(i));
        return {items};
    }
    std::string_view keep_text(std::string_view text);

private:
    std::unique_ptr<tvr_src_command_view> commands;
    tvr_large_memory memory;
    std::pmr::monotonic_buffer_resource arena;
};
