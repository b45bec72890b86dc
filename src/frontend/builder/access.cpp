// Chains: an operand with members, indices, calls and increments behind it, of any length.

#include "frontend/builder/builder.h"

using node_type = tvr_ast_node_type;

bool tvr_asm_builder::chain::next_is_method() const {
    return next_is(node_type::node_json_literal) && links.size() > 1 &&
           links[links.size() - 2]->type == node_type::node_function_call;
}

tvr_asm_builder::chain tvr_asm_builder::chain_of(const tvr_ast_node& node, access mode) {
    chain made{&node, {}, mode};
    for (const auto* left = tvr_left_of_link(node); left != nullptr;
         left = tvr_left_of_link(*left)) {
        made.links.push_back(made.value);
        made.value = left;
    }
    return made;
}

bool tvr_asm_builder::compile_chain(const tvr_ast_node& node, access mode) {
    chain links = chain_of(node, mode);
    return compile_links(links);
}

bool tvr_asm_builder::compile_links(chain& links) {
    if (!compile_chain_start(links)) return false;
    while (!links.links.empty()) {
        if (!compile_link(links)) return false;
    }
    return true;
}

// The leftmost operand, with as many links as it takes to know what is meant.
bool tvr_asm_builder::compile_chain_start(chain& links) {
    const tvr_ast_node& value = *links.value;
    if (value.type != node_type::node_variable) return compile_value(value);
    if (value.start->is(code::word_super)) return compile_super_call(links);
    bool compiled = false;
    if (compile_literal_word(value.start, compiled)) {
        if (!compiled || !value.start->is(code::word_this) || !links.next_is_method())
            return compiled;
        const token method = links.next()->as<tvr_ast_node_json_literal>().name;
        links.links.pop_back();
        const auto& call = links.next()->as<call_node>();
        links.links.pop_back();
        return compile_method_call(call, method, true);
    }
    return compile_start_name(links);
}

bool tvr_asm_builder::compile_start_name(chain& links) {
    const token name = links.value->start;
    found what = find_name(name->text());
    const bool called = links.next_is(node_type::node_function_call);
    switch (what.is) {
    case found::kind::name_space: return compile_path(links, std::move(what));
    case found::kind::native_function:
    case found::kind::native_variable: return compile_native(links, what, name);
    case found::kind::member:
    case found::kind::declared:
        if (!called) break;
        {
            const auto& call = links.next()->as<call_node>();
            links.links.pop_back();
            return what.is == found::kind::member ? compile_this_call(call, name)
                                                  : compile_known_call(call, what, name);
        }
    default: break;
    }
    links.assignable = what.is != found::kind::declared;
    return compile_found_name(what, name);
}

bool tvr_asm_builder::compile_link(chain& links) {
    const tvr_ast_node& link = *links.next();
    const bool method = links.next_is_method();
    links.links.pop_back();
    switch (link.type) {
    case node_type::node_json_literal: {
        const auto& member = link.as<tvr_ast_node_json_literal>();
        if (member.scoped) return refuse(member.name, "Cannot resolve namespace.");
        if (!method) return compile_member(links, member);
        const auto& call = links.next()->as<call_node>();
        links.links.pop_back();
        links.assignable = false;
        return compile_method_call(call, member.name, false);
    }
    case node_type::node_json: return compile_index(links, link.as<tvr_ast_node_json>());
    case node_type::node_function_call:
        links.assignable = false;
        return compile_call(link.as<call_node>());
    default: {
        const auto& count = link.as<tvr_ast_node_unary>();
        if (!links.assignable) return refuse(count.op, "Cannot assign to illegal expression.");
        links.assignable = false;
        emit_byte(count.op->is(code::increment) ? tvr_op_inc : tvr_op_dec, 1, count.op);
        return true;
    }
    }
}

bool tvr_asm_builder::compile_member(chain& links, const tvr_ast_node_json_literal& node) {
    uint8_t flags = 0;
    if (links.mode == access::optional) flags = tvr_member_optional;
    if (links.mode == access::target && links.links.empty()) flags = tvr_member_target;
    emit_member(node.name->text(), flags, node.name);
    links.assignable = true;
    return true;
}

bool tvr_asm_builder::compile_index(chain& links, const tvr_ast_node_json& node) {
    if (!compile_pushed(*node.index)) return false;
    emit_element(tvr_op_json_expression, links.mode == access::optional ? tvr_member_optional : 0,
                 node.index->start);
    links.assignable = true;
    return true;
}

void tvr_asm_builder::emit_member(std::string_view name, uint8_t flags, token at) {
    emit(tvr_instruction_draft(tvr_op_json_literal)
             .field(1, flags)
             .field(4, root->local_string_index(name))
             .field(8, here->block->num_member_caches++)
             .field(16, here->of_class),
         at);
}

void tvr_asm_builder::emit_element(tvr_opcode opcode, uint8_t flags, token at) {
    emit(tvr_instruction_draft(opcode)
             .field(1, flags)
             .field(4, here->block->num_member_caches++)
             .field(8, here->of_class),
         at);
}
