#include "frontend/syntax/ast.h"

namespace {

constexpr size_t first_arena_bytes = 4096;

}  // namespace

tvr_ast::tvr_ast(std::unique_ptr<tvr_src_command_view> of)
    : commands(std::move(of)), arena(first_arena_bytes) {}

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
