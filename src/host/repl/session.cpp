#include "host/repl/session.h"

#include <algorithm>
#include <utility>

#include "frontend/syntax/lexer.h"
#include "kernel/script/kernel_extract.h"
#include "runtime/local/global_lock.h"
#include "runtime/log/log.h"
#include "runtime/payload/json_text.h"
#include "runtime/payload/std_json.h"
#include "runtime/script/compiler.h"
#include "runtime/value/records.h"

namespace repl {

namespace {

constexpr std::string_view session_name = "session";
constexpr const char* input_name = "<input>";

bool leaves_value(const tvr_ast_node& node) {
    switch (node.type) {
    case tvr_ast_node_type::node_int:
    case tvr_ast_node_type::node_float:
    case tvr_ast_node_type::node_string:
    case tvr_ast_node_type::node_json_literal:
    case tvr_ast_node_type::node_json:
    case tvr_ast_node_type::node_unary:
    case tvr_ast_node_type::node_binary:
    case tvr_ast_node_type::node_ternary:
    case tvr_ast_node_type::node_function_call:
    case tvr_ast_node_type::node_initializer_list: return true;
    case tvr_ast_node_type::node_variable:
        return static_cast<const tvr_ast_node_variable&>(node).keywords.empty();
    case tvr_ast_node_type::node_function_def:
        return static_cast<const tvr_ast_node_function_def&>(node).lambda;
    default: return false;
    }
}

// `using session;` in front, `return` before the last expression.
void frame_input(tvr_ast& tree) {
    tvr_src_token* name = tree.make_array<tvr_src_token>(1);
    *name = *tree.roots[0]->start;
    name->code = tvr_token_code::identifier;
    name->set_text(session_name);
    auto* opening = tree.make<tvr_ast_node_using_namespace>(name);
    opening->path = tree.make_list<const tvr_src_token*>(1, [&](size_t) { return name; });
    opening->import = false;

    tvr_ast_node* last = tree.roots[tree.roots.size() - 1];
    if (leaves_value(*last)) {
        auto* leaving = tree.make<tvr_ast_node_return>(last->start);
        leaving->value = last;
        last = leaving;
    }
    const auto before = tree.roots;
    tree.roots = tree.make_list<tvr_ast_node*>(before.size() + 1, [&](size_t i) -> tvr_ast_node* {
        if (i == 0) return opening;
        return i == before.size() ? last : before[i - 1];
    });
}

// Whether the input has a function of this name: lambdas and inner blocks have names as well.
bool defines_function(const tvr_program_block_root& program, std::string_view name) {
    const auto& nodes = program.ast->roots;
    return std::any_of(nodes.begin(), nodes.end(), [&](const tvr_ast_node* node) {
        if (node->type != tvr_ast_node_type::node_function_def) return false;
        const auto& definition = static_cast<const tvr_ast_node_function_def&>(*node);
        return !definition.lambda && definition.name->text() == name;
    });
}

// Hears nothing: for texts that are only tried.
class deaf {
public:
    deaf() : outer(std::exchange(tvr_local().log, &nobody)) {}
    ~deaf() { tvr_local().log = outer; }
    deaf(const deaf&) = delete;
    deaf& operator=(const deaf&) = delete;

private:
    tvr_log_base nobody;
    tvr_log_base* outer;
};

}  // namespace

session::session(tvrscript& of) : script(of), space(of.root_namespace.child(session_name)) {
    space.description = "What has been defined at the prompt.";
}

bool session::parses(const std::string& text) {
    const deaf silence;
    tvr_lexer lexer;
    return lexer.load_source(text, input_name) != nullptr;
}

tvrptr_strong<tvr_task> session::start(std::string text) {
    const tvr_global_lock hold;
    tvr_kernel_extract kernels;
    tvr_lexer lexer(&kernels);
    std::shared_ptr<tvr_ast> tree = lexer.load_source(std::move(text), input_name);
    if (tree == nullptr || tree->roots.empty()) return {};
    frame_input(*tree);
    const auto program = script.create_compiler()->create_program_from_ast(tree);
    if (!program) return {};
    tvrptr_strong<tvr_task> root = program->create_task(nullptr);
    if (!root) return {};
    root->program = program;
    roots.push_back(root);
    keep_names(*root, *program);
    root->task_schedule(0);
    return root;
}

// Before the input runs: should it fail, what it has done until then stays.
void session::keep_names(tvr_task& root, tvr_program_block_root& program) {
    for (uint32_t i = 0; i < program.variables.size(); ++i) {
        keep_value(program.variables.name_at(i), tvrvar_shared(root.root_frame->cells[i]));
    }
    for (const auto& block : program.sub_blocks) {
        if (!defines_function(program, block->name)) continue;
        tvrvar_shared function = tvrvar_shared::make();
        function->as_function(block.get(), &root);
        keep_value(block->name, std::move(function));
    }
    for (const auto& definition : program.class_defs) {
        tvrvar_shared class_def = tvrvar_shared::make();
        class_def->as_class_def(definition.get());
        keep_value(definition->name, std::move(class_def));
    }
}

void session::keep_value(std::string_view name, tvrvar_shared value) {
    kept_values.push_back(value);
    space.add_variable(name) = std::move(value);
}

std::string session::text_of_result(tvr_task& task) {
    constexpr size_t widest = 100;  // of a json on one line
    const tvr_global_lock hold;
    if (!task.result || task.state != tvr_task_state::finished) return {};
    const tvrvar_shared value = task.result->deref();
    std::string text;
    switch (value->type) {
    case tvrvar_type_none: return {};
    case tvrvar_type_class: return "<" + value->string_value() + ">";
    case tvrvar_type_class_def: return "<class>";
    case tvrvar_type_function:
    case tvrvar_type_ext_function: return "<function>";
    case tvrvar_type_string: tvrvar_to_json(*value, text, true); return text;
    case tvrvar_type_json:
        tvrvar_to_json(*value, text, true);
        if (text.size() <= widest) return text;
        text.clear();
        tvrvar_to_json(*value, text, false);
        return text;
    default: return value->string_value();
    }
}

}  // namespace repl
