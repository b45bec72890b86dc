// The tables of a class: its bases, members and methods, before any of its code is compiled.
//
// Members of the bases come first, each name once, so that what several bases share is one member.
// Of a class and its bases, the class that stands first and implements a method has the say.

#include <algorithm>

#include "frontend/builder/builder.h"
#include "runtime/log/log.h"
#include "runtime/value/operators.h"

using node_type = tvr_ast_node_type;
using class_block = tvr_program_block_class;

namespace {

constexpr uint32_t no_variable = tvr_program_block_symbol_table::none;

// Takes over what a base has: members into our slots, operators and constructors that nobody in
// front of it has.
void inherit(class_block& made, class_block& base) {
    class_block::base_class link;
    link.definition.acquire(&base);
    for (uint32_t i = 0; i < base.variables.size(); ++i) {
        const std::string& name = base.variables.name_at(i);
        uint32_t slot = made.find_var_local(name);
        if (slot == no_variable) slot = made.create_var(name, false);
        link.slots.push_back(slot);
        class_block::member_info info = *base.find_class_member(name);
        info.slot = slot;
        made.vid_table.try_emplace(name, info);
    }
    made.bases.push_back(std::move(link));
    for (size_t i = 0; i < made.operators.size(); ++i) {
        if (!made.operators[i]) made.operators[i] = base.operators[i];
    }
    if (!made.constructor) made.constructor = base.constructor;
    if (!made.destructor) made.destructor = base.destructor;
    for (const std::string& contract : base.interfaces) made.interfaces.push_back(contract);
}

bool has_level(const class_block& made, const class_block* definition) {
    return std::any_of(made.levels.begin(), made.levels.end(),
                       [&](const auto& level) { return level.definition.get() == definition; });
}

// False when there are more than a class may have.
bool add_levels_of_bases(class_block& made) {
    for (const class_block::base_class& base : made.bases) {
        for (const class_block::inheritance_level& level : base.definition.get()->levels) {
            if (has_level(made, level.definition.get())) continue;
            if (made.levels.size() == tvr_max_class_levels) return false;
            made.levels.push_back(level);
        }
    }
    return true;
}

void collect_abstract_methods(class_block& made) {
    std::unordered_set<std::string_view> seen;
    for (const class_block::inheritance_level& level : made.levels) {
        for (const class_block::method_info& method : level.methods) {
            if (!method.is_abstract || !seen.insert(method.name).second) continue;
            if (made.find_method(method.name, 0)->is_abstract)
                made.abstract_methods.push_back(method.name);
        }
    }
}

// The operators and constructors of the bases stand aside for the class's own.
void take_own_specials(class_block& made, const class_block& own) {
    for (size_t i = 0; i < made.operators.size(); ++i) {
        if (own.operators[i]) made.operators[i] = own.operators[i];
    }
    if (own.constructor) made.constructor = own.constructor;
    if (own.destructor) made.destructor = own.destructor;
}

}  // namespace

bool tvr_asm_builder::declare_class(const tvr_ast_node_class_def& def) {
    if (def.is_interface) return compile_interface(def);
    tvr_log().log("Compiling class: ", def.name->text());
    if (!check_class_name(def)) return false;
    auto* made = new class_block();
    const uint32_t sub_block =
        add_sub_block(made, def.name->text(), tvr_block_kind::function, def.start);
    here->block->class_defs.emplace_back(made);
    made_for[&def] = made;
    made->levels.emplace_back().definition.acquire(made);
    if (!add_bases(*made, def)) return false;
    here->declared[def.name->text()] = {tvr_declared_name::kind::class_def, sub_block, made, &def,
                                        nullptr};
    tvr_code_scope scope;
    scope.block = made;
    scope.is = tvr_code_scope::role::class_body;
    const open_scope opened(*this, scope);
    if (!add_own(*made, def)) return false;
    if (!add_levels_of_bases(*made))
        return refuse(def.name, "Class '", def.name->text(),
                      "' derives from too many classes (limit ", tvr_max_class_levels - 1, ").");
    collect_abstract_methods(*made);
    return check_members(*made, def);
}

bool tvr_asm_builder::check_class_name(const tvr_ast_node_class_def& def) {
    const std::string_view name = def.name->text();
    if (!def.keywords.empty()) {
        for (const tvr_ast_word& word : def.keywords)
            tvr_log().log("Class keyword: ", word.word->text());
        return refuse(def.keywords[0].word, "TODO: implement class keywords");
    }
    if (find_interface(name) != nullptr)
        return refuse(def.name, "Class '", name, "' has the name of an interface.");
    if (here->declared.count(name) > 0)
        return refuse(def.name, "Class '", name, "' double definition.");
    return true;
}

bool tvr_asm_builder::add_bases(class_block& made, const tvr_ast_node_class_def& def) {
    for (size_t i = 0; i < def.bases.size(); ++i) {
        if (!add_base(made, def, i)) return false;
    }
    return true;
}

bool tvr_asm_builder::add_base(class_block& made, const tvr_ast_node_class_def& def, size_t place) {
    const token base = def.bases[place];
    if (base->text() == def.name->text())
        return refuse(base, "'", base->text(), "' cannot inherit from itself.");
    for (size_t i = 0; i < place; ++i) {
        if (def.bases[i]->text() == base->text())
            return refuse(base, "Base class '", base->text(), "' is listed twice.");
    }
    if (const tvr_declared_name* contract = find_interface(base->text()); contract != nullptr) {
        if (place == 0)
            tvr_log().verbose("'", base->text(), "' is an interface, it is no base class: '",
                              made.name, "' satisfies it by having its methods.");
        made.interfaces.emplace_back(base->text());
        return true;
    }
    class_block* definition = find_class_def(base->text());
    if (definition == nullptr)
        return refuse(base, "Base class '", base->text(),
                      "' does not exist (it has to be defined before '", made.name, "').");
    inherit(made, *definition);
    return true;
}

bool tvr_asm_builder::add_own(class_block& made, const tvr_ast_node_class_def& def) {
    class_block own;  // operators and constructors only
    std::swap(own.operators, made.operators);
    std::swap(own.constructor, made.constructor);
    std::swap(own.destructor, made.destructor);
    for (const tvr_ast_node* node : def.members) {
        if (!add_statement(made, *node)) return false;
    }
    std::swap(own.operators, made.operators);
    std::swap(own.constructor, made.constructor);
    std::swap(own.destructor, made.destructor);
    take_own_specials(made, own);
    return true;
}

bool tvr_asm_builder::add_statement(class_block& made, const tvr_ast_node& node) {
    switch (node.type) {
    case node_type::node_noop: return true;
    case node_type::node_variable:
        return add_member(made, node.start, node.as<tvr_ast_node_variable>().keywords);
    case node_type::node_assign: return add_assigned(made, node.as<tvr_ast_node_assign>());
    case node_type::node_function_def:
        return add_method(made, node.as<tvr_ast_node_function_def>());
    case node_type::node_multi_command:
        for (const tvr_ast_node* part : node.as<tvr_ast_node_multi_command>().commands) {
            if (!add_statement(made, *part)) return false;
        }
        return true;
    case node_type::node_class_def:
        return refuse(node.start, "Classes in classes not yet implemented.");
    default: return refuse(node.start, "Not allowed in class definition.");
    }
}

bool tvr_asm_builder::add_assigned(class_block& made, const tvr_ast_node_assign& node) {
    if (node.target->type != node_type::node_variable || !node.op->is(code::assign))
        return refuse(node.start, "Not allowed in class definition.");
    return add_member(made, node.target->start, node.keywords);
}

// A member of a base keeps its slot, and can only become more private.
bool tvr_asm_builder::add_member(class_block& made, token name,
                                 tvr_ast_list<tvr_ast_word> keywords) {
    if (tvr_is_reserved_word(name->code)) return refuse(name, "Not allowed in class definition.");
    variable_words words;
    if (!read_words(keywords, words)) return false;
    if (!own_members.insert(name->text()).second)
        return refuse(name, "Member '", name->text(), "' double definition.");
    uint32_t slot = made.find_var_local(name->text());
    if (slot == no_variable) slot = made.create_var(name->text(), false);
    auto& info = made.vid_table[std::string(name->text())];
    info.slot = slot;
    info.is_private = info.is_private || words.is(code::word_private);
    if (info.declared_in == nullptr) info.declared_in = &made;
    return true;
}

bool tvr_asm_builder::add_method(class_block& made, const tvr_ast_node_function_def& def) {
    if (def.lambda) return refuse(def.start, "Cannot parse function definition.");
    class_block::method_info info;
    info.name = def.name->text();
    if (!read_method_words(def, info)) return false;
    for (const class_block::method_info& other : made.levels[0].methods) {
        if (other.name == info.name)
            return refuse(def.name,
                          "Definition of function does not match declaration, or this function "
                          "was defined more than once.");
    }
    uint32_t sub_block = 0;
    tvr_program_block_routine* routine = make_function(def, sub_block);
    if (routine == nullptr || !add_special_method(made, def, *routine)) return false;
    info.routine.acquire(routine);
    made.levels[0].methods.push_back(std::move(info));
    return true;
}

bool tvr_asm_builder::read_method_words(const tvr_ast_node_function_def& def,
                                        class_block::method_info& into) {
    for (const tvr_ast_word& word : def.keywords) {
        switch (word.word->code) {
        case code::word_public: break;
        case code::word_private: into.is_private = true; break;
        case code::word_abstract: into.is_abstract = true; break;
        default: return refuse(word.word, "Unknown method keyword '", word.word->text(), "'");
        }
    }
    if (into.is_abstract && !def.body->statements.empty())
        return refuse(def.name, "Abstract method '", into.name, "' must have an empty body.");
    return true;
}

// Operators, constructor, destructor.
bool tvr_asm_builder::add_special_method(class_block& made, const tvr_ast_node_function_def& def,
                                         tvr_program_block_routine& routine) {
    const std::string_view name = def.name->text();
    if (name == "__init__") made.constructor.acquire(&routine);
    if (name == "__deinit__") {
        if (routine.num_params > 0)
            return refuse(def.name, "The destructor '__deinit__' has no parameters.");
        made.destructor.acquire(&routine);
    }
    const tvr_operator method = tvr_find_operator(name);
    if (method == tvr_operator_count) return true;
    const tvr_operator_method& rule = tvr_operator_methods[method];
    if (routine.num_params != rule.params)
        return refuse(def.name, "Operator method '", name, "' (operator ", rule.text,
                      ") must take exactly ", rule.params, " parameter(s).");
    made.operators[method].acquire(&routine);
    return true;
}

bool tvr_asm_builder::check_members(const class_block& made, const tvr_ast_node_class_def& def) {
    own_members.clear();
    for (uint32_t i = 0; i < made.variables.size(); ++i) {
        const std::string& name = made.variables.name_at(i);
        if (made.find_method(name, 0) != nullptr)
            return refuse(def.name, "Member '", name,
                          "' conflicts with a method of the same name.");
    }
    return true;
}
