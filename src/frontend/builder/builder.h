#pragma once

// From syntax tree to program blocks: all static rules of the language live here.
//
// One file for each group of the tree: names, expressions, calls, control flow, functions and
// lambdas, classes, interfaces. The first error ends a compile; it has been reported then.
// Thread: one compile, under the interpreter's lock.

#include <memory>
#include <string_view>
#include <vector>

#include "frontend/program/program_block.h"
#include "frontend/syntax/ast.h"
#include "frontend/syntax/syntax_report.h"

class tvr_namespace;
class tvrscript;

class tvr_asm_builder {
public:
    tvr_asm_builder(tvrscript& script, std::shared_ptr<const tvr_ast> ast,
                    tvr_syntax_report& report);

    // Null after an error.
    tvrptr_strong<tvr_program_block_root> create_program();

private:
    // The namespaces that `using` has opened, inner scopes behind outer ones.
    using used_namespaces = std::vector<tvr_namespace*>;

    bool compile_block(tvr_program_block_routine& block, tvr_ast_list<tvr_ast_node*> nodes,
                       used_namespaces used);
    bool compile_command(tvr_program_block_routine& block, const tvr_ast_node& node,
                         used_namespaces& used);
    bool compile_interface(tvr_program_block_routine& block,
                           const tvr_ast_node_class_def& definition);
    bool build_num_expr(tvr_program_block_routine& block, const tvr_ast_node& expression,
                        bool discard);
    tvr_program_block_class* find_class_def(tvr_program_block_base& block, std::string_view name);
    bool is_strict_code(const tvr_src_token& token) const;

    tvrscript& script;
    std::shared_ptr<const tvr_ast> ast;
    tvr_syntax_report& report;
    tvrptr_strong<tvr_program_block_root> root;
};
