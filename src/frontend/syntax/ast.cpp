#include "frontend/syntax/ast.h"

namespace {

// Most trees fit into the arena's first block.
size_t first_arena_bytes(const tvr_src_command_view& commands) {
    constexpr size_t least_bytes = 1024, usual_token_bytes = 20;
    return least_bytes + usual_token_bytes * commands.tokens->tokens.size();
}

}  // namespace

tvr_ast::tvr_ast(std::unique_ptr<tvr_src_command_view> of)
    : commands(std::move(of)), arena(first_arena_bytes(*commands), &memory) {}

std::string_view tvr_ast::keep_text(std::string_view text) {
    char* kept = make_array<char>(text.size());
    std::copy(text.begin(), text.end(), kept);
    return {kept, text.size()};
}

const char* tvr_ast_node_type_name(tvr_ast_node_type type) {
    switch (type) {
#define TVR_NODE_NAME(name) \
    case tvr_ast_node_type::node_##name: return #name;
        TVR_AST_NODES(TVR_NODE_NAME)
#undef TVR_NODE_NAME
    }
    return "";
}
